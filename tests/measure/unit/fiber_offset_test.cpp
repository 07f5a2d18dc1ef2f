#include "measure/fiber_offset.h"

#include <errno.h>

#include <algorithm>

#include "tests/measure/unit/measure_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;

class FiberOffset : public test::MeasureTest {
  protected:
    // A reflection of the rotated trace, broad enough for the shape test. A negative height stands above the
    // dark level.
    void Peak(int position, int height, int halfWidth = 6, int dark = 60000) {
        for (int i = -halfWidth; i <= halfWidth; ++i) {
            const int at = (position + i + 512) % 8192;
            const int fall = (height > 0 ? 2 : -2) * std::abs(i);
            system_.samples[static_cast<size_t>(at)] = static_cast<uint16_t>(dark - height + fall);
        }
    }
    int Calibrate() {
        int offset = -1;
        test::Printed([&] { offset = CalExFiberLen(result_); });
        return offset;
    }
    char result_[128] = "";
};

TEST_F(FiberOffset, PairsAreJudgedByTheirSpacing) {
    const struct {
        int positions[5];
        bool found;
        int offset;
    } cases[] = {
        {{0, 0, 0, 1000, 1125}, true, 978},
        {{0, 0, 0, 1000, 1200}, false, 0},
        {{0, 0, 0, 1000, 1100}, true, 978},
        {{0, 0, 0, 1000, 1137}, true, 978},
        {{0, 0, 0, 1000, 1138}, false, 0},
        {{0, 0, 0, 900, 1000}, true, 878},
        {{0, 0, 0, 0, 0}, false, 0},
        {{5, 5, 1000, 1000, 3000}, true, -17},
        {{0, 500, 1000, 2000, 2100}, true, 1978},
    };
    for (const auto& one : cases) {
        bool found = !one.found;
        EXPECT_EQ(one.offset, OffsetOfPeaks(one.positions, found));
        EXPECT_EQ(one.found, found) << one.positions[3] << " " << one.positions[4];
    }
}

TEST_F(FiberOffset, ATraceWithoutReflectionsIsAnErrorThatIsSaved) {
    cOpmTunning.OffsetPoint = 4711;
    Samples(60000, 0);
    EXPECT_EQ(0, Calibrate());
    EXPECT_STREQ("Adjust Error", result_);
    EXPECT_EQ(0, cOpmTunning.OffsetPoint);
    EXPECT_NE("", system_.Trace("write optic0"));
}

TEST_F(FiberOffset, TwoEndsOfTheFibreGiveTheOffset) {
    Samples(60000, 0);
    Peak(1000, 20000);
    Peak(1125, 15000);
    const std::string positions =
        "Position[0]=0\nPosition[1]=0\nPosition[2]=0\nPosition[3]=1000\nPosition[4]=1125\n";
    EXPECT_EQ("BlackLevel = 60000\n" + positions + positions +
                  "------OffsetPoint = 978--------\n--------------Adjust Success-------------",
              test::Printed([&] { EXPECT_EQ(978, CalExFiberLen(result_)); }));
    EXPECT_STREQ("Adjust Success", result_);
    EXPECT_EQ(978, cOpmTunning.OffsetPoint);
}

TEST_F(FiberOffset, ANearPairIsAnErrorButKept) {
    for (const int offset : {878, 899, 900}) {
        Samples(60000, 0);
        Peak(offset + 22, 20000);
        Peak(offset + 122, 15000);
        EXPECT_EQ(offset, Calibrate());
        EXPECT_STREQ(offset > 899 ? "Adjust Success" : "Adjust Error", result_);
        EXPECT_EQ(offset, cOpmTunning.OffsetPoint);
    }
}

TEST_F(FiberOffset, OnlySamplesBelowTheDarkLevelMakeAPeak) {
    Samples(30000, 0);
    Peak(1000, -20000, 6, 30000);
    Peak(1125, -15000, 6, 30000);
    EXPECT_EQ(0, Calibrate());
}

TEST_F(FiberOffset, ASampleOneCodeBelowTheDarkLevelIsAPeakAndOneAboveIsNone) {
    const struct {
        uint16_t code;
        const char* position;  // in each of the five rounds, as so near to the start nothing is cleared
    } cases[] = {{59999, "Position[0]=5\n"}, {60001, "Position[0]=0\n"}};
    for (const auto& one : cases) {
        Samples(60000, 0);
        system_.samples[512 + 5] = one.code;
        char result[16] = "";
        EXPECT_THAT(test::Printed([&] { CalExFiberLen(result); }), testing::HasSubstr(one.position));
    }
}

TEST_F(FiberOffset, ThePeakMayReachOverTheWholeRange) {
    Samples(65535, 0);
    Peak(1000, 65535, 6, 65535);
    Peak(1125, 65535, 6, 65535);
    EXPECT_EQ(978, Calibrate());
}

TEST_F(FiberOffset, ASharpSpikeUsesUpARound) {
    Samples(60000, 0);
    Peak(3000, 30000, 0);  // one sample wide
    Peak(1000, 20000);
    Peak(1125, 15000);
    EXPECT_EQ(978, Calibrate());
    // Four spikes leave one round: no pair.
    for (const int position : {4000, 5000, 6000})
        Peak(position, 30000, 0);
    EXPECT_EQ(0, Calibrate());
}

TEST_F(FiberOffset, PeaksAtTheTracesEndsAreLookedAtSafely) {
    static float log[TRACE_SAMPLES];
    static float work[TRACE_SAMPLES];
    int positions[FIBER_PEAKS] = {};
    std::fill(std::begin(log), std::end(log), 0.0f);
    log[8191] = 0.5f;
    log[3] = 0.25f;
    FindFiberPeaks(log, work, positions);
    EXPECT_THAT(positions, ElementsAre(3, 3, 3, 3, 8191)) << "below 62 nothing is cleared";
}

TEST_F(FiberOffset, ThePeaksAreFoundInOrderOfHeightAndSorted) {
    static float log[TRACE_SAMPLES];
    static float work[TRACE_SAMPLES];
    int positions[FIBER_PEAKS] = {};
    std::fill(std::begin(log), std::end(log), 0.0f);
    for (const int at : {4000, 2000, 3000})
        for (int i = -6; i <= 6; ++i)
            log[at + i] = 10.0f + static_cast<float>(at) / 1000 - 0.01f * static_cast<float>(std::abs(i));
    FindFiberPeaks(log, work, positions);
    EXPECT_THAT(positions, ElementsAre(0, 0, 2000, 3000, 4000));
}

TEST_F(FiberOffset, AcquiresInItsOrder) {
    static uint16_t trace[TRACE_SAMPLES];
    cOpmTunning.iAtt0 = 0xFFFFFFFF;
    cOpmTunning.iAtt1 = 0x0400;
    Samples(60000, 0);
    EXPECT_EQ(0, ExFiberLenSetParament(trace));
    EXPECT_EQ(
        "reg write 0x30000002 0x07fc\nsleep 10\nreg write 0x3000000a 0x6300\nsleep 10\n"
        "reg write 0x3000000c 0x0131\nsleep 10\nreg write 0x30000014 0x07bb\nsleep 200\n"
        "reg write 0x30000012 0x0810\nsleep 200\nreg write 0x30000018 0x0000\nsleep 10\n"
        "reg write 0x30000030 0x0008\nsleep 10\nreg write 0x3000000e 0xffff\nsleep 10\n"
        "reg write 0x30000010 0x0400\nsleep 10\nreg write 0x30000032 0x0620\nsleep 10\n"
        "reg write 0x30000024 0x0000\nsleep 1\nreg write 0x30000022 0x0000\nsleep 1\n"
        "reg write 0x3000001a 0x2000\nsleep 1\nreg write 0x3000001c 0x0000\nsleep 1\n"
        "reg write 0x3000001e 0x0000\nsleep 1\nreg write 0x30000020 0x0400\nsleep 1\n"
        "reg write 0x3000002e 0x0001\nsleep 100\nreg read 0x3000002e\nsleep 100\n"
        "reg write 0x3000002e 0x0002\nsleep 100\nreg read 0x3000002e\ndata 8192\n"
        "reg write 0x3000002e 0x0000\nsleep 1\n",
        system_.Trace());
    EXPECT_EQ(0, ExFiberLenSetParament(nullptr));
    EXPECT_EQ(0, CalExFiberLen(nullptr));
}

TEST_F(FiberOffset, ShortMemoryLeavesTheRecord) {
    cOpmTunning.OffsetPoint = 4711;
    Samples(60000, 0);
    const struct {
        const char* call;
        int before;
    } cases[] = {{"calloc", 0}, {"malloc", 0}, {"malloc", 1}};
    for (const auto& one : cases) {
        system_.Fail(one.call, 12, one.before, 1);
        memset(result_, 'x', 20);
        EXPECT_EQ(0, CalExFiberLen(result_));
        EXPECT_STREQ("Adjust Error", result_);
        EXPECT_EQ(4711, cOpmTunning.OffsetPoint);
        EXPECT_EQ("", system_.Trace("data")) << one.call << " after " << one.before;
    }
}

TEST_F(FiberOffset, AnAcquisitionThatNeverEndsIsAnErrorThatIsNotSaved) {
    cOpmTunning.OffsetPoint = 4711;
    Samples(60000, 0);
    for (const uint16_t status : {0x00, 0x80}) {
        operator_.Clear();
        memset(result_, 'x', 20);
        system_.fixed[0x2e / 2] = status;
        EXPECT_EQ("Acquisition time out.\n", test::Printed([&] { EXPECT_EQ(0, CalExFiberLen(result_)); }));
        EXPECT_STREQ("Adjust Error", result_);
        EXPECT_EQ(4711, cOpmTunning.OffsetPoint);
        EXPECT_THAT(operator_.Lines(), ElementsAre("optcheck: Acquisition time out."));
    }
    EXPECT_EQ("", system_.Trace("write optic0"));
    EXPECT_THAT(calls_.opened, testing::IsEmpty());
}

TEST_F(FiberOffset, ATraceThatTheEndOfTheProgramBrokeOffIsNeitherJudgedNorSaved) {
    cOpmTunning.OffsetPoint = 4711;
    Samples(60000, 0);
    EndProgramAt(1);
    EXPECT_EQ("", test::Printed([&] { EXPECT_EQ(0, CalExFiberLen(result_)); }));
    SetExitFlag(0);
    system_.fixed[0x2e / 2] = 0xA0;
    calls_.onStatus = nullptr;
    // A signal breaks the fetching off.
    system_.Fail("data", EINTR);
    calls_.onSamples = [](int) { SetExitFlag(1); };
    EXPECT_EQ("", test::Printed([&] { EXPECT_EQ(0, CalExFiberLen(result_)); }));
    EXPECT_EQ(4711, cOpmTunning.OffsetPoint);
    EXPECT_EQ("", system_.Trace("write optic0"));
    EXPECT_THAT(operator_.Lines(), testing::IsEmpty());
}
