#include <unistd.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "measure/adjust.h"
#include "measure/apd.h"
#include "screens/wnd_frmoptcheck.h"
#include "tests/screens/screen_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr test::Area kLine1 = {10, 45, 390, 90};
constexpr test::Area kLine2 = {10, 245, 390, 90};

// What a line shows, without its blanks and line ends.
std::string Packed(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        for (const char c : line)
            if (c != ' ')
                text += c;
    return text;
}

}  // namespace

class OpticalCheck : public test::ScreenTest {
  protected:
    // Waits until the window thread takes touches again.
    void RunUntilReady(unsigned seconds) {
        for (unsigned i = 0; i < seconds && !Enabled(500, 64); ++i)
            Run(1000);
        Run(500);
    }
};

TEST_F(OpticalCheck, TellsWhichFibreToPlugIn) {
    Start(FrmOptcheck);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM Adjust"));
    EXPECT_EQ(Packed({"Please plug in 1KM - 2KM optical fiber before adjust"}), Packed(Texts(kLine1)));
    EXPECT_EQ(Packed({"Please plug in 5 m optical fiber before adjust"}), Packed(Texts(kLine2)));
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("infomation eara!"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/optcheck"));
}

TEST_F(OpticalCheck, ListsTheWindowBothButtonsAndBack) {
    Start(FrmOptcheck);
    EXPECT_THAT(Components(), ElementsAre("0,0", "500,64", "500,224", "650,454"));
    EXPECT_EQ(3, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(3, Registrations(GUIMESSAGE_TCH_UP));
}

TEST_F(OpticalCheck, PressTellsThatTheWorkStarts) {
    Start(FrmOptcheck);
    SetStopThreadFlag(0);
    Press(540, 90);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Optical check start,please wait......"));
    EXPECT_EQ(0x3C3028u, ColorOf("Opt check"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/optcheck_pressed"));
    Release();
    EXPECT_EQ(0xFFFFFFu, ColorOf("Opt check"));
}

TEST_F(OpticalCheck, AStoppedCheckSaysStopForBothWavelengths) {
    Start(FrmOptcheck);
    SetStopThreadFlag(0);
    Tap(540, 90, 1000);
    EXPECT_EQ(Packed({"1310 Optical check stop     1550 Optical check stop     check over!!!"}),
              Packed(Texts(kLine1)));
    EXPECT_TRUE(Enabled(500, 64));
    EXPECT_TRUE(Enabled(500, 224));
}

TEST_F(OpticalCheck, ChecksOneWavelengthAfterTheOther) {
    Set("optics.fibre", "1.5 km");
    Start(FrmOptcheck);
    Tap(540, 90, 1000);
    EXPECT_FALSE(Enabled(500, 64));
    EXPECT_FALSE(Enabled(500, 224));
    const std::string before = Packed(Texts(kLine1));
    for (int i = 0; i < 1800 && Packed(Texts(kLine1)) == before; ++i)
        Run(1000);
    EXPECT_EQ(Packed({"1310 Optical check good, checking 1550"}), Packed(Texts(kLine1)));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/optcheck_running"));
    RunUntilReady(1800);
    ASSERT_TRUE(Enabled(500, 64));
    EXPECT_EQ(Packed({"1310 Optical check good     1550 Optical check good     check over!!!"}),
              Packed(Texts(kLine1)));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/optcheck_done"));
}

TEST_F(OpticalCheck, ADarkReceiverIsBadAtBothWavelengths) {
    Fault("adc.path");
    Start(FrmOptcheck);
    Tap(540, 90, 1000);
    RunUntilReady(1800);
    EXPECT_EQ(Packed({"1310 Optical check bad     1550 Optical check bad     check over!!!"}),
              Packed(Texts(kLine1)));
}

TEST_F(OpticalCheck, ASearchWithoutAVerdictLeavesTheFirstTextEmpty) {
    Start(FrmOptcheck);
    Fault("optics.apd_defective");  // no breakdown that the search could find
    Tap(540, 90, 1000);
    RunUntilReady(1800);
    ASSERT_TRUE(Enabled(500, 64));
    EXPECT_EQ(",checking1550", Packed(Texts(kLine1)));
}

TEST_F(OpticalCheck, OffsetIsShownAndSaved) {
    Start(FrmOptcheck);
    Press(540, 250);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Deviation adjust start,please wait......"));
    Release(8000);
    const std::string line = Packed(Texts(kLine2));
    EXPECT_THAT(line, HasSubstr("offset=" + std::to_string(cOpmTunning.OffsetPoint) + "Adjust"));
    const int offset = cOpmTunning.OffsetPoint;
    EXPECT_THAT(line, HasSubstr(offset > 899 ? "AdjustSuccess" : "AdjustError"));
    cOpmTunning.OffsetPoint = -1;
    GetOpmTunning();
    EXPECT_EQ(offset, cOpmTunning.OffsetPoint);
}

TEST_F(OpticalCheck, WithoutTheOpticDriverTheScreenSaysSoAndStaysUsable) {
    Start(FrmOptcheck);
    close(opticFD);
    opticFD = -1;
    for (const int y : {90, 250}) {
        Tap(540, y, 2000);
        EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Open OPM Device Failed."));
        EXPECT_TRUE(Enabled(500, 64));
        EXPECT_TRUE(Enabled(500, 224));
    }
    EXPECT_THAT(Packed(Texts(kLine2)), HasSubstr("Pleaseplugin5m"));
    Tap(660, 465, 1000);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
}

TEST_F(OpticalCheck, AnAcquisitionThatNeverEndsFailsTheCheckAndTheScreenStaysUsable) {
    Start(FrmOptcheck);
    Fault("optic.never_ready");
    Tap(540, 90, 1000);
    EXPECT_FALSE(Enabled(500, 64));
    RunUntilReady(30);
    EXPECT_EQ(Packed({"1310 Optical check bad     1550 Optical check bad     check over!!!"}),
              Packed(Texts(kLine1)));
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Acquisition time out."));
    EXPECT_EQ(2048u, Register(OPM_APD_REG));
    const int32_t offset = pOpmTunning->OffsetPoint;
    Press(540, 250);
    ASSERT_THAT(Texts(test::kInfoLine), ElementsAre("Deviation adjust start,please wait......"));
    Release(10000);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Acquisition time out."));
    EXPECT_EQ(Packed({"offset = 0 Adjust Error"}), Packed(Texts(kLine2)));
    EXPECT_EQ(offset, pOpmTunning->OffsetPoint);
    Fault("optic.never_ready", false);
    Tap(660, 465, 1000);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
}

TEST_F(OpticalCheck, TheProgramCanEndWhileAnAcquisitionNeverEnds) {
    Start(FrmOptcheck);
    cOpmTunning.OffsetPoint = 4711;
    SaveOpmTunning();
    Fault("optic.never_ready");
    Tap(540, 250, 5000);
    EXPECT_EQ(4711, cOpmTunning.OffsetPoint);
}

TEST_F(OpticalCheck, BackOpensTheMenuAndTextsOfTheScreenGoNowhere) {
    Start(FrmOptcheck);
    FrmOptcheckSetDataInfo("three", 3);
    FrmOptcheckSetDataInfo(nullptr, 1);
    Run(200);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/optcheck"));
    Tap(680, 465);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
    const test::Picture menu = Screenshot();
    FrmOptcheckSetDataInfo("nobody", 1);
    FrmOptcheckSetInfo("nobody");
    Run(200);
    EXPECT_EQ(menu.rgb, Screenshot().rgb);
}
