// Feeds arbitrary text to the reader of build.gradle and build.gradle.kts
// and checks: every SDK platform found is "android-" and something, every
// build-tools version a literal without "$" or line break; reading is
// stable; and a literal setting put before the script is found first, with
// everything the script itself gives after it unchanged, whatever comments
// or strings the script leaves open. Text only.
#include "fuzz_support.h"
#include "tool_pins.h"

#include <string>
#include <vector>

namespace {

using fuzz::require;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);

    const std::vector<std::string> platforms = tool_pins::parse_android_script(text, false);
    require(tool_pins::parse_android_script(text, false) == platforms);
    for (const std::string& p : platforms) {
        require(p.size() >= 8 && p.compare(0, 8, "android-") == 0);
        require(p.find('\n') == std::string::npos);
    }
    const std::vector<std::string> tools = tool_pins::parse_android_script(text, true);
    require(tool_pins::parse_android_script(text, true) == tools);
    for (const std::string& t : tools)
        require(t.find_first_of("$\n") == std::string::npos);

    // compileSdk is the first setting looked at, so its value comes first.
    require(tool_pins::parse_android_script("compileSdk 34\n" + text, false) ==
            fuzz::joined({"android-34"}, platforms));
    const std::vector<std::string> older = tool_pins::parse_android_script(
        "android { compileSdkVersion(\"android-33\")\n" + text, false);
    require(older.size() == platforms.size() + 1 && fuzz::contains(older, "android-33"));
    require(tool_pins::parse_android_script("buildToolsVersion = \"34.0.0\" // pinned\n" + text,
                                            true) == fuzz::joined({"34.0.0"}, tools));
    return 0;
}
