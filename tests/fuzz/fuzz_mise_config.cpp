// Feeds arbitrary text to the reader of mise's config.toml and checks: every
// entry found is one of the installed "<tool>/<version>" names; reading is
// stable; a [tools] table put after the text, in each form mise accepts (a
// string, an array, an inline table with a version, a dotted key), adds its
// entries last whatever the text left open; and a version written as a TOML
// string comes back as the installed entry it names. Text only.
#include "fuzz_support.h"
#include "fuzz_toml_escape.h"
#include "tool_pins.h"

#include <string>
#include <vector>

namespace {

using fuzz::require;

const std::vector<std::string> INSTALLED = {
    "node/20.11.1",  "node/22.3.0", "python/3.12.4", "python/3.12.1",
    "python/3.11.9", "go/1.22.1",   "go/1.21.8",     "java/temurin-21.0.2+13.0.LTS",
    "ruby/3.3.0"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    const std::vector<std::string> found = tool_pins::parse_mise_config(text, INSTALLED);
    for (const std::string& e : found)
        require(fuzz::contains(INSTALLED, e));
    require(tool_pins::parse_mise_config(text, INSTALLED) == found);

    const std::vector<std::string> more = tool_pins::parse_mise_config(
        text + "\n[tools]\nnode = \"20\"\npython = ['3.12', \"3.11\"]\r\n"
               "go = { version = \"prefix:1.21\", os = [\"linux\"] }\nruby = \"system\"\n",
        INSTALLED);
    require(more ==
            fuzz::joined(found, {"node/20.11.1", "python/3.12.4", "python/3.11.9", "go/1.21.8"}));

    // Any version as a string: found exactly when it is installed or continues one.
    if (fuzz::toml_plain(text)) {
        const std::vector<std::string> one = tool_pins::parse_mise_config(
            "[settings]\nexperimental = true\n\n[tools]\npython = " + fuzz::toml_quoted(text) +
                "\n",
            INSTALLED);
        const std::string resolved =
            tool_pins::resolve_version(text, {"3.12.4", "3.12.1", "3.11.9"});
        if (text.empty() || text == "system" || text.compare(0, 4, "ref:") == 0 ||
            text.compare(0, 5, "path:") == 0)
            require(one.empty());
        else if (text == "latest")
            require(one == std::vector<std::string>{"python/3.12.4"});
        else if (text.compare(0, 7, "prefix:") != 0)
            require(one == (resolved.empty() ? std::vector<std::string>{}
                                             : std::vector<std::string>{"python/" + resolved}));
    }
    return 0;
}
