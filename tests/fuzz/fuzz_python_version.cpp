// Feeds arbitrary text to the reader of pyenv's "version" file and of a
// project's ".python-version" and checks: every word is one word, never a
// comment; reading is stable; two files put one after the other give the
// words of the first, then those of the second; and a version a word asks
// for is one of the installed names, the word itself when it is installed.
// Some inputs also go through the size-limited file reader, in a private
// temporary folder, which must give the bytes back whole or, past
// READ_LIMIT or with a NUL byte, nothing at all.
#include "fuzz_support.h"
#include "tool_pins.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using fuzz::require;

const std::vector<std::string> INSTALLED = {
    "3.12.4", "3.12.1",          "3.12.0rc1", "3.11.9",
    "3.10",   "pypy3.10-7.3.15", "tools",     "miniconda3-latest"};
std::string g_dir;
std::string g_file;

void remove_file() {
    unlink(g_file.c_str());
    rmdir(g_dir.c_str());
}

void write_file(const std::string& bytes) {
    FILE* f = std::fopen(g_file.c_str(), "wb");
    require(f != nullptr);
    require(std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size());
    require(std::fclose(f) == 0);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    char templ[] = "/tmp/quillet-fuzz-pyversion-XXXXXX";
    if (!mkdtemp(templ))
        std::abort();
    g_dir = templ;
    g_file = g_dir + "/.python-version";
    std::atexit(remove_file);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    const std::vector<std::string> words = tool_pins::parse_python_version(text);
    require(tool_pins::parse_python_version(text) == words);
    for (const std::string& w : words) {
        require(!w.empty() && w.find_first_of(" \t\r\n\v\f#") == std::string::npos);
        const std::string v = tool_pins::resolve_version(w, INSTALLED);
        require(v.empty() || fuzz::contains(INSTALLED, v));
        if (fuzz::contains(INSTALLED, w))
            require(v == w);
        else if (!v.empty())
            require(v.size() > w.size() + 1 && v.compare(0, w.size() + 1, w + ".") == 0);
    }

    std::string a, b;
    fuzz::split_in_two(text, a, b);
    if (!fuzz::starts_with_bom(b))
        require(
            tool_pins::parse_python_version(a + "\n" + b) ==
            fuzz::joined(tool_pins::parse_python_version(a), tool_pins::parse_python_version(b)));

    // One input in 32: the file reader, at sizes on both sides of the limit.
    if (size >= 2 && data[0] % 32 == 0) {
        const std::size_t target = tool_pins::READ_LIMIT - 64 + data[1] % 128;
        std::string bytes = text;
        while (bytes.size() < target)
            bytes += bytes;
        bytes.resize(data[1] & 1 ? target : text.size());
        write_file(bytes);
        const std::string got = tool_pins::read_small_file(g_file);
        if (bytes.size() > tool_pins::READ_LIMIT || bytes.find('\0') != std::string::npos)
            require(got.empty());
        else
            require(got == bytes);
    }
    return 0;
}
