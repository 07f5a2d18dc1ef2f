#include "gui/guiimage.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <random>

#include "gui/guiconvert.h"
#include "gui/guipixel.h"
#include "tests/gui/screen_fixture.h"
#include "tests/support/failing_calls.h"

using test::Screen;

namespace {

constexpr uint32_t NONE = 0xFFFFFFFF;

// An image of noise, so that any pixel taken from the wrong place shows.
struct Image {
    Image(unsigned width, unsigned height, unsigned depth) : object(CreateImage(width, height, depth)) {
        std::mt19937 random(width * 31 + height);
        for (size_t i = 0; i < size_t{RowBytes()} * height; ++i)
            object->pImgData[i] = static_cast<uint8_t>(random());
    }
    ~Image() { DestroyImage(&object); }
    GUIIMAGE* operator->() const { return object; }

    unsigned RowBytes() const { return (object->uiImgWidth * object->uiImgDepth + 7) / 8; }
    const uint8_t* Row(unsigned y) const { return object->pImgData + size_t{y} * RowBytes(); }
    bool Ink(unsigned x, unsigned y) const { return (Row(y)[x / 8] & 0x80 >> x % 8) != 0; }

    // Puts the first width x height pixels, at the image's place, into what the screen is expected to hold.
    void Expect(Screen* screen, unsigned width, unsigned height) const {
        for (unsigned y = 0; y < height; ++y)
            for (unsigned x = 0; x < width; ++x)
                ExpectPixel(screen, x, y);
    }

    GUIIMAGE* object;

  private:
    void ExpectPixel(Screen* screen, unsigned x, unsigned y) const {
        const unsigned atX = object->uiPlaceX + x, atY = object->uiPlaceY + y;
        if (object->uiImgDepth == 1) {
            const uint32_t color = Ink(x, y) ? object->uiFgColor : object->uiBgColor;
            if (object->uiFgColor != NONE && color != NONE)
                screen->Put(atX, atY, color);
        } else if (object->uiImgDepth == 8) {
            screen->PutColorBytes(atX, atY, Screen::PaletteColor(Row(y)[x]));
        } else {
            const uint8_t* pixel = Row(y) + x * 3;
            screen->PutColorBytes(atX, atY, uint32_t{pixel[2]} << 16 | uint32_t{pixel[1]} << 8 | pixel[0]);
        }
    }
};

}  // namespace

// Where it is wrong, the same pixels are drawn, one by one.
TEST(Pixel, EveryFourthByteBeginsAWord) {
    alignas(uint32_t) const uint8_t bytes[8] = {};
    for (unsigned i = 0; i < sizeof(bytes); ++i)
        EXPECT_EQ(i % 4 == 0, OnWord(bytes + i)) << i;
}

TEST(Image, IsDisplayedWholeAtTheOriginWithoutColours) {
    GUIIMAGE* image = CreateImage(13, 5, 1);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->uiImgWidth, 13u);
    EXPECT_EQ(image->uiImgHeight, 5u);
    EXPECT_EQ(image->uiImgDepth, 1u);
    EXPECT_EQ(image->uiDispWidth, 13u);
    EXPECT_EQ(image->uiDispHeight, 5u);
    EXPECT_EQ(image->uiPlaceX, 0u);
    EXPECT_EQ(image->uiPlaceY, 0u);
    EXPECT_EQ(image->uiFgColor, NONE);
    EXPECT_EQ(image->uiBgColor, NONE);
    EXPECT_EQ(image->pRefPal, nullptr);
    memset(image->pImgData, 0, 2 * 5);  // two bytes a row: the address sanitizer watches
    EXPECT_EQ(DestroyImage(&image), 0);
    EXPECT_EQ(image, nullptr);
}

TEST(Image, ADisplaySizeOfNothingDrawsNothing) {
    for (const unsigned bits : {16u, 24u, 32u}) {
        Screen screen(bits, 20, 10);
        for (const unsigned depth : {1u, 8u, 24u}) {
            for (const auto& [width, height] : {std::pair{0u, 4u}, std::pair{4u, 0u}, std::pair{0u, 0u}}) {
                const Image image(8, 4, depth);
                SetImageColor(0xFFFFFF, 0x0000FF, image.object);
                SetImagePalette(screen.Palette(), image.object);
                image->uiDispWidth = width;
                image->uiDispHeight = height;
                EXPECT_EQ(DisplayImage(image.object), 0);
                EXPECT_TRUE(screen.Untouched()) << bits << ": " << width << " x " << height;
            }
        }
    }
}

TEST(Image, RefusesEmptyAbsurdAndUnknown) {
    EXPECT_EQ(CreateImage(0, 5, 1), nullptr);
    EXPECT_EQ(CreateImage(5, 0, 1), nullptr);
    for (unsigned depth : {0u, 2u, 4u, 16u, 32u, 0x80000001u})
        EXPECT_EQ(CreateImage(5, 5, depth), nullptr) << depth;
    EXPECT_EQ(CreateImage(0xFFFFFFFF, 1, 1), nullptr);
    EXPECT_EQ(CreateImage(1, 0xFFFFFFFF, 24), nullptr);
    EXPECT_EQ(CreateImage(0x10000, 0x10000, 8), nullptr);
    EXPECT_EQ(CreateImage(0x0AAAAAAB, 2, 24), nullptr);  // 24 times it is 8 in 32 bits
    EXPECT_EQ(CreateImage(16385, 1, 1), nullptr);
    GUIIMAGE* longest = CreateImage(16384, 1, 24);
    EXPECT_NE(longest, nullptr);
    DestroyImage(&longest);
}

TEST(Image, RefusesNull) {
    GUIIMAGE* none = nullptr;
    const Image image(1, 1, 8);
    Screen screen(16, 4, 4);
    EXPECT_EQ(DestroyImage(nullptr), -1);
    EXPECT_EQ(DestroyImage(&none), -2);
    EXPECT_EQ(SetImagePlace(0, 0, nullptr), -1);
    EXPECT_EQ(SetImageColor(0, 0, nullptr), -1);
    EXPECT_EQ(SetImagePalette(screen.Palette(), nullptr), -1);
    EXPECT_EQ(SetImagePalette(nullptr, image.object), -1);
    EXPECT_EQ(DisplayImage(nullptr), -1);
}

TEST(Image, NeedsAMap) {
    const Image image(1, 1, 24);
    EXPECT_EQ(DisplayImage(image.object), -2);
}

TEST(Image, CreationReleasesWhatItMadeWhereverItFails) {
    const int runs = test::FailEachCall(
        [] {
            GUIIMAGE* image = CreateImage(10, 10, 24);
            return DestroyImage(&image) == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 2);
}

// ---- Every image depth on every screen depth, lines of odd length so that rows start on every alignment
// ----

class ImageOn : public ::testing::TestWithParam<unsigned> {
  protected:
    Screen screen{GetParam(), 61, 43};
};

INSTANTIATE_TEST_SUITE_P(Depth, ImageOn, ::testing::Values(16u, 24u, 32u));

TEST_P(ImageOn, OpaqueBitsShowEveryPlaceAndWidth) {
    for (unsigned width = 1; width <= 40; ++width) {
        for (unsigned x = 0; x < 5; ++x) {
            const Image image(width, 6, 1);
            SetImageColor(0xAB00FF80 + width, 0x00FF0012, image.object);
            SetImagePlace(x, x, image.object);
            ASSERT_EQ(DisplayImage(image.object), 0);
            image.Expect(&screen, width, 6);
            ASSERT_TRUE(screen.Matches()) << "width " << width << " at " << x;
        }
    }
}

TEST_P(ImageOn, ATransparentBackgroundLeavesTheScreen) {
    for (unsigned width = 1; width <= 56; ++width) {
        for (unsigned x = 0; x < 5; ++x) {
            const Image image(width, 6, 1);
            SetImageColor(0x00FF80 + width, NONE, image.object);
            SetImagePlace(x, x, image.object);
            ASSERT_EQ(DisplayImage(image.object), 0);
            image.Expect(&screen, width, 6);
            ASSERT_TRUE(screen.Matches()) << "width " << width << " at " << x;
        }
    }
}

TEST_P(ImageOn, ATransparentForegroundDrawsNothing) {
    const Image image(20, 20, 1);
    SetImageColor(NONE, 0x123456, image.object);
    EXPECT_EQ(DisplayImage(image.object), 0);
    EXPECT_TRUE(screen.Untouched());
}

TEST_P(ImageOn, IndicesShowThePalettesColours) {
    for (unsigned width = 1; width <= 20; ++width) {
        const Image image(width, 7, 8);
        SetImagePalette(screen.Palette(), image.object);
        SetImagePlace(width % 4, 3, image.object);
        ASSERT_EQ(DisplayImage(image.object), 0);
        image.Expect(&screen, width, 7);
        ASSERT_TRUE(screen.Matches()) << "width " << width;
    }
}

TEST_P(ImageOn, ColoursShowEveryPlaceAndWidth) {
    for (unsigned width = 1; width <= 20; ++width) {
        for (unsigned x = 0; x < 5; ++x) {
            const Image image(width, 7, 24);
            SetImagePlace(x, 30, image.object);
            ASSERT_EQ(DisplayImage(image.object), 0);
            image.Expect(&screen, width, 7);
            ASSERT_TRUE(screen.Matches()) << "width " << width << " at " << x;
        }
    }
}

TEST_P(ImageOn, OnlyTheDisplayAreaIsDrawn) {
    for (unsigned depth : {1u, 8u, 24u}) {
        const Image image(30, 20, depth);
        SetImageColor(0xFF00FF, 0x00FF00, image.object);
        SetImagePalette(screen.Palette(), image.object);
        SetImagePlace(9, 9, image.object);
        image->uiDispWidth = 11;
        image->uiDispHeight = 4;
        EXPECT_EQ(DisplayImage(image.object), 0);
        image.Expect(&screen, 11, 4);
        EXPECT_TRUE(screen.Matches()) << depth;
    }
}

TEST_P(ImageOn, IsClippedAtTheRightAndBottomEdgeAndStaysClipped) {
    for (unsigned depth : {1u, 8u, 24u}) {
        const Image image(40, 30, depth);
        SetImageColor(0xFF00FF, 0x00FF00, image.object);
        SetImagePalette(screen.Palette(), image.object);
        SetImagePlace(61 - 10, 43 - 3, image.object);
        EXPECT_EQ(DisplayImage(image.object), 0);
        EXPECT_EQ(image->uiDispWidth, 10u);
        EXPECT_EQ(image->uiDispHeight, 3u);
        image.Expect(&screen, 10, 3);
        EXPECT_TRUE(screen.Matches()) << depth;
        SetImagePlace(0, 0, image.object);
        EXPECT_EQ(DisplayImage(image.object), 0);
        image.Expect(&screen, 10, 3);
        EXPECT_TRUE(screen.Matches()) << depth;
    }
}

TEST_P(ImageOn, ADisplaySizeOfNothingDrawsNothing) {
    for (unsigned depth : {1u, 8u, 24u}) {
        const Image image(61, 4, depth);  // as wide as the screen
        SetImageColor(0xFF00FF, 0x00FF00, image.object);
        SetImagePalette(screen.Palette(), image.object);
        image->uiDispWidth = 0;
        EXPECT_EQ(DisplayImage(image.object), 0);
        image->uiDispWidth = 61;
        image->uiDispHeight = 0;
        EXPECT_EQ(DisplayImage(image.object), 0);
        EXPECT_TRUE(screen.Untouched()) << depth;
    }
}

TEST_P(ImageOn, OffTheScreenIsRefused) {
    const Image image(4, 4, 24);
    const unsigned places[][2] = {{61, 0}, {0, 43}, {0xFFFFFFFF, 0}, {0, 0xFFFFFFFF}};
    for (const auto& place : places) {
        SetImagePlace(place[0], place[1], image.object);
        EXPECT_EQ(DisplayImage(image.object), -3);
    }
    EXPECT_EQ(image->uiDispWidth, 4u);
    EXPECT_TRUE(screen.Untouched());
}

TEST_P(ImageOn, ADisplaySizeBeyondTheBlockEndsAtTheBlock) {
    for (unsigned depth : {1u, 8u, 24u}) {
        const Image image(9, 5, depth);
        SetImageColor(0xFF00FF, 0x00FF00, image.object);
        SetImagePalette(screen.Palette(), image.object);
        image->uiDispWidth = 0xFFFFFFFF;
        image->uiDispHeight = 0xFFFFFFFF;
        SetImagePlace(20, 20, image.object);
        EXPECT_EQ(DisplayImage(image.object), 0);
        image.Expect(&screen, 9, 5);
        EXPECT_TRUE(screen.Matches()) << depth;
    }
}

TEST_P(ImageOn, IndicesBeyondAShortPaletteAreBlack) {
    GUIPALETTE* palette = CreatePalette(2);
    palette->pRedValue[1] = 0xFF;
    const Image image(3, 1, 8);
    image->pImgData[0] = 1;
    image->pImgData[1] = 2;
    image->pImgData[2] = 255;
    SetImagePalette(palette, image.object);
    EXPECT_EQ(DisplayImage(image.object), 0);
    screen.PutColorBytes(0, 0, 0xFF0000);
    screen.PutColorBytes(1, 0, 0);
    screen.PutColorBytes(2, 0, 0);
    EXPECT_TRUE(screen.Matches());
    DestroyPalette(&palette);
}

TEST_P(ImageOn, IndicesWithoutAPaletteAreRefused) {
    const Image image(3, 3, 8);
    EXPECT_EQ(DisplayImage(image.object), -5);
    EXPECT_TRUE(screen.Untouched());
}

TEST_P(ImageOn, OtherDepthsAreRefused) {
    const Image image(3, 3, 24);
    for (unsigned depth : {0u, 4u, 16u, 32u}) {
        image->uiImgDepth = depth;
        EXPECT_EQ(DisplayImage(image.object), -4) << depth;
    }
    image->uiImgDepth = 24;
    for (unsigned bits : {0u, 4u, 15u, 18u, 48u}) {
        screen.Map()->uiPixelBits = bits;
        EXPECT_EQ(DisplayImage(image.object), -4) << bits;
    }
    EXPECT_TRUE(screen.Untouched());
}

TEST(ImageOnEightBits, DrawsNothingButClips) {
    Screen screen(8, 20, 20);
    for (unsigned depth : {1u, 8u, 24u}) {
        const Image image(30, 30, depth);
        SetImageColor(0xFFFFFF, 0, image.object);
        SetImagePlace(15, 16, image.object);
        EXPECT_EQ(DisplayImage(image.object), 0) << depth;
        EXPECT_EQ(image->uiDispWidth, 5u);
        EXPECT_EQ(image->uiDispHeight, 4u);
        image->uiImgDepth = 4;
        EXPECT_EQ(DisplayImage(image.object), 0);
        SetImagePlace(20, 0, image.object);
        EXPECT_EQ(DisplayImage(image.object), -3);
    }
    EXPECT_TRUE(screen.Untouched());
}

// ---- Converters by name ----

TEST(Converter, EachDrawsItsImageOnItsScreen) {
    const struct {
        unsigned depth, bits;
        void (*convert)(const GUIIMAGE*, GUIFBMAP*);
    } converters[] = {
        {1, 8, _Image1Fb8},   {1, 16, _Image1Fb16},   {1, 24, _Image1Fb24},   {1, 32, _Image1Fb32},
        {8, 8, _Image8Fb8},   {8, 16, _Image8Fb16},   {8, 24, _Image8Fb24},   {8, 32, _Image8Fb32},
        {24, 8, _Image24Fb8}, {24, 16, _Image24Fb16}, {24, 24, _Image24Fb24}, {24, 32, _Image24Fb32},
    };
    for (const auto& converter : converters) {
        Screen screen(converter.bits, 61, 43);
        const Image image(33, 12, converter.depth);
        SetImageColor(0x336699, 0x996633, image.object);
        SetImagePalette(screen.Palette(), image.object);
        SetImagePlace(7, 5, image.object);
        converter.convert(image.object, screen.Map());
        if (converter.bits != 8)
            image.Expect(&screen, 33, 12);
        EXPECT_TRUE(screen.Matches()) << converter.depth << " on " << converter.bits;
    }
}
