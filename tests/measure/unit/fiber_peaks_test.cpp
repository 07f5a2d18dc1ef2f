// The search for reflection peaks in a log trace: which shapes count, and what each peak takes away.
#include <algorithm>

#include "measure/fiber_offset.h"
#include "tests/measure/unit/measure_fixture.h"

using testing::ElementsAre;

class FiberPeaks : public testing::Test {
  protected:
    // A peak that every shape test accepts.
    void Broad(int position, float height) {
        for (int i = -10; i <= 10; ++i)
            log_[position + i] = height - 0.01f * static_cast<float>(std::abs(i));
    }
    std::vector<int> Find() {
        std::vector<int> positions(FIBER_PEAKS, -1);
        FindFiberPeaks(log_.data(), work_.data(), positions.data());
        return positions;
    }
    std::vector<float> log_ = std::vector<float>(TRACE_SAMPLES, 0.0f);
    std::vector<float> work_ = std::vector<float>(TRACE_SAMPLES, 0.0f);
};

TEST_F(FiberPeaks, UpToFourNeighboursMayBeHigher) {
    // A neighbour can only be higher where an earlier peak at 1000 has cleared the working copy: before a
    // peak at 1062, or behind one at 937.
    const struct {
        int peak;
        std::vector<int> higher;  // offsets
        bool accepted;
    } cases[] = {
        {1062, {-1, -2, -3, -4}, true},  {1062, {-1, -2, -3, -4, -5}, false},
        {1062, {-7, -8, -9, -10}, true}, {1062, {-1, -2, -3, -4, -10}, false},
        {937, {1, 2, 3, 4}, true},       {937, {1, 2, 3, 4, 9}, false},
        {937, {1, 2, 3, 4, 10}, true},
    };
    for (const auto& one : cases) {
        std::fill(log_.begin(), log_.end(), 0.0f);
        // Its own level reaches as far as the shape test looks, falling so slightly that the peak stands out.
        for (int i = -15; i <= 15; ++i)
            log_[one.peak + i] = 5.0f - 0.001f * static_cast<float>(std::abs(i));
        for (const int offset : one.higher)
            log_[one.peak + offset] = 5.125f;
        Broad(1000, 10.0f);
        std::vector<int> expected = {0, 0, 0, one.accepted ? one.peak : 0, 1000};
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(expected, Find()) << one.peak << ": " << testing::PrintToString(one.higher);
    }
}

TEST_F(FiberPeaks, TheFallAroundAPeakMayReachThree) {
    const struct {
        const char* what;
        float below[9];  // from offset -4 to 4
        bool accepted;
    } cases[] = {
        {"exactly 3.0", {0.5f, 0.5f, 0.5f, 0.5f, 0, 0.5f, 0.5f, 0, 0}, true},
        {"above", {0.5f, 0.5f, 0.5f, 0.5f, 0, 0.5f, 0.5f, 0, 0.0625f}, false},
        {"exactly 3.0, unevenly", {0.125f, 0.125f, 0.125f, 0.125f, 0, 0.625f, 0.625f, 0.625f, 0.625f}, true},
        {"above at the last offset", {0.75f, 0.75f, 0.75f, 0, 0, 0, 0, 0, 1}, false},
        {"above at the first offset", {3.25f, 0, 0, 0, 0, 0, 0, 0, 0}, false},
        {"3.25 part-way, 1.25 in all", {1.25f, 1, 1, 0, 0, -0.5f, -0.5f, -0.5f, -0.5f}, false},
        {"2.75 part-way, 0.75 in all", {0.75f, 1, 1, 0, 0, -0.5f, -0.5f, -0.5f, -0.5f}, true},
    };
    for (const auto& one : cases) {
        std::fill(log_.begin(), log_.end(), 0.0f);
        Broad(1000, 20.0f);  // clears what stands behind 937
        for (int i = -4; i <= 4; ++i)
            log_[937 + i] = 8.0f - one.below[i + 4];
        // The first of equal values is the peak: those before it lie a little lower.
        for (int i = -4; i < 0; ++i)
            log_[937 + i] -= one.below[i + 4] == 0 ? 0.000001f : 0;
        std::vector<int> expected = {0, 0, 0, one.accepted ? 937 : 0, 1000};
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(expected, Find()) << one.what;
    }
}

TEST_F(FiberPeaks, ALoneSpikeIsTakenOnlyBeforeTheTenthSample) {
    const struct {
        int spike;
        std::vector<int> positions;
    } cases[] = {
        {3000, {0, 0, 0, 0, 0}},
        {10, {0, 0, 0, 0, 0}},
        {9, {9, 9, 9, 9, 9}},
    };
    for (const auto& one : cases) {
        std::fill(log_.begin(), log_.end(), 0.0f);
        log_[static_cast<size_t>(one.spike)] = 10.0f;
        EXPECT_EQ(one.positions, Find());
    }
}

TEST_F(FiberPeaks, APeakFromSixtyTwoOnIsFoundOnce) {
    Broad(61, 10.0f);
    EXPECT_THAT(Find(), ElementsAre(61, 61, 61, 61, 61));
    std::fill(log_.begin(), log_.end(), 0.0f);
    Broad(62, 10.0f);
    EXPECT_THAT(Find(), ElementsAre(0, 0, 0, 0, 62));
}

TEST_F(FiberPeaks, APeakClearsSixtyTwoBeforeAndSixtyOneBehind) {
    // Both sides rise towards the peak, so that the next maximum is the first sample left.
    for (int i = 0; i <= 10; ++i) {
        log_[937 - i] = 5.0f - 0.01f * static_cast<float>(i);
        log_[1062 + i] = 5.0f - 0.01f * static_cast<float>(i);
    }
    for (int i = 1; i <= 10; ++i)
        log_[937 + i] = log_[1062 - i] = i == 1 ? 5.01f : 4.99f;
    Broad(1000, 10.0f);
    EXPECT_THAT(Find(), ElementsAre(0, 0, 937, 1000, 1062));
}

TEST_F(FiberPeaks, ARejectedPeakIsClearedToo) {
    Broad(1000, 10.0f);
    log_[1040] = 11.0f;  // clears the broad one
    EXPECT_THAT(Find(), ElementsAre(0, 0, 0, 0, 0));
}
