#include "simulator/panel/frame_log.h"

#include <algorithm>
#include <cstring>

namespace k905 {

namespace {

void Put(std::string& out, unsigned value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<char>(value >> (8 * i)));
}

}  // namespace

// Of that band, `count` tiles from `column` on.
Area FrameLog::Tiles(int band, int column, int count) const {
    const int x = column * kTileWidth, y = band * kTileHeight;
    return {x, y, std::min(count * kTileWidth, static_cast<int>(last_.shape.width) - x),
            std::min(kTileHeight, static_cast<int>(last_.shape.height) - y)};
}

// Copies the tile if it differs.
bool FrameLog::Take(const Area& tile, const std::uint8_t* pixels) {
    const std::size_t pixel = last_.shape.bits / 8;
    const std::size_t width = static_cast<std::size_t>(tile.width) * pixel;
    bool changed = false;
    for (int y = tile.y; y < tile.y + tile.height; ++y) {
        const std::size_t at =
            static_cast<std::size_t>(y) * last_.shape.RowBytes() + static_cast<std::size_t>(tile.x) * pixel;
        if (std::memcmp(&last_.bytes[at], pixels + at, width) != 0) {
            std::memcpy(&last_.bytes[at], pixels + at, width);
            changed = true;
        }
    }
    return changed;
}

bool FrameLog::Update(const PanelShape& shape, const std::uint8_t* pixels) {
    const std::uint32_t next = number_ + 1;
    if (last_.bytes.empty() || !(last_.shape == shape)) {
        last_ = {shape, {pixels, pixels + shape.Bytes()}};
        changedIn_.assign(Index(Bands(), 0), next);
        number_ = next;
        return true;
    }
    bool changed = false;
    for (int band = 0; band < Bands(); ++band) {
        const Area whole = Tiles(band, 0, Columns());
        const std::size_t at = static_cast<std::size_t>(whole.y) * shape.RowBytes();
        const std::size_t size = static_cast<std::size_t>(whole.height) * shape.RowBytes();
        if (std::memcmp(&last_.bytes[at], pixels + at, size) == 0)
            continue;
        for (int column = 0; column < Columns(); ++column)
            if (Take(Tiles(band, column, 1), pixels)) {
                changedIn_[Index(band, column)] = next;
                changed = true;
            }
    }
    if (changed)
        number_ = next;
    return changed;
}

// Tiles side by side are one area; equal ones below each other too.
std::vector<Area> FrameLog::Since(std::uint32_t since) const {
    std::vector<Area> areas;
    if (number_ == 0 || since == number_)
        return areas;
    const bool known = since != 0 && since < number_;
    for (int band = 0; band < Bands(); ++band)
        for (int column = 0; column < Columns(); ++column) {
            const auto changed = [&](int c) { return !known || changedIn_[Index(band, c)] > since; };
            if (!changed(column))
                continue;
            const int first = column;
            while (column + 1 < Columns() && changed(column + 1))
                ++column;
            const Area area = Tiles(band, first, column + 1 - first);
            bool joined = false;
            for (Area& above : areas)
                if (!joined && above.x == area.x && above.width == area.width &&
                    above.y + above.height == area.y) {
                    above.height += area.height;
                    joined = true;
                }
            if (!joined)
                areas.push_back(area);
        }
    return areas;
}

std::string FrameLog::Message(std::uint32_t since) const {
    const std::vector<Area> areas = Since(since);
    std::string out;
    if (areas.empty())
        return out;
    out.push_back('L');
    Put(out, last_.shape.bits, 1);
    Put(out, static_cast<unsigned>(areas.size()), 2);
    Put(out, number_, 4);
    Put(out, last_.shape.width, 2);
    Put(out, last_.shape.height, 2);
    for (const Area& area : areas)
        for (const int value : {area.x, area.y, area.width, area.height})
            Put(out, static_cast<unsigned>(value), 2);
    const std::size_t pixel = last_.shape.bits / 8;
    for (const Area& area : areas)
        for (int y = area.y; y < area.y + area.height; ++y)
            out.append(reinterpret_cast<const char*>(last_.Row(y)) + static_cast<std::size_t>(area.x) * pixel,
                       static_cast<std::size_t>(area.width) * pixel);
    return out;
}

}  // namespace k905
