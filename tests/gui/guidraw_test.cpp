#include "gui/guidraw.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "gui/guiprimitive.h"
#include "tests/gui/screen_fixture.h"

using test::Screen;

namespace {

// ---- What the figures are, written out plainly ----

using Plot = std::function<void(unsigned x, unsigned y)>;

// Bresenham from the upper end; a tie takes the secondary step.
void SlopedLine(int x0, int y0, int x1, int y1, const Plot& plot) {
    int dy = y1 - y0;
    const int signedDy = dy;
    int x = x0, y = y0;
    if (dy <= 0) {
        x = x1;
        y = y1;
        dy = -dy;
    }
    int dx = x1 - x0;
    const int step = (dx > 0) == (signedDy > 0) ? 1 : -1;
    dx = abs(dx);
    const bool flat = dx > dy;
    const int longSide = flat ? dx : dy;
    const int shortSide = flat ? dy : dx;
    int e = 2 * shortSide - longSide;
    for (int i = 0; i <= longSide; ++i) {
        plot(static_cast<unsigned>(x), static_cast<unsigned>(y));
        if (flat)
            x += step;
        else
            ++y;
        if (e >= 0) {
            if (flat)
                ++y;
            else
                x += step;
            e -= 2 * longSide;
        }
        e += 2 * shortSide;
    }
}

// Midpoint circle in 8.8 fixed point.
void Circle(int cx, int cy, int r, const Plot& plot) {
    int xp = 0, yp = 256 * r, d = 320 - 256 * r, inc = 768;
    while (xp <= yp) {
        const int x = xp >> 8, y = yp >> 8;
        for (int sx : {-1, 1}) {
            for (int sy : {-1, 1}) {
                plot(static_cast<unsigned>(cx + sx * x), static_cast<unsigned>(cy + sy * y));
                plot(static_cast<unsigned>(cx + sx * y), static_cast<unsigned>(cy + sy * x));
            }
        }
        if (d >= 0) {
            d += 2 * (xp - yp + 640);
            yp -= 256;
        } else {
            d += inc;
        }
        xp += 256;
        inc += 512;
    }
}

void Block(unsigned x0, unsigned y0, unsigned x1, unsigned y1, const Plot& plot) {
    for (unsigned y = y0; y <= y1; ++y)
        for (unsigned x = x0; x <= x1; ++x)
            plot(x, y);
}

// ---- Every depth, with lines of odd length so that rows start on every alignment ----

constexpr unsigned WIDTH = 61;
constexpr unsigned HEIGHT = 43;

class Drawing : public ::testing::TestWithParam<unsigned> {
  protected:
    // The colour of the n-th figure.
    void NextColor() {
        color_ = Screen::PaletteColor(static_cast<uint8_t>(++figures_ * 7 % 255));
        screen.SetColor(color_);
    }
    Plot Expect() {
        return [this](unsigned x, unsigned y) { screen.Put(x, y, color_); };
    }

    Screen screen{GetParam(), WIDTH, HEIGHT};

  private:
    uint32_t color_ = 0;
    unsigned figures_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Depth, Drawing, ::testing::Values(8u, 16u, 24u, 32u));

TEST_P(Drawing, PutsSinglePixelsUpToEveryCorner) {
    const unsigned places[][2] = {{0, 0}, {WIDTH - 1, 0}, {0, HEIGHT - 1}, {WIDTH - 1, HEIGHT - 1}, {17, 21}};
    for (const auto& place : places) {
        NextColor();
        EXPECT_EQ(DrawPixel(place[0], place[1]), 0);
        Expect()(place[0], place[1]);
        EXPECT_TRUE(screen.Matches());
    }
}

TEST_P(Drawing, FillsRowsOfEveryAlignmentAndLength) {
    for (unsigned start = 0; start < 9; ++start) {
        for (unsigned length = 1; length <= WIDTH - start; ++length) {
            NextColor();
            const unsigned y = (start + length) % HEIGHT;
            ASSERT_EQ(DrawLine(start, y, start + length - 1, y), 0);
            Block(start, y, start + length - 1, y, Expect());
            ASSERT_TRUE(screen.Matches()) << "start " << start << ", length " << length;
        }
    }
}

TEST_P(Drawing, TakesTheEndsOfRowsAndColumnsInEitherOrder) {
    NextColor();
    EXPECT_EQ(DrawLine(10, 3, 2, 3), 0);
    Block(2, 3, 10, 3, Expect());
    EXPECT_EQ(DrawLine(7, HEIGHT - 1, 7, 0), 0);
    Block(7, 0, 7, HEIGHT - 1, Expect());
    EXPECT_EQ(DrawLine(40, 5, 40, 9), 0);
    Block(40, 5, 40, 9, Expect());
    EXPECT_TRUE(screen.Matches());
}

TEST_P(Drawing, ALineFromAPointToItselfIsOnePixel) {
    NextColor();
    EXPECT_EQ(DrawLine(5, 5, 5, 5), 0);
    Expect()(5, 5);
    EXPECT_TRUE(screen.Matches());
}

TEST_P(Drawing, ATieInASlopedLineTakesTheSecondaryStep) {
    NextColor();
    EXPECT_EQ(DrawLine(0, 0, 4, 2), 0);
    const unsigned points[][2] = {{0, 0}, {1, 1}, {2, 1}, {3, 2}, {4, 2}};
    for (const auto& point : points)
        Expect()(point[0], point[1]);
    EXPECT_TRUE(screen.Matches());
}

TEST_P(Drawing, DrawsSlopedLinesFromTheUpperEndWhicheverComesFirst) {
    std::mt19937 random(1);
    for (int i = 0; i < 500; ++i) {
        const int x0 = static_cast<int>(random() % WIDTH), y0 = static_cast<int>(random() % HEIGHT);
        const int x1 = static_cast<int>(random() % WIDTH), y1 = static_cast<int>(random() % HEIGHT);
        if (x0 == x1 || y0 == y1)
            continue;
        NextColor();
        const auto corner = [](int value) { return static_cast<unsigned>(value); };
        ASSERT_EQ(DrawLine(corner(x0), corner(y0), corner(x1), corner(y1)), 0);
        SlopedLine(x0, y0, x1, y1, Expect());
        ASSERT_TRUE(screen.Matches()) << x0 << ", " << y0 << " to " << x1 << ", " << y1;
        ASSERT_EQ(DrawLine(corner(x1), corner(y1), corner(x0), corner(y0)), 0);
        ASSERT_TRUE(screen.Matches()) << x1 << ", " << y1 << " to " << x0 << ", " << y0;
    }
}

TEST_P(Drawing, OutlinesRectanglesFromAnyTwoCorners) {
    const unsigned corners[][4] = {
        {3, 4, 20, 9}, {20, 9, 4, 4},   {60, 0, 30, 42}, {1, 30, 12, 20},
        {5, 5, 5, 5},  {6, 12, 40, 12}, {50, 1, 50, 33}, {0, 0, WIDTH - 1, HEIGHT - 1},
        {8, 8, 9, 9}};
    for (const auto& corner : corners) {
        NextColor();
        ASSERT_EQ(DrawRectangle(corner[0], corner[1], corner[2], corner[3]), 0);
        const unsigned x0 = std::min(corner[0], corner[2]), x1 = std::max(corner[0], corner[2]);
        const unsigned y0 = std::min(corner[1], corner[3]), y1 = std::max(corner[1], corner[3]);
        Block(x0, y0, x1, y0, Expect());
        Block(x0, y1, x1, y1, Expect());
        Block(x0, y0, x0, y1, Expect());
        Block(x1, y0, x1, y1, Expect());
        ASSERT_TRUE(screen.Matches()) << x0 << ", " << y0 << " to " << x1 << ", " << y1;
    }
}

TEST_P(Drawing, OutlinesCirclesOfEveryRadiusThatFits) {
    for (unsigned radius = 0; radius <= 21; ++radius) {
        NextColor();
        ASSERT_EQ(DrawCircle(30, 21, radius), 0);
        Circle(30, 21, static_cast<int>(radius), Expect());
        ASSERT_TRUE(screen.Matches()) << "radius " << radius;
    }
}

TEST_P(Drawing, FillsBlocksOfEveryAlignmentFromAnyTwoCorners) {
    std::mt19937 random(2);
    for (int i = 0; i < 300; ++i) {
        const unsigned x0 = random() % WIDTH, x1 = random() % WIDTH, y0 = random() % HEIGHT,
                       y1 = random() % HEIGHT;
        NextColor();
        ASSERT_EQ(DrawBlock(x0, y0, x1, y1), 0);
        Block(std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1), Expect());
        ASSERT_TRUE(screen.Matches()) << x0 << ", " << y0 << " to " << x1 << ", " << y1;
    }
    NextColor();
    ASSERT_EQ(DrawBlock(0, 0, WIDTH - 1, HEIGHT - 1), 0);
    Block(0, 0, WIDTH - 1, HEIGHT - 1, Expect());
    EXPECT_TRUE(screen.Matches());
}

TEST_P(Drawing, ABlockOfWholeLinesIsFilledAndOneThatMissesAColumnLeavesIt) {
    const unsigned columns[][2] = {{0, WIDTH - 1}, {0, WIDTH - 2}, {1, WIDTH - 1}};
    for (const auto& column : columns) {
        NextColor();
        EXPECT_EQ(DrawBlock(column[0], 5, column[1], 30), 0);
        Block(column[0], 5, column[1], 30, Expect());
        EXPECT_TRUE(screen.Matches()) << column[0] << " to " << column[1];
    }
}

TEST_P(Drawing, RefusesWhatLeavesTheScreenAndDrawsNothing) {
    NextColor();
    for (unsigned far : {0u, 1000u, 0x7FFFFFFFu, 0xFFFFFFFFu - WIDTH}) {
        const unsigned x = WIDTH + far, y = HEIGHT + far;
        EXPECT_EQ(DrawPixel(x, 0), -4);
        EXPECT_EQ(DrawPixel(0, y), -4);
        for (auto draw : {DrawLine, DrawRectangle, DrawBlock}) {
            EXPECT_EQ(draw(x, 5, 3, 4), -4);
            EXPECT_EQ(draw(3, y, 5, 4), -4);
            EXPECT_EQ(draw(3, 4, x, 5), -4);
            EXPECT_EQ(draw(3, 4, 5, y), -4);
            EXPECT_EQ(draw(x, 4, x, 5), -4);
            EXPECT_EQ(draw(3, y, 5, y), -4);
        }
        EXPECT_EQ(DrawCircle(x, 5, 0), -4);
        EXPECT_EQ(DrawCircle(5, y, 0), -4);
        EXPECT_EQ(DrawCircle(30, 21, 22 + far), -4);
    }
    EXPECT_TRUE(screen.Matches());
}

TEST_P(Drawing, ACircleMayTouchButNotCrossEachEdge) {
    NextColor();
    EXPECT_EQ(DrawCircle(10, 10, 10), 0);
    EXPECT_EQ(DrawCircle(WIDTH - 11, HEIGHT - 11, 10), 0);
    Circle(10, 10, 10, Expect());
    Circle(WIDTH - 11, HEIGHT - 11, 10, Expect());
    EXPECT_EQ(DrawCircle(9, 10, 10), -4);
    EXPECT_EQ(DrawCircle(10, 9, 10), -4);
    EXPECT_EQ(DrawCircle(WIDTH - 10, 20, 10), -4);
    EXPECT_EQ(DrawCircle(20, HEIGHT - 10, 10), -4);
    EXPECT_EQ(DrawCircle(1, 1, 0xFFFFFFFF), -4);  // 1 + r is 0 in 32 bits
    EXPECT_TRUE(screen.Matches());
}

TEST_P(Drawing, NeedsAPaletteThenAPenThenAMap) {
    const std::function<int()> figures[] = {
        [] { return DrawPixel(WIDTH, 0); },           [] { return DrawLine(0, 0, WIDTH, 5); },
        [] { return DrawRectangle(0, 0, WIDTH, 5); }, [] { return DrawCircle(0, 0, 3); },
        [] { return DrawBlock(0, 0, WIDTH, 5); },
    };
    for (const auto& draw : figures)
        EXPECT_EQ(draw(), -4);
    GUIPALETTE* palette = CreatePalette(1);
    SetCurrPalette(palette);
    screen.DropPen();
    for (const auto& draw : figures)
        EXPECT_EQ(draw(), -2);
    DestroyPalette(&palette);
    for (const auto& draw : figures)
        EXPECT_EQ(draw(), -1);
    EXPECT_TRUE(screen.Matches());
}

TEST(DrawingWithoutScreen, NeedsAMapLast) {
    GUIPALETTE* palette = CreatePalette(1);
    GUIPEN* pen = CreatePen(1, 1, 0);
    SetCurrPalette(palette);
    SetCurrPen(pen);
    EXPECT_EQ(DrawPixel(0, 0), -3);
    EXPECT_EQ(DrawLine(0, 0, 1, 1), -3);
    EXPECT_EQ(DrawRectangle(0, 0, 1, 1), -3);
    EXPECT_EQ(DrawCircle(0, 0, 0), -3);
    EXPECT_EQ(DrawBlock(0, 0, 1, 1), -3);
    DestroyPen(&pen);
    DestroyPalette(&palette);
}

TEST(DrawingOnOddDepth, IsRefusedAfterThePlaceIsChecked) {
    for (unsigned bits : {0u, 1u, 4u, 15u, 18u, 40u}) {
        Screen screen(16, 20, 20);
        screen.Map()->uiPixelBits = bits;
        EXPECT_EQ(DrawPixel(0, 0), -5);
        EXPECT_EQ(DrawLine(0, 0, 3, 1), -5);
        EXPECT_EQ(DrawRectangle(0, 0, 3, 1), -5);
        EXPECT_EQ(DrawCircle(3, 3, 1), -5);
        EXPECT_EQ(DrawBlock(0, 0, 3, 1), -5);
        EXPECT_EQ(DrawPixel(20, 0), -4);
        EXPECT_EQ(DrawBlock(0, 0, 3, 20), -4);
        EXPECT_TRUE(screen.Untouched());
    }
}

// ---- Colours ----

TEST(DrawingColour, IsRgb565OnSixteenBits) {
    Screen screen(16, 4, 1);
    const uint32_t colors[] = {0xFF0000, 0x00FF00, 0x0000FF, 0x12345678};
    const uint16_t pixels[] = {0xF800, 0x07E0, 0x001F, 0x32AF};
    for (unsigned i = 0; i < 4; ++i) {
        screen.SetColor(colors[i]);
        EXPECT_EQ(DrawPixel(i, 0), 0);
        EXPECT_EQ(reinterpret_cast<uint16_t*>(screen.Map()->pMapBuff)[i], pixels[i]);
    }
}

TEST(DrawingColour, IsBlueGreenRedOnTwentyFourBits) {
    Screen screen(24, 1, 1);
    screen.SetColor(0xAB123456);
    EXPECT_EQ(DrawPixel(0, 0), 0);
    EXPECT_EQ(screen.Map()->pMapBuff[0], 0x56);
    EXPECT_EQ(screen.Map()->pMapBuff[1], 0x34);
    EXPECT_EQ(screen.Map()->pMapBuff[2], 0x12);
}

TEST(DrawingColour, KeepsItsTopByteOnThirtyTwoBits) {
    Screen screen(32, 1, 1);
    screen.SetColor(0xAB123456);
    EXPECT_EQ(DrawPixel(0, 0), 0);
    EXPECT_EQ(reinterpret_cast<uint32_t*>(screen.Map()->pMapBuff)[0], 0xAB123456u);
}

TEST(DrawingColour, IsTheNearestEntryOnEightBitsAnd255WithoutOne) {
    Screen screen(8, 3, 1);
    screen.SetColor(Screen::PaletteColor(77));
    EXPECT_EQ(DrawPixel(0, 0), 0);
    EXPECT_EQ(screen.Map()->pMapBuff[0], 77);
    GUIPALETTE* black = CreatePalette(16);
    SetCurrPalette(black);
    screen.SetColor(0xFFFFFF);
    EXPECT_EQ(DrawPixel(1, 0), 0);
    EXPECT_EQ(screen.Map()->pMapBuff[1], 0xFF);
    screen.SetColor(0xFFFFFE);
    EXPECT_EQ(DrawPixel(2, 0), 0);
    EXPECT_EQ(screen.Map()->pMapBuff[2], 15);
    DestroyPalette(&black);
}

// ---- Primitives by name ----

// The primitives of a depth, a pixel value, and the colour that the value stands for.
struct Family {
    unsigned bits;
    uint32_t value;
    uint32_t color;
    void (*pixel)(uint32_t, unsigned, unsigned, GUIFBMAP*);
    void (*hor)(uint32_t, unsigned, unsigned, unsigned, GUIFBMAP*);
    void (*ver)(uint32_t, unsigned, unsigned, unsigned, GUIFBMAP*);
    void (*bias)(uint32_t, unsigned, unsigned, unsigned, unsigned, GUIFBMAP*);
    void (*circle)(uint32_t, unsigned, unsigned, unsigned, GUIFBMAP*);
    void (*block)(uint32_t, unsigned, unsigned, unsigned, unsigned, GUIFBMAP*);
};

TEST(Primitive, EachPaintsItsFigureInAReadyPixelValue) {
    const Family families[] = {
        {8, 0x78, Screen::PaletteColor(0x78), _DrawPixel8, _DrawHor8, _DrawVer8, _DrawBias8, _DrawCircle8,
         _DrawBlock8},
        {16, 0x5678, 0x50CCC0, _DrawPixel16, _DrawHor16, _DrawVer16, _DrawBias16, _DrawCircle16,
         _DrawBlock16},
        {24, 0x345678, 0x345678, _DrawPixel24, _DrawHor24, _DrawVer24, _DrawBias24, _DrawCircle24,
         _DrawBlock24},
        {32, 0x12345678, 0x12345678, _DrawPixel32, _DrawHor32, _DrawVer32, _DrawBias32, _DrawCircle32,
         _DrawBlock32},
    };
    for (const Family& family : families) {
        Screen screen(family.bits, WIDTH, HEIGHT);
        const uint32_t value = family.value;
        const Plot expect = [&](unsigned x, unsigned y) { screen.Put(x, y, family.color); };
        family.pixel(value, 60, 42, screen.Map());
        expect(60, 42);
        family.hor(value, 3, 1, 3, screen.Map());
        expect(3, 1);
        family.hor(value, 5, 2, 33, screen.Map());
        Block(5, 2, 33, 2, expect);
        family.ver(value, 50, 3, 30, screen.Map());
        Block(50, 3, 50, 30, expect);
        family.bias(value, 9, 40, 2, 12, screen.Map());
        SlopedLine(9, 40, 2, 12, expect);
        family.bias(value, 20, 4, 55, 4, screen.Map());  // flat: from the end back to the start
        Block(20, 4, 55, 4, expect);
        family.bias(value, 20, 7, 20, 15, screen.Map());  // upright
        Block(20, 7, 20, 15, expect);
        family.circle(value, 30, 20, 9, screen.Map());
        Circle(30, 20, 9, expect);
        family.block(value, 40, 33, 47, 36, screen.Map());
        Block(40, 33, 47, 36, expect);
        EXPECT_TRUE(screen.Matches()) << family.bits << " bits";
    }
}

}  // namespace
