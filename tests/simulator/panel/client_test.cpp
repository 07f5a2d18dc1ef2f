// The bench against a stand-in for fct that misbehaves.
#include "simulator/panel/client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;

namespace k905 {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

BenchOptions WithStub(const std::string& behaviour) {
    BenchOptions options;
    options.build.program = std::string(K905_BINARY_DIR) + "/bin/panel_stub_fct";
    options.build.preload = std::string(K905_BINARY_DIR) + "/lib/libpanel_stub_preload.so";
    options.build.app = std::string(K905_BINARY_DIR) + "/app/fct";
    options.environment["STUB"] = behaviour;
    options.environment["STUB_REPLY"] = R"({"ok":true})";
    return options;
}

std::string MessageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const BenchError& error) {
        return error.what();
    }
    return "nothing was thrown";
}

std::string StartMessage(const BenchOptions& options) {
    return MessageOf([&] { Bench bench(options); });
}

bool Alive(pid_t pid) {
    return kill(pid, 0) == 0;
}

TEST(Bench, SaysWhichPartIsMissing) {
    BenchOptions options = WithStub("");
    options.build.program = "/nonexistent/fct";
    EXPECT_THAT(StartMessage(options),
                AllOf(HasSubstr("/nonexistent/fct"), HasSubstr("build the target fct")));
    options = WithStub("");
    options.build.preload = "/nonexistent/libk905.so";
    EXPECT_THAT(StartMessage(options),
                AllOf(HasSubstr("/nonexistent/libk905.so"), HasSubstr("k905_preload")));
    options = WithStub("");
    options.build.app = "/nonexistent/app";
    EXPECT_THAT(StartMessage(options), AllOf(HasSubstr("/nonexistent/app"), HasSubstr("assets")));
}

TEST(Bench, SaysThatTheProgramCannotBeExecuted) {
    BenchOptions options = WithStub("");
    options.build.program = std::string(K905_BINARY_DIR) + "/app/fct/font/unicode.fnt";
    EXPECT_THAT(StartMessage(options), HasSubstr("cannot be started"));
}

TEST(Bench, TellsExitStatusAndLastLinesOfAProgramThatEndsAtOnce) {
    EXPECT_THAT(StartMessage(WithStub("exit at once")),
                AllOf(HasSubstr("exit status 3"), HasSubstr("stub: exit at once")));
}

TEST(Bench, TellsACrashWithTheSignalAndTheLastLines) {
    Bench bench(WithStub("crash on request"));
    EXPECT_THAT(MessageOf([&] {
                    bench.Request({{"do", "state"}});
                }),
                AllOf(HasSubstr("crashed"), HasSubstr("signal 6"), HasSubstr("stub: crash on request")));
    EXPECT_FALSE(bench.Status().running);
    EXPECT_EQ(SIGABRT, bench.Status().signal);
}

TEST(Bench, GivesTheProgramItsWholeEnvironment) {
    BenchOptions options = WithStub("");
    options.stepped = false;
    options.speed = 2.5;
    options.seed = 77;
    options.bits = 24;
    Bench bench(options);
    const nlohmann::json hello = bench.Request({{"do", "hello"}});
    EXPECT_EQ("paced", hello["mode"]);
    EXPECT_EQ("2.5", hello["speed"]);
    EXPECT_EQ("77", hello["seed"]);
    EXPECT_EQ("24", hello["bits"]);
    EXPECT_EQ(bench.StateDir(), hello["state"]);
    EXPECT_EQ(options.build.app, hello["app"]);
    EXPECT_THAT(hello["preload"].get<std::string>(), HasSubstr("libpanel_stub_preload.so"));
}

TEST(Bench, RefusesAMalformedReply) {
    for (const char* reply : {"nonsense", "[1,2]", "{\"ok\":1}", "{}", ""}) {
        BenchOptions options = WithStub("");
        options.environment["STUB_REPLY"] = reply;
        Bench bench(options);
        EXPECT_THAT(MessageOf([&] { bench.Request({{"do", "state"}}); }), HasSubstr("not a reply")) << reply;
        kill(bench.Pid(), SIGKILL);  // what answers so cannot be asked to end, and would be waited for
    }
}

TEST(Bench, PassesOnWhyARequestIsRefused) {
    BenchOptions options = WithStub("");
    options.environment["STUB_REPLY"] = R"({"ok":false,"error":"no such key"})";
    Bench bench(options);
    EXPECT_THAT(MessageOf([&] { bench.Key("f9", "down"); }),
                AllOf(HasSubstr("f9"), HasSubstr("no such key")));
    EXPECT_FALSE(bench.Ask({{"do", "key"}})["ok"].get<bool>());
}

TEST(Bench, LeavesNeitherProcessNorTemporaryFolder) {
    pid_t pid = -1;
    std::string state;
    {
        Bench bench(WithStub("ignore SIGTERM"));
        pid = bench.Pid();
        state = bench.StateDir();
        EXPECT_TRUE(Alive(pid));
        EXPECT_TRUE(fs::exists(state + "/console.log"));
    }
    EXPECT_FALSE(Alive(pid));
    EXPECT_FALSE(fs::exists(state));
}

TEST(Bench, KeepsAFolderThatWasNamedOrIsToBeKept) {
    BenchOptions options = WithStub("");
    options.keepState = true;
    std::string state;
    {
        Bench bench(options);
        state = bench.StateDir();
    }
    EXPECT_TRUE(fs::exists(state));
    options.keepState = false;
    options.stateDir = state;
    { Bench bench(options); }
    EXPECT_TRUE(fs::exists(state));
    fs::remove_all(state);
}

TEST(Bench, RefusesAStateFolderInUseAndTakesOverAnAbandonedOne) {
    BenchOptions options = WithStub("");
    options.keepState = true;
    auto first = std::make_unique<Bench>(options);
    BenchOptions second = WithStub("");
    second.stateDir = first->StateDir();
    EXPECT_THAT(StartMessage(second), HasSubstr("another instrument is running"));
    first->Kill();
    first.reset();
    EXPECT_TRUE(fs::exists(second.stateDir + "/control.sock")) << "the abandoned socket is part of this test";
    EXPECT_EQ("nothing was thrown", StartMessage(second));
    fs::remove_all(second.stateDir);
}

TEST(Bench, WritesWhatHoldsFromTheStart) {
    BenchOptions options = WithStub("");
    options.start = {{"faults", {{"usb_missing", true}}}};
    Bench bench(options);
    std::ifstream in(bench.StateDir() + "/start.json");
    EXPECT_EQ(options.start, nlohmann::json::parse(in));
}

TEST(Bench, StopKillsAProgramThatDoesNotEnd) {
    Bench bench(WithStub("ignore SIGTERM"));
    const Ending& ending = bench.Stop(0.2);
    EXPECT_FALSE(ending.running);
    EXPECT_EQ(SIGKILL, ending.signal);
    EXPECT_EQ("was killed (signal 9)", ending.Describe());
}

TEST(Bench, TheProgramDiesWithTheThreadThatStartedIt) {
    pid_t pid = -1;
    std::unique_ptr<Bench> bench;
    std::thread starter([&] {
        bench = std::make_unique<Bench>(WithStub(""));
        pid = bench->Pid();
    });
    starter.join();
    EXPECT_FALSE(bench->Status().running && bench->Stop(5).running);
    EXPECT_EQ(SIGKILL, bench->Status().signal);
}

TEST(Bench, RefusesAPathTooLongForASocket) {
    EXPECT_THAT(MessageOf([] { ControlClient client("/tmp/" + std::string(200, 'x')); }),
                HasSubstr("too long"));
}

TEST(Ending, IsDescribedInWords) {
    EXPECT_EQ("still runs", Ending().Describe());
    EXPECT_EQ("ended with exit status 4", (Ending{false, 4, 0}.Describe()));
    EXPECT_THAT((Ending{false, 0, SIGSEGV}.Describe()), HasSubstr("signal 11"));
}

}  // namespace
}  // namespace k905
