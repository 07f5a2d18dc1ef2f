#include "device/share_data.h"
#include "measure/adjust.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_frmopticalmain.h"
#include "tests/screens/screen_fixture.h"

using testing::ElementsAre;
using OpticalMenu = test::ScreenTest;

namespace {

constexpr test::Area kTitle = {0, 0, 800, 30};

struct Icon {
    const char* caption;
    int x, y;  // corner
    const char* title;
};
const Icon kIcons[] = {
    {"OPM_Adjust", 350, 120, "OPM Adjust"}, {"OPT_Adjust", 550, 120, "OPM Adjust"},
    {"OPM_FCT", 150, 120, "OPM FCT"},       {"APD_Adjust", 150, 270, "APD Adjust"},
    {"E2PROM", 350, 270, "E2PROM"},
};

}  // namespace

TEST_F(OpticalMenu, ShowsFiveIconsAndTheirNames) {
    Start(FrmOpticalMain);
    EXPECT_THAT(Texts(), ElementsAre("OPM  testV20150629", "OPM_FCT", "OPM_Adjust", "OPT_Adjust",
                                     "APD_Adjust", "E2PROM", "K905 Optical FCT !"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/optical_menu"));
}

TEST_F(OpticalMenu, TellsOfAConnectedMeasurementBoard) {
    OPMGUIShare.usIsConnect = 1;
    Start(FrmOpticalMain);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Connect Success !"));
    OPMGUIShare.usIsConnect = 0;
    Run(500);
    EXPECT_THAT(Texts(test::kInfoLine), ElementsAre("Connect Success !")) << "read once";
}

TEST_F(OpticalMenu, ListsTheWindowFiveIconsAndTheBackButton) {
    Start(FrmOpticalMain);
    EXPECT_THAT(Components(),
                ElementsAre("0,0", "350,120", "550,120", "150,120", "150,270", "350,270", "650,454"));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_DOWN));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_UP));
    EXPECT_EQ(6, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(6, Registrations(GUIMESSAGE_TCH_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_ERR_PROC));
}

TEST_F(OpticalMenu, TheSixthIconIsNeitherPaintedNorTouchable) {
    Start(FrmOpticalMain);
    const test::Picture idle = Screenshot();
    // Nothing but the background: the same as beside it.
    EXPECT_THAT(Texts({520, 270, 140, 110}), testing::IsEmpty());
    Press(590, 310);
    EXPECT_EQ(idle.rgb, Screenshot().rgb);
    Release();
    EXPECT_EQ(idle.rgb, Screenshot().rgb);
}

TEST_F(OpticalMenu, PressedIconsHaveTheirPressedLookAndAnOrangeCaption) {
    std::vector<test::Picture> pressed;
    Start(FrmOpticalMain);
    for (const Icon& icon : kIcons) {
        Press(icon.x + 40, icon.y + 40);
        EXPECT_EQ(0xF8A800u, ColorOf(icon.caption)) << icon.caption;
        pressed.push_back(
            Screenshot({static_cast<unsigned>(icon.x - 30), static_cast<unsigned>(icon.y), 140, 105}));
        // Let go where nothing waits for it: a new menu.
        GUIMESSAGE* messages = GetCurrMessage();
        MutexLock(&messages->Mutex);
        ClearMessageReg(messages);
        MutexUnlock(&messages->Mutex);
        Release();
        ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), FrmOpticalMain));
        Run(400);
    }
    EXPECT_TRUE(test::MatchesGolden(test::Mosaic(pressed, 3), "screens/optical_menu_pressed"));
}

TEST_F(OpticalMenu, EveryIconOpensItsScreenAndBackComesBack) {
    Start(FrmOpticalMain);
    for (const Icon& icon : kIcons) {
        Tap(icon.x + 40, icon.y + 40, 800);
        EXPECT_THAT(Texts(kTitle), ElementsAre(icon.title)) << icon.caption;
        Tap(680, 465, 800);
        EXPECT_THAT(Texts(kTitle), ElementsAre("OPM  testV20150629")) << icon.caption;
    }
}

TEST_F(OpticalMenu, TheAdjustIconAllowsTheLoopsToRun) {
    Start(FrmOpticalMain);
    SetStopThreadFlag(0);
    Tap(390, 160, 800);
    EXPECT_EQ(1, GetStopThreadFlag());
}

TEST_F(OpticalMenu, TheOtherIconsLeaveTheLoopsStopped) {
    Start(FrmOpticalMain);
    for (const Icon& icon : kIcons) {
        if (&icon == &kIcons[0])
            continue;
        SetStopThreadFlag(0);
        Tap(icon.x + 40, icon.y + 40, 800);
        EXPECT_THAT(Texts(kTitle), ElementsAre(icon.title));
        EXPECT_EQ(0, GetStopThreadFlag()) << icon.caption;
        Tap(680, 465, 800);
    }
}

TEST_F(OpticalMenu, IsOpenedByTheStartScreenAndGoesBackToIt) {
    Start(FrmMain);
    Tap(540, 210);
    EXPECT_THAT(Texts(kTitle), ElementsAre("OPM  testV20150629"));
    Tap(680, 465);
    EXPECT_THAT(Texts(kTitle), ElementsAre("MainBoard  testV20150629"));
}
