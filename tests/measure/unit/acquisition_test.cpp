#include "tests/measure/unit/measure_fixture.h"

#include <cmath>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Acquisition = test::MeasureTest;

TEST_F(Acquisition, DarkLevelProgramsAndReadsInItsOrder) {
    Samples(1000, 0);
    system_.echo[0x24 / 2] = 0x1234;
    EXPECT_EQ(1000u, GetBlackLevel());
    EXPECT_EQ(
        "reg write 0x30000002 0x07f8\nsleep 1\nreg write 0x3000000a 0x2001\nsleep 10\n"
        "reg write 0x30000030 0x0008\nsleep 1\nreg write 0x30000032 0x0020\nsleep 1\n"
        "reg write 0x3000000c 0x0041\nsleep 10\nreg write 0x30000018 0x0000\nsleep 1\n"
        "reg write 0x30000024 0x0000\nsleep 1\nreg write 0x30000022 0x1234\nsleep 1\n"
        "reg write 0x3000001a 0x0400\nreg write 0x3000001c 0x0000\nreg write 0x3000001e 0x0001\n"
        "reg write 0x30000020 0x0400\n"
        "reg write 0x3000002e 0x0001\nsleep 1\nreg read 0x3000002e\nsleep 100\n"
        "reg write 0x3000002e 0x0002\nreg read 0x3000002e\ndata 1024\n"
        "reg write 0x3000002e 0x0000\nsleep 1\n",
        system_.Trace());
}

TEST_F(Acquisition, DarkLevelIgnoresTheSecondHalfAndTheFirstSample) {
    Samples(100, 0, 512);
    system_.samples[0] = 60000;
    system_.samples.resize(1024, 9999);
    EXPECT_EQ(100u, GetBlackLevel());
    system_.samples[5] = 99;  // 511 * 100 + 99 over 512, truncated
    EXPECT_EQ(99u, GetBlackLevel());
}

TEST_F(Acquisition, NoiseUsesTheDefaultsOfBothAttenuators) {
    Samples(60000, 20);
    system_.samples[0] = 9;  // replaced by the next sample
    cOpmTunning.iAtt1 = 0;
    EXPECT_EQ("Mean = 60000, Std = 20.000000\n", test::Printed([] { GetSignalParameter(0); }));
    EXPECT_THAT(Written("0x3000000e"), ElementsAre(800));
    EXPECT_THAT(Written("0x30000010"), ElementsAre(896));
    EXPECT_EQ(60000, signalMean);
    EXPECT_EQ(20.0f, signalStd);
    system_.Clear();
    cOpmTunning.iAtt1 = 1111;
    test::Printed([] { GetSignalParameter(1234); });
    EXPECT_THAT(Written("0x3000000e"), ElementsAre(1234));
    EXPECT_THAT(Written("0x30000010"), ElementsAre(1111));
}

TEST_F(Acquisition, AnErasedRecordsCodesAreWrittenAsTheyStand) {
    Samples(60000, 0);
    cOpmTunning.iAtt1 = 0xFFFFFFFF;
    test::Printed([] { GetSignalParameter(0xFFFFFFFE); });
    EXPECT_THAT(Written("0x3000000e"), ElementsAre(0xFFFE));
    EXPECT_THAT(Written("0x30000010"), ElementsAre(0xFFFF));
    EXPECT_EQ("reg read 0x3000002e\nreg read 0x3000002e\n", system_.Trace("reg read"));
}

TEST_F(Acquisition, NoiseProgramsAndReadsInItsOrder) {
    Samples(60000, 0);
    cOpmTunning.iAtt1 = 1024;
    test::Printed([] { GetSignalParameter(800); });
    EXPECT_EQ(
        "reg write 0x30000002 0x03f8\nsleep 10\nreg write 0x3000000a 0x6300\nsleep 10\n"
        "reg write 0x3000000c 0x0151\nsleep 10\nreg write 0x30000012 0x0000\nsleep 10\n"
        "reg write 0x30000018 0x0000\nsleep 10\nreg write 0x30000030 0x0009\nsleep 10\n"
        "reg write 0x3000000e 0x0320\nsleep 10\nreg write 0x30000010 0x0400\nsleep 10\n"
        "reg write 0x30000032 0x0020\nsleep 10\nreg write 0x30000024 0x0000\nsleep 1\n"
        "reg write 0x30000022 0x0000\nsleep 1\nreg write 0x3000001a 0x0200\nsleep 1\n"
        "reg write 0x3000001c 0x0000\nsleep 1\nreg write 0x3000001e 0x0001\nsleep 1\n"
        "reg write 0x30000020 0x0400\nsleep 1\n"
        "reg write 0x3000002e 0x0001\nsleep 100\nreg read 0x3000002e\nsleep 100\n"
        "reg write 0x3000002e 0x0002\nsleep 100\nreg read 0x3000002e\ndata 512\n"
        "reg write 0x3000002e 0x0000\nsleep 1\n",
        system_.Trace());
}

// ---- Trace ----

TEST_F(Acquisition, ATraceLikeItsDarkLevelHasNoSignal) {
    Samples(40000, 0);
    const std::string printed = test::Printed([] { EXPECT_EQ(0.0f, GetSignal(WAVE_LEN_1310)); });
    EXPECT_THAT(printed, HasSubstr("iBlackLevel = 40000\n"));
    EXPECT_THAT(printed, HasSubstr("---------fMean = 0.000000,fMax = 0.000000---fDelta = 0.000000---\n"));
    EXPECT_THAT(Written("0x3000000c"), ElementsAre(0x111));
    EXPECT_THAT(Written("0x30000018"), ElementsAre(4));
    EXPECT_THAT(Written("0x30000024"), ElementsAre(0, 0));
}

TEST_F(Acquisition, SamplesAboveAndBelowTheDarkLevelCountAlike) {
    for (const int offset : {20, -20}) {
        Samples(40000, 0);
        // Behind the pulse: samples 300 to 339 of the rotated trace.
        for (int i = 812; i < 852; ++i)
            system_.samples[static_cast<size_t>(i)] = static_cast<uint16_t>(40000 + offset);
        float delta = 0;
        test::Printed([&] { delta = GetSignal(WAVE_LEN_1550); });
        EXPECT_NEAR(5 * std::log10(21.0f), delta, 1e-5f) << offset;
    }
    EXPECT_THAT(Written("0x3000000c"), ElementsAre(0x151, 0x151));
}

TEST_F(Acquisition, TheLargestDistancesCountAsNone) {
    const struct {
        int dark, sample;
        float log;
    } cases[] = {{65535, 1, 5 * std::log10(65535.0f)}, {65535, 0, 0}, {0, 65535, 0}};
    for (const auto& one : cases) {
        Samples(one.dark, 0);
        for (int i = 812; i < 852; ++i)
            system_.samples[static_cast<size_t>(i)] = static_cast<uint16_t>(one.sample);
        float delta = -1;
        test::Printed([&] { delta = GetSignal(WAVE_LEN_1310); });
        EXPECT_NEAR(one.log, delta, 1e-3f) << one.sample;
    }
}

TEST_F(Acquisition, ASampleOneCodeFromTheDarkLevelCounts) {
    const struct {
        int level;  // of the samples behind the pulse
        float delta;
    } cases[] = {{40000, 0.0f}, {40001, 1.505f}, {39999, 1.505f}};
    for (const auto& one : cases) {
        system_.samples.assign(8192, 40000);
        // The dark lead-in of 512 samples comes first, and moves to the end.
        for (int i = 512 + 300; i < 512 + 340; ++i)
            system_.samples[static_cast<size_t>(i)] = static_cast<uint16_t>(one.level);
        float delta = -1.0f;
        test::Printed([&] { delta = GetSignal(WAVE_LEN_1550); });
        EXPECT_NEAR(one.delta, delta, 0.001f) << one.level;
    }
}

TEST_F(Acquisition, TheLeadInOfATraceMovesToItsEnd) {
    system_.samples.resize(8192);
    for (size_t i = 0; i < 8192; ++i)
        system_.samples[i] = static_cast<uint16_t>(i);
    static uint16_t trace[TRACE_SAMPLES];
    EXPECT_EQ(0, FetchTrace({0, 1, 0, 0}, trace));
    EXPECT_EQ(512, trace[0]);
    EXPECT_EQ(8191, trace[7679]);
    EXPECT_EQ((1 + 2) >> 1, trace[7680]);
    EXPECT_EQ(1, trace[7681]);
    EXPECT_EQ(511, trace[8191]);
}

// ---- An acquisition that does not end ----

TEST_F(Acquisition, TheLimitEndsTheWaitForEitherBit) {
    const struct {
        ACQ_TIMING timing;
        uint16_t status;  // ever
    } cases[] = {
        {{0, 10, 0, 10}, 0x00}, {{0, 10, 0, 10}, 0x80}, {{0, 100, 0, 0}, 0x80}, {{0, 0, 0, 0}, 0x20}};
    for (const auto& one : cases) {
        uint16_t sample = 7;
        system_.fixed[0x2e / 2] = one.status;
        const int64_t begin = calls_.Now();
        EXPECT_EQ(ACQ_TIMED_OUT, AcquireSamples(one.timing, {nullptr, 1000, false}, &sample, 1));
        EXPECT_GE(calls_.Now() - begin, 1000000) << one.status;
        EXPECT_LT(calls_.Now() - begin, 1200000) << one.status;
        EXPECT_EQ("", system_.Trace("data"));
        EXPECT_EQ(7, sample);
    }
}

TEST_F(Acquisition, SignalsThatShortenThePausesDoNotShortenTheLimit) {
    uint16_t sample = 7;
    system_.fixed[0x2e / 2] = 0;
    calls_.onSleep = [this](long) { calls_.Hasten(9900); };  // of 10 milliseconds
    EXPECT_EQ(ACQ_TIMED_OUT, AcquireSamples({0, 10, 0, 10}, {nullptr, 1000, false}, &sample, 1));
    EXPECT_NEAR(5000, Count(system_.Trace("reg read"), "reg read 0x3000002e"), 100);
}

TEST_F(Acquisition, ARegisterThatCannotBeReadEndsTheWaitAtOnceOrWithTheLimit) {
    uint16_t sample = 7;
    system_.Fail("reg read", 5);
    EXPECT_EQ(ACQ_NO_SAMPLES, AcquireSamples({0, 10, 0, 10}, {nullptr, 1000, true}, &sample, 1));
    EXPECT_EQ(1, Count(system_.Trace("reg read"), "reg read 0x3000002e"));
    EXPECT_EQ(ACQ_TIMED_OUT, AcquireSamples({0, 10, 0, 10}, {nullptr, 1000, false}, &sample, 1));
}

TEST_F(Acquisition, TheRunFlagEndsAWaitButNoGoodAcquisition) {
    uint16_t sample = 7;
    int run = 1;
    int looks = 0;
    for (const uint16_t status : {0x00, 0x80}) {
        run = 1;
        looks = 0;
        calls_.onStatus = [&] {
            if (++looks == 1000)
                run = 0;
        };
        system_.fixed[0x2e / 2] = status;
        EXPECT_EQ(ACQ_STOPPED, AcquireSamples({0, 10, 0, 0}, {&run, 0, false}, &sample, 1));
        EXPECT_EQ(1000, looks) << "not limited";
    }
    system_.fixed[0x2e / 2] = 0xA0;
    Samples(60000, 0);
    EXPECT_EQ(0, AcquireSamples({0, 10, 0, 0}, {&run, 0, false}, &sample, 1));
    EXPECT_EQ(60000, sample);
}

TEST_F(Acquisition, ADriverWithoutSamplesIsTold) {
    uint16_t sample = 7;
    system_.Fail("data", 5);
    EXPECT_EQ(ACQ_NO_SAMPLES, AcquireSamples({0, 10, 0, 10}, checkWait, &sample, 1));
    calls_.onSamples = [](int) { SetExitFlag(1); };
    EXPECT_EQ(ACQ_STOPPED, AcquireSamples({0, 10, 0, 10}, checkWait, &sample, 1)) << "broken off by a signal";
}

TEST_F(Acquisition, WithoutAnEndThereIsNoDarkLevelAndNoTrace) {
    Samples(60000, 0);
    for (const bool stopped : {false, true}) {
        SetStopThreadFlag(stopped ? 0 : 1);
        system_.fixed[0x2e / 2] = 0;
        EXPECT_EQ(NO_BLACK_LEVEL, GetBlackLevel());
        calls_.opened.clear();
        EXPECT_EQ("", test::Printed([] { EXPECT_TRUE(std::isnan(GetSignal(WAVE_LEN_1310))); }));
        EXPECT_THAT(calls_.opened, testing::IsEmpty());
        EXPECT_EQ("", system_.Trace("data"));
        EXPECT_THAT(system_.Trace(), testing::EndsWith("reg write 0x3000002e 0x0000\nsleep 1\n"));
    }
}

// ---- Status line ----

TEST_F(Acquisition, FieldsOfTheStatusLineFollowEachOther) {
    int length = 0;
    showLen = 0;
    ShowADTest("ATT0", 1.0f, &length);
    EXPECT_EQ(17, length);
    ShowADTest_len("X", -2.5f, 42, &length);
    EXPECT_STREQ(" ATT0: 1.00000V   X: -2.50000V  42  ", reinterpret_cast<char*>(adBuffer));
    EXPECT_EQ(17, showLen);
    for (int i = 0; i < 20; ++i)
        ShowADTest("TOO LONG FOR THE BUFFER", 1.0f, &length);
    EXPECT_EQ(0, adBuffer[AD_BUFFER_SIZE - 1]);
}
