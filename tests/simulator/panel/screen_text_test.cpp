// Text drawn by a small renderer of the tests' own is read back from the pixels.
#include "simulator/interpose/screen_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

namespace k905 {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr unsigned kWidth = 800, kHeight = 480;
constexpr std::uint32_t kWhite = 0xFFFFFF;

std::string AppFile(const std::string& name) {
    return std::string(K905_BINARY_DIR) + "/app/fct/" + name;
}

std::vector<std::uint8_t> Bytes(const std::string& path) {
    std::vector<std::uint8_t> bytes(std::filesystem::file_size(path));
    std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(bytes.data()), bytes.size());
    return bytes;
}

std::u16string Wide(const std::string& latin1) {
    std::u16string out;
    for (const char c : latin1)
        out += static_cast<unsigned char>(c);
    return out;
}

class Canvas {
  public:
    Canvas(unsigned bits, std::uint32_t background) : bits_(bits), pixels_(kWidth * kHeight * bits / 8) {
        for (unsigned y = 0; y < kHeight; ++y)
            for (unsigned x = 0; x < kWidth; ++x)
                Set(x, y, background);
    }
    void Set(unsigned x, unsigned y, std::uint32_t color) {
        std::uint8_t* p = &pixels_[(x + y * kWidth) * (bits_ / 8)];
        if (bits_ == 16) {
            const unsigned v = (color >> 19 & 31) << 11 | (color >> 10 & 63) << 5 | (color >> 3 & 31);
            p[0] = static_cast<std::uint8_t>(v);
            p[1] = static_cast<std::uint8_t>(v >> 8);
            return;
        }
        for (unsigned i = 0; i < 3; ++i)
            p[i] = static_cast<std::uint8_t>(color >> (8 * i));
    }
    // As the instrument sets text: glyphs trimmed, a pixel before and after each, transparent background.
    // Returns the x behind the last glyph.
    unsigned Draw(const std::u16string& text, unsigned x, unsigned y, std::uint32_t color) {
        static const std::vector<std::uint8_t> font = Bytes(AppFile("font/unicode.fnt"));
        std::uint32_t offset = 0;
        std::memcpy(&offset, &font.at(28), 4);
        for (const char16_t c : text) {
            const std::uint8_t* matrix = &font.at(offset + c * 32u);
            unsigned left = 16, right = 0;
            for (unsigned r = 0; r < 16; ++r)
                for (unsigned i = 0; i < 16; ++i)
                    if (Ink(matrix, i, r)) {
                        left = std::min(left, i);
                        right = std::max(right, i + 1);
                    }
            for (unsigned r = 0; r < 16; ++r)
                for (unsigned i = left; i < right; ++i)
                    if (Ink(matrix, i, r))
                        Set(x + i - left, y + r, color);
            x += (left < right ? right - left : 6) + 2;
        }
        return x;
    }
    // A 24-bit bitmap file.
    void DrawBitmap(const std::string& name, unsigned x, unsigned y) {
        const std::vector<std::uint8_t> file = Bytes(AppFile("bitmap/" + name));
        std::int32_t width = 0, height = 0;
        std::uint32_t data = 0;
        std::memcpy(&data, &file.at(10), 4);
        std::memcpy(&width, &file.at(18), 4);
        std::memcpy(&height, &file.at(22), 4);
        ASSERT_EQ(24, file.at(28));
        const std::size_t stride = (static_cast<std::size_t>(width) * 3 + 3) / 4 * 4;
        for (int r = 0; r < height; ++r)
            for (int i = 0; i < width; ++i) {
                const std::uint8_t* p =
                    &file.at(data + static_cast<std::size_t>(height - 1 - r) * stride + i * 3u);
                Set(x + i, y + r, p[2] << 16 | p[1] << 8 | p[0]);
            }
    }
    std::vector<TextRun> Read() const {
        static ScreenReader reader(AppFile("font/unicode.fnt"));
        return reader.Read(pixels_.data(), kWidth, kHeight, bits_);
    }
    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const TextRun& run : Read())
            texts.push_back(run.text);
        return texts;
    }
    const std::uint8_t* Pixels() const { return pixels_.data(); }

  private:
    static bool Ink(const std::uint8_t* matrix, unsigned x, unsigned y) {
        return matrix[y * 2 + x / 8] >> (7 - x % 8) & 1;
    }

    unsigned bits_;
    std::vector<std::uint8_t> pixels_;
};

class ScreenTextAtDepth : public ::testing::TestWithParam<unsigned> {};
INSTANTIATE_TEST_SUITE_P(Depths, ScreenTextAtDepth, ::testing::Values(16u, 24u, 32u));

TEST_P(ScreenTextAtDepth, ReadsEveryPrintableCharacter) {
    Canvas canvas(GetParam(), 0x204060);
    std::vector<std::string> lines;
    unsigned y = 3;
    for (int first = 0x20; first < 0x7F; first += 16) {
        std::string line = "A";
        for (int c = first; c < first + 16 && c < 0x7F; ++c)
            line += static_cast<char>(c);
        line += "z";
        canvas.Draw(Wide(line), 17, y, kWhite);
        lines.push_back(line);
        y += 18;
    }
    EXPECT_EQ(lines, canvas.Texts());
}

TEST_P(ScreenTextAtDepth, TellsPlaceWidthAndColor) {
    for (const std::uint32_t ink : {0xFFFFFFu, 0x3C3028u, 0xF8A800u, 0x000000u, 0x00FF00u, 0xFF0000u}) {
        Canvas canvas(GetParam(), 0x204060);
        const unsigned end = canvas.Draw(u"Key Check", 123, 45, ink);
        const std::vector<TextRun> runs = canvas.Read();
        ASSERT_EQ(1u, runs.size()) << std::hex << ink;
        EXPECT_EQ("Key Check", runs[0].text);
        EXPECT_EQ(123, runs[0].x);
        EXPECT_EQ(45, runs[0].y);
        EXPECT_EQ(static_cast<int>(end) - 2 - 123, runs[0].width);
        EXPECT_EQ(ink, runs[0].color);
    }
}

TEST_P(ScreenTextAtDepth, ReadsTextOverATexture) {
    Canvas canvas(GetParam(), 0);
    std::mt19937 random(1);
    for (unsigned y = 0; y < kHeight; ++y)
        for (unsigned x = 0; x < kWidth; ++x)
            canvas.Set(x, y, (random() & 0x7F7F7F) | 0x080808);
    canvas.Draw(u"battery level = 87% [7.8V-8.4V]", 60, 200, kWhite);
    canvas.Draw(u"Welcome to K905_FCT !", 20, 458, 0xF8A800);
    EXPECT_THAT(canvas.Texts(), ElementsAre("battery level = 87% [7.8V-8.4V]", "Welcome to K905_FCT !"));
}

TEST_P(ScreenTextAtDepth, ReadsCaptionsOnButtons) {
    Canvas canvas(GetParam(), 0);
    canvas.DrawBitmap("bg_desk.bmp", 0, 30);
    canvas.DrawBitmap("bar_status.bmp", 0, 0);
    canvas.DrawBitmap("bar_info.bmp", 0, 450);
    EXPECT_THAT(canvas.Texts(), IsEmpty());
    canvas.DrawBitmap("btn_enable.bmp", 435, 155);
    canvas.DrawBitmap("btn_active.bmp", 555, 155);
    canvas.DrawBitmap("btn_disable.bmp", 600, 35);
    canvas.Draw(u"Arm Eeprom", 445, 164, kWhite);
    canvas.Draw(u"FPGA DDR", 575, 164, 0x3C3028);
    canvas.Draw(u"Voltage Check", 606, 44, kWhite);
    EXPECT_THAT(canvas.Texts(), ElementsAre("Voltage Check", "Arm Eeprom", "FPGA DDR"));
}

TEST_P(ScreenTextAtDepth, FindsNothingInPictures) {
    for (const char* name :
         {"bg_main.bmp", "frm_dataInfo.bmp", "ico_1.bmp", "ico_2_press.bmp", "enter_press.bmp",
          "key_unpress.bmp", "up_press.bmp", "left_unpress.bmp", "frm_warn_bg.bmp", "warring.bmp"}) {
        Canvas canvas(GetParam(), 0x204060);
        canvas.DrawBitmap(name, 0, 30);
        EXPECT_THAT(canvas.Texts(), IsEmpty()) << name;
    }
}

TEST(ScreenText, ReadsALoneLetterOrDigit) {
    for (const char c : std::string("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz")) {
        Canvas canvas(16, 0x204060);
        canvas.Draw(Wide(std::string(1, c)), 400, 240, kWhite);
        EXPECT_THAT(canvas.Texts(), ElementsAre(std::string(1, c)));
    }
}

TEST(ScreenText, CountsTheBlanksBetweenWords) {
    Canvas canvas(16, 0);
    canvas.Draw(u"OK  TP97:   1.07270V", 25, 40, 0x00FF00);
    canvas.Draw(u"MainBoard  testV20150629", 300, 5, kWhite);
    canvas.Draw(u"stop     check", 25, 60, kWhite);
    EXPECT_THAT(canvas.Texts(),
                ElementsAre("MainBoard  testV20150629", "OK  TP97:   1.07270V", "stop     check"));
}

TEST(ScreenText, BlanksAtTheEndsOnlyShiftTheRun) {
    Canvas canvas(16, 0);
    canvas.Draw(u" OK! result = 0.250000 ", 100, 40, kWhite);
    const std::vector<TextRun> runs = canvas.Read();
    ASSERT_EQ(1u, runs.size());
    EXPECT_EQ("OK! result = 0.250000", runs[0].text);
    EXPECT_EQ(108, runs[0].x);
}

TEST(ScreenText, AWideGapBeginsANewRun) {
    Canvas canvas(16, 0);
    canvas.Draw(u"Scale", 280, 60, kWhite);
    canvas.Draw(u"Setup", 400, 60, kWhite);
    canvas.Draw(u"nine        blanks", 20, 100, kWhite);
    EXPECT_THAT(canvas.Texts(), ElementsAre("Scale", "Setup", "nine", "blanks"));
}

TEST(ScreenText, ReadsEachLineOfWrappedText) {
    Canvas canvas(16, 0);
    canvas.Draw(u"agyp{jq", 20, 100, kWhite);
    canvas.Draw(u"^TfkHl}", 20, 118, kWhite);
    canvas.Draw(u"gj_[Qy", 20, 134, kWhite);  // matrices may stand right below each other
    EXPECT_THAT(canvas.Texts(), ElementsAre("agyp{jq", "^TfkHl}", "gj_[Qy"));
}

TEST(ScreenText, ReadsAtTheEdgesOfTheScreen) {
    Canvas canvas(16, 0);
    canvas.Draw(u"Top", 0, 0, kWhite);
    Canvas measure(16, 0);
    const unsigned width = measure.Draw(u"Corner", 0, 0, kWhite) - 2;
    canvas.Draw(u"Corner", kWidth - width, kHeight - 16, kWhite);
    EXPECT_THAT(canvas.Texts(), ElementsAre("Top", "Corner"));
}

TEST(ScreenText, ReadsLatin1AndIdeographs) {
    Canvas canvas(16, 0);
    canvas.Draw(u"25 \u00B0C \u00B1 5 \u00B5s", 20, 20, kWhite);
    canvas.Draw(u"\u6D4B\u8BD5 OK", 20, 60, kWhite);
    EXPECT_THAT(canvas.Texts(), ElementsAre("25 °C ± 5 µs", "测试 OK"));
}

TEST(ScreenText, ComparesColorsInThePrecisionOfTheScreen) {
    // A shade that 16 bits cannot tell from white is white there, and only there.
    constexpr std::uint32_t kNearlyWhite = 0xFAFEFA;
    Canvas shallow(16, 0x204060), deep(24, 0x204060);
    shallow.Draw(u"shade", 20, 20, kNearlyWhite);
    deep.Draw(u"shade", 20, 20, kNearlyWhite);
    EXPECT_THAT(shallow.Texts(), ElementsAre("shade"));
    EXPECT_THAT(deep.Texts(), IsEmpty());
}

TEST(ScreenText, ReadsOnlyTheInksAskedFor) {
    Canvas canvas(24, 0);
    canvas.Draw(u"pink", 20, 20, 0xFF80C0);
    canvas.Draw(u"white", 20, 60, kWhite);
    ScreenReader::Options options;
    options.inks = {0xFF80C0};
    ScreenReader reader(AppFile("font/unicode.fnt"), options);
    const std::vector<TextRun> runs = reader.Read(canvas.Pixels(), kWidth, kHeight, 24);
    ASSERT_EQ(1u, runs.size());
    EXPECT_EQ("pink", runs[0].text);
}

TEST(ScreenText, FindsNothingInNoiseOfTheInkItself) {
    for (const unsigned percent : {1u, 3u, 10u, 25u, 50u, 75u, 97u}) {
        Canvas canvas(16, 0x204060);
        std::mt19937 random(percent);
        for (unsigned y = 0; y < kHeight; ++y)
            for (unsigned x = 0; x < kWidth; ++x)
                if (random() % 100 < percent)
                    canvas.Set(x, y, kWhite);
        EXPECT_THAT(canvas.Texts(), IsEmpty()) << percent << " %";
    }
}

TEST(ScreenText, FindsNothingInRegularPatterns) {
    const auto patterns = std::vector<bool (*)(unsigned, unsigned)>{
        [](unsigned x, unsigned) { return x % 4 == 0; },
        [](unsigned x, unsigned) { return x % 3 == 0; },
        [](unsigned, unsigned y) { return y % 10 == 0; },
        [](unsigned x, unsigned y) { return x % 10 == 0 && y % 10 == 0; },
        [](unsigned x, unsigned y) { return x % 10 < 2 && y % 24 < 2; },
        [](unsigned x, unsigned y) { return (x + y) % 2 == 0; },
        [](unsigned x, unsigned y) { return x % 20 == 0 || y % 20 == 0; },
        [](unsigned x, unsigned y) { return x % 8 != 7 && y % 18 == 0; },
        [](unsigned x, unsigned y) { return x % 10 == 0 && y % 24 < 10; },
        [](unsigned x, unsigned y) { return x % 60 < 50 && y % 60 < 50; },
    };
    for (std::size_t i = 0; i < patterns.size(); ++i) {
        Canvas canvas(16, 0x204060);
        for (unsigned y = 0; y < kHeight; ++y)
            for (unsigned x = 0; x < kWidth; ++x)
                if (patterns[i](x, y))
                    canvas.Set(x, y, kWhite);
        EXPECT_THAT(canvas.Texts(), IsEmpty()) << "pattern " << i;
    }
}

TEST(ScreenText, WhatHasNotChangedIsNotReadAgain) {
    ScreenReader reader(AppFile("font/unicode.fnt"));
    Canvas canvas(16, 0x204060);
    const auto readAnew = [&] {
        const std::size_t before = reader.BandsRead();
        reader.Read(canvas.Pixels(), kWidth, kHeight, 16);
        return reader.BandsRead() - before;
    };
    canvas.Draw(u"Voltage Check OK!", 40, 20, kWhite);
    canvas.Draw(u"Auto", 300, 20, 0xFF0000);
    canvas.Draw(u"offset = 978", 40, 200, kWhite);
    EXPECT_EQ(3u, readAnew()) << "each ink of each line";
    EXPECT_EQ(0u, readAnew()) << "nothing has changed";
    canvas.Set(700, 120, 0x808080);
    EXPECT_EQ(0u, readAnew()) << "nothing has changed where there is text";
    canvas.Draw(u"Success", 200, 200, kWhite);
    EXPECT_EQ(1u, readAnew()) << "the second line";
    canvas.Draw(u"i", 600, 20, kWhite);
    EXPECT_EQ(2u, readAnew()) << "both inks of the first line";
    EXPECT_EQ(0u, readAnew());
}

// A reader that has followed a screen through many changes reads what one reads that has never seen it.
TEST(ScreenText, AReaderThatFollowsAScreenMissesNothing) {
    const char16_t* const texts[] = {
        u"Voltage Check OK!",          u"AD Value :2.99512V, times798 reg:80d", u"i", u"\x4E2D\x6587", u":",
        u"offset = 978 Adjust Success"};
    const std::uint32_t inks[] = {kWhite, 0xF8A800, 0x00FF00, 0xFF0000};
    std::mt19937 random(7);
    Canvas canvas(16, 0x204060);
    ScreenReader follower(AppFile("font/unicode.fnt")), fresh(AppFile("font/unicode.fnt"));
    for (int change = 0; change < 150; ++change) {
        const unsigned x = random() % 400, y = random() % (kHeight - 40);
        if (random() % 3 == 0) {  // wipe a stretch, through texts too
            const unsigned height = 1 + random() % 60;
            for (unsigned row = y; row < y + height && row < kHeight; ++row)
                for (unsigned column = x; column < kWidth; ++column)
                    canvas.Set(column, row, 0x204060);
        } else {
            canvas.Draw(texts[random() % std::size(texts)], x, y, inks[random() % std::size(inks)]);
        }
        const auto followed = follower.Read(canvas.Pixels(), kWidth, kHeight, 16);
        if (change % 10 != 0)
            continue;
        const std::uint8_t dot[2] = {};
        fresh.Read(dot, 1, 1, 16);  // forgets the screen
        const auto read = fresh.Read(canvas.Pixels(), kWidth, kHeight, 16);
        ASSERT_EQ(read.size(), followed.size()) << change;
        for (std::size_t i = 0; i < read.size(); ++i) {
            EXPECT_EQ(read[i].text, followed[i].text) << change;
            EXPECT_EQ(read[i].x, followed[i].x) << change;
            EXPECT_EQ(read[i].y, followed[i].y) << change;
            EXPECT_EQ(read[i].color, followed[i].color) << change;
        }
    }
}

TEST(ScreenText, RefusesWhatIsNotItsFontOrDepth) {
    EXPECT_THROW(ScreenReader("/nonexistent/unicode.fnt"), std::runtime_error);
    EXPECT_THROW(ScreenReader(AppFile("bitmap/bg_main.bmp")), std::runtime_error);
    std::vector<std::uint8_t> font = Bytes(AppFile("font/unicode.fnt"));
    font[16] = 24;
    EXPECT_THROW(ScreenReader(font.data(), font.size(), ScreenReader::Options()), std::runtime_error);
    EXPECT_THROW(ScreenReader(font.data(), 31, ScreenReader::Options()), std::runtime_error);
    ScreenReader reader(AppFile("font/unicode.fnt"));
    const std::uint8_t pixel = 0;
    EXPECT_THROW(reader.Read(&pixel, 1, 1, 8), std::invalid_argument);
    EXPECT_THAT(reader.Read(&pixel, 0, 0, 16), IsEmpty());
}

TEST(ScreenText, ATruncatedFontReadsWhatItHolds) {
    const std::vector<std::uint8_t> font = Bytes(AppFile("font/unicode.fnt"));
    ScreenReader reader(font.data(), 32 + 32 * 0x60, ScreenReader::Options());  // up to the capitals
    Canvas canvas(16, 0);
    canvas.Draw(u"ADC", 20, 20, kWhite);
    const std::vector<TextRun> runs = reader.Read(canvas.Pixels(), kWidth, kHeight, 16);
    ASSERT_EQ(1u, runs.size());
    EXPECT_EQ("ADC", runs[0].text);
}

}  // namespace
}  // namespace k905
