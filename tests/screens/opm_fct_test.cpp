#include <limits.h>

#include <cmath>

#include "device/common_opt.h"
#include "device/operator_report.h"
#include "measure/adjust.h"
#include "screens/opm_check.h"
#include "screens/wnd_frmopm_fct.h"
#include "tests/screens/screen_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const test::Button kTests[] = {{"Voltage Check", 600, 35},
                               {"Signal chain", 600, 95},
                               {"Eeprom Check", 600, 155},
                               {"Temperature", 600, 215}};

}  // namespace

class OpmFct : public test::ScreenTest {
  protected:
    void Open() { Start(FrmOPM); }
    void TapAt(unsigned x, unsigned y, unsigned milliseconds = 400) {
        Tap(static_cast<int>(x) + 20, static_cast<int>(y) + 25, milliseconds);
    }
    void OpenConnected() {
        Open();
        TapAt(450, 35, 2000);
        ASSERT_THAT(Texts(test::kInfoLine), ElementsAre("Connect Success!!!"));
        Printed();
    }
    void RunUntilEnabled(unsigned seconds) {
        for (unsigned i = 0; i < seconds && !Enabled(600, 35); ++i)
            Run(1000);
        EXPECT_TRUE(Enabled(600, 35)) << "the test has not ended";
        Run(300);
    }
    std::vector<std::string> Shown() const { return Texts(test::kOpticalFrame); }
    std::vector<std::string> Lines(const std::string& prefix) const {
        std::vector<std::string> lines;
        for (const std::string& line : linked_->TraceLines({"reg", "serial"}))
            if (line.find(prefix) == 0)
                lines.push_back(line);
        return lines;
    }
};

TEST_F(OpmFct, WithoutTheBoardTheTestsThatNeedItAreDisabled) {
    Open();
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM FCT"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_fct"));
    EXPECT_FALSE(Enabled(600, 35));
    EXPECT_FALSE(Enabled(600, 95));
    EXPECT_TRUE(Enabled(600, 155));
    EXPECT_TRUE(Enabled(600, 215));
    EXPECT_TRUE(Enabled(450, 35));
}

TEST_F(OpmFct, ListsTheWindowTheButtonsAndBack) {
    Open();
    EXPECT_THAT(Components(),
                ElementsAre("0,0", "450,35", "600,35", "600,95", "600,155", "600,215", "650,454"));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_DOWN));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_UP));
    EXPECT_EQ(6, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(6, Registrations(GUIMESSAGE_TCH_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_ERR_PROC));
}

TEST_F(OpmFct, ConnectEnablesAndDisablesTheTests) {
    OpenConnected();
    for (const test::Button& button : kTests)
        EXPECT_TRUE(Enabled(button.x, button.y)) << button.name;
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_fct_connected"));
    OPMGUIShare.usDoneFlag = 1;
    TapAt(450, 35, 1000);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Connect Fail!!!"));
    EXPECT_EQ(0, OPMGUIShare.usDoneFlag);
    for (const test::Button& button : kTests)
        EXPECT_FALSE(Enabled(button.x, button.y)) << button.name;
    EXPECT_TRUE(Enabled(450, 35));
}

TEST_F(OpmFct, EveryButtonHasItsPressedLook) {
    OPMGUIShare.usIsConnect = 1;
    Open();
    std::vector<test::Picture> pressed;
    for (const test::Button& button : kTests) {
        Press(static_cast<int>(button.x) + 20, static_cast<int>(button.y) + 25);
        pressed.push_back(Screenshot({button.x, button.y, 105, 53}));
        ReleaseUnheard(FrmOPM);
    }
    EXPECT_TRUE(test::MatchesGolden(test::Mosaic(pressed, 2), "screens/opm_fct_pressed"));
}

// ---- Voltages ----

TEST_F(OpmFct, VoltageLimitsThemselvesFail) {
    const struct {
        float low, high;
    } bands[] = {{1.0023469f, 1.1078570f}, {0.98560506f, 1.0893530f}, {0.98560596f, 1.0893539f}};
    unsigned point = 0;
    for (const auto& band : bands) {
        EXPECT_FALSE(OpmVoltagePasses(point, band.low)) << point;
        EXPECT_TRUE(OpmVoltagePasses(point, std::nextafter(band.low, 2.0f))) << point;
        EXPECT_TRUE(OpmVoltagePasses(point, std::nextafter(band.high, 0.0f))) << point;
        EXPECT_FALSE(OpmVoltagePasses(point, band.high)) << point;
        EXPECT_FALSE(OpmVoltagePasses(point, 99.99999f)) << point;
        EXPECT_FALSE(OpmVoltagePasses(point, std::nanf(""))) << point;
        ++point;
    }
    EXPECT_FALSE(OpmVoltagePasses(3, 1.05f));
    EXPECT_FALSE(OpmVoltagePasses(UINT_MAX, 1.05f));
}

TEST_F(OpmFct, VoltageCheckReadsThreeChannels) {
    OpenConnected();
    FrmOPMSetInfo("before");
    linked_->StartTrace();
    linked_->ClearTrace();
    TapAt(600, 35, 5000);
    EXPECT_THAT(Lines("reg write"), ElementsAre("reg write 0x30000012 0x02f8"));
    EXPECT_THAT(Lines("serial tx"), ElementsAre("serial tx 04 08 0e 07 23", "serial tx 04 08 15 07 23",
                                                "serial tx 04 08 1c 07 23"));
    EXPECT_THAT(Texts(test::kInfoLine), IsEmpty());
    const std::vector<std::string> shown = Shown();
    ASSERT_EQ(3u, shown.size());
    EXPECT_THAT(shown[0], StartsWith("OK  TP18:  1.0"));
    EXPECT_THAT(shown[1], StartsWith("OK  TP16:  1.0"));
    EXPECT_THAT(shown[2], StartsWith("OK  TP17:  1.0"));
    EXPECT_EQ(0xFFFFFFu, ColorOf(shown[0]));
    EXPECT_EQ(3, VoltageFlag1 + VoltageFlag2 + VoltageFlag3);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_fct_voltage"));
    for (const test::Button& button : kTests)
        EXPECT_TRUE(Enabled(button.x, button.y)) << button.name;
}

TEST_F(OpmFct, AMissingReplyFailsItsLimits) {
    OpenConnected();
    Fault("board.wrong_channel");
    TapAt(600, 35, 5000);
    EXPECT_THAT(Shown(), ElementsAre("F.  TP18:  99.99999V", "F.  TP16:  99.99999V", "F.  TP17:  99.99999V"));
    EXPECT_EQ(0xF8A800u, ColorOf("F.  TP18:  99.99999V"));
    EXPECT_EQ(0, VoltageFlag1 + VoltageFlag2 + VoltageFlag3);
}

// The fonts are reset after the check: a text keeps its colour until it is drawn again.
TEST_F(OpmFct, AFailedLineIsWhiteOnceTheScreenIsPaintedAgain) {
    OpenConnected();
    Fault("board.wrong_channel");
    TapAt(600, 35, 5000);
    const std::string line = "F.  TP17:  99.99999V";
    EXPECT_EQ(0xF8A800u, ColorOf(line));
    EXPECT_EQ(0, FrmOPMPaint(GetCurrWindow()));
    Run(200);
    EXPECT_EQ(0xFFFFFFu, ColorOf(line));
}

// ---- Signal chain ----

TEST_F(OpmFct, AMeanOfExactlyTheMiddlePassesBothRounds) {
    EXPECT_TRUE(ChannelRoundPasses(0, 50000));
    EXPECT_TRUE(ChannelRoundPasses(1, 50000));
    EXPECT_FALSE(ChannelRoundPasses(0, 50001));
    EXPECT_TRUE(ChannelRoundPasses(0, 49999));
    EXPECT_FALSE(ChannelRoundPasses(1, 49999));
    EXPECT_TRUE(ChannelRoundPasses(1, 50001));
}

TEST_F(OpmFct, SignalChainTestsFourChannels) {
    OpenConnected();
    TapAt(600, 95, 500);
    EXPECT_THAT(Shown(), Contains("Adjust Att0......"));
    for (const test::Button& button : kTests)
        EXPECT_FALSE(Enabled(button.x, button.y)) << button.name;
    RunUntilEnabled(300);
    EXPECT_THAT(Shown(), ElementsAre("6300channel: success!!!", "6301channel: success!!!",
                                     "6303channel: success!!!", "6307channel: success!!!"));
    EXPECT_EQ(0xFFFFFFu, ColorOf("6300channel: success!!!"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_fct_channels"));
}

TEST_F(OpmFct, TheFirstChannelTellsOfTheAdjustmentAndOfEachRound) {
    OpenConnected();
    TapAt(600, 95, 0);
    std::vector<std::string> told;
    for (int i = 0; i < 4000 && (told.empty() || told.back().find("6300channel: success") != 0); ++i) {
        Run(40);
        const std::vector<std::string> shown = Texts({5, 30, 400, 50});
        if (!shown.empty() && (told.empty() || told.back() != shown[0])) {
            told.push_back(shown[0]);
            if (told.back().find("time = 5") != std::string::npos) {
                EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_fct_running"));
            }
        }
    }
    ASSERT_EQ(14u, told.size()) << testing::PrintToString(told);
    EXPECT_EQ("Adjust Att0......", told[0]);
    EXPECT_EQ("Adjust Att1......", told[1]);
    EXPECT_EQ("Adjust Att0&Att1 success......", told[2]);
    for (int time = 10; time > 0; --time) {
        const int dac = time % 2 == 1 ? 0 : 1;
        int shownDac = -1, adc = -1, shownTime = -1;
        EXPECT_EQ(3, sscanf(told[static_cast<size_t>(13 - time)].c_str(),
                            "6300channel: DAC = %d  ADC = %d, time = %d", &shownDac, &adc, &shownTime))
            << told[static_cast<size_t>(13 - time)];
        EXPECT_EQ(time, shownTime);
        EXPECT_EQ(dac, shownDac) << time;
        EXPECT_TRUE(dac == 0 ? adc <= 50000 : adc >= 50000) << adc;
    }
}

TEST_F(OpmFct, AChannelThatSeesTheWrongLevelFailsAndTheOthersAreStillTested) {
    OpenConnected();
    Fault("adc.path");  // the same level in every round
    linked_->StartTrace();
    linked_->ClearTrace();
    TapAt(600, 95, 500);
    RunUntilEnabled(300);
    EXPECT_THAT(Shown(), ElementsAre("6300channel: fail!!!", "6301channel: fail!!!", "6303channel: fail!!!",
                                     "6307channel: fail!!!"));
    EXPECT_EQ(0xF8A800u, ColorOf("6300channel: fail!!!"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_fct_channels_failed"));
    // Each channel's command and "0", the first round's "0", and what closes it.
    EXPECT_THAT(Lines("serial tx 03"),
                ElementsAre("serial tx 03 0f 07 23", "serial tx 03 0e 07 23", "serial tx 03 0e 07 23",
                            "serial tx 03 0e 07 23",  // 6300
                            "serial tx 03 10 07 23", "serial tx 03 0e 07 23", "serial tx 03 0e 07 23",
                            "serial tx 03 0e 07 23",  // 6301
                            "serial tx 03 11 07 23", "serial tx 03 0e 07 23", "serial tx 03 0e 07 23",
                            "serial tx 03 0d 07 23",  // 6303
                            "serial tx 03 12 07 23", "serial tx 03 0e 07 23", "serial tx 03 0e 07 23",
                            "serial tx 03 0e 07 23", "serial tx 03 0f 07 23"));  // 6307
}

TEST_F(OpmFct, AFailureOfTheSecondAttenuatorIsTold) {
    OpenConnected();
    TapAt(600, 95, 0);
    for (int i = 0; i < 3000 && Shown() != std::vector<std::string>{"Adjust Att1......"}; ++i)
        Run(100);
    Fault("board.wrong_channel");
    for (int i = 0; i < 300 && Shown() == std::vector<std::string>{"Adjust Att1......"}; ++i)
        Run(1000);
    std::string shown;
    for (const std::string& text : Shown())
        shown += text;
    EXPECT_THAT(shown, StartsWith("Adjust Att1 fail!!! Signal chain test"));
    for (const test::Button& button : kTests)
        EXPECT_FALSE(Enabled(button.x, button.y)) << button.name;
}

TEST_F(OpmFct, AChannelModeDrivesTheBoardAndTheFpgaInOrder) {
    OpenConnected();
    linked_->StartTrace();
    linked_->ClearTrace();
    EXPECT_EQ(0, ChnnelMode4());
    const std::vector<std::string> setUp = {
        "reg write 0x30000002 0x07f8", "reg write 0x3000000a 0x6007", "reg write 0x3000000c 0x0140",
        "reg write 0x30000030 0x0008", "reg write 0x30000032 0x0020", "reg write 0x30000024 0x0000",
        "reg write 0x30000022 0x0000", "reg write 0x3000001a 0x0010", "reg write 0x3000001c 0x0000",
        "reg write 0x3000001e 0x0001", "reg write 0x30000020 0x0400",
    };
    std::vector<std::string> expected = setUp;
    for (int round = 0; round < 10; ++round)
        for (const char* value : {"1", "2", "0"})
            expected.push_back(std::string("reg write 0x3000002e 0x000") + value);
    std::vector<std::string> writes;
    for (const std::string& line : Lines("reg write"))
        writes.push_back(line);
    EXPECT_THAT(writes, ElementsAreArray(expected));
    // The channel, "0", ten rounds beginning with "0", and the two closing commands.
    std::vector<std::string> commands = {"serial tx 03 12 07 23", "serial tx 03 0e 07 23"};
    for (int time = 10; time > 0; --time)
        commands.push_back(time % 2 == 1 ? "serial tx 03 0d 07 23" : "serial tx 03 0e 07 23");
    commands.push_back("serial tx 03 0e 07 23");
    commands.push_back("serial tx 03 0f 07 23");
    std::vector<std::string> sent;
    for (const std::string& line : Lines("serial tx")) {
        // "line x2" is the line twice.
        const size_t times = line.find(" x");
        sent.push_back(line.substr(0, times));
        if (times != std::string::npos)
            for (int i = 1; i < std::stoi(line.substr(times + 2)); ++i)
                sent.push_back(line.substr(0, times));
    }
    EXPECT_THAT(sent, ElementsAreArray(commands));
    EXPECT_THAT(linked_->TraceLines({"data"}), Contains(HasSubstr("data read 10")));
}

TEST_F(OpmFct, EachChannelHasItsCommandGainAndClosing) {
    OpenConnected();
    const struct {
        int32_t (*mode)();
        const char *first, *gain, *last;
    } modes[] = {
        {ChnnelMode2, "serial tx 03 10 07 23", "reg write 0x3000000a 0x6001", "serial tx 03 0e 07 23"},
        {ChnnelMode3, "serial tx 03 11 07 23", "reg write 0x3000000a 0x6003", "serial tx 03 0d 07 23"},
    };
    for (const auto& mode : modes) {
        linked_->StartTrace();
        linked_->ClearTrace();
        EXPECT_EQ(0, mode.mode());
        EXPECT_EQ(mode.first, Lines("serial tx").front());
        EXPECT_THAT(Lines("serial tx").back(), StartsWith(mode.last));
        EXPECT_EQ(mode.gain, Lines("reg write").at(1));
    }
}

TEST_F(OpmFct, AFailingChannelIsToldAndDoesNotStopTheOthers) {
    OpenConnected();
    Fault("optic.never_ready");
    EXPECT_EQ(0, ChnnelMode2());
    EXPECT_EQ(0, ChnnelMode3());
    Run(200);
    EXPECT_THAT(Shown(), ElementsAre("6301channel: fail!!!", "6303channel: fail!!!"));
    EXPECT_EQ(0xF8A800u, ColorOf("6301channel: fail!!!"));
}

TEST_F(OpmFct, AnAttenuatorThatCannotBeAdjustedLeavesTheButtonsDisabled) {
    OpenConnected();
    Fault("board.wrong_channel");
    TapAt(600, 95, 1000);
    for (int i = 0; i < 300 && Shown() == std::vector<std::string>{"Adjust Att0......"}; ++i)
        Run(1000);
    Run(1000);
    std::string shown;
    for (const std::string& text : Shown())
        shown += text;
    EXPECT_THAT(shown, StartsWith("Adjust Att0 fail!!! Signal chain test"));
    for (const test::Button& button : kTests)
        EXPECT_FALSE(Enabled(button.x, button.y)) << button.name;
    Tap(680, 465);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
}

TEST_F(OpmFct, ConnectDoesNotBringTheTestsBackAfterAFailedAttenuator) {
    OpenConnected();
    Fault("board.wrong_channel");
    TapAt(600, 95, 500);
    for (int i = 0; i < 300 && Shown() == std::vector<std::string>{"Adjust Att0......"}; ++i)
        Run(1000);
    Fault("board.wrong_channel", false);
    const test::Picture disabled = Screenshot({600, 35, 105, 233});
    for (const char* answer : {"Connect Fail!!!", "Connect Success!!!"}) {
        TapAt(450, 35, 2000);
        EXPECT_THAT(Texts(test::kInfoLine), ElementsAre(answer));
        for (const test::Button& button : kTests)
            EXPECT_FALSE(Enabled(button.x, button.y)) << button.name << ", " << answer;
        EXPECT_EQ(disabled.rgb, Screenshot({600, 35, 105, 233}).rgb) << answer;
    }
    // Leaving the screen does.
    ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmOPM));
    Run(500);
    for (const test::Button& button : kTests)
        EXPECT_TRUE(Enabled(button.x, button.y)) << button.name;
}

// A chain that fails early would stand beside the verdicts of the one before.
TEST_F(OpmFct, VerdictsOfAnEarlierChainAreGoneWhenANewOneBegins) {
    OpenConnected();
    TapAt(600, 95, 500);
    RunUntilEnabled(300);
    ASSERT_THAT(Shown(), Contains("6307channel: success!!!"));
    TapAt(600, 95, 1000);
    EXPECT_THAT(Shown(), ElementsAre("Adjust Att0......"));
    RunUntilEnabled(300);
    EXPECT_THAT(Shown(), Contains("6307channel: success!!!"));
}

// Before the buttons are enabled again, it is asked whether the board is connected: the moment before lasts
// for as long as the test holds the lock of that.
TEST_F(OpmFct, NoTestCanBeStartedWhileEepromOrTemperatureAreTested) {
    const struct {
        unsigned y;
        const char *work, *verdict;
    } tests[] = {{155, "i2c module write", "Eeprom Check OK!"}, {215, "temp read", "Temperature = "}};
    Open();
    for (const bool connected : {false, true}) {
        OPMGUIShare.usIsConnect = connected;
        ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmOPM));
        Run(500);
        for (const auto& test : tests) {
            Press(620, static_cast<int>(test.y) + 25);
            linked_->StartTrace();
            linked_->ClearTrace();
            MutexLock(&OPMGUIShare.mutex);
            Release(1000);
            std::string order;
            for (const std::string& line : linked_->TraceLines({"file", "i2c", "ioctl"}))
                order += line + "\n";
            EXPECT_THAT(order, testing::AllOf(HasSubstr("btn_disable.bmp"), HasSubstr(test.work)));
            EXPECT_LT(order.rfind("btn_disable.bmp"), order.find(test.work)) << order;
            const std::vector<std::string> verdict = Shown();
            EXPECT_THAT(verdict, ElementsAre(StartsWith(test.verdict)));
            for (const test::Button& button : kTests) {
                EXPECT_FALSE(Enabled(button.x, button.y)) << button.name;
                TapAt(button.x, button.y, 1000);
            }
            MutexUnlock(&OPMGUIShare.mutex);
            Run(1000);
            EXPECT_EQ(verdict, Shown());
            // The two that need the board stay as they were.
            for (const test::Button& button : kTests)
                EXPECT_EQ(connected || button.y >= 155, Enabled(button.x, button.y)) << button.name;
        }
    }
}

TEST_F(OpmFct, TheProgramCanEndDuringTheSignalChainTest) {
    OpenConnected();
    TapAt(600, 95, 9000);
    EXPECT_FALSE(Enabled(600, 35));
}

// ---- Module ----

TEST_F(OpmFct, EepromCheckWritesTheTestPageAndBringsTheFpgaBack) {
    Open();
    linked_->StartTrace();
    linked_->ClearTrace();
    TapAt(600, 155, 3000);
    EXPECT_THAT(Shown(), ElementsAre("Eeprom Check OK!"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_fct_eeprom"));
    EXPECT_EQ(1, EepromFlag);
    EXPECT_THAT(linked_->TraceLines({"i2c"}),
                ElementsAre("i2c module write 0x0080 128 bytes", "i2c module read 0x0080 128 bytes"));
    EXPECT_EQ("reg write 0x30000002 0x07f8", Lines("reg write").back());
}

TEST_F(OpmFct, EepromCheckFailsOnAStuckCell) {
    Fault("module.eeprom_stuck", {{"address", 130}, {"value", 77}});
    Open();
    TapAt(600, 155, 3000);
    EXPECT_THAT(Shown(), ElementsAre("Eeprom Check Error!"));
    EXPECT_EQ(0xF8A800u, ColorOf("Eeprom Check Error!"));
    EXPECT_EQ(0, EepromFlag);
}

TEST_F(OpmFct, TemperatureIsShown) {
    Open();
    Set("module.temperature", 31.5);
    TapAt(600, 215, 1000);
    ASSERT_EQ(1u, Shown().size());
    EXPECT_THAT(Shown()[0], StartsWith("Temperature = 31."));
    EXPECT_THAT(Printed(), HasSubstr("fCurTemp = 31."));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_fct_temperature"));
    Fault("optic.temperature_failing");
    TapAt(600, 215, 1000);
    EXPECT_THAT(Shown(), ElementsAre("Temperature = 0.000000"));
}

TEST_F(OpmFct, PulseWidthCheckSetsItsRegistersAndWritesFourLines) {
    OpenConnected();
    linked_->StartTrace();
    linked_->ClearTrace();
    OPMFCTPulseWidthShow();
    Run(200);
    EXPECT_THAT(Lines("reg write"), ElementsAre("reg write 0x30000016 0x056b", "reg write 0x3000000a 0x4300",
                                                "reg write 0x3000000c 0x0001", "reg write 0x3000000a 0x6300",
                                                "reg write 0x3000000c 0x0151", "reg write 0x3000000a 0x6300",
                                                "reg write 0x3000000c 0x0151", "reg write 0x3000000a 0x4301",
                                                "reg write 0x3000000c 0x0001", "reg write 0x3000000a 0x4303",
                                                "reg write 0x3000000c 0x0001"));
    EXPECT_THAT(Lines("serial tx"), ElementsAre("serial tx 04 09 25 07 23", "serial tx 04 09 26 07 23",
                                                "serial tx 04 09 27 07 23", "serial tx 04 09 24 07 23"));
    // The first line has its parts the other way round.
    const char* const starts[] = {"TP2 OK:    0.3", "OK TP3:    0.3", "OK TP4:    0.3", "OK TP1:    0.3"};
    const int widths[] = {18, 18, 21, 23};
    const std::vector<std::string> shown = Shown();
    ASSERT_EQ(4u, shown.size());
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_THAT(shown[i], StartsWith(starts[i]));
        EXPECT_THAT(shown[i], testing::EndsWith("V  pulse width: " + std::to_string(widths[i])));
        EXPECT_EQ(0xFFFFFFu, ColorOf(shown[i]));
    }
    EXPECT_EQ(4, PulseWidthFlag1 + PulseWidthFlag2 + PulseWidthFlag3 + PulseWidthFlag4);
}

TEST_F(OpmFct, PulseWidthsWithoutAReadingFail) {
    OpenConnected();
    Fault("board.wrong_channel");
    OPMFCTPulseWidthShow();
    Run(200);
    EXPECT_THAT(Shown(),
                ElementsAre("TP2 F.:    99.99999V  pulse width: 0", "F. TP3:    99.99999V  pulse width: 0",
                            "F. TP4:    99.99999V  pulse width: 0", "F. TP1:    99.99999V  pulse width: 0"));
    EXPECT_EQ(0xF8A800u, ColorOf("F. TP1:    99.99999V  pulse width: 0"));
    EXPECT_EQ(0, PulseWidthFlag1 + PulseWidthFlag2 + PulseWidthFlag3 + PulseWidthFlag4);
}

TEST(PulseWidthVerdict, LimitsThemselvesPass) {
    EXPECT_FALSE(OpmPulseWidthPasses(10));
    EXPECT_TRUE(OpmPulseWidthPasses(11));
    EXPECT_TRUE(OpmPulseWidthPasses(29));
    EXPECT_FALSE(OpmPulseWidthPasses(30));
}

TEST_F(OpmFct, TextsOfAScreenThatIsNotShownGoNowhere) {
    Open();
    Tap(680, 465);
    const test::Picture menu = Screenshot();
    FrmOPMSetInfo("nobody");
    OpmShowResult(RESULT_MODULE, "nobody", true);
    OpmShowData(1, "nobody", true);
    Run(200);
    EXPECT_EQ(menu.rgb, Screenshot().rgb);
}
