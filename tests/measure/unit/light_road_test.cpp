// The light-path check of one wavelength.
#include "measure/numeric/numeric.h"
#include "tests/measure/unit/measure_fixture.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {
const char* const kApd = "0x30000014";
const char* const kAtt0 = "0x3000000e";
const char* const kSearchFailed = "\xbb\xf7\xb4\xa9\xb5\xe7\xd1\xb9\xb2\xe9\xd5\xd2\xca\xa7\xb0\xdc";  // GBK
const char* const kMayCarryLight = "\xa3\xac\xc1\xb4\xc2\xb7\xbf\xc9\xc4\xdc\xd3\xd0\xb9\xe2!!!!!!!!!!!!!\n";
}  // namespace

class LightRoad : public test::MeasureTest {
  protected:
    LightRoad() {
        cOpmTunning.iAtt0 = 1500;
        cOpmTunning.iAtt1 = 1100;
        cOpmTunning.iVddValue[0] = 2064;
    }

    // Noise measurements, the last one again and again; then traces of that height.
    int Check(const std::vector<NOISE>& noises, OTDRWaveLen wave = WAVE_LEN_1310) {
        Acquisitions(noises);
        const auto onNoise = calls_.onSamples;
        calls_.onSamples = [this, onNoise](int n) {
            if (system_.registers[0x02 / 2] == 0x03f8)
                return onNoise(n);
            // Behind the pulse 100 codes below the dark level: 5 log10 of them is this height.
            LogSigTable[101] = height_;
            Samples(40000, 0);
            for (size_t i = 812; i < 852; ++i)
                system_.samples[i] = 39900;
        };
        system_.Clear();
        int result = 99;
        printed_ = test::Printed([&] { result = LightRoadJust(wave); });
        return result;
    }
    int Measured() const { return Count(Writes(), "reg write 0x30000002 0x03f8"); }
    int Traces() const { return Count(Writes(), "reg write 0x30000002 0x07fc"); }
    // High voltage codes after the start at 432.
    std::vector<int> Ramp() const {
        const std::vector<int> codes = Written(kApd);
        return {codes.begin() + 2, codes.end()};
    }

    float height_ = 6.0f;
    std::string printed_;
    const std::vector<NOISE> good_ = {{60000, 10}, {60000, 200}};
};

TEST_F(LightRoad, SetsUpSearchesAndMeasuresInItsOrder) {
    EXPECT_EQ(1, Check(good_));
    const char* const closing = "reg write 0x3000002e 0x0000\nsleep 1\n";
    const std::string trace = system_.Trace();
    EXPECT_THAT(trace,
                StartsWith("seek optic0 0\nread optic0 96\nreg write 0x30000002 0x03ff\nsleep 1\n"
                           "reg write 0x30000014 0x0000\nreg write 0x3000000a 0x6300\nsleep 10\n"
                           "reg write 0x3000000c 0x0111\nsleep 10\nreg write 0x30000012 0x0810\nsleep 10\n"
                           "reg write 0x3000000e 0x05dc\nsleep 1\nreg write 0x30000014 0x01b0\nsleep 150\n"
                           "reg write 0x30000002 0x03f8\n"));
    EXPECT_THAT(trace,
                HasSubstr(std::string(closing) + "sleep 300\nsleep 300\nreg write 0x30000002 0x03f8\n"));
    EXPECT_THAT(
        trace,
        HasSubstr(std::string(closing) +
                  "sleep 300\nreg write 0x30000012 0x0810\nsleep 10\nreg write 0x3000000e 0x05dc\nsleep 10\n"
                  "reg write 0x30000010 0x044c\nsleep 10\nreg write 0x30000014 0x0a03\nsleep 200\n"
                  "reg write 0x30000002 0x07fc\n"));
    EXPECT_THAT(trace, EndsWith(closing));
    EXPECT_EQ(10, Traces());
    EXPECT_THAT(printed_, HasSubstr("------------------step 2-------------apd = a43-------\n\n"));
    EXPECT_THAT(printed_, EndsWith("fMean = 6.000000\n"));
    EXPECT_EQ(1500u, iATT0);
}

TEST_F(LightRoad, TheTracesAreJudgedByTheirWavelength) {
    const struct {
        OTDRWaveLen wave;
        int control;
        float height;
        int result;
    } cases[] = {
        {WAVE_LEN_1310, 0x111, 6.0f, 1},   {WAVE_LEN_1310, 0x111, 5.9999f, -1},
        {WAVE_LEN_1550, 0x151, 5.0f, 1},   {WAVE_LEN_1550, 0x151, 4.9999f, -1},
        {WAVE_LEN_1625, 0x151, 20.0f, -1},
    };
    for (const auto& one : cases) {
        height_ = one.height;
        EXPECT_EQ(one.result, Check(good_, one.wave)) << one.wave << " " << one.height;
        EXPECT_EQ(one.control, Written("0x3000000c").front());
        EXPECT_EQ(10, Traces());
    }
}

TEST_F(LightRoad, TheRampFollowsNoiseAndMean) {
    const struct {
        const char* what;
        std::vector<NOISE> noises;
        std::vector<int> ramp;  // the last one 64 below the breakdown
    } cases[] = {
        {"found at once", {{60000, 10}, {60000, 200}}, {2627 - 64}},
        {"ten times the noise is too little, a hundred times too much",
         {{60000, 10}, {60000, 100}, {60000, 1000}, {60000, 101}},
         {2643, 2639, 2639 - 64}},
        {"999 is not too much", {{60000, 10}, {60000, 999}}, {2627 - 64}},
        {"held at a mean 6000 to 15000 lower",
         {{60000, 10}, {54000, 10}, {54001, 10}, {45000, 10}, {44999, 10}, {60000, 200}},
         {2643, 2639, 2639 - 64}},
        {"a mean 20000 lower is a breakdown", {{60000, 10}, {40000, 500}}, {2623, 2623 - 64}},
        {"a mean 20001 lower is none",
         {{60000, 10}, {39999, 500}, {60000, 100}, {60000, 200}},
         {2623, 2639, 2639 - 64}},
        {"a higher mean", {{58000, 10}, {64000, 10}, {64000, 200}}, {2643, 2643 - 64}},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(1, Check(one.noises)) << one.what;
        EXPECT_EQ(one.ramp, Ramp()) << one.what;
        EXPECT_EQ(static_cast<int>(one.noises.size()), Measured()) << one.what;
    }
}

TEST_F(LightRoad, TheThresholdsUseTheNoiseAsMeasured) {
    // Raised to 1.0, the noise of 5 would be below ten times it.
    EXPECT_EQ(-8, Check({{60000, 0}, {60000, 5}}));
    const std::vector<int> ramp = Ramp();
    ASSERT_EQ(201u, ramp.size());
    EXPECT_EQ(2627 - 4, ramp.front());
    EXPECT_EQ(2627 - 200 * 4, ramp[199]);
    EXPECT_EQ(2048, ramp.back()) << "at rest after a search without a breakdown";
    // One sample off by one: the noise is 0.044, so that the 1.0 it starts from is a breakdown.
    calls_.onSamples = nullptr;
    Acquisitions({{60000, 0}});
    const auto onFlat = calls_.onSamples;
    calls_.onSamples = [&](int n) {
        onFlat(n);
        system_.samples[7] += 1;
    };
    system_.Clear();
    test::Printed([] { LightRoadJust(WAVE_LEN_1310); });
    EXPECT_EQ(1, Measured());
    EXPECT_THAT(Ramp(), ElementsAre(2627 - 64));
}

TEST_F(LightRoad, TwoHundredTriesEndTheRamp) {
    std::vector<NOISE> held(201, {54000, 10});
    held[0] = {60000, 10};
    EXPECT_EQ(-8, Check(held));
    EXPECT_EQ(201, Measured());
    EXPECT_THAT(Ramp(), ElementsAre(2048));
    EXPECT_THAT(printed_,
                EndsWith(std::string("step 2-------------apd = a43-------\n\n") + kSearchFailed + "\n"));
    held[200] = {60000, 200};
    EXPECT_EQ(-8, Check(held)) << "found with the last try";
    EXPECT_THAT(Ramp(), ElementsAre(2048));
    held[199] = {60000, 200};
    EXPECT_EQ(1, Check(held));
    EXPECT_EQ(200, Measured());
}

TEST_F(LightRoad, ARampOffTheTopSaysThatTheLinkMayCarryLight) {
    EXPECT_EQ(-2, Check({{60000, 10}}));
    EXPECT_THAT(printed_, EndsWith(std::string(kSearchFailed) + kMayCarryLight));
    EXPECT_THAT(printed_, Not(HasSubstr("step 2")));
    const std::vector<int> ramp = Ramp();
    ASSERT_EQ(78u, ramp.size());
    EXPECT_EQ(2627 + 16, ramp[0]);
    EXPECT_EQ(2627 + 77 * 16, ramp[76]) << "the last code up to 3872";
    EXPECT_EQ(2048, ramp[77]);
}

TEST_F(LightRoad, TheAttenuatorStartsFromTheRecord) {
    const struct {
        uint32_t stored;
        int start, result;
    } cases[] = {
        {256, 1280, 1},   {257, 257, 1},   {3840, 3840, 1},       {3841, 3841, -1},
        {4079, 4079, -1}, {4080, 1280, 1}, {0xFFFFFFFF, 1280, 1},
    };
    for (const auto& one : cases) {
        cOpmTunning.iAtt0 = one.stored;
        EXPECT_EQ(one.result, Check(good_)) << one.stored;
        EXPECT_EQ(one.start, Written(kAtt0).front()) << one.stored;
    }
    EXPECT_EQ(1280u, iATT0);
}

TEST_F(LightRoad, TheAttenuatorBringsTheMeanIntoItsWindow) {
    const struct {
        uint32_t start;
        std::vector<int> means;  // of the search
        int result;
        uint32_t found;
    } cases[] = {
        {1500, {58000}, 1, 1500},        {1500, {64000}, 1, 1500},
        {1500, {57999, 60000}, 1, 1490}, {1500, {64001, 60000}, 1, 1510},
        {3830, {65000, 60000}, 1, 3840}, {266, std::vector<int>(26, 50000), -1, 6},
    };
    for (const auto& one : cases) {
        cOpmTunning.iAtt0 = one.start;
        std::vector<NOISE> noises;
        for (const int mean : one.means)
            noises.push_back({mean, 10});
        if (one.result == 1)
            noises.push_back({one.means.back(), 200});
        EXPECT_EQ(one.result, Check(noises)) << one.start << " " << one.means.front();
        EXPECT_EQ(static_cast<int>(noises.size()), Measured());
        if (one.result == 1) {
            EXPECT_EQ(one.found, iATT0);
            EXPECT_EQ(static_cast<int>(one.found), Written(kAtt0).back());
        } else {
            EXPECT_THAT(printed_, EndsWith("GetSignalParameter ERROR! ATT0 = 6, blacklevel = 50000\n"));
            EXPECT_EQ(3840u, iATT0) << "the code found before stays";
        }
    }
}

TEST_F(LightRoad, AStopEndsTheCheckWhereItIs) {
    const struct {
        const char* what;
        int at;  // noise measurement
        std::vector<NOISE> noises;
        int result;
        std::vector<int> ramp;
    } cases[] = {
        {"in the ATT0 search", 1, {{65000, 10}, {60000, 10}}, -1, {}},
        {"before the ramp", 1, {{60000, 10}}, -1, {2048}},
        {"in the ramp", 3, {{60000, 10}}, -1, {2643, 2659, 2048}},
        {"at its end", 2, {{60000, 10}, {60000, 200}}, 0, {2048}},
    };
    for (const auto& one : cases) {
        SetStopThreadFlag(1);
        int seen = 0;
        calls_.onStatus = [&] {
            if (++seen == 2 * one.at)
                SetStopThreadFlag(0);
        };
        EXPECT_EQ(one.result, Check(one.noises)) << one.what;
        EXPECT_EQ(one.at, Measured()) << one.what;
        EXPECT_EQ(one.ramp, Ramp()) << one.what;
        EXPECT_EQ(one.result == 0 ? 1 : 0, Count(printed_, "step 2")) << one.what;
    }
}

TEST_F(LightRoad, AStopBeforeTheSearchTouchesNothingMore) {
    SetStopThreadFlag(0);
    EXPECT_EQ(0, LightRoadJust(WAVE_LEN_1310));
    EXPECT_EQ("", system_.Trace());
    SetStopThreadFlag(1);
    calls_.onWrite = [](unsigned, unsigned) { SetStopThreadFlag(0); };
    EXPECT_EQ(0, Check(good_));
    EXPECT_EQ("seek optic0 0\nread optic0 96\nreg write 0x30000002 0x03ff\nsleep 1\n", system_.Trace());
}

TEST_F(LightRoad, TheEndOfTheProgramLeavesABrokenOffReadingUnused) {
    const struct {
        int at, result;  // acquisition
        std::vector<int> ramp;
    } cases[] = {{1, -1, {}}, {3, -1, {2643, 2048}}, {4, 0, {2643, 2643 - 64, 2048}}};
    for (const auto& one : cases) {
        SetExitFlag(0);
        system_.fixed[0x2e / 2] = 0xA0;
        EndProgramAt(one.at);
        const bool reachesTraces = one.result == 0;
        EXPECT_EQ(one.result, Check(reachesTraces ? std::vector<NOISE>{{60000, 10}, {60000, 10}, {60000, 200}}
                                                  : std::vector<NOISE>{{60000, 10}}))
            << one.at;
        EXPECT_EQ(one.ramp, Ramp()) << one.at;
        EXPECT_EQ(reachesTraces ? 1 : 0, Traces());
        EXPECT_EQ(one.at - 1, Count(system_.Trace(), "\ndata ")) << one.at;
    }
}

TEST_F(LightRoad, AnAcquisitionThatNeverEndsIsBadAndTold) {
    const struct {
        const char* what;
        int at;  // acquisition
        std::vector<NOISE> noises;
        std::vector<int> ramp;
        int traces;
    } cases[] = {
        {"in the ATT0 search", 1, {{60000, 10}}, {2048}, 0},
        {"in the ramp", 3, {{60000, 10}}, {2643, 2048}, 0},
        {"in a trace", 5, {{60000, 10}, {60000, 200}}, {2627 - 64, 2048}, 3},
    };
    for (const auto& one : cases) {
        operator_.Clear();
        int looks = 0;
        calls_.onStatus = [&] { system_.fixed[0x2e / 2] = ++looks < 2 * one.at - 1 ? 0xA0 : 0; };
        EXPECT_EQ(-1, Check(one.noises)) << one.what;
        EXPECT_EQ(one.ramp, Ramp()) << one.what;
        EXPECT_EQ(one.traces, Traces()) << one.what;
        EXPECT_THAT(operator_.Lines(), ElementsAre("optcheck: Acquisition time out.")) << one.what;
        EXPECT_THAT(printed_, EndsWith("Acquisition time out.\n")) << one.what;
        EXPECT_THAT(printed_, Not(HasSubstr("fMean = 0"))) << one.what;
        EXPECT_EQ(0, system_.registers[0x2e / 2]) << one.what;
    }
}

TEST_F(LightRoad, WithoutTheDriverTheCheckEndsToo) {
    system_.Fail("reg", 5);
    const int64_t begin = calls_.Now();
    EXPECT_EQ(-1, Check(good_));
    EXPECT_LT(calls_.Now() - begin, 7000000);
    EXPECT_THAT(operator_.Lines(), ElementsAre("optcheck: Acquisition time out."));
}

TEST_F(LightRoad, AStopInATraceThatNeverEndsIsNotTold) {
    int looks = 0;
    calls_.onStatus = [&] {
        ++looks;
        system_.fixed[0x2e / 2] = looks < 5 ? 0xA0 : 0;
        if (looks == 20)
            SetStopThreadFlag(0);
    };
    EXPECT_EQ(0, Check(good_));
    EXPECT_THAT(Ramp(), ElementsAre(2627 - 64, 2048));
    EXPECT_EQ(20, looks);
    EXPECT_THAT(operator_.Lines(), testing::IsEmpty());
}
