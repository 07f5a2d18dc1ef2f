#include "simulator/models/host_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace k905::host {

namespace {

int OpenRaw(const std::string& path, int flags, int mode = 0) {
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path.c_str(), flags | O_CLOEXEC, mode));
}

// Whole buffer or nothing left to do; false on an error.
bool WriteAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const long written = syscall(SYS_write, fd, data, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool Write(const std::string& path, int how, const std::string& content) {
    const int fd = OpenRaw(path, O_WRONLY | O_CREAT | how | O_NOFOLLOW, 0644);
    if (fd < 0)
        return false;
    const long before = syscall(SYS_lseek, fd, 0, SEEK_END);
    const bool whole = WriteAll(fd, content.data(), content.size());
    if (!whole && before >= 0)
        SetSize(fd, static_cast<std::size_t>(before));  // no part of it
    Close(fd);
    return whole;
}

}  // namespace

bool Exists(const std::string& path) {
    return syscall(SYS_faccessat, AT_FDCWD, path.c_str(), F_OK) == 0;
}

bool IsSymlink(const std::string& path) {
    char target[1] = {};
    return syscall(SYS_readlinkat, AT_FDCWD, path.c_str(), target, sizeof target) >= 0;
}

bool IsDirectory(const std::string& path) {
    const int fd = OpenRaw(path, O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return false;
    Close(fd);
    return true;
}

bool MakeDirectories(const std::string& path) {
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string part = path.substr(0, end);
        if (!part.empty() && syscall(SYS_mkdirat, AT_FDCWD, part.c_str(), 0755) != 0 && errno != EEXIST)
            return false;
        if (end == std::string::npos)
            return IsDirectory(path);
    }
}

bool ReadFile(const std::string& path, std::string& content) {
    content.clear();
    const int fd = OpenRaw(path, O_RDONLY);
    if (fd < 0)
        return false;
    char buffer[4096];
    long got = 0;
    while ((got = syscall(SYS_read, fd, buffer, sizeof buffer)) > 0)
        content.append(buffer, static_cast<std::size_t>(got));
    Close(fd);
    return got == 0;
}

bool WriteFile(const std::string& path, const std::string& content) {
    return Write(path, O_TRUNC, content);
}

bool AppendFile(const std::string& path, const std::string& content) {
    return Write(path, O_APPEND, content);
}

bool Rename(const std::string& from, const std::string& to) {
    return syscall(SYS_renameat2, AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), 0) == 0;
}

bool Remove(const std::string& path) {
    return syscall(SYS_unlinkat, AT_FDCWD, path.c_str(), 0) == 0;
}

void RemoveTree(const std::string& path) {
    for (const std::string& name : List(path)) {
        const std::string inside = path + "/" + name;
        if (!IsSymlink(inside) && IsDirectory(inside))
            RemoveTree(inside);
        else
            Remove(inside);
    }
    syscall(SYS_unlinkat, AT_FDCWD, path.c_str(), AT_REMOVEDIR);
}

bool Symlink(const std::string& target, const std::string& path) {
    return syscall(SYS_symlinkat, target.c_str(), AT_FDCWD, path.c_str()) == 0;
}

std::string Absolute(const std::string& path) {
    char folder[4096] = {};
    if ((!path.empty() && path[0] == '/') || syscall(SYS_getcwd, folder, sizeof folder) < 0)
        return path;
    return std::string(folder) + "/" + path;
}

std::vector<std::string> List(const std::string& directory) {
    std::vector<std::string> names;
    const int fd = OpenRaw(directory, O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return names;
    // struct linux_dirent64: inode 8, offset 8, record length 2, type 1, name
    constexpr std::size_t kLengthAt = 16, kNameAt = 19;
    alignas(8) char buffer[4096];
    long got = 0;
    while ((got = syscall(SYS_getdents64, fd, buffer, sizeof buffer)) > 0) {
        for (long at = 0; at < got;) {
            std::uint16_t length = 0;
            std::memcpy(&length, buffer + at + kLengthAt, sizeof length);
            const std::string name = buffer + at + kNameAt;
            if (name != "." && name != "..")
                names.push_back(name);
            at += length;
        }
    }
    Close(fd);
    std::sort(names.begin(), names.end());
    return names;
}

MappedFile::MappedFile(const std::string& path, std::size_t size, std::uint8_t fill)
    : path_(path), size_(size) {
    const int fd = OpenRaw(path, O_RDWR | O_CREAT | O_NOFOLLOW, 0644);
    if (fd < 0)
        throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
    const long end = syscall(SYS_lseek, fd, 0, SEEK_END);
    const std::size_t old = end < 0 ? 0 : std::min(static_cast<std::size_t>(end), size);
    if (SetSize(fd, size))
        data_ = MapShared(fd, size);
    Close(fd);
    if (data_ == nullptr)
        throw std::runtime_error("cannot map " + path);
    if (fill != 0)  // which the new part of a file has by itself, without taking room
        std::memset(data_ + old, fill, size - old);
}

MappedFile::~MappedFile() {
    Unmap(data_, size_);
}

bool MappedFile::Reserve(std::size_t at, std::size_t count) const {
    const int fd = OpenRaw(path_, O_RDWR | O_NOFOLLOW);
    if (fd < 0)
        return false;
    const bool reserved =
        fallocate(fd, 0, static_cast<off_t>(at), static_cast<off_t>(count)) == 0 || errno == EOPNOTSUPP;
    Close(fd);
    return reserved;
}

int MakeMemory(const char* name) {
    return static_cast<int>(syscall(SYS_memfd_create, name, 1u /* MFD_CLOEXEC */));
}

bool SetSize(int fd, std::size_t size) {
    return syscall(SYS_ftruncate, fd, static_cast<long>(size)) == 0;
}

void Close(int fd) {
    syscall(SYS_close, fd);
}

std::uint8_t* MapShared(int fd, std::size_t size) {
#ifdef SYS_mmap2
    const long number = SYS_mmap2;
#else
    const long number = SYS_mmap;
#endif
    const long address = syscall(number, nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0L);
    return address == -1 ? nullptr : reinterpret_cast<std::uint8_t*>(address);
}

void Unmap(std::uint8_t* address, std::size_t size) {
    if (address != nullptr)
        syscall(SYS_munmap, address, size);
}

}  // namespace k905::host
