#include "simulator/panel/ctl_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "simulator/panel/control_client.h"

namespace k905 {
namespace {

using nlohmann::json;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(CtlWords, AreRequests) {
    EXPECT_EQ(json({{"do", "hello"}}), RequestFromWords({"hello"}));
    EXPECT_EQ(json({{"do", "key"}, {"key", "f1"}, {"action", "down"}}),
              RequestFromWords({"key", "f1", "down"}));
    EXPECT_EQ(json({{"do", "touch"}, {"control", "Key Check"}}), RequestFromWords({"tap", "Key Check"}));
    EXPECT_EQ(json({{"do", "knob"}, {"steps", -2}}), RequestFromWords({"knob", "-2"}));
    EXPECT_EQ(json({{"do", "set"}, {"name", "optics.fibre"}, {"value", "1.5 km"}}),
              RequestFromWords({"set", "optics.fibre", "1.5 km"}));
    EXPECT_EQ(json({{"do", "fault"}, {"name", "fpga.ddr"}, {"value", false}}),
              RequestFromWords({"fault", "fpga.ddr", "false"}));
    EXPECT_EQ(json({{"do", "fail_call"}, {"function", "read"}, {"call", 3}, {"times", 0}}),
              RequestFromWords({"fail_call", "read", "3", "0"}));
    EXPECT_EQ(json({{"after", 3}}),
              RequestFromWords({"fault", "module.eeprom_cut", "{\"after\":3}"})["value"]);
}

TEST(CtlWords, TellTheirUsage) {
    for (const auto& words : std::vector<std::vector<std::string>>{
             {"touch", "1"}, {"touch", "1", "2", "tap", "3", "4"}, {"touch"}})
        try {
            RequestFromWords(words);
            FAIL();
        } catch (const BenchError& error) {
            EXPECT_STREQ("usage: touch x y [action] [hold_ms]", error.what());
        }
    EXPECT_THROW(RequestFromWords({"fly"}), BenchError);
    EXPECT_THROW(RequestFromWords({}), BenchError);
    EXPECT_THAT(WordsHelp(), HasSubstr("fault name [value]"));
}

TEST(CtlWords, AreCompleted) {
    const auto ask = [](const json&) -> json {
        return {{"faults", {{{"name", "sd.full"}}, {{"name", "usb.two"}}}}};
    };
    EXPECT_THAT(CompleteWords({"fau"}, ask), ElementsAre("faults", "fault"));
    EXPECT_THAT(CompleteWords({"fault", "s"}, ask), ElementsAre("sd.full"));
    EXPECT_THAT(CompleteWords({"key", ""}, ask), Contains("realt"));
    EXPECT_THAT(CompleteWords({"key", "f1", "d"}, ask), ElementsAre("down"));
    EXPECT_THAT(CompleteWords({"calls", "st"}, ask), ElementsAre("start", "stop"));
    EXPECT_THAT(CompleteWords({"hello", ""}, ask), IsEmpty());
    EXPECT_THAT(CompleteWords({}, ask), IsEmpty());
    const auto nobody = [](const json&) -> json { throw BenchError("no instrument"); };
    EXPECT_THAT(CompleteWords({"fault", ""}, nobody), IsEmpty());
}

}  // namespace
}  // namespace k905
