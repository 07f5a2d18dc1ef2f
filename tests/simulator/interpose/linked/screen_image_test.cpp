// The screen as a picture file: with a table of colours or without, every pixel has its colour.
#include "simulator/interpose/screen_image.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/picture.h"

namespace {

using k905::ScreenCopy;

// As many colours in a row as there are, from `first` on, in the framebuffer's own pixels.
ScreenCopy Colors(unsigned bits, unsigned first, unsigned count) {
    ScreenCopy screen = {count, 1, bits, {}};
    for (unsigned i = 0; i < count; ++i) {
        const unsigned pixel = first + i;
        for (unsigned byte = 0; byte < bits / 8; ++byte)
            screen.pixels.push_back(static_cast<std::uint8_t>(pixel >> 8 * byte));
    }
    return screen;
}

class ScreenImage : public testing::TestWithParam<unsigned> {};

TEST_P(ScreenImage, HasEveryPixelsColour) {
    const std::string path =
        (std::filesystem::path(testing::TempDir()) / ("colors-" + std::to_string(GetParam()) + ".png"))
            .string();
    // 24 bits: the colour is the pixel.
    const unsigned first = 0x12FF80;
    ASSERT_EQ("", k905::WritePng(Colors(24, first, GetParam()), path));
    const std::vector<std::uint8_t> rgb = test::ReadPng(path).rgb;
    std::filesystem::remove(path);
    ASSERT_EQ(GetParam() * 3, rgb.size());
    for (unsigned i = 0; i < GetParam(); ++i)
        ASSERT_EQ(first + i, rgb[i * 3] << 16u | rgb[i * 3 + 1] << 8u | rgb[i * 3 + 2]) << "pixel " << i;
}

INSTANTIATE_TEST_SUITE_P(Colours, ScreenImage, testing::Values(1, 2, 255, 256, 257, 1000));

}  // namespace
