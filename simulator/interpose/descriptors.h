// The product's open descriptors that belong to the instrument. Each is a real descriptor of the process (a
// stand-in for a device, the file itself for a file of the instrument), so that numbers, limits and flags are
// the kernel's.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulator/models/device.h"

namespace k905 {

struct OpenFile {
    std::string path;                    // as the product named it
    std::unique_ptr<DeviceFile> device;  // null: a file of the instrument's tree
    int access = 0;                      // O_RDONLY, O_WRONLY or O_RDWR
    bool serial = false;                 // the stand-in is a terminal
    bool framebuffer = false;            // the stand-in is the pixel memory
};

class Descriptors {
  public:
    // The open file behind a descriptor; null when it is none of the instrument's.
    std::shared_ptr<OpenFile> Find(int fd) const {
        return fd >= 0 && fd < static_cast<int>(table_.size()) ? table_[fd] : nullptr;
    }

    // Puts a file (or null) behind a descriptor.
    void Set(int fd, std::shared_ptr<OpenFile> file) {
        if (fd < 0 || (file == nullptr && fd >= static_cast<int>(table_.size())))
            return;
        if (fd >= static_cast<int>(table_.size()))
            table_.resize(static_cast<std::size_t>(fd) + 1);
        table_[fd] = std::move(file);
    }

    // Paths that are open now, one for each descriptor.
    std::vector<std::string> OpenPaths() const {
        std::vector<std::string> paths;
        for (const auto& file : table_)
            if (file != nullptr)
                paths.push_back(file->path);
        return paths;
    }

  private:
    std::vector<std::shared_ptr<OpenFile>> table_;
};

}  // namespace k905
