// What a press and a release do: nothing starts that nobody touched.
#include "device/common_opt.h"
#include "screens/wnd_frmadjust.h"
#include "screens/wnd_frmoptcheck.h"
#include "screens/wnd_frmopticalmain.h"
#include "tests/screens/screen_fixture.h"

using testing::Contains;
using testing::ElementsAre;

class Touches : public test::ScreenTest {
  protected:
    // Adjusts with the measurement board connected.
    void OpenAdjust() {
        Start(FrmAdjust);
        Tap(470, 90, 2000);
        ASSERT_THAT(Texts(test::kInfoLine), ElementsAre("Connect Success!!!"));
        linked_->StartTrace();
    }
    // Lines of the calibration threads, "OPMAdjustVddThd ..."-like work of the module and the board.
    bool NothingIsMeasured() {
        linked_->ClearTrace();
        Run(5000);
        return linked_->TraceLines({"reg", "serial", "tuning"}).empty();
    }
};

// Vdd is disabled while Att1 runs: the press is nobody's, and so is the release after the end of the loop.
TEST_F(Touches, AFingerHeldOnADisabledButtonStartsNothingWhenItLifts) {
    OpenAdjust();
    Tap(620, 270, 1000);
    ASSERT_FALSE(Enabled(600, 124));
    Press(620, 150);
    for (int i = 0; i < 120 && !Enabled(600, 124); ++i)
        Run(1000);
    ASSERT_TRUE(Enabled(600, 124)) << "the loop has not ended";
    const test::Picture before = Screenshot();
    linked_->ClearTrace();
    Release(0);
    EXPECT_TRUE(NothingIsMeasured());
    EXPECT_EQ(before.rgb, Screenshot().rgb);
    // The next touch is heard as ever.
    Tap(620, 150, 1000);
    EXPECT_FALSE(linked_->TraceLines({"serial"}).empty());
}

TEST_F(Touches, AFingerLaidDownBeforeAScreenOpensStartsNothingThere) {
    Start(FrmOpticalMain);
    Press(470, 90);  // nothing lies there yet; Connect will
    ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmAdjust));
    Run(500);
    ASSERT_TRUE(Enabled(450, 64));
    linked_->StartTrace();
    Release(0);
    EXPECT_TRUE(NothingIsMeasured());
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("infomation eara!"));
}

// The press is taken by a control of the old screen, the release by one of the new screen at the same place.
TEST_F(Touches, AFingerThatOpenedNothingLeavesTheNextScreenAlone) {
    Start(FrmOptcheck);
    Press(660, 465);  // Back, which lies there on both screens
    ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmAdjust));
    Run(500);
    Release(1000);
    EXPECT_THAT(Texts(), Contains("OPM Adjust"));
    EXPECT_THAT(Texts(), Contains("Connect"));
    Tap(660, 465, 1000);
    EXPECT_THAT(Texts(), Contains("OPM  testV20150629"));
}
