// A stepped program to which time is granted as the wall clock goes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <sstream>
#include <thread>

#include "tests/simulator/interpose/probe_run.h"

using test::Json;
using test::ProbeRun;

namespace {

std::int64_t Now(ProbeRun& run) {
    return run.Ask({{"do", "hello"}})["now_us"];
}

void Pass(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::vector<Json> Kept(const ProbeRun& run) {
    std::istringstream text(run.ReadFile("session.jsonl"));
    std::vector<Json> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(Json::parse(line));
    return lines;
}

TEST(Live, TimeGoesWithTheWallClockAndIsHeld) {
    ProbeRun run("keypad", "stepped");
    const auto begin = std::chrono::steady_clock::now();
    run.Ask({{"do", "speed"}, {"factor", 100}});
    EXPECT_EQ(100, run.Ask({{"do", "hello"}})["speed"]);
    EXPECT_FALSE(run.Ask({{"do", "hello"}})["paused"]);
    Pass(300);
    const std::int64_t held = run.Ask({{"do", "speed"}, {"factor", 0}})["now_us"];
    const auto took =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin);
    EXPECT_LE(held, (took.count() + 30'000) * 100) << "at most a little ahead";
    EXPECT_GT(held, 1'000'000);
    EXPECT_TRUE(run.Ask({{"do", "hello"}})["paused"]);
    Pass(50);
    EXPECT_EQ(held, Now(run));
    run.Ask({{"do", "advance"}, {"ms", 20}});
    EXPECT_EQ(held + 20'000, Now(run)) << "held, it moves as it is asked for";
    run.Ask({{"do", "advance"}, {"to_us", held + 20'007}});
    EXPECT_EQ(held + 20'007, Now(run));
}

TEST(Live, AsFastAsPossibleIsFasterThanAnyFactor) {
    ProbeRun run("screen", "stepped");
    run.Ask({{"do", "speed"}, {"factor", "max"}});
    EXPECT_EQ("max", run.Ask({{"do", "hello"}})["speed"]);
    EXPECT_EQ(0, run.Wait()) << "eleven virtual seconds";
}

TEST(Live, ATextIsWaitedForWithoutMovingTimeFasterThanTheClock) {
    ProbeRun run("keypad", "stepped");
    run.Ask({{"do", "speed"}, {"factor", 1}});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(run.Ask({{"do", "advance"}, {"ms", 200}})["ok"]);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(170));
}

TEST(Live, WhatComesFromOutsideIsKeptWithItsTimeAndFeltWhileTheProgramStandsStill) {
    ProbeRun run("busy", "stepped");
    run.Ask({{"do", "speed"}, {"factor", 1}});
    test::Control other(run.StateDir());
    other.Send("{\"do\":\"advance\",\"ms\":400}\n");
    for (int i = 0; i < 20; ++i) {
        run.Ask({{"do", "knob"}, {"steps", 1}});
        Pass(5);
    }
    EXPECT_FALSE(run.Ask({{"do", "key"}, {"key", "no such"}})["ok"]);
    EXPECT_FALSE(run.Ask({{"do", "set"}, {"name", "no.such"}, {"value", 1}})["ok"]);
    run.Ask({{"do", "state"}});
    EXPECT_TRUE(other.Receive()["ok"]);
    run.Ask({{"do", "power_cut"}});
    EXPECT_EQ(128 + 9, run.Wait());
    const std::vector<Json> kept = Kept(run);
    ASSERT_EQ(21u, kept.size()) << "what was refused, and what only looks, is not kept";
    std::int64_t last = 0;
    for (const Json& line : kept) {
        EXPECT_GE(line["at_us"], last);
        last = line["at_us"];
        EXPECT_FALSE(line.contains("unsettled")) << line;
    }
    EXPECT_GT(last, 0);
    EXPECT_EQ("knob", kept[0]["request"]["do"]);
    EXPECT_EQ("power_cut", kept[20]["request"]["do"]);
}

TEST(Live, AStopFromOutsideIsKeptToo) {
    ProbeRun run("signals", "stepped");
    run.Ask({{"do", "advance"}, {"ms", 20'000}});
    const std::int64_t now = Now(run);
    kill(run.Pid(), SIGTERM);
    EXPECT_EQ(7, run.Wait());
    const std::vector<Json> kept = Kept(run);
    ASSERT_EQ(1u, kept.size());
    EXPECT_EQ(Json({{"at_us", now}, {"request", {{"do", "stop"}}}}), kept[0]);
}

}  // namespace
