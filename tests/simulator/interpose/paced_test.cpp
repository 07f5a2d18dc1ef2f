// Virtual time as real time times a factor.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>

#include "tests/simulator/interpose/probe_run.h"

using test::Json;
using test::ProbeRun;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

namespace {

ProbeRun::Options Speed(int factor) {
    ProbeRun::Options options;
    options.environment["K905_SPEED"] = std::to_string(factor);
    return options;
}

TEST(Paced, ThreadsShareMutexesAndConditions) {
    ProbeRun run("threads", "paced", Speed(20));
    EXPECT_EQ(0, run.Wait());
    EXPECT_EQ(201u, run.Lines().size());
}

TEST(Paced, ClocksAndSleepsAgree) {
    ProbeRun run("clock", "paced", Speed(10));
    EXPECT_EQ(0, run.Wait());
    ASSERT_EQ(3u, run.Lines().size());
    EXPECT_EQ("same second 1", run.Lines()[0]);
}

TEST(Paced, SleepsScaleWithTheFactor) {
    // Eleven virtual seconds, of which all but the first moments pass a thousand times as fast.
    ProbeRun run("screen", "paced");
    const auto start = std::chrono::steady_clock::now();
    run.Ask({{"do", "speed"}, {"factor", 1000}});
    EXPECT_TRUE(run.Ask({{"do", "until"}, {"exit", true}, {"limit_ms", 3'600'000}}).value("met", true));
    EXPECT_EQ(0, run.Wait());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(Paced, TheFactorChangesAndTimeCanBeHeld) {
    ProbeRun run("keypad", "paced", Speed(1000));
    EXPECT_EQ(1000, run.Ask({{"do", "hello"}})["speed"]);
    EXPECT_TRUE(run.Ask({{"do", "until"}, {"idle_ms", 2000}, {"limit_ms", 60'000}})["met"]);
    const Json held = run.Ask({{"do", "speed"}, {"factor", 0}});
    EXPECT_TRUE(run.Ask({{"do", "hello"}})["paused"]);
    EXPECT_EQ(held["now_us"], run.Ask({{"do", "hello"}})["now_us"]);
    run.Ask({{"do", "speed"}, {"factor", 500}});
    EXPECT_TRUE(run.Ask({{"do", "until"}, {"idle_ms", 1000}, {"limit_ms", 60'000}})["met"]);
    EXPECT_GT(run.Ask({{"do", "hello"}})["now_us"], held["now_us"]);
    EXPECT_FALSE(run.Ask({{"do", "speed"}, {"factor", -1}})["ok"]);
    EXPECT_FALSE(run.Ask({{"do", "speed"}, {"factor", "fast"}})["ok"]);
}

TEST(Paced, KeysReachABlockedReader) {
    ProbeRun run("keypad", "paced", Speed(100));
    EXPECT_EQ(1u, run.LinesWhenThereAre(1).size());
    EXPECT_TRUE(run.Ask({{"do", "key"}, {"key", "menu"}})["ok"]);
    EXPECT_EQ(3u, run.LinesWhenThereAre(3).size());
    run.Ask({{"do", "key"}, {"key", 5}});
    EXPECT_EQ(0, run.Wait());
}

TEST(Paced, ASignalEndsAWaitAndTerminationEndsTheProgram) {
    ProbeRun run("signals", "paced", Speed(10));
    run.Ask({{"do", "advance"}, {"ms", 2000}});
    EXPECT_THAT(run.Lines(), ElementsAre("handler 1", StartsWith("read -1 EINTR handled "),
                                         "sleep -1 EINTR after a moment",
                                         StartsWith("read -1 EINTR handled "), StartsWith("joined after "),
                                         "alarms 3, at once, interval 10000", "then none 0", "waiting"));
    run.Ask({{"do", "stop"}});
    EXPECT_EQ(7, run.Wait());
}

TEST(Paced, ATerminationFromOutsideReachesTheHandler) {
    ProbeRun run("signals", "paced", Speed(10));
    EXPECT_EQ("waiting", run.LinesWhenThereAre(8).back());
    kill(run.Pid(), SIGINT);
    EXPECT_EQ(7, run.Wait());
}

TEST(Paced, TheSerialPortAnswersAndTimesOut) {
    ProbeRun run("serial", "paced", Speed(50));
    EXPECT_EQ(0, run.Wait());
    ASSERT_EQ(6u, run.Lines().size());
    EXPECT_EQ("select 1 1 left 1", run.Lines()[2]);
    EXPECT_THAT(run.Lines()[5], EndsWith("left 0.000000"));
}

}  // namespace
