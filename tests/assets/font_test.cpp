#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "tests/assets/asset_files.h"

namespace {

constexpr unsigned headerSize = 32, glyphSize = 32, glyphCount = 65536;

class Font : public testing::Test {
  protected:
    static void SetUpTestSuite() { file = ReadFile(AssetPath("font/unicode.fnt")); }

    // The sixteen rows of a glyph, leftmost pixel in bit 15.
    static std::vector<unsigned> Rows(unsigned code) {
        std::vector<unsigned> rows;
        for (unsigned row = 0; row < 16; row++) {
            const size_t offset = headerSize + size_t{code} * glyphSize + 2 * row;
            rows.push_back(file.at(offset) << 8 | file.at(offset + 1));
        }
        return rows;
    }

    static Bytes file;
};
Bytes Font::file;

const std::vector<unsigned> blank(16, 0);

TEST_F(Font, HeaderTellsOneTableOfAllCodes) {
    EXPECT_EQ(LittleEndian(file, 0, 4), 0x544E462Eu);
    EXPECT_EQ(LittleEndian(file, 4, 4), file.size());
    EXPECT_EQ(LittleEndian(file, 8, 4), 1u);
    EXPECT_EQ(LittleEndian(file, 12, 2), 0u);
    EXPECT_EQ(LittleEndian(file, 16, 4), 16u);
    EXPECT_EQ(LittleEndian(file, 20, 4), 16u);
    EXPECT_EQ(LittleEndian(file, 24, 4), glyphCount);
    EXPECT_EQ(LittleEndian(file, 28, 4), headerSize);
    EXPECT_EQ(file.size(), size_t{headerSize} + glyphCount * glyphSize);
}

TEST_F(Font, NarrowGlyphStandsInTheLeftHalf) {
    const std::vector<unsigned> alpha = {0x0000, 0x0000, 0x0000, 0x0000, 0x1800, 0x2400, 0x2400, 0x4200,
                                         0x4200, 0x7E00, 0x4200, 0x4200, 0x4200, 0x4200, 0x0000, 0x0000};
    EXPECT_EQ(Rows(0x0391), alpha);
}

TEST_F(Font, WideGlyphFillsTheMatrix) {
    const std::vector<unsigned> rows = Rows(0x4E2D);
    unsigned mask = 0;
    for (unsigned row : rows)
        mask |= row;
    EXPECT_NE(mask & 0xFF00, 0u);
    EXPECT_NE(mask & 0x00FF, 0u);
}

TEST_F(Font, SpaceIsBlank) {
    EXPECT_EQ(Rows(' '), blank);
}

// The inked columns as text draws them: without the blank ones at either side; bit r is row r.
std::vector<unsigned> Trimmed(const std::vector<unsigned>& rows) {
    std::vector<unsigned> columns(16);
    for (unsigned y = 0; y < 16; y++)
        for (unsigned x = 0; x < 16; x++)
            columns[x] |= (rows[y] >> (15 - x) & 1) << y;
    while (!columns.empty() && columns.back() == 0)
        columns.pop_back();
    columns.erase(columns.begin(),
                  std::find_if(columns.begin(), columns.end(), [](unsigned c) { return c != 0; }));
    return columns;
}

// First and last inked row.
std::pair<unsigned, unsigned> Height(const std::vector<unsigned>& rows) {
    unsigned first = 0, last = 15;
    while (first < 15 && rows[first] == 0)
        first++;
    while (last > 0 && rows[last] == 0)
        last--;
    return {first, last};
}

bool OfTheFace(unsigned code) {
    return (code > 0x20 && code < 0x7F) || (code > 0xA0 && code <= 0xFF);
}

// Outside of Latin every glyph of the source, each row by row; and nothing where the source has none.
TEST_F(Font, HoldsExactlyTheOtherGlyphsOfUnifont) {
    std::map<unsigned, std::vector<unsigned>> source;
    std::ifstream hex(K905_UNIFONT_HEX);
    for (std::string line; std::getline(hex, line);) {
        const unsigned digitsPerRow = static_cast<unsigned>(line.size() - 5) / 16;
        std::vector<unsigned>& rows = source[static_cast<unsigned>(std::stoul(line, nullptr, 16))];
        for (unsigned row = 0; row < 16; row++) {
            const unsigned value = static_cast<unsigned>(
                std::stoul(line.substr(5 + row * digitsPerRow, digitsPerRow), nullptr, 16));
            rows.push_back(digitsPerRow == 2 ? value << 8 : value);
        }
    }
    ASSERT_GT(source.size(), 50000u);
    ASSERT_NE(source[0x0391], blank);
    ASSERT_NE(source[0x4E2D], blank);
    for (unsigned code = 0; code < glyphCount; code++) {
        if (OfTheFace(code))
            continue;
        const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
        const auto glyph = source.find(code);
        ASSERT_EQ(Rows(code), surrogate || glyph == source.end() ? blank : glyph->second) << std::hex << code;
    }
}

TEST_F(Font, LatinStandsOnTheBaseLineOfTheIdeographs) {
    const unsigned baseLine = Height(Rows(0x0391)).second;  // where Unifont stands
    for (const char letter : std::string("ABCDEFGHIKLMNPRTVWXYZabcdefhiklmnorstuvwxz0123456789.!?")) {
        EXPECT_EQ(Height(Rows(static_cast<unsigned>(letter))).second, baseLine) << letter;
    }
    for (const char letter : std::string("gpqy,;"))
        EXPECT_GT(Height(Rows(static_cast<unsigned>(letter))).second, baseLine) << letter;
}

TEST_F(Font, CapitalsAndDigitsAreOfOneHeight) {
    const unsigned top = Height(Rows('H')).first;
    for (const char c : std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"))
        EXPECT_EQ(Height(Rows(static_cast<unsigned>(c))).first, top) << c;
}

// A running reading stands still: text is drawn without the blank columns of a glyph.
TEST_F(Font, DigitsHaveInkOfOneWidth) {
    for (unsigned digit = '0'; digit <= '9'; digit++)
        EXPECT_EQ(Trimmed(Rows(digit)).size(), Trimmed(Rows('0')).size()) << static_cast<char>(digit);
}

TEST_F(Font, EachGlyphOfAsciiDiffersFromAllOthersAsDrawn) {
    std::map<std::vector<unsigned>, char> seen;
    for (unsigned code = 0x21; code < 0x7F; code++) {
        const auto [other, fresh] = seen.emplace(Trimmed(Rows(code)), static_cast<char>(code));
        EXPECT_TRUE(fresh) << static_cast<char>(code) << " looks like " << other->second;
        EXPECT_FALSE(other->first.empty()) << static_cast<char>(code) << " has no ink";
    }
}

// Those that people mistake for each other differ in more than a speck, however they are laid on each other.
TEST_F(Font, LookalikesAreToldApart) {
    for (const char* pair : {"0O", "0D", "0Q", "1l", "1I", "lI", "5S", "2Z", "8B", "6b", "uv"}) {
        const std::vector<unsigned> a = Trimmed(Rows(static_cast<unsigned>(pair[0])));
        const std::vector<unsigned> b = Trimmed(Rows(static_cast<unsigned>(pair[1])));
        int least = 256;
        for (int shift = -15; shift <= 15; shift++) {
            int pixels = 0;
            for (int x = -16; x < 32; x++) {
                const auto column = [x](const std::vector<unsigned>& glyph, int from) {
                    const int i = x - from;
                    return i < 0 || i >= static_cast<int>(glyph.size()) ? 0u : glyph[static_cast<size_t>(i)];
                };
                pixels += __builtin_popcount(column(a, 0) ^ column(b, shift));
            }
            least = std::min(least, pixels);
        }
        EXPECT_GE(least, 4) << pair;
    }
}

TEST(FpgaStandIns, SayWhatTheyAreAndDiffer) {
    const Bytes lattice = ReadFile(AssetPath("k905fpga_LAT_LFE5U-45F.bit"));
    const Bytes lx25 = ReadFile(AssetPath("k905fpga_XIN_LX25.bin"));
    const Bytes lx16 = ReadFile(AssetPath("k905fpga_XIN_LX16.bin"));
    for (const Bytes* image : {&lattice, &lx25, &lx16}) {
        ASSERT_GT(image->size(), 100u * 1000);
        const std::string head(image->begin(), image->begin() + 80);
        EXPECT_NE(head.find("stand-in"), std::string::npos) << head;
        EXPECT_LT(std::count(image->begin(), image->end(), 0), static_cast<long>(image->size() / 100));
    }
    EXPECT_FALSE(
        std::equal(lx16.end() - 1000, lx16.end(), lx25.begin() + static_cast<long>(lx16.size()) - 1000));
    EXPECT_FALSE(
        std::equal(lx16.end() - 1000, lx16.end(), lattice.begin() + static_cast<long>(lx16.size()) - 1000));
}

// The loader moves 1024 bytes at a time: there is an image that ends on such a block and one that does not.
TEST(FpgaStandIns, CoverBothEndsOfTheLoader) {
    EXPECT_EQ(ReadFile(AssetPath("k905fpga_LAT_LFE5U-45F.bit")).size() % 1024, 0u);
    EXPECT_NE(ReadFile(AssetPath("k905fpga_XIN_LX16.bin")).size() % 1024, 0u);
}

}  // namespace
