// The instrument behind the page and its past, on the real fct.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/simulator/panel/past_bench.h"

namespace fs = std::filesystem;

namespace k905 {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

TEST_F(Past, ACalibrationThatFailedSinceTheBoardWasPulledPassesFromTheMomentBefore) {
    ASSERT_TRUE(Sees("Opticl_FCT"));
    ASSERT_TRUE(Go("Opticl_FCT", "OPM_Adjust"));
    ASSERT_TRUE(Go("OPM_Adjust", "infomation eara!"));
    ASSERT_TRUE(Go("Connect", "Connect Success!!!"));
    Ask({{"do", "speed"}, {"factor", 0}});
    Ask({{"do", "touch"}, {"control", "Vdd"}});
    ASSERT_TRUE(Sees("AD Value"));
    Ask({{"do", "set"}, {"name", "board.plugged"}, {"value", false}});
    Ask({{"do", "speed"}, {"factor", "max"}});  // three time-outs a try
    ASSERT_TRUE(Sees("Ajust try times out."));
    const std::int64_t failed = Now();

    const json inputs = Ask({{"do", "session"}})["inputs"];
    ASSERT_EQ("board.plugged", inputs.back()["request"]["name"]);
    const std::int64_t before = inputs.back()["at_us"].get<std::int64_t>() - 1;
    EXPECT_EQ(before, Ask({{"do", "rewind"}, {"to_us", before}})["at_us"]);
    EXPECT_EQ(before, past_.GetStatus().past->us);
    EXPECT_EQ(before, Now());
    EXPECT_TRUE(Ask({{"do", "state"}})["state"]["board"]["plugged"].get<bool>());
    EXPECT_NE(bench_.StateDir(), past_.StateDir());

    Ask({{"do", "branch"}});
    UntilRestarted();
    EXPECT_FALSE(past_.GetStatus().past);
    EXPECT_EQ(bench_.StateDir(), past_.StateDir());
    EXPECT_EQ("max", Ask({{"do", "hello"}})["speed"]) << "as before";
    ASSERT_TRUE(Sees("V reg:0x")) << "found";
    EXPECT_EQ(inputs.size() - 1, Ask({{"do", "session"}})["inputs"].size());
    EXPECT_TRUE(fs::exists(bench_.StateDir() + "/session-1.jsonl"));
    EXPECT_GT(failed, before);
}

TEST_F(Past, IsLookedAtWhileTheInstrumentStandsStillAndChangesNothing) {
    ASSERT_TRUE(Sees("MainBoard_FCT"));
    Ask({{"do", "touch"}, {"control", "MainBoard_FCT"}});
    ASSERT_TRUE(Sees("battery voltage"));
    Ask({{"do", "speed"}, {"factor", 20}});
    Ask({{"do", "rewind"}, {"to_us", 1'000'000}});
    const std::int64_t stands = bench_.Ask({{"do", "hello"}})["now_us"];
    EXPECT_THAT(Ask({{"do", "text"}}).dump(), Not(HasSubstr("battery voltage")));
    for (const char* change :
         {R"({"do":"key","key":"f1"})", R"({"do":"fault","name":"sd.missing"})", R"({"do":"advance","ms":1})",
          R"({"do":"speed","factor":1})", R"({"do":"bench","set":{},"faults":{}})", R"({"do":"power_cut"})"})
        EXPECT_THAT(Refusal(json::parse(change)), HasSubstr("this is the past")) << change;
    EXPECT_EQ(1'000'000, Now());
    EXPECT_EQ(stands, bench_.Ask({{"do", "hello"}})["now_us"]);
    EXPECT_THAT(Refusal({{"do", "rewind"}, {"to_us", stands + 1}}), HasSubstr("still to come"));
    EXPECT_THAT(Refusal({{"do", "rewind"}, {"to_us", 0}, {"run", 1}}), HasSubstr("only 1 start"));
    EXPECT_THAT(Refusal({{"do", "rewind"}, {"to_us", -1}}), HasSubstr("whole number"));
    EXPECT_EQ(1'000'000, past_.GetStatus().past->us) << "what was refused leaves the moment";

    Ask({{"do", "now"}});
    EXPECT_FALSE(past_.GetStatus().past);
    EXPECT_GE(Now(), stands);
    EXPECT_EQ(20, Ask({{"do", "hello"}})["speed"]);
    EXPECT_THAT(Ask({{"do", "text"}}).dump(), HasSubstr("battery voltage"));
    EXPECT_THAT(Refusal({{"do", "branch"}}), HasSubstr("no moment of the past"));

    Ask({{"do", "rewind"}, {"to_us", 1'000'000}});
    Ask({{"do", "speed"}, {"factor", 0}});
    Ask({{"do", "now"}});
    EXPECT_TRUE(Ask({{"do", "hello"}})["paused"].get<bool>()) << "held in the past already";
}

// Also on one that ran along behind, or behind a moment that was shown.
TEST_F(Past, IsTheSameByWhateverWay) {
    ASSERT_TRUE(Sees("MainBoard_FCT"));
    Ask({{"do", "speed"}, {"factor", 0}});
    for (int i = 0; i < 12; ++i) {
        Ask({{"do", "set"}, {"name", "module.temperature"}, {"value", 20 + i}});
        Ask({{"do", "touch"}, {"control", i % 2 == 0 ? "MainBoard_FCT" : "Back"}});
        Ask({{"do", "wait"}, {"ms", 3000}});
    }
    const Session session = ReadSession(bench_.StateDir() + "/" + kSessionFile);
    for (const double at : {36.0, 35.5, 20.0, 19.7, 33.0, 3.5, 0.0, 36.0}) {
        const auto us = static_cast<std::int64_t>(1e6 * at);
        Player alone(session.runs.at(0));
        ASSERT_TRUE(alone.GoTo(us));
        Ask({{"do", "rewind"}, {"to_us", us}});
        for (const char* what : {"text", "state", "hello"}) {
            json there = Ask({{"do", what}}), wanted = alone.Instrument().Request({{"do", what}});
            if (std::string(what) == "state") {
                EXPECT_TRUE(there["past"].get<bool>());
                EXPECT_EQ(0, there["run"]);
            }
            for (const char* own : {"pid", "past", "run"}) {
                there.erase(own);
                wanted.erase(own);
            }
            EXPECT_EQ(wanted, there) << at;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(150));  // some of them get behind it
    }
}

TEST_F(Past, GoesOnWithNothingHeldDown) {
    ASSERT_TRUE(Sees("MainBoard_FCT"));
    Ask({{"do", "speed"}, {"factor", 0}});
    for (const char* action : {"down", "up"}) {
        Ask({{"do", "key"}, {"key", "f1"}, {"action", action}});
        Ask({{"do", "touch"}, {"x", 700}, {"y", 400}, {"action", action}});
        Ask({{"do", "wait"}, {"ms", 100}});
    }
    const std::int64_t pressed = Ask({{"do", "session"}})["inputs"].back()["at_us"].get<std::int64_t>() - 1;
    Ask({{"do", "rewind"}, {"to_us", pressed}});
    EXPECT_EQ(1u, Ask({{"do", "state"}})["state"]["touch"]["fingers"].size());
    Ask({{"do", "branch"}});
    UntilRestarted();
    const json state = Ask({{"do", "state"}})["state"];
    EXPECT_TRUE(state["keypad"]["down"].empty()) << state["keypad"];
    EXPECT_TRUE(state["touch"]["fingers"].empty());
    const json inputs = Ask({{"do", "session"}})["inputs"];
    ASSERT_EQ(4u, inputs.size());
    EXPECT_TRUE(Ask({{"do", "hello"}})["paused"].get<bool>()) << "as before";
    EXPECT_EQ(pressed, inputs[3]["at_us"]) << "kept like any other hand";
}

TEST_F(Past, IsRefusedOnceAnInputCouldNotBeKept) {
    ASSERT_TRUE(Sees("MainBoard_FCT"));
    Ask({{"do", "rewind"}, {"to_us", 1'000'000}});
    Ask({{"do", "now"}});
    EXPECT_TRUE(Ask({{"do", "hello"}})["kept"].get<bool>());
    const fs::path file = fs::path(bench_.StateDir()) / kSessionFile;
    fs::rename(file, file.string() + ".aside");
    fs::create_directory(file);  // no line goes into that
    Ask({{"do", "knob"}, {"steps", 1}});
    fs::remove(file);
    fs::rename(file.string() + ".aside", file);
    EXPECT_FALSE(Ask({{"do", "hello"}})["kept"].get<bool>());
    const json speed = Ask({{"do", "hello"}})["speed"];
    EXPECT_THAT(Refusal({{"do", "rewind"}, {"to_us", 1'000'000}}), HasSubstr("could not be kept"));
    const json refused = Ask({{"do", "hello"}});
    EXPECT_FALSE(refused["paused"].get<bool>()) << "a refusal holds nothing";
    EXPECT_EQ(speed, refused["speed"]);
    EXPECT_THAT(Refusal({{"do", "origin"}, {"text", "MainBoard_FCT"}}), HasSubstr("could not be kept"));
    EXPECT_TRUE(Ask({{"do", "session"}})["runs"][0]["exact"].get<bool>()) << "nothing tells of it yet";
    Ask({{"do", "knob"}, {"steps", 1}});
    Ask({{"do", "knob"}, {"steps", 1}});
    const json session = Ask({{"do", "session"}});
    EXPECT_FALSE(session["runs"][0]["exact"].get<bool>());
    EXPECT_EQ(2u, session["inputs"].size());
    std::ifstream console(bench_.StateDir() + "/console.log");
    const std::string said((std::istreambuf_iterator<char>(console)), std::istreambuf_iterator<char>());
    const auto told = said.find("cannot be gone through again");
    EXPECT_NE(std::string::npos, told);
    EXPECT_EQ(std::string::npos, said.find("cannot be gone through again", told + 1)) << "told once";
}

TEST_F(Past, OfTheStartBeforeIsReachedWhileThePowerIsOff) {
    ASSERT_TRUE(Sees("MainBoard_FCT"));
    const std::int64_t shown = Now();
    Ask({{"do", "power_cut"}});
    UntilOff();
    Ask({{"do", "rewind"}, {"to_us", shown}});
    EXPECT_THAT(Ask({{"do", "text"}}).dump(), HasSubstr("MainBoard_FCT"));
    EXPECT_TRUE(past_.GetStatus().running) << "what is shown does";
    Ask({{"do", "now"}});
    EXPECT_FALSE(past_.GetStatus().running);
    Ask({{"do", "rewind"}, {"to_us", shown}});
    EXPECT_THAT(Refusal({{"do", "rewind"}, {"to_us", shown + 3'600'000'000}}), HasSubstr("switched off"));
    EXPECT_FALSE(past_.GetStatus().past);
    Ask({{"do", "rewind"}, {"to_us", shown}});
    Ask({{"do", "branch"}});
    UntilRestarted();
    EXPECT_TRUE(past_.GetStatus().running);
}

}  // namespace
}  // namespace k905
