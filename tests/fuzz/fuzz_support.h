// Small helpers the fuzz targets share: a check that stops the run on the
// first broken promise (libFuzzer keeps the input that did it), and ways to
// cut one input into the several texts a target needs. Text only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

inline void require(bool ok) {
    if (!ok)
        std::abort();
}

inline std::string text_of(const std::uint8_t* data, std::size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

// The text cut in two at a place its first byte chooses; the byte itself
// belongs to neither half.
inline void split_in_two(const std::string& text, std::string& a, std::string& b) {
    if (text.empty()) {
        a.clear();
        b.clear();
        return;
    }
    const std::string rest = text.substr(1);
    const std::size_t at = static_cast<unsigned char>(text[0]) % (rest.size() + 1);
    a = rest.substr(0, at);
    b = rest.substr(at);
}

inline bool starts_with_bom(const std::string& s) {
    return s.compare(0, 3, "\xEF\xBB\xBF") == 0;
}

inline bool contains(const std::vector<std::string>& v, const std::string& s) {
    for (const std::string& x : v)
        if (x == s)
            return true;
    return false;
}

inline std::vector<std::string> joined(std::vector<std::string> a,
                                       const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

} // namespace fuzz
