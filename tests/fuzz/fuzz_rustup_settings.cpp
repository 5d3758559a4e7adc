// Feeds arbitrary text to the reader of rustup's settings.toml and checks:
// reading is stable; a default_toolchain line put before the text is the
// first default and changes nothing else; an [overrides] table put after it
// adds its channel last and changes nothing else; any channel written as
// rustup writes strings comes back whole; and a channel found names only
// the toolchain folders that are it or it plus a host triple. Text only.
#include "fuzz_support.h"
#include "fuzz_toml_escape.h"
#include "tool_pins.h"

#include <string>
#include <vector>

namespace {

using fuzz::require;

bool same(const tool_pins::RustupSettings& a, const tool_pins::RustupSettings& b) {
    return a.defaults == b.defaults && a.overrides == b.overrides;
}

const std::vector<std::string> FOLDERS = {"stable-x86_64-unknown-linux-gnu",
                                          "nightly-x86_64-unknown-linux-gnu",
                                          "nightly-2024-05-01-x86_64-unknown-linux-gnu",
                                          "1.78.0-aarch64-unknown-linux-gnu",
                                          "beta",
                                          "stable"};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    const tool_pins::RustupSettings s = tool_pins::parse_rustup_settings(text);
    require(same(tool_pins::parse_rustup_settings(text), s));

    // A line before the text stands at the top, outside any table.
    if (!fuzz::starts_with_bom(text)) {
        const tool_pins::RustupSettings before =
            tool_pins::parse_rustup_settings("default_toolchain = \"stable\"\n" + text);
        require(before.defaults == fuzz::joined({"stable"}, s.defaults));
        require(before.overrides == s.overrides);
    }
    // A table after the text starts afresh, whatever the text left open.
    const tool_pins::RustupSettings after = tool_pins::parse_rustup_settings(
        text + "\n[overrides]\n\"/home/me/project\" = 'nightly-2024-05-01'\r\n");
    require(after.defaults == s.defaults);
    require(after.overrides == fuzz::joined(s.overrides, {"nightly-2024-05-01"}));

    // Any channel written as rustup writes a string comes back whole.
    if (fuzz::toml_plain(text)) {
        const tool_pins::RustupSettings written = tool_pins::parse_rustup_settings(
            "default_toolchain = " + fuzz::toml_quoted(text) + "\nprofile = \"default\"\n" +
            "[overrides]\n" + fuzz::toml_quoted("/home/me/" + text) + " = " +
            fuzz::toml_quoted(text) + "\n");
        require(written.defaults == std::vector<std::string>{text});
        require(written.overrides == std::vector<std::string>{text});
    }

    // A channel names a folder only as itself or followed by a host triple.
    for (const std::vector<std::string>* list : {&s.defaults, &s.overrides})
        for (const std::string& channel : *list)
            for (const std::string& folder : FOLDERS)
                if (tool_pins::channel_names_toolchain(channel, folder)) {
                    require(folder == channel ||
                            (folder.compare(0, channel.size() + 1, channel + "-") == 0 &&
                             std::isalpha(static_cast<unsigned char>(folder[channel.size() + 1]))));
                }
    return 0;
}
