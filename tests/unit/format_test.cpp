// Display texts for numbers, in English and in languages with other
// separators and date patterns.

#include "format.h"
#include "i18n.h"
#include "test_env.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

const char* const NNBSP = "\xE2\x80\xAF"; // narrow no-break space

class Format : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        I18n::instance().set_language("en");
    }
    test_env::TempHome home;
};

constexpr int64_t KB = 1024;
constexpr int64_t MB = KB * 1024;
constexpr int64_t GB = MB * 1024;
constexpr int64_t TB = GB * 1024;
constexpr int64_t PB = TB * 1024;

} // namespace

TEST_F(Format, BytesBelowAKilobyteAreWholeBytes) {
    EXPECT_EQ(fmt::bytes(0), "0 B");
    EXPECT_EQ(fmt::bytes(1), "1 B");
    EXPECT_EQ(fmt::bytes(1023), "1023 B");
}

TEST_F(Format, KilobytesNeverShowDecimals) {
    EXPECT_EQ(fmt::bytes(1024), "1 KB");
    EXPECT_EQ(fmt::bytes(1536), "2 KB");
    EXPECT_EQ(fmt::bytes(1535), "1 KB");
    EXPECT_EQ(fmt::bytes(999 * KB), "999 KB");
}

TEST_F(Format, EveryUnitBoundary) {
    EXPECT_EQ(fmt::bytes(MB - 1), "1024 KB") << "just below a unit may round up in print";
    EXPECT_EQ(fmt::bytes(MB), "1.00 MB");
    EXPECT_EQ(fmt::bytes(GB - 1), "1024.00 MB");
    EXPECT_EQ(fmt::bytes(GB), "1.00 GB");
    EXPECT_EQ(fmt::bytes(TB), "1.00 TB");
    EXPECT_EQ(fmt::bytes(PB), "1.00 PB");
}

TEST_F(Format, PetabytesAreTheLargestUnit) {
    EXPECT_EQ(fmt::bytes(PB * 2048), "2048.00 PB");
    EXPECT_EQ(fmt::bytes(INT64_MAX), "8192.00 PB");
}

TEST_F(Format, SizesUseTheDecimalSeparatorButNoGroups) {
    I18n::instance().set_language("de");
    EXPECT_EQ(fmt::bytes(1023), "1023 B");
    EXPECT_EQ(fmt::bytes(GB - 1), "1024,00 MB");
}

TEST_F(Format, MegabytesAndAboveShowDecimals) {
    EXPECT_EQ(fmt::bytes(1572864), "1.50 MB");
    EXPECT_EQ(fmt::bytes_short(1572864), "1.5 MB");
    EXPECT_EQ(fmt::bytes(2 * GB), "2.00 GB") << "trailing zeros are kept";
    EXPECT_EQ(fmt::bytes_short(2 * GB), "2.0 GB");
    EXPECT_EQ(fmt::bytes_short(1536), "2 KB");
}

TEST_F(Format, NegativeSizesAreZero) {
    EXPECT_EQ(fmt::bytes(-5), "0 B");
    EXPECT_EQ(fmt::bytes_short(INT64_MIN), "0 B");
}

TEST_F(Format, GermanSeparatorsInSizesAndCounts) {
    I18n::instance().set_language("de");
    EXPECT_EQ(fmt::bytes(1288490189), "1,20 GB");
    EXPECT_EQ(fmt::count(1234567), "1.234.567");
    EXPECT_EQ(fmt::bytes(1000 * GB), "1000,00 GB");
    EXPECT_EQ(fmt::bytes(1500 * GB), "1,46 TB");
}

TEST_F(Format, NarrowNoBreakSpaceGrouping) {
    I18n::instance().set_language("fr");
    EXPECT_EQ(fmt::count(1234567), std::string("1") + NNBSP + "234" + NNBSP + "567");
    EXPECT_EQ(fmt::bytes(1572864), "1,50 MB");
}

TEST_F(Format, PortugueseDoesNotGroup) {
    I18n::instance().set_language("pt");
    EXPECT_EQ(fmt::count(1234567), "1234567");
    EXPECT_EQ(fmt::bytes(1572864), "1,50 MB");
}

TEST_F(Format, CountGroupsInThreesFromTheRight) {
    EXPECT_EQ(fmt::count(0), "0");
    EXPECT_EQ(fmt::count(12), "12");
    EXPECT_EQ(fmt::count(123), "123");
    EXPECT_EQ(fmt::count(1234), "1,234");
    EXPECT_EQ(fmt::count(12345), "12,345");
    EXPECT_EQ(fmt::count(123456), "123,456");
    EXPECT_EQ(fmt::count(1234567), "1,234,567");
}

TEST_F(Format, NegativeCountsKeepTheSignOutsideTheGroups) {
    EXPECT_EQ(fmt::count(-1234), "-1,234");
    EXPECT_EQ(fmt::count(-123), "-123");
    EXPECT_EQ(fmt::count(INT64_MIN), "-9,223,372,036,854,775,808");
}

TEST_F(Format, LocalizeNumberSplitsAtTheFirstSeparator) {
    EXPECT_EQ(fmt::localize_number("1234.5"), "1,234.5");
    EXPECT_EQ(fmt::localize_number("1234,5"), "1,234.5");
    EXPECT_EQ(fmt::localize_number(""), "");
    I18n::instance().set_language("de");
    EXPECT_EQ(fmt::localize_number("1234567.125"), "1.234.567,125");
}

TEST_F(Format, FileCounts) {
    EXPECT_EQ(fmt::files(1), "1 file");
    EXPECT_EQ(fmt::files(0), "0 files");
    EXPECT_EQ(fmt::files(2), "2 files");
    EXPECT_EQ(fmt::files(12345), "12,345 files");
}

TEST_F(Format, SecondsHaveOneDecimalAndAPoint) {
    EXPECT_EQ(fmt::seconds(12.34), "12.3 s");
    EXPECT_EQ(fmt::seconds(0), "0.0 s");
    EXPECT_EQ(fmt::seconds(-3), "0.0 s");
    I18n::instance().set_language("de");
    EXPECT_EQ(fmt::seconds(12.34), "12.3 s") << "durations keep the C library's point";
}

TEST_F(Format, RelativeUnknownTimeIsEmpty) {
    EXPECT_EQ(fmt::relative(0), "");
    EXPECT_EQ(fmt::relative(0, 1000000), "");
}

TEST_F(Format, RelativeAtEveryBoundary) {
    const time_t now = 2000000000;
    struct Case {
        time_t age;
        const char* text;
    };
    const Case cases[] = {
        {0, "just now"},       {44, "just now"},
        {45, "1 min ago"},     {89, "1 min ago"},
        {90, "2 min ago"},     {2699, "45 min ago"},
        {2700, "1 h ago"},     {79199, "22 h ago"},
        {79200, "1 d ago"},    {518399, "6 d ago"},
        {518400, "1 w ago"},   {2419199, "4 w ago"},
        {2419200, "1 mo ago"}, {28927799, "11 mo ago"},
        {28927800, "1 y ago"}, {31557600 * 10LL, "10 y ago"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(fmt::relative(now - c.age, now), c.text) << "age " << c.age;
}

TEST_F(Format, RelativeFutureTimesAreJustNow) {
    EXPECT_EQ(fmt::relative(2000000100, 2000000000), "just now");
}

TEST_F(Format, RelativeAgainstTheClock) {
    EXPECT_EQ(fmt::relative(time(nullptr) - 10), "just now");
    EXPECT_EQ(fmt::relative(time(nullptr) - 3 * 86400), "3 d ago");
}

TEST_F(Format, RelativeUsesTheLanguagesGrouping) {
    I18n::instance().set_language("de");
    const time_t now = 2000000000;
    // 1500 years: the count is grouped like any other number.
    EXPECT_EQ(fmt::relative(now - 31557600LL * 1500, now),
              I18n::instance().trf("%s y ago", "1.500"));
}

TEST_F(Format, DateUsesTheLanguagesPattern) {
    const time_t t = 1700000000; // 2023-11-14 22:13:20 UTC
    EXPECT_EQ(fmt::date(t), "11/14/23");
    I18n::instance().set_language("de");
    EXPECT_EQ(fmt::date(t), "14.11.23");
    I18n::instance().set_language("fr");
    EXPECT_EQ(fmt::date(t), "14/11/23");
    I18n::instance().set_language("nl");
    EXPECT_EQ(fmt::date(t), "14-11-23");
    I18n::instance().set_language("sv");
    EXPECT_EQ(fmt::date(t), "23-11-14");
    I18n::instance().set_language("ja");
    EXPECT_EQ(fmt::date(t), "23/11/14");
}

TEST_F(Format, DateOfUnknownTimeIsEmpty) {
    EXPECT_EQ(fmt::date(0), "");
}

TEST_F(Format, DateFollowsTheLocalTimeZone) {
    setenv("TZ", "Asia/Tokyo", 1);
    tzset();
    // 22:13 UTC is already the next morning in Tokyo.
    EXPECT_EQ(fmt::date(1700000000), "11/15/23");
}
