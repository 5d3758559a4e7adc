// A TOML basic string as rustup and mise write one: quotes and backslashes
// escaped, tab and newline as \t and \n. Shared by the fuzz targets of the
// TOML readers for their round trips.
#pragma once

#include <string>

namespace fuzz {

inline std::string toml_quoted(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\')
            out += std::string("\\") + c;
        else if (c == '\t')
            out += "\\t";
        else if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out + "\"";
}

// Whether the reader is asked to bring the string back whole: only the
// escapes above are undone, so other control bytes are left out of the
// round trips (the tools never write them in a channel or a version).
inline bool toml_plain(const std::string& s) {
    for (char c : s) {
        const auto u = static_cast<unsigned char>(c);
        if ((u < 32 && c != '\t' && c != '\n') || u == 127)
            return false;
    }
    return true;
}

} // namespace fuzz
