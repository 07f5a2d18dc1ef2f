#include <unistd.h>

#include "device/common_opt.h"
#include "device/operator_report.h"
#include "measure/apd.h"
#include "measure/common_opm.h"
#include "screens/apd_curve.h"
#include "screens/wnd_frmapd_adjust.h"
#include "tests/screens/screen_fixture.h"
#include "tests/support/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr test::Area kPanel1 = {40, 315, 340, 120};
constexpr test::Area kPanel2 = {380, 315, 295, 120};
constexpr test::Area kTrace = {40, 55, 635, 230};
constexpr test::Area kTitle = {0, 0, 800, 30};

}  // namespace

class ApdAdjust : public test::ScreenTest {
  protected:
    void Open() { Start(FrmAPDAdj); }
    void TapStart(unsigned milliseconds = 400) { Tap(720, 120, milliseconds); }
    void TapStop(unsigned milliseconds = 400) { Tap(720, 180, milliseconds); }
    bool StopEnabled() { return Enabled(690, 155); }
    bool E2promEnabled() { return Enabled(690, 215); }
    uint32_t Pixel(unsigned x, unsigned y) const {
        const test::Picture pixel = Screenshot({x, y, 1, 1});
        return pixel.rgb[0] << 16 | pixel.rgb[1] << 8 | pixel.rgb[2];
    }
};

TEST_F(ApdAdjust, ShowsItsPanelsAxesAndButtons) {
    Open();
    const std::vector<std::string> texts = Texts();
    for (const char* text : {"APD Adjust", "Start", "Stop", "E2PROM", "Trace :", "4000", "3000", "2000", "0",
                             "20", "40", "60", "80 C", "data area", "info area"})
        EXPECT_THAT(texts, Contains(text));
    EXPECT_EQ(15u, texts.size());
    EXPECT_EQ(0xF8A800u, ColorOf("4000"));
    EXPECT_EQ(0xF8A800u, ColorOf("80 C"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/apd_adjust"));
    EXPECT_NE(nullptr, pApd_Break_Para);
    EXPECT_EQ(0, pApd_Break_Para->iNum);
    EXPECT_EQ(1, GetAPDAdjStopFlag());
}

TEST_F(ApdAdjust, ListsTheWindowThreeButtonsAndBack) {
    Open();
    EXPECT_THAT(Components(), ElementsAre("0,0", "690,95", "690,155", "690,215", "650,454"));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_DOWN));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_UP));
    EXPECT_EQ(4, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(4, Registrations(GUIMESSAGE_TCH_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_ERR_PROC));
}

TEST_F(ApdAdjust, PlotsTheSamplesOnTheTrace) {
    Open();
    *pApd_Break_Para = {};
    pApd_Break_Para->iNum = 3;
    const struct {
        float temp;
        uint16_t volt;
        int x, y;
    } samples[] = {{0.0f, 2000, 43, 281}, {25.0f, 3000, 239, 169}, {80.0f, 4000, 672, 56}};
    for (int i = 0; i < 3; ++i) {
        pApd_Break_Para->fTemp[i] = samples[i].temp;
        pApd_Break_Para->iVolt[i] = samples[i].volt;
    }
    Printed();
    DrawCurve();
    Run(200);
    std::string expected;
    for (const int i : {0, 1, 2, 0, 1}) {
        EXPECT_EQ(samples[i].x, iDrawX[i]);
        EXPECT_EQ(samples[i].y, iDrawY[i]);
        expected += "--------------iDrawX[" + std::to_string(i) + "] = " + std::to_string(samples[i].x) +
                    "----iDrawY[" + std::to_string(i) + "] = " + std::to_string(samples[i].y) +
                    "-------------\n";
    }
    EXPECT_EQ(expected, Printed());
    for (const auto& sample : samples)
        for (int dx = -1; dx <= 1; ++dx)
            for (int dy = -1; dy <= 1; ++dy)
                EXPECT_EQ(0xFFFFFFu,
                          Pixel(static_cast<unsigned>(sample.x + dx), static_cast<unsigned>(sample.y + dy)));
    EXPECT_EQ(0xFFFFFFu, Pixel((43 + 239) / 2, (281 + 169) / 2)) << "the line between the first two";
    EXPECT_TRUE(test::MatchesGolden(Screenshot(kTrace), "screens/apd_curve"));
    initTraceArea();
    Run(200);
    EXPECT_NE(0xFFFFFFu, Pixel(239, 169));
}

TEST_F(ApdAdjust, PaintsTheSamplesOfAnEarlierVisit) {
    Open();
    pApd_Break_Para->iNum = 1;
    pApd_Break_Para->fTemp[0] = 25.0f;
    pApd_Break_Para->iVolt[0] = 3000;
    ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmAPDAdj));
    Run(500);
    EXPECT_EQ(0xFFFFFFu, Pixel(239, 169));
}

TEST_F(ApdAdjust, SamplesOffTheScreenAreNotDrawn) {
    Open();
    pApd_Break_Para->iNum = 2;
    pApd_Break_Para->fTemp[0] = -40.0f;
    pApd_Break_Para->iVolt[0] = 3000;
    pApd_Break_Para->fTemp[1] = 200.0f;
    pApd_Break_Para->iVolt[1] = 65535;
    const test::Picture before = Screenshot();
    DrawCurve();
    Run(200);
    EXPECT_EQ(before.rgb, Screenshot().rgb);
}

TEST_F(ApdAdjust, StopBeforeStartOnlyRedrawsTheButton) {
    Open();
    const test::Picture idle = Screenshot();
    linked_->StartTrace();
    TapStop();
    EXPECT_EQ(idle.rgb, Screenshot().rgb);
    EXPECT_TRUE(StopEnabled());
    EXPECT_TRUE(E2promEnabled());
    EXPECT_EQ(1, GetAPDAdjStopFlag());
    EXPECT_THAT(linked_->TraceLines({"reg"}), IsEmpty());
}

TEST_F(ApdAdjust, StartRunsTheCalibrationAndStopEndsIt) {
    Open();
    TapStart(5000);
    EXPECT_EQ(1, iCreateThreadSuccessFlag);
    EXPECT_TRUE(StopEnabled());
    EXPECT_FALSE(E2promEnabled());
    EXPECT_THAT(WrappedText(kPanel1), Not(HasSubstr("data area")));
    EXPECT_TRUE(test::MatchesGolden(Screenshot({690, 95, 105, 180}), "screens/apd_running"));
    TapStop(3000);
    EXPECT_EQ(0, iCreateThreadSuccessFlag);
    EXPECT_EQ(1, GetAPDAdjStopFlag());
    EXPECT_FALSE(StopEnabled());
    EXPECT_TRUE(E2promEnabled());
    EXPECT_THAT(WrappedText(kPanel1), HasSubstr("APD Tuning Start Failed! ret = -1"));
    // And again.
    TapStart(2000);
    EXPECT_EQ(1, iCreateThreadSuccessFlag);
    EXPECT_FALSE(E2promEnabled());
    TapStop(3000);
    EXPECT_TRUE(E2promEnabled());
}

TEST_F(ApdAdjust, WithoutItsThreadTheCalibrationIsToldAndCanBeStartedAgain) {
    Open();
    {
        test::FailingCallsOfAllThreads failing(1, 1, "pthread_create");
        TapStart();
    }
    EXPECT_THAT(Texts(kPanel1), ElementsAre("Can not start, please try again!"));
    EXPECT_TRUE(E2promEnabled());
    EXPECT_TRUE(StopEnabled()) << "as before";
    TapStart(3000);
    EXPECT_TRUE(StopEnabled());
    EXPECT_THAT(WrappedText(kPanel1), Not(HasSubstr("Can not start")));
}

TEST_F(ApdAdjust, WithoutTheOpticDriverTheScreenSaysSoAndStaysUsable) {
    Open();
    close(opticFD);
    opticFD = -1;
    TapStart(2000);
    EXPECT_THAT(Texts(kPanel1), ElementsAre("Open OPM Device Failed."));
    EXPECT_TRUE(E2promEnabled());
    Tap(660, 465, 1000);
    EXPECT_THAT(Texts(kTitle), ElementsAre("OPM  testV20150629"));
}

// Stop and Back answer within a second while an acquisition never ends, and the high voltage goes to rest.
TEST_F(ApdAdjust, StopAndBackEndACalibrationWhoseAcquisitionNeverEnds) {
    Open();
    Fault("optic.never_ready");
    TapStart(20000);
    EXPECT_TRUE(StopEnabled());
    TapStop(1000);
    EXPECT_TRUE(E2promEnabled());
    EXPECT_EQ(2048u, Register(OPM_APD_REG));
    TapStart(20000);
    Tap(660, 465, 1000);
    EXPECT_THAT(Texts(kTitle), ElementsAre("OPM  testV20150629"));
    EXPECT_EQ(2048u, Register(OPM_APD_REG));
}

TEST_F(ApdAdjust, EachButtonHasItsPressedLook) {
    Open();
    std::vector<test::Picture> pressed;
    for (const int y : {120, 180, 240}) {
        Press(720, y);
        pressed.push_back(Screenshot({690, static_cast<unsigned>(y) - 25, 105, 53}));
        ReleaseUnheard(FrmAPDAdj);
    }
    EXPECT_TRUE(test::MatchesGolden(test::Mosaic(pressed, 1), "screens/apd_pressed"));
}

// Trial, an hour of warming up, and a sample a degree.
TEST_F(ApdAdjust, SamplesAreDrawnWhileTheModuleWarmsUpUntilItIsHot) {
    Set("module.temperature", 49.0);
    Open();
    TapStart(1000);
    for (int i = 0; i < 70 && pApd_Break_Para->iNum == 0; ++i)
        Run(60000);
    Set("module.temperature_rate", 0.5);
    for (int i = 0; i < 600 && pApd_Break_Para->iNum < 3; ++i)
        Run(2000);
    EXPECT_EQ(1, iCreateThreadSuccessFlag);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/apd_sampling"));
    for (int i = 0; i < 3000 && !E2promEnabled(); ++i)
        Run(1000);
    EXPECT_TRUE(E2promEnabled());
    EXPECT_FALSE(StopEnabled());
    EXPECT_THAT(Texts(kPanel1), ElementsAre("APDTuning over!"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/apd_done"));
}

TEST_F(ApdAdjust, ASecondStartWhileRunningChangesNothing) {
    Open();
    TapStart(3000);
    const test::Area buttons = {690, 95, 105, 180};
    const test::Picture running = Screenshot(buttons);
    Printed();
    Press(720, 120);
    EXPECT_NE(running.rgb, Screenshot(buttons).rgb) << "its pressed look";
    Release(3000);
    EXPECT_EQ(running.rgb, Screenshot(buttons).rgb) << "and its released one";
    EXPECT_THAT(Printed(), Not(HasSubstr("start apd tuning")));
    EXPECT_EQ(1, iCreateThreadSuccessFlag);
    TapStop(3000);
}

TEST_F(ApdAdjust, ATrialThatFailsEndsByItselfAndCanBeStartedAgain) {
    Fault("adc.path");  // no light, no noise: the ramp runs off the top
    Open();
    TapStart(1000);
    for (int i = 0; i < 3000 && !E2promEnabled(); ++i)
        Run(1000);
    EXPECT_TRUE(E2promEnabled());
    EXPECT_FALSE(StopEnabled());
    EXPECT_THAT(WrappedText(kPanel1), HasSubstr("APD Tuning Start Failed! ret = -1"));
    Printed();
    TapStart(2000);
    EXPECT_THAT(Printed(), HasSubstr("start apd tuning"));
    EXPECT_TRUE(StopEnabled());
    TapStop(3000);
}

TEST_F(ApdAdjust, LeavingWaitsForTheCalibrationToStop) {
    Open();
    TapStart(4000);
    Tap(680, 465, 3000);
    EXPECT_THAT(Texts(kTitle), ElementsAre("OPM  testV20150629"));
    EXPECT_EQ(0, iCreateThreadSuccessFlag);
    EXPECT_EQ(0, GetAPDAdjStopFlag());
    // Whatever still reports finds no screen, also with samples in the record.
    const test::Picture menu = Screenshot();
    *pApd_Break_Para = {{2000, 3000}, {0.0f, 25.0f}, 2};
    FrmApdAdjSetInfo1("nobody");
    FrmApdAdjSetInfo2("nobody");
    initTraceArea();
    DrawCurve();
    Run(300);
    EXPECT_EQ(menu.rgb, Screenshot().rgb);
}

TEST_F(ApdAdjust, TheProgramCanEndDuringACalibration) {
    Open();
    TapStart(4000);
    EXPECT_EQ(1, iCreateThreadSuccessFlag);
    // The end of the test ends the program.
}

TEST_F(ApdAdjust, E2promOpensTheRecordAndPanelsTakeTexts) {
    Open();
    FrmApdAdjSetInfo1("first");
    FrmApdAdjSetInfo2("second");
    FrmApdAdjSetInfo1(nullptr);
    Run(200);
    EXPECT_THAT(Texts(kPanel1), ElementsAre("first"));
    EXPECT_THAT(Texts(kPanel2), ElementsAre("second"));
    Tap(720, 240, 800);
    EXPECT_THAT(Texts(kTitle), ElementsAre("E2PROM"));
}
