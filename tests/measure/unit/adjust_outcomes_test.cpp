// How each adjustment loop can end, the same ends for all of them: twins that differ in a constant must not
// differ here.
#include <functional>

#include "tests/measure/unit/measure_fixture.h"

using test::Printed;

namespace {

constexpr long kReplyPause = 25;  // milliseconds, once in each reading

enum READING { MET, MISSED, FAILED };

// A loop, seen at its last target, whose status is the loop's.
struct LOOP {
    const char* what;
    int32_t (*fnAdjust)();
    AdcChanel channel;
    bool offset;         // reads TP1 before its own channel
    int targetsBefore;   // targets that come first
    const float* first;  // their voltages
    float target, missed;
    int readings;     // at most, for one target
    bool lastCounts;  // a target met with the last of them is met
    int success;      // status
    int stopped;      // status when stopped in a reading that failed
    OPM_Value* pResult;
    uint16_t* pCode;
    uint16_t startCode;  // stored when the first reading meets the target; 0: nothing is stored
};

const float kVddTargets[] = {3.0f, 2.5f, 2.0f};
const float kApdTargets[] = {45.0f, 40.0f, 35.0f, 30.0f};

const LOOP kLoops[] = {
    {"VDD", [] { return OPMAdjustVdd(WAVE_LEN_1550); }, ADC_CHANEL_TP15, false, 3, kVddTargets, 1.5f, 0.0f,
     801, false, 0, -11, &OpmTuningResult.Vdd_Result[3], &OpmRegValue[WAVE_LEN_1550].iVddValue[3], 1056},
    {"APD", [] { return OPMAdjustAPD(WAVE_LEN_1550); }, ADC_CHANEL_T70, false, 4, kApdTargets, 25.0f, 0.0f,
     201, false, 0, 0, &OpmTuningResult.Apd_Result[4], &OpmRegValue[WAVE_LEN_1550].iApdValue[4], 432},
    {"ATT0", [] { return OPMAdjustAtt0(WAVE_LEN_1550); }, ADC_CHANEL_TP3, true, 0, nullptr, 0.0f, 1.0f, 1001,
     true, 0, 0, &OpmTuningResult.Att0_Result[0], &OpmRegValue[WAVE_LEN_1550].iAtt0Value[0], 1280},
    {"ATT1", [] { return OPMAdjustAtt1(WAVE_LEN_1550); }, ADC_CHANEL_TP4, true, 0, nullptr, 0.0f, 1.0f, 1001,
     true, 0, 0, &OpmTuningResult.Att1_Result[0], &OpmRegValue[WAVE_LEN_1550].iAtt1Value[0], 1024},
    {"FCT ATT0", [] { return OPMFCTAdjustAtt0(WAVE_LEN_1550); }, ADC_CHANEL_TP3, true, 0, nullptr, 0.0f, 1.0f,
     101, true, 1, 1, &OpmTuningResult.Att0_Result[0], &OpmRegValue[WAVE_LEN_1550].iAtt0Value[0], 0},
    {"FCT ATT1", [] { return OPMFCTAdjustAtt1(WAVE_LEN_1550); }, ADC_CHANEL_TP4, true, 0, nullptr, 0.0f, 1.0f,
     101, true, 1, 1, &OpmTuningResult.Att1_Result[0], &OpmRegValue[WAVE_LEN_1550].iAtt1Value[0], 0},
};

class AdjustOutcomes : public test::MeasureTest {
  protected:
    AdjustOutcomes() {
        Samples(50000, 0);  // a good dark level
    }

    // What a run left.
    struct OUTCOME {
        int32_t status;
        bool kept;         // result and code are what they were before
        OPM_Value result;  // of the last target
        uint16_t code;
        size_t repliesLeft;
    };

    // Runs the loop with these readings at its last target; stopAt: the reading, from 1, in which the loop is
    // stopped, 0 before the loop, -1 never.
    OUTCOME Run(const LOOP& loop, const std::vector<READING>& readings, int stopAt = -1) {
        system_.Clear();
        system_.replies.clear();
        for (int i = 0; i < loop.targetsBefore; ++i)
            Reply(loop.channel, loop.first[i]);
        for (const READING reading : readings) {
            if (loop.offset)
                Reply(ADC_CHANEL_TP1, 0.5f);
            Reply(reading == FAILED ? ADC_CHANEL_TP2 : loop.channel,
                  reading == MET ? loop.target : loop.missed);
        }
        const OPM_Value before = {77, 7.0f};
        *loop.pResult = before;
        *loop.pCode = 78;
        SetStopThreadFlag(stopAt == 0 ? 0 : 1);
        const int stopAtReply = stopAt < 1 ? 0 : loop.targetsBefore + (loop.offset ? 2 : 1) * stopAt;
        calls_.onSleep = [=, replies = 0](long milliseconds) mutable {
            if (milliseconds == kReplyPause && ++replies == stopAtReply)
                SetStopThreadFlag(0);
        };
        OUTCOME outcome = {};
        Printed([&] { outcome.status = loop.fnAdjust(); });
        outcome.result = *loop.pResult;
        outcome.code = *loop.pCode;
        outcome.kept = outcome.result.reg == 77 && outcome.result.adc == 7.0f && outcome.code == 78;
        outcome.repliesLeft = system_.replies.size();
        return outcome;
    }

    // count readings that miss the target, then the last ones.
    static std::vector<READING> Missed(int count, const std::vector<READING>& last = {}) {
        std::vector<READING> readings(static_cast<size_t>(count), MISSED);
        readings.insert(readings.end(), last.begin(), last.end());
        return readings;
    }

    // The target was met: success, stored, all readings used.
    static void ExpectFound(const LOOP& loop, const OUTCOME& outcome) {
        EXPECT_EQ(loop.success, outcome.status);
        EXPECT_EQ(loop.startCode == 0, outcome.kept);
        if (loop.startCode != 0) {
            EXPECT_EQ(loop.target, outcome.result.adc);
            EXPECT_EQ(outcome.result.reg, outcome.code);
        }
        EXPECT_EQ(0u, outcome.repliesLeft);
    }

    static void ExpectNothingStored(int32_t status, const OUTCOME& outcome) {
        EXPECT_EQ(status, outcome.status);
        EXPECT_TRUE(outcome.kept);
    }
};

}  // namespace

TEST_F(AdjustOutcomes, AMetTargetIsStored) {
    for (const LOOP& loop : kLoops) {
        SCOPED_TRACE(loop.what);
        const OUTCOME atOnce = Run(loop, {MET});
        ExpectFound(loop, atOnce);
        if (loop.startCode != 0) {
            EXPECT_EQ(loop.startCode, atOnce.code);
        }
        ExpectFound(loop, Run(loop, {MISSED, MET}));
        ExpectFound(loop, Run(loop, {FAILED, FAILED, MISSED, FAILED, MET}));
        ExpectFound(loop, Run(loop, Missed(loop.readings - 2, {MET})));
        ExpectFound(loop, Run(loop, Missed(loop.readings - 3, {FAILED, MET})));
    }
}

TEST_F(AdjustOutcomes, TheLastReadingCountsForTheAttenuatorsOnly) {
    for (const LOOP& loop : kLoops) {
        SCOPED_TRACE(loop.what);
        const OUTCOME outcome = Run(loop, Missed(loop.readings - 1, {MET}));
        if (loop.lastCounts)
            ExpectFound(loop, outcome);
        else
            ExpectNothingStored(-8, outcome);
    }
}

TEST_F(AdjustOutcomes, SpentTriesStoreNothing) {
    for (const LOOP& loop : kLoops) {
        SCOPED_TRACE(loop.what);
        const std::vector<READING> spent[] = {
            Missed(loop.readings),
            Missed(loop.readings - 1, {FAILED}),
            std::vector<READING>(static_cast<size_t>(loop.readings), FAILED),
        };
        for (std::vector<READING> readings : spent) {
            readings.push_back(MET);  // comes too late
            const OUTCOME outcome = Run(loop, readings);
            ExpectNothingStored(-8, outcome);
            EXPECT_EQ(loop.offset ? 2u : 1u, outcome.repliesLeft);
        }
    }
}

TEST_F(AdjustOutcomes, AStopStoresNothingWhateverWasRead) {
    for (const LOOP& loop : kLoops) {
        SCOPED_TRACE(loop.what);
        const size_t replies = loop.offset ? 2 : 1;
        const OUTCOME before = Run(loop, {MET}, 0);
        ExpectNothingStored(loop.success, before);
        EXPECT_EQ(replies + static_cast<size_t>(loop.targetsBefore), before.repliesLeft);
        const struct {
            std::vector<READING> readings;
            int status;
        } stops[] = {
            {{MISSED}, loop.success},
            {{MET}, loop.success},
            {{FAILED}, loop.stopped},
            {{FAILED, MISSED}, loop.success},
            {Missed(loop.readings), loop.success},
        };
        for (const auto& stop : stops) {
            const OUTCOME outcome = Run(loop, stop.readings, static_cast<int>(stop.readings.size()));
            ExpectNothingStored(stop.status, outcome);
            EXPECT_EQ(0u, outcome.repliesLeft);
        }
    }
}
