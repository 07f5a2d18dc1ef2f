#include <gmock/gmock.h>

#include <cmath>

#include "tests/assets/asset_files.h"

namespace {

Bmp Bitmap(const std::string& name) {
    return ReadBmp(AssetPath("bitmap/" + name + ".bmp"));
}

struct View {
    const char* bitmap;
    unsigned width, height;  // the largest area in which a screen shows it
};

// A view larger than its picture shrinks to it, a smaller one shows its bottom-left corner: both sizes have
// to agree.
const View views[] = {
    {"bar_status", 800, 30},
    {"bar_info", 800, 30},
    {"bg_main", 800, 420},
    {"bg_desk", 800, 420},
    {"btn_back", 60, 25},
    {"btn_enable", 105, 53},
    {"btn_active", 105, 53},
    {"btn_disable", 105, 53},
    {"ico_1", 80, 80},
    {"ico_1_press", 80, 80},
    {"ico_2", 80, 80},
    {"ico_2_press", 80, 80},
    {"ico_3", 80, 80},
    {"ico_3_press", 80, 80},
    {"ico_4", 80, 80},
    {"ico_4_press", 80, 80},
    {"ico_5", 80, 80},
    {"ico_5_press", 80, 80},
    {"ico_6", 80, 80},
    {"ico_6_press", 80, 80},
    {"ico_7", 80, 80},
    {"ico_7_press", 80, 80},
    {"enter_unpress", 110, 60},
    {"enter_press", 110, 60},
    {"key_unpress", 70, 70},
    {"key_press", 70, 70},
    {"up_unpress", 70, 70},
    {"up_press", 70, 70},
    {"down_unpress", 70, 70},
    {"down_press", 70, 70},
    {"left_unpress", 70, 70},
    {"left_press", 70, 70},
    {"right_unpress", 70, 70},
    {"right_press", 70, 70},
    {"frm_dataInfo", 400, 400},
    {"frm_data", 340, 120},
    {"frm_cond", 295, 120},
    {"bg_main_trace", 635, 230},
    {"frm_warn_bg", 280, 172},
    {"warring", 32, 32},
    {"warn_btn_unpress", 60, 24},
    {"warn_btn_press", 60, 24},
};

class EachBitmap : public testing::TestWithParam<View> {};

TEST_P(EachBitmap, IsPlainAndFillsItsView) {
    const Bmp bmp = Bitmap(GetParam().bitmap);
    ASSERT_TRUE(bmp.valid);
    EXPECT_EQ(bmp.width, GetParam().width);
    EXPECT_EQ(bmp.height, GetParam().height);
}

TEST_P(EachBitmap, LeavesTheTextColoursToTheText) {
    const Bmp bmp = Bitmap(GetParam().bitmap);
    ASSERT_TRUE(bmp.valid);
    for (uint32_t ink : {0xFFFFFF, 0x3C3028, 0xF8A800, 0x000000, 0x00FF00, 0xFF0000})
        for (uint32_t pixel : bmp.pixels)
            ASSERT_NE(Rgb565(pixel), Rgb565(ink)) << std::hex << pixel << " shows as " << ink;
}

INSTANTIATE_TEST_SUITE_P(Bitmaps, EachBitmap, testing::ValuesIn(views),
                         [](const auto& test) { return std::string(test.param.bitmap); });

// Pieces are opaque rectangles: where they do not show a cap, they have to look like what lies under them.
struct Piece {
    const char *bitmap, *ground;
    unsigned groundRow;  // a row of the ground below the edge that its top may show
};
const Piece pieces[] = {
    {"btn_enable", "bg_desk", 100},    {"btn_active", "bg_desk", 100},
    {"btn_disable", "bg_desk", 100},   {"enter_unpress", "bg_desk", 100},
    {"enter_press", "bg_desk", 100},   {"key_unpress", "bg_desk", 100},
    {"key_press", "bg_desk", 100},     {"up_unpress", "bg_desk", 100},
    {"down_press", "bg_desk", 100},    {"left_unpress", "bg_desk", 100},
    {"right_press", "bg_desk", 100},   {"ico_1", "bg_main", 100},
    {"ico_7_press", "bg_main", 100},   {"frm_dataInfo", "bg_desk", 100},
    {"bg_main_trace", "bg_desk", 100}, {"btn_back", "bar_info", 10},
    {"warring", "frm_warn_bg", 70},    {"warn_btn_press", "frm_warn_bg", 160},
};

class PieceOnGround : public testing::TestWithParam<Piece> {};

TEST_P(PieceOnGround, HasTheGroundAtItsCorners) {
    const Bmp piece = Bitmap(GetParam().bitmap);
    const Bmp ground = Bitmap(GetParam().ground);
    ASSERT_TRUE(piece.valid && ground.valid);
    const uint32_t expected = ground.At(20, GetParam().groundRow);
    auto near = [expected](uint32_t colour) {  // a corner pixel may be touched by the cap's rounding
        for (int shift : {0, 8, 16})
            if (std::abs(int(colour >> shift & 0xFF) - int(expected >> shift & 0xFF)) > 12)
                return false;
        return true;
    };
    for (unsigned x : {0u, piece.width - 1})
        for (unsigned y : {0u, piece.height - 1})
            EXPECT_TRUE(near(piece.At(x, y)))
                << x << "," << y << std::hex << ": " << piece.At(x, y) << ", ground " << expected;
}

INSTANTIATE_TEST_SUITE_P(Bitmaps, PieceOnGround, testing::ValuesIn(pieces),
                         [](const auto& test) { return std::string(test.param.bitmap); });

TEST(Bitmaps, DesksAreFlatWhereverAPieceMayStand) {
    const Bmp desk = Bitmap("bg_desk"), main = Bitmap("bg_main");
    ASSERT_TRUE(desk.valid && main.valid);
    EXPECT_THAT(desk.pixels, testing::Each(desk.At(0, 0)));
    constexpr unsigned belowTheLastCaption = 371 - 30;
    for (unsigned y = 0; y < belowTheLastCaption; y++)
        for (unsigned x = 0; x < main.width; x++)
            ASSERT_EQ(main.At(x, y), main.At(0, 0)) << x << "," << y;
}

// Relative luminance and contrast of two colours as the Web Content Accessibility Guidelines 2 define them.
double Luminance(uint32_t colour) {
    auto linear = [](uint32_t byte) {
        const double part = byte / 255.0;
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour >> 16 & 0xFF) + 0.7152 * linear(colour >> 8 & 0xFF) +
           0.0722 * linear(colour & 0xFF);
}

double Contrast(uint32_t a, uint32_t b) {
    const double la = Luminance(a) + 0.05, lb = Luminance(b) + 0.05;
    return la > lb ? la / lb : lb / la;
}

struct Caption {
    const char* bitmap;
    unsigned x, y, width, height;  // where the screens put text on it
    uint32_t colour;
    double contrast;  // 4.5 is what the guidelines want of small text
};
const Caption captions[] = {
    {"bar_status", 0, 5, 800, 16, 0xFFFFFF, 4.5},
    {"bar_info", 20, 8, 630, 16, 0xFFFFFF, 4.5},
    {"bg_desk", 0, 0, 800, 420, 0xF8A800, 4.5},
    {"bg_main", 120, 175, 560, 166, 0xF8A800, 4.5},
    {"btn_enable", 0, 9, 105, 34, 0xFFFFFF, 4.5},
    {"btn_disable", 0, 9, 105, 34, 0xFFFFFF, 4.5},
    {"btn_active", 0, 9, 105, 34, 0x3C3028, 4.5},
    {"btn_active", 15, 18, 85, 16, 0xF8A800, 1.5},  // amber on a lit face: told by its hue
    {"enter_unpress", 10, 12, 60, 14, 0xFFFFFF, 4.5},
    {"enter_press", 10, 12, 60, 14, 0x3C3028, 4.5},
    {"key_unpress", 4, 11, 42, 13, 0xFFFFFF, 4.5},
    {"key_press", 4, 11, 42, 13, 0x3C3028, 4.5},
    {"up_unpress", 12, 12, 26, 14, 0xFFFFFF, 4.5},
    {"up_press", 12, 12, 26, 14, 0x3C3028, 4.5},
    {"down_unpress", 8, 12, 34, 13, 0xFFFFFF, 4.5},
    {"down_press", 8, 12, 34, 13, 0x3C3028, 4.5},
    {"left_unpress", 8, 12, 32, 12, 0xFFFFFF, 4.5},
    {"left_press", 8, 12, 32, 12, 0x3C3028, 4.5},
    {"right_unpress", 4, 12, 43, 12, 0xFFFFFF, 4.5},
    {"right_press", 4, 12, 43, 12, 0x3C3028, 4.5},
    {"frm_dataInfo", 5, 5, 390, 390, 0xFF0000, 4.5},
    {"frm_data", 5, 5, 330, 110, 0xFFFFFF, 4.5},
    {"frm_cond", 5, 5, 285, 110, 0xFFFFFF, 4.5},
    {"bg_main_trace", 3, 1, 630, 226, 0xFFFFFF, 3.0},  // a curve over the grid
    {"frm_warn_bg", 1, 5, 278, 20, 0x000000, 4.5},
    {"frm_warn_bg", 65, 60, 200, 72, 0x3C3028, 4.5},
    {"warn_btn_unpress", 2, 5, 56, 16, 0xFFFFFF, 3.0},  // black or white, so neither gets the most
    {"warn_btn_unpress", 2, 5, 56, 16, 0x000000, 4.5},
    {"warn_btn_press", 2, 5, 56, 16, 0x3C3028, 4.5},
};

class CaptionOnBitmap : public testing::TestWithParam<Caption> {};

TEST_P(CaptionOnBitmap, IsLegible) {
    const Caption& caption = GetParam();
    const Bmp bmp = Bitmap(caption.bitmap);
    ASSERT_TRUE(bmp.valid);
    for (unsigned y = caption.y; y < caption.y + caption.height; y++)
        for (unsigned x = caption.x; x < caption.x + caption.width; x++)
            ASSERT_GE(Contrast(bmp.At(x, y), caption.colour), caption.contrast) << x << "," << y;
}

INSTANTIATE_TEST_SUITE_P(Bitmaps, CaptionOnBitmap, testing::ValuesIn(captions), [](const auto& test) {
    char colour[16];
    snprintf(colour, sizeof colour, "_%06X_%u", test.param.colour, test.param.y);
    return test.param.bitmap + std::string(colour);
});

// Share of pixels that differ; all of them when the sizes do.
double Difference(const Bmp& a, const Bmp& b) {
    if (a.pixels.size() != b.pixels.size())
        return 1;
    size_t count = 0;
    for (size_t i = 0; i < a.pixels.size(); i++)
        count += a.pixels[i] != b.pixels[i];
    return double(count) / double(a.pixels.size());
}

TEST(Bitmaps, LooksOfOnePieceAreToldApart) {
    const char* looks[][2] = {
        {"btn_enable", "btn_active"},
        {"btn_enable", "btn_disable"},
        {"btn_active", "btn_disable"},
        {"ico_1", "ico_1_press"},
        {"ico_2", "ico_2_press"},
        {"ico_3", "ico_3_press"},
        {"ico_4", "ico_4_press"},
        {"ico_5", "ico_5_press"},
        {"ico_6", "ico_6_press"},
        {"ico_7", "ico_7_press"},
        {"enter_unpress", "enter_press"},
        {"key_unpress", "key_press"},
        {"up_unpress", "up_press"},
        {"down_unpress", "down_press"},
        {"left_unpress", "left_press"},
        {"right_unpress", "right_press"},
        {"warn_btn_unpress", "warn_btn_press"},
    };
    for (const auto& look : looks)
        EXPECT_GT(Difference(Bitmap(look[0]), Bitmap(look[1])), 0.2) << look[0] << ", " << look[1];
}

TEST(Bitmaps, IconsShowDifferentPictograms) {
    for (char a = '1'; a <= '7'; a++)
        for (char b = '1'; b < a; b++)
            EXPECT_GT(Difference(Bitmap(std::string("ico_") + a), Bitmap(std::string("ico_") + b)), 0.05)
                << a << b;
}

}  // namespace
