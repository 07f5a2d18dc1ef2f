// Which parts of the LCD have changed since a page saw it last: the screen in tiles, each with the number of
// the frame in which it changed.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "simulator/panel/screen_view.h"

namespace k905 {

class FrameLog {
  public:
    static constexpr int kTileWidth = 32, kTileHeight = 16;

    // Takes the pixels that are on the screen now (rows without padding, `bits` a pixel) and returns whether
    // a frame has come about: they differ from those before.
    bool Update(const std::uint8_t* pixels, unsigned bits);
    // Number of the last frame; 0: none yet.
    std::uint32_t Number() const { return number_; }
    // The areas that differ from frame `since`: everything for 0 and for a number that was never given.
    std::vector<Area> Since(std::uint32_t since) const;
    // The message for a page that has seen frame `since`, all numbers little-endian:
    //   1 byte 'L', 1 bits a pixel, 2 count of areas, 4 frame number;
    //   for each area 2 bytes each x, y, width, height; then the pixels of each, row by row.
    // Empty when there is nothing new.
    std::string Message(std::uint32_t since) const;

  private:
    static constexpr int kColumns = static_cast<int>(kScreenWidth) / kTileWidth;
    static constexpr int kBands = static_cast<int>(kScreenHeight) / kTileHeight;
    static_assert(kColumns * kTileWidth == static_cast<int>(kScreenWidth));
    static_assert(kBands * kTileHeight == static_cast<int>(kScreenHeight));

    bool TakeTile(int column, int band, const std::uint8_t* pixels);
    static std::size_t Index(int band, int column) {
        return static_cast<std::size_t>(band) * kColumns + static_cast<std::size_t>(column);
    }

    Picture last_;
    std::uint32_t number_ = 0;
    std::array<std::uint32_t, kColumns* kBands> changedIn_ = {};
};

}  // namespace k905
