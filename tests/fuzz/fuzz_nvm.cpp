// Feeds arbitrary nvm files to the reader of nvm's aliases and a project's
// ".nvmrc". The input is the .nvmrc, then any number of alias files, each
// introduced by a line "@@ <alias name>" (the name as it stands under
// NVM_DIR/alias, "lts/iron" say). Checks: the value read is one word, never
// a comment, and stable; following aliases asks only for names that stay
// inside the alias folder, and gives up after a few steps however the
// aliases loop; a version found is one of the installed names, the value
// itself when it names one exactly. Text only: the alias files are held in
// memory.
#include "fuzz_support.h"
#include "tool_pins.h"

#include <map>
#include <string>
#include <vector>

namespace {

using fuzz::require;

const std::vector<std::string> INSTALLED = {"v16.20.2", "v18.19.0", "v18.20.4", "v20.11.1",
                                            "v20.12.2", "v21.7.3",  "v22.3.0"};

// What nvm would open under its alias folder: no empty, "." or ".."
// component, nothing absolute.
bool stays_inside(const std::string& name) {
    if (name.empty() || name[0] == '/')
        return false;
    std::size_t start = 0;
    while (start <= name.size()) {
        std::size_t end = name.find('/', start);
        if (end == std::string::npos)
            end = name.size();
        const std::string part = name.substr(start, end - start);
        if (part.empty() || part == "." || part == "..")
            return false;
        start = end + 1;
    }
    return true;
}

std::string resolve(const std::string& value, const std::map<std::string, std::string>& aliases) {
    int calls = 0;
    const std::string found =
        tool_pins::resolve_nvm(value, INSTALLED, [&](const std::string& name) -> std::string {
            require(stays_inside(name));
            require(++calls <= 16);
            const auto it = aliases.find(name);
            return it == aliases.end() ? std::string() : it->second;
        });
    require(found.empty() || fuzz::contains(INSTALLED, found));
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::text_of(data, size);
    std::map<std::string, std::string> aliases;
    std::size_t at = text.find("\n@@ ");
    const std::string nvmrc = text.substr(0, at);
    while (at != std::string::npos) {
        const std::size_t name_start = at + 4;
        const std::size_t name_end = text.find('\n', name_start);
        const std::size_t next =
            name_end == std::string::npos ? std::string::npos : text.find("\n@@ ", name_end);
        const std::string name = text.substr(name_start, name_end - name_start);
        aliases[name] =
            name_end == std::string::npos
                ? std::string()
                : text.substr(name_end + 1,
                              next == std::string::npos ? std::string::npos : next - name_end - 1);
        at = next;
    }

    const std::string value = tool_pins::parse_nvm_value(nvmrc);
    require(tool_pins::parse_nvm_value(nvmrc) == value);
    require(value.find_first_of(" \t\r\n\v\f#") == std::string::npos);
    const std::vector<std::string> words = tool_pins::parse_python_version(nvmrc);
    require(value == (words.empty() ? std::string() : words[0]));

    const std::string found = resolve(value, aliases);
    require(resolve(value, aliases) == found);
    if (fuzz::contains(INSTALLED, value))
        require(found == value);
    if (value == "node" || value == "stable")
        require(found == "v22.3.0");
    if (!value.empty() && value[0] >= '0' && value[0] <= '9' && !found.empty())
        require(found == "v" + value || found.compare(0, value.size() + 2, "v" + value + ".") == 0);
    resolve("default", aliases);
    return 0;
}
