#include "simulator/models/eeprom_cells.h"

#include <gtest/gtest.h>

#include "tests/simulator/models/bench_world.h"

namespace k905 {

class Cells : public testing::Test {
  protected:
    TemporaryFolder folder_;
    std::string path_ = folder_.Path() + "/image";
    EepromCells cells_{path_, 1, "test"};

    static std::vector<std::uint8_t> Pattern(std::size_t count, std::uint8_t first = 0) {
        std::vector<std::uint8_t> bytes(count);
        for (std::size_t i = 0; i < count; ++i)
            bytes[i] = static_cast<std::uint8_t>(first + i);
        return bytes;
    }
};

TEST_F(Cells, FreshPartIsErased) {
    EXPECT_EQ(cells_.Read(0), 0xFF);
    EXPECT_EQ(cells_.Read(65535), 0xFF);
}

TEST_F(Cells, ProgramsWithinThePageAndIsBusyForTheCycle) {
    cells_.Program(128 + 126, {1, 2, 3, 4}, 1000);
    EXPECT_EQ(cells_.Read(254), 1);
    EXPECT_EQ(cells_.Read(255), 2);
    EXPECT_EQ(cells_.Read(128), 3);
    EXPECT_EQ(cells_.Read(129), 4);
    EXPECT_EQ(cells_.Read(256), 0xFF);
    EXPECT_TRUE(cells_.Busy(5999));
    EXPECT_FALSE(cells_.Busy(6000));
    EXPECT_EQ(cells_.PageWrites(1), 1u);
}

TEST_F(Cells, MoreThanAPageOverwritesItsBeginning) {
    cells_.Program(0, Pattern(130), 0);
    EXPECT_EQ(cells_.Read(0), 128);
    EXPECT_EQ(cells_.Read(1), 129);
    EXPECT_EQ(cells_.Read(2), 2);
    EXPECT_EQ(cells_.Read(128), 0xFF);
}

TEST_F(Cells, KeepsItsContentInTheFile) {
    cells_.Program(512, {0x12, 0x34}, 0);
    EepromCells again(path_, 1, "test");
    EXPECT_EQ(again.Read(512), 0x12);
    EXPECT_EQ(again.Read(513), 0x34);
}

TEST_F(Cells, StuckCellReadsItsValueAndComesFree) {
    cells_.SetStuck(3, 0x55);
    cells_.Program(0, Pattern(8), 0);
    EXPECT_EQ(cells_.Read(3), 0x55);
    cells_.ClearStuck();
    EXPECT_EQ(cells_.Read(3), 3);
}

TEST_F(Cells, StuckDataLineReadsItsLevelInEveryCell) {
    cells_.Program(0, Pattern(16), 0);
    cells_.SetDataLine(1, false);
    cells_.SetDataLine(7, true);
    EXPECT_EQ(cells_.Read(0), 0x80);
    EXPECT_EQ(cells_.Read(15), 0x8D);
    EXPECT_EQ(cells_.Read(30000), 0xFD);
    cells_.ClearLines();
    EXPECT_EQ(cells_.Read(15), 15);  // the cell itself holds what was written
}

TEST_F(Cells, StuckAddressLineReachesOneCellUnderTwoAddresses) {
    cells_.Program(0, Pattern(EepromCells::kPage), 0);
    cells_.SetAddressLine(9, true);
    cells_.Program(0x0080, Pattern(4, 100), 0);
    EXPECT_EQ(cells_.Read(0x0080), 100);
    EXPECT_EQ(cells_.Read(0x0280), 100);
    EXPECT_EQ(cells_.Read(0), 0xFF);  // the page behind the line that is low
    EXPECT_EQ(cells_.PageWrites(5), 1u);
    EXPECT_EQ(cells_.PageWrites(1), 0u);
    cells_.ClearLines();
    EXPECT_EQ(cells_.Read(0), 0);
    EXPECT_EQ(cells_.Read(0x0080), 0xFF);
    EXPECT_EQ(cells_.Read(0x0283), 103);
}

TEST_F(Cells, StuckAddressLineInsideThePageKeepsTheLaterOfTwoBytes) {
    cells_.SetAddressLine(0, false);
    cells_.Program(0, Pattern(8), 0);
    for (std::size_t at = 0; at < 8; ++at)
        EXPECT_EQ(cells_.Read(at), at | 1);
    EXPECT_EQ(cells_.BytesProgrammed(), 4u);
    EXPECT_EQ(cells_.Image()[1], 0xFF);
}

TEST_F(Cells, WornPageHoldsWhatWasWrittenUntilItsCyclesAreSpent) {
    cells_.SetEndurance(1);
    const std::vector<std::uint8_t> zeros(EepromCells::kPage);
    cells_.Program(0, zeros, 0);
    int wrong = 0, bits = 0;
    const auto count = [&] {
        wrong = bits = 0;
        for (std::size_t at = 0; at < EepromCells::kPage; ++at) {
            const unsigned read = cells_.Read(at);
            wrong += read != 0;
            for (unsigned bit = read; bit != 0; bit &= bit - 1)
                ++bits;
        }
    };
    count();
    EXPECT_EQ(wrong, 0);
    cells_.Program(0, zeros, 0);
    count();
    EXPECT_GT(wrong, 16);
    EXPECT_LT(wrong, 48);
    EXPECT_EQ(bits, wrong);
    cells_.Program(128, zeros, 0);  // another page has its own count
    EXPECT_EQ(cells_.Read(128), 0);
    cells_.SetEndurance(-1);
    count();
    EXPECT_EQ(wrong, 0);
}

TEST_F(Cells, CutInsideTheCycleLeavesTheShareThatItsTimeAllowed) {
    cells_.Program(0, Pattern(100), 10000);
    cells_.Cut(10000 + 2500);
    EXPECT_TRUE(cells_.Dead());
    EXPECT_EQ(cells_.Image()[49], 49);
    EXPECT_EQ(cells_.Image()[50], 0xFF);
    EXPECT_TRUE(cells_.Busy(1000000));
}

TEST_F(Cells, CutAfterTheCycleLosesNothing) {
    cells_.Program(0, Pattern(100), 0);
    cells_.Cut(5000);
    EXPECT_EQ(cells_.Image()[99], 99);
}

TEST_F(Cells, CutAfterEveryByteLeavesThatPrefix) {
    for (std::int64_t after = 0; after <= 128; ++after) {
        TemporaryFolder folder;
        EepromCells cells(folder.Path() + "/image", 1, "test");
        int cuts = 0;
        cells.OnCut([&] { ++cuts; });
        cells.CutAfter(after, EepromCells::Damage::kPrefix);
        cells.Program(256, Pattern(128), 0);
        ASSERT_EQ(cuts, 1);
        for (std::int64_t i = 0; i < 128; ++i)
            ASSERT_EQ(cells.Image()[256 + i], i < after ? i : 0xFF)
                << "cut after " << after << ", byte " << i;
        cells.Program(256, Pattern(128), 100000);
        ASSERT_EQ(cells.BytesProgrammed(), static_cast<std::uint64_t>(after));
    }
}

TEST_F(Cells, CutCountsBytesOverSeveralPages) {
    int cuts = 0;
    cells_.OnCut([&] { ++cuts; });
    cells_.CutAfter(130, EepromCells::Damage::kPrefix);
    cells_.Program(0, Pattern(128), 0);
    EXPECT_EQ(cuts, 0);
    cells_.Program(128, Pattern(128), 10000);
    EXPECT_EQ(cuts, 1);
    EXPECT_EQ(cells_.Image()[129], 1);
    EXPECT_EQ(cells_.Image()[130], 0xFF);
}

TEST_F(Cells, HalfProgrammedByteMixesOldAndNewBits) {
    cells_.Program(0, std::vector<std::uint8_t>(128, 0xF0), 0);
    cells_.CutAfter(4, EepromCells::Damage::kHalfByte);
    cells_.Program(0, std::vector<std::uint8_t>(128, 0xFF), 10000);
    EXPECT_EQ(cells_.Image()[3], 0xFF);
    EXPECT_EQ(cells_.Image()[4] & 0xF0, 0xF0);
    EXPECT_EQ(cells_.Image()[5], 0xF0);
}

TEST_F(Cells, DamagedPageHoldsAnythingBehindTheCutAndStaysInItsPage) {
    cells_.CutAfter(4, EepromCells::Damage::kPage);
    cells_.Program(128, std::vector<std::uint8_t>(128, 0x00), 0);
    int odd = 0;
    for (int i = 4; i < 128; ++i)
        odd += cells_.Image()[128 + i] != 0x00 && cells_.Image()[128 + i] != 0xFF;
    EXPECT_GT(odd, 100);
    EXPECT_EQ(cells_.Image()[131], 0x00);
    EXPECT_EQ(cells_.Image()[127], 0xFF);
    EXPECT_EQ(cells_.Image()[256], 0xFF);
}

// What is left of a byte is a matter of the seed and its place.
TEST_F(Cells, SupplyComesBackAndTheSameSeedDamagesTheSameBits) {
    const std::vector<std::uint8_t> bytes = Pattern(16);
    const auto cut = [&](unsigned seed, std::int64_t after) {
        cells_.PowerOn(seed, 1000);
        EXPECT_FALSE(cells_.Dead());
        EXPECT_FALSE(cells_.Busy(1000));
        cells_.Program(0, bytes, 1000);
        EXPECT_TRUE(cells_.Busy(1001));
        cells_.PowerOn(seed, 2000);
        cells_.CutAfter(after, EepromCells::Damage::kPage);
        cells_.Program(0, bytes, 2000);
        EXPECT_TRUE(cells_.Dead());
        return std::vector<std::uint8_t>(cells_.Image(), cells_.Image() + 16);
    };
    const std::vector<std::uint8_t> torn = cut(7, 3), later = cut(7, 6);
    EXPECT_EQ(torn, cut(7, 3));
    EXPECT_NE(torn, cut(8, 3));
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 6),
              std::vector<std::uint8_t>(later.begin(), later.begin() + 6));
    EXPECT_EQ(std::vector<std::uint8_t>(torn.begin() + 6, torn.end()),
              std::vector<std::uint8_t>(later.begin() + 6, later.end()));
}

TEST_F(Cells, KeepWhichWriteEachValueComesFrom) {
    cells_.KeepOrigins(path_ + ".origins");
    const auto origin = [&](std::size_t at) { return cells_.Origins()->At(at); };
    EXPECT_EQ(CellOrigin::kAsFound, origin(0).how);
    cells_.Program(126, {1, 2, 3}, 0, {1000, "main"});
    cells_.Program(126, {1, 7}, 10'000, {2000, "window"});
    EXPECT_EQ(1000, origin(126).at) << "the same value again";
    EXPECT_STREQ("main", origin(126).thread);
    EXPECT_EQ(0xFF, origin(126).before);
    EXPECT_EQ(2000, origin(127).at);
    EXPECT_STREQ("window", origin(127).thread);
    EXPECT_EQ(2, origin(127).before);
    EXPECT_EQ(2, origin(127).count);
    EXPECT_EQ(126, origin(127).first);
    EXPECT_EQ(3, origin(0).count) << "the page's beginning";
    cells_.Program(200, {0xFF}, 20'000, {3000, "main"});
    EXPECT_EQ(CellOrigin::kWritten, origin(200).how) << "the first write counts, whatever it writes";
    EXPECT_EQ(CellOrigin::kAsFound, CellOrigins(path_ + ".origins", EepromCells::kSize).At(201).how);
    EXPECT_EQ(2000, CellOrigins(path_ + ".origins", EepromCells::kSize).At(127).at) << "of another reader";
}

TEST_F(Cells, WhatACutTookBackComesFromWhereItCameFrom) {
    cells_.KeepOrigins(path_ + ".origins");
    const auto how = [&](std::size_t at) { return cells_.Origins()->At(at).how; };
    cells_.Program(1, Pattern(3, 50), 0, {1000, "main"});
    cells_.CutAfter(2, EepromCells::Damage::kHalfByte);
    cells_.Program(0, Pattern(5, 100), 10'000, {2000, "main"});
    EXPECT_EQ(CellOrigin::kWritten, how(0));
    EXPECT_EQ(2000, cells_.Origins()->At(1).at);
    EXPECT_EQ(CellOrigin::kTorn, how(2));
    EXPECT_EQ(2000, cells_.Origins()->At(2).at);
    EXPECT_EQ(1000, cells_.Origins()->At(3).at) << "not reached";
    EXPECT_EQ(CellOrigin::kAsFound, how(4));
}

}  // namespace k905
