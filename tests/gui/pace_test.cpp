// How often each thread of the toolkit looks, as it asks for its pauses.
#include <gtest/gtest.h>
#include <sched.h>

#include <vector>

#include "gui/guievent.h"
#include "gui/guifbmap.h"
#include "gui/guikeypad.h"
#include "gui/guimessage.h"
#include "gui/guischeduler.h"
#include "gui/guitouch.h"
#include "gui/guiwindow.h"
#include "tests/gui/idle_functions.h"
#include "tests/gui/input_device.h"
#include "tests/gui/pauses.h"

namespace {

class Pace : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, InitExitFlag());
        ASSERT_EQ(0, InitThreadLock());
        ASSERT_EQ(0, SetCurrMessage(messages_));
        ASSERT_EQ(0, SetCurrEvent(events_));
    }
    void TearDown() override {
        ClearMessageQueue(messages_);
        DestroyMessage(&messages_);
        DestroyEvent(&events_);
    }

    // The first pauses of a thread, which is then ended.
    static std::vector<long> PausesOf(THREADFUNC body, void* argument, size_t count) {
        const test::Pauses pauses;
        SetExitFlag(0);
        GUITHREAD thread = GUITHREAD_NONE;
        EXPECT_EQ(0, ThreadCreate(&thread, body, argument));
        while (pauses.Of().size() < count)
            MsecSleep(1);
        SetExitFlag(1);
        EXPECT_EQ(0, ThreadEnd(&thread));
        std::vector<long> first = pauses.Of();
        first.resize(count);
        return first;
    }

    GUIMESSAGE* messages_ = CreateMessage(10, 10);
    GUIEVENT* events_ = CreateEvent(10, test::NoThread);
};

}  // namespace

TEST_F(Pace, OfTheThreadsThatLookForWork) {
    const std::vector<long> after100 = {100, 50, 50}, every50 = {50, 50, 50}, every20 = {20, 20, 20};
    EXPECT_EQ(after100, PausesOf(WindowSchedulerThread, messages_, 3));
    EXPECT_EQ(after100, PausesOf(EventPacketThread, events_, 3));
    EXPECT_EQ(every50, PausesOf(DefaultFbThread, nullptr, 3));
    GUIWINDOW* window =
        CreateWindow(0, 0, 1, 1, test::DoNothing, test::DoNothing, test::DoNothing, nullptr, nullptr);
    EXPECT_EQ(every20, PausesOf(DefaultWindowThread, window, 3));
    DropCurrWindow(window);
    DestroyWindow(&window);
}

TEST_F(Pace, OfOneThatWaitsForTheEndOfAnother) {
    const std::vector<long> every10 = {10, 10, 10};
    GUITHREAD busy = GUITHREAD_NONE;
    const THREADFUNC untilTheEnd = [](void*) -> void* {
        while (GetExitFlag() != 1)
            sched_yield();
        return nullptr;
    };
    ASSERT_EQ(0, ThreadCreate(&busy, untilTheEnd, nullptr));
    const THREADFUNC endOther = [](void* other) -> void* {
        ThreadEnd(static_cast<GUITHREAD*>(other));
        return nullptr;
    };
    EXPECT_EQ(every10, PausesOf(endOther, &busy, 3));
    EXPECT_EQ(GUITHREAD_NONE, busy);
}

TEST_F(Pace, OfTheReadersOfADeviceThatGivesTooLittle) {
    const std::vector<long> every50 = {50, 50, 50};
    // At its end at once, so that every read is short: for the touch reader within an event, for the keypad
    // after it.
    GUIKEYPAD* keypad = CreateKeypad("/dev/null", 2, test::NoThread);
    EXPECT_EQ(every50, PausesOf(DefaultKeypadThread, keypad, 3));
    DestroyKeypad(&keypad);
    GUITOUCH* touch = CreateTouch("/dev/null", 1, test::NoThread);
    EXPECT_EQ(every50, PausesOf(DefaultTouchThread, touch, 3));
    DestroyTouch(&touch);
}

TEST_F(Pace, OfTheTouchReaderBetweenTwoEvents) {
    const test::InputDevice device;
    GUITOUCH* touch = CreateTouch(device.Path(), 1, test::NoThread);
    // Events that are refused: another key than the touch.
    for (int i = 0; i < 3; ++i) {
        const GUITOUCH_RECORD record = {0, 0, 1, 5, 1};
        device.Send(&record, sizeof(record));
    }
    EXPECT_EQ((std::vector<long>{50, 50, 50}), PausesOf(DefaultTouchThread, touch, 3));
    DestroyTouch(&touch);
}

TEST_F(Pace, OfOneThatWaitsForAWorker) {
    static GUITHREAD worker;
    static int end;
    end = 0;
    SetExitFlag(0);
    ASSERT_EQ(0, ThreadCreate(
                     &worker,
                     [](void*) -> void* {
                         while (__atomic_load_n(&end, __ATOMIC_ACQUIRE) == 0)
                             sched_yield();
                         return nullptr;
                     },
                     nullptr));
    const test::Pauses pauses;
    GUITHREAD waiting = GUITHREAD_NONE;
    ASSERT_EQ(0, ThreadCreate(
                     &waiting,
                     [](void*) -> void* {
                         EXPECT_EQ(0, JoinWorker(&worker));
                         return nullptr;
                     },
                     nullptr));
    while (pauses.Of().size() < 3)
        MsecSleep(1);
    __atomic_store_n(&end, 1, __ATOMIC_RELEASE);
    EXPECT_EQ(0, ThreadJoin(waiting, nullptr));
    EXPECT_EQ(20, pauses.Of()[0]);
    EXPECT_EQ(20, pauses.Of()[2]);
}

TEST_F(Pace, OfASleep) {
    const test::Pauses pauses;
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(0, ThreadCreate(
                     &thread,
                     [](void*) -> void* {
                         for (const unsigned long milliseconds : {0UL, 1UL, 999UL, 1000UL, 2001UL})
                             EXPECT_EQ(0, MsecSleep(milliseconds));
                         return nullptr;
                     },
                     nullptr));
    EXPECT_EQ(0, ThreadJoin(thread, nullptr));
    EXPECT_EQ((std::vector<long>{0, 1, 999, 1000, 2001}), pauses.Of());
}
