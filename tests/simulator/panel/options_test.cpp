#include <gtest/gtest.h>

#include "simulator/panel/commands.h"

namespace k905 {
namespace {

std::string Wrong(const std::string& command, const std::vector<std::string>& arguments) {
    CommandOptions options;
    return ParseOptions(command, arguments, options);
}

TEST(Options, HaveDefaults) {
    CommandOptions options;
    EXPECT_EQ("", ParseOptions("panel", {}, options));
    EXPECT_EQ(8905, options.port);
    EXPECT_EQ(1.0, options.speed);
    EXPECT_EQ(1u, options.seed);
    EXPECT_EQ(16u, options.bits);
    EXPECT_EQ("", options.state);
    EXPECT_EQ("", options.out);
    EXPECT_FALSE(options.keep);
}

TEST(Options, AreTaken) {
    CommandOptions panel;
    EXPECT_EQ("", ParseOptions("panel",
                               {"--port", "9000", "--state", "/tmp/x", "--speed", "2.5", "--seed", "7",
                                "--bits", "24"},
                               panel));
    EXPECT_EQ(9000, panel.port);
    EXPECT_EQ("/tmp/x", panel.state);
    EXPECT_EQ(2.5, panel.speed);
    EXPECT_EQ(7u, panel.seed);
    EXPECT_EQ(24u, panel.bits);
    EXPECT_EQ("", ParseOptions("panel", {"--at", "x/session.jsonl@1:2.5"}, panel));
    EXPECT_EQ("x/session.jsonl@1:2.5", panel.at);
    EXPECT_NE("", Wrong("check", {"--at", "x"}));
    CommandOptions check;
    EXPECT_EQ("", ParseOptions("check", {"--keep", "--out", "shots"}, check));
    EXPECT_TRUE(check.keep);
    EXPECT_EQ("shots", check.out);
    EXPECT_EQ("", ParseOptions("check",
                               {"--json", "--until", "Auto", "--start", R"({"faults":{"usb.missing":true}})"},
                               check));
    EXPECT_TRUE(check.json);
    EXPECT_EQ("Auto", check.until);
    EXPECT_EQ(R"({"faults":{"usb.missing":true}})", check.start);
    CommandOptions ctl;
    EXPECT_EQ("", ParseOptions("ctl", {"{}", "--state", "/tmp/x", "{\"do\":\"hello\"}"}, ctl));
    EXPECT_EQ((std::vector<std::string>{"{}", "{\"do\":\"hello\"}"}), ctl.requests);
}

TEST(Options, RefuseWrongValues) {
    for (const char* port : {"0", "65536", "80x", "", "8905.5", "-1"})
        EXPECT_NE("", Wrong("panel", {"--port", port})) << port;
    for (const char* speed : {"0.5", "1001", "fast", "nan"})
        EXPECT_NE("", Wrong("panel", {"--speed", speed})) << speed;
    for (const char* bits : {"8", "17", "31", "64"})
        EXPECT_NE("", Wrong("check", {"--bits", bits})) << bits;
    for (const char* seed : {"-1", "4294967296", "1.5"})
        EXPECT_NE("", Wrong("check", {"--seed", seed})) << seed;
    EXPECT_NE("", Wrong("check", {"--out", ""}));
    EXPECT_NE("", Wrong("check", {"--until", "Lunch"}));
    for (const char* start : {"", "7", "[]", "{\"set\":"})
        EXPECT_NE("", Wrong("check", {"--start", start})) << start;
    EXPECT_EQ("k905 check SCRIPT takes neither --until nor --start",
              Wrong("check", {"job.jsonl", "--until", "Auto"}));
    EXPECT_EQ("k905 check SCRIPT takes neither --until nor --start",
              Wrong("check", {"--start", "{}", "job.jsonl"}));
}

TEST(Options, RefuseWhatTheCommandDoesNotKnow) {
    EXPECT_NE("", Wrong("panel", {"--keep"}));
    EXPECT_NE("", Wrong("check", {"--port", "9000"}));
    EXPECT_NE("", Wrong("check", {"--state", "/tmp/x"}));
    EXPECT_NE("", Wrong("ctl", {"--seed", "1", "{}"}));
    EXPECT_NE("", Wrong("panel", {"extra"}));
    EXPECT_NE("", Wrong("panel", {"--port"}));
    EXPECT_NE("", Wrong("ctl", {}));
}

}  // namespace
}  // namespace k905
