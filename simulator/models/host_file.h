// The few file operations the models need on the machine they run on. They go straight to the kernel: the C
// library's names belong to the product while the simulator is preloaded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace k905::host {

// All of these return true or false, or a documented value; none throws.
bool Exists(const std::string& path);     // follows symbolic links
bool IsSymlink(const std::string& path);  // the last component itself
bool IsDirectory(const std::string& path);
bool MakeDirectories(const std::string& path);  // with parents; true when it is there afterwards
bool ReadFile(const std::string& path, std::string& content);
bool WriteFile(const std::string& path, const std::string& content);  // never through a symbolic link
bool AppendFile(const std::string& path, const std::string& content);
bool Rename(const std::string& from, const std::string& to);
bool Remove(const std::string& path);      // file or link
void RemoveTree(const std::string& path);  // a folder with all in it; what cannot be removed stays
bool Symlink(const std::string& target, const std::string& path);
std::string Absolute(const std::string& path);                // against the working folder; links are kept
std::vector<std::string> List(const std::string& directory);  // names, sorted, without "." and ".."

// A file of fixed size, mapped shared: what is stored is in the file from that instant, also if the process
// is killed.
class MappedFile {
  public:
    // Opens or makes the file; new bytes are filled with `fill`. Throws std::runtime_error on failure.
    MappedFile(const std::string& path, std::size_t size, std::uint8_t fill);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    std::uint8_t* Data() { return data_; }
    const std::uint8_t* Data() const { return data_; }
    std::size_t Size() const { return size_; }
    // Whether these bytes have room on the disk: writing into a hole for which there is none would be SIGBUS.
    bool Reserve(std::size_t at, std::size_t count) const;

  private:
    std::string path_;
    std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
};

int MakeMemory(const char* name);  // memfd, or -1
bool SetSize(int fd, std::size_t size);
void Close(int fd);
std::uint8_t* MapShared(int fd, std::size_t size);  // null on failure
void Unmap(std::uint8_t* address, std::size_t size);

}  // namespace k905::host
