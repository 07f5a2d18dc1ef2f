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
#include "simulator/models/framebuffer.h"

namespace k905 {

// One picture of the LCD in its own depth.
struct Picture {
    PanelShape shape;
    std::vector<std::uint8_t> bytes;

    const std::uint8_t* Row(int y) const { return &bytes[static_cast<std::size_t>(y) * shape.RowBytes()]; }
    bool SamePixel(const Picture& other, int x, int y) const {
        const std::size_t size = shape.bits / 8;
        const std::uint8_t* mine = Row(y) + static_cast<std::size_t>(x) * size;
        return std::equal(mine, mine + size, other.Row(y) + static_cast<std::size_t>(x) * size);
    }
    bool SameRow(const Picture& other, int y) const;
    // Red, green, blue, opaque: four bytes a pixel of rows `first` to `first` + `count` - 1.
    std::vector<std::uint8_t> Rgba(int first, int count) const;
};

class ScreenView {
  public:
    // Finds the LCD of process `pid`. Throws BenchError. The view keeps its memory: after the process's end
    // it shows what stood on the screen last.
    explicit ScreenView(pid_t pid);
    ~ScreenView();
    ScreenView(const ScreenView&) = delete;
    ScreenView& operator=(const ScreenView&) = delete;

    Picture Grab() const;
    // The pixels as they are; fct goes on drawing into them.
    const std::uint8_t* Pixels() const { return static_cast<const std::uint8_t*>(memory_); }
    // Until fct opens the screen, another panel can be fitted.
    PanelShape Shape() const;

  private:
    void* memory_ = nullptr;
};

}  // namespace k905
