// The pixels of a running instrument's LCD, seen without disturbing it: its framebuffer memory, mapped
// read-only.
#pragma once

#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "simulator/interpose/area.h"

namespace k905 {

constexpr unsigned kScreenWidth = 800;
constexpr unsigned kScreenHeight = 480;

// One picture of the LCD in its own depth: rows of kScreenWidth pixels, without padding.
struct Picture {
    unsigned bits = 16;
    std::vector<std::uint8_t> bytes;

    const std::uint8_t* Row(int y) const { return &bytes[static_cast<std::size_t>(y) * RowBytes()]; }
    std::size_t RowBytes() const { return kScreenWidth * (bits / 8); }
    bool SamePixel(const Picture& other, int x, int y) const {
        const std::size_t size = bits / 8;
        const std::uint8_t* mine = Row(y) + static_cast<std::size_t>(x) * size;
        return std::equal(mine, mine + size, other.Row(y) + static_cast<std::size_t>(x) * size);
    }
    bool SameRow(const Picture& other, int y) const;
    // Red, green, blue, opaque: four bytes a pixel of rows `first` to `first` + `count` - 1.
    std::vector<std::uint8_t> Rgba(int first, int count) const;
};

class ScreenView {
  public:
    // Finds the LCD of process `pid`, `bits` a pixel. Throws BenchError. The view keeps its memory: after the
    // process's end it shows what stood on the screen last.
    ScreenView(pid_t pid, unsigned bits);
    ~ScreenView();
    ScreenView(const ScreenView&) = delete;
    ScreenView& operator=(const ScreenView&) = delete;

    Picture Grab() const;
    // The pixels as they are, rows without padding; fct goes on drawing into them.
    const std::uint8_t* Pixels() const { return static_cast<const std::uint8_t*>(pixels_); }
    unsigned Bits() const { return bits_; }

  private:
    unsigned bits_;
    std::size_t size_ = 0;
    void* pixels_ = nullptr;
};

}  // namespace k905
