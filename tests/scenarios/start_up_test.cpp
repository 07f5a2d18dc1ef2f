// What the program prints while it starts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/scenarios/operator.h"

namespace k905 {
namespace {

// What the console tells of these, in its order. Other messages may stand before them in their line.
std::vector<std::string> Milestones(const std::string& console) {
    std::vector<std::string> found;
    std::istringstream lines(console);
    for (std::string line; std::getline(lines, line);)
        for (const char* begins : {"OPMTestInit", "Create window", "BmpFileDirectory"})
            if (line.find(begins) != std::string::npos)
                found.push_back(line.substr(line.find(begins)));
    return found;
}

struct StartCase {
    const char* name;
    Faults faults;
    const char* hardware;
};
// For the messages of failures.
void PrintTo(const StartCase& one, std::ostream* stream) {
    *stream << one.name;
}
class StartUpConsole : public ::testing::TestWithParam<StartCase> {};
INSTANTIATE_TEST_SUITE_P(
    With, StartUpConsole,
    ::testing::Values(StartCase{"AGoodModule", {}, "OPMTestInit ok"},
                      StartCase{"AFailingDriver", {{"optic.ioctl_failing", true}}, "OPMTestInit failed"}),
    [](const auto& one) { return one.param.name; });

TEST_P(StartUpConsole, TellsOfTheHardwareThenOfTheWindowAndGoesOn) {
    Operator person(GetParam().faults);
    ASSERT_TRUE(person.WaitForStart());
    EXPECT_THAT(
        Milestones(person.At().Console()),
        ::testing::ElementsAre(GetParam().hardware, "Create window", "BmpFileDirectory = /app/fct/bitmap/"));
    // The main board tests work without the module.
    EXPECT_TRUE(person.OpenMainBoard());
    EXPECT_EQ(0, person.At().Stop().status) << person.At().DescribeEnding();
}

// ---- Without threads ----

// The program's threads in the order in which they are made: scheduler, events, framebuffer, keypad, touch
// panel, start screen. So many of them cannot be had.
void DenyThreads(Operator& person, int first, int count) {
    person.At().Request(
        {{"do", "fail_call"}, {"function", "pthread_create"}, {"call", first}, {"times", count}});
}

TEST(StartUpWithoutThreads, ReadersThatCannotBeHadAreToldOnTheConsole) {
    Operator person;
    DenyThreads(person, 3, 3);
    ASSERT_TRUE(person.WaitForStart());
    EXPECT_THAT(person.At().Console(),
                ::testing::HasSubstr("create framebuffer thread failed!\ncreate keypad thread failed!\n"
                                     "create touch thread failed!\n"));
    EXPECT_EQ(0, person.At().Stop().status) << person.At().DescribeEnding();
}

TEST(StartUpWithoutThreads, TheStartScreenComesAsSoonAsItsThreadCanBeHad) {
    Operator person;
    DenyThreads(person, 6, 20);
    ASSERT_TRUE(person.WaitForStart());
    EXPECT_TRUE(person.OpenMainBoard());
    EXPECT_EQ(0, person.At().Stop().status) << person.At().DescribeEnding();
}

TEST(StartUpWithoutThreads, WithoutTheSchedulerTheProgramSaysSoAndEndsInOrder) {
    Operator person;
    DenyThreads(person, 1, 1);
    person.At().Advance(10000);
    EXPECT_THAT(person.At().Console(), ::testing::HasSubstr("InitializeGUI failed: -3\n"));
    EXPECT_EQ(0, person.At().Stop().status) << person.At().DescribeEnding();
}

// ---- What cannot be had ----

TEST(StartUpWithoutAKeypad, TheTouchPanelServes) {
    Operator person;
    person.At().Request({{"do", "fail_call"}, {"function", "open"}, {"caller", "CreateKeypad"}});
    ASSERT_TRUE(person.WaitForStart());
    EXPECT_EQ(1, person.At().Request({{"do", "calls"}}).at("failed").at("times"));
    EXPECT_THAT(person.At().Request({{"do", "threads"}}).dump(),
                ::testing::AllOf(::testing::HasSubstr("read /dev/event2"),
                                 ::testing::Not(::testing::HasSubstr("read /dev/keyb0"))));
    EXPECT_TRUE(person.OpenMainBoard());
    EXPECT_EQ(0, person.At().Stop().status) << person.At().DescribeEnding();
}

TEST(StartUpWithShortMemory, TheStartScreenComesOnceThereIsSome) {
    Operator person;
    person.At().Request(
        {{"do", "fail_call"}, {"function", "calloc"}, {"caller", "CreateWindow"}, {"times", 5}});
    ASSERT_TRUE(person.WaitForStart());
    EXPECT_EQ(5, person.At().Request({{"do", "calls"}}).at("failed").at("times"));
    EXPECT_EQ(0, person.At().Stop().status) << person.At().DescribeEnding();
}

// ---- Without handlers of signals ----

// The alarm that cuts the start-up's waits short would end the program on the spot.
TEST(StartUpWithoutTheAlarmsHandler, IsToldAndDoesWithoutTheAlarm) {
    Operator person;
    person.At().Request({{"do", "fail_call"}, {"function", "sigaction"}});
    person.At().Advance(300);
    EXPECT_THAT(person.At().Console(), ::testing::HasSubstr("sigaction: Invalid argument\n"));
    const Ending& ending = person.At().Stop();
    EXPECT_EQ(0, ending.signal) << person.At().DescribeEnding();
    EXPECT_EQ(0, ending.status) << person.At().DescribeEnding();
}

}  // namespace
}  // namespace k905
