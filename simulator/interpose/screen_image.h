// The screen as a picture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/models/framebuffer.h"

namespace k905 {

// A copy of what the LCD shows, in the framebuffer's own pixels.
struct ScreenCopy {
    unsigned width = 0;
    unsigned height = 0;
    unsigned bits = 16;
    std::vector<std::uint8_t> pixels;
};

// Makes the copy what the screen shows now, by copying the rows that differ. Whether any did.
bool FollowScreen(ScreenCopy& copy, const Framebuffer& screen);

// Writes the picture as a PNG, with a table of its colours when it has at most 256. "" or the error text.
std::string WritePng(const ScreenCopy& screen, const std::string& path);

}  // namespace k905
