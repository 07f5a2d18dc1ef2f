// The product's calls counted, and made to fail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/simulator/interpose/probe_run.h"

using test::Json;
using test::ProbeRun;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// Each function with the word for the errno that its failure is known for, and the probe's lines about it
// when the second of its calls fails.
struct FailingFunction {
    const char* function;
    int error;
    int calls = 3;
};
const FailingFunction kFunctions[] = {{"malloc", ENOMEM, 7},
                                      {"calloc", ENOMEM},
                                      {"realloc", ENOMEM},
                                      {"strdup", ENOMEM},
                                      {"open", EMFILE, 6},
                                      {"close", EIO, 6},
                                      {"read", EIO},
                                      {"write", EIO},
                                      {"lseek", EIO},
                                      {"fcntl", EINVAL},
                                      {"ioctl", EIO},
                                      {"mmap", ENOMEM},
                                      {"munmap", EINVAL},
                                      {"select", EINTR, 6},
                                      {"tcgetattr", EIO},
                                      {"tcsetattr", EIO},
                                      {"tcflush", EIO},
                                      {"tcdrain", EINTR},
                                      {"fopen", EMFILE},
                                      {"fgets", EIO},
                                      {"fputs", EIO},
                                      {"setvbuf", ENOMEM},
                                      {"fclose", EIO},
                                      {"popen", EAGAIN},
                                      {"pclose", ECHILD},
                                      {"system", EAGAIN},
                                      {"opendir", EMFILE},
                                      {"readdir", EIO},
                                      {"closedir", EIO},
                                      {"access", EIO},
                                      {"stat", EIO},
                                      {"nanosleep", EINTR},
                                      {"setitimer", EINVAL},
                                      {"sigaction", EINVAL},
                                      {"sysconf", EINVAL},
                                      {"pthread_create", EAGAIN},
                                      {"pthread_tryjoin_np", EBUSY},
                                      {"pthread_mutex_init", ENOMEM},
                                      {"pthread_mutex_trylock", EBUSY}};

void PrintTo(const FailingFunction& one, std::ostream* out) {
    *out << one.function;
}

std::vector<std::string> About(const ProbeRun& run, const std::string& function) {
    std::vector<std::string> chosen;
    for (const std::string& line : run.Lines())
        if (line.rfind(function + ": ", 0) == 0)
            chosen.push_back(line.substr(function.size() + 2));
    return chosen;
}

const Json* Find(const Json& list, const char* member, const std::string& value) {
    for (const Json& entry : list)
        if (entry.at(member) == value)
            return &entry;
    return nullptr;
}

// Lets a stepped probe run to its end. What was counted.
Json FinishCounted(ProbeRun& run) {
    const Json end = run.Ask({{"do", "until"}, {"exit", true}, {"limit_ms", 60'000}});
    EXPECT_EQ(true, end.value("met", false)) << end;
    EXPECT_EQ(0, run.Wait());
    return end.value("calls", Json());
}

class FailingCall : public testing::TestWithParam<FailingFunction> {};

TEST_P(FailingCall, FailsOnceAndIsTold) {
    ProbeRun run("fallible", "stepped");
    // The probe tells of one call of each function a turn, of some it makes two.
    const int second = GetParam().calls == 6 || GetParam().calls == 7 ? 3 : 2;
    ASSERT_TRUE(run.Ask({{"do", "fail_call"}, {"function", GetParam().function}, {"call", second}})["ok"]
                    .get<bool>());
    const Json counted = FinishCounted(run);
    EXPECT_THAT(About(run, GetParam().function), ElementsAre("ok", strerror(GetParam().error), "ok"));
    const Json& failed = counted.at("failed");
    ASSERT_TRUE(failed.is_object());
    EXPECT_EQ(GetParam().function, failed.at("function"));
    EXPECT_EQ(1, failed.at("times"));
    EXPECT_EQ(0, failed.at("thread"));
    EXPECT_GT(failed.at("at_us"), 0);
    // What was given back by a failed call is gone all the same, and nothing else stays.
    EXPECT_EQ(1, counted.at("holds").at("blocks"));
    EXPECT_EQ(1u, counted.at("holds").at("things").size()) << counted.at("holds");
}
INSTANTIATE_TEST_SUITE_P(Functions, FailingCall, testing::ValuesIn(kFunctions),
                         [](const auto& one) { return one.param.function; });

TEST(CountedCalls, AreTheProgramsOwnAndNoneOfOtherLibraries) {
    ProbeRun run("fallible", "stepped");
    ASSERT_TRUE(run.Ask({{"do", "calls"}, {"action", "start"}})["ok"].get<bool>());
    const Json counted = FinishCounted(run);
    for (const FailingFunction& one : kFunctions) {
        const Json* function = Find(counted.at("functions"), "function", one.function);
        ASSERT_NE(nullptr, function) << one.function;
        EXPECT_EQ(one.calls, function->at("count")) << one.function;
    }
    EXPECT_TRUE(counted.at("failed").is_null());
}

TEST(CountedCalls, TakeNoVirtualTimeAndChangeNothing) {
    ProbeRun plain("fallible", "stepped");
    EXPECT_EQ(0, plain.Finish());
    ProbeRun counted("fallible", "stepped");
    counted.Ask({{"do", "calls"}, {"action", "start"}});
    EXPECT_EQ(0, counted.Finish());
    EXPECT_GT(plain.Lines().size(), 100u);
    EXPECT_EQ(plain.Lines(), counted.Lines());
}

TEST(CountedCalls, TellWhatTheProgramHoldsAndWhoTookIt) {
    ProbeRun run("fallible", "stepped");
    run.Ask({{"do", "calls"}, {"action", "start"}});
    const Json holds = FinishCounted(run).at("holds");
    ASSERT_EQ(1u, holds.at("things").size()) << holds;
    const Json& lost = holds.at("things")[0];
    EXPECT_EQ("block", lost.at("what"));
    EXPECT_EQ("LoseABlock", lost.at("in"));
    EXPECT_EQ(77, lost.at("bytes"));
    EXPECT_EQ(77, holds.at("bytes"));
    EXPECT_EQ(200, holds.at("most_bytes")) << "realloc's, which had given back the 100 before";
}

TEST(CountedCalls, AreSortedByCallerAndFailForOneOfThem) {
    ProbeRun run("fallible", "stepped");
    run.Ask({{"do", "fail_call"}, {"function", "open"}, {"caller", "Devices"}, {"times", 0}});
    const Json counted = FinishCounted(run);
    EXPECT_THAT(About(run, "open"), ElementsAre("ok", "ok", "ok")) << "those of Descriptors";
    EXPECT_THAT(About(run, "ioctl"), testing::Each("Bad file descriptor"));
    EXPECT_EQ(3, counted.at("failed").at("times"));
    const Json* opens = Find(counted.at("functions"), "function", "open");
    ASSERT_NE(nullptr, opens);
    ASSERT_EQ(2u, opens->at("callers").size());
    const Json* devices = Find(opens->at("callers"), "in", "Devices");
    ASSERT_NE(nullptr, devices);
    EXPECT_EQ(3, devices->at("count"));

    // The same by its place.
    ProbeRun again("fallible", "stepped");
    again.Ask({{"do", "fail_call"}, {"function", "open"}, {"caller", devices->at("caller")}, {"call", 3}});
    EXPECT_EQ(1, FinishCounted(again).at("failed").at("times"));
    EXPECT_THAT(About(again, "ioctl"), ElementsAre("ok", "ok", "Bad file descriptor"));
}

TEST(CountedCalls, FailFromThenOnWithAnErrorOfChoice) {
    ProbeRun run("fallible", "stepped");
    run.Ask({{"do", "fail_call"}, {"function", "write"}, {"call", 2}, {"times", 0}, {"errno", ENOSPC}});
    EXPECT_EQ(2, FinishCounted(run).at("failed").at("times"));
    EXPECT_THAT(About(run, "write"), ElementsAre("ok", strerror(ENOSPC), strerror(ENOSPC)));
}

TEST(CountedCalls, FailInPacedTimeToo) {
    ProbeRun::Options options;
    options.environment["K905_SPEED"] = "5";
    ProbeRun run("clock", "paced", options);
    ASSERT_TRUE(run.Ask({{"do", "fail_call"}, {"function", "select"}})["ok"].get<bool>());
    EXPECT_EQ(1, FinishCounted(run).at("failed").at("times"));
    EXPECT_THAT(run.Lines().back(), testing::StartsWith("five seconds 0")) << "without its last sleep";
}

TEST(CountedCalls, GoTheirStraightWayAgainWhenStopped) {
    ProbeRun run("fallible", "stepped");
    run.Ask({{"do", "fail_call"}, {"function", "stat"}, {"times", 0}});
    EXPECT_TRUE(run.Ask({{"do", "calls"}, {"action", "stop"}})["ok"].get<bool>());
    EXPECT_FALSE(run.Ask({{"do", "calls"}})["ok"].get<bool>());
    EXPECT_TRUE(FinishCounted(run).is_null());
    EXPECT_THAT(About(run, "stat"), testing::Each("ok"));
}

TEST(CountedCalls, RefuseNonsense) {
    ProbeRun run("fallible", "stepped");
    for (const Json& request : {Json{{"do", "fail_call"}},
                                {{"do", "fail_call"}, {"function", "fork"}},
                                {{"do", "fail_call"}, {"function", "free"}},
                                {{"do", "fail_call"}, {"function", "read"}, {"call", 0}},
                                {{"do", "calls"}, {"action", "juggle"}}})
        EXPECT_FALSE(run.Ask(request)["ok"].get<bool>()) << request;
    EXPECT_THAT(run.Ask({{"do", "fail_call"}, {"function", "fork"}})["error"].get<std::string>(),
                HasSubstr("malloc, calloc, realloc"));
}

}  // namespace
