#include "strutil.h"

#include <cstddef>

namespace su {

namespace {

// Length of the sequence that byte b opens, by shape alone; 0 for a byte
// that cannot open one (a stray continuation byte, or 0xF8 to 0xFF).
std::size_t sequence_length(unsigned char b) {
    if (b < 0x80)
        return 1;
    if (b >= 0xC0 && b <= 0xDF)
        return 2;
    if (b >= 0xE0 && b <= 0xEF)
        return 3;
    if (b >= 0xF0 && b <= 0xF7)
        return 4;
    return 0;
}

bool is_ascii_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_continuation(unsigned char b) {
    return b >= 0x80 && b <= 0xBF;
}

// Length of the well-shaped sequence starting at i, or 0 when there is none
// (bad lead byte, too few bytes left, or a byte after the lead that is not a
// continuation byte).
std::size_t well_shaped_at(const std::string& s, std::size_t i) {
    const std::size_t len = sequence_length(static_cast<unsigned char>(s[i]));
    if (len == 0 || len > s.size() - i)
        return 0;
    for (std::size_t k = 1; k < len; ++k) {
        if (!is_continuation(static_cast<unsigned char>(s[i + k])))
            return 0;
    }
    return len;
}

} // namespace

std::string lower_ascii(std::string s) {
    for (char& c : s) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return s;
}

bool starts_with(const std::string& text, const std::string& prefix) {
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

bool ends_with(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() &&
           text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string basename_of(const std::string& path) {
    if (path == "/")
        return "/";
    // A slash in the first position is never set aside, so "//" keeps one
    // byte and its last component is the empty text after that slash.
    std::size_t end = path.size();
    while (end >= 2 && path[end - 1] == '/')
        --end;
    if (end == 0)
        return "";
    const std::size_t slash = path.rfind('/', end - 1);
    if (slash == std::string::npos)
        return path.substr(0, end);
    return path.substr(slash + 1, end - slash - 1);
}

std::string parent_of(const std::string& path) {
    if (path.size() <= 1)
        return "";
    // Last byte that is not a slash, looking no lower than index 1; when
    // everything from index 1 on is a slash the search starts at 0.
    std::size_t i = path.size() - 1;
    while (i >= 1 && path[i] == '/')
        --i;
    const std::size_t slash = path.rfind('/', i);
    if (slash == std::string::npos)
        return "";
    if (slash == 0)
        return "/";
    return path.substr(0, slash);
}

std::string join_path(const std::string& base, const std::string& name) {
    if (base.empty())
        return name;
    if (name.empty())
        return base;
    if (base.back() == '/')
        return base + name;
    std::string out;
    out.reserve(base.size() + 1 + name.size());
    out += base;
    out += '/';
    out += name;
    return out;
}

std::string extension_of(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == path.size())
        return "";
    return lower_ascii(path.substr(dot + 1));
}

std::string truncate_utf8(const std::string& text, std::uint64_t max_bytes) {
    if (max_bytes >= text.size())
        return text;
    if (max_bytes == 0)
        return "";
    // max_bytes < size here, so the byte at i exists; stepping back over
    // continuation bytes puts the cut in front of a lead or ASCII byte.
    std::size_t i = static_cast<std::size_t>(max_bytes);
    while (i > 0 && is_continuation(static_cast<unsigned char>(text[i])))
        --i;
    return text.substr(0, i);
}

bool is_valid_utf8(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const std::size_t len = well_shaped_at(text, i);
        if (len == 0)
            return false;
        i += len;
    }
    return true;
}

std::string sanitize_utf8(const std::string& text) {
    if (is_valid_utf8(text))
        return text;
    std::string out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const std::size_t len = well_shaped_at(text, i);
        if (len > 0) {
            out.append(text, i, len);
            i += len;
        } else {
            // One replacement per offending byte, then resynchronise on the
            // next byte: a sequence cut short yields one per byte it has.
            out += "\xEF\xBF\xBD";
            ++i;
        }
    }
    return out;
}

int compare_versions(const std::string& a, const std::string& b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (is_ascii_digit(a[i]) && is_ascii_digit(b[j])) {
            // Runs of digits compare as numbers of any length: skip leading
            // zeros, then the longer run is the bigger number, else the first
            // differing digit decides.
            std::size_t ai = i;
            std::size_t bj = j;
            while (ai < a.size() && a[ai] == '0')
                ++ai;
            while (bj < b.size() && b[bj] == '0')
                ++bj;
            std::size_t ae = ai;
            std::size_t be = bj;
            while (ae < a.size() && is_ascii_digit(a[ae]))
                ++ae;
            while (be < b.size() && is_ascii_digit(b[be]))
                ++be;
            if (ae - ai != be - bj)
                return ae - ai < be - bj ? -1 : 1;
            for (std::size_t k = 0; k < ae - ai; ++k)
                if (a[ai + k] != b[bj + k])
                    return a[ai + k] < b[bj + k] ? -1 : 1;
            i = ae;
            j = be;
            continue;
        }
        const unsigned char ca = static_cast<unsigned char>(a[i]);
        const unsigned char cb = static_cast<unsigned char>(b[j]);
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size() || j < b.size())
        return i < a.size() ? 1 : -1;
    // Equal as versions ("1.01" and "1.1"): fall back to the bytes so the
    // order stays total.
    return a < b ? -1 : (a == b ? 0 : 1);
}

} // namespace su
