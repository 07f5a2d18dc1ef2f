#include "gui/guifont.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/gui/files_fixture.h"
#include "tests/support/failing_calls.h"

using test::Bytes;
using test::FontFile;
using test::TempFile;

namespace {

bool Opens(const Bytes& content) {
    const int before = test::FailingCalls::OpenDescriptors();
    const TempFile file(content);
    GUIFONT* font = CreateFont(file.Path(), 16, 16, 0xFFFFFF, 0xFFFFFFFF);
    const bool opened = font != nullptr;
    EXPECT_EQ(DestroyFont(&font), opened ? 0 : -2);
    EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
    return opened;
}

// A glyph of a font of one glyph, taken out and put down again.
struct Glyph {
    explicit Glyph(const FontFile& content, unsigned code = 0) : file(content.Content()) {
        font = CreateFont(file.Path(), content.width, content.height, 0, 0);
        matrix = ExtractFontMatrix(code, font);
    }
    ~Glyph() {
        DestroyFontMatrix(matrix);
        DestroyFont(&font);
    }
    // Row y of the trimmed glyph with '#' for ink.
    std::string Row(unsigned y) const {
        std::string row;
        for (unsigned x = 0; x < matrix->uiRealWidth; ++x)
            row += matrix->pMatrixData[y * matrix->uiRowBytes + x / 8] & 0x80 >> x % 8 ? '#' : '.';
        return row;
    }
    TempFile file;
    GUIFONT* font;
    GUIFONT_MATRIX* matrix;
};

FontFile FontOf(const std::vector<std::string>& rows, unsigned width = 16, unsigned height = 16) {
    FontFile file;
    file.width = width;
    file.height = height;
    file.Add(rows);
    return file;
}

}  // namespace

TEST(Font, CarriesWhatItWasCreatedWithAndGapsOfOne) {
    const TempFile file(FontOf({"#"}).Content());
    GUIFONT* font = CreateFont(file.Path(), 16, 16, 0x123456, 0x654321);
    ASSERT_NE(font, nullptr);
    EXPECT_STREQ(font->strFontFile, file.Path());
    EXPECT_NE(font->strFontFile, file.Path());
    EXPECT_GE(font->iFontFd, 0);
    EXPECT_EQ(font->uiFontWidth, 16u);
    EXPECT_EQ(font->uiFontHeight, 16u);
    EXPECT_EQ(font->uiLeftGap, 1u);
    EXPECT_EQ(font->uiRightGap, 1u);
    EXPECT_EQ(font->uiTopGap, 1u);
    EXPECT_EQ(font->uiBottomGap, 1u);
    EXPECT_EQ(font->uiFgColor, 0x123456u);
    EXPECT_EQ(font->uiBgColor, 0x654321u);
    EXPECT_EQ(SetFontColor(1, 2, font), 0);
    EXPECT_EQ(font->uiFgColor, 1u);
    EXPECT_EQ(font->uiBgColor, 2u);
    EXPECT_EQ(DestroyFont(&font), 0);
    EXPECT_EQ(font, nullptr);
}

TEST(Font, RefusesNullNameZeroSizeAndMissingFile) {
    const TempFile file(FontOf({"#"}).Content());
    EXPECT_EQ(CreateFont(nullptr, 16, 16, 0, 0), nullptr);
    EXPECT_EQ(CreateFont(file.Path(), 0, 16, 0, 0), nullptr);
    EXPECT_EQ(CreateFont(file.Path(), 16, 0, 0, 0), nullptr);
    EXPECT_EQ(CreateFont("/nonexistent/unicode.fnt", 16, 16, 0, 0), nullptr);
}

TEST(Font, RefusesWrongMagicFormatAndSegments) {
    EXPECT_TRUE(Opens(FontOf({"#"}).Content()));
    FontFile magic = FontOf({"#"});
    magic.type = 0x544E462F;
    EXPECT_FALSE(Opens(magic.Content()));
    FontFile format = FontOf({"#"});
    format.format = 2;
    EXPECT_FALSE(Opens(format.Content()));
    FontFile segments = FontOf({"#"});
    segments.segmentFlag = 1;
    EXPECT_FALSE(Opens(segments.Content()));
}

TEST(Font, RefusesAHeaderCutAnywhere) {
    const Bytes whole = FontOf({"#"}).Content();
    for (long length = 0; length < 32; ++length)
        EXPECT_FALSE(Opens(Bytes(whole.begin(), whole.begin() + length))) << length;
    EXPECT_TRUE(Opens(Bytes(whole.begin(), whole.begin() + 32)));
}

TEST(Font, DestroyRefusesNull) {
    GUIFONT* none = nullptr;
    EXPECT_EQ(DestroyFont(nullptr), -1);
    EXPECT_EQ(DestroyFont(&none), -2);
    EXPECT_EQ(SetFontGap(0, 0, 0, 0, nullptr), -1);
    EXPECT_EQ(SetFontColor(0, 0, nullptr), -1);
    EXPECT_EQ(SetCurrFont(nullptr), -1);
    EXPECT_EQ(ExtractFontMatrix(0, nullptr), nullptr);
}

TEST(Font, GapsReachHalfTheMatrix) {
    FontFile content = FontOf({"#"}, 17, 9);
    const TempFile file(content.Content());
    GUIFONT* font = CreateFont(file.Path(), 17, 9, 0, 0);
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(SetFontGap(8, 7, 4, 3, font), 0);
    EXPECT_EQ(SetFontGap(9, 0, 0, 0, font), -2);
    EXPECT_EQ(SetFontGap(0, 9, 0, 0, font), -2);
    EXPECT_EQ(SetFontGap(0, 0, 5, 0, font), -2);
    EXPECT_EQ(SetFontGap(0, 0, 0, 5, font), -2);
    EXPECT_EQ(font->uiLeftGap, 8u);
    EXPECT_EQ(font->uiRightGap, 7u);
    EXPECT_EQ(font->uiTopGap, 4u);
    EXPECT_EQ(font->uiBottomGap, 3u);
    DestroyFont(&font);
}

TEST(Font, CurrentOneIsKeptWhenNullIsSetAndGoneWhenDestroyed) {
    const TempFile file(FontOf({"#"}).Content());
    GUIFONT* font = CreateFont(file.Path(), 16, 16, 0, 0);
    EXPECT_EQ(SetCurrFont(font), 0);
    EXPECT_EQ(SetCurrFont(nullptr), -1);
    EXPECT_EQ(GetCurrFont(), font);
    DestroyFont(&font);
    EXPECT_EQ(GetCurrFont(), nullptr);
}

TEST(Font, CreationReleasesWhatItMadeWhereverItFails) {
    const TempFile file(FontOf({"#"}).Content());
    const int before = test::FailingCalls::OpenDescriptors();
    const int runs = test::FailEachCall(
        [&] {
            GUIFONT* font = CreateFont(file.Path(), 16, 16, 0, 0);
            return DestroyFont(&font) == 0;
        },
        [&](const char* name, bool succeeded) {
            EXPECT_EQ(succeeded, std::string(name) == "close") << name;
            EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before) << name;
        });
    EXPECT_EQ(runs, 6);  // record, name, open, seek, read; the close at the end
}

TEST(Glyph, IsFoundByItsCodeBehindTheDataOffset) {
    FontFile content = FontOf({"#"});
    content.Add({"##"});
    content.Add({"###"});
    content.dataOffset = 100;
    const Glyph glyph(content, 2);
    ASSERT_NE(glyph.matrix, nullptr);
    EXPECT_EQ(glyph.matrix->uiRealWidth, 3u);
    EXPECT_EQ(glyph.matrix->uiRealHeight, 16u);
}

TEST(Glyph, TakesTwoSeeksAndTwoReads) {
    const TempFile file(FontOf({"#"}).Content());
    GUIFONT* font = CreateFont(file.Path(), 16, 16, 0, 0);
    {
        const test::FailingCalls calls(0);
        DestroyFontMatrix(ExtractFontMatrix(0, font));
        EXPECT_EQ(calls.Count(), 6);  // record and data, two seeks, two reads
    }
    DestroyFont(&font);
}

TEST(Glyph, LosesItsBlankColumns) {
    const Glyph glyph(FontOf({"", "...#............", "....##....", ".........#"}));
    ASSERT_NE(glyph.matrix, nullptr);
    EXPECT_EQ(glyph.matrix->uiRealWidth, 7u);
    EXPECT_EQ(glyph.Row(0), ".......");
    EXPECT_EQ(glyph.Row(1), "#......");
    EXPECT_EQ(glyph.Row(2), ".##....");
    EXPECT_EQ(glyph.Row(3), "......#");
}

TEST(Glyph, AtTheLeftEdgeIsNotShifted) {
    const Glyph glyph(FontOf({"#....#", "..........#"}));
    ASSERT_NE(glyph.matrix, nullptr);
    EXPECT_EQ(glyph.matrix->uiRealWidth, 11u);
    EXPECT_EQ(glyph.Row(0), "#....#.....");
    EXPECT_EQ(glyph.Row(1), "..........#");
}

TEST(Glyph, OfOneColumnAnywhereIsOnePixelWide) {
    for (unsigned width : {8u, 16u, 24u, 32u}) {
        for (unsigned x = 0; x < width; ++x) {
            const Glyph glyph(FontOf({std::string(x, '.') + "#"}, width));
            ASSERT_NE(glyph.matrix, nullptr);
            EXPECT_EQ(glyph.matrix->uiRealWidth, 1u) << x << " of " << width;
            EXPECT_EQ(glyph.Row(0), "#") << x << " of " << width;
            EXPECT_EQ(glyph.matrix->pMatrixData[0], 0x80) << x << " of " << width;
        }
    }
}

TEST(Glyph, ShiftsEveryInkPatternToTheLeft) {
    for (unsigned left = 0; left < 24; ++left) {
        for (unsigned right = left; right < 24; ++right) {
            std::string row(24, '.');
            for (unsigned x = left; x <= right; ++x)
                row[x] = x == left || x == right || x % 3 == 0 ? '#' : '.';
            const Glyph glyph(FontOf({row}, 24));
            ASSERT_NE(glyph.matrix, nullptr);
            EXPECT_EQ(glyph.Row(0), row.substr(left, right - left + 1));
        }
    }
}

TEST(Glyph, OfNoInkIsThreeEighthsWide) {
    EXPECT_EQ(Glyph(FontOf({}, 16)).matrix->uiRealWidth, 6u);
    EXPECT_EQ(Glyph(FontOf({}, 8)).matrix->uiRealWidth, 3u);
    EXPECT_EQ(Glyph(FontOf({}, 12)).matrix->uiRealWidth, 4u);
    EXPECT_EQ(Glyph(FontOf({}, 1)).matrix->uiRealWidth, 0u);
}

TEST(Glyph, InAnOddWidthLosesThePaddingTooButNeverMoreThanItHas) {
    EXPECT_EQ(Glyph(FontOf({"############"}, 12)).matrix->uiRealWidth, 8u);
    EXPECT_EQ(Glyph(FontOf({"..######"}, 12)).matrix->uiRealWidth, 2u);
    EXPECT_EQ(Glyph(FontOf({"####"}, 12)).matrix->uiRealWidth, 0u);
    EXPECT_EQ(Glyph(FontOf({"..#"}, 12)).matrix->uiRealWidth, 0u);
}

TEST(Glyph, IsRefusedBeyondTheTable) {
    FontFile content = FontOf({"#"});
    content.Add({"##"});
    EXPECT_NE(Glyph(content, 1).matrix, nullptr);
    EXPECT_EQ(Glyph(content, 2).matrix, nullptr);
    EXPECT_EQ(Glyph(content, 0xFFFFFFFF).matrix, nullptr);
}

TEST(Glyph, IsRefusedBeyondTheTableAlsoWhereTheFileGoesOn) {
    FontFile content = FontOf({"#"});
    content.Add({"##"});
    content.count = 1;
    EXPECT_NE(Glyph(content, 0).matrix, nullptr);
    EXPECT_EQ(Glyph(content, 1).matrix, nullptr);
}

// In a file with a hole; where offsets have 32 bits there is none behind it.
TEST(Glyph, IsRefusedBehindTheLastOffsetOf31Bits) {
    if (sizeof(off_t) < 8)
        GTEST_SKIP() << "no such file";
    for (const uint32_t offset : {uint32_t{INT32_MAX}, uint32_t{INT32_MAX} + 1}) {
        FontFile content;
        content.count = 1;
        content.dataOffset = offset;
        const TempFile file(content.Content());
        ASSERT_EQ(truncate(file.Path(), static_cast<off_t>(offset) + 32), 0);
        GUIFONT* font = CreateFont(file.Path(), 16, 16, 0, 0);
        GUIFONT_MATRIX* matrix = ExtractFontMatrix(0, font);
        EXPECT_EQ(matrix != nullptr, offset == INT32_MAX);
        DestroyFontMatrix(matrix);
        DestroyFont(&font);
    }
}

TEST(Glyph, IsRefusedWhenTheFileLiesAboutItsLength) {
    FontFile content = FontOf({"#"});
    content.count = 0xFFFFFFFF;
    EXPECT_NE(Glyph(content, 0).matrix, nullptr);
    EXPECT_EQ(Glyph(content, 1).matrix, nullptr);
    EXPECT_EQ(Glyph(content, 0xFFFFFFFE).matrix, nullptr);
    content.glyphs.pop_back();
    EXPECT_EQ(Glyph(content, 0).matrix, nullptr);
    content.dataOffset = 0xFFFFFFF0;
    EXPECT_EQ(Glyph(content, 0).matrix, nullptr);
}

TEST(Glyph, IsRefusedWhenTheSizeIsNotTheFonts) {
    const TempFile file(FontOf({"#"}, 16, 16).Content());
    const unsigned sizes[][2] = {{8, 16}, {16, 8}, {17, 16}, {16, 15}};
    for (const auto& size : sizes) {
        GUIFONT* font = CreateFont(file.Path(), size[0], size[1], 0, 0);
        ASSERT_NE(font, nullptr);
        EXPECT_EQ(ExtractFontMatrix(0, font), nullptr);
        DestroyFont(&font);
    }
}

TEST(Glyph, OfAbsurdSizeIsRefused) {
    const uint32_t sizes[][2] = {
        {0xFFFFFFFF, 16}, {16, 0xFFFFFFFF}, {0x10000, 0x10000}, {1025, 1}, {1, 1025}};
    for (const auto& size : sizes) {
        FontFile content;
        content.width = size[0];
        content.height = size[1];
        content.count = 1;
        content.glyphs.resize(4096);
        EXPECT_EQ(Glyph(content).matrix, nullptr) << size[0] << " x " << size[1];
    }
}

TEST(Glyph, ExtractionReleasesWhatItMadeWhereverItFails) {
    const TempFile file(FontOf({"#"}).Content());
    GUIFONT* font = CreateFont(file.Path(), 16, 16, 0, 0);
    const int runs = test::FailEachCall(
        [&] {
            GUIFONT_MATRIX* matrix = ExtractFontMatrix(0, font);
            const bool extracted = matrix != nullptr;
            DestroyFontMatrix(matrix);
            return extracted;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 6);
    DestroyFont(&font);
}
