#include "device/Opm.h"
#include "device/common_opt.h"
#include "device/operator_report.h"
#include "measure/adjust.h"
#include "screens/wnd_frmadjust.h"
#include "screens/wnd_frmopticalmain.h"
#include "tests/screens/screen_fixture.h"
#include "tests/support/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const test::Button kLoops[] = {{"Apd", 600, 64}, {"Vdd", 600, 124}, {"Att0", 600, 184}, {"Att1", 600, 244}};

// Data line 1 to 4.
constexpr test::Area Line(unsigned line) {
    return {10, 45 + 100 * (line - 1), 390, 90};
}

}  // namespace

class OpmAdjust : public test::ScreenTest {
  protected:
    ~OpmAdjust() override { OpmTuningResult = {}; }
    void TapAt(unsigned x, unsigned y, unsigned milliseconds = 400) {
        Tap(static_cast<int>(x) + 20, static_cast<int>(y) + 25, milliseconds);
    }
    void OpenConnected() {
        Start(FrmAdjust);
        TapAt(450, 64, 2000);
        ASSERT_THAT(Texts(test::kInfoLine), ElementsAre("Connect Success!!!"));
        for (const test::Button& loop : kLoops)
            ASSERT_TRUE(Enabled(loop.x, loop.y));
        Printed();
    }
    // Waits until the loop has ended and its buttons take input again.
    void RunUntilEnabled(unsigned seconds) {
        for (unsigned i = 0; i < seconds && !Enabled(600, 64); ++i)
            Run(1000);
        EXPECT_TRUE(Enabled(600, 64)) << "the loop has not ended";
        Run(500);
    }
};

TEST_F(OpmAdjust, WithoutTheBoardTheLoopsAreDisabled) {
    Start(FrmAdjust);
    EXPECT_THAT(Texts(),
                ElementsAre("OPM Adjust", "Connect", "Apd", "Vdd", "Att0", "Att1", "infomation eara!"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_adjust"));
    const test::Picture idle = Screenshot();
    for (const test::Button& loop : kLoops) {
        EXPECT_FALSE(Enabled(loop.x, loop.y)) << loop.name;
        TapAt(loop.x, loop.y);
        EXPECT_EQ(idle.rgb, Screenshot().rgb) << loop.name;
    }
    EXPECT_TRUE(Enabled(450, 64));
}

TEST_F(OpmAdjust, WithTheBoardConnectedBeforeTheLoopsAreEnabledAtOnce) {
    OPMGUIShare.usIsConnect = 1;
    OPMGUIShare.usCurrAnalog = 3;
    OPMGUIShare.usCurrWaveLen = 2;
    OPMGUIShare.usStart = 1;
    Start(FrmAdjust);
    for (const test::Button& loop : kLoops)
        EXPECT_TRUE(Enabled(loop.x, loop.y)) << loop.name;
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_adjust_connected"));
    EXPECT_EQ(0, OPMGUIShare.usCurrAnalog);
    EXPECT_EQ(0, OPMGUIShare.usCurrWaveLen);
    EXPECT_EQ(0, OPMGUIShare.usStart);
    EXPECT_EQ(1, GetStopThreadFlag());
}

TEST_F(OpmAdjust, ListsTheWindowConnectTheLoopsAndBack) {
    Start(FrmAdjust);
    EXPECT_THAT(Components(),
                ElementsAre("0,0", "450,64", "600,64", "600,124", "600,184", "600,244", "650,454"));
    EXPECT_EQ(6, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(6, Registrations(GUIMESSAGE_TCH_UP));
}

TEST_F(OpmAdjust, PressSelectsTheLoopAndShowsTheButtonActive) {
    OPMGUIShare.usIsConnect = 1;
    Start(FrmAdjust);
    int index = 0;
    std::vector<test::Picture> pressed;
    for (const test::Button& loop : kLoops) {
        Press(static_cast<int>(loop.x) + 20, static_cast<int>(loop.y) + 25);
        pressed.push_back(Screenshot({loop.x, loop.y, 105, 53}));
        EXPECT_EQ(index++, OPMGUIShare.usCurrAnalog) << loop.name;
        EXPECT_EQ(1, OPMGUIShare.usStart);
        EXPECT_EQ(0xF8A800u, ColorOf(loop.name));
        ReleaseUnheard(FrmAdjust);
    }
    EXPECT_TRUE(test::MatchesGolden(test::Mosaic(pressed, 2), "screens/opm_adjust_pressed"));
}

TEST_F(OpmAdjust, ConnectTogglesTheLoops) {
    OpenConnected();
    OPMGUIShare.usDoneFlag = 1;
    TapAt(450, 64, 1000);  // closes the port again
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Connect Fail!!!"));
    EXPECT_EQ(0, OPMGUIShare.usDoneFlag);
    for (const test::Button& loop : kLoops)
        EXPECT_FALSE(Enabled(loop.x, loop.y)) << loop.name;
}

TEST_F(OpmAdjust, ALoopWithoutAThreadIsToldAndCanBeStartedAgain) {
    OpenConnected();
    for (const test::Button& loop : kLoops) {
        {
            test::FailingCallsOfAllThreads failing(1, 1, "pthread_create");
            TapAt(loop.x, loop.y);
        }
        ++failedHandlers_;
        EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Can not start, please try again!")) << loop.name;
        for (const test::Button& other : kLoops)
            EXPECT_TRUE(Enabled(other.x, other.y)) << other.name;
    }
    TapAt(600, 124, 1000);
    EXPECT_THAT(Texts(Line(2)), Contains(HasSubstr("Ad:  3.0V")));
    test::FailingCallsOfAllThreads failing(1, 1, "pthread_create");
    TapAt(600, 124);
    ++failedHandlers_;
    EXPECT_THAT(Texts(Line(2)), IsEmpty());
}

TEST_F(OpmAdjust, ALoopThatThereIsNotStartsNothing) {
    OpenConnected();
    Press(620, 149);
    OPMGUIShare.usCurrAnalog = 0xFFFF;
    linked_->StartTrace();
    linked_->ClearTrace();
    Release(1000);
    failedHandlers_ = 1;
    EXPECT_THAT(Texts(test::kInfoLine), IsEmpty());
    EXPECT_THAT(linked_->TraceLines({"reg", "serial"}), IsEmpty());
    for (const test::Button& loop : kLoops)
        EXPECT_TRUE(Enabled(loop.x, loop.y)) << loop.name;
}

TEST(OpmAdjustShare, IsUsableEvenWhenItsMutexCannotBeMadeAnew) {
    test::FailingCallsOfAllThreads failing(1, 1, "pthread_mutex_init");
    EXPECT_EQ(-1, FrmAdjustInit(nullptr));
    EXPECT_STREQ("pthread_mutex_init", failing.Failed());
    EXPECT_EQ(0, MutexLock(&OPMGUIShare.mutex));
    EXPECT_EQ(0, MutexUnlock(&OPMGUIShare.mutex));
}

TEST_F(OpmAdjust, DataLinesAreOneToFour) {
    Start(FrmAdjust);
    FrmAdjustSetDataInfo("one", 1);
    FrmAdjustSetDataInfo("four", 4);
    const test::Picture before = Screenshot();
    FrmAdjustSetDataInfo("five", 5);
    FrmAdjustSetDataInfo("zero", 0);
    FrmAdjustSetDataInfo(nullptr, 2);
    FrmAdjustSetInfo(nullptr);
    Run(200);
    EXPECT_THAT(Texts(Line(1)), ElementsAre("one"));
    EXPECT_THAT(Texts(Line(4)), ElementsAre("four"));
    EXPECT_THAT(Texts(Line(2)), IsEmpty());
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("infomation eara!"));
}

TEST_F(OpmAdjust, VddLoopFindsItsTargetsAndStoresThem) {
    OpenConnected();
    TapAt(600, 124, 300);
    RunUntilEnabled(300);
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(VddObjValue[i], OpmTuningResult.Vdd_Result[i].adc, 0.0501f) << i;
        EXPECT_EQ(OpmTuningResult.Vdd_Result[i].reg, cOpmTunning.iVddValue[i]) << i;
        EXPECT_EQ(OpmTuningResult.Vdd_Result[i].reg, OpmRegValue[0].iVddValue[i]) << i;
    }
    std::string shown;
    for (const std::string& text : Texts(Line(2)))
        shown += text;
    EXPECT_THAT(shown, HasSubstr("Ad:  3.0V reg:0x0"));
    EXPECT_THAT(Texts(test::kInfoLine), IsEmpty());
    cOpmTunning = {};
    GetOpmTunning();
    EXPECT_EQ(OpmTuningResult.Vdd_Result[3].reg, cOpmTunning.iVddValue[3]) << "kept by the driver";
}

TEST_F(OpmAdjust, ApdAndAttenuatorLoopsReportOnTheirLines) {
    OpenConnected();
    for (OPM_REG_VALUE& value : OpmRegValue)
        value = {};
    TapAt(600, 64, 300);
    RunUntilEnabled(300);
    for (int i = 0; i < 5; ++i)
        EXPECT_NEAR(ApdObjValue[i], OpmTuningResult.Apd_Result[i].adc, 0.1001f) << i;
    EXPECT_EQ(OpmTuningResult.Apd_Result[4].reg, cOpmTunning.iApdVoltageSet[4]);
    TapAt(600, 184, 300);
    RunUntilEnabled(300);
    EXPECT_NEAR(0, OpmTuningResult.Att0_Result[0].adc, 0.0101f);
    EXPECT_EQ(OpmTuningResult.Att0_Result[0].reg, cOpmTunning.iAtt0);
    TapAt(600, 244, 2300);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_adjust_running"));
    RunUntilEnabled(300);
    EXPECT_NEAR(0, OpmTuningResult.Att1_Result[0].adc, 0.0101f);
    EXPECT_EQ(OpmTuningResult.Att1_Result[0].reg, cOpmTunning.iAtt1);
    EXPECT_THAT(Texts(Line(3)).at(0), StartsWith("Ad:"));
    EXPECT_THAT(Texts(Line(4)).at(0), HasSubstr("BlackLevel = "));
    // The wavelength index is 0.
    EXPECT_EQ(OpmTuningResult.Att1_Result[0].reg, OpmRegValue[0].iAtt1Value[0]);
    EXPECT_NE(0, OpmRegValue[0].iAtt1Value[0]);
    EXPECT_EQ(0, OpmRegValue[1].iAtt1Value[0] + OpmRegValue[2].iAtt1Value[0]);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/opm_adjust_done"));
}

TEST_F(OpmAdjust, AnExhaustedLoopIsToldOnTheInformationLine) {
    OpenConnected();
    Fault("board.wrong_channel");
    TapAt(600, 64, 300);
    RunUntilEnabled(900);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Ajust try times out."));
}

TEST_F(OpmAdjust, AStoppedLoopSaysSoAndSavesNothing) {
    OpenConnected();
    const OPM_TUNING before = cOpmTunning;
    Fault("board.wrong_channel");
    TapAt(600, 124, 3000);
    for (const test::Button& loop : kLoops)
        EXPECT_FALSE(Enabled(loop.x, loop.y)) << loop.name << " while the loop runs";
    SetStopThreadFlag(0);
    RunUntilEnabled(10);
    EXPECT_THAT(Texts(Line(2)), ElementsAre("Stop"));
    EXPECT_EQ(0, memcmp(&before, &cOpmTunning, sizeof before));
    SetStopThreadFlag(1);
}

TEST_F(OpmAdjust, TheProgramCanEndWhileALoopRuns) {
    OpenConnected();
    Fault("board.wrong_channel");
    const OPM_TUNING before = cOpmTunning;
    TapAt(600, 124, 3000);
    EXPECT_FALSE(Enabled(600, 64));
    EXPECT_EQ(0, memcmp(&before, &cOpmTunning, sizeof before));
    // The end of the test ends the program, which must not wait for the loop.
}

TEST_F(OpmAdjust, BackOpensTheMenuAndTheScreensTextsGoNowhere) {
    Start(FrmAdjust);
    Tap(680, 465);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
    const test::Picture menu = Screenshot();
    FrmAdjustSetInfo("nobody sees this");
    FrmAdjustSetDataInfo("nor this", 1);
    Run(200);
    EXPECT_EQ(menu.rgb, Screenshot().rgb);
}
