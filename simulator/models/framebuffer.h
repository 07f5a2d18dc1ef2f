// The LCD: /dev/fb0 as its driver presents it, with the pixels in a memfd that the product maps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "simulator/models/device.h"

namespace k905 {

// A panel: visible size in pixels, bits a pixel; its rows lie without padding.
struct PanelShape {
    std::uint32_t width = 800, height = 480, bits = 16;

    std::size_t RowBytes() const { return std::size_t{width} * (bits / 8); }
    std::size_t Bytes() const { return RowBytes() * height; }
    bool operator==(const PanelShape& other) const {
        return width == other.width && height == other.height && bits == other.bits;
    }
};

class Framebuffer : public DeviceNode {
  public:
    static constexpr unsigned kLargestSide = 4096;
    // In the memory: who looks at the pixels from outside finds the PanelShape behind the largest panel's.
    static constexpr std::size_t kShapeAt = std::size_t{kLargestSide} * kLargestSide * 4;
    static constexpr std::size_t kMemory = kShapeAt + 4096;  // what is never written takes no room

    // Visible size in pixels; bits per pixel 16 (RGB565), 24 or 32 (0x00RRGGBB). Throws std::runtime_error
    // when the memory cannot be had or the depth is another.
    Framebuffer(unsigned width, unsigned height, unsigned bits);
    ~Framebuffer() override;
    Framebuffer(const Framebuffer&) = delete;
    Framebuffer& operator=(const Framebuffer&) = delete;

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;

    // Descriptor to hand to mmap: offset 0 is pixel (0, 0). Stays the same for the life of the object.
    int PixelFd() const { return fd_; }
    const std::uint8_t* Pixels() const { return memory_; }
    std::size_t Bytes() const { return Shape().Bytes(); }
    unsigned Width() const { return Shape().width; }
    unsigned Height() const { return Shape().height; }
    unsigned Bits() const { return Shape().bits; }

    // "" or why not. While the product has the device open, size and layout stay what they are.
    bool InUse() const { return openFiles_ > 0; }
    std::string Resize(unsigned width, unsigned height);
    std::string SetSwapped(bool blueFirst);  // BGR565: red and blue change places (16 bits only)

    nlohmann::json State() const;

  private:
    friend class FramebufferFile;
    const PanelShape& Shape() const { return *reinterpret_cast<const PanelShape*>(memory_ + kShapeAt); }

    bool swapped_ = false;
    int fd_ = -1;
    std::uint8_t* memory_ = nullptr;
    int openFiles_ = 0;
};

}  // namespace k905
