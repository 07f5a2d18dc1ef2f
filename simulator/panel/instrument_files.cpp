#include "simulator/panel/instrument_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace fs = std::filesystem;

namespace k905 {

namespace {

constexpr std::size_t kMostFiles = 500;  // in one listing
constexpr const char* kSingle[] = {"console.log", "module.at24c512", "mainboard.eeprom", "tuning.bin"};
constexpr const char* kFolders[] = {"root/mnt/sdcard", "root/mnt/usb"};

// Whether the path, taken by its letters alone, is one that people may see.
bool IsShown(const fs::path& path) {
    if (path.is_absolute())
        return false;
    for (const fs::path& part : path)
        if (part == ".." || part == "." || part.empty() || part.string()[0] == '.')
            return false;
    const std::string name = path.generic_string();
    if (std::any_of(std::begin(kSingle), std::end(kSingle), [&](const char* one) { return name == one; }) ||
        (!path.has_parent_path() && path.extension() == ".png"))
        return true;
    return std::any_of(std::begin(kFolders), std::end(kFolders), [&](const std::string& folder) {
        return name.compare(0, folder.size() + 1, folder + "/") == 0;
    });
}

void Add(const fs::path& stateDir, const fs::path& path, std::vector<InstrumentFile>& files) {
    struct stat status = {};
    if (files.size() < kMostFiles && IsShown(path) && lstat((stateDir / path).c_str(), &status) == 0 &&
        S_ISREG(status.st_mode))
        files.push_back({path.generic_string(), static_cast<std::uint64_t>(status.st_size), status.st_mtime});
}

}  // namespace

std::vector<InstrumentFile> ListInstrumentFiles(const std::string& stateDir) {
    std::vector<InstrumentFile> files;
    std::error_code error;
    for (const char* name : kSingle)
        Add(stateDir, name, files);
    for (const auto& entry : fs::directory_iterator(stateDir, error))
        if (entry.path().extension() == ".png")
            Add(stateDir, entry.path().filename(), files);
    for (const char* folder : kFolders)
        for (fs::recursive_directory_iterator entry(fs::path(stateDir) / folder, error), end; entry != end;
             entry.increment(error))
            Add(stateDir, entry->path().lexically_relative(stateDir), files);
    return files;
}

bool ReadInstrumentFile(const std::string& stateDir, const std::string& path, std::string& content) {
    if (!IsShown(path))
        return false;
    // No link on the way may lead out of the folder.
    std::error_code error;
    const fs::path real = fs::canonical(fs::path(stateDir) / path, error);
    if (error || real != fs::canonical(stateDir, error) / path)
        return false;
    const int fd = open(real.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    struct stat status = {};
    bool good = fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    if (good) {
        const auto size = static_cast<std::uint64_t>(status.st_size);
        const std::uint64_t from = size > kLargestFile ? size - kLargestFile : 0;
        content.resize(size - from);
        const ssize_t count = pread(fd, content.data(), content.size(), static_cast<off_t>(from));
        good = count >= 0;
        content.resize(good ? static_cast<std::size_t>(count) : 0);
    }
    if (fd >= 0)
        close(fd);
    return good;
}

}  // namespace k905
