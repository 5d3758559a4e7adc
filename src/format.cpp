#include "format.h"

#include "i18n.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace fmt {

namespace {

const char* const UNITS[] = {"B", "KB", "MB", "GB", "TB", "PB"};
constexpr int LAST_UNIT = 5;

// The language's separators for a plain C-library number. Sizes leave their
// digits ungrouped: they have at most four before the separator ("1023 B",
// "1024 KB"), where a group mark would only add noise.
std::string with_separators(const std::string& text, bool group) {
    const I18n::NumberFormat nf = I18n::instance().number_format();
    const size_t cut = text.find_first_of(".,");
    const std::string digits = text.substr(0, cut);
    std::string out;
    const size_t first = digits.size() % 3 == 0 ? 3 : digits.size() % 3;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (group && i >= first && (i - first) % 3 == 0)
            out += nf.group;
        out += digits[i];
    }
    if (cut != std::string::npos) {
        out += nf.decimal;
        out += text.substr(cut + 1);
    }
    return out;
}

std::string bytes_with(int64_t n, int decimals) {
    double v = n < 0 ? 0.0 : static_cast<double>(n);
    int unit = 0;
    while (v >= 1024.0 && unit < LAST_UNIT) {
        v *= 0.0009765625;
        ++unit;
    }
    // Kilobytes with decimals look busier than they are worth.
    const int shown = unit < 2 ? 0 : decimals;
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", shown, v);
    return with_separators(buf, false) + " " + UNITS[unit];
}

} // namespace

std::string localize_number(const std::string& text) {
    return with_separators(text, true);
}

std::string bytes(int64_t n) {
    return bytes_with(n, 2);
}

std::string bytes_short(int64_t n) {
    return bytes_with(n, 1);
}

std::string count(int64_t n) {
    // The magnitude as unsigned, so the most negative number has one too.
    const unsigned long long magnitude =
        n < 0 ? 0ULL - static_cast<unsigned long long>(n) : static_cast<unsigned long long>(n);
    char buf[48];
    std::snprintf(buf, sizeof buf, "%llu", magnitude);
    return (n < 0 ? "-" : "") + localize_number(buf);
}

std::string files(int64_t n) {
    if (n == 1)
        return I18n::instance().tr("1 file");
    return I18n::instance().trf("%s files", count(n).c_str());
}

std::string seconds(double s) {
    if (!(s > 0))
        s = 0;
    char buf[48];
    // The apostrophe asks the C library for its own grouping (POSIX, not ISO
    // C++); the program's numeric locale is "C", which groups nothing.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
    std::snprintf(buf, sizeof buf, "%'.1f", s);
#pragma GCC diagnostic pop
    return std::string(buf) + " " + I18n::instance().tr("s");
}

std::string relative(time_t t) {
    return relative(t, time(nullptr));
}

std::string relative(time_t t, time_t now) {
    if (t == 0)
        return {};
    const double d = static_cast<double>(now - t);
    I18n& i18n = I18n::instance();
    if (d <= 44)
        return i18n.tr("just now");
    const char* pattern;
    double unit;
    if (d < 2700) {
        pattern = tr_noop("%s min ago");
        unit = 60;
    } else if (d < 79200) {
        pattern = tr_noop("%s h ago");
        unit = 3600;
    } else if (d < 518400) {
        pattern = tr_noop("%s d ago");
        unit = 86400;
    } else if (d < 2419200) {
        pattern = tr_noop("%s w ago");
        unit = 604800;
    } else if (d < 28927800) {
        pattern = tr_noop("%s mo ago");
        unit = 2629800;
    } else {
        pattern = tr_noop("%s y ago");
        unit = 31557600;
    }
    return i18n.trf(pattern, count(std::llround(d / unit)).c_str());
}

std::string date(time_t t) {
    if (t == 0)
        return {};
    struct tm local {};
    if (!localtime_r(&t, &local))
        return {};
    char buf[64];
    const size_t len = std::strftime(buf, sizeof buf, I18n::instance().date_format(), &local);
    return std::string(buf, len);
}

} // namespace fmt
