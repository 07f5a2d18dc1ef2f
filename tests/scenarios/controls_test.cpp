// The controls of each screen, as the instrument tells them, against what stands on its LCD.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scenarios/operator.h"

namespace k905 {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Names of those that a finger can touch; the main board's buttons without a caption are left out.
std::vector<std::string> Touchable(const std::vector<ScreenControl>& controls) {
    std::vector<std::string> names;
    for (const ScreenControl& control : controls)
        if (control.touchable && !control.name.empty())
            names.push_back(control.name);
    return names;
}

ScreenControl Find(const std::vector<ScreenControl>& controls, const std::string& name) {
    for (const ScreenControl& control : controls)
        if (control.name == name)
            return control;
    ADD_FAILURE() << "no control " << name;
    return {};
}

TEST(Controls, OfTheMenusAreTheirIcons) {
    Operator person;
    EXPECT_THAT(person.At().Controls(), IsEmpty()) << "before the first screen";
    ASSERT_TRUE(person.WaitForStart());
    const std::vector<ScreenControl> start = person.At().Controls();
    EXPECT_THAT(Touchable(start), ElementsAre("Opticl_FCT", "MainBoard_FCT"));
    const ScreenControl board = Find(start, "MainBoard_FCT");
    EXPECT_TRUE(board.enabled);
    EXPECT_THAT(
        (std::vector<int>{board.picture.x, board.picture.y, board.picture.width, board.picture.height}),
        ElementsAre(200, 170, 80, 80));
    EXPECT_THAT(
        (std::vector<int>{board.caption.x, board.caption.y, board.caption.width, board.caption.height}),
        ElementsAre(170, 255, 140, 16));
    ASSERT_TRUE(person.Go("Opticl_FCT", "K905 Optical FCT !"));
    EXPECT_THAT(Touchable(person.At().Controls()),
                ElementsAre("OPM_Adjust", "OPT_Adjust", "OPM_FCT", "APD_Adjust", "E2PROM", "Back"))
        << "the hidden sixth icon is not among them";
}

TEST(Controls, OfTheMainBoardKnowWhatIsEnabledAndWhatLiesAbove) {
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard());
    const std::vector<ScreenControl> controls = person.At().Controls();
    EXPECT_THAT(Touchable(controls),
                ElementsAre("Voltage Check", "ADC", "Arm Eeprom", "Key Check", "Speaker Check", "USB Check",
                            "Connect", "FPGA DDR", "Visible Check", "battery voltage", "RTC", "SDcard Check",
                            "Auto", "Back"));
    EXPECT_FALSE(Find(controls, "Auto").enabled);
    EXPECT_TRUE(Find(controls, "USB Check").enabled);
    EXPECT_EQ(727, Find(controls, "Auto").x);
    EXPECT_EQ(421, Find(controls, "Auto").y);
    // A button without a caption covers the right half of ADC.
    EXPECT_EQ(625, Find(controls, "ADC").x);
    ASSERT_TRUE(person.Connect());
    EXPECT_TRUE(Find(person.At().Controls(), "Auto").enabled);
}

TEST(Controls, OfTheKeyCheckAreItsPictures) {
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard() && person.OpenKeyCheck());
    const std::vector<ScreenControl> controls = person.At().Controls();
    EXPECT_THAT(Touchable(controls), ElementsAre("Back"));
    EXPECT_EQ(21u, controls.size()) << "18 keys, two turns, Back";
    EXPECT_FALSE(Find(controls, "Enter").touchable);
    EXPECT_EQ(355, Find(controls, "Enter").picture.x);
}

TEST(Controls, ThatAreNotThereAreRefusedWithThoseThatAre) {
    Operator person;
    ASSERT_TRUE(person.WaitForStart());
    try {
        person.Press("Auto");
        ADD_FAILURE() << "touched";
    } catch (const BenchError& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("no control \"Auto\" on the screen"),
                                        HasSubstr("it has Opticl_FCT, MainBoard_FCT")));
    }
    EXPECT_THROW(person.At().Request({{"do", "touch"}, {"control", "Opticl_FCT"}, {"action", "move"}}),
                 BenchError);
}

TEST(Controls, AreNamedToWhomeverTouchesThemAndInTheSession) {
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard());
    person.Settle();
    const auto kept = [&] {
        const Session session = ReadSession(person.At().StateDir() + "/" + kSessionFile);
        return session.runs.back().inputs.back().control;
    };
    const struct {
        int x, y;
        const char* name;
    } places[] = {{625, 120, "ADC"}, {488, 50, ""}, {660, 120, ""}, {700, 190, ""}, {0, 0, ""}};
    for (const auto& place : places) {
        const nlohmann::json reply =
            person.At().Request({{"do", "touch"}, {"action", "down"}, {"x", place.x}, {"y", place.y}});
        EXPECT_EQ(place.name, reply.value("control", "")) << place.x << "," << place.y;
        EXPECT_EQ(place.name, kept());
        person.At().Request({{"do", "touch"}, {"action", "up"}});
        EXPECT_EQ("", kept());
    }
    person.At().Touch("ADC");
    EXPECT_EQ("", kept()) << "it is in the request";
}

TEST(Controls, AreTouchedAsAFingerWould) {
    Operator person;
    ASSERT_TRUE(person.WaitForStart());
    person.Settle();
    const auto touch = [&](const char* action) {
        nlohmann::json request = {{"do", "touch"}, {"action", action}};
        if (std::string(action) == "down")
            request["control"] = "MainBoard_FCT";
        person.At().Request(request);
    };
    touch("down");
    person.At().Advance(1000);
    EXPECT_TRUE(person.SeesNow("Welcome to K905_FCT !")) << "held: nothing starts yet";
    touch("up");
    EXPECT_TRUE(person.Sees("K905 Mainboard FCT !"));
}

}  // namespace
}  // namespace k905
