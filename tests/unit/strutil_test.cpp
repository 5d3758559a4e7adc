#include "strutil.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace {

const std::string FFFD = "\xEF\xBF\xBD";

// Every string of length 0..max_len made of the bytes in alphabet.
std::vector<std::string> all_strings(const std::string& alphabet, std::size_t max_len) {
    std::vector<std::string> out{""};
    std::vector<std::string> level{""};
    for (std::size_t len = 1; len <= max_len; ++len) {
        std::vector<std::string> next;
        for (const std::string& s : level) {
            for (char c : alphabet)
                next.push_back(s + c);
        }
        out.insert(out.end(), next.begin(), next.end());
        level = next;
    }
    return out;
}

struct BaseParent {
    const char* basename;
    const char* parent;
};

// Worked out by hand from the rules, one line per string of "/" and "a" up to
// four bytes long.
const std::map<std::string, BaseParent> SLASH_A_TABLE = {
    {"", {"", ""}},        {"/", {"/", ""}},      {"a", {"a", ""}},       {"//", {"", "/"}},
    {"/a", {"a", "/"}},    {"a/", {"a", ""}},     {"aa", {"aa", ""}},     {"///", {"", "/"}},
    {"//a", {"a", "/"}},   {"/a/", {"a", "/"}},   {"/aa", {"aa", "/"}},   {"a//", {"a", ""}},
    {"a/a", {"a", "a"}},   {"aa/", {"aa", ""}},   {"aaa", {"aaa", ""}},   {"////", {"", "/"}},
    {"///a", {"a", "//"}}, {"//a/", {"a", "/"}},  {"//aa", {"aa", "/"}},  {"/a//", {"a", "/"}},
    {"/a/a", {"a", "/a"}}, {"/aa/", {"aa", "/"}}, {"/aaa", {"aaa", "/"}}, {"a///", {"a", ""}},
    {"a//a", {"a", "a/"}}, {"a/a/", {"a", "a"}},  {"a/aa", {"aa", "a"}},  {"aa//", {"aa", ""}},
    {"aa/a", {"a", "aa"}}, {"aaa/", {"aaa", ""}}, {"aaaa", {"aaaa", ""}},
};

} // namespace

// ---------------------------------------------------------------- lower_ascii

TEST(Strutil, LowerAsciiMapsOnlyTheUpperCaseLetters) {
    EXPECT_EQ(su::lower_ascii("Hello WORLD-Az09"), "hello world-az09");
    // The neighbours of "A" and "Z" stay as they are.
    EXPECT_EQ(su::lower_ascii("@[`{"), "@[`{");
    EXPECT_EQ(su::lower_ascii(""), "");
}

TEST(Strutil, LowerAsciiLeavesEveryOtherByteAlone) {
    for (int b = 0; b < 256; ++b) {
        const std::string in(1, static_cast<char>(b));
        const std::string expected =
            (b >= 'A' && b <= 'Z') ? std::string(1, static_cast<char>(b + 32)) : in;
        EXPECT_EQ(su::lower_ascii(in), expected) << "byte " << b;
    }
    // "É" in UTF-8 is not lowered and not damaged.
    EXPECT_EQ(su::lower_ascii("\xC3\x89X"), "\xC3\x89x");
}

// ------------------------------------------------------- starts_with / ends_with

TEST(Strutil, StartsWithIsAPlainBytePrefixTest) {
    EXPECT_TRUE(su::starts_with("/home/anna", "/home/"));
    EXPECT_TRUE(su::starts_with("/home", "/home"));
    EXPECT_TRUE(su::starts_with("abc", ""));
    EXPECT_TRUE(su::starts_with("", ""));
    EXPECT_FALSE(su::starts_with("/home", "/home/"));
    EXPECT_FALSE(su::starts_with("/Home/anna", "/home"));
    EXPECT_FALSE(su::starts_with("", "a"));
}

TEST(Strutil, EndsWithIsAPlainByteSuffixTest) {
    EXPECT_TRUE(su::ends_with("archive.tar.gz", ".gz"));
    EXPECT_TRUE(su::ends_with("gz", "gz"));
    EXPECT_TRUE(su::ends_with("abc", ""));
    EXPECT_TRUE(su::ends_with("", ""));
    EXPECT_FALSE(su::ends_with("gz", ".gz"));
    EXPECT_FALSE(su::ends_with("archive.GZ", ".gz"));
    EXPECT_FALSE(su::ends_with("", "a"));
}

// ------------------------------------------------------ basename_of / parent_of

TEST(Strutil, BasenameOfRootIsRoot) {
    EXPECT_EQ(su::basename_of("/"), "/");
}

TEST(Strutil, BasenameOfDoubleSlashIsEmpty) {
    EXPECT_EQ(su::basename_of("//"), "");
    EXPECT_EQ(su::basename_of("///"), "");
}

TEST(Strutil, BasenameOfEmptyIsEmpty) {
    EXPECT_EQ(su::basename_of(""), "");
}

TEST(Strutil, BasenameOfSetsTrailingSlashesAside) {
    EXPECT_EQ(su::basename_of("/a/b/"), "b");
    EXPECT_EQ(su::basename_of("a//"), "a");
    EXPECT_EQ(su::basename_of("abc"), "abc");
    EXPECT_EQ(su::basename_of("/home/anna/.cache/"), ".cache");
}

TEST(Strutil, ParentOfRootIsEmpty) {
    EXPECT_EQ(su::parent_of("/"), "");
}

TEST(Strutil, ParentOfDoubleSlashIsRoot) {
    EXPECT_EQ(su::parent_of("//"), "/");
}

TEST(Strutil, ParentOfTopLevelEntryIsRoot) {
    EXPECT_EQ(su::parent_of("/a"), "/");
}

TEST(Strutil, ParentOfSingleRelativeNameIsEmpty) {
    EXPECT_EQ(su::parent_of("a"), "");
}

TEST(Strutil, ParentOfKeepsSlashesInFrontOfTheLastComponent) {
    EXPECT_EQ(su::parent_of("/a/b/"), "/a");
    EXPECT_EQ(su::parent_of("a/b"), "a");
    EXPECT_EQ(su::parent_of("abc"), "");
    EXPECT_EQ(su::parent_of("a//b"), "a/");
    EXPECT_EQ(su::parent_of(""), "");
}

TEST(Strutil, BasenameAndParentOfEveryShortSlashAString) {
    const std::vector<std::string> all = all_strings("/a", 4);
    ASSERT_EQ(all.size(), 31u);
    ASSERT_EQ(SLASH_A_TABLE.size(), 31u);
    for (const std::string& s : all) {
        const auto it = SLASH_A_TABLE.find(s);
        ASSERT_NE(it, SLASH_A_TABLE.end()) << "table misses \"" << s << "\"";
        EXPECT_EQ(su::basename_of(s), it->second.basename) << "basename_of(\"" << s << "\")";
        EXPECT_EQ(su::parent_of(s), it->second.parent) << "parent_of(\"" << s << "\")";
    }
}

TEST(Strutil, PathHelpersDoNotCollapseDotsOrResolveAnything) {
    EXPECT_EQ(su::basename_of("/a/.."), "..");
    EXPECT_EQ(su::parent_of("/a/.."), "/a");
    EXPECT_EQ(su::basename_of("./x"), "x");
    EXPECT_EQ(su::parent_of("./x"), ".");
}

// ------------------------------------------------------------------ join_path

TEST(Strutil, JoinPathWithEmptyBaseGivesName) {
    EXPECT_EQ(su::join_path("", "x"), "x");
}

TEST(Strutil, JoinPathOntoRootAddsNoSlash) {
    EXPECT_EQ(su::join_path("/", "x"), "/x");
}

TEST(Strutil, JoinPathWithEmptyNameGivesBase) {
    EXPECT_EQ(su::join_path("a", ""), "a");
}

TEST(Strutil, JoinPathAddsExactlyOneSlashWhereNeeded) {
    EXPECT_EQ(su::join_path("a", "b"), "a/b");
    EXPECT_EQ(su::join_path("/home/anna", ".cache"), "/home/anna/.cache");
    EXPECT_EQ(su::join_path("a/", "b"), "a/b");
    EXPECT_EQ(su::join_path("a//", "b"), "a//b");
    EXPECT_EQ(su::join_path("", ""), "");
}

TEST(Strutil, JoinPathKeepsALeadingSlashOfTheName) {
    EXPECT_EQ(su::join_path("x", "/y"), "x//y");
    EXPECT_EQ(su::join_path("x/", "/y"), "x//y");
}

// --------------------------------------------------------------- extension_of

TEST(Strutil, ExtensionOfTakesTheLastDotAndLowersIt) {
    EXPECT_EQ(su::extension_of("archive.TAR.GZ"), "gz");
    EXPECT_EQ(su::extension_of("Report.Pdf"), "pdf");
    EXPECT_EQ(su::extension_of("a.b.c"), "c");
}

TEST(Strutil, ExtensionOfLeadingDotNameIsEmpty) {
    EXPECT_EQ(su::extension_of(".profile"), "");
    EXPECT_EQ(su::extension_of("."), "");
}

TEST(Strutil, ExtensionOfTrailingDotIsEmpty) {
    EXPECT_EQ(su::extension_of("name."), "");
    EXPECT_EQ(su::extension_of(".."), "");
}

TEST(Strutil, ExtensionOfWithoutDotIsEmpty) {
    EXPECT_EQ(su::extension_of("Makefile"), "");
    EXPECT_EQ(su::extension_of(""), "");
}

TEST(Strutil, ExtensionOfSearchesAcrossSlashes) {
    // The search runs over the whole path, not only its last component.
    EXPECT_EQ(su::extension_of("dir.d/file"), "d/file");
    EXPECT_EQ(su::extension_of("/home/a.B/Cfg"), "b/cfg");
    // Only a dot in the very first byte counts as "no extension".
    EXPECT_EQ(su::extension_of("/.bashrc"), "bashrc");
}

TEST(Strutil, ExtensionOfLeavesNonAsciiBytesAlone) {
    EXPECT_EQ(su::extension_of("f.\xC3\x89T\xC3\xA9"), "\xC3\x89t\xC3\xA9");
}

// -------------------------------------------------------------- truncate_utf8

TEST(Strutil, TruncateUtf8DoesNotCutATwoByteCharacter) {
    const std::string s = "a\xC3\xA9"; // "aé"
    EXPECT_EQ(su::truncate_utf8(s, 2), "a");
}

TEST(Strutil, TruncateUtf8AtFullLengthKeepsEverything) {
    const std::string s = "a\xC3\xA9";
    EXPECT_EQ(su::truncate_utf8(s, 3), s);
    EXPECT_EQ(su::truncate_utf8(s, 4), s);
    EXPECT_EQ(su::truncate_utf8(s, UINT64_MAX), s);
}

TEST(Strutil, TruncateUtf8ToZeroIsEmpty) {
    EXPECT_EQ(su::truncate_utf8("abc", 0), "");
    EXPECT_EQ(su::truncate_utf8("", 0), "");
}

TEST(Strutil, TruncateUtf8OfOnlyContinuationBytesIsEmpty) {
    EXPECT_EQ(su::truncate_utf8("\x80\x80\x80\x80", 2), "");
    EXPECT_EQ(su::truncate_utf8("\xBF\xBF", 1), "");
}

TEST(Strutil, TruncateUtf8AtEveryCutPointOfMixedWidthText) {
    // "a" (1 byte), "é" (2), "€" (3), "𝄞" (4), "b" (1), "€" (3).
    const std::string s = "a"
                          "\xC3\xA9"
                          "\xE2\x82\xAC"
                          "\xF0\x9D\x84\x9E"
                          "b"
                          "\xE2\x82\xAC";
    ASSERT_EQ(s.size(), 14u);
    const std::vector<std::size_t> boundaries = {0, 1, 3, 6, 10, 11, 14};
    for (std::uint64_t n = 0; n <= s.size() + 2; ++n) {
        std::size_t expected = 0;
        for (std::size_t b : boundaries) {
            if (b <= n)
                expected = b;
        }
        const std::string got = su::truncate_utf8(s, n);
        EXPECT_EQ(got, s.substr(0, expected)) << "n = " << n;
        EXPECT_LE(got.size(), n) << "n = " << n;
        EXPECT_TRUE(su::is_valid_utf8(got)) << "n = " << n;
    }
}

// ---------------------------------------------------------------- is_valid_utf8

TEST(Strutil, IsValidUtf8AcceptsOverlongForms) {
    EXPECT_TRUE(su::is_valid_utf8(std::string("\xC0\x80", 2)));
    EXPECT_TRUE(su::is_valid_utf8("\xE0\x80\x80"));
}

TEST(Strutil, IsValidUtf8RejectsF8Lead) {
    EXPECT_FALSE(su::is_valid_utf8("\xF8\x80\x80\x80"));
    for (int b = 0xF8; b <= 0xFF; ++b)
        EXPECT_FALSE(su::is_valid_utf8(std::string(1, static_cast<char>(b)))) << "byte " << b;
}

TEST(Strutil, IsValidUtf8ChecksShapeOnly) {
    EXPECT_TRUE(su::is_valid_utf8(""));
    EXPECT_TRUE(su::is_valid_utf8("plain ascii"));
    EXPECT_TRUE(su::is_valid_utf8(std::string("\0", 1)));
    EXPECT_TRUE(su::is_valid_utf8("a\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E"));
    // An encoded surrogate and a code point above U+10FFFF have the right shape.
    EXPECT_TRUE(su::is_valid_utf8("\xED\xA0\x80"));
    EXPECT_TRUE(su::is_valid_utf8("\xF7\xBF\xBF\xBF"));
}

TEST(Strutil, IsValidUtf8RejectsBrokenSequences) {
    EXPECT_FALSE(su::is_valid_utf8("\x80"));             // stray continuation byte
    EXPECT_FALSE(su::is_valid_utf8("a\xBF"));            // stray continuation byte
    EXPECT_FALSE(su::is_valid_utf8("\xC3"));             // 2-byte cut short
    EXPECT_FALSE(su::is_valid_utf8("\xE2\x82"));         // 3-byte cut short
    EXPECT_FALSE(su::is_valid_utf8("\xF0\x9D\x84"));     // 4-byte cut short
    EXPECT_FALSE(su::is_valid_utf8("\xC3\x41"));         // lead followed by ASCII
    EXPECT_FALSE(su::is_valid_utf8("\xE2\x82\xC3\xA9")); // lead followed by a lead
}

// ---------------------------------------------------------------- sanitize_utf8

TEST(Strutil, SanitizeUtf8ReplacesFFByte) {
    EXPECT_EQ(su::sanitize_utf8("\xFF"), FFFD);
}

TEST(Strutil, SanitizeUtf8ReplacesLoneContinuationBetweenAscii) {
    EXPECT_EQ(su::sanitize_utf8("a\x80"
                                "b"),
              "a" + FFFD + "b");
}

TEST(Strutil, SanitizeUtf8KeepsValidTextAsItIs) {
    const std::string s = "a\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E";
    EXPECT_EQ(su::sanitize_utf8(s), s);
    EXPECT_EQ(su::sanitize_utf8(""), "");
    const std::string overlong("\xC0\x80", 2);
    EXPECT_EQ(su::sanitize_utf8(overlong), overlong);
}

TEST(Strutil, SanitizeUtf8TwoByteSequenceCutShortAtTheEnd) {
    EXPECT_EQ(su::sanitize_utf8("a\xC3"), "a" + FFFD);
}

TEST(Strutil, SanitizeUtf8ThreeByteSequenceCutShortAtTheEnd) {
    // One replacement for each byte that is left of the sequence.
    EXPECT_EQ(su::sanitize_utf8("a\xE2\x82"), "a" + FFFD + FFFD);
    EXPECT_EQ(su::sanitize_utf8("a\xE2"), "a" + FFFD);
}

TEST(Strutil, SanitizeUtf8FourByteSequenceCutShortAtTheEnd) {
    EXPECT_EQ(su::sanitize_utf8("a\xF0\x9D\x84"), "a" + FFFD + FFFD + FFFD);
    EXPECT_EQ(su::sanitize_utf8("a\xF0\x9D"), "a" + FFFD + FFFD);
    EXPECT_EQ(su::sanitize_utf8("a\xF0"), "a" + FFFD);
}

TEST(Strutil, SanitizeUtf8LoneContinuationBytes) {
    EXPECT_EQ(su::sanitize_utf8("\x80"), FFFD);
    EXPECT_EQ(su::sanitize_utf8("\xBF\xBF"), FFFD + FFFD);
    // A continuation byte after a complete character is a stray one.
    EXPECT_EQ(su::sanitize_utf8("\xC3\xA9\xA9"), "\xC3\xA9" + FFFD);
}

TEST(Strutil, SanitizeUtf8F8ToFFBytes) {
    for (int b = 0xF8; b <= 0xFF; ++b) {
        EXPECT_EQ(su::sanitize_utf8(std::string(1, static_cast<char>(b))), FFFD) << "byte " << b;
        // The bytes that follow such a lead are strays of their own.
        EXPECT_EQ(su::sanitize_utf8(std::string(1, static_cast<char>(b)) + "\x80\x80\x80"),
                  FFFD + FFFD + FFFD + FFFD)
            << "byte " << b;
    }
}

TEST(Strutil, SanitizeUtf8ResynchronisesAfterABrokenSequence) {
    // The walk moves on by one byte, so the byte that broke the sequence is kept.
    EXPECT_EQ(su::sanitize_utf8("\xE2\x82"
                                "A\xC3\xA9"),
              FFFD + FFFD + "A\xC3\xA9");
    EXPECT_EQ(su::sanitize_utf8("\xC3\xE2\x82\xAC"), FFFD + "\xE2\x82\xAC");
}

TEST(Strutil, SanitizeUtf8OfEveryTwoByteStringIsValid) {
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            std::string s;
            s += static_cast<char>(a);
            s += static_cast<char>(b);
            const std::string out = su::sanitize_utf8(s);
            ASSERT_TRUE(su::is_valid_utf8(out)) << a << " " << b;
            ASSERT_EQ(out == s, su::is_valid_utf8(s)) << a << " " << b;
        }
    }
}
