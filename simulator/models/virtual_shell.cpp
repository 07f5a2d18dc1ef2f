#include "simulator/models/virtual_shell.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "simulator/models/host_file.h"

namespace k905 {

namespace {

constexpr int kNotFound = 127;

std::vector<std::string> Words(const std::string& command) {
    std::vector<std::string> words;
    std::size_t at = 0;
    while ((at = command.find_first_not_of(" \t\n", at)) != std::string::npos) {
        const std::size_t end = std::min(command.find_first_of(" \t\n", at), command.size());
        words.push_back(command.substr(at, end - at));
        at = end;
    }
    return words;
}

// Nothing that a shell would expand, substitute or chain.
bool Plain(const std::string& word) {
    return word.find_first_of("`$;&|<>(){}[]*?!~#'\"\\\r") == std::string::npos;
}

bool StartsWith(const std::string& text, const char* head) {
    return text.rfind(head, 0) == 0;
}

}  // namespace

VirtualShell::VirtualShell(World& world, Storage& storage, Straps& straps,
                           std::function<bool(const std::string&)> onInsert)
    : world_(world), storage_(storage), straps_(straps), onInsert_(std::move(onInsert)) {}

int VirtualShell::Run(const std::string& command, std::string& output) {
    output.clear();
    world_.Trace("shell", "shell " + command);
    const std::vector<std::string> words = Words(command);
    for (std::size_t i = 0; i < words.size(); ++i)
        if (!Plain(words[i]) && !(i == 2 && words[i] == ">"))
            return kNotFound;
    if (words.size() == 2 && words[0] == "insmod")
        return Insert(words[1]);
    if (words.size() == 4 && words[0] == "echo" && words[2] == ">")
        return Echo(words[1], words[3]);
    if (words.size() == 2 && words[0] == "cat")
        return Cat(words[1], output);
    if (words.size() == 1 && words[0] == "sync")
        return 0;
    return kNotFound;
}

// 1 when the file is not there, is no module of this kernel, or is already inserted.
nlohmann::json VirtualShell::State() const {
    return {{"modules", inserted_}};
}

int VirtualShell::Insert(const std::string& path) {
    const std::string file = storage_.Inside(path);
    const std::string folder = Storage::kModules, suffix = ".ko";
    if (file.empty() || !host::Exists(file) || !StartsWith(path, folder.c_str()) ||
        path.size() <= folder.size() + suffix.size() || path.substr(path.size() - suffix.size()) != suffix)
        return 1;
    const std::string name = path.substr(folder.size(), path.size() - folder.size() - suffix.size());
    if (inserted_.count(name) > 0 || !onInsert_(name))
        return 1;
    inserted_.insert(name);
    return 0;
}

int VirtualShell::Echo(const std::string& text, const std::string& path) {
    if (StartsWith(path, Straps::kFolder))
        return straps_.Write(path, text) ? 0 : 1;
    if (StartsWith(path, "/mnt/sdcard") && (storage_.SdFull() || storage_.SdReadOnly()))
        return 1;
    const std::string file = storage_.Inside(path);
    return !file.empty() && host::WriteFile(file, text + "\n") ? 0 : 1;
}

int VirtualShell::Cat(const std::string& path, std::string& output) {
    if (StartsWith(path, Straps::kFolder))
        return straps_.Read(path, output) ? 0 : 1;
    const std::string file = storage_.Inside(path);
    if (file.empty() || host::IsDirectory(file) || !host::ReadFile(file, output))
        return 1;
    return 0;
}

}  // namespace k905
