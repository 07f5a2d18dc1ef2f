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
    const std::vector<unsigned> letterA = {0x0000, 0x0000, 0x0000, 0x0000, 0x1800, 0x2400, 0x2400, 0x4200,
                                           0x4200, 0x7E00, 0x4200, 0x4200, 0x4200, 0x4200, 0x0000, 0x0000};
    EXPECT_EQ(Rows('A'), letterA);
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

// Every glyph of the source, each row by row; and nothing where the source has none.
TEST_F(Font, HoldsExactlyTheGlyphsOfItsSource) {
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
    ASSERT_NE(source['A'], blank);
    ASSERT_NE(source[0x4E2D], blank);
    for (unsigned code = 0; code < glyphCount; code++) {
        const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
        const auto glyph = source.find(code);
        ASSERT_EQ(Rows(code), surrogate || glyph == source.end() ? blank : glyph->second) << std::hex << code;
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
