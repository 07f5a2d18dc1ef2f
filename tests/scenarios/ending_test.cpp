// SIGTERM ends the program in order, within a virtual second, whatever it is doing, and leaves the module at
// rest.
#include <gtest/gtest.h>
#include <signal.h>

#include <functional>

#include "tests/scenarios/operator.h"
#include "tests/support/module_rest.h"

namespace k905 {
namespace {

constexpr std::int64_t kWithinUs = 1'000'000;

struct State {
    const char* name;
    Faults faults;
    std::function<bool(Operator&)> reach;
};

void PrintTo(const State& state, std::ostream* out) {
    *out << state.name;
}

bool MainBoard(Operator& person, bool connect) {
    return person.OpenMainBoard() && (!connect || person.Connect());
}

// Presses a button of the main-board screen and lets its check run for a while.
State During(const char* name, const char* control, int ms, const Faults& faults = {}) {
    return {name, faults, [control, ms](Operator& person) {
                if (!MainBoard(person, std::string(control) != "Connect"))
                    return false;
                person.Press(control);
                person.At().Advance(ms);
                return true;
            }};
}

// The same on a screen of the optical module, named by its icon in the menu; null: only the screen. The board
// is connected where the screen can do that.
State DuringModule(const char* name, const char* icon, const char* control, int ms,
                   const Faults& faults = {}) {
    return {name, faults, [=](Operator& person) {
                const bool connects = std::string(icon).rfind("OPM_", 0) == 0;
                if (!person.OpenModule(icon) || (connects && !person.ConnectModule()))
                    return false;
                person.At().Set("optics.fibre", "1.5 km");
                if (control != nullptr)
                    person.Press(control);
                person.At().Advance(ms);
                return true;
            }};
}

std::vector<State> States() {
    const Faults none;
    std::vector<State> states = {
        {"StartScreen", none, [](Operator& person) { return person.WaitForStart(); }},
        {"IconHeld", none,
         [](Operator& person) {
             person.WaitForStart();
             person.At().Request({{"do", "touch"}, {"action", "down"}, {"x", 240}, {"y", 210}});
             person.At().Advance(500);
             return true;
         }},
        {"ChangingScreens", none,
         [](Operator& person) {
             person.WaitForStart();
             person.Settle();
             person.Press("MainBoard_FCT");
             person.At().Advance(330);
             return true;
         }},
        {"MainBoard", none, [](Operator& person) { return MainBoard(person, false); }},
        {"Connected", none, [](Operator& person) { return MainBoard(person, true); }},
        {"KeyCheck", none,
         [](Operator& person) { return MainBoard(person, false) && person.OpenKeyCheck(); }},
        {"KeyHeld", none,
         [](Operator& person) {
             const bool open = MainBoard(person, false) && person.OpenKeyCheck();
             person.At().Key("enter", "down");
             person.At().Advance(300);
             return open;
         }},
        {"KnobTurning", none,
         [](Operator& person) {
             const bool open = MainBoard(person, false) && person.OpenKeyCheck();
             person.At().Request({{"do", "knob"}, {"steps", 50}});
             person.At().Advance(900);
             return open;
         }},
        {"QueueFull", none,
         [](Operator& person) {
             const bool open = MainBoard(person, false) && person.OpenKeyCheck();
             person.At().Request({{"do", "knob"}, {"steps", 1000}});
             person.At().Advance(2000);
             return open;
         }},
        {"NoFont",
         {{"font.missing", true}},
         [](Operator& person) { return person.At().Advance(1000), true; }},
        During("Connecting", "Connect", 600, {{"board.unplugged", true}}),
        During("ConnectingAgain", "Connect", 5700, {{"board.unplugged", true}}),
        During("Voltages", "Voltage Check", 500),
        During("Adc", "ADC", 800),
        During("AdcAcquiring", "ADC", 1900),
        During("AdcNeverReady", "ADC", 3500, {{"optic.never_ready", true}}),
        During("ArmEeprom", "Arm Eeprom", 380),
        During("UsbNotice", "USB Check", 900),
        During("VisibleOn", "Visible Check", 1500),
        During("AutoVoltages", "Auto", 600),
        During("AutoAdc", "Auto", 2500),
        During("AutoLater", "Auto", 5000),
        During("AutoAdcNeverReady", "Auto", 4000, {{"optic.never_ready", true}}),
        {"VoltagesUnplugged", none,
         [](Operator& person) {
             if (!MainBoard(person, true))
                 return false;
             person.Press("Voltage Check");
             person.At().Advance(400);
             person.At().Fault("board.unplugged", true);
             person.At().Advance(3000);
             return true;
         }},
        {"BackAndForth", none,
         [](Operator& person) {
             for (int i = 0; i < 3; ++i) {
                 if (!MainBoard(person, false))
                     return false;
                 person.Press("Back");
                 if (!person.WaitForStart())
                     return false;
             }
             return true;
         }},
        DuringModule("OpmTest", "OPM_FCT", nullptr, 100),
        DuringModule("OpmVoltages", "OPM_FCT", "Voltage Check", 700),
        DuringModule("SignalChainAttenuators", "OPM_FCT", "Signal chain", 1500),
        DuringModule("SignalChain", "OPM_FCT", "Signal chain", 12000),
        DuringModule("SignalChainNeverReady", "OPM_FCT", "Signal chain", 20000,
                     {{"optic.never_ready", true}}),
        DuringModule("OpmEeprom", "OPM_FCT", "Eeprom Check", 350),
        DuringModule("AdjustApd", "OPM_Adjust", "Apd", 900),
        DuringModule("AdjustVdd", "OPM_Adjust", "Vdd", 400),
        DuringModule("AdjustAtt0", "OPM_Adjust", "Att0", 1500),
        DuringModule("AdjustAtt1", "OPM_Adjust", "Att1", 2500),
        DuringModule("AdjustAtt1DarkLevel", "OPM_Adjust", "Att1", 30000, {{"optic.never_ready", true}}),
        DuringModule("OpticalCheck", "OPT_Adjust", "Opt check", 5000),
        DuringModule("OpticalCheckNeverReady", "OPT_Adjust", "Opt check", 5000,
                     {{"optic.never_ready", true}}),
        DuringModule("FibreOffset", "OPT_Adjust", "Dev adjust", 600),
        DuringModule("ApdAdjust", "APD_Adjust", nullptr, 100),
        DuringModule("ApdTrial", "APD_Adjust", "Start", 30000),
        DuringModule("ApdNeverReady", "APD_Adjust", "Start", 10000, {{"optic.never_ready", true}}),
        DuringModule("ApdDelay", "APD_Adjust", "Start", 20 * 60000),
        DuringModule("ApdSample", "APD_Adjust", "Start", 80 * 60000),
        DuringModule("E2promView", "E2PROM", nullptr, 100),
    };
    return states;
}

class Sigterm : public ::testing::TestWithParam<State> {};
INSTANTIATE_TEST_SUITE_P(States, Sigterm, ::testing::ValuesIn(States()),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(Sigterm, EndsTheProgramWithinASecondAndLeavesTheModuleAtRest) {
    Operator person(GetParam().faults);
    ASSERT_TRUE(GetParam().reach(person));
    ASSERT_TRUE(person.At().Status().running) << person.At().DescribeEnding();
    std::int64_t took = -1;
    const Ending& ending = person.At().Stop(20, &took);
    EXPECT_EQ(0, ending.signal) << person.At().DescribeEnding();
    EXPECT_EQ(0, ending.status) << person.At().DescribeEnding();
    EXPECT_GE(took, 0);
    EXPECT_LE(took, kWithinUs);
    EXPECT_EQ("", ModuleUnrest(person.At().LeftBehind()));
}

// From the first second, in which the program comes up, no moment is a bad one.
TEST(SigtermWhileStarting, EndsTheProgramWithinASecond) {
    for (const int ms : {20, 50, 90, 130, 180, 240, 310, 400, 500, 650, 800, 1000}) {
        Operator person;
        person.At().Advance(ms);
        std::int64_t took = -1;
        const Ending& ending = person.At().Stop(20, &took);
        EXPECT_EQ(0, ending.signal) << "after " << ms << " ms: " << person.At().DescribeEnding();
        EXPECT_EQ(0, ending.status) << "after " << ms << " ms: " << person.At().DescribeEnding();
        EXPECT_LE(took, kWithinUs) << "after " << ms << " ms";
        EXPECT_EQ("", ModuleUnrest(person.At().LeftBehind())) << "after " << ms << " ms";
    }
}

TEST(SignalFromOutside, EndsTheProgramToo) {
    for (const int signal : {SIGTERM, SIGINT}) {
        Operator person;
        ASSERT_TRUE(person.WaitForStart());
        ASSERT_EQ(0, kill(person.At().Pid(), signal));
        const Ending& ending = person.At().Stop();
        EXPECT_EQ(0, ending.signal) << person.At().DescribeEnding();
        EXPECT_EQ(0, ending.status) << person.At().DescribeEnding();
    }
}

}  // namespace
}  // namespace k905
