// Feeds arbitrary text to the reader of gradle-wrapper.properties and
// checks: the distribution found is empty or a "gradle-..." folder name with
// no slash or query left; reading is stable; a distributionUrl line
// put before the text always wins; and any value written with the escapes
// of a properties file, on one line or cut over continued lines, comes back
// whole. Text only.
#include "fuzz_support.h"
#include "tool_pins.h"

#include <string>

namespace {

using fuzz::require;

// Each byte that means something in a properties file escaped with a backslash.
std::string escaped(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (c == '\\' || c == ':' || c == '=' || c == '#' || c == '!' || c == ' ')
            out += '\\';
        out += c;
    }
    return out;
}

// The value a properties file can hold as it is: one line, and no blank at
// either end (the reader trims, as Gradle's own does not matter here).
bool storable(const std::string& s) {
    if (s.find_first_of("\r\n\t\v\f") != std::string::npos)
        return false;
    return s.empty() || (s.front() != ' ' && s.back() != ' ');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    const std::string dist = tool_pins::parse_gradle_wrapper(text);
    require(tool_pins::parse_gradle_wrapper(text) == dist);
    if (!dist.empty()) {
        require(dist.compare(0, 7, "gradle-") == 0);
        require(dist.find_first_of("/?#") == std::string::npos);
    }

    if (!fuzz::starts_with_bom(text))
        require(tool_pins::parse_gradle_wrapper(
                    "distributionUrl=https\\://services.gradle.org/distributions/"
                    "gradle-8.5-bin.zip\n" +
                    text) == "gradle-8.5-bin");

    std::string value, cut;
    fuzz::split_in_two(text, value, cut);
    if (storable(value)) {
        const std::string line = escaped(value);
        require(tool_pins::property_value("distributionUrl=" + line + "\n" + text,
                                          "distributionUrl") == value);
        require(tool_pins::property_value("# comment\r\ndistributionUrl : " + line + "\r\n",
                                          "distributionUrl") == value);
        // Cut the line where the second half says, never inside an escape.
        std::size_t at = cut.empty() ? 0 : static_cast<unsigned char>(cut[0]) % (line.size() + 1);
        std::size_t backslashes = 0;
        while (at > backslashes && line[at - 1 - backslashes] == '\\')
            ++backslashes;
        if (backslashes % 2 == 0) {
            const std::string continued = line.substr(0, at) + "\\\n    " + line.substr(at);
            require(tool_pins::property_value("distributionUrl=" + continued + "\n",
                                              "distributionUrl") == value);
        }
    }
    return 0;
}
