#include "device/share_data.h"
#include "gui/guipen.h"
#include "screens/wnd_frmmain.h"
#include "tests/screens/screen_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using StartScreen = test::ScreenTest;

TEST_F(StartScreen, ShowsItsIconsAndWelcome) {
    Start(FrmMain);
    EXPECT_THAT(Texts(), ElementsAre("MainBoard  testV20150629", "MainBoard_FCT", "Opticl_FCT",
                                     "Welcome to K905_FCT !"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/start"));
}

TEST_F(StartScreen, TellsOfAConnectedMeasurementBoard) {
    OPMGUIShare.usIsConnect = 1;
    Start(FrmMain);
    EXPECT_THAT(Texts({0, 450, 800, 30}), ElementsAre("Connect Success !"));
}

TEST_F(StartScreen, ListsTheWindowAndBothIcons) {
    Start(FrmMain);
    EXPECT_THAT(Components(), ElementsAre("0,0", "500,170", "200,170"));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_DOWN));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_UP));
    EXPECT_EQ(2, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(2, Registrations(GUIMESSAGE_TCH_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_ERR_PROC));
}

TEST_F(StartScreen, PressedIconHasItsPressedLookAndAnOrangeCaption) {
    Start(FrmMain);
    Press(540, 210);
    EXPECT_EQ(0xF8A800u, ColorOf("Opticl_FCT"));
    EXPECT_EQ(0xFFFFFFu, ColorOf("MainBoard_FCT"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot({470, 160, 140, 120}), "screens/start_optical_pressed"));
    Release();
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("OPM  testV20150629"));
    Tap(680, 465);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/start"));
    Press(240, 210);
    EXPECT_EQ(0xF8A800u, ColorOf("MainBoard_FCT"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot({170, 160, 140, 120}), "screens/start_mainboard_pressed"));
}

TEST_F(StartScreen, MainBoardIconOpensTheMainBoardTest) {
    Start(FrmMain);
    Tap(240, 210);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("K905 Mainboard FCT !"));
    Tap(680, 465);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("MainBoard  testV20150629"));
    EXPECT_EQ(2, Registrations(GUIMESSAGE_TCH_UP));
}

TEST_F(StartScreen, ATouchBesideTheIconsDoesNothing) {
    Start(FrmMain);
    Tap(400, 300);
    Key("menu", true);
    Key("menu", false);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/start"));
}

TEST_F(StartScreen, ALabelWithoutABackgroundIsWrittenOverItsBlackArea) {
    constexpr test::Area kLabel = {300, 100, 60, 20};
    const GUICHAR text[] = {'A', 0};
    Start(FrmMain);
    GUIPEN* pen = GetCurrPen();
    const COLOR color = pen->uiPenColor;
    const test::Picture before = Screenshot();
    GUILABEL* label = CreateLabel(kLabel.x, kLabel.y, kLabel.width, kLabel.height, nullptr);
    SetLabelEnable(0, label);
    EXPECT_EQ(-2, UpdateLabelRes(text, label, nullptr));
    Run(200);
    EXPECT_EQ(color, pen->uiPenColor);
    const test::Picture filled = Screenshot();
    size_t wrong = 0;
    for (unsigned i = 0; i < 800 * 480; ++i) {
        const unsigned x = i % 800, y = i / 800;
        const bool inside =
            x >= kLabel.x && x < kLabel.x + kLabel.width && y >= kLabel.y && y < kLabel.y + kLabel.height;
        for (size_t part = size_t{3} * i; part < size_t{3} * i + 3; ++part)
            wrong += filled.rgb[part] != (inside ? 0 : before.rgb[part]);
    }
    EXPECT_EQ(0u, wrong);
    SetLabelEnable(1, label);
    EXPECT_EQ(0, UpdateLabelRes(text, label, nullptr));
    Run(200);
    EXPECT_THAT(Texts({kLabel.x, kLabel.y, kLabel.width, kLabel.height}), ElementsAre("A"));
    EXPECT_EQ(color, pen->uiPenColor);
    DestroyLabel(&label);
}

TEST_F(StartScreen, KeepsTheScreenBufferAcrossVisits) {
    Start(FrmMain);
    const uint16_t* buffer = pScreenBmpBuff;
    ASSERT_NE(nullptr, buffer);
    Tap(240, 210);
    Tap(680, 465);
    EXPECT_EQ(buffer, pScreenBmpBuff);
}
