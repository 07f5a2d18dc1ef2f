// What the receiver's samples contain, for many modules.
#include "simulator/models/optics.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/simulator/models/module_bench.h"

namespace k905 {

class Receiver : public ModuleBench {
  protected:
    void SetUp() override {
        ModuleBench::SetUp();
        LoadGood();
    }
    // The analog chain as it stands after start-up.
    void StartUp() {
        Write(0x3000000a, 0x6000);
        Write(0x3000000c, 0x0040);
        Write(0x3000000e, 1280);
        Write(0x30000010, 1024);
        Write(0x30000002, 0x07F8);
    }
    // The main board's ADC check: the result in volts.
    double AdcCheck() {
        Write(0x30000032, 32);
        Write(0x30000030, 8);
        Write(0x3000001e, 1);
        Write(0x3000001c, 0);
        Write(0x3000001a, 4096);
        Write(0x30000020, 1024);
        return (Mean(Acquire(2048), 1000, 2000) - 32290) / 33245 * 0.5;
    }
    double DarkLevel() {
        Write(0x3000001e, 1);
        Write(0x3000001a, 1024);
        Write(0x30000020, 1024);
        return Mean(Acquire(1024), 1, 512);
    }
};

TEST_F(Receiver, AdcReadsItsTwoEndsAndClamps) {
    EXPECT_EQ(AdcCode(0.0), 32290);
    EXPECT_EQ(AdcCode(0.5), 65535);
    EXPECT_EQ(AdcCode(0.25), 48913);
    EXPECT_EQ(AdcCode(2.0), 65535);
    EXPECT_EQ(AdcCode(-2.0), 0);
}

TEST_F(Receiver, GoodModulesPassTheAdcCheckAtTheStartUpCodes) {
    double sum = 0;
    for (unsigned seed = 0; seed < 200; ++seed) {
        optics_.SetSeed(seed);
        StartUp();
        const double volts = AdcCheck();
        ASSERT_GT(volts, 0.2) << "module " << seed;
        ASSERT_LT(volts, 0.3) << "module " << seed;
        sum += volts;
    }
    EXPECT_NEAR(sum / 200, 0.25, 0.01);
}

TEST_F(Receiver, OpenPathToTheAdcReadsZeroVolts) {
    StartUp();
    optics_.SetPathBroken(true);
    EXPECT_NEAR(AdcCheck(), 0.0, 0.001);
}

TEST_F(Receiver, AttenuatorCodesPullTheLevelDown) {
    StartUp();
    const double level = DarkLevel();
    Write(0x3000000e, 1280 + 100);
    const double lower = DarkLevel();
    EXPECT_NEAR(level - lower, 100 * 2.5 / 4096 * 0.6 / 0.5 * 33245, 20);
    Write(0x30000010, 1024 + 100);
    EXPECT_LT(DarkLevel(), lower - 200);
    Write(0x3000000e, 4095);
    EXPECT_LT(DarkLevel(), 10000);
    Write(0x3000000e, 0);
    EXPECT_EQ(DarkLevel(), 65535);
}

TEST_F(Receiver, ModulesDifferAndStayTheSame) {
    StartUp();
    optics_.SetSeed(1);
    const double one = DarkLevel();
    optics_.SetSeed(2);
    const double two = DarkLevel();
    optics_.SetSeed(1);
    EXPECT_EQ(DarkLevel(), one);
    EXPECT_GT(std::fabs(one - two), 20);
}

TEST_F(Receiver, TheSameModuleHasOtherNoiseAtAnotherTime) {
    StartUp();
    optics_.SetSeed(5);
    const double volts = AdcCheck();
    optics_.SetSeed(5);
    EXPECT_EQ(volts, AdcCheck());
    optics_.SetNoise(6);
    const double later = AdcCheck();
    EXPECT_NE(volts, later);
    EXPECT_NEAR(volts, later, 1e-4);  // 13 codes of noise, averaged over a thousand samples
}

TEST_F(Receiver, NoiseIsSmallAndFallsWithAveraging) {
    StartUp();
    Write(0x3000001a, 4096);
    Write(0x30000020, 1024);
    const auto deviation = [&](unsigned averages) {
        Write(0x3000001e, averages);
        const auto samples = Acquire(4096);
        const double mean = Mean(samples, 1, samples.size());
        double squares = 0;
        for (std::size_t i = 1; i < samples.size(); ++i)
            squares += (samples[i] - mean) * (samples[i] - mean);
        return std::sqrt(squares / static_cast<double>(samples.size() - 1));
    };
    const double single = deviation(1);
    EXPECT_GT(single, 5);
    EXPECT_LT(single, 30);
    EXPECT_NEAR(deviation(16), single / 4, single / 20);
}

TEST_F(Receiver, TestSignalReachesTheSelectedChannelOnly) {
    const unsigned amplifierCodes[] = {0, 1, 3, 7};
    for (const unsigned selected : amplifierCodes) {
        for (const bool nulled : {false, true}) {
            Write(0x3000000a, 0x6000 | selected);
            Write(0x3000000e, nulled ? 1280 : 0);
            Write(0x30000010, nulled ? 1024 : 0);
            channel_ = selected;
            signal_ = TestSignal::kVoltage1;
            EXPECT_LT(DarkLevel(), 50000);
            signal_ = TestSignal::kVoltage0;
            EXPECT_GT(DarkLevel(), 50000);
        }
        const double reached = DarkLevel();
        channel_ = selected == 0 ? 1 : 0;
        EXPECT_LT(DarkLevel(), reached - 2000);
    }
}

}  // namespace k905
