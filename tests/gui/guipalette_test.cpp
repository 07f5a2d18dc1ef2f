#include "gui/guipalette.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/failing_calls.h"

namespace {

struct Palette {
    explicit Palette(const std::vector<uint32_t>& colors)
        : object(CreatePalette(static_cast<int>(colors.size()))) {
        for (size_t i = 0; i < colors.size(); ++i) {
            object->pRedValue[i] = static_cast<uint8_t>(colors[i] >> 16);
            object->pGreenValue[i] = static_cast<uint8_t>(colors[i] >> 8);
            object->pBlueValue[i] = static_cast<uint8_t>(colors[i]);
        }
    }
    ~Palette() { DestroyPalette(&object); }
    int Match(uint32_t color) const { return MatchPaletteColor(color, object); }
    GUIPALETTE* object;
};

}  // namespace

TEST(Palette, HasThreePlanesInOneBlock) {
    for (int length : {1, 2, 255, 256}) {
        GUIPALETTE* palette = CreatePalette(length);
        ASSERT_NE(palette, nullptr);
        EXPECT_EQ(palette->iPalLength, length);
        EXPECT_EQ(palette->pRedValue, palette->pTabEntry);
        EXPECT_EQ(palette->pGreenValue, palette->pTabEntry + length);
        EXPECT_EQ(palette->pBlueValue, palette->pTabEntry + 2 * length);
        palette->pBlueValue[length - 1] = 1;  // within the block: the address sanitizer watches
        EXPECT_EQ(DestroyPalette(&palette), 0);
        EXPECT_EQ(palette, nullptr);
    }
}

TEST(Palette, RefusesOtherLengths) {
    for (int length : {0, 257, -1, INT32_MIN, INT32_MAX})
        EXPECT_EQ(CreatePalette(length), nullptr) << length;
}

TEST(Palette, DestroyRefusesNull) {
    GUIPALETTE* none = nullptr;
    EXPECT_EQ(DestroyPalette(nullptr), -1);
    EXPECT_EQ(DestroyPalette(&none), -2);
}

TEST(Palette, CurrentOneIsKeptWhenNullIsSetAndGoneWhenDestroyed) {
    GUIPALETTE* palette = CreatePalette(4);
    EXPECT_EQ(SetCurrPalette(palette), 0);
    EXPECT_EQ(SetCurrPalette(nullptr), -1);
    EXPECT_EQ(GetCurrPalette(), palette);
    DestroyPalette(&palette);
    EXPECT_EQ(GetCurrPalette(), nullptr);
}

TEST(Palette, MatchesTheNearestColour) {
    const Palette palette({0x000000, 0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF});
    EXPECT_EQ(palette.Match(0x102030), 0);
    EXPECT_EQ(palette.Match(0xE01010), 1);
    EXPECT_EQ(palette.Match(0x10E010), 2);
    EXPECT_EQ(palette.Match(0x1010E0), 3);
    EXPECT_EQ(palette.Match(0xF0F0F0), 4);
    EXPECT_EQ(palette.Match(0xAB0000FF), 3);  // the top byte does not count
}

TEST(Palette, OfEquallyNearEntriesTheHighestWins) {
    EXPECT_EQ(Palette({0x123456, 0x654321, 0x123456}).Match(0x123456), 2);
    EXPECT_EQ(Palette({0x000010, 0x000020}).Match(0x000018), 1);
}

TEST(Palette, WithoutAnyNearerColourMatchesNone) {
    EXPECT_EQ(Palette({0x000000, 0x000000}).Match(0xFFFFFF), -1);
    EXPECT_EQ(Palette({0xFFFFFF}).Match(0x000000), -1);
    EXPECT_EQ(Palette({0x000000}).Match(0xFFFFFE), 0);
    EXPECT_EQ(MatchPaletteColor(0, nullptr), -1);
}

TEST(Palette, CreationReleasesWhatItMade) {
    const int runs = test::FailEachCall(
        [] {
            GUIPALETTE* palette = CreatePalette(256);
            return DestroyPalette(&palette) == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 2);
}
