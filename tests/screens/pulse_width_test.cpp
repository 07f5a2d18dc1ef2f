#include "device/common_opt.h"
#include "screens/wnd_frmpulsewidth.h"
#include "tests/screens/screen_fixture.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using PulseWidth = test::ScreenTest;

namespace {

// Registers in the order of writing; a column a mode.
constexpr unsigned kRegisters[12][7] = {
    {0x3000000a, 0x6307, 0x6300, 0x6300, 0x6307, 0x6303, 0x6301},
    {0x3000000c, 273, 369, 337, 337, 337, 337},
    {0x3000000e, 888, 888, 888, 888, 888, 888},
    {0x30000012, 2112, 2112, 2112, 1737, 2112, 2112},
    {0x30000014, 2013, 2013, 2013, 2013, 2013, 2013},
    {0x30000002, 2040, 2040, 2040, 2040, 2040, 2040},
    {0x30000018, 4, 0, 0, 4, 4, 4},
    {0x3000001e, 8, 8, 8, 8, 8, 8},
    {0x3000001c, 0, 0, 0, 0, 0, 0},
    {0x3000001a, 4096, 4096, 4096, 4096, 4096, 4096},
    {0x30000020, 512, 512, 512, 512, 512, 512},
    {0x3000002e, 1, 1, 1, 1, 1, 1},
};

const char* const kMessages[] = {
    "Pusle Mode1: 1310nm, 6307 Chnnel, APD Voltage = 65v, Pulse 100ns",
    "Pusle Mode2: 1550nm, 6300 Chnnel, APD Voltage = 65v, Pulse 3ns",
    "Pusle Mode3: 1550nm, 6300 Chnnel, APD Voltage = 65v, Pulse 10ns",
    "Pusle Mode4: 1550nm, 6307 Chnnel, APD Voltage = 65v, Pulse 100ns",
    "Pusle Mode5: 1550nm, 6303 Chnnel, APD Voltage = 65v, Pulse 100ns",
    "Pusle Mode6 :1550nm, 6301 Chnnel, APD Voltage = 65v, Pulse 100ns",
};

std::vector<std::string> ExpectedWrites(int mode) {
    std::vector<std::string> lines;
    for (const auto& row : kRegisters) {
        char line[64] = "";
        snprintf(line, sizeof line, "reg write 0x%08x 0x%04x", row[0], row[mode]);
        lines.push_back(line);
    }
    return lines;
}

// The words of a text, whatever its lines.
std::string Words(const std::vector<std::string>& lines) {
    std::string words;
    for (const std::string& line : lines)
        for (const char c : line)
            if (c != ' ')
                words += c;
    return words;
}

}  // namespace

TEST_F(PulseWidth, ShowsItsButtonsAndAnEmptyFrame) {
    Start(FrmPulseWid);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("PulseWid FCT"));
    EXPECT_THAT(Texts(test::kOpticalFrame), testing::IsEmpty());
    EXPECT_THAT(Texts({0, 450, 650, 30}), testing::IsEmpty());
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/pulse_width"));
}

TEST_F(PulseWidth, ListsTheWindowSixButtonsAndTheBackButton) {
    Start(FrmPulseWid);
    EXPECT_THAT(Components(), ElementsAre("0,0", "650,35", "650,95", "650,155", "650,215", "650,275",
                                          "650,335", "650,454"));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_DOWN));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_UP));
    EXPECT_EQ(7, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(7, Registrations(GUIMESSAGE_TCH_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_ERR_PROC));
}

TEST_F(PulseWidth, EachButtonWritesItsConfigurationAndNamesIt) {
    Start(FrmPulseWid);
    std::vector<test::Picture> pressed;
    for (int mode = 1; mode <= 6; ++mode) {
        Press(700, 60 * mode);
        pressed.push_back(Screenshot({650, static_cast<unsigned>(60 * mode) - 25, 105, 53}));
        linked_->StartTrace();
        linked_->ClearTrace();
        Release(1000);
        EXPECT_EQ("PleaseWait5Seconds......", Words(Texts(test::kOpticalFrame))) << mode;
        if (mode == 2) {
            EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/pulse_width_running"));
        }
        Run(6000);
        EXPECT_THAT(linked_->TraceLines({"reg"}), ElementsAreArray(ExpectedWrites(mode))) << mode;
        EXPECT_EQ(Words({kMessages[mode - 1]}), Words(Texts(test::kOpticalFrame))) << mode;
        if (mode == 2) {
            EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/pulse_width_done"));
        }
    }
    EXPECT_TRUE(test::MatchesGolden(test::Mosaic(pressed, 2), "screens/pulse_width_pressed"));
}

TEST_F(PulseWidth, WaitsBetweenTheWritesAndLongerAfterTheLast) {
    Start(FrmPulseWid);
    linked_->StartTrace();
    EXPECT_EQ(0, PulseMode3());
    std::vector<std::string> expected = {"fpga begin", "fpga end", "sleep 200 ms"};
    std::vector<std::string> seen;
    for (const std::string& line : linked_->TraceLines({"fpga", "reg", "sleep"}))
        if (line.find("fpga data") != 0)
            seen.push_back(line.substr(0, line.find("fpga begin") == 0 ? 10 : std::string::npos));
    int writes = 0, shortSleeps = 0, longSleeps = 0;
    for (const std::string& line : seen) {
        writes += line.find("reg write") == 0;
        shortSleeps += line == "sleep 200 ms" || line == "sleep 200.000 ms" || line == "sleep 0.2 s";
        longSleeps += line == "sleep 2000 ms" || line == "sleep 2000.000 ms" || line == "sleep 2 s";
    }
    EXPECT_EQ("fpga begin", seen.front());
    EXPECT_EQ(12, writes);
    EXPECT_EQ(12, shortSleeps) << testing::PrintToString(seen);
    EXPECT_EQ(1, longSleeps) << testing::PrintToString(seen);
}

TEST_F(PulseWidth, LeavesTheShadowsOfTheControlRegisters) {
    Start(FrmPulseWid);
    OPMSetFrontAmp(3);
    const uint16_t ctrl0 = CurrCtrl0;
    const uint16_t ctrl1 = CurrCtrl1;
    PulseMode1();
    EXPECT_EQ(ctrl0, CurrCtrl0);
    EXPECT_EQ(ctrl1, CurrCtrl1);
}

TEST_F(PulseWidth, GoesOnWhenTheFpgaCannotBeLoaded) {
    Start(FrmPulseWid);
    const std::string bitstream = cFpgaFileName;
    snprintf(cFpgaFileName, sizeof cFpgaFileName, "/app/fct/nothing.bit");
    Press(700, 60);
    linked_->StartTrace();
    linked_->ClearTrace();
    Release(7000);
    EXPECT_THAT(linked_->TraceLines({"fpga"}), testing::IsEmpty());
    EXPECT_THAT(linked_->TraceLines({"reg"}), ElementsAreArray(ExpectedWrites(1)));
    EXPECT_EQ(Words({kMessages[0]}), Words(Texts(test::kOpticalFrame)));
    snprintf(cFpgaFileName, sizeof cFpgaFileName, "%s", bitstream.c_str());
}

TEST_F(PulseWidth, GoesBackToTheMenu) {
    Start(FrmPulseWid);
    Tap(680, 465);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
}
