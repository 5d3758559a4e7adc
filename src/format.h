// Short display texts for numbers: sizes, counts, file counts, durations,
// relative ages and dates, with the separators, words and date pattern of the
// current interface language. Never fails; reads the translator, so it runs
// on the interface thread like everything that draws.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace fmt {

// "1.25 GB": powers of 1024 with up to two decimals from MB on.
std::string bytes(int64_t n);
// The same with up to one decimal.
std::string bytes_short(int64_t n);
// "1,234,567" with the language's digit grouping.
std::string count(int64_t n);
// "1 file" or "%s files".
std::string files(int64_t n);
// "12.3 s".
std::string seconds(double s);
// "3 d ago"; empty for an unknown time (0).
std::string relative(time_t t);
// The same, measured from a given moment instead of the clock.
std::string relative(time_t t, time_t now);
// The local date in the language's short pattern; empty for 0.
std::string date(time_t t);

// Regroups a plain C-library number ("1234567", "12.5") with the language's
// separators. Exposed for tests.
std::string localize_number(const std::string& text);

} // namespace fmt
