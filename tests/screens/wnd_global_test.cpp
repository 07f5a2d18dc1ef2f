// The shared helpers on plain records, without an instrument.
#include "screens/wnd_global.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <numeric>

#include "gui/guifbmap.h"
#include "gui/guischeduler.h"
#include "screens/wnd_screen.h"
#include "tests/support/failing_calls.h"

using testing::ElementsAre;

namespace {

int Nothing(void*) {
    return 0;
}
int Handler(void*, int, void*, int) {
    return 0;
}
int OtherHandler(void*, int, void*, int) {
    return 0;
}
constexpr SCREEN_ENTRY kEntry = {Nothing, Nothing, Nothing, nullptr};

}  // namespace

// ---- Screen rectangle ----

class CoverRes : public testing::TestWithParam<unsigned> {
  protected:
    void SetUp() override {
        map_.uiPixelBits = GetParam();
        map_.uiHorRes = 800;
        map_.uiVerRes = 480;
        pixels_.resize(800 * 480 * (GetParam() / 8));
        std::iota(pixels_.begin(), pixels_.end(), uint8_t{1});
        map_.pMapBuff = pixels_.data();
        SetCurrFbmap(&map_);
        pScreenBmpBuff = static_cast<uint16_t*>(calloc(1, SCREEN_BUFFER_SIZE));
        testing::internal::CaptureStdout();
    }
    void TearDown() override {
        testing::internal::GetCapturedStdout();
        DropFbmap();
        free(pScreenBmpBuff);
        pScreenBmpBuff = nullptr;
    }
    // No test after this one may draw into pixels that are gone.
    static void DropFbmap() {
        static GUIFBMAP none = {};
        SetCurrFbmap(&none);
    }

    GUIFBMAP map_ = {};
    std::vector<uint8_t> pixels_;
};
INSTANTIATE_TEST_SUITE_P(Depths, CoverRes, testing::Values(16u, 24u, 32u));

TEST_P(CoverRes, RestoresWhatWasSaved) {
    const std::vector<uint8_t> before = pixels_;
    EXPECT_EQ(0, SaveExBmpCoverRes(nullptr, 10, 20, 30, 40));
    const size_t bytes = GetParam() / 8;
    for (unsigned y = 20; y < 50; ++y)
        std::fill_n(pixels_.begin() + static_cast<long>((10 + y * 800) * bytes), 40 * bytes, uint8_t{0});
    EXPECT_NE(before, pixels_);
    EXPECT_EQ(0, ReplaceExBmpCoverRes(nullptr, 10, 20, 30, 40));
    EXPECT_EQ(before, pixels_);
}

TEST_P(CoverRes, StaysOnTheScreenAndInTheBuffer) {
    const int rectangles[][4] = {{0, 0, 480, 800},
                                 {-50, -50, 5000, 5000},
                                 {790, 470, 100, 100},
                                 {799, 479, 1, 1},
                                 {900, 10, 10, 10},
                                 {10, 10, -5, -5},
                                 {INT_MAX, INT_MAX, INT_MAX, INT_MAX},
                                 {INT_MIN, INT_MIN, INT_MAX, INT_MAX}};
    const std::vector<uint8_t> before = pixels_;
    for (const auto& r : rectangles) {
        EXPECT_EQ(0, SaveExBmpCoverRes(nullptr, r[0], r[1], r[2], r[3]));
        EXPECT_EQ(0, ReplaceExBmpCoverRes(nullptr, r[0], r[1], r[2], r[3]));
        EXPECT_EQ(before, pixels_);
    }
}

TEST_P(CoverRes, HeightZeroCopiesNothing) {
    const std::vector<uint16_t> before(pScreenBmpBuff, pScreenBmpBuff + 800 * 480);
    EXPECT_EQ(0, SaveExBmpCoverRes(nullptr, 10, 20, 0, 40));
    EXPECT_EQ(before, std::vector<uint16_t>(pScreenBmpBuff, pScreenBmpBuff + 800 * 480));
}

TEST_P(CoverRes, WithoutABufferTheScreenStays) {
    free(pScreenBmpBuff);
    pScreenBmpBuff = nullptr;
    const std::vector<uint8_t> before = pixels_;
    SaveExBmpCoverRes(nullptr, 0, 0, 480, 800);
    ReplaceExBmpCoverRes(nullptr, 0, 0, 480, 800);
    EXPECT_EQ(before, pixels_);
}

TEST_P(CoverRes, PictureDecidesTheRectangleAndTheTraceTellsIt) {
    GUIPICTURE* picture = CreatePicture(100, 200, 50, 60, nullptr);
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    SaveExBmpCoverRes(picture, 1, 2, 3, 4);
    ReplaceExBmpCoverRes(nullptr, 1, 2, 3, 4);
    EXPECT_EQ("-1-----x = 100, y = 200, w = 50, h = 60 \n-2-----x = 1, y = 2, w = 4, h = 3 \n",
              testing::internal::GetCapturedStdout());
    testing::internal::CaptureStdout();
    DestroyPicture(&picture);
}

TEST(CoverResWithoutBuffer, CopiesNothing) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, SaveExBmpCoverRes(nullptr, 0, 0, 480, 800));
    EXPECT_EQ(0, ReplaceExBmpCoverRes(nullptr, 0, 0, 480, 800));
    testing::internal::GetCapturedStdout();
}

// ---- Messages ----

class Messages : public testing::Test {
  protected:
    Messages() : message_(CreateMessage(2, 100)) {
        SetCurrMessage(message_);
        window_ = CreateWindow(0, 0, 800, 480, Nothing, Nothing, Nothing, Nothing, nullptr);
    }
    ~Messages() override {
        ClearMessageQueue(message_);
        ClearMessageReg(message_);
        DestroyMessage(&message_);
        if (window_ != nullptr) {
            ClearWindowComp(window_);
            DestroyWindow(&window_);
        }
    }
    // "type code" of the oldest message, and its value.
    std::string Take(uintptr_t* value = nullptr) {
        GUIMESSAGE_ITEM* item = ReadMessageQueue(message_);
        if (item == nullptr)
            return "";
        const std::string text = std::to_string(item->iMsgType) + " " + std::to_string(item->iMsgCode);
        if (value != nullptr)
            *value = item->uiMsgValue;
        EXPECT_EQ(0, item->iValueLength);
        free(item);
        return text;
    }

    GUIMESSAGE* message_;
    GUIWINDOW* window_;
};

TEST_F(Messages, EachHelperPostsItsCodeWithTheWindow) {
    const struct {
        int (*send)(GUIWINDOW*);
        const char* message;
    } cases[] = {{SendMsg_CallWindow, "1 2"},
                 {SendMsg_ExitWindow, "2 5"},
                 {SendMsg_EnableLoop, "2 10"},
                 {SendMsg_DisableLoop, "2 11"}};
    for (const auto& one : cases) {
        uintptr_t value = 0;
        EXPECT_EQ(0, one.send(window_));
        EXPECT_EQ(one.message, Take(&value));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(window_), value);
    }
}

TEST_F(Messages, LoopOnceStopsTheLoop) {
    EXPECT_EQ(0, ScreenLoopOnce(window_));
    EXPECT_EQ("2 11", Take());
}

// A second touch that waits behind the first must find no handler.
TEST_F(Messages, SwitchingEndsTheOldScreenAndItsHandlersBeforeItCallsTheNew) {
    LockWindowThread();  // as the running window's thread does
    uintptr_t old = 0;
    uintptr_t next = 0;
    ASSERT_EQ(0, LoginMessageReg(GUIMESSAGE_TCH_UP, window_, NoAction, nullptr, 0, message_));
    EXPECT_EQ(0, SwitchScreen(window_, kEntry));
    EXPECT_EQ(0, message_->pMsgReg->iCount);
    EXPECT_EQ("2 5", Take(&old));
    EXPECT_EQ("1 2", Take(&next));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(window_), old);
    GUIWINDOW* target = reinterpret_cast<GUIWINDOW*>(next);
    EXPECT_EQ(799u, target->Visible.Area.End.x);
    EXPECT_EQ(479u, target->Visible.Area.End.y);
    EXPECT_EQ(nullptr, target->fnWndThread);
    SetExitFlag(1);
    UnlockWindowThread();
    EXPECT_EQ(0, ThreadEnd(&target->thdWndTid));
    SetExitFlag(0);
    DestroyWindow(&target);
}

TEST_F(Messages, ScreenStaysWhenTheNextCannotBeMade) {
    test::FailingCalls failing(1);
    EXPECT_EQ(-1, SwitchScreen(window_, kEntry));
    EXPECT_EQ("", Take());
}

TEST_F(Messages, WindowThatCannotBePostedIsFreed) {
    SendMsg_DisableLoop(window_);
    SendMsg_DisableLoop(window_);
    EXPECT_EQ(-1, CallScreen(kEntry));
    EXPECT_EQ(2, message_->pMsgQueue->iCount);
}

// ---- Labels ----

TEST(UpdateLabel, RefusesNull) {
    const GUICHAR text[] = {'a', 0};
    GUILABEL* label = CreateLabel(0, 0, 10, 10, nullptr);
    GUICHAR* string = nullptr;
    EXPECT_EQ(-1, UpdateLabelRes(nullptr, label, nullptr));
    EXPECT_EQ(-1, UpdateLabelRes(text, nullptr, nullptr));
    EXPECT_EQ(-1, UpdateLabelText(nullptr, "a", label, nullptr));
    EXPECT_EQ(-1, UpdateLabelText(&string, nullptr, label, nullptr));
    EXPECT_EQ(-1, UpdateLabelText(&string, "a", nullptr, nullptr));
    EXPECT_EQ(nullptr, string);
    DestroyLabel(&label);
}

TEST(UpdateLabel, LeavesADisabledLabelWithoutText) {
    const GUICHAR text[] = {'a', 0};
    GUILABEL* label = CreateLabel(0, 0, 10, 10, nullptr);
    SetLabelEnable(0, label);
    EXPECT_EQ(-2, UpdateLabelRes(text, label, nullptr));
    EXPECT_EQ(nullptr, label->pLblText);
    DestroyLabel(&label);
}

// The text from before would be read as the result of this check.
TEST(UpdateLabel, ShortMemoryLeavesNoTextBehind) {
    for (int call = 1; call <= 2; ++call) {  // the string, the label's copy of it
        GUICHAR* string = TransString("old");
        GUILABEL* label = CreateLabel(0, 0, 10, 10, string);
        {
            test::FailingCalls failing(call);
            EXPECT_EQ(-3, UpdateLabelText(&string, "new", label, nullptr)) << failing.Failed();
        }
        EXPECT_EQ(nullptr, label->pLblText);
        EXPECT_EQ(-2, DisplayLabel(label));
        free(string);
        DestroyLabel(&label);
    }
}

TEST(UseLabelFont, WithoutAFontTakesTheDefaultOne) {
    GUIFONT font = {};
    GUILABEL* label = CreateLabel(0, 0, 10, 10, nullptr);
    UseLabelFont(&font, label);
    EXPECT_EQ(&font, label->pLblFont);
    UseLabelFont(nullptr, label);
    EXPECT_EQ(nullptr, label->pLblFont);
    UseLabelFont(&font, nullptr);
    DestroyLabel(&label);
}

TEST(StatusBar, PlaceholdersDoNothing) {
    EXPECT_EQ(0, ShowSta_CurrDate(nullptr));
    EXPECT_EQ(0, ShowSta_CurrTime(nullptr));
    EXPECT_EQ(0, ShowSta_LcdLight(nullptr));
    EXPECT_EQ(0, ShowSta_PowerInfo(nullptr));
}

TEST(Looks, NullObjectsAreLetThrough) {
    EXPECT_EQ(-1, ShowPicture(nullptr));
    EXPECT_EQ(0, ShowLook(nullptr, nullptr, BMP_BTN_ENABLE, COLOR_NONE));
}

TEST(Looks, AButtonHasOneForEachState) {
    testing::internal::CaptureStdout();
    GUIPICTURE* button = CreatePicture(0, 0, 10, 10, nullptr);
    const struct {
        BTN_LOOK_FUNC show;
        const char* bitmap;
    } looks[] = {{ShowBtn_Enable, BMP_BTN_ENABLE},
                 {ShowBtn_Disable, BMP_BTN_DISABLE},
                 {ShowBtn_FuncDown, BMP_BTN_ACTIVE},
                 {ShowBtn_FuncUp, BMP_BTN_ENABLE}};
    for (const auto& look : looks) {
        EXPECT_EQ(0, look.show(button, nullptr));
        EXPECT_STREQ(look.bitmap, button->pPicBitmap->strBitmapFile);
    }
    DestroyPicture(&button);
    testing::internal::GetCapturedStdout();
}

TEST(WaitUnlessExit, EndsWithTheProgram) {
    SetExitFlag(0);
    EXPECT_EQ(0, WaitUnlessExit(1));
    SetExitFlag(1);
    EXPECT_EQ(-1, WaitUnlessExit(1000000));
    SetExitFlag(0);
}

// ---- The table walker ----

namespace {

GUIWINDOW* walkedWindow = nullptr;
GUICHAR* strTitle = nullptr;
GUICHAR* strMade = nullptr;
GUICHAR* strLines[3] = {};
GUIPICTURE *picBar = nullptr, *picA = nullptr, *picB = nullptr, *picHidden = nullptr;
GUILABEL *lblTitle = nullptr, *lblA = nullptr, *lblB = nullptr, *lblLines[3] = {};

const SCREEN_STRING kStrings[] = {{&strTitle, "title"}, {&strMade, nullptr}, {strLines, "", 3}};
const SCREEN_CONTROL kControls[] = {
    PictureRow(&picHidden, {0, 0, 800, 480}, nullptr, SCREEN_COMPONENT | SCREEN_UNPAINTED),
    StatusBarRow(&picBar),
    TitleRow(&lblTitle, nullptr, &strTitle),
    ButtonRow(100, 50, "a", &picA, &lblA, Handler, OtherHandler),
    TouchRow(&picB, {200, 60, 30, 40}, "b.bmp", &lblB, {190, 100, 50, 16}, "b", nullptr, Handler,
             OtherHandler),
    LinesRow(lblLines, 3, {10, 20, 100, 16}, 20),
};
const SCREEN kScreen = {
    &walkedWindow, {Handler, OtherHandler, nullptr, nullptr, Handler}, {}, Table(kStrings), Table(kControls)};

}  // namespace

class Walker : public Messages {};

TEST_F(Walker, CreatesListsAndRegistersInTheOrderOfTheTable) {
    strMade = TransString("made before");
    EXPECT_EQ(0, CreateScreen(kScreen, window_, 5, 7));
    EXPECT_EQ(window_, walkedWindow);
    std::vector<void*> components;
    for (const GUIOBJ* item = FirstObj(window_->pWndComps); item != nullptr;
         item = NextObj(item, window_->pWndComps))
        components.push_back(item->pObj);
    EXPECT_THAT(components, ElementsAre(window_, picHidden, picA, picB));

    const struct {
        int code;
        void* receiver;
    } expected[] = {{13, window_}, {14, window_}, {15, picA},   {16, picA},
                    {15, picB},    {16, picB},    {12, window_}};
    const GUIOBJ* item = FirstObj(message_->pMsgReg);
    for (const auto& one : expected) {
        ASSERT_NE(nullptr, item);
        const GUIMESSAGE_REG* reg = static_cast<const GUIMESSAGE_REG*>(item->pObj);
        EXPECT_EQ(one.code, reg->iMsgCode);
        EXPECT_EQ(one.receiver, reg->pRecvObj);
        item = NextObj(item, message_->pMsgReg);
    }
    EXPECT_EQ(nullptr, item);

    // Everything moves with the corner but the status bar.
    EXPECT_EQ(105u, picA->Visible.Area.Start.x);
    EXPECT_EQ(57u, picA->Visible.Area.Start.y);
    EXPECT_EQ(0u, picBar->Visible.Area.Start.x);
    EXPECT_EQ(110u, lblA->Visible.Area.Start.x);
    EXPECT_EQ(66u, lblA->Visible.Area.Start.y);
    EXPECT_EQ(GUILABEL_CENTRE, lblA->iLblAlign);
    EXPECT_EQ(7u + 20 + 40, lblLines[2]->Visible.Area.Start.y);
    EXPECT_EQ(nullptr, lblLines[0]->pLblText);

    EXPECT_EQ(0, DestroyScreen(kScreen));
    for (const void* left :
         std::initializer_list<const void*>{walkedWindow, strTitle, strMade, strLines[2], picBar, picHidden,
                                            picA, picB, lblTitle, lblA, lblB, lblLines[0], lblLines[2]})
        EXPECT_EQ(nullptr, left);
    EXPECT_EQ(0, window_->pWndComps->iCount);
    EXPECT_EQ(0, message_->pMsgReg->iCount);
}

TEST_F(Walker, WhatCannotBeMadeIsLeftOutButForWhatIsTouchedAndNothingIsLost) {
    const int runs = test::FailEachCall(
        [this] {
            CreateScreen(kScreen, window_);
            const bool heard = window_->pWndComps->iCount == 4 && message_->pMsgReg->iCount == 7;
            PaintScreen(kScreen);
            DestroyScreen(kScreen);
            return heard;
        },
        [this](const char* name, bool heard) {
            EXPECT_TRUE(heard) << name << ": a control is shown and does nothing";
            EXPECT_EQ(0, window_->pWndComps->iCount) << name;
            EXPECT_EQ(0, message_->pMsgReg->iCount) << name;
            EXPECT_EQ(nullptr, picA) << name;
        });
    EXPECT_GT(runs, 30);
}

// Nothing is tried again then, so that the end need not wait for memory.
TEST_F(Walker, AtTheEndOfTheProgramWhatCannotBeMadeIsLeftOut) {
    SetExitFlag(1);
    int heardLess = 0;
    test::FailEachCall(
        [this] {
            CreateScreen(kScreen, window_);
            const int parts = window_->pWndComps->iCount + message_->pMsgReg->iCount;
            PaintScreen(kScreen);
            DestroyScreen(kScreen);
            return parts == 4 + 7;
        },
        [&](const char* name, bool whole) {
            heardLess += whole ? 0 : 1;
            EXPECT_EQ(0, window_->pWndComps->iCount) << name;
            EXPECT_EQ(0, message_->pMsgReg->iCount) << name;
        });
    SetExitFlag(0);
    EXPECT_GT(heardLess, 10);
}

TEST_F(Walker, AMessageForNoControlOfTheScreenTouchesNone) {
    static const SCREEN_CONTROL* touched = nullptr;
    const MSGFUNC look = [](void*, int, void*, int) {
        touched = TouchedControl();
        return 0;
    };
    CreateScreen(kScreen, window_);
    EXPECT_EQ(nullptr, TouchedControl()) << "without a message";
    // What is registered for a press and a release, and who looks at the message.
    std::vector<MSGFUNC> handlers;
    for (const GUIOBJ* item = FirstObj(message_->pMsgReg); item != nullptr;
         item = NextObj(item, message_->pMsgReg)) {
        const GUIMESSAGE_REG* reg = static_cast<const GUIMESSAGE_REG*>(item->pObj);
        if (reg->pRecvObj == picB)
            handlers.push_back(reg->fnMsgFunc);
    }
    ASSERT_EQ(2u, handlers.size());
    handlers.push_back(look);
    int stranger = 0;
    for (void* receiver : std::initializer_list<void*>{picB, &stranger}) {
        for (const MSGFUNC handler : handlers) {
            ClearMessageReg(message_);
            ASSERT_EQ(0, LoginMessageReg(GUIMESSAGE_TCH_UP, receiver, handler, nullptr, 0, message_));
            GUIMESSAGE_ITEM* item = CreateMessageItem(GUIMESSAGE_TYP_WND, GUIMESSAGE_TCH_UP, 0, receiver);
            EXPECT_EQ(0, ExecMessageProc(item, message_));
            free(item);
        }
        EXPECT_EQ(receiver == picB ? kControls + 4 : nullptr, touched);
    }
    DestroyScreen(kScreen);
}

TEST(WalkerWithoutMessages, MakesAScreenThatHearsNothing) {
    ASSERT_EQ(nullptr, GetCurrMessage());
    GUIWINDOW* window = CreateWindow(0, 0, 800, 480, Nothing, Nothing, Nothing, Nothing, nullptr);
    EXPECT_EQ(0, CreateScreen(kScreen, window));
    EXPECT_EQ(4, window->pWndComps->iCount);
    EXPECT_EQ(0, DestroyScreen(kScreen));
    EXPECT_EQ(nullptr, picA);
    ClearWindowComp(window);
    DestroyWindow(&window);
}

// Its receiver may lie in memory where a control of the new screen lies.
TEST_F(Walker, InputForTheScreenBeforeIsDropped) {
    SendMsg_DisableLoop(window_);
    ASSERT_EQ(
        0, PostMessageItem(CreateMessageItem(GUIMESSAGE_TYP_WND, GUIMESSAGE_TCH_UP, 0, window_), message_));
    CreateScreen(kScreen, window_);
    EXPECT_EQ("2 11", Take());
    EXPECT_EQ("", Take());
    DestroyScreen(kScreen);
}

TEST_F(Walker, DestroyingAScreenThatWasNeverMadeDoesNothing) {
    EXPECT_EQ(0, DestroyScreen(kScreen));
    EXPECT_EQ(0, PaintScreen(kScreen));
    EXPECT_EQ(0, CreateScreen(kScreen, nullptr));
    EXPECT_EQ(nullptr, walkedWindow);
}
