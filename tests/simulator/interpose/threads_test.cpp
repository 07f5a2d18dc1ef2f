// The threads of a stepped product: carried by one system thread, or each on one of its own, it is the same
// to them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "tests/simulator/interpose/probe_run.h"

using test::Json;
using test::ProbeRun;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

ProbeRun::Options Threads(const std::string& way) {
    ProbeRun::Options options;
    options.environment["K905_THREADS"] = way;
    return options;
}

class ThreadWays : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Of, ThreadWays, testing::Values("carried", "system"),
                         [](const auto& one) { return std::string(one.param); });

TEST_P(ThreadWays, ThreadsKeepWhatIsTheirOwnAndEndAsTheyLike) {
    ProbeRun run("own", "stepped", Threads(GetParam()));
    EXPECT_EQ(0, run.Finish());
    EXPECT_THAT(
        run.Lines(),
        ElementsAre("1 kept what is its own: 1", "1 leaves its stack", "destructor of 1, local 1",
                    "2 kept what is its own: 1", "2 leaves its stack", "destructor of 2, local 2",
                    "3 kept what is its own: 1", "4 kept what is its own: 1", "4 leaves its stack",
                    "destructor of 4, local 4", "5 kept what is its own: 1", "5 leaves its stack",
                    "destructor of 5, local 5", "cancel 0", "joined 1: itself", "joined 2: itself",
                    "3 leaves its stack", "destructor of 3, local 3", "joined 3: cancelled",
                    "joined 4: itself", "joined 5: itself", "81920 bytes of stack", "its own mutex: EDEADLK",
                    "another's mutex: EBUSY", "detached", "main kept local 0"));
}

TEST_P(ThreadWays, AStackThatOverflowsEndsTheProgram) {
    ProbeRun::Options options = Threads(GetParam());
    options.arguments = {"overflow"};
    ProbeRun run("own", "stepped", options);
    const int status = run.Finish();
    // The address sanitizer reports it and ends the program itself.
    EXPECT_TRUE(status == 128 + SIGSEGV || (K905_SANITIZED && status == 1)) << status;
    EXPECT_EQ("overflows", run.Lines().front());
}

TEST_P(ThreadWays, MainLeavesEarlyAndTheOthersGoOn) {
    ProbeRun run("leaving", "stepped", Threads(GetParam()));
    EXPECT_EQ(3, run.Finish());
    EXPECT_THAT(run.Lines(), ElementsAre("first blocks: 1", "main leaves", "main's destructor",
                                         "first still blocks: 1, handled 1", "first then blocks: 0",
                                         "first joined: 1", "second 1", "second 2", "second 3"));
}

// What a probe leaves of a run of a few seconds, one entry for each look at it.
std::vector<std::string> WholeRun(const std::string& probe, const std::string& way) {
    SCOPED_TRACE(probe + " " + way);
    ProbeRun run(probe, "stepped", Threads(way));
    std::vector<std::string> left;
    const auto ask = [&](const Json& request, const char* content) {
        const Json reply = run.Ask(request);
        EXPECT_TRUE(reply.value("ok", false) && !reply.value(content, Json()).empty()) << request << reply;
        left.push_back(reply.dump());
        return reply;
    };
    ask({{"do", "trace"}, {"action", "start"}}, "recording");
    bool traced = false;
    for (const int ms : {1, 7, 36, 300, 2000}) {
        if (ask({{"do", "until"}, {"exit", true}, {"limit_ms", ms}}, "now_us").value("met", true))
            break;
        ask({{"do", "threads"}}, "threads");
        traced = ask({{"do", "trace"}, {"action", "read"}}, "next").value("next", 0) > 0;
        ask({{"do", "screenshot"}, {"path", run.StateDir() + "/picture.png"}}, "width");
        left.push_back(run.ReadFile("picture.png"));
        EXPECT_FALSE(left.back().empty());
    }
    left.push_back(run.ReadFile("console.log"));
    EXPECT_TRUE(traced || !left.back().empty()) << "it has done nothing";
    left.push_back(run.ReadFile("root/mnt/sdcard/order.txt"));
    return left;
}

TEST(BothThreadWays, EveryProbeRunsAlike) {
    for (const char* probe : {"threads", "own", "leaving", "keypad", "busy", "serial", "files", "signals",
                              "shell", "screen", "clock", "deadlock", "polling", "fallible"})
        EXPECT_EQ(WholeRun(probe, "carried"), WholeRun(probe, "system")) << probe;
}

// How often the process's threads have waited in the kernel.
long Waits(pid_t pid) {
    long waits = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
        std::ifstream status(task.path() / "status");
        const std::string name = "voluntary_ctxt_switches:";
        for (std::string line; std::getline(status, line);)
            if (line.compare(0, name.size(), name) == 0)
                waits += std::stol(line.substr(name.size()));
    }
    return waits;
}

long WaitsInAMinuteOfPolling(const std::string& way) {
    ProbeRun run("polling", "stepped", Threads(way));
    run.Ask({{"do", "advance"}, {"ms", 1000}});
    const long before = Waits(run.Pid());
    run.Ask({{"do", "advance"}, {"ms", 60'000}});
    return Waits(run.Pid()) - before;
}

TEST(BothThreadWays, OnlySystemThreadsWaitInTheKernel) {
    EXPECT_GT(WaitsInAMinuteOfPolling("system"), 1000);
#if defined(__x86_64__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(WaitsInAMinuteOfPolling("carried"), 100);
#endif
}

TEST(BothThreadWays, AThirdIsRefused) {
    try {
        ProbeRun run("clock", "stepped", Threads("green"));
        FAIL() << "it started";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("K905_THREADS=green is neither carried nor system"));
    }
}

}  // namespace
