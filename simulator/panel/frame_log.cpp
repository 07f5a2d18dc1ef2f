#include "simulator/panel/frame_log.h"

#include <cstring>

namespace k905 {

namespace {

void Put(std::string& out, unsigned value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<char>(value >> (8 * i)));
}

}  // namespace

// Copies the tile if it differs.
bool FrameLog::TakeTile(int column, int band, const std::uint8_t* pixels) {
    const std::size_t width = kTileWidth * (last_.bits / 8);
    bool changed = false;
    for (int y = band * kTileHeight; y < (band + 1) * kTileHeight; ++y) {
        const std::size_t at =
            static_cast<std::size_t>(y) * last_.RowBytes() + static_cast<std::size_t>(column) * width;
        if (std::memcmp(&last_.bytes[at], pixels + at, width) != 0) {
            std::memcpy(&last_.bytes[at], pixels + at, width);
            changed = true;
        }
    }
    return changed;
}

bool FrameLog::Update(const std::uint8_t* pixels, unsigned bits) {
    const std::size_t size = kScreenWidth * kScreenHeight * (bits / 8);
    const std::uint32_t next = number_ + 1;
    if (last_.bits != bits || last_.bytes.size() != size) {
        last_.bits = bits;
        last_.bytes.assign(pixels, pixels + size);
        changedIn_.fill(next);
        number_ = next;
        return true;
    }
    const std::size_t bandBytes = last_.RowBytes() * kTileHeight;
    bool changed = false;
    for (int band = 0; band < kBands; ++band) {
        const std::size_t at = static_cast<std::size_t>(band) * bandBytes;
        if (std::memcmp(&last_.bytes[at], pixels + at, bandBytes) == 0)
            continue;
        for (int column = 0; column < kColumns; ++column)
            if (TakeTile(column, band, pixels)) {
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
    for (int band = 0; band < kBands; ++band)
        for (int column = 0; column < kColumns; ++column) {
            const auto changed = [&](int c) { return !known || changedIn_[Index(band, c)] > since; };
            if (!changed(column))
                continue;
            const int first = column;
            while (column + 1 < kColumns && changed(column + 1))
                ++column;
            const Area area = {first * kTileWidth, band * kTileHeight, (column + 1 - first) * kTileWidth,
                               kTileHeight};
            bool joined = false;
            for (Area& above : areas)
                if (!joined && above.x == area.x && above.width == area.width &&
                    above.y + above.height == area.y) {
                    above.height += kTileHeight;
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
    Put(out, last_.bits, 1);
    Put(out, static_cast<unsigned>(areas.size()), 2);
    Put(out, number_, 4);
    for (const Area& area : areas)
        for (const int value : {area.x, area.y, area.width, area.height})
            Put(out, static_cast<unsigned>(value), 2);
    const std::size_t pixel = last_.bits / 8;
    for (const Area& area : areas)
        for (int y = area.y; y < area.y + area.height; ++y)
            out.append(reinterpret_cast<const char*>(last_.Row(y)) + static_cast<std::size_t>(area.x) * pixel,
                       static_cast<std::size_t>(area.width) * pixel);
    return out;
}

}  // namespace k905
