// The launcher's instrument, with the real fct: it tells and takes the bench whether its power is on or off.
#include "simulator/panel/panel_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "simulator/panel/frame_log.h"

namespace k905 {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using namespace std::chrono_literals;

class LaunchedBench : public ::testing::Test {
  protected:
    LaunchedBench() {
        BenchOptions options;
        options.stepped = false;
        options.speed = 10;
        instrument_ = std::make_unique<PanelBench>(options);
    }
    json Ask(const json& request) { return instrument_->Ask(request); }
    json State() { return Ask({{"do", "state"}})["state"]; }
    void Set(const char* name, const json& value) {
        const json reply = Ask({{"do", "set"}, {"name", name}, {"value", value}});
        EXPECT_TRUE(reply["ok"].get<bool>()) << reply;
    }
    void Fault(const char* name, const json& value) {
        const json reply = Ask({{"do", "fault"}, {"name", name}, {"value", value}});
        EXPECT_TRUE(reply["ok"].get<bool>()) << reply;
    }
    // As the launcher's main thread does, until the instrument runs (or does not).
    void WatchUntil(bool running, unsigned run) {
        const auto end = std::chrono::steady_clock::now() + 20s;
        do {
            instrument_->Watch();
            std::this_thread::sleep_for(10ms);
        } while ((instrument_->GetStatus().running != running || instrument_->GetStatus().run != run) &&
                 std::chrono::steady_clock::now() < end);
        ASSERT_EQ(running, instrument_->GetStatus().running) << instrument_->GetStatus().how;
        ASSERT_EQ(run, instrument_->GetStatus().run);
    }
    void CutPower() {
        Ask({{"do", "power_cut"}});
        WatchUntil(false, instrument_->GetStatus().run);
    }
    void Restart() {
        Ask({{"do", "restart"}});
        WatchUntil(true, instrument_->GetStatus().run + 1);
    }
    std::unique_ptr<PanelBench> instrument_;
};

TEST_F(LaunchedBench, TellsTheBenchAsItWasLeftWhileThePowerIsOff) {
    Set("optics.fibre", {{{"at", 700}, {"loss", 0.5}}, {{"at", 900}, {"reflection", -40}}});
    Set("board.rail.TP97", 0.5);
    Fault("usb.missing", true);
    const json bench = Ask({{"do", "bench"}});
    CutPower();
    EXPECT_EQ(bench, Ask({{"do", "bench"}}));
    const json state = State();
    EXPECT_EQ(json({{{"at", 700}, {"loss", 0.5}}, {{"at", 900}, {"loss", 0}, {"reflection", -40}}}),
              state["optics"]["fibre_events"]);
    EXPECT_EQ(0.5, state["board"]["rails"]["TP97"]);
    EXPECT_EQ(json({"TP97"}), state["board"]["held"]);
    EXPECT_TRUE(state["board"]["plugged"]);
    EXPECT_EQ(json({{"usb.missing", true}}), state["faults"]);
}

TEST_F(LaunchedBench, WhatIsSetWithoutPowerHoldsAtTheNextStart) {
    CutPower();
    Set("module.temperature", 41);
    Fault("sd.missing", true);
    Fault("module.eeprom_cut", 200);
    const json bench = Ask({{"do", "bench"}});
    Restart();
    EXPECT_EQ(bench, Ask({{"do", "bench"}}));
    EXPECT_EQ(41, State()["optic"]["temperature"]);
    EXPECT_FALSE(State()["storage"]["sd"]["present"]);
}

TEST_F(LaunchedBench, RefusesInTheSameWordsWithAndWithoutPower) {
    const json wrong[] = {{{"do", "set"}, {"name", "module.temperature"}, {"value", 200}},
                          {{"do", "set"}, {"name", "no.such"}, {"value", 1}},
                          {{"do", "set"}, {"name", "usb.sticks"}},
                          {{"do", "set"}, {"name", 3}, {"value", 1}},
                          {{"do", "fault"}, {"name", "keypad.dead"}, {"value", "f9"}},
                          {{"do", "bench"}, {"set", {{"usb.sticks", 99}}}, {"faults", {{"no.such", true}}}},
                          {{"do", "bench"}, {"faults", 7}}};
    std::vector<json> running;
    for (const json& request : wrong)
        running.push_back(Ask(request));
    CutPower();
    for (std::size_t i = 0; i < running.size(); ++i) {
        const json off = Ask(wrong[i]);
        EXPECT_FALSE(off["ok"].get<bool>()) << off;
        EXPECT_EQ(running[i], off) << wrong[i];
        EXPECT_THAT(off["error"].get<std::string>(), ::testing::Not(HasSubstr("exception")));
    }
    EXPECT_EQ(json::object(), Ask({{"do", "bench"}})["set"]);
    EXPECT_THROW(Ask({{"do", "key"}, {"key", "f1"}}), NotNow);
    EXPECT_THROW(Ask({{"do", "bench_restore"}, {"name", "never kept"}}), Refused);
    EXPECT_THROW(Ask({{"do", "bench_save"}, {"name", "   "}}), Refused);
}

TEST(KeptSession, OfALauncherBeforeGivesWayToAnother) {
    namespace fs = std::filesystem;
    const StateFolder folder("", false);
    BenchOptions options;
    options.stateDir = folder.Path();
    const auto turns = [&](const char* name) {
        const Session session = ReadSession(folder.Path() + "/" + name);
        const auto& inputs = session.runs.back().inputs;
        return std::count_if(inputs.begin(), inputs.end(),
                             [](const Session::Input& input) { return input.request["do"] == "knob"; });
    };
    for (int count : {2, 0, 1}) {
        PanelBench instrument(options);
        for (int i = 0; i < count; ++i)
            instrument.Ask({{"do", "knob"}, {"steps", 1}});
        EXPECT_THROW(PanelBench{options}, BenchError) << "one is running there";
        EXPECT_EQ(count, turns(kSessionFile));
    }
    EXPECT_EQ(2, turns("session-1.jsonl"));
    EXPECT_EQ(0, turns("session-2.jsonl"));
    EXPECT_FALSE(fs::exists(folder.Path() + "/session-3.jsonl"));
}

TEST_F(LaunchedBench, APanelOfAnySizeIsSeen) {
    const auto shape = [&] {
        FrameLog frames;
        instrument_->Look(frames);
        const std::string whole = frames.Message(0);
        const auto number = [&](std::size_t at) {
            return static_cast<unsigned char>(whole.at(at)) | static_cast<unsigned char>(whole.at(at + 1))
                                                                  << 8;
        };
        return std::pair(number(8), number(10));
    };
    EXPECT_EQ(std::pair(800, 480), shape());
    for (const auto& [width, height] : {std::pair(1024, 600), std::pair(320, 240)}) {
        Set("screen.size", {width, height});
        Restart();
        EXPECT_EQ(std::pair(width, height), shape());
        EXPECT_EQ(json({width, height}), State()["screen"]["fitted"]);
    }
}

TEST_F(LaunchedBench, WhatMattersAtStartUpIsTakenDuringARunAndHoldsAtTheNextStart) {
    const std::pair<const char*, std::pair<const char*, json>> cases[] = {
        {"screen.small", {"width", 640}}, {"screen.bgr565", {"layout", "bgr565"}}};
    for (const auto& [fault, shown] : cases) {
        while (State()["screen"]["open"] == 0)
            std::this_thread::sleep_for(1ms);
        const json before = State()["screen"][shown.first];
        EXPECT_NE(shown.second, before);
        Fault(fault, true);
        EXPECT_EQ(before, State()["screen"][shown.first]) << "until then the screen stays as it is";
        Restart();
        EXPECT_EQ(shown.second, State()["screen"][shown.first]);
        CutPower();
        Fault(fault, false);
        Restart();
        EXPECT_EQ(before, State()["screen"][shown.first]);
    }
}

TEST_F(LaunchedBench, AnswersExpectationsOfWhatNeedsNoPowerWhileItIsOff) {
    CutPower();
    const auto met = [&](json what) {
        what["do"] = "expect";
        const json reply = Ask(what);
        EXPECT_TRUE(reply["ok"].get<bool>()) << reply;
        return reply["met"] == true;
    };
    EXPECT_TRUE(met({{"memory", "module"}, {"at", 0}, {"bytes", "ff"}}));
    EXPECT_FALSE(met({{"memory", "module"}, {"at", 0}, {"bytes", "fe"}}));
    EXPECT_TRUE(met({{"state", "board.plugged"}, {"value", true}}));
    EXPECT_TRUE(met({{"power", "off"}}));
    EXPECT_THROW(Ask({{"do", "expect"}, {"power", "on"}}), Refused);
    EXPECT_THROW(Ask({{"do", "expect"}, {"power", "off"}, {"limit", 5}}), Refused);
    EXPECT_THROW(Ask({{"do", "expect"}, {"text", "MainBoard_FCT"}}), NotNow);
    EXPECT_THROW(Ask({{"do", "expect"}, {"register", "0x30000084"}, {"value", 0}}), NotNow);
    EXPECT_THROW(Ask({{"do", "wait"}, {"ms", 1}}), NotNow);
}

TEST(SteppedBench, IsTheSameAfterEachStartThatIsWaitedForWhateverItsSpeed) {
    BenchOptions options;
    PanelBench instrument(options);
    const auto started = [&](const json& request) {
        EXPECT_EQ(true, instrument.Ask(request)["ok"]);
        const json there = {{"do", "expect"}, {"text", "MainBoard_FCT"}, {"limit_ms", 0}};
        EXPECT_EQ(true, instrument.Ask(there)["met"]) << request;
        return instrument.Ask({{"do", "hello"}});
    };
    const json held = started({{"do", "restart"}, {"wait", true}});
    EXPECT_EQ(0, held["speed"]);
    instrument.Ask({{"do", "speed"}, {"factor", 0.01}});
    const json faults = {{"sd.missing", true}};
    const json slow = started({{"do", "restart"}, {"fresh", true}, {"wait", true}, {"faults", faults}});
    EXPECT_EQ(0.01, slow["speed"]);
    EXPECT_NEAR(held["now_us"].get<double>(), slow["now_us"].get<double>(), 20'000);
    EXPECT_EQ(faults, instrument.Ask({{"do", "bench"}})["faults"]);
    const json refused = instrument.Ask({{"do", "restart"}, {"wait", true}, {"faults", {{"no.such", true}}}});
    EXPECT_EQ(false, refused["ok"]) << refused;
    EXPECT_EQ(2u, instrument.GetStatus().run - 1);
    EXPECT_THROW(instrument.Ask({{"do", "restart"}, {"wait", "long"}}), Refused);
    EXPECT_EQ(true, instrument.Ask({{"do", "stop"}, {"wait", true}})["ok"]);
    EXPECT_FALSE(instrument.GetStatus().running);
}

TEST(SteppedBench, APauseEndsWithARestartThatKeepsTheSpeed) {
    BenchOptions options;
    options.speed = 10;
    PanelBench instrument(options);
    instrument.Ask({{"do", "speed"}, {"factor", 1000}});
    instrument.Ask({{"do", "speed"}, {"factor", 0}});
    instrument.Ask({{"do", "restart"}});
    while (instrument.GetStatus().run == 1)
        instrument.Watch();
    EXPECT_FALSE(instrument.Ask({{"do", "hello"}})["paused"].get<bool>());
    EXPECT_EQ(1000, instrument.Ask({{"do", "hello"}})["speed"]);
    instrument.Ask({{"do", "restart"}, {"wait", true}});
    const json hello = instrument.Ask({{"do", "hello"}});
    EXPECT_FALSE(hello["paused"].get<bool>()) << "what it was: not paused";
    EXPECT_EQ(1000, hello["speed"]);
}

TEST(SteppedBench, KeepsItsCardsUnlessAllIsToBeNew) {
    PanelBench instrument{BenchOptions()};
    const std::filesystem::path card = instrument.StateDir() + "/root/mnt/sdcard";
    const std::filesystem::path memory = instrument.StateDir() + "/tuning.bin";
    std::ofstream(card / "log.txt") << "passed";
    std::ofstream(memory) << "tuned";
    instrument.Ask({{"do", "restart"}, {"fresh", true}, {"wait", true}});
    EXPECT_TRUE(std::filesystem::exists(card / "log.txt"));
    EXPECT_FALSE(std::filesystem::exists(memory));
    std::ofstream(memory) << "tuned";
    instrument.Ask({{"do", "restart"}, {"fresh", "all"}, {"wait", true}});
    EXPECT_TRUE(std::filesystem::is_empty(card));
    EXPECT_FALSE(std::filesystem::exists(memory));
}

TEST_F(LaunchedBench, ARampGoesOnFromWhereThePowerWasCut) {
    Set("module.temperature_rate", {{"to", 55}, {"rate", 60}});
    std::this_thread::sleep_for(300ms);
    const double before = State()["module"]["temperature"];
    EXPECT_GT(before, 25);
    CutPower();
    EXPECT_GE(State()["module"]["temperature"].get<double>(), before);
    EXPECT_LT(State()["module"]["temperature"].get<double>(), 55);
    EXPECT_EQ(60, State()["module"]["temperature_rate"]);
}

}  // namespace
}  // namespace k905
