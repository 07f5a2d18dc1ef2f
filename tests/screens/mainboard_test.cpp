#include <fcntl.h>
#include <limits.h>
#include <linux/rtc.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "device/common_opt.h"
#include "device/e2prom.h"
#include "device/operator_report.h"
#include "screens/mainboard_check.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_frmmainboard_fct.h"
#include "tests/screens/screen_fixture.h"
#include "tests/support/failing_calls.h"
#include "tests/support/redirected_paths.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

const test::Button kButtons[] = {
    {"F1", 600, 35},   {"F2", 600, 95},   {"F3", 435, 155},  {"F4", 435, 215},  {"F5", 435, 275},
    {"F6", 435, 335},  {"F7", 435, 395},  {"F11", 435, 64},  {"F21", 650, 95},  {"F31", 555, 155},
    {"F41", 555, 215}, {"F51", 555, 275}, {"F61", 555, 335}, {"F71", 555, 395}, {"F12", 675, 155},
    {"F22", 675, 215}, {"F32", 675, 275}, {"F42", 675, 335}, {"F52", 675, 395},
};
constexpr test::Area kFrame = {20, 30, 400, 400};

}  // namespace

class MainBoard : public test::ScreenTest {
  protected:
    void Open() { Start(FrmMainBoard); }
    void OpenConnected() {
        Open();
        TapButton("F11", 2000);
        ASSERT_THAT(Texts(test::kInfoLine), ElementsAre("Connect success!!!"));
        Printed();
    }
    // The middle of the button's left half: F21 covers the right half of F2.
    void PressButton(const std::string& name) {
        for (const test::Button& button : kButtons)
            if (name == button.name)
                return Press(static_cast<int>(button.x) + (name == "F21" ? 80 : 20),
                             static_cast<int>(button.y) + 25);
        FAIL() << "no button " << name;
    }
    void TapButton(const std::string& name, unsigned milliseconds = 400) {
        PressButton(name);
        Release(milliseconds);
    }
    std::vector<std::string> Result() const { return Texts(kFrame); }
    // The one line of the result and its colour.
    void ExpectResult(const std::string& text, bool pass) const {
        EXPECT_THAT(Result(), ElementsAre(text));
        EXPECT_EQ(pass ? 0x00FF00u : 0xFF0000u, ColorOf(text)) << text;
    }
};

// ---- The screen ----

TEST_F(MainBoard, ABackgroundThatCannotBeReadIsBlack) {
    Open();
    GUIPICTURE* missing = CreatePicture(100, 100, 50, 40, "/nowhere.bmp");
    FillArea(90, 90, 159, 149, 0xFFFFFF);
    EXPECT_EQ(0, ShowBackground(missing));
    Run(100);
    const test::Picture shown = Screenshot({90, 90, 70, 60});
    for (size_t y = 0; y < 60; ++y)
        for (size_t x = 0; x < 70; ++x) {
            const bool inside = x >= 10 && x < 60 && y >= 10 && y < 50;
            ASSERT_EQ(inside ? 0 : 0xFF, shown.rgb[(y * 70 + x) * 3]) << x << ',' << y;
        }
    DestroyPicture(&missing);
}

TEST_F(MainBoard, WithoutTheMeasurementBoardThreeButtonsAreDisabled) {
    Open();
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/mainboard"));
    for (const test::Button& button : kButtons) {
        const std::string name = button.name;
        EXPECT_EQ(name != "F1" && name != "F2" && name != "F52", Enabled(button.x, button.y)) << name;
    }
    const test::Picture idle = Screenshot();
    for (const char* name : {"F1", "F2", "F52"}) {
        TapButton(name);
        EXPECT_TRUE(idle.rgb == Screenshot().rgb) << name;
    }
}

TEST_F(MainBoard, WithTheMeasurementBoardAllButtonsAreEnabled) {
    OPMGUIShare.usIsConnect = 1;
    Open();
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/mainboard_connected"));
    for (const test::Button& button : kButtons)
        EXPECT_TRUE(Enabled(button.x, button.y)) << button.name;
}

TEST_F(MainBoard, ListsTheShieldTheButtonsInOrderAndTheBackButton) {
    Open();
    std::vector<std::string> places = {"0,0", "0,0"};
    for (const test::Button& button : kButtons)
        places.push_back(std::to_string(button.x) + "," + std::to_string(button.y));
    places.push_back("650,454");
    EXPECT_THAT(Components(), ElementsAreArray(places));
    EXPECT_FALSE(Enabled(0, 0)) << "the shield";
    EXPECT_EQ(20, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(20, Registrations(GUIMESSAGE_TCH_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_DOWN));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_ERR_PROC));
}

TEST_F(MainBoard, EveryButtonHasItsPressedLook) {
    OPMGUIShare.usIsConnect = 1;
    Open();
    std::vector<test::Picture> pressed;
    for (const test::Button& button : kButtons) {
        PressButton(button.name);
        pressed.push_back(Screenshot({button.x, button.y, 105, 53}));
        ReleaseUnheard(FrmMainBoard);
    }
    EXPECT_TRUE(test::MatchesGolden(test::Mosaic(pressed, 5), "screens/mainboard_pressed"));
}

TEST_F(MainBoard, ButtonsWithoutACaptionHaveOnlyTheirLook) {
    Open();
    const test::Picture idle = Screenshot();
    for (const char* name : {"F7", "F12", "F22", "F32", "F42"}) {
        linked_->StartTrace();
        TapButton(name);
        EXPECT_TRUE(idle.rgb == Screenshot().rgb) << name;
        EXPECT_THAT(linked_->TraceLines({"reg", "shell", "i2c", "serial"}), IsEmpty()) << name;
    }
    EXPECT_THAT(Printed(), HasSubstr("ShowBtn_FuncUp    203\nShowBtn_FuncUp    208\n"));
}

TEST_F(MainBoard, TouchWhereTwoButtonsOverlapGoesToTheFirstEnabledOne) {
    OpenConnected();
    Press(680, 120);
    EXPECT_EQ(0x3C3028u, ColorOf("ADC"));
    Release(500);
    ExpectResult("Please, wait aboult 10 sec!", false);
}

// Without the measurement board F2 lets the touch through.
TEST_F(MainBoard, TouchInTheOverlapGoesToF21WhileF2IsDisabled) {
    constexpr test::Area kF21 = {650, 95, 105, 53};
    Open();
    const test::Picture idle = Screenshot(kF21);
    linked_->StartTrace();
    Press(680, 120);
    const test::Picture pressed = Screenshot(kF21);
    EXPECT_FALSE(idle.rgb == pressed.rgb);
    EXPECT_NE(0x3C3028u, ColorOf("ADC"));
    Release();
    EXPECT_FALSE(pressed.rgb == Screenshot(kF21).rgb);
    EXPECT_THAT(Result(), IsEmpty());
    EXPECT_THAT(linked_->TraceLines({"reg"}), IsEmpty());
}

TEST_F(MainBoard, LeavingAndComingBackCreatesEverythingAnew) {
    Open();
    TapButton("F61");
    EXPECT_THAT(Result(), ElementsAre(StartsWith("RTC  09:30:")));
    Tap(680, 465);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("MainBoard  testV20150629"));
    Tap(240, 210);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/mainboard"));
    TapButton("F4");
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("Key Check"));
    Tap(680, 465);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/mainboard"));
}

// The touches wait in the queue while Connect waits for the board.
TEST_F(MainBoard, SeveralTouchesOnBackDuringACheckLeaveOnce) {
    Start(FrmMain);
    const int components = static_cast<int>(Components().size());
    const int touches = Registrations(GUIMESSAGE_TCH_UP);
    Tap(240, 210);
    Fault("board.unplugged");
    Printed();
    TapButton("F11");
    for (int i = 0; i < 3; ++i)
        Tap(680, 465, 300);
    Run(20000);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("MainBoard  testV20150629"));
    EXPECT_EQ(components, static_cast<int>(Components().size()));
    EXPECT_EQ(touches, Registrations(GUIMESSAGE_TCH_UP));
    const std::string printed = Printed();
    EXPECT_EQ(printed.find("BmpFileDirectory"), printed.rfind("BmpFileDirectory")) << printed;
}

// Its register is the one that the module's EEPROM bus uses.
TEST_F(MainBoard, OpeningTheOpticalTestsSwitchesTheVisibleLightOff) {
    Open();
    TapButton("F41");
    EXPECT_THAT(Texts(kFrame), ElementsAre("Visible Check!"));
    Tap(680, 465);
    linked_->StartTrace();
    Run(50);
    EXPECT_THAT(linked_->TraceLines({"reg"}), Contains(HasSubstr("reg write 0x30000002 0x07f9")));
    Tap(540, 210);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
    EXPECT_EQ("reg write 0x30000002 0x07f8", linked_->TraceLines({"reg"}).back());
    Tap(190, 160);
    Tap(650, 180, 2000);
    EXPECT_THAT(Texts(), Contains("Eeprom Check OK!"));
}

TEST_F(MainBoard, InfoLineTakesAnyText) {
    Open();
    EXPECT_EQ(0, FrmMainBoardSetInfo("Read Serial Time Out."));
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Read Serial Time Out."));
    EXPECT_EQ(0, FrmMainBoardSetInfo(nullptr));
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Read Serial Time Out."));
}

TEST(MainBoardInfoLine, TextForAScreenThatIsNotShownIsDropped) {
    EXPECT_EQ(0, FrmMainBoardSetInfo("Read Serial Time Out."));
}

// ---- Connect ----

TEST_F(MainBoard, ConnectEnablesTheChecksThatNeedTheBoard) {
    OpenConnected();
    EXPECT_TRUE(Enabled(600, 35) && Enabled(600, 95) && Enabled(675, 395));
    TapButton("F11", 500);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Connect fail!!!"));
    EXPECT_FALSE(Enabled(600, 35) || Enabled(600, 95) || Enabled(675, 395));
    EXPECT_EQ(-1, serialFD);
}

TEST_F(MainBoard, WithoutABoardConnectFailsAfterThreeTimeOuts) {
    Fault("board.unplugged");
    Open();
    TapButton("F11", 4000);
    EXPECT_TRUE(Enabled(0, 0)) << "the shield is up while the check runs";
    Run(2000);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Read Serial Time Out."));
    Run(12000);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Connect fail!!!"));
    EXPECT_FALSE(Enabled(0, 0));
    EXPECT_FALSE(Enabled(600, 35));
}

// ---- Voltage ----

TEST_F(MainBoard, VoltageCheckShowsAllThirteenPoints) {
    OpenConnected();
    linked_->StartTrace();
    TapButton("F1", 4000);
    EXPECT_EQ(13, MainBoardResult.ValFlag);
    const std::vector<std::string> lines = Result();
    ASSERT_EQ(13u, lines.size());
    const char* const starts[] = {"OK  TP97:   1.", "OK  TP103:  1.", "OK  TP109:  1.", "OK  TP105:  1.",
                                  "OK  TP107:  1.", "OK  TP113:  1.", "OK  TP100:  1.", "OK  TP99:   1.",
                                  "OK  TP57:  1.",  "OK  TP24:   1.", "OK  TP114:  1.", "OK  TP36:  1.",
                                  "OK  TP68:  1."};
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_THAT(lines[i], StartsWith(starts[i]));
        EXPECT_EQ('V', lines[i].back());
        EXPECT_EQ(0x00FF00u, ColorOf(lines[i]));
    }
    std::vector<std::string> requests;
    for (const std::string& line : linked_->TraceLines({"serial"}))
        if (line.find("04 08") != std::string::npos)
            requests.push_back(line);
    ASSERT_EQ(13u, requests.size());
    const char* const channels[] = {"0c", "0d", "0e", "0f", "10", "11", "12",
                                    "13", "14", "16", "1c", "18", "1a"};
    for (size_t i = 0; i < requests.size(); ++i)
        EXPECT_THAT(requests[i], HasSubstr(std::string("04 08 ") + channels[i] + " 07 23"));
}

TEST_F(MainBoard, PointsOutsideTheirBandFail) {
    OpenConnected();
    Set("board.rail.TP97", 1.2);
    Set("board.rail.TP103", 0.5);
    Set("board.rail.TP68", 1.12);  // within its wider band
    TapButton("F1", 4000);
    EXPECT_EQ(11, MainBoardResult.ValFlag);
    const std::vector<std::string> lines = Result();
    ASSERT_EQ(13u, lines.size());
    EXPECT_THAT(lines[0], StartsWith("F.  TP97:   1.2"));
    EXPECT_THAT(lines[1], StartsWith("F.  TP103:  0.5"));
    EXPECT_THAT(lines[12], StartsWith("OK  TP68:  1.1"));
    EXPECT_EQ(0xFF0000u, ColorOf(lines[0]));
    EXPECT_EQ(0x00FF00u, ColorOf(lines[12]));
}

TEST(VoltageBand, ReadingOfExactlyALimitFails) {
    const struct {
        float low, high;
    } bands[] = {{1.01909f, 1.12636f}, {0.97251f, 1.07488f}, {1.00235f, 1.10786f}, {0.95f, 1.05f},
                 {0.98315f, 1.08664f}, {0.98315f, 1.08664f}, {0.95311f, 1.05344f}, {0.96259f, 1.06391f},
                 {1.00235f, 1.10786f}, {1.00235f, 1.10786f}, {0.93373f, 1.14123f}, {0.93373f, 1.14123f},
                 {0.93373f, 1.14123f}};
    unsigned point = 0;
    for (const auto& band : bands) {
        EXPECT_FALSE(MainBoardPointPasses(point, band.low)) << point;
        EXPECT_TRUE(MainBoardPointPasses(point, std::nextafter(band.low, 2.0f))) << point;
        EXPECT_TRUE(MainBoardPointPasses(point, std::nextafter(band.high, 0.0f))) << point;
        EXPECT_FALSE(MainBoardPointPasses(point, band.high)) << point;
        EXPECT_FALSE(MainBoardPointPasses(point, std::nanf(""))) << point;
        ++point;
    }
    EXPECT_FALSE(MainBoardPointPasses(UINT_MAX, 1.04f));
    EXPECT_FALSE(MainBoardPointPasses(13, 1.04f));
}

TEST_F(MainBoard, PointsWithoutAReadingFail) {
    OpenConnected();
    Fault("board.wrong_channel");
    TapButton("F1", 6000);
    EXPECT_EQ(0, MainBoardResult.ValFlag);
    EXPECT_THAT(Result(), Contains("F.  TP97:   99.99999V"));
    EXPECT_EQ(13u, Result().size());
}

TEST_F(MainBoard, PointsAfterTheBoardIsUnpluggedFail) {
    OpenConnected();
    TapButton("F1", 260);
    Fault("board.unplugged");
    Run(80000);
    EXPECT_FALSE(Enabled(0, 0)) << "the check has not ended";
    EXPECT_EQ(6, MainBoardResult.ValFlag);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/mainboard_unplugged"));
}

// ---- ADC ----

TEST(AdcVerdict, LimitsThemselvesFail) {
    EXPECT_FALSE(MainBoardAdcPasses(0.2));
    EXPECT_TRUE(MainBoardAdcPasses(std::nextafter(0.2, 1.0)));
    EXPECT_TRUE(MainBoardAdcPasses(std::nextafter(0.3, 0.0)));
    EXPECT_FALSE(MainBoardAdcPasses(0.3));
    EXPECT_FALSE(MainBoardAdcPasses(std::nan("")));
}

TEST_F(MainBoard, AdcCheckPassesOnAGoodPath) {
    OpenConnected();
    linked_->StartTrace();
    TapButton("F2", 700);
    ExpectResult("Please, wait aboult 10 sec!", false);
    Run(6000);
    EXPECT_EQ(ADC_FLAG_PASS, MainBoardResult.AdcFlag);
    ASSERT_EQ(1u, Result().size());
    EXPECT_THAT(Result()[0], StartsWith("OK! result = 0.2"));
    EXPECT_EQ(0x00FF00u, ColorOf(Result()[0]));
    std::vector<std::string> writes;
    for (const std::string& line : linked_->TraceLines({"reg"}))
        if (line.find("reg write") == 0)
            writes.push_back(line);
    EXPECT_THAT(writes, ElementsAre("reg write 0x30000002 0x07f8", "reg write 0x30000032 0x0020",
                                    "reg write 0x30000030 0x0008", "reg write 0x3000001e 0x0001",
                                    "reg write 0x30000024 0x0000", "reg write 0x30000022 0x0000",
                                    "reg write 0x3000001c 0x0000", "reg write 0x3000001a 0x1000",
                                    "reg write 0x30000020 0x0400", "reg write 0x3000002e 0x0001",
                                    "reg write 0x3000002e 0x0002", "reg write 0x3000002e 0x0000"));
}

TEST_F(MainBoard, AdcCheckFailsOnAnOpenPath) {
    OpenConnected();
    Fault("adc.path");
    TapButton("F2", 7000);
    EXPECT_EQ(ADC_FLAG_FAIL, MainBoardResult.AdcFlag);
    ASSERT_EQ(1u, Result().size());
    EXPECT_THAT(Result()[0], StartsWith("not OK! result = "));
    EXPECT_EQ(0xFF0000u, ColorOf(Result()[0]));
}

TEST_F(MainBoard, AdcCheckGivesUpWhenNothingCanBeAcquired) {
    OpenConnected();
    Fault("optic.never_ready");
    TapButton("F2", 9000);
    ExpectResult("ADC Check ERROR, Maybe not connect!", false);
    EXPECT_EQ(ADC_FLAG_ABSENT, MainBoardResult.AdcFlag);
    Fault("optic.never_ready", false);
    Fault("optic.ioctl_failing");
    MainBoardResult.AdcFlag = ADC_FLAG_PASS;
    TapButton("F2", 3000);
    ExpectResult("ADC Check ERROR, Maybe not connect!", false);
    EXPECT_EQ(ADC_FLAG_ABSENT, MainBoardResult.AdcFlag);
}

// ---- EEPROM, storage ----

// Settings that did not arrive must not be judged.
TEST_F(MainBoard, AdcCheckLooksAtEachOfItsSetUpRequests) {
    OpenConnected();
    for (int request = 1; request <= 11; ++request) {
        test::FailingCallsOfAllThreads failing(request, 1, "ioctl");
        TapButton("F2", 4000);
        ASSERT_STREQ("ioctl", failing.Failed());
        ExpectResult("ADC Check ERROR, Maybe not connect!", false);
        EXPECT_EQ(ADC_FLAG_ABSENT, MainBoardResult.AdcFlag) << request;
    }
}

TEST_F(MainBoard, EepromCheckWritesTheBoardsRecord) {
    Open();
    TapButton("F3", 1000);
    ExpectResult("Arm Eeprom Check OK!", true);
    EXPECT_THAT(Printed(), HasSubstr("eeprom iIfSelectFlag = 13\n"));
    EXPECT_EQ(1, MainBoardResult.EepromFlag);
    EXPECT_EQ(-1, iE2prom);
}

TEST_F(MainBoard, EepromCheckFillsPageZeroWithTheRecord) {
    Open();
    TapButton("F3", 1000);
    std::ifstream file(linked_->StateDir() + "/mainboard.eeprom", std::ios::binary);
    const std::string image{std::istreambuf_iterator<char>(file), {}};
    ASSERT_LE(128u, image.size());
    // The flag 13, 120 zeros, and 0x0F2B05D9, the CRC-32C of both; low bytes first.
    EXPECT_EQ('\x0D' + std::string(123, '\0') + "\xD9\x05\x2B\x0F", image.substr(0, 128));
}

TEST_F(MainBoard, EepromCheckFailsOnAStuckCell) {
    Fault("mainboard.eeprom_stuck", {{"address", 0}, {"value", 12}});
    Open();
    TapButton("F3", 1500);
    ExpectResult("Arm Eeprom Check Error!", false);
    EXPECT_THAT(Printed(), HasSubstr("eeprom iIfSelectFlag = 12\n"));
    EXPECT_EQ(0, MainBoardResult.EepromFlag);
}

TEST_F(MainBoard, EepromCheckFailsWithoutTheBus) {
    Open();
    {
        const test::RedirectedPaths gone(std::map<std::string, std::string>{{"/dev/i2c-1", "/dev/i2c-9"}});
        ArmEepromCheck();
    }
    Run(400);
    ExpectResult("Arm Eeprom Check Error!", false);
    EXPECT_THAT(Printed(), HasSubstr("eeprom iIfSelectFlag = 0\n"));
    EXPECT_EQ(0, MainBoardResult.EepromFlag);
}

TEST_F(MainBoard, TheModulesEepromCanBeCheckedFromHere) {
    Open();
    linked_->StartTrace();
    linked_->ClearTrace();
    EXPECT_EQ(0, EepromCheck());
    EXPECT_THAT(linked_->TraceLines({"i2c"}),
                ElementsAre("i2c module write 0x0080 128 bytes", "i2c module read 0x0080 128 bytes"));
    Fault("module.eeprom_stuck", {{"address", 131}, {"value", 7}});
    EXPECT_EQ(-999, EepromCheck());
}

TEST_F(MainBoard, UsbCheckWantsExactlyOneStick) {
    Open();
    PressButton("F6");
    Release(500);
    EXPECT_THAT(Result(), ElementsAre("Usb Check ......"));
    Run(1000);
    ExpectResult("Usb Check OK!", true);
    for (const int sticks : {0, 2}) {
        Set("usb.sticks", sticks);
        TapButton("F6", 1500);
        ExpectResult("Usb Check Error!", false);
        EXPECT_EQ(0, MainBoardResult.UsbFlag);
    }
}

// An error while the directory is read is not its end: of two sticks the second would not be counted.
TEST_F(MainBoard, UsbCheckFailsWhenTheDirectoryCannotBeReadToItsEnd) {
    Open();
    Set("usb.sticks", 2);
    test::FailingCallsOfAllThreads failing(4, 1, "readdir");
    TapButton("F6", 2000);
    EXPECT_STREQ("readdir", failing.Failed());
    ExpectResult("Usb Check Error!", false);
}

TEST_F(MainBoard, UsbCheckFailsWithoutAUsbDriver) {
    Open();
    ASSERT_GT(std::filesystem::remove_all(linked_->StateDir() + "/root/proc/scsi"), 0u);
    TapButton("F6", 1500);
    ExpectResult("Usb Check Error!", false);
}

TEST_F(MainBoard, SdCardCheckTellsAMissingFromAFullCard) {
    Open();
    TapButton("F71");
    ExpectResult("Check SDcard OK!", true);
    EXPECT_GT(SDcardCheck(), 0);
    EXPECT_EQ(1, MainBoardResult.SDcardFlag);
    Set("sd.present", false);
    TapButton("F71");
    ExpectResult("NO SDcard!", false);
    EXPECT_EQ(-1, SDcardCheck());
    EXPECT_EQ(0, MainBoardResult.SDcardFlag);
    Set("sd.present", true);
    Fault("sd.read_only");
    TapButton("F71");
    ExpectResult("Write Error!", false);
    EXPECT_EQ(-2, SDcardCheck());
}

// ---- FPGA ----

TEST_F(MainBoard, DdrCheckReadsReadyAndError) {
    const struct {
        int status;
        bool pass;
    } cases[] = {{1, true}, {0, false}, {2, false}, {3, false}};
    Open();
    for (const auto& one : cases) {
        Fault("optic.register_stuck", {{"register", "0x30000032"}, {"value", one.status}});
        Printed();
        TapButton("F31");
        ExpectResult(one.pass ? "FPGA DDR OK!!" : "FPGA DDR ERROR!!", one.pass);
        EXPECT_EQ(one.pass, MainBoardResult.DdrFlag);
        const std::string bits = "tmp1 = 000" + std::to_string(one.status & 1) + "\ntmp2 = 000" +
                                 std::to_string(one.status >> 1) + "\n";
        EXPECT_THAT(Printed(), HasSubstr(bits));
    }
}

TEST_F(MainBoard, SpeakerCheckSwitchesTheToneOn) {
    Open();
    linked_->StartTrace();
    TapButton("F5");
    EXPECT_THAT(linked_->TraceLines({"reg"}),
                ElementsAre("reg write 0x30000084 0x2800", "reg write 0x30000082 0x0001"));
    EXPECT_THAT(Printed(), HasSubstr("opticFD = " + std::to_string(opticFD) + "\n"));
}

TEST_F(MainBoard, VisibleLightStaysOnUntilItIsSwitchedOff) {
    Open();
    linked_->StartTrace();
    TapButton("F41", 1000);
    EXPECT_THAT(Result(), ElementsAre("Visible Check!"));
    EXPECT_THAT(Printed(), HasSubstr("-----create thread success!!---\n"));
    EXPECT_THAT(linked_->TraceLines({"reg"}).front(), StartsWith("reg read 0x30000002 -> 0x07f8"));
    EXPECT_THAT(linked_->TraceLines({"reg"})[1], StartsWith("reg write 0x30000002 0x07f9"));
    // Other checks and screens leave it on.
    Tap(680, 465);
    Tap(240, 210);
    linked_->ClearTrace();
    Run(100);
    EXPECT_THAT(linked_->TraceLines({"reg"}).front(), StartsWith("reg write 0x30000002 0x07f9"));
    TapButton("F41");
    EXPECT_THAT(Result(), IsEmpty());
    EXPECT_THAT(Printed(), HasSubstr("--------close FPGA_CTRLOUT_REG: 0x07f8--------\n"
                                     "-----cancel thread success!!---\n"));
    EXPECT_THAT(linked_->TraceLines({"reg"}).back(), StartsWith("reg write 0x30000002 0x07f8"));
    linked_->ClearTrace();
    Run(200);
    EXPECT_THAT(linked_->TraceLines({"reg"}), IsEmpty());
}

// A write without the register's other bits would clear them.
TEST_F(MainBoard, VisibleLightWritesNothingUntilTheRegisterHasBeenRead) {
    Open();
    linked_->StartTrace();
    linked_->ClearTrace();
    {
        test::FailingCallsOfAllThreads failing(1, 1, "ioctl");
        TapButton("F41", 500);
        EXPECT_STREQ("ioctl", failing.Failed());
    }
    const std::vector<std::string> lines = linked_->TraceLines({"reg"});
    EXPECT_THAT(lines[0], StartsWith("reg read 0x30000002 -> 0x07f8"));
    EXPECT_THAT(lines[1], StartsWith("reg write 0x30000002 0x07f9"));
    VisibleClose();
    // Neither when it goes off before that.
    Fault("optic.ioctl_failing");
    TapButton("F41", 500);
    Fault("optic.ioctl_failing", false);
    linked_->ClearTrace();
    VisibleClose();
    EXPECT_THAT(linked_->TraceLines({"reg"}), IsEmpty());
}

TEST_F(MainBoard, VisibleLightWithoutAThreadIsTold) {
    Open();
    {
        test::FailingCallsOfAllThreads failing(1, 1, "pthread_create");
        TapButton("F41");
    }
    EXPECT_EQ("Can not start, please try again!", WrappedText(kFrame));
    EXPECT_EQ(0xFF0000u, ColorOf(Result()[0]));
    EXPECT_THAT(Printed(), HasSubstr("-----create thread failure!!---\n"));
    TapButton("F41");
    ExpectResult("Visible Check!", true);
}

// ---- Short of memory ----

// The verdict of the check before never stands for this one, nor in this one's colour.
TEST_F(MainBoard, NoVerdictOfAnEarlierCheckStaysWhateverCallFails) {
    Open();
    for (int n = 1;; ++n) {
        Fault("fpga.ddr", false);
        TapButton("F31");
        ExpectResult("FPGA DDR OK!!", true);
        Fault("fpga.ddr");
        Printed();
        test::FailingCallsOfAllThreads failing(n, 1);
        TapButton("F31");
        if (*failing.Failed() == 0)
            break;
        if (Printed().find("iInput = 0002") == std::string::npos)
            continue;  // the touch itself was lost: no check began
        for (const std::string& text : Result()) {
            EXPECT_THAT(text, Not(HasSubstr("OK"))) << "call " << n << ", " << failing.Failed();
            EXPECT_NE(0x00FF00u, ColorOf(text)) << text << ": call " << n << ", " << failing.Failed();
        }
        ASSERT_FALSE(HasFailure());
    }
}

TEST_F(MainBoard, AVerdictWithoutItsFontNeverTakesTheOthersColour) {
    Start(FrmMain);
    const struct {
        int font;  // as they are made: pass, fail
        int sticks;
        const char* text;
        uint32_t wrong;
    } cases[] = {{1, 1, "Usb Check OK!", 0xFF0000}, {2, 0, "Usb Check Error!", 0x00FF00}};
    for (const auto& one : cases) {
        {
            test::FailingCallsOfAllThreads failing(one.font, 1, "strdup");
            Tap(240, 210, 1000);
            ASSERT_STREQ("strdup", failing.Failed());
        }
        // One verdict of either kind first, so that the label has had the font that there is.
        for (const int sticks : {1 - one.sticks, one.sticks}) {
            Set("usb.sticks", sticks);
            TapButton("F6", 2000);
        }
        EXPECT_THAT(Result(), ElementsAre(one.text));
        EXPECT_NE(one.wrong, ColorOf(one.text));
        Tap(660, 465, 1000);
    }
}

TEST_F(MainBoard, EndOfTheProgramSwitchesTheVisibleLightOff) {
    Open();
    TapButton("F41", 500);
    // The end of the fixture finds a thread that is left.
}

TEST(VisibleLight, TellsOfAThreadThatCannotBeMade) {
    for (int i = 0; i < 2; ++i) {  // a failed start does not count as on
        testing::internal::CaptureStdout();
        {
            test::FailingCalls failing(1);
            VisibleOnOff();
            EXPECT_STREQ("pthread_create", failing.Failed());
        }
        EXPECT_EQ("-----create thread failure!!---\n", testing::internal::GetCapturedStdout());
    }
}

// ---- Battery and clock ----

TEST_F(MainBoard, BatteryCheckShowsTheControllersLevel) {
    Open();
    Set("power.level", 75);
    TapButton("F51");
    ExpectResult("battery level = 75% [7.55V-8.0V]", true);
    EXPECT_THAT(Printed(), HasSubstr("ucStateDc = 1, ucStateBat = 1, ucStateFull = 0,ucStateType = 0, "
                                     "ucPowerLevel = 75\n"));
    Set("power.bat", false);
    TapButton("F51");
    ExpectResult("No PowerDev in K905", false);
}

TEST_F(MainBoard, BatteryCheckTellsAMissingAndASilentController) {
    Open();
    Fault("power.missing");
    testing::internal::CaptureStderr();
    TapButton("F51");
    EXPECT_EQ("open /dev/p89lpc933_0: No such file or directory\n", testing::internal::GetCapturedStderr());
    ExpectResult("PowerDev ERROR!", false);
    Fault("power.missing", false);
    Fault("power.short");
    TapButton("F51");
    ExpectResult("PowerDev Info ERROR!", false);
}

TEST_F(MainBoard, ThePowerControllersRecordNeedsAPlace) {
    const int fd = open("/dev/p89lpc933_0", O_RDONLY);
    PWRINFO info = {};
    EXPECT_EQ(0, Pwr_GetInfo(fd, &info));
    EXPECT_EQ(-1, Pwr_GetInfo(fd, nullptr));
    close(fd);
    Printed();
}

TEST(BatteryText, FollowsBothScalesToTheirEdges) {
    const struct {
        int type, level;
        const char* range;
    } cases[] = {
        {0, 255, "[8.3V-8.6V]"},  {0, 90, "[8.3V-8.6V]"},   {0, 89, "[7.8V-8.4V]"},
        {0, 80, "[7.8V-8.4V]"},   {0, 79, "[7.55V-8.0V]"},  {0, 70, "[7.55V-8.0V]"},
        {0, 69, "[7.35V-7.75V]"}, {0, 60, "[7.35V-7.75V]"}, {0, 59, "[7.2V-7.55V]"},
        {0, 50, "[7.2V-7.55V]"},  {0, 49, "[7.0V-7.45V]"},  {0, 40, "[7.0V-7.45V]"},
        {0, 39, "[6.85V-7.3V]"},  {0, 30, "[6.85V-7.3V]"},  {0, 29, "[6.6V-7.1V]"},
        {0, 20, "[6.6V-7.1V]"},   {0, 19, "[6.4V-6.7V]"},   {0, 10, "[6.4V-6.7V]"},
        {0, 9, "[6.0V-6.4V]"},    {0, 0, "[6.0V-6.4V]"},    {1, 0, "[8.3V-8.6V]"},
        {1, 46, "[8.3V-8.6V]"},   {1, 47, "[7.8V-8.4V]"},   {2, 60, "[7.8V-8.4V]"},
        {3, 61, "[7.55V-8.0V]"},  {1, 75, "[7.55V-8.0V]"},  {1, 76, "[7.35V-7.75V]"},
        {1, 90, "[7.35V-7.75V]"}, {1, 91, "[7.2V-7.55V]"},  {1, 101, "[7.2V-7.55V]"},
        {1, 102, "[7.0V-7.45V]"}, {1, 112, "[7.0V-7.45V]"}, {1, 113, "[6.85V-7.3V]"},
        {1, 123, "[6.85V-7.3V]"}, {1, 124, "[6.6V-7.1V]"},  {1, 134, "[6.6V-7.1V]"},
        {1, 135, "[6.4V-6.7V]"},  {1, 148, "[6.4V-6.7V]"},  {1, 149, "[6.0V-6.4V]"},
        {1, 255, "[6.0V-6.4V]"},
    };
    for (const auto& one : cases) {
        PWRINFO info = {};
        info.ucStateBat = 1;
        info.ucStateType = static_cast<uint8_t>(one.type);
        info.ucPowerLevel = static_cast<uint8_t>(one.level);
        char text[64] = "";
        FormatBatteryText(info, text, sizeof(text));
        EXPECT_EQ("battery level = " + std::to_string(one.level) + "% " + one.range, text) << one.type;
    }
}

TEST_F(MainBoard, ClockCheckShowsTimeAndDate) {
    Open();
    Set("rtc.time", "2015-06-29 07:05:03");
    TapButton("F61", 100);
    ExpectResult("RTC  07:05: 3  2015/06/29", true);
}

TEST_F(MainBoard, ClockCheckTellsASilentClock) {
    Open();
    Fault("rtc.failing");
    TapButton("F61");
    ExpectResult("RTC ERROR!", false);
}

TEST_F(MainBoard, TheClockIsReadOnlyWhereThereIsOne) {
    Open();
    rtc_time time = {};
    {
        const test::RedirectedPaths gone(std::map<std::string, std::string>{{"/dev/rtc0", "/dev/rtc9"}});
        EXPECT_EQ(-1, Rtc_GetTime(&time));
    }
    EXPECT_EQ(0, Rtc_GetTime(&time));
    linked_->StartTrace();
    linked_->ClearTrace();
    EXPECT_EQ(-1, Rtc_GetTime(nullptr));
    EXPECT_THAT(linked_->TraceLines({"file"}), IsEmpty()) << "nor for nobody";
}

// ---- Auto ----

TEST_F(MainBoard, AutoRunsEveryCheckAndSumsUp) {
    OpenConnected();
    PressButton("F52");
    Release(2000);
    EXPECT_TRUE(Enabled(0, 0)) << "the shield is up";
    EXPECT_EQ(0x3C3028u, ColorOf("Auto"));
    Run(10000);
    EXPECT_THAT(Result(), ElementsAre("Voltage Check OK!", "Arm Eeprom Check OK!", "Usb Check OK!",
                                      "FPGA DDR Check OK!", "ADC Check OK!", "SDcard Check OK!"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/mainboard_auto"));
    EXPECT_FALSE(Enabled(0, 0));
}

TEST_F(MainBoard, AutoTellsWhatFailed) {
    OpenConnected();
    Set("board.rail.TP97", 0.9);
    Set("usb.sticks", 0);
    Set("sd.present", false);
    Fault("fpga.ddr");
    Fault("optic.never_ready");
    Fault("mainboard.eeprom_stuck", {{"address", 0}, {"value", 1}});
    TapButton("F52", 20000);
    const std::vector<std::string> lines = Result();
    EXPECT_THAT(lines, ElementsAre("Voltage Check ERROR!", "Arm Eeprom Check ERROR!", "Usb Check ERROR!",
                                   "FPGA DDR Check ERROR!", "ADC Check ERROR, Maybe not connect!",
                                   "SDcard Check ERROR!"));
    for (const std::string& line : lines)
        EXPECT_EQ(0xFF0000u, ColorOf(line));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/mainboard_auto_failed"));
}

TEST_F(MainBoard, AutoTellsABadAdcPathFromAMissingOne) {
    OpenConnected();
    Fault("adc.path");
    TapButton("F52", 12000);
    EXPECT_THAT(Result(), ElementsAre("Voltage Check OK!", "Arm Eeprom Check OK!", "Usb Check OK!",
                                      "FPGA DDR Check OK!", "ADC Check not OK!", "SDcard Check OK!"));
    EXPECT_EQ(0xFF0000u, ColorOf("ADC Check not OK!"));
    EXPECT_EQ(0x00FF00u, ColorOf("Usb Check OK!"));
}

// Each check stands between the pressed and the released look of a button, and is followed by a pause.
TEST_F(MainBoard, AutoRunsTheChecksInTheirOrder) {
    OpenConnected();
    PressButton("F52");
    linked_->StartTrace();
    linked_->ClearTrace();
    Release(12000);
    const std::string kPause = "pause";  // after a check; within one, other waits are as long
    const struct {
        const char* begins;
        std::string mark;
    } marks[] = {
        {"file open /app/fct/bitmap/btn_active.bmp", "pressed"},
        {"file open /app/fct/bitmap/btn_enable.bmp", "released"},
        {"sleep 30 ms", kPause},
        {"sleep 100 ms x10", "notice"},
        {"serial tx 04 08 0c", "voltage"},
        {"reg write 0x3000001a 0x1000", "acquisition"},
        {"i2c mainboard write", "EEPROM"},
        {"reg write 0x30000084", "tone"},
        {"reg read 0x30000032", "DDR status"},
        {"reg read 0x30000002", "light"},
        {"file open /dev/p89lpc933_0", "battery"},
        {"file open /dev/rtc0", "clock"},
        {"file open /mnt/sdcard/sdcardtest", "card"},
    };
    std::vector<std::string> run;
    for (const std::string& line : linked_->TraceLines())
        for (const auto& mark : marks)
            if (line.find(mark.begins) == 0 && (mark.mark != kPause || run.back() == "released"))
                run.push_back(mark.mark);
    const std::vector<std::vector<std::string>> checks = {
        {"voltage"}, {"notice", "DDR status", "acquisition", "notice"},
        {"EEPROM"},  {"tone"},
        {"notice"},  {"DDR status"},
        {"light"},   {"battery"},
        {"clock"},   {"card"},
    };
    std::vector<std::string> expected;
    for (const std::vector<std::string>& check : checks) {
        expected.push_back("pressed");
        expected.insert(expected.end(), check.begin(), check.end());
        expected.insert(expected.end(), {"released", kPause});
    }
    expected.push_back("released");  // Auto itself
    EXPECT_THAT(run, ElementsAreArray(expected));
}

TEST_F(MainBoard, AutoSwitchesALightThatIsOnOff) {
    OpenConnected();
    TapButton("F41");
    EXPECT_THAT(Printed(), HasSubstr("-----create thread success!!---\n"));
    TapButton("F52", 12000);
    EXPECT_THAT(Printed(), HasSubstr("-----cancel thread success!!---\n"));
    linked_->StartTrace();
    Run(200);
    EXPECT_THAT(linked_->TraceLines({"reg"}), IsEmpty());
}
