#include <stdlib.h>

#include <algorithm>

#include "screens/wnd_frmdialog.h"
#include "screens/wnd_frmmain.h"
#include "tests/screens/screen_fixture.h"
#include "tests/support/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

std::vector<std::string> calls;
int result = -1;
bool resultSetFirst = false;
bool iconKnown = false;  // a dialog of this program had an icon, which later ones keep
unsigned okLasts = 0;    // milliseconds

void Leave(GUIWINDOW** next) {
    EXPECT_EQ(nullptr, *next);
    calls.push_back("leave");
    *next = CreateWindow(0, 0, 800, 480, FrmMain.fnInit, FrmMain.fnExit, FrmMain.fnPaint, FrmMain.fnLoop,
                         nullptr);
}
void Ok() {
    calls.push_back("ok");
    resultSetFirst = result != -1;
    MsecSleep(okLasts);
}
void Cancel() {
    calls.push_back("cancel");
    resultSetFirst = result != -1;
}

}  // namespace

// Opened over the start screen, its corner at (260, 150).
class Dialog : public test::ScreenTest {
  protected:
    Dialog() {
        calls.clear();
        result = -1;
        okLasts = 0;
        text_ = TransString("The module has no fibre. Plug it in and press OK.");
    }
    ~Dialog() override { free(text_); }

    void Open(uint8_t icon = 0, int* answer = &result) {
        Start(FrmMain);
        iconKnown = iconKnown || icon == 0;
        ASSERT_EQ(0, DialogInit(260, 150, TransString("Warning"), text_, answer, icon, GetCurrWindow(), Leave,
                                Ok, Cancel));
        Run(500);
    }
    // With nothing to call on leaving.
    void OpenBare(uint8_t icon) {
        Start(FrmMain);
        iconKnown = iconKnown || icon == 0;
        ASSERT_EQ(0, DialogInit(260, 150, TransString("Warning"), text_, &result, icon, GetCurrWindow(),
                                nullptr, nullptr, nullptr));
        Run(500);
    }
    void TapOk() { Tap(260 + 168, 150 + 152); }
    void TapCancel() { Tap(260 + 238, 150 + 152); }

    GUICHAR* text_ = nullptr;
};

// The first test: only the first dialog of a program has no icon to keep.
TEST_F(Dialog, AnotherIconTypeInTheFirstDialogShowsNoIcon) {
    if (iconKnown)
        GTEST_SKIP() << "this program has shown an icon";
    Open(7);
    const test::Picture without = Screenshot({260, 150, 280, 172});
    EXPECT_TRUE(test::MatchesGolden(without, "screens/dialog_no_icon"));
}

TEST_F(Dialog, LeavingWithoutCallbacksLeavesNoScreenRunning) {
    OpenBare(0);
    TapOk();
    EXPECT_EQ(1, result);
    EXPECT_EQ(0, Registrations(GUIMESSAGE_TCH_UP));
    ASSERT_EQ(0, CallScreen(FrmMain));
    Run(500);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("MainBoard  testV20150629"));
}

TEST_F(Dialog, CancelWithoutCallbacksStoresZero) {
    OpenBare(0);
    TapCancel();
    EXPECT_EQ(0, result);
}

// Cancel is touched while the callback of OK still runs.
TEST_F(Dialog, ALaterPressCannotWriteTheResult) {
    Open();
    okLasts = 2000;
    TapOk();
    TapCancel();
    Run(3000);
    EXPECT_THAT(calls, ElementsAre("ok", "leave"));
    EXPECT_EQ(1, result);
}

TEST_F(Dialog, ShowsIconTitleTextAndButtons) {
    Open();
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/dialog"));
    EXPECT_THAT(Texts(), Contains("Warning"));
    EXPECT_EQ(0x3C3028u, ColorOf(Texts({325, 200, 220, 20}).front()));
    EXPECT_THAT(Components(), ElementsAre("260,150", "398,290", "468,290"));
    EXPECT_EQ(2, Registrations(GUIMESSAGE_TCH_DOWN));
    EXPECT_EQ(2, Registrations(GUIMESSAGE_TCH_UP));
    EXPECT_EQ(1, Registrations(GUIMESSAGE_KEY_DOWN));
    EXPECT_EQ(0, Registrations(GUIMESSAGE_ERR_PROC));
}

TEST_F(Dialog, OkStoresOneAfterItsCallback) {
    Open();
    TapOk();
    EXPECT_THAT(calls, ElementsAre("ok", "leave"));
    EXPECT_EQ(1, result);
    EXPECT_FALSE(resultSetFirst);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("MainBoard  testV20150629"));
}

TEST_F(Dialog, CancelStoresZeroAfterItsCallback) {
    Open();
    TapCancel();
    EXPECT_THAT(calls, ElementsAre("cancel", "leave"));
    EXPECT_EQ(0, result);
    EXPECT_FALSE(resultSetFirst);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("MainBoard  testV20150629"));
}

TEST_F(Dialog, PressedButtonsHaveTheirLook) {
    Open();
    const test::Picture idle = Screenshot({390, 280, 150, 50});
    Press(260 + 168, 150 + 152);
    EXPECT_EQ(0x3C3028u, ColorOf("OK"));
    std::vector<test::Picture> looks = {Screenshot({390, 280, 150, 50})};
    // Slid off: the release still counts for the button that was pressed.
    linked_->Hardware().Touch({{100, 100}});
    Run(100);
    Release();
    EXPECT_THAT(calls, ElementsAre("ok", "leave"));
    EXPECT_FALSE(idle.rgb == looks[0].rgb);
    EXPECT_TRUE(test::MatchesGolden(looks[0], "screens/dialog_ok_pressed"));
}

TEST_F(Dialog, LeavesWithoutAResultVariable) {
    Open(0, nullptr);
    TapOk();
    EXPECT_THAT(calls, ElementsAre("ok", "leave"));
}

TEST_F(Dialog, LaterDialogWithAnotherIconTypeKeepsTheIcon) {
    Open();
    const test::Picture icon = Screenshot({280, 210, 32, 32});
    ASSERT_EQ(0, DialogInit(300, 100, TransString("Again"), text_, &result, 7, GetCurrWindow(), Leave,
                            nullptr, nullptr));
    Run(500);
    EXPECT_THAT(Texts(), Contains("Again"));
    EXPECT_TRUE(icon.rgb == Screenshot({320, 160, 32, 32}).rgb);
    Tap(300 + 168, 100 + 152);
    EXPECT_THAT(calls, ElementsAre("leave"));
    EXPECT_EQ(1, result);
}

TEST_F(Dialog, OneThatCannotBeMadeLeavesTheScreen) {
    Start(FrmMain);
    const test::Picture before = Screenshot();
    GUICHAR* title = TransString("Warning");
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(-1, DialogInit(260, 150, title, text_, &result, 7, GetCurrWindow(), Leave, Ok, Cancel));
        EXPECT_STRNE("", failing.Failed());
    }
    Run(500);
    EXPECT_EQ(before.rgb, Screenshot().rgb);
    Tap(240, 210, 1000);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("K905 Mainboard FCT !"));
}

TEST_F(Dialog, WithoutItsFontHasButtonsAndNoText) {
    Start(FrmMain);
    iconKnown = true;
    {
        test::FailingCallsOfAllThreads failing(1, 1, "open");
        ASSERT_EQ(0, DialogInit(260, 150, TransString("Warning"), text_, &result, 0, GetCurrWindow(), Leave,
                                Ok, Cancel));
        Run(500);
        EXPECT_STREQ("open", failing.Failed());
    }
    EXPECT_THAT(Texts({325, 205, 200, 60}), testing::IsEmpty());
    EXPECT_THAT(Texts(), testing::IsSupersetOf({"Warning", "OK", "Cancel"}));
    TapOk();
    EXPECT_EQ(1, result);
}

TEST_F(Dialog, ProgressReplacesTheLineBefore) {
    Open();
    EXPECT_EQ(0, ShowProgress(TransString("10 of 90")));
    EXPECT_EQ(0, ShowProgress(TransString("20 of 90")));
    EXPECT_THAT(Texts(), Contains("20 of 90"));
    EXPECT_TRUE(test::MatchesGolden(Screenshot({260, 150, 280, 172}), "screens/dialog_progress"));
    EXPECT_EQ(-1, ShowProgress(nullptr));
}

TEST_F(Dialog, ProgressMayBeTheLineThatStandsThere) {
    Open();
    GUICHAR* line = TransString("half of it");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(0, ShowProgress(line));
        EXPECT_THAT(Texts(), Contains("half of it"));
    }
}

TEST(DialogClosed, TakesNoProgress) {
    EXPECT_EQ(-1, ShowProgress(TransString("nobody sees this")));
}

// Two touches before the dialog can act on the first; the callback shows the next screen itself.
TEST_F(Dialog, ItsOneAnswerIsTheFirstAndTheNextScreenIsHeard) {
    Start(FrmMain);
    iconKnown = true;
    ASSERT_EQ(0, DialogInit(
                     260, 150, TransString("Warning"), text_, &result, 0, GetCurrWindow(),
                     [](GUIWINDOW**) {
                         calls.push_back("leave");
                         CallScreen(FrmMain);
                     },
                     Ok, Cancel));
    Run(500);
    okLasts = 2000;
    TapOk();
    TapOk();
    Run(3000);
    EXPECT_THAT(calls, ElementsAre("ok", "leave"));
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("MainBoard  testV20150629"));
    Tap(240, 210, 1000);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("K905 Mainboard FCT !"));
}

TEST_F(Dialog, AnswersOnceWhileItWaitsToBeLeft) {
    Open();
    {
        test::FailingCallsOfAllThreads failing(1, test::FailingCallsOfAllThreads::kForEver, "pthread_create");
        TapOk();
        TapOk();
        TapCancel();
        EXPECT_EQ(1, std::count(calls.begin(), calls.end(), "ok"));
        EXPECT_EQ(0, std::count(calls.begin(), calls.end(), "cancel"));
    }
    Run(1000);
    EXPECT_EQ(1, result);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("MainBoard  testV20150629"));
}
