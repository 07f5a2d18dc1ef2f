// The control socket: requests, replies, and what it does with nonsense.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/interpose/probe_run.h"
#include "tests/support/picture.h"

using test::Json;
using test::ProbeRun;
using testing::HasSubstr;

namespace {

class ScreenDepth : public testing::TestWithParam<int> {};

TEST_P(ScreenDepth, ScreenshotShowsThePixels) {
    ProbeRun::Options options;
    options.environment["K905_BITS"] = std::to_string(GetParam());
    ProbeRun run("screen", "stepped", options);
    EXPECT_TRUE(run.Ask({{"do", "until"}, {"idle_ms", 200}, {"limit_ms", 5000}})["met"]);
    const std::string path = run.StateDir() + "/screen.png";
    const Json reply = run.Ask({{"do", "screenshot"}, {"path", path}});
    EXPECT_EQ(800, reply["width"]);
    EXPECT_EQ(480, reply["height"]);
    const std::vector<uint8_t> pixels = test::ReadPng(path).rgb;
    ASSERT_EQ(800u * 480u * 3u, pixels.size());
    // Pixel n holds the byte n in each of its bytes.
    const unsigned n = 800 * 3 + 0x95;
    const unsigned byte = n & 0xff;
    const unsigned word = byte << 8 | byte;
    const unsigned red = GetParam() == 16 ? (word >> 11) * 255 / 31 : byte;
    const unsigned green = GetParam() == 16 ? (word >> 5 & 63) * 255 / 63 : byte;
    EXPECT_NEAR(red, pixels[n * 3], 4);
    EXPECT_NEAR(green, pixels[n * 3 + 1], 4);
}

INSTANTIATE_TEST_SUITE_P(AllDepths, ScreenDepth, testing::Values(16, 24, 32));

TEST(Control, IdleMeansThatTheScreenHasNotChangedForSoLong) {
    ProbeRun run("screen", "stepped");
    EXPECT_FALSE(run.Ask({{"do", "until"}, {"idle_ms", 200}, {"limit_ms", 900}})["met"]);
    const Json reply = run.Ask({{"do", "until"}, {"idle_ms", 200}, {"limit_ms", 60'000}});
    EXPECT_TRUE(reply["met"]);
    EXPECT_GE(reply["now_us"], 1'150'000);
    EXPECT_LE(reply["now_us"], 1'250'000);
}

TEST(Control, NonsenseIsAnsweredAndHarmsNobody) {
    ProbeRun run("keypad", "stepped");
    const char* const requests[] = {
        "nonsense",
        "{",
        "[]",
        "7",
        "null",
        "\"hello\"",
        "{}",
        R"({"do":7})",
        R"({"do":"dance"})",
        R"({"do":"key"})",
        R"({"do":"key","key":"nokey"})",
        R"({"do":"key","key":99})",
        R"({"do":"key","key":{}})",
        R"({"do":"key","key":"menu","action":"smash"})",
        R"({"do":"key","key":"menu","hold_ms":-1})",
        R"({"do":"touch"})",
        R"({"do":"touch","x":1})",
        R"({"do":"touch","action":"wave","x":1,"y":1})",
        R"({"do":"touch","control":"Auto"})",  // a probe has no screen
        R"({"do":"controls"})",
        R"({"do":"knob","steps":100000})",
        R"({"do":"advance"})",
        R"({"do":"advance","ms":-5})",
        R"({"do":"advance","ms":1e300})",
        R"({"do":"advance","ms":"soon"})",
        R"({"do":"until"})",
        R"({"do":"until","idle_ms":1,"limit_ms":-1})",
        R"({"do":"watch"})",
        R"({"do":"watch","every_us":5})",
        R"({"do":"watch","x":0,"y":0,"w":1,"color":"zz","ink":"1"})",
        R"({"do":"watch","x":0,"y":0,"w":1,"color":"1000000","ink":"1"})",
        R"({"do":"watch","x":0,"y":0,"w":1,"color":"FFFFFF","ink":"0"})",
        R"({"do":"screenshot"})",
        R"({"do":"screenshot","path":"/nowhere/at/all.png"})",
        R"({"do":"set","name":"no.such","value":1})",
        R"({"do":"fault","name":"no.such","value":1})",
        R"({"do":"trace"})",
        R"({"do":"trace","action":"juggle"})",
        R"({"do":"trace","action":"read","thread":[]})",
        R"({"do":"trace","action":"read","kinds":7})",
        R"({"do":"speed","factor":-1})",
        R"({"do":"speed","factor":"fast"})",
        R"({"do":"advance","to_us":"soon"})",
    };
    for (const char* request : requests) {
        const Json reply = run.Client().AskLine(request);
        ASSERT_TRUE(reply.contains("ok")) << request;
        EXPECT_FALSE(reply["ok"]) << request;
        EXPECT_FALSE(reply["error"].get<std::string>().empty()) << request;
    }
    EXPECT_TRUE(run.Ask({{"do", "hello"}})["ok"]);
}

TEST(Control, ANumberOutOfRangeIsRefusedByItsName) {
    ProbeRun run("keypad", "stepped");
    const struct {
        const char* request;
        const char* name;
    } rows[] = {
        {R"({"do":"knob","steps":1e99})", "steps"},
        {R"({"do":"knob","steps":4294967297})", "steps"},  // 1 in 32 bits
        {R"({"do":"key","key":"menu","hold_ms":-1e10})", "hold_ms"},
        {R"({"do":"touch","x":1e99,"y":1})", "x"},
        {R"({"do":"touch","x":1,"y":-1e99})", "y"},
        {R"({"do":"touch","x":1,"y":1,"x2":4294967297,"y2":1})", "x2"},
        {R"({"do":"touch","x":1,"y":1,"x2":1,"y2":1e10})", "y2"},
        {R"({"do":"text","x":1e10})", "x"},
        {R"({"do":"text","y":1e10})", "y"},
        {R"({"do":"text","w":1e10})", "w"},
        {R"({"do":"text","h":1e10})", "h"},
        {R"({"do":"trace","action":"read","limit":-1})", "limit"},
        {R"({"do":"trace","action":"read","limit":1e99})", "limit"},
        {R"({"do":"trace","action":"read","from":-1})", "from"},
        {R"({"do":"trace","action":"read","thread":4294967297})", "thread"},
        {R"({"do":"fail_call","function":"read","call":-1})", "call"},
        {R"({"do":"fail_call","function":"read","times":1e99})", "times"},
        {R"({"do":"fail_call","function":"read","errno":4294967301})", "errno"},  // EIO in 32 bits
    };
    for (const auto& row : rows)
        EXPECT_EQ(std::string(row.name) + " is out of range",
                  run.Client().AskLine(row.request).value("error", ""))
            << row.request;
}

TEST(Control, AFingerBesideThePanelIsRefused) {
    ProbeRun run("keypad", "stepped");
    for (const char* request :
         {R"({"do":"touch","x":800,"y":1})", R"({"do":"touch","x":1,"y":480})",
          R"({"do":"touch","x":-1,"y":1})", R"({"do":"touch","action":"down","x":1,"y":1,"x2":1,"y2":-1})"})
        EXPECT_EQ("a finger touches the panel from 0, 0 to 799, 479",
                  run.Client().AskLine(request).value("error", ""))
            << request;
    EXPECT_EQ(Json::array(), run.Ask({{"do", "state"}})["state"]["touch"]["fingers"]);
    EXPECT_TRUE(run.Client().AskLine(R"({"do":"touch","action":"down","x":799,"y":479})")["ok"].get<bool>());
}

TEST(Control, RefusesInWordsForPeople) {
    ProbeRun run("keypad", "stepped");
    const struct {
        const char* request;
        const char* error;
    } rows[] = {
        {R"({"do":"set","value":1})", "\"name\" is missing in the request"},
        {R"({"do":"set","name":7,"value":1})", "\"name\" must be a text"},
        {R"({"do":"set","name":"sd.present"})", "\"value\" is missing in the request"},
        {R"({"do":"key"})", "\"key\" is missing in the request"},
        {R"({"do":"key","key":[]})", "\"key\" must be a text"},
        {R"({"do":"touch","x":"1","y":1})", "\"x\" must be a number"},
        {R"({"do":"until","exit":1})", "\"exit\" must be true or false"},
        {R"({"do":"trace","action":"read","kinds":7})", "a member of the request is of the wrong kind"},
        {R"({"do":"bench","set":7})", "\"set\" is not an object"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.error, run.Client().AskLine(row.request).value("error", "")) << row.request;
}

TEST(Control, DeepNestingIsHarmless) {
    ProbeRun run("keypad", "stepped");
    EXPECT_FALSE(run.Client().AskLine(std::string(60'000, '['))["ok"]);
    EXPECT_TRUE(run.Ask({{"do", "hello"}})["ok"]);
}

TEST(Control, AnOversizedRequestIsRefused) {
    ProbeRun run("keypad", "stepped");
    test::Control other(run.StateDir());
    other.Send(std::string(200 * 1024, 'x'));
    EXPECT_FALSE(other.Receive().value("ok", true));
    EXPECT_TRUE(other.Receive().empty());
    EXPECT_TRUE(run.Ask({{"do", "hello"}})["ok"]);
}

TEST(Control, ServesSeveralClientsAndSurvivesThoseThatLeave) {
    ProbeRun run("keypad", "stepped");
    {
        test::Control gone(run.StateDir());
        gone.Send(R"({"do":"until","exit":true,"limit_ms":1000000)");
    }
    {
        test::Control leaves(run.StateDir());
        leaves.Send("{\"do\":\"state\"}\n{\"do\":\"state\"}\n");
    }
    test::Control second(run.StateDir());
    EXPECT_TRUE(second.Ask({{"do", "hello"}})["ok"]);
    run.Client().Send("{\"do\":\"advance\",\"ms\":100}\n");
    second.Send("{\"do\":\"advance\",\"ms\":200}\n");
    EXPECT_TRUE(run.Client().Receive()["ok"]);
    EXPECT_TRUE(second.Receive()["ok"]);
    EXPECT_TRUE(run.Ask({{"do", "hello"}})["ok"]);
}

TEST(Control, RequestsOnOneLineEachAreAnsweredInOrder) {
    ProbeRun run("keypad", "stepped");
    run.Client().Send("\n{\"do\":\"hello\"}\r\n{\"do\":\"dance\"}\n{\"do\":\"hello\"}\n");
    EXPECT_TRUE(run.Client().Receive()["ok"]);
    EXPECT_FALSE(run.Client().Receive()["ok"]);
    EXPECT_TRUE(run.Client().Receive()["ok"]);
}

TEST(Control, TellsStateFaultsAndThreads) {
    ProbeRun run("keypad", "stepped");
    run.Ask({{"do", "advance"}, {"ms", 500}});
    EXPECT_TRUE(run.Ask({{"do", "state"}})["state"].is_object());
    const Json faults = run.Ask({{"do", "faults"}})["faults"];
    ASSERT_FALSE(faults.empty());
    for (const char* member : {"name", "what", "operator_sees", "value"})
        EXPECT_TRUE(faults[0].contains(member)) << member;
    const Json threads = run.Ask({{"do", "threads"}})["threads"];
    ASSERT_EQ(1u, threads.size());
    EXPECT_EQ("read /dev/keyb0", threads[0]["waits_for"]);
}

TEST(Control, APathLongerThanASocketNameIsServed) {
    const test::TemporaryFolder base;
    ProbeRun::Options options;
    options.stateDir = base.Path() + "/" + std::string(120, 'x');
    // The test's own client cannot connect by such a name; that the probe runs to its end is enough.
    EXPECT_THROW(
        {
            options.environment["K905_SPEED"] = "5";
            mkdir(options.stateDir.c_str(), 0755);
            ProbeRun run("clock", "paced", options);
        },
        std::runtime_error);
    std::string console;
    {
        FILE* file = fopen((options.stateDir + "/console.log").c_str(), "r");
        ASSERT_NE(nullptr, file);
        char line[200] = "";
        while (fgets(line, sizeof line, file) != nullptr)
            console += line;
        fclose(file);
    }
    EXPECT_THAT(console, HasSubstr("five seconds 1"));
}

TEST(Control, AWrongEnvironmentIsTold) {
    for (const auto& [name, value] : std::map<std::string, std::string>{
             {"K905_MODE", "sideways"}, {"K905_SPEED", "0"}, {"K905_BITS", "17"}, {"K905_STATE", ""}}) {
        ProbeRun::Options options;
        options.environment[name] = value;
        try {
            ProbeRun run("clock", "paced", options);
            ADD_FAILURE() << name << "=" << value << " was accepted";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr("libk905: "));
        }
    }
}

}  // namespace
