// The same script on the same specimen does the same to the last register write, pixel and character.
#include <gtest/gtest.h>

#include "tests/scenarios/operator.h"

namespace k905 {
namespace {

struct Record {
    std::vector<std::string> trace;
    std::vector<std::vector<std::uint8_t>> screens;
    std::string console;
    std::int64_t endUs = 0;
};

// Work that uses every part: serial link, FPGA, EEPROM, storage, keys, the thread of the visible light.
Record RunScript() {
    Record record;
    Operator person;
    Bench& bench = person.At();
    bench.Request({{"do", "trace"}, {"action", "start"}});
    const auto look = [&] {
        person.Settle();
        record.screens.push_back(bench.Screen().bytes);
    };
    person.OpenMainBoard();
    look();
    person.Connect();
    look();
    for (const char* control :
         {"Voltage Check", "Arm Eeprom", "Visible Check", "USB Check", "battery voltage", "RTC"}) {
        person.Press(control);
        bench.Advance(1500);
        look();
    }
    person.Press("Auto");
    person.Sees("SDcard Check OK!", 120000);
    look();
    person.OpenKeyCheck();
    look();
    bench.Request({{"do", "key"}, {"key", "f3"}, {"action", "press"}});
    bench.Request({{"do", "knob"}, {"steps", 3}});
    bench.Advance(137);
    record.screens.push_back(bench.Screen().bytes);
    look();
    record.trace =
        bench.Request({{"do", "trace"}, {"action", "read"}}).at("lines").get<std::vector<std::string>>();
    bench.Stop(20, &record.endUs);
    record.console = bench.Console();
    return record;
}

// Twenty runs altogether, in four tests that can be run side by side.
class IdenticalRuns : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Batch, IdenticalRuns, ::testing::Range(0, 4));

TEST_P(IdenticalRuns, GiveIdenticalTracesScreensAndConsole) {
    constexpr int kRuns = K905_SANITIZED ? 1 : 5;
    const Record first = RunScript();
    ASSERT_GT(first.trace.size(), 200u);
    ASSERT_NE("", first.console);
    for (int run = 1; run <= kRuns; ++run) {
        const Record again = RunScript();
        ASSERT_EQ(first.trace.size(), again.trace.size()) << "run " << run;
        for (std::size_t i = 0; i < first.trace.size(); ++i)
            ASSERT_EQ(first.trace[i], again.trace[i]) << "run " << run << ", line " << i;
        ASSERT_EQ(first.screens.size(), again.screens.size());
        for (std::size_t i = 0; i < first.screens.size(); ++i)
            ASSERT_TRUE(first.screens[i] == again.screens[i]) << "run " << run << ", screen " << i;
        ASSERT_EQ(first.console, again.console) << "run " << run;
        ASSERT_EQ(first.endUs, again.endUs) << "run " << run;
    }
}

}  // namespace
}  // namespace k905
