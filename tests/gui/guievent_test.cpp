#include "gui/guievent.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "gui/guimessage.h"
#include "gui/guischeduler.h"
#include "gui/guiwindow.h"
#include "tests/gui/idle_functions.h"
#include "tests/support/failing_calls.h"

namespace {

GUIVISIBLE Visible(unsigned startX, unsigned startY, unsigned endX, unsigned endY, int layer = 0) {
    return {{{startX, startY}, {endX, endY}}, 1, 0, layer};
}

unsigned At(unsigned x, unsigned y) {
    return x << 16 | y;
}

class Event : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(InitExitFlag(), 0);
        ASSERT_EQ(InitCurrWindow(), 0);
        ASSERT_EQ(SetCurrEvent(event), 0);
        ASSERT_EQ(SetCurrMessage(message), 0);
        ASSERT_EQ(SetCurrWindow(window), 0);
        window->Visible.iFocus = 1;
        List(&window->Visible);
    }
    void TearDown() override {
        DropCurrWindow(window);
        ClearWindowComp(window);
        EXPECT_EQ(DestroyWindow(&window), 0);
        ClearMessageQueue(message);
        EXPECT_EQ(DestroyMessage(&message), 0);
        DestroyEvent(&event);
    }
    void List(GUIVISIBLE* component) {
        ASSERT_EQ(AddWindowComp(GUICOMP_PICTURE, sizeof(*component), component, window), 0);
    }
    void* Match(unsigned code, unsigned value) {
        const GUIEVENT_ITEM item = {1, code, value};
        return MatchEventObject(&item);
    }
    void* MatchTouch(unsigned x, unsigned y) {
        void* down = Match(GUIEVENT_TCH_DOWN, At(x, y));
        EXPECT_EQ(Match(GUIEVENT_TCH_UP, At(x, y)), down);
        return down;
    }
    // Takes the oldest message and expects it to be this one.
    void ExpectMessage(int code, uintptr_t value, void* receiver) {
        GUIMESSAGE_ITEM* item = ReadMessageQueue(message);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->iMsgType, 2);
        EXPECT_EQ(item->iMsgCode, code);
        EXPECT_EQ(item->uiMsgValue, value);
        EXPECT_EQ(item->iValueLength, 0);
        EXPECT_EQ(item->pRecvObj, receiver);
        free(item);
    }

    GUIEVENT* event = CreateEvent(10, test::NoThread);
    GUIMESSAGE* message = CreateMessage(8, 1);
    GUIWINDOW* window =
        CreateWindow(0, 0, 800, 480, test::DoNothing, test::DoNothing, test::DoNothing, nullptr, nullptr);
};

TEST(EventCodes, HaveTheirNumbers) {
    const int codes[] = {GUIEVENT_KEY_DOWN,   GUIEVENT_KEY_UP,    GUIEVENT_TCH_DOWN, GUIEVENT_TCH_UP,
                         GUIEVENT_KNOB_CLOCK, GUIEVENT_KNOB_ANTI, GUIEVENT_TCH_MOVE, GUIEVENT_TCH_TWO};
    int number = 0;
    for (const int code : codes)
        EXPECT_EQ(++number, code);
    EXPECT_EQ(8, number);
    EXPECT_EQ(1, GUIEVENT_TYP_INPUT);
}

TEST_F(Event, CreationReleasesWhatItMade) {
    EXPECT_EQ(CreateEvent(1, nullptr), nullptr);
    EXPECT_EQ(CreateEvent(-1, test::NoThread), nullptr);
    EXPECT_EQ(event->fnEventThread, test::NoThread);
    const int runs = test::FailEachCall(
        [] {
            GUIEVENT* made = CreateEvent(1, test::NoThread);
            const bool succeeded = made != nullptr;
            DestroyEvent(&made);
            return succeeded;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 3) << "record, list, mutex";
}

TEST_F(Event, DestroyFreesWhatIsLeftAndTells) {
    ASSERT_EQ(PostEvent(1, 1), 0);
    EXPECT_EQ(GetCurrEvent(), event);
    EXPECT_EQ(DestroyEvent(&event), -3);
    EXPECT_EQ(event, nullptr);
    EXPECT_EQ(GetCurrEvent(), nullptr);
    EXPECT_EQ(DestroyEvent(&event), -2);
    EXPECT_EQ(DestroyEvent(nullptr), -1);
    EXPECT_EQ(SetCurrEvent(nullptr), -1);
    EXPECT_EQ(PostEvent(1, 1), -2) << "no current event object";
    event = CreateEvent(1, test::NoThread);
    EXPECT_EQ(DestroyEvent(&event), 0);
}

TEST_F(Event, QueueIsFirstInFirstOutAndBounded) {
    GUIEVENT_ITEM item = {1, 1, 1};
    EXPECT_EQ(WriteEventQueue(nullptr, event), -1);
    EXPECT_EQ(WriteEventQueue(&item, nullptr), -1);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(WriteEventQueue(&item, event), -3);
    }
    for (unsigned i = 0; i < 10; ++i)
        EXPECT_EQ(PostEvent(1, i), 0);
    EXPECT_EQ(WriteEventQueue(&item, event), -2);
    EXPECT_EQ(PostEvent(1, 10), -2);
    GUIEVENT_ITEM* oldest = ReadEventQueue(event);
    ASSERT_NE(oldest, nullptr);
    EXPECT_EQ(oldest->uiEventValue, 0u);
    free(oldest);
    EXPECT_EQ(ClearEventQueue(event), 0);
    EXPECT_EQ(ReadEventQueue(event), nullptr);
    EXPECT_EQ(ReadEventQueue(nullptr), nullptr);
    EXPECT_EQ(ClearEventQueue(nullptr), -1);
    GUILIST* list = event->pEventQueue;
    event->pEventQueue = nullptr;
    EXPECT_EQ(WriteEventQueue(&item, event), -2);
    EXPECT_EQ(ClearEventQueue(event), -2);
    event->pEventQueue = list;
}

TEST_F(Event, KeysAndKnobGoToTheFocus) {
    GUIVISIBLE picture = Visible(0, 0, 799, 479, 1);
    List(&picture);
    for (unsigned code : {1u, 2u, 5u, 6u})
        EXPECT_EQ(Match(code, 3), window) << code;
    picture.iFocus = 1;
    EXPECT_EQ(Match(1, 3), &picture);
    picture.iEnable = 0;
    EXPECT_EQ(Match(1, 3), window);
    window->Visible.iFocus = 0;
    EXPECT_EQ(Match(1, 3), nullptr);
}

TEST_F(Event, TouchGoesToThePictureUnderItEdgesIncluded) {
    GUIVISIBLE picture = Visible(10, 20, 30, 40);
    List(&picture);
    EXPECT_EQ(MatchTouch(10, 20), &picture);
    EXPECT_EQ(MatchTouch(30, 40), &picture);
    EXPECT_EQ(MatchTouch(9, 20), window);
    EXPECT_EQ(MatchTouch(31, 40), window);
    EXPECT_EQ(MatchTouch(10, 19), window);
    EXPECT_EQ(MatchTouch(30, 41), window);
    EXPECT_EQ(MatchTouch(800, 0), nullptr);
    EXPECT_EQ(MatchTouch(0xFFFF, 0xFFFF), nullptr);
    picture.iEnable = 0;
    EXPECT_EQ(MatchTouch(10, 20), window) << "a disabled picture lets the touch through";
    GUIVISIBLE behind = Visible(0, 0, 50, 50);
    List(&behind);
    EXPECT_EQ(MatchTouch(10, 20), &behind);
}

TEST_F(Event, PositionUsesTwelveBitsAnAxis) {
    GUIVISIBLE picture = Visible(5, 6, 5, 6);
    List(&picture);
    EXPECT_EQ(MatchTouch(0xF005, 0xF006), &picture);
}

TEST_F(Event, InnerPictureWinsOverOuter) {
    GUIVISIBLE outer = Visible(100, 100, 200, 200);
    GUIVISIBLE inner = Visible(120, 120, 200, 200);
    GUIVISIBLE overlapping = Visible(150, 150, 250, 250);
    List(&outer);
    List(&inner);
    List(&overlapping);
    EXPECT_EQ(MatchTouch(110, 110), &outer);
    EXPECT_EQ(MatchTouch(130, 130), &inner);
    EXPECT_EQ(MatchTouch(160, 160), &inner) << "overlapping is not inside it";
    overlapping.iLayer = 1;
    EXPECT_EQ(MatchTouch(160, 160), &overlapping);
}

TEST_F(Event, LaterOfTwoIdenticalAreasWins) {
    GUIVISIBLE first = Visible(0, 0, 9, 9);
    GUIVISIBLE second = Visible(0, 0, 9, 9);
    List(&first);
    List(&second);
    EXPECT_EQ(MatchTouch(5, 5), &second);
    first.iLayer = 3;
    EXPECT_EQ(MatchTouch(5, 5), &second) << "an area inside the choice wins whatever its layer";
}

TEST_F(Event, NothingMatchesWithoutWindowListOrMessage) {
    EXPECT_EQ(MatchEventObject(nullptr), nullptr);
    for (unsigned code : {0u, 7u, 8u, 0xFFFFFFFFu})
        EXPECT_EQ(Match(code, 0), nullptr) << code;
    GUILIST* list = window->pWndComps;
    window->pWndComps = nullptr;
    EXPECT_EQ(Match(1, 1), nullptr);
    window->pWndComps = list;
    DropCurrWindow(window);
    EXPECT_EQ(Match(1, 1), nullptr);
    EXPECT_EQ(LockCurrWindow(), 0) << "the lock is free again";
    EXPECT_EQ(UnlockCurrWindow(), 0);
}

TEST_F(Event, PacksEveryEventUntilTheQueueIsEmpty) {
    GUIVISIBLE button = Visible(10, 10, 20, 20);
    List(&button);
    static const int CODES[] = {13, 14, 15, 16, 17, 18};
    for (unsigned code = 1; code <= 6; ++code)
        ASSERT_EQ(PostEvent(code, At(15, 16)), 0);
    EXPECT_EQ(EventPacketFunc(event), -1);
    for (int code : CODES) {
        const bool isTouch = code == 15 || code == 16;
        ExpectMessage(code, At(15, 16), isTouch ? static_cast<void*>(&button) : window);
    }
    EXPECT_EQ(ReadMessageQueue(message), nullptr);
    EXPECT_EQ(EventPacketFunc(nullptr), -1);
}

TEST_F(Event, UnmatchedEventIsDroppedAndTheRestWaits) {
    ASSERT_EQ(PostEvent(GUIEVENT_TCH_MOVE, At(1, 1)), 0);
    ASSERT_EQ(PostEvent(GUIEVENT_KEY_DOWN, 9), 0);
    EXPECT_EQ(EventPacketFunc(event), -3);
    EXPECT_EQ(ReadMessageQueue(message), nullptr);
    EXPECT_EQ(EventPacketFunc(event), -1);
    ExpectMessage(13, 9, window);
}

TEST_F(Event, KeysWithoutACurrentWindowAreDropped) {
    DropCurrWindow(window);
    ASSERT_EQ(PostEvent(GUIEVENT_KEY_DOWN, 1), 0);
    EXPECT_EQ(EventPacketFunc(event), -3);
    EXPECT_EQ(EventPacketFunc(event), -1);
}

TEST_F(Event, PackingReportsEachFailureAndKeepsNothing) {
    ASSERT_EQ(PostEvent(1, 1), 0);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(EventPacketFunc(event), -2);
    }
    for (int i = 0; i < 9; ++i)
        ASSERT_EQ(PostEvent(1, 1), 0);
    EXPECT_EQ(EventPacketFunc(event), -5) << "room for eight messages";
    EXPECT_EQ(EventPacketFunc(event), -1);
    ClearMessageQueue(message);
    EXPECT_EQ(DestroyMessage(&message), 0);
    ASSERT_EQ(PostEvent(1, 1), 0);
    EXPECT_EQ(EventPacketFunc(event), -4);
    message = CreateMessage(1, 1);
}

void* PackEvents(void* eventObject) {
    EventPacketFunc(static_cast<GUIEVENT*>(eventObject));
    return nullptr;
}

// Between the choice of the receiver and the post the screen must not change: another control may lie at the
// receiver's address then.
TEST_F(Event, TheWindowIsHeldUntilItsMessageIsPosted) {
    MutexLock(&message->Mutex);  // keeps the message from being posted
    ASSERT_EQ(PostEvent(GUIEVENT_TCH_DOWN, At(10, 10)), 0);
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, PackEvents, event), 0);
    bool held = false;
    for (int i = 0; i < 2000 && !held; ++i) {
        MsecSleep(1);
        MutexLock(&event->Mutex);
        const bool chosen = ListEmpty(event->pEventQueue);
        MutexUnlock(&event->Mutex);
        held = chosen && MutexTrylock(&window->Mutex) == EBUSY;
        if (chosen && !held)
            MutexUnlock(&window->Mutex);
    }
    EXPECT_TRUE(held);
    MutexUnlock(&message->Mutex);
    ThreadJoin(thread, nullptr);
    ExpectMessage(GUIMESSAGE_TCH_DOWN, At(10, 10), &window->Visible);
}

TEST_F(Event, ThreadDeliversUntilTheProgramEnds) {
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, EventPacketThread, event), 0);
    ASSERT_EQ(PostEvent(GUIEVENT_KNOB_CLOCK, 1), 0);
    GUIMESSAGE_ITEM* item = nullptr;
    for (int i = 0; i < 10000 && item == nullptr; ++i) {
        MsecSleep(1);
        item = TakeMessage(2, message);
    }
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->iMsgCode, 17);
    free(item);
    SetExitFlag(1);
    EXPECT_EQ(ThreadJoin(thread, nullptr), 0);
}

}  // namespace
