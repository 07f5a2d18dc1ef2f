// Which parts of the LCD have changed since a page saw it last: the screen in tiles, each with the number of
// the frame in which it changed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/panel/screen_view.h"

namespace k905 {

class FrameLog {
  public:
    static constexpr int kTileWidth = 32, kTileHeight = 16;

    // Takes the pixels that are on the screen now and returns whether a frame has come about: they, or the
    // panel, differ from those before.
    bool Update(const PanelShape& shape, const std::uint8_t* pixels);
    // Number of the last frame; 0: none yet.
    std::uint32_t Number() const { return number_; }
    // The areas that differ from frame `since`: everything for 0 and for a number that was never given.
    std::vector<Area> Since(std::uint32_t since) const;
    // The message for a page that has seen frame `since`, all numbers little-endian:
    //   1 byte 'L', 1 bits a pixel, 2 count of areas, 4 frame number, 2 each the panel's width and height;
    //   for each area 2 bytes each x, y, width, height; then the pixels of each, row by row.
    // Empty when there is nothing new.
    std::string Message(std::uint32_t since) const;

  private:
    // The last column and the last band may be narrower.
    int Columns() const { return (static_cast<int>(last_.shape.width) + kTileWidth - 1) / kTileWidth; }
    int Bands() const { return (static_cast<int>(last_.shape.height) + kTileHeight - 1) / kTileHeight; }
    std::size_t Index(int band, int column) const {
        return static_cast<std::size_t>(band) * static_cast<std::size_t>(Columns()) +
               static_cast<std::size_t>(column);
    }
    Area Tiles(int band, int column, int count) const;
    bool Take(const Area& tile, const std::uint8_t* pixels);

    Picture last_;
    std::uint32_t number_ = 0;
    std::vector<std::uint32_t> changedIn_;  // of each tile, the number of the frame
};

}  // namespace k905
