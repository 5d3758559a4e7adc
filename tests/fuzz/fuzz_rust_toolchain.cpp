// Feeds arbitrary text to the reader of a project's rust-toolchain and
// rust-toolchain.toml and checks: reading is stable; a legacy file gives one
// word without blanks or comment; a [toolchain] table put before the text
// always wins; a channel written as TOML comes back whole, with LF or CRLF
// line ends; and a one-word legacy file gives exactly that word, with a
// comment above it, a byte-order mark or a CRLF. Text only.
#include "fuzz_support.h"
#include "fuzz_toml_escape.h"
#include "tool_pins.h"

#include <string>

namespace {

using fuzz::require;

bool has_blank(const std::string& s) {
    return s.find_first_of(" \t\r\n\v\f") != std::string::npos;
}

// Whether the text holds a line starting with "[" (after blanks): rustup
// then reads the file as TOML.
bool looks_like_toml(const std::string& text) {
    bool line_start = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\n') {
            line_start = true;
            continue;
        }
        if (line_start && (c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'))
            continue;
        if (line_start && i == 0 && fuzz::starts_with_bom(text)) {
            i += 2;
            continue;
        }
        if (line_start && c == '[')
            return true;
        line_start = false;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    const std::string channel = tool_pins::parse_rust_toolchain(text);
    require(tool_pins::parse_rust_toolchain(text) == channel);
    if (!looks_like_toml(text))
        require(!has_blank(channel) && channel.find('#') == std::string::npos);

    // The first [toolchain] channel wins, whatever follows.
    require(tool_pins::parse_rust_toolchain("[toolchain]\nchannel = \"1.78.0\"\n" + text) ==
            "1.78.0");

    if (fuzz::toml_plain(text)) {
        const std::string toml = "[toolchain]\nchannel = " + fuzz::toml_quoted(text) +
                                 "\ncomponents = [ \"rustfmt\", \"clippy\" ]\n";
        require(tool_pins::parse_rust_toolchain(toml) == text);
        std::string crlf;
        for (char c : toml)
            crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
        require(tool_pins::parse_rust_toolchain(crlf) == text);
    }

    // One word is the legacy file's channel.
    if (!text.empty() && !has_blank(text) && text.find('#') == std::string::npos &&
        text[0] != '[' && !fuzz::starts_with_bom(text)) {
        require(tool_pins::parse_rust_toolchain(text) == text);
        require(tool_pins::parse_rust_toolchain(text + "\r\n") == text);
        require(tool_pins::parse_rust_toolchain("# pinned for the CI\n\n" + text + "\n") == text);
        require(tool_pins::parse_rust_toolchain("\xEF\xBB\xBF" + text) == text);
    }
    return 0;
}
