#include "i18n.h"
#include "i18n_data.h"

#include "test_env.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using EnvVar = test_env::ScopedEnv;

// Every test gets a private home and a known locale: the four variables GLib
// reads are cleared, so only what a test sets itself counts.
class I18nTest : public testing::Test {
protected:
    test_env::TempHome m_home;
    EnvVar m_language{"LANGUAGE", nullptr};
    EnvVar m_lc_all{"LC_ALL", nullptr};
    EnvVar m_lc_messages{"LC_MESSAGES", nullptr};
    EnvVar m_lang{"LANG", nullptr};
};

using I18nTables = I18nTest;
using I18nLanguage = I18nTest;
using I18nDetect = I18nTest;
using I18nTr = I18nTest;
using I18nTrf = I18nTest;
using I18nFormat = I18nTest;
using I18nAvailable = I18nTest;

struct ExpectedLanguage {
    const char* code;
    const char* native_name;
    bool rtl;
};

constexpr ExpectedLanguage EXPECTED_LANGUAGES[] = {
    {"ar", "العربية", true},  {"cs", "Čeština", false},   {"da", "Dansk", false},
    {"de", "Deutsch", false}, {"el", "Ελληνικά", false},  {"en", "English", false},
    {"es", "Español", false}, {"fi", "Suomi", false},     {"fr", "Français", false},
    {"he", "עברית", true},    {"hu", "Magyar", false},    {"it", "Italiano", false},
    {"ja", "日本語", false},  {"ko", "한국어", false},    {"nl", "Nederlands", false},
    {"pl", "Polski", false},  {"pt", "Português", false}, {"ro", "Română", false},
    {"ru", "Русский", false}, {"sv", "Svenska", false},   {"tr", "Türkçe", false},
    {"zh", "中文", false},
};

constexpr int ENGLISH = 5;
constexpr int GERMAN = 3;

int key_index(const char* key) {
    for (int i = 0; i < i18n_data::KEY_COUNT; ++i) {
        if (std::strcmp(i18n_data::KEYS[i], key) == 0)
            return i;
    }
    return -1;
}

int count_of(const char* text, const char* what) {
    int n = 0;
    for (const char* p = std::strstr(text, what); p; p = std::strstr(p + 1, what))
        ++n;
    return n;
}

// printf into a string, for building the expected result of trf by hand.
std::string format_one(const char* format, const char* arg) {
    char buf[512];
    std::snprintf(buf, sizeof buf, format, arg);
    return buf;
}

// ---------------------------------------------------------------------------
// The generated tables

TEST_F(I18nTables, KeysHold308TextsStrictlySortedByStrcmp) {
    ASSERT_EQ(sizeof(i18n_data::KEYS) / sizeof(i18n_data::KEYS[0]), 308u);
    for (int i = 0; i < i18n_data::KEY_COUNT; ++i) {
        ASSERT_NE(i18n_data::KEYS[i], nullptr) << i;
        ASSERT_NE(i18n_data::KEYS[i][0], '\0') << i;
        if (i > 0) {
            EXPECT_LT(std::strcmp(i18n_data::KEYS[i - 1], i18n_data::KEYS[i]), 0)
                << '"' << i18n_data::KEYS[i - 1] << "\" before \"" << i18n_data::KEYS[i] << '"';
        }
    }
    EXPECT_STREQ(i18n_data::KEYS[0], "%s (system default)");
    EXPECT_STREQ(i18n_data::KEYS[307], "your file manager can do it");
}

TEST_F(I18nTables, KeysKeepTheirTypographicCharacters) {
    // U+2026 ellipsis, U+00B7 middle dot and U+2014 em dash, as UTF-8.
    EXPECT_GE(key_index("Choose \xE2\x80\xA6"), 0);
    EXPECT_GE(key_index("Scanning your system \xE2\x80\xA6"), 0);
    EXPECT_GE(key_index("%s entries \xC2\xB7 %s in total"), 0);
    EXPECT_GE(key_index("%s item(s) \xC2\xB7 %s"), 0);
    EXPECT_GE(key_index("newest \xE2\x80\x94 keep"), 0);
    EXPECT_GE(key_index("VS Code \xE2\x80\x94 CachedData"), 0);
    EXPECT_GE(key_index("These are outside this app's reach \xE2\x80\x94 usually because it "
                        "runs in a sandbox. Your file manager has full access: one click opens "
                        "the location with the item selected."),
              0);
    EXPECT_EQ(key_index("Choose ..."), -1);
}

TEST_F(I18nTables, LangsHoldThe22LanguagesInOrder) {
    ASSERT_EQ(sizeof(i18n_data::LANGS) / sizeof(i18n_data::LANGS[0]), 22u);
    for (int i = 0; i < i18n_data::LANG_COUNT; ++i) {
        SCOPED_TRACE(i);
        EXPECT_STREQ(i18n_data::LANGS[i].code, EXPECTED_LANGUAGES[i].code);
        EXPECT_STREQ(i18n_data::LANGS[i].native_name, EXPECTED_LANGUAGES[i].native_name);
        EXPECT_EQ(i18n_data::LANGS[i].rtl, EXPECTED_LANGUAGES[i].rtl);
    }
}

TEST_F(I18nTables, EachRowPointsAtItsOwnValuesArray) {
    const char* const* expected[] = {
        i18n_data::VALUES_ar, i18n_data::VALUES_cs, i18n_data::VALUES_da, i18n_data::VALUES_de,
        i18n_data::VALUES_el, i18n_data::VALUES_en, i18n_data::VALUES_es, i18n_data::VALUES_fi,
        i18n_data::VALUES_fr, i18n_data::VALUES_he, i18n_data::VALUES_hu, i18n_data::VALUES_it,
        i18n_data::VALUES_ja, i18n_data::VALUES_ko, i18n_data::VALUES_nl, i18n_data::VALUES_pl,
        i18n_data::VALUES_pt, i18n_data::VALUES_ro, i18n_data::VALUES_ru, i18n_data::VALUES_sv,
        i18n_data::VALUES_tr, i18n_data::VALUES_zh,
    };
    for (int i = 0; i < i18n_data::LANG_COUNT; ++i)
        EXPECT_EQ(i18n_data::LANGS[i].values, expected[i]) << i18n_data::LANGS[i].code;
}

TEST_F(I18nTables, EveryTranslationIsPresentAndKeepsThePlaceholders) {
    for (const i18n_data::LangEntry& lang : i18n_data::LANGS) {
        for (int i = 0; i < i18n_data::KEY_COUNT; ++i) {
            const char* key = i18n_data::KEYS[i];
            const char* value = lang.values[i];
            ASSERT_NE(value, nullptr) << lang.code << " \"" << key << '"';
            EXPECT_NE(value[0], '\0') << lang.code << " \"" << key << '"';
            EXPECT_EQ(count_of(value, "%s"), count_of(key, "%s"))
                << lang.code << " \"" << key << "\" -> \"" << value << '"';
            // No conversion other than %s sneaks in.
            EXPECT_EQ(count_of(value, "%"), count_of(key, "%"))
                << lang.code << " \"" << key << "\" -> \"" << value << '"';
        }
    }
}

TEST_F(I18nTables, EnglishValuesEqualTheKeys) {
    ASSERT_EQ(i18n_data::LANGS[ENGLISH].values, i18n_data::VALUES_en);
    for (int i = 0; i < i18n_data::KEY_COUNT; ++i)
        EXPECT_STREQ(i18n_data::VALUES_en[i], i18n_data::KEYS[i]);
}

// ---------------------------------------------------------------------------
// Choosing the language

TEST_F(I18nLanguage, FirstUseAppliesAutoAndDetects) {
    EnvVar language("LANGUAGE", "he_IL.UTF-8");
    I18n& i18n = I18n::instance();
    EXPECT_EQ(i18n.language(), "auto");
    EXPECT_EQ(i18n.effective_language(), "he");
    EXPECT_TRUE(i18n.is_rtl());
}

TEST_F(I18nLanguage, InstanceIsOneObject) {
    I18n& a = I18n::instance();
    a.set_language("fi");
    I18n& b = I18n::instance();
    EXPECT_EQ(&a, &b);
    EXPECT_EQ(b.effective_language(), "fi");
}

TEST_F(I18nLanguage, EmptySettingIsStoredAsAutoAndDetects) {
    EnvVar language("LANGUAGE", "fr_FR");
    I18n& i18n = I18n::instance();
    i18n.set_language("de");
    ASSERT_EQ(i18n.effective_language(), "de");
    i18n.set_language("");
    EXPECT_EQ(i18n.language(), "auto");
    EXPECT_EQ(i18n.effective_language(), "fr");
}

TEST_F(I18nLanguage, UnknownCodeIsKeptAsSettingAndEnglishIsUsed) {
    I18n& i18n = I18n::instance();
    i18n.set_language("he");
    ASSERT_TRUE(i18n.is_rtl());
    i18n.set_language("xx");
    EXPECT_EQ(i18n.language(), "xx");
    EXPECT_EQ(i18n.effective_language(), "en");
    EXPECT_FALSE(i18n.is_rtl());
    EXPECT_EQ(i18n.tr("Cancel"), i18n_data::VALUES_en[key_index("Cancel")]);
}

TEST_F(I18nLanguage, HebrewIsRightToLeft) {
    I18n& i18n = I18n::instance();
    i18n.set_language("he");
    EXPECT_EQ(i18n.effective_language(), "he");
    EXPECT_TRUE(i18n.is_rtl());
}

TEST_F(I18nLanguage, ArabicIsRightToLeft) {
    I18n& i18n = I18n::instance();
    i18n.set_language("ar");
    EXPECT_EQ(i18n.effective_language(), "ar");
    EXPECT_TRUE(i18n.is_rtl());
}

TEST_F(I18nLanguage, EveryCodeSelectsItsOwnRow) {
    I18n& i18n = I18n::instance();
    const int cancel = key_index("Cancel");
    for (const i18n_data::LangEntry& lang : i18n_data::LANGS) {
        i18n.set_language(lang.code);
        EXPECT_EQ(i18n.language(), lang.code);
        EXPECT_EQ(i18n.effective_language(), lang.code);
        EXPECT_EQ(i18n.is_rtl(), lang.rtl) << lang.code;
        EXPECT_EQ(i18n.tr("Cancel"), lang.values[cancel]) << lang.code;
    }
}

TEST_F(I18nLanguage, CodesMatchExactlyAndCaseSensitively) {
    I18n& i18n = I18n::instance();
    for (const char* setting : {"DE", "de_DE", "de ", " de", "d", "deu", "Auto", "AUTO"}) {
        i18n.set_language("ja");
        i18n.set_language(setting);
        EXPECT_EQ(i18n.language(), setting);
        EXPECT_EQ(i18n.effective_language(), "en") << '"' << setting << '"';
        EXPECT_FALSE(i18n.is_rtl());
    }
}

TEST_F(I18nLanguage, AutoFollowsTheLocaleAgainAfterAnExplicitCode) {
    EnvVar language("LANGUAGE", "ko_KR.UTF-8");
    I18n& i18n = I18n::instance();
    i18n.set_language("ja");
    ASSERT_EQ(i18n.effective_language(), "ja");
    i18n.set_language("auto");
    EXPECT_EQ(i18n.language(), "auto");
    EXPECT_EQ(i18n.effective_language(), "ko");
}

TEST_F(I18nLanguage, AutoWithAnUnsupportedLocaleGivesEnglish) {
    EnvVar lang("LANG", "xx_YY.UTF-8");
    I18n& i18n = I18n::instance();
    i18n.set_language("ar");
    i18n.set_language("auto");
    EXPECT_EQ(i18n.language(), "auto");
    EXPECT_EQ(i18n.effective_language(), "en");
    EXPECT_FALSE(i18n.is_rtl());
}

// ---------------------------------------------------------------------------
// Detecting the user's language

TEST_F(I18nDetect, LanguageListPtBrThenEnGivesPortuguese) {
    EnvVar language("LANGUAGE", "pt_BR:en");
    EXPECT_EQ(I18n::detect_system_language(), "pt");
    I18n::instance().set_language("auto");
    EXPECT_EQ(I18n::instance().effective_language(), "pt");
}

TEST_F(I18nDetect, LangWithCharsetAndModifierGivesGerman) {
    EnvVar lang("LANG", "de_AT.UTF-8@euro");
    EXPECT_EQ(I18n::detect_system_language(), "de");
    I18n::instance().set_language("auto");
    EXPECT_EQ(I18n::instance().effective_language(), "de");
}

TEST_F(I18nDetect, OnlyTheCLocaleGivesEnglish) {
    EnvVar lang("LANG", "C");
    EXPECT_EQ(I18n::detect_system_language(), "en");
}

TEST_F(I18nDetect, ChineseOfTaiwanGivesChinese) {
    EnvVar lang("LANG", "zh_TW.UTF-8");
    EXPECT_EQ(I18n::detect_system_language(), "zh");
}

TEST_F(I18nDetect, PosixLocaleGivesEnglish) {
    EnvVar lang("LANG", "POSIX");
    EXPECT_EQ(I18n::detect_system_language(), "en");
}

TEST_F(I18nDetect, NoLocaleVariableGivesEnglish) {
    EXPECT_EQ(I18n::detect_system_language(), "en");
}

TEST_F(I18nDetect, PortugalAndBrazilShareOneTable) {
    {
        EnvVar lang("LANG", "pt_PT.UTF-8");
        EXPECT_EQ(I18n::detect_system_language(), "pt");
    }
    EnvVar lang("LANG", "pt_BR.UTF-8");
    EXPECT_EQ(I18n::detect_system_language(), "pt");
}

TEST_F(I18nDetect, BareCodeGivesItself) {
    EnvVar language("LANGUAGE", "ja");
    EXPECT_EQ(I18n::detect_system_language(), "ja");
}

TEST_F(I18nDetect, LanguageOutranksLcAll) {
    EnvVar language("LANGUAGE", "fi_FI");
    EnvVar lc_all("LC_ALL", "sv_SE.UTF-8");
    EXPECT_EQ(I18n::detect_system_language(), "fi");
}

TEST_F(I18nDetect, LcAllOutranksLcMessagesAndLang) {
    EnvVar lc_all("LC_ALL", "sv_SE.UTF-8");
    EnvVar lc_messages("LC_MESSAGES", "da_DK.UTF-8");
    EnvVar lang("LANG", "nl_NL.UTF-8");
    EXPECT_EQ(I18n::detect_system_language(), "sv");
}

TEST_F(I18nDetect, LcMessagesOutranksLang) {
    EnvVar lc_messages("LC_MESSAGES", "da_DK.UTF-8");
    EnvVar lang("LANG", "nl_NL.UTF-8");
    EXPECT_EQ(I18n::detect_system_language(), "da");
}

TEST_F(I18nDetect, UnsupportedLanguageFallsThroughToTheNextName) {
    EnvVar language("LANGUAGE", "xx_YY.UTF-8:gd_GB:it_IT");
    EXPECT_EQ(I18n::detect_system_language(), "it");
}

TEST_F(I18nDetect, OnlyUnsupportedLanguagesGiveEnglish) {
    EnvVar language("LANGUAGE", "xx_YY.UTF-8:gd_GB");
    EXPECT_EQ(I18n::detect_system_language(), "en");
}

TEST_F(I18nDetect, RegionWithoutATableOfItsOwnFallsBackToItsLanguage) {
    // GLib adds the short variants itself; a list without them shows the rule.
    const char* const brazil[] = {"pt_BR.UTF-8", "C", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(brazil), "pt");
    const char* const taiwan[] = {"zh_TW.UTF-8", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(taiwan), "zh");
    const char* const austria[] = {"de_AT.UTF-8@euro", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(austria), "de");
}

TEST_F(I18nDetect, MissingListGivesEnglish) {
    EXPECT_EQ(I18n::language_from_locale_names(nullptr), "en");
    const char* const nothing[] = {nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(nothing), "en");
}

TEST_F(I18nDetect, EmptyAndCNamesAreSkipped) {
    const char* const names[] = {"", "C", "fr_CA", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(names), "fr");
    const char* const only_c[] = {"C", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(only_c), "en");
}

TEST_F(I18nDetect, CharsetAndModifierAreDropped) {
    const char* const modifier[] = {"sv_SE@euro", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(modifier), "sv");
    const char* const charset[] = {"it.ISO-8859-1", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(charset), "it");
    const char* const bare[] = {".UTF-8", "@euro", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(bare), "en");
}

TEST_F(I18nDetect, NamesAreMatchedCaseSensitively) {
    const char* const names[] = {"DE_de", "Fr", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(names), "en");
}

TEST_F(I18nDetect, FirstNameWithATableWins) {
    const char* const names[] = {"xx_YY", "ru_RU.UTF-8", "de", nullptr};
    EXPECT_EQ(I18n::language_from_locale_names(names), "ru");
}

// ---------------------------------------------------------------------------
// Looking texts up

TEST_F(I18nTr, CancelInGermanGivesTheGermanTableEntry) {
    I18n& i18n = I18n::instance();
    i18n.set_language("de");
    const int cancel = key_index("Cancel");
    ASSERT_GE(cancel, 0);
    ASSERT_EQ(i18n_data::LANGS[GERMAN].values, i18n_data::VALUES_de);
    EXPECT_EQ(i18n.tr("Cancel"), i18n_data::VALUES_de[cancel]);
    EXPECT_STREQ(i18n.tr("Cancel"), "Abbrechen");
}

TEST_F(I18nTr, UnknownTextComesBackAsTheSamePointer) {
    I18n& i18n = I18n::instance();
    const char* text = "Not a key";
    for (const char* code : {"de", "en", "ar"}) {
        i18n.set_language(code);
        EXPECT_EQ(i18n.tr(text), text) << code;
    }
}

TEST_F(I18nTr, NullAndEmptyComeBackAsTheyAre) {
    I18n& i18n = I18n::instance();
    i18n.set_language("de");
    EXPECT_EQ(i18n.tr(nullptr), nullptr);
    const char* empty = "";
    EXPECT_EQ(i18n.tr(empty), empty);
}

TEST_F(I18nTr, LookupIsByContentNotByAddress) {
    I18n& i18n = I18n::instance();
    i18n.set_language("en");
    const std::string copy = "Cancel";
    const char* result = i18n.tr(copy.c_str());
    EXPECT_NE(result, copy.c_str());
    EXPECT_EQ(result, i18n_data::VALUES_en[key_index("Cancel")]);
    EXPECT_STREQ(result, "Cancel");
}

TEST_F(I18nTr, EveryKeyFindsItsOwnEntryInEveryLanguage) {
    I18n& i18n = I18n::instance();
    for (const i18n_data::LangEntry& lang : i18n_data::LANGS) {
        i18n.set_language(lang.code);
        for (int i = 0; i < i18n_data::KEY_COUNT; ++i) {
            const std::string copy = i18n_data::KEYS[i];
            ASSERT_EQ(i18n.tr(copy.c_str()), lang.values[i]) << lang.code << " \"" << copy << '"';
        }
    }
}

TEST_F(I18nTr, NeighboursOfAKeyAreNotKeys) {
    I18n& i18n = I18n::instance();
    i18n.set_language("en");
    for (const char* text : {"Cance", "Cancel ", "cancel", "CANCEL", "Choose…", "Choose ", "%s",
                             " ", "zzz", "!", "\xC3\xA9"}) {
        EXPECT_EQ(i18n.tr(text), text) << '"' << text << '"';
    }
    // Texts that share a beginning each find their own entry.
    for (const char* key : {"Choose", "Choose folder", "Choose \xE2\x80\xA6", "Delete permanently",
                            "Delete permanently?", "Snap %s", "Snap %s (Revision %s)"}) {
        const int index = key_index(key);
        ASSERT_GE(index, 0) << key;
        EXPECT_EQ(i18n.tr(std::string(key).c_str()), i18n_data::VALUES_en[index]) << key;
    }
}

TEST_F(I18nTr, FirstAndLastKeysAreFound) {
    I18n& i18n = I18n::instance();
    i18n.set_language("de");
    EXPECT_EQ(i18n.tr(std::string(i18n_data::KEYS[0]).c_str()), i18n_data::VALUES_de[0]);
    EXPECT_EQ(i18n.tr(std::string(i18n_data::KEYS[194]).c_str()), i18n_data::VALUES_de[194]);
}

// ---------------------------------------------------------------------------
// Formatting

TEST_F(I18nTrf, FillsPlaceholdersWithStrings) {
    I18n& i18n = I18n::instance();
    i18n.set_language("en");
    EXPECT_EQ(i18n.trf("%s freed", "12.3 MB"), "12.3 MB freed");
    EXPECT_EQ(i18n.trf("%s item(s) \xC2\xB7 %s", "3", "1.2 GB"), "3 item(s) \xC2\xB7 1.2 GB");
    EXPECT_EQ(i18n.trf("Snap %s (Revision %s)", "1.0.2", "42"), "Snap 1.0.2 (Revision 42)");
}

TEST_F(I18nTrf, UsesTheTranslationOfTheActiveLanguage) {
    I18n& i18n = I18n::instance();
    i18n.set_language("de");
    const int freed = key_index("%s freed");
    ASSERT_GE(freed, 0);
    EXPECT_EQ(i18n.trf("%s freed", "12,3 MB"), format_one(i18n_data::VALUES_de[freed], "12,3 MB"));
}

TEST_F(I18nTrf, EnglishFormatOfAKeyIsFormatted) {
    I18n& i18n = I18n::instance();
    i18n.set_language("en");
    const std::string copy = "%s freed";
    EXPECT_EQ(i18n.trf(copy.c_str(), "1 kB"), "1 kB freed");
}

TEST_F(I18nTrf, UnknownFormatIsFormattedAsItStands) {
    I18n& i18n = I18n::instance();
    i18n.set_language("de");
    EXPECT_EQ(i18n.trf("Not a key: %s and %s", "one", "two"), "Not a key: one and two");
}

TEST_F(I18nTrf, FormatThatCannotBeFormattedComesBackUnformatted) {
    I18n& i18n = I18n::instance();
    i18n.set_language("en");
    // Beyond the last Unicode code point: no character set can write it, so
    // printf reports an error.
    const wchar_t impossible[] = {static_cast<wchar_t>(0x110000), 0};
    EXPECT_EQ(i18n.trf("Broken %ls", impossible), "Broken %ls");
}

TEST_F(I18nTrf, LongResultIsNotCut) {
    I18n& i18n = I18n::instance();
    i18n.set_language("en");
    const std::string path(10000, 'x');
    const std::string out = i18n.trf("last changed %s", path.c_str());
    EXPECT_EQ(out.size(), std::strlen("last changed ") + path.size());
    EXPECT_EQ(out, "last changed " + path);
}

TEST_F(I18nTrf, EmptyArgumentLeavesTheRestAlone) {
    I18n& i18n = I18n::instance();
    i18n.set_language("en");
    EXPECT_EQ(i18n.trf("changed %s", ""), "changed ");
}

// ---------------------------------------------------------------------------
// Numbers, dates and fonts

TEST_F(I18nFormat, NumberFormatOfEveryLanguage) {
    const char* nnbsp = "\xE2\x80\xAF";
    struct Row {
        const char* code;
        const char* decimal;
        const char* group;
    };
    const Row rows[] = {
        {"de", ",", "."},   {"en", ".", ","},   {"fr", ",", nnbsp}, {"es", ",", "."},
        {"it", ",", "."},   {"pt", ",", ""},    {"nl", ",", "."},   {"pl", ",", nnbsp},
        {"cs", ",", nnbsp}, {"hu", ",", "."},   {"ro", ",", "."},   {"sv", ",", nnbsp},
        {"da", ",", "."},   {"fi", ",", nnbsp}, {"el", ",", "."},   {"tr", ",", "."},
        {"ru", ",", nnbsp}, {"ja", ".", ","},   {"zh", ".", ","},   {"ko", ".", ","},
        {"ar", ".", ","},   {"he", ".", ","},
    };
    ASSERT_EQ(sizeof rows / sizeof rows[0], 22u);
    I18n& i18n = I18n::instance();
    for (const Row& row : rows) {
        i18n.set_language(row.code);
        ASSERT_EQ(i18n.effective_language(), row.code);
        const I18n::NumberFormat nf = i18n.number_format();
        EXPECT_STREQ(nf.decimal, row.decimal) << row.code;
        EXPECT_STREQ(nf.group, row.group) << row.code;
    }
}

TEST_F(I18nFormat, PortugueseDoesNotGroupDigits) {
    I18n& i18n = I18n::instance();
    i18n.set_language("pt");
    const I18n::NumberFormat nf = i18n.number_format();
    ASSERT_NE(nf.group, nullptr);
    EXPECT_STREQ(nf.group, "");
    EXPECT_STREQ(nf.decimal, ",");
}

TEST_F(I18nFormat, FrenchGroupsWithTheNarrowNoBreakSpace) {
    I18n& i18n = I18n::instance();
    i18n.set_language("fr");
    const I18n::NumberFormat nf = i18n.number_format();
    EXPECT_STREQ(nf.group, "\xE2\x80\xAF");
    EXPECT_STREQ(nf.decimal, ",");
}

TEST_F(I18nFormat, UnknownLanguageGetsTheEnglishNumberFormat) {
    I18n& i18n = I18n::instance();
    i18n.set_language("de");
    i18n.set_language("xx");
    const I18n::NumberFormat nf = i18n.number_format();
    EXPECT_STREQ(nf.decimal, ".");
    EXPECT_STREQ(nf.group, ",");
}

TEST_F(I18nFormat, DateFormatOfEveryGroup) {
    struct Group {
        std::vector<const char*> codes;
        const char* pattern;
    };
    const Group groups[] = {
        {{"de", "pl", "cs", "ro", "fi", "ru"}, "%d.%m.%y"},
        {{"en"}, "%m/%d/%y"},
        {{"fr", "es", "it", "pt", "el", "he", "ar"}, "%d/%m/%y"},
        {{"nl", "da", "tr"}, "%d-%m-%y"},
        {{"hu", "sv"}, "%y-%m-%d"},
        {{"ja", "zh", "ko"}, "%y/%m/%d"},
    };
    I18n& i18n = I18n::instance();
    size_t covered = 0;
    for (const Group& group : groups) {
        for (const char* code : group.codes) {
            i18n.set_language(code);
            ASSERT_EQ(i18n.effective_language(), code);
            EXPECT_STREQ(i18n.date_format(), group.pattern) << code;
            ++covered;
        }
    }
    EXPECT_EQ(covered, 22u);
}

TEST_F(I18nFormat, UnknownLanguageGetsTheUsDateFormat) {
    I18n& i18n = I18n::instance();
    i18n.set_language("hu");
    i18n.set_language("xx");
    EXPECT_STREQ(i18n.date_format(), "%m/%d/%y");
}

TEST_F(I18nFormat, FontFamiliesAreTheSameForEveryLanguage) {
    I18n& i18n = I18n::instance();
    for (const char* code : {"en", "ja", "ar", "ru", "zh"}) {
        i18n.set_language(code);
        EXPECT_STREQ(i18n.ui_font_family(), "sans-serif") << code;
        EXPECT_STREQ(I18n::mono_font_family(), "monospace") << code;
    }
}

// ---------------------------------------------------------------------------
// The list offered to the user

TEST_F(I18nAvailable, ListsThe22LanguagesInTableOrder) {
    const std::vector<LanguageInfo> list = I18n::available();
    ASSERT_EQ(list.size(), 22u);
    for (size_t i = 0; i < list.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(list[i].code, EXPECTED_LANGUAGES[i].code);
        EXPECT_EQ(list[i].native_name, EXPECTED_LANGUAGES[i].native_name);
        EXPECT_EQ(list[i].rtl, EXPECTED_LANGUAGES[i].rtl);
    }
}

} // namespace
