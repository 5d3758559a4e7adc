// Feeds arbitrary text to the reader of .tool-versions (asdf, and mise with
// its own tool names) and checks: every entry found is one of the installed
// "<tool>/<version>" names; reading is stable; two files put one after the
// other give the entries of the first, then those of the second; a line put
// after the text adds its own entries last. Text only.
#include "fuzz_support.h"
#include "tool_pins.h"

#include <string>
#include <vector>

namespace {

using fuzz::require;

const std::vector<std::string> INSTALLED = {"nodejs/20.11.1",
                                            "nodejs/18.19.0",
                                            "node/20.11.1",
                                            "node/22.3.0",
                                            "python/3.12.4",
                                            "python/3.12.1",
                                            "python/3.11.9",
                                            "python/3.12.0rc1",
                                            "golang/1.22.1",
                                            "go/1.22.1",
                                            "java/temurin-21.0.2+13.0.LTS",
                                            "ruby/3.3.0",
                                            "erlang/26.2.1"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    std::string a, b;
    fuzz::split_in_two(text, a, b);
    for (const bool mise : {false, true}) {
        const std::vector<std::string> found =
            tool_pins::parse_tool_versions(text, INSTALLED, mise);
        for (const std::string& e : found)
            require(fuzz::contains(INSTALLED, e));
        require(tool_pins::parse_tool_versions(text, INSTALLED, mise) == found);

        if (!fuzz::starts_with_bom(b))
            require(tool_pins::parse_tool_versions(a + "\n" + b, INSTALLED, mise) ==
                    fuzz::joined(tool_pins::parse_tool_versions(a, INSTALLED, mise),
                                 tool_pins::parse_tool_versions(b, INSTALLED, mise)));

        const std::vector<std::string> more = tool_pins::parse_tool_versions(
            text + "\npython 3.12 3.11.9 system   # two of them\r\nnodejs latest\n", INSTALLED,
            mise);
        require(more == fuzz::joined(found, {"python/3.12.4", "python/3.11.9",
                                             mise ? "node/22.3.0" : "nodejs/20.11.1"}));
    }
    return 0;
}
