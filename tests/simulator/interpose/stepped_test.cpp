// One thread at a time, in virtual time that a client moves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/simulator/interpose/probe_run.h"

using test::Json;
using test::ProbeRun;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// Everything that the threads probe leaves behind: its output, its file on the card, and the trace of its
// calls.
std::string WholeRun(unsigned seed) {
    ProbeRun::Options options;
    options.environment["K905_SEED"] = std::to_string(seed);
    ProbeRun run("threads", "stepped", options);
    run.Ask({{"do", "trace"}, {"action", "start"}});
    for (int i = 0; i < 10; ++i)
        run.Ask({{"do", "advance"}, {"ms", 37}});
    const std::string trace = run.Ask({{"do", "trace"}, {"action", "read"}}).dump(1);
    const std::string threads = run.Ask({{"do", "threads"}}).dump();
    EXPECT_EQ(0, run.Finish());
    EXPECT_EQ(run.Lines().size(), 201u);
    EXPECT_THAT(run.Lines().back(), StartsWith("end "));
    return trace + threads + run.ReadFile("console.log") + run.ReadFile("root/mnt/sdcard/order.txt");
}

TEST(Stepped, TwentyRunsAreTheSameToTheByte) {
    const std::string first = WholeRun(1);
    for (int i = 1; i < 20; ++i)
        ASSERT_EQ(first, WholeRun(1)) << "run " << i;
}

TEST(Stepped, RunsAreTheSameOnALoadedMachine) {
    const std::string first = WholeRun(1);
    test::LoadGenerator load;
    for (int i = 1; i < 5; ++i)
        ASSERT_EQ(first, WholeRun(1)) << "run " << i;
}

TEST(Stepped, StandsStillAtTimeZeroUntilAdvanced) {
    ProbeRun run("keypad", "stepped");
    const Json hello = run.Ask({{"do", "hello"}});
    EXPECT_EQ("stepped", hello["mode"]);
    EXPECT_EQ(0, hello["now_us"]);
    EXPECT_TRUE(hello["paused"]);
    EXPECT_TRUE(run.Lines().empty());
}

TEST(Stepped, StopsExactlyAtTheLimit) {
    ProbeRun run("busy", "stepped");
    for (const int ms : {1, 7, 100, 33}) {
        const Json before = run.Ask({{"do", "hello"}});
        const Json reply = run.Ask({{"do", "advance"}, {"ms", ms}});
        EXPECT_TRUE(reply["ok"]);
        EXPECT_EQ(before["now_us"].get<long>() + ms * 1000, reply["now_us"].get<long>());
    }
    const auto lines = run.Lines();
    EXPECT_EQ(run.Ask({{"do", "hello"}})["now_us"], 141000);
    EXPECT_EQ(lines, run.Lines());
}

TEST(Stepped, AThreadInABusyLoopStarvesNobody) {
    ProbeRun run("busy", "stepped");
    EXPECT_FALSE(run.Ask({{"do", "advance"}, {"ms", 500}})["quiet"]);
    EXPECT_EQ(0, run.Finish());
    const auto lines = run.Lines();
    ASSERT_EQ(50u, lines.size());
    // Fifty sleeps of 20 ms, each with at most a few quanta of the other two on top.
    const long total = std::stol(lines.back().substr(lines.back().find(' ')));
    EXPECT_GE(total, 50 * 20'000);
    EXPECT_LE(total, 50 * 24'000);
}

TEST(Stepped, TimeJumpsToTheNextEventAndInputWakesItsReader) {
    ProbeRun run("keypad", "stepped");
    EXPECT_TRUE(run.Ask({{"do", "advance"}, {"ms", 1000}})["quiet"]);
    EXPECT_TRUE(run.Ask({{"do", "key"}, {"key", "menu"}})["ok"]);
    run.Ask({{"do", "advance"}, {"ms", 149}});
    EXPECT_THAT(run.Lines(), ElementsAre("ready", HasSubstr(" 1000")));
    run.Ask({{"do", "advance"}, {"ms", 3'600'000}});
    run.Ask({{"do", "key"}, {"key", 2}, {"action", "down"}});
    run.Ask({{"do", "key"}, {"key", 2}, {"action", "up"}});
    run.Ask({{"do", "advance"}, {"ms", 10}});
    const auto lines = run.Lines();
    ASSERT_EQ(5u, lines.size());
    EXPECT_THAT(lines[2], EndsWith(" 1150"));
    EXPECT_THAT(lines[3], EndsWith(" 3601149"));
    EXPECT_THAT(lines[4], EndsWith(" 3601149"));
}

TEST(Stepped, AnHourOfPollingTakesSeconds) {
    ProbeRun run("polling", "stepped");
    EXPECT_EQ(0, run.Finish());
    EXPECT_THAT(run.Lines(), ElementsAre("an hour"));
}

TEST(Stepped, ADeadlockIsReportedAndNamed) {
    ProbeRun run("deadlock", "stepped");
    const Json reply = run.Ask({{"do", "advance"}, {"ms", 1000}});
    EXPECT_TRUE(reply["quiet"]);
    EXPECT_TRUE(reply["stuck"]);
    EXPECT_EQ(1'000'000, reply["now_us"]);
    const Json threads = run.Ask({{"do", "threads"}})["threads"];
    ASSERT_EQ(2u, threads.size());
    EXPECT_EQ("main", threads[0]["label"]);
    EXPECT_EQ("mutex 2 held by 1 (Backwards)", threads[0]["waits_for"]);
    EXPECT_EQ("mutex 1 held by 0 (main)", threads[1]["waits_for"]);
}

TEST(Stepped, ASignalEndsAWaitAndTerminationEndsTheProgram) {
    ProbeRun run("signals", "stepped");
    run.Ask({{"do", "advance"}, {"ms", 5000}});
    EXPECT_THAT(run.Lines(),
                ElementsAre("handler 1", "read -1 EINTR handled 1", "sleep -1 EINTR after a moment",
                            "read -1 EINTR handled 3", "joined after 3 tries",
                            "alarms 3, at once, interval 10000", "then none 0", "waiting"));
    EXPECT_TRUE(run.Ask({{"do", "stop"}})["ok"]);
    EXPECT_EQ(7, run.Wait());
    EXPECT_EQ("ended", run.Lines().back());
    EXPECT_EQ("", run.ReadFile("control.sock"));
}

TEST(Stepped, ATerminationFromOutsideLiftsTheLimit) {
    ProbeRun run("signals", "stepped");
    run.Ask({{"do", "advance"}, {"ms", 5000}});
    kill(run.Pid(), SIGTERM);
    EXPECT_EQ(7, run.Wait());
    EXPECT_EQ("ended", run.Lines().back());
}

TEST(Stepped, AProgramWithoutHandlerDiesOfTermination) {
    ProbeRun run("keypad", "stepped");
    run.Ask({{"do", "advance"}, {"ms", 100}});
    run.Ask({{"do", "stop"}});
    EXPECT_EQ(128 + SIGTERM, run.Wait());
}

TEST(Stepped, PowerCutEndsTheProcessAtOnce) {
    ProbeRun run("busy", "stepped");
    run.Ask({{"do", "advance"}, {"ms", 100}});
    EXPECT_TRUE(run.Ask({{"do", "power_cut"}})["ok"]);
    EXPECT_EQ(128 + SIGKILL, run.Wait());
    EXPECT_FALSE(test::Control(run.StateDir()).Connected());
}

TEST(Stepped, ClocksAndSleepsAgree) {
    ProbeRun run("clock", "stepped");
    EXPECT_EQ(0, run.Finish());
    EXPECT_THAT(run.Lines(),
                ElementsAre("same second 1", StartsWith("date 13369878"), StartsWith("five seconds 1")));
}

}  // namespace
