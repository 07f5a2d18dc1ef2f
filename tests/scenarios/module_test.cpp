// The optical module's job, on good modules and with faults.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "simulator/panel/check.h"
#include "tests/scenarios/operator.h"

namespace k905 {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// The production line (simulator/line) does it on as many modules as wanted, and `./run --check` on the
// first.
TEST(ModuleJob, PassesOnTheSecondModule) {
    CheckOptions options;
    options.bench.seed = 2;
    options.jobs = {CheckJob::kModule};
    options.outDir = std::string(K905_BINARY_DIR) + "/scenarios/module";
    for (const CheckResult& result : RunCheck(options, [](const CheckResult&) {}))
        EXPECT_TRUE(result.Passed()) << result.step << ": " << result.wrong << WhereItIs(result.at);
}

std::string Contents(const std::string& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

// ---- APD tuning ----

class ApdTuning : public ::testing::Test {
  protected:
    static constexpr int kMinute = 60000;

    void SetUp() override { ASSERT_TRUE(person_.OpenModule("APD_Adjust")); }

    void Start() {
        person_.Press("Start");
        ASSERT_TRUE(person_.Sees("DelayTime = 60 min, CurTime = 0 min", 10 * kMinute));
    }
    // After Stop, or at the end: the calibration can be started anew, and the program is usable.
    void ExpectUsable() {
        person_.Press("Start");
        EXPECT_TRUE(person_.Sees("APD Tuning Start Success!", 10 * kMinute));
        person_.Press("Stop");
        person_.At().Advance(3000);
        person_.Press("Back");
        EXPECT_TRUE(person_.Sees("OPM_Adjust"));
        EXPECT_EQ(0, person_.At().Stop().status) << person_.At().DescribeEnding();
    }
    // Releases Stop; within a second or so the E2PROM button can be used, which it cannot while a calibration
    // runs.
    void StopAndLook() {
        person_.Press("E2PROM");
        person_.At().Advance(400);
        EXPECT_TRUE(person_.SeesNow("APD Adjust")) << "E2PROM is disabled during the calibration";
        person_.Press("Stop");
        person_.At().Advance(2000);
        ASSERT_TRUE(person_.Go("E2PROM", "pOpmTunning->iAtt0") && person_.Go("Back", "APD_Adjust") &&
                    person_.Go("APD_Adjust", "APD Adjust"));
        ExpectUsable();
    }

    Operator person_;
};

TEST_F(ApdTuning, StopsDuringItsTrial) {
    person_.Press("Start");
    person_.At().Advance(20000);
    StopAndLook();
}

TEST_F(ApdTuning, StopsInTheWaitAfterItsTrial) {
    person_.Press("Start");
    ASSERT_TRUE(person_.Sees("APD Tuning Start Success!", 10 * kMinute));
    person_.At().Advance(5000);
    StopAndLook();
}

TEST_F(ApdTuning, StopsInItsDelay) {
    Start();
    person_.At().Advance(7 * kMinute + 30000);
    StopAndLook();
}

TEST_F(ApdTuning, StopsDuringASample) {
    Start();
    person_.At().Advance(60 * kMinute + 20000);
    StopAndLook();
}

TEST_F(ApdTuning, StopsBetweenSamples) {
    Start();
    ASSERT_TRUE(person_.Sees("TunNum = 1", 90 * kMinute));
    person_.At().Advance(2 * kMinute);
    StopAndLook();
}

TEST_F(ApdTuning, LeavingTheScreenStopsIt) {
    Start();
    person_.At().Advance(kMinute);
    ASSERT_TRUE(person_.Go("Back", "OPM_Adjust") && person_.Go("APD_Adjust", "APD Adjust"));
    ExpectUsable();
}

TEST_F(ApdTuning, GivesUpAfterTwentyFailedTemperatures) {
    Start();
    person_.At().Advance(59 * kMinute);
    person_.At().Fault("optic.temperature_failing", true);
    ASSERT_TRUE(person_.Sees("tmpCount = 21", 5 * kMinute));
    EXPECT_THAT(person_.At().Console(), HasSubstr("get opm temperature failed!"));
    person_.At().Fault("optic.temperature_failing", false);
    person_.Settle();
    ExpectUsable();
}

TEST_F(ApdTuning, DoesNotStartWithLightOnTheLink) {
    person_.At().Set("optics.light_on_link", true);
    person_.Press("Start");
    ASSERT_TRUE(person_.Sees("APD Tuning Start Failed! ret = -1", 10 * kMinute));
    person_.At().Set("optics.light_on_link", false);
    person_.Settle();
    ExpectUsable();
}

// ---- The whole tuning ----

struct Tuning {
    std::string log, record, console;
    std::vector<std::uint8_t> curve, values;
    bool operator==(const Tuning& other) const {
        return log == other.log && record == other.record && console == other.console &&
               curve == other.curve && values == other.values;
    }
};

// From 25 degrees to 55 while the module warms up: trial, delay, samples, fit, the record looked at.
Tuning WholeTuning(unsigned seed) {
    Operator person({}, seed);
    Bench& bench = person.At();
    Tuning tuning;
    if (!person.OpenModule("APD_Adjust"))
        return tuning;
    person.Press("Start");
    bench.Set("module.temperature_rate", 0.15);
    EXPECT_TRUE(person.Sees("APDTuning over!", 24 * 3600 * 1000));
    person.Settle();
    tuning.curve = bench.Screen().bytes;
    person.Press("E2PROM");
    EXPECT_TRUE(person.Sees("pOpmTunning->iAtt0"));
    person.Settle();
    tuning.values = bench.Screen().bytes;
    bench.Stop();
    tuning.log = Contents(bench.StateDir() + "/root/mnt/sdcard/fct_log.txt");
    tuning.record = Contents(bench.StateDir() + "/tuning.bin");
    tuning.console = bench.Console();
    return tuning;
}

TEST(WholeApdTuning, IsTheSameEveryTime) {
    const Tuning first = WholeTuning(7);
    EXPECT_THAT(first.log, HasSubstr("GetApdCoefficient Success!"));
    EXPECT_EQ(96u, first.record.size());
    if (K905_SANITIZED)
        return;  // a sanitizer has seen all of it once
    EXPECT_TRUE(first == WholeTuning(7));
    EXPECT_NE(first.record, WholeTuning(8).record) << "another module";
}

// ---- Faults on the other screens ----

TEST(OpmTest, UnsettableAttenuatorEndsTheSignalChainAndLocksTheScreen) {
    Operator person;
    ASSERT_TRUE(person.OpenModule("OPM_FCT") && person.ConnectModule());
    person.At().Fault("optic.register_stuck", {{"register", "0x3000000e"}, {"value", 0}});
    person.Press("Signal chain");
    ASSERT_TRUE(person.Sees("Adjust Att0 fail!!! Signal chain test fa", 600000)) << person.At().Describe();
    person.Settle();
    // Every button is disabled until the screen is left.
    const Picture before = person.At().Screen();
    for (const char* control : {"Voltage Check", "Signal chain", "Eeprom Check", "Temperature"}) {
        person.Press(control);
        person.At().Advance(1500);
        EXPECT_EQ(before.bytes, person.At().Screen().bytes) << control;
    }
    person.At().Fault("optic.register_stuck", false);
    ASSERT_TRUE(person.Go("Back", "OPM_FCT") && person.Go("OPM_FCT", "Signal chain"));
    person.Press("Signal chain");
    EXPECT_TRUE(person.Sees("6307channel: success!!!", 300000));
    EXPECT_TRUE(person.SeesNow("6300channel: success!!!"));
}

// A loop whose target has gone out of reach ends with the message; after the repair it finds the target. That
// the board is pulled meanwhile is one of the examples.
TEST(AdjustLoop, WithItsAttenuatorStuckRunsOutOfTriesAndCanBeRepaired) {
    Operator person;
    ASSERT_TRUE(person.OpenModule("OPM_Adjust") && person.ConnectModule());
    person.At().Fault("optic.register_stuck", {{"register", "0x3000000e"}, {"value", 0}});
    person.Press("Att0");
    ASSERT_TRUE(person.Sees("Ajust try times out.", 2000000));
    person.At().Fault("optic.register_stuck", false);
    person.Settle();
    person.Press("Att0");
    EXPECT_TRUE(person.Sees("Ad:  0.0V reg:0x", 1200000));
    EXPECT_FALSE(person.SeesNow("Ajust try times out."));
}

TEST(OpmTest, BoardUnpluggedHalfWayFailsTheRemainingPoints) {
    Operator person;
    ASSERT_TRUE(person.OpenModule("OPM_FCT") && person.ConnectModule());
    person.Press("Voltage Check");
    ASSERT_TRUE(person.Sees("OK  TP18:"));
    person.At().Fault("board.unplugged", true);
    ASSERT_TRUE(person.Sees("F.  TP17:  99.99999V", 20000));
    person.At().Fault("board.unplugged", false);
    person.Settle();
    person.Press("Voltage Check");
    EXPECT_TRUE(person.Sees("OK  TP17:", 20000));
}

TEST(OpmTest, FailingTemperatureIsTold) {
    Operator person;
    ASSERT_TRUE(person.OpenModule("OPM_FCT"));
    person.At().Fault("optic.temperature_failing", true);
    person.Press("Temperature");
    EXPECT_TRUE(person.Sees("Temperature = 0.000000"));
    person.Settle();
    EXPECT_THAT(person.At().Console(), HasSubstr("get opm temperature failed!"));
    person.At().Fault("optic.temperature_failing", false);
    person.Press("Temperature");
    EXPECT_TRUE(person.Sees("Temperature = 25."));
}

}  // namespace
}  // namespace k905
