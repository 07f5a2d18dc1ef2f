// The moment that made a value, on the real fct: what the launcher tells, against the instrument at that
// moment and just before it.
#include <atomic>
#include <fstream>
#include <iterator>

#include "tests/simulator/panel/past_bench.h"

namespace k905 {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

class Origin : public Past {
  protected:
    void SetUp() override {
        ASSERT_TRUE(Sees("MainBoard_FCT"));
        Ask({{"do", "speed"}, {"factor", 0}});  // from here on time moves while something is waited for
        ASSERT_TRUE(Go("MainBoard_FCT", "battery voltage"));
    }
    void Show(const json& origin, std::int64_t later = 0) {
        Ask({{"do", "rewind"},
             {"run", origin["run"]},
             {"to_us", origin["at_us"].get<std::int64_t>() + later}});
    }
    std::string Register(const char* name) {
        return Ask({{"do", "state"}})["state"]["fpga"]["registers"][name];
    }
    // The address sanitizer begins every thread in a function of its own: there it has only a number.
    static void IsTheWindows(const json& thread) {
#ifdef K905_ADDRESS_SANITIZER
        EXPECT_THAT(thread.get<std::string>(), ::testing::MatchesRegex("t[0-9]+"));
#else
        EXPECT_EQ("DefaultWindowThread", thread);
#endif
    }
    int Cell(const char* image, std::streamoff at) {
        std::ifstream in(past_.StateDir() + "/" + image, std::ios::binary);
        in.seekg(at);
        return in.get();
    }
};

TEST_F(Origin, OfARegisterIsTheWriteThatTheTraceShows) {
    Ask({{"do", "trace"}, {"action", "start"}});
    ASSERT_TRUE(Go("Speaker Check", "Speaker"));
    Ask({{"do", "until"}, {"idle_ms", 3000}});
    const json origin = Ask({{"do", "origin"}, {"register", "0x30000084"}});
    ASSERT_TRUE(origin["found"].get<bool>());
    EXPECT_EQ("reg write 0x30000084 0x2800", origin["what"]);
    EXPECT_EQ("speaker_tone 10240", origin["explained"]);
    EXPECT_EQ("Speaker Check", origin["input"]["request"]["control"]);
    EXPECT_THAT(origin["texts"].dump(), HasSubstr("battery voltage"));
    const json lines = Ask({{"do", "trace"}, {"action", "read"}, {"kinds", {"reg"}}})["lines"];
    std::string line;
    for (const json& each : lines)
        if (each.get<std::string>().find("reg write 0x30000084 0x2800") != std::string::npos)
            line = each;
    char expected[100];
    std::snprintf(expected, sizeof expected, "%10.6f %s reg write 0x30000084 0x2800",
                  origin["at_us"].get<double>() / 1e6, origin["thread"].get<std::string>().c_str());
    EXPECT_EQ(expected, line);

    Show(origin);
    EXPECT_EQ("0x2800", Register("speaker_tone"));
    EXPECT_EQ(origin["at_us"], Ask({{"do", "origin"}, {"register", "speaker_tone"}})["at_us"])
        << "in the past";
    Show(origin, -1);
    EXPECT_EQ(origin["before"], Register("speaker_tone"));
    const json before = Ask({{"do", "origin"}, {"register", "speaker_tone"}});
    EXPECT_FALSE(before["found"].get<bool>());
    EXPECT_EQ("not written since the FPGA was configured", before["why"]);
}

TEST_F(Origin, OfAMemoryMayLieInAnEarlierStart) {
    ASSERT_TRUE(Go("Arm Eeprom", "Arm Eeprom Check OK!"));
    const json byte = {{"do", "origin"}, {"memory", "mainboard"}, {"at", 1}};
    const json origin = Ask(byte);
    ASSERT_TRUE(origin["found"].get<bool>()) << origin;
    EXPECT_EQ("i2c mainboard write 0x0000 128 bytes", origin["what"]);
    IsTheWindows(origin["thread"]);
    EXPECT_EQ("0xff", origin["before"]);
    EXPECT_EQ(0, origin["run"]);
    Show(origin);
    EXPECT_EQ(0, Cell("mainboard.eeprom", 1));
    Show(origin, -1);
    EXPECT_EQ(0xFF, Cell("mainboard.eeprom", 1));
    Ask({{"do", "now"}});
    EXPECT_EQ("it is as it was at the first power-on",
              Ask({{"do", "origin"}, {"memory", "module"}, {"at", 65535}})["why"]);

    Ask({{"do", "restart"}});
    UntilRestarted();
    ASSERT_TRUE(Sees("MainBoard_FCT"));
    const auto isStill = [&](const char* when) {
        const json later = Ask(byte);
        for (const char* member : {"found", "run", "at_us", "what", "thread", "before", "input", "texts"})
            EXPECT_EQ(origin[member], later[member]) << member << when;
    };
    isStill(" after a start");
    ASSERT_TRUE(Go("MainBoard_FCT", "battery voltage"));
    ASSERT_TRUE(Go("Arm Eeprom", "Arm Eeprom Check OK!"));
    isStill(" after the same has been written again");
    Ask({{"do", "restart"}, {"fresh", true}});
    UntilRestarted();
    EXPECT_THAT(Ask(byte)["why"].get<std::string>(),
                HasSubstr("put there while the power was off, before start 3"));
}

TEST_F(Origin, OfWhatAPowerCutTore) {
    Ask({{"do", "fault"}, {"name", "mainboard.eeprom_cut"}, {"value", {{"after", 5}, {"damage", "half"}}}});
    Ask({{"do", "touch"}, {"control", "Arm Eeprom"}});
    try {
        past_.Ask({{"do", "advance"}, {"ms", 20'000}});
    } catch (const BenchError&) {
    }
    UntilOff();
    const auto origin = [&](int at) { return Ask({{"do", "origin"}, {"memory", "mainboard"}, {"at", at}}); };
    const json off = origin(4), torn = origin(5);
    EXPECT_EQ("i2c mainboard write 0x0000 128 bytes", off["what"]);
    EXPECT_EQ("i2c mainboard write 0x0000 128 bytes, torn by a power cut", torn["what"]);
    EXPECT_FALSE(origin(6)["found"].get<bool>()) << "never programmed";
    EXPECT_TRUE(torn["last"].get<bool>());
    EXPECT_THAT(torn["texts"].dump(), HasSubstr("Arm Eeprom"));
    EXPECT_THROW(Ask({{"do", "rewind"}, {"to_us", torn["at_us"]}}), Refused) << "nothing is left to be seen";
    Ask({{"do", "rewind"}, {"to_us", torn["at_us"].get<std::int64_t>() - 1}});
    EXPECT_THAT(Ask({{"do", "text"}}).dump(), HasSubstr("Arm Eeprom"));
    Ask({{"do", "now"}});
    Ask({{"do", "restart"}});
    UntilRestarted();
    ASSERT_TRUE(Sees("MainBoard_FCT"));
    EXPECT_EQ(torn["at_us"], origin(5)["at_us"]);
    EXPECT_EQ(torn["what"], origin(5)["what"]);
    EXPECT_FALSE(origin(6)["found"].get<bool>());
}

TEST_F(Origin, IsLookedForUntilSomebodyStopsIt) {
    Ask({{"do", "speed"}, {"factor", 0}});
    Ask({{"do", "advance"}, {"ms", 3600 * 1000}});  // which takes a while to be gone through again
    std::atomic<bool> over{false};
    std::string refusal;
    std::thread search([&] {
        refusal = Refusal({{"do", "origin"}, {"text", "battery voltage"}});
        over = true;
    });
    while (!over) {
        Ask({{"do", "origin"}, {"stop", true}});
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    search.join();
    EXPECT_EQ("the search was broken off", refusal);
}

TEST_F(Origin, OfATextIsWhenItLastCame) {
    const json first = Ask({{"do", "origin"}, {"text", "battery voltage"}});
    EXPECT_EQ("MainBoard_FCT", first["input"]["request"]["control"]);
    IsTheWindows(first["thread"]);
    Ask({{"do", "touch"}, {"control", "Back"}});
    ASSERT_TRUE(Sees("Opticl_FCT"));
    ASSERT_TRUE(Go("MainBoard_FCT", "battery voltage"));
    Ask({{"do", "advance"}, {"ms", 5000}});
    const json runs = Ask({{"do", "text"}})["runs"];
    int looked = 0;
    for (const json& run : runs) {
        if (run["text"] != "battery voltage")
            continue;
        ++looked;
        const json origin = Ask({{"do", "origin"}, {"text", "battery"}, {"x", run["x"]}, {"y", run["y"]}});
        EXPECT_GT(origin["at_us"], first["at_us"]);
        EXPECT_EQ("battery voltage", origin["value"]);
        const auto shown = [&] {
            return Ask({{"do", "text"}}).dump().find("battery voltage") != std::string::npos;
        };
        Show(origin);
        EXPECT_TRUE(shown());
        EXPECT_EQ(origin["at_us"], Ask({{"do", "origin"}, {"text", "battery voltage"}})["at_us"]);
        EXPECT_LT(origin["after_us"], origin["at_us"]);
        Show({{"run", origin["run"]}, {"at_us", origin["after_us"]}});
        EXPECT_FALSE(shown());
    }
    EXPECT_EQ(1, looked);
    Ask({{"do", "now"}});
    EXPECT_THAT(Refusal({{"do", "origin"}, {"text", "no such text"}}), HasSubstr("does not show"));
    EXPECT_THAT(Refusal({{"do", "origin"}, {"text", "battery"}, {"x", 0}, {"y", 0}}), HasSubstr("there"));
    EXPECT_THAT(Refusal({{"do", "origin"}, {"text", "battery"}, {"x", 0}}), HasSubstr("whole numbers"));
    EXPECT_THAT(Refusal({{"do", "origin"}}), HasSubstr("of what?"));
    EXPECT_FALSE(past_.Ask({{"do", "watch"}})["ok"].get<bool>()) << "the search left nothing behind";
    for (const char* wrong :
         {R"({"do":"origin","register":"0x30000001"})", R"({"do":"origin","register":"x"})",
          R"({"do":"origin","memory":"card","at":1})", R"({"do":"origin","memory":"module"})",
          R"({"do":"origin","memory":"module","at":65536})"})
        EXPECT_FALSE(past_.Ask(json::parse(wrong))["ok"].get<bool>()) << wrong;
}

}  // namespace
}  // namespace k905
