// The LCD: /dev/fb0 as its driver presents it, with the pixels in a memfd that the product maps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "simulator/models/device.h"

namespace k905 {

class Framebuffer : public DeviceNode {
  public:
    // Visible size in pixels; bits per pixel 16 (RGB565), 24 or 32 (0x00RRGGBB). Throws std::runtime_error
    // when the memory cannot be had or the depth is another.
    Framebuffer(unsigned width, unsigned height, unsigned bits);
    ~Framebuffer() override;
    Framebuffer(const Framebuffer&) = delete;
    Framebuffer& operator=(const Framebuffer&) = delete;

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;

    // Descriptor to hand to mmap: offset 0 is pixel (0, 0). Stays the same for the life of the object.
    int PixelFd() const { return fd_; }
    const std::uint8_t* Pixels() const { return pixels_; }
    std::size_t Bytes() const;  // width x height x bits / 8, without padding
    unsigned Width() const { return width_; }
    unsigned Height() const { return height_; }
    unsigned Bits() const { return bits_; }

    // "" or why not. While the product has the device open, size and layout stay what they are.
    bool InUse() const { return openFiles_ > 0; }
    std::string Resize(unsigned width, unsigned height);
    std::string SetSwapped(bool blueFirst);  // BGR565: red and blue change places (16 bits only)

    nlohmann::json State() const;

  private:
    friend class FramebufferFile;
    void Map();
    void Unmap();

    unsigned width_, height_, bits_;
    bool swapped_ = false;
    int fd_ = -1;
    std::uint8_t* pixels_ = nullptr;
    std::size_t mapped_ = 0, capacity_ = 0;
    int openFiles_ = 0;
};

}  // namespace k905
