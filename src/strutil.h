// Byte-string helpers for UTF-8 text and POSIX paths. Paths are treated purely
// as text: nothing here touches the file system, follows links or collapses
// "." and "..", and the separator is always "/". No locale, no toolkit, no
// state: any thread may call any function at any time.
#pragma once

#include <cstdint>
#include <string>

namespace su {

// Maps only "A".."Z" to "a".."z"; every other byte, including every byte of
// 0x80 or above, passes through, so UTF-8 text is never damaged.
std::string lower_ascii(std::string s);

// Plain byte-wise prefix and suffix tests. An empty prefix or suffix always matches.
bool starts_with(const std::string& text, const std::string& prefix);
bool ends_with(const std::string& text, const std::string& suffix);

// The last path component without trailing slashes. Only the one-byte path
// "/" names the root and gives "/"; "//" and "///" give "".
std::string basename_of(const std::string& path);

// Everything before the last "/" once trailing slashes are set aside: "/a"
// gives "/", "a//b" gives "a/", "abc" gives "". The root has no parent, so
// "/" gives "", while "//" gives "/".
std::string parent_of(const std::string& path);

// base and name with one "/" added between them unless base already ends in
// one. A leading slash of name is kept ("x" + "/y" is "x//y"); an empty side
// gives the other side.
std::string join_path(const std::string& base, const std::string& name);

// The lower-cased text after the last "." of the whole path (the search does
// not stop at "/"). No dot, a dot in front (".bashrc") or a dot at the end
// gives "".
std::string extension_of(const std::string& path);

// A prefix of text of at most max_bytes bytes that never ends inside a UTF-8
// sequence: the cut moves back over continuation bytes.
std::string truncate_utf8(const std::string& text, std::uint64_t max_bytes);

// Checks only the shape of each sequence (lead byte and the right number of
// continuation bytes). Overlong forms, encoded surrogates and code points
// above U+10FFFF pass.
bool is_valid_utf8(const std::string& text);

// The text with every byte that starts no well-shaped sequence replaced by
// U+FFFD; well-shaped sequences are copied as they are.
std::string sanitize_utf8(const std::string& text);

// Natural version order of two names: runs of digits compare as numbers
// (leading zeros ignored), other bytes as bytes. Negative, zero or positive
// as a is older than, the same as or newer than b. Equal versions written
// differently ("1.01", "1.1") fall back to the bytes, so the order is total.
int compare_versions(const std::string& a, const std::string& b);

} // namespace su
