#include "simulator/models/chance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace k905 {

TEST(Chance, IsTheSameForTheSameSeedAndName) {
    Chance a(7, "noise"), b(7, "noise"), otherSeed(8, "noise"), otherName(7, "spread");
    const std::uint64_t first = a.Word();
    EXPECT_EQ(first, b.Word());
    EXPECT_NE(first, otherSeed.Word());
    EXPECT_NE(first, otherName.Word());
}

TEST(Chance, UniformStaysInItsRangeAndFillsIt) {
    Chance chance(1, "u");
    double low = 1, high = 0;
    for (int i = 0; i < 10000; ++i) {
        const double draw = chance.Uniform();
        ASSERT_GE(draw, 0.0);
        ASSERT_LT(draw, 1.0);
        low = std::min(low, draw);
        high = std::max(high, draw);
    }
    EXPECT_LT(low, 0.01);
    EXPECT_GT(high, 0.99);
}

TEST(Chance, NormalHasMeanZeroAndDeviationOne) {
    Chance chance(3, "n");
    double sum = 0, squares = 0;
    constexpr int kDraws = 100000;
    for (int i = 0; i < kDraws; ++i) {
        const double draw = chance.Normal();
        ASSERT_LE(std::fabs(draw), 6.0);
        sum += draw;
        squares += draw * draw;
    }
    EXPECT_NEAR(sum / kDraws, 0.0, 0.015);
    EXPECT_NEAR(squares / kDraws, 1.0, 0.02);
}

}  // namespace k905
