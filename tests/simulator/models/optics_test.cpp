// What the receiver's samples contain, for many modules.
#include "simulator/models/optics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

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

// ---- Faults of the amplifiers and converters. Acquire twice with the same module gives other noise: what is
// compared lies well above it.

class FaultyReceiver : public Receiver {
  protected:
    static constexpr double kPerVolt = 33245 / 0.5;  // ADC codes
    void SetUp() override {
        Receiver::SetUp();
        StartUp();
    }
    // An echo of the far end and of the glass before it, over the dark level; ADC codes, downwards positive.
    std::vector<double> Echo() {
        Fibre fibre;
        EXPECT_EQ(ParseFibre(nlohmann::json("5 m"), fibre), "");
        optics_.SetFibre(fibre);
        Write(0x3000000a, 0x6300);
        Write(0x3000000c, 0x0131);
        Write(0x30000014, 432);
        Write(0x30000012, 2064);
        Write(0x30000032, 1568);
        Write(0x30000030, 8);
        Write(0x3000001e, 100);
        Write(0x3000001a, 4096);
        Write(0x30000020, 1024);
        const auto samples = Acquire(4096);
        const double dark = Mean(samples, 1, 500);
        std::vector<double> echo;
        for (const std::uint16_t sample : samples)
            echo.push_back(dark - sample);
        return echo;
    }
    // Height of the connector's reflection at the port, and the sample at which it stands.
    std::pair<double, std::size_t> Port(const std::vector<double>& echo) const {
        const auto from =
            echo.begin() + static_cast<std::ptrdiff_t>(Optics::kLeadIn + optics_.OffsetSamples());
        const auto top = std::max_element(from - 20, from + 90);
        return {*top, static_cast<std::size_t>(top - from)};
    }
    // Of the noise, in the dark.
    double Deviation() {
        Write(0x3000000c, 0x40);
        Write(0x3000001e, 1);
        Write(0x3000001a, 4096);
        Write(0x30000020, 1024);
        const auto samples = Acquire(4096);
        const double mean = Mean(samples, 1, 4096);
        double squares = 0;
        for (std::size_t i = 1; i < samples.size(); ++i)
            squares += (samples[i] - mean) * (samples[i] - mean);
        return std::sqrt(squares / 4095);
    }
    ReceiverError error_;
    void Set() { optics_.SetReceiverError(error_); }
};

TEST_F(FaultyReceiver, WeakGainWeakDiodeAndWeakLaserAllShrinkTheEcho) {
    const double good = Port(Echo()).first;
    ASSERT_GT(good, 200);
    error_.gain = 0.5;
    Set();
    EXPECT_NEAR(Port(Echo()).first, good / 2, good / 20);
    optics_.SetReceiverError({});
    Optics::DiodeError diode;
    diode.responsivity = 0.5;
    optics_.SetDiodeError(diode);
    EXPECT_NEAR(Port(Echo()).first, good / 2, good / 20);
    optics_.SetDiodeError({});
    optics_.SetLaserPower(0.5);
    EXPECT_NEAR(Port(Echo()).first, good / 2, good / 20);
    optics_.SetLaserPower(1);
    EXPECT_NEAR(Port(Echo()).first, good, good / 20);
}

TEST_F(FaultyReceiver, ConnectorReflectsWhatItsFaultSays) {
    const double good = Port(Echo()).first;
    optics_.SetBadConnector(0, -40.0);
    const double factor = Ratio(-40 - optics_.Spread().portReflection);
    ASSERT_GT(factor, 2);
    EXPECT_NEAR(Port(Echo()).first / good, factor, factor / 10);
    optics_.SetBadConnector(0, std::nullopt);
    EXPECT_NEAR(Port(Echo()).first, good, good / 20);
}

TEST_F(FaultyReceiver, NarrowBandwidthMakesThePulseLowAndLateAndTheNoiseSmall) {
    const auto [height, place] = Port(Echo());
    const double deviation = Deviation();
    error_.bandwidth = 0.4;
    Set();
    const auto [lower, later] = Port(Echo());
    EXPECT_LT(lower, height * 0.6);
    EXPECT_GT(later, place + 15);
    EXPECT_NEAR(Deviation(), deviation * std::sqrt(0.4), deviation / 20);
}

TEST_F(FaultyReceiver, NoiseGrowsByItsFactor) {
    const double good = Deviation();
    error_.noise = 4;
    Set();
    EXPECT_NEAR(Deviation(), 4 * good, good / 4);
    optics_.SetReceiverError({});
    EXPECT_NEAR(Deviation(), good, good / 10);
}

TEST_F(FaultyReceiver, DeadChannelPassesNeitherTestSignalNorLightNorDarkCurrent) {
    error_.deadChannels = 1u << 3;
    Set();
    const unsigned amplifierCodes[] = {0, 1, 3, 7};
    for (const unsigned code : amplifierCodes) {
        Write(0x3000000a, 0x6000 | code);
        channel_ = code;
        signal_ = TestSignal::kOpen;
        const double open = DarkLevel();
        signal_ = TestSignal::kVoltage1;
        if (code == 3)
            EXPECT_NEAR(DarkLevel(), open, 20);
        else
            EXPECT_LT(DarkLevel(), open - 40000);
    }
    signal_ = TestSignal::kOpen;
    Optics::DiodeError leaky;
    leaky.leakage = 1e-5;
    Write(0x3000000a, 0x6303);
    const double level = DarkLevel();
    optics_.SetDiodeError(leaky);
    EXPECT_NEAR(DarkLevel(), level, 20);
    optics_.SetReceiverError({});
    EXPECT_LT(DarkLevel(), level - 0.25 * kPerVolt);
    error_.deadChannels = 1;
    Set();
    optics_.SetDiodeError({});
    EXPECT_LT(Port(Echo()).first, 100);
}

TEST_F(FaultyReceiver, DiodeBreaksDownWhereItsFaultSays) {
    Write(0x3000000a, 0x6300);
    Write(0x30000014, 2000);  // 40 V
    const double quiet = Deviation();
    Optics::DiodeError early;
    early.breakdown = 39.5;
    optics_.SetDiodeError(early);
    EXPECT_GT(Deviation(), 20 * quiet);
    EXPECT_NEAR(optics_.BreakdownCode(25), ApdCode(1, 39.5), 1e-6);
    optics_.SetDiodeError({});
    EXPECT_NEAR(Deviation(), quiet, quiet / 10);
}

TEST_F(FaultyReceiver, AdcShiftsAndStretchesTheVolts) {
    const double good = AdcCheck();
    ConverterError error;
    error.offset = 0.1;
    optics_.SetAdcError(error);
    EXPECT_NEAR(AdcCheck(), good + 0.1, 0.001);
    error = {};
    error.gain = 0.5;
    optics_.SetAdcError(error);
    EXPECT_NEAR(AdcCheck(), good / 2, 0.001);
    optics_.SetAdcError({});
    EXPECT_NEAR(AdcCheck(), good, 0.001);
}

TEST_F(FaultyReceiver, AdcHasAStuckBitAndLacksCodes) {
    Write(0x3000001e, 1);
    Write(0x3000001a, 1024);
    Write(0x30000020, 1024);
    ConverterError error;
    error.bit = 15;
    optics_.SetAdcError(error);
    for (const std::uint16_t sample : Acquire(100))
        EXPECT_LT(sample, 0x8000);
    error.level = 1;
    Write(0x3000000e, 4095);  // far below
    optics_.SetAdcError(error);
    for (const std::uint16_t sample : Acquire(100))
        EXPECT_GE(sample, 0x8000);
    Write(0x3000000e, 1280);
    optics_.SetAdcError({});
    const auto good = Acquire(1024);
    const auto level = static_cast<std::uint16_t>(Mean(good, 1, 1024));
    error = {};
    error.missingFrom = level;
    error.missingTo = static_cast<std::uint16_t>(level + 6);
    optics_.SetAdcError(error);
    int below = 0, inside = 0, above = 0;
    for (const std::uint16_t sample : Acquire(1024)) {
        below += sample == level - 1;
        inside += sample >= level && sample <= level + 6;
        above += sample > level + 6;
    }
    EXPECT_EQ(inside, 0);
    EXPECT_GT(below, 100);  // what would have been inside
    EXPECT_GT(above, 100);
}

TEST_F(FaultyReceiver, DacErrorsMoveWhatTheDacDrives) {
    const double good = AdcCheck();
    ConverterError error;
    error.offset = 0.05;
    optics_.SetDacError(Dac::kAtt0, error);
    EXPECT_NEAR(AdcCheck(), good - 0.6 * 0.05, 0.001);
    optics_.SetDacError(Dac::kAtt0, {});
    optics_.SetDacError(Dac::kAtt1, error);
    EXPECT_NEAR(AdcCheck(), good - 0.1 * 0.05, 0.001);
    optics_.SetDacError(Dac::kAtt1, {});
    EXPECT_NEAR(AdcCheck(), good, 0.001);
    // Beyond its ends a DAC gives no more.
    error.offset = -2.5;
    EXPECT_EQ(DacCode(error, 4000), 0);
    error.offset = 2.5;
    EXPECT_EQ(DacCode(error, 4000), 4095);
    error = {};
    error.bit = 4;
    error.level = 1;
    EXPECT_EQ(DacCode(error, 0xF000), 16);
    EXPECT_EQ(DacCode({}, 1234), 1234);
}

TEST_F(FaultyReceiver, BentFibreLosesItsLightBehindTheBendOnly) {
    const auto glass = [&](double metres) {  // mean of the back-scatter from there on
        Fibre fibre;
        EXPECT_EQ(ParseFibre(nlohmann::json("1.5 km"), fibre), "");
        optics_.SetFibre(fibre);
        Write(0x3000000a, 0x6300);
        Write(0x3000000c, 0x0151);
        Write(0x30000018, 4);
        Write(0x30000014, 2400);
        Write(0x30000012, 2064);
        Write(0x30000030, 10);
        Write(0x30000032, 32);
        Write(0x3000001e, 250);
        Write(0x3000001a, 4096);
        Write(0x30000020, 1024);
        const auto samples = Acquire(4096);
        const auto from =
            static_cast<std::size_t>(Optics::kLeadIn + (metres + optics_.Spread().delay) / 0.64);
        return Mean(samples, 1, 500) - Mean(samples, from, from + 100);
    };
    const double near = glass(150), far = glass(600);
    ASSERT_GT(far, 100);
    optics_.SetBentFibre(400, 3);
    EXPECT_NEAR(glass(150), near, near / 20);
    EXPECT_NEAR(glass(600), far * Ratio(-6), far / 20);
    optics_.SetBentFibre(0, 0);
    const double end = glass(1480);  // with the end's reflection
    ASSERT_GT(end, 2 * far);
    optics_.SetBentFibre(2000, 3);  // behind its end
    EXPECT_NEAR(glass(600), far, far / 20);
    EXPECT_NEAR(glass(1480), end, end / 20);
    optics_.SetLongerFibre(-1000);
    EXPECT_NEAR(glass(600), 0, far / 20);
    optics_.SetLongerFibre(0);
    optics_.SetBentFibre(0, 0);
    EXPECT_NEAR(glass(600), far, far / 20);
}

}  // namespace k905
