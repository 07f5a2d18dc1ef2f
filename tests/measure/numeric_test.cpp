#include "measure/numeric/numeric.h"

#include <gtest/gtest.h>
#include <math.h>
#include <string.h>

#include <string>
#include <vector>

namespace {

std::string Fit(float* k, float* b, const APD_BREAK_PARA& samples) {
    testing::internal::CaptureStdout();
    Polyfit(k, b, &samples);
    return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(Numeric, AbsClearsTheSign) {
    EXPECT_EQ(2.5f, Abs(-2.5f));
    EXPECT_EQ(2.5f, Abs(2.5f));
    EXPECT_EQ(0, signbit(Abs(-0.0f)));
    EXPECT_EQ(0, signbit(Abs(0.0f)));
    Delay(1000000);
}

TEST(Numeric, IsEqualIncludesTheBoundary) {
    EXPECT_EQ(0, IsEqual(1.0f, 1.5f, 0.5f));
    EXPECT_EQ(-1, IsEqual(1.0f, 1.5f, 0.49f));
    EXPECT_EQ(1, IsEqual(1.5f, 1.0f, 0.49f));
    EXPECT_EQ(0, IsEqual(-3.0f, -3.0f, 0.0f));
    EXPECT_EQ(-1, IsEqual(-1.0f, 1.0f, 1.9f));
}

TEST(Numeric, MeanOfCodesIsTruncated) {
    const uint16_t small[] = {1, 2};
    const uint16_t large[] = {65535, 65535};
    EXPECT_EQ(1, GetMeanUint16(small, 2));
    EXPECT_EQ(65535, GetMeanUint16(large, 2));
    const std::vector<uint16_t> longest(32768, 65535);
    EXPECT_EQ(65535, GetMeanUint16(longest.data(), 32768));
    EXPECT_EQ(0, GetMeanUint16(small, 0));
    EXPECT_EQ(0, GetMeanUint16(small, -3));
}

TEST(Numeric, FloatMeans) {
    const uint32_t words[] = {1, 2, 4, 4294967295u};
    const float values[] = {-1.0f, 2.0f, 0.5f};
    EXPECT_FLOAT_EQ(1073741824.0f, GetMeanUint32(words, 4));
    EXPECT_EQ(1.5f, GetMeanUint32(words, 2));
    EXPECT_EQ(0.5f, GetMeanFloat(values, 3));
    EXPECT_TRUE(isnan(GetMeanUint32(words, 0)));
    EXPECT_TRUE(isnan(GetMeanFloat(values, 0)));
    EXPECT_EQ(0.0f, GetMeanFloat(values, -1));
}

TEST(Numeric, FloatMeanAddsInIndexOrderInSinglePrecision) {
    // 2^24 swallows a following 1, so the order shows.
    const float down[] = {16777216.0f, 1.0f, 1.0f, 0.0f};
    const float up[] = {1.0f, 1.0f, 16777216.0f, 0.0f};
    EXPECT_EQ(4194304.0f, GetMeanFloat(down, 4));
    EXPECT_EQ(4194304.5f, GetMeanFloat(up, 4));
}

TEST(Numeric, MaximumStartsFromMinusThousand) {
    const float low[] = {-2000.0f};
    const float values[] = {-5.0f, 3.0f, 2.0f};
    EXPECT_EQ(-1000.0f, GetMaxFloat(values, 0));
    EXPECT_EQ(-1000.0f, GetMaxFloat(low, 1));
    EXPECT_EQ(3.0f, GetMaxFloat(values, 3));
    EXPECT_EQ(-5.0f, GetMaxFloat(values, 1));
}

TEST(Numeric, IndexOfTheFirstLargestPositive) {
    const float values[] = {1.0f, 3.0f, 3.0f, 2.0f};
    const float negative[] = {-1.0f, 0.0f};
    EXPECT_EQ(1, GetMaxIndexFloat(values, 4));
    EXPECT_EQ(0, GetMaxIndexFloat(negative, 2));
    EXPECT_EQ(0, GetMaxIndexFloat(values, 0));
}

TEST(Numeric, SortsAscending) {
    int values[] = {3, -1, 3, 0};
    bubble_sort(values, 4);
    const int sorted[] = {-1, 0, 3, 3};
    EXPECT_EQ(0, memcmp(sorted, values, sizeof(sorted)));
    int first[] = {5, 4, 1};
    bubble_sort(first, 2);
    EXPECT_EQ(4, first[0]);
    EXPECT_EQ(1, first[2]);
    bubble_sort(first, 1);
    bubble_sort(first, -1);
    EXPECT_EQ(4, first[0]);
}

TEST(Numeric, NullBuffersAreHarmless) {
    EXPECT_EQ(0, GetMeanUint16(nullptr, 4));
    EXPECT_EQ(0.0f, GetMeanUint32(nullptr, 4));
    EXPECT_EQ(0.0f, GetMeanFloat(nullptr, 4));
    EXPECT_EQ(-1000.0f, GetMaxFloat(nullptr, 4));
    EXPECT_EQ(0, GetMaxIndexFloat(nullptr, 4));
    bubble_sort(nullptr, 4);
    CalShiftPhase4_90(16, nullptr);
    float k = 1.0f;
    const APD_BREAK_PARA samples = {};
    Polyfit(&k, nullptr, &samples);
    Polyfit(nullptr, &k, &samples);
    Polyfit(&k, &k, nullptr);
    EXPECT_EQ(1.0f, k);
}

TEST(Polyfit, DrawsTheLineThroughTheSamples) {
    APD_BREAK_PARA samples = {};
    samples.iVolt[0] = 100;
    samples.fTemp[0] = 20.0f;
    samples.iVolt[1] = 110;
    samples.fTemp[1] = 30.0f;
    samples.iNum = 2;
    float k = 0;
    float b = 0;
    EXPECT_EQ(
        "i = 0, fTemp = 20.00, iVolt = 100\r\n"
        "i = 1, fTemp = 30.00, iVolt = 110\r\n"
        "fSumx = 50.00, fSumy = 50.00\r\n"
        "k = 1.000, b =  80.0 ,fAveX = 25.00, fAveY = 105.00\r\n ",
        Fit(&k, &b, samples));
    EXPECT_EQ(1.0f, k);
    EXPECT_EQ(80.0f, b);
}

TEST(Polyfit, WeighsOutliersByLeastSquares) {
    APD_BREAK_PARA samples = {};
    const uint16_t codes[] = {2000, 2010, 2032, 2030};
    for (int i = 0; i < 4; ++i) {
        samples.iVolt[i] = codes[i];
        samples.fTemp[i] = static_cast<float>(i);
    }
    samples.iNum = 4;
    float k = 0;
    float b = 0;
    const std::string printed = Fit(&k, &b, samples);
    EXPECT_FLOAT_EQ(11.2f, k);
    EXPECT_FLOAT_EQ(2001.2f, b);
    EXPECT_NE(std::string::npos, printed.find("fSumx =  5.00, fSumy = 56.00\r\n"));
}

TEST(Polyfit, WithoutASampleLeavesTheResults) {
    APD_BREAK_PARA samples = {};
    float k = 7;
    float b = 8;
    EXPECT_EQ("ERROR! Element is too little! \r\n ", Fit(&k, &b, samples));
    samples.iNum = 65536;
    EXPECT_EQ("ERROR! Element is too little! \r\n ", Fit(&k, &b, samples));
    EXPECT_EQ(7.0f, k);
    EXPECT_EQ(8.0f, b);
}

TEST(Polyfit, OneSampleHasNoFiniteSlope) {
    APD_BREAK_PARA samples = {};
    samples.iVolt[0] = 2000;
    samples.fTemp[0] = 25.0f;
    samples.iNum = 1;
    float k = 0;
    float b = 0;
    Fit(&k, &b, samples);
    EXPECT_FALSE(isfinite(k));
}

TEST(Polyfit, ADamagedCountStaysWithinTheRecord) {
    APD_BREAK_PARA samples = {};
    for (int i = 0; i < APD_BREAK_MAX; ++i) {
        samples.iVolt[i] = static_cast<uint16_t>(1000 + 2 * i);
        samples.fTemp[i] = static_cast<float>(i);
    }
    samples.iNum = 1000;
    float k = 0;
    float b = 0;
    const std::string printed = Fit(&k, &b, samples);
    EXPECT_FLOAT_EQ(2.0f, k);
    EXPECT_NE(std::string::npos, printed.find("i = 49,"));
    EXPECT_EQ(std::string::npos, printed.find("i = 50,"));
}

TEST(LogTable, IsFiveTimesTheLogarithm) {
    memset(LogSigTable, 0xff, sizeof(LogSigTable));
    LogTableCreat();
    EXPECT_EQ(0.0f, LogSigTable[0]);
    EXPECT_EQ(0.0f, LogSigTable[1]);
    EXPECT_FLOAT_EQ(5.0f, LogSigTable[10]);
    EXPECT_NEAR(24.082, LogSigTable[65535], 0.001);
    for (int x = 1; x < LOG_SIG_SIZE; ++x)
        ASSERT_EQ(5.0f * log10f(static_cast<float>(x)), LogSigTable[x]) << x;
}

TEST(PhaseRamp, FourEqualRampsOfSixteen) {
    uint8_t buf[66];
    memset(buf, 0xee, sizeof(buf));
    CalShiftPhase4_90(16, buf);
    const int8_t ramp[16] = {5, 4, 3, 3, 2, 1, 0, 0, 0, -1, -2, -3, -3, -4, -5, -6};
    for (int i = 0; i < PHASE_BYTES; ++i)
        EXPECT_EQ(ramp[i & 15], static_cast<int8_t>(buf[i])) << i;
    EXPECT_EQ(0xee, buf[64]);
}

TEST(PhaseRamp, ACycleOfZeroShiftsNothing) {
    uint8_t buf[PHASE_BYTES];
    memset(buf, 0xee, sizeof(buf));
    CalShiftPhase4_90(0, buf);
    for (uint8_t value : buf)
        EXPECT_EQ(0, value);
}

TEST(PhaseRamp, EveryCycleKeepsTheRampToLessThanOneStepOfAByte) {
    for (int cycle = 0; cycle <= 255; ++cycle) {
        uint8_t buf[PHASE_BYTES];
        CalShiftPhase4_90(static_cast<uint8_t>(cycle), buf);
        for (int i = 0; i < PHASE_BYTES; ++i) {
            const double exact = (7 - i % 16) * 0.046875 * cycle;
            const int offset = static_cast<int8_t>(buf[i]);
            // Truncation goes toward zero, by less than one; single precision may miss a whole number by a
            // hair.
            ASSERT_LE(fabs(offset), fabs(exact) + 1e-4) << cycle << " " << i;
            ASSERT_LT(fabs(exact - offset), 1.0 + 1e-4) << cycle << " " << i;
        }
    }
}

TEST(PhaseRamp, StepsGrowWithTheCycle) {
    uint8_t buf[PHASE_BYTES];
    CalShiftPhase4_90(210, buf);
    EXPECT_EQ(68, static_cast<int8_t>(buf[0]));
    EXPECT_EQ(-78, static_cast<int8_t>(buf[15]));
    // The single-precision step is a hair below 7.875, so the last entry falls just short of -63.
    CalShiftPhase4_90(168, buf);
    EXPECT_EQ(-62, static_cast<int8_t>(buf[15]));
    CalShiftPhase4_90(255, buf);
    EXPECT_EQ(83, static_cast<int8_t>(buf[48]));
    EXPECT_EQ(-95, static_cast<int8_t>(buf[63]));
}
