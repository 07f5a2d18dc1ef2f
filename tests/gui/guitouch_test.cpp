#include "gui/guitouch.h"

#include <gtest/gtest.h>

#include "gui/guievent.h"
#include "gui/guimessage.h"
#include "gui/guischeduler.h"
#include "gui/guiwindow.h"
#include "tests/gui/idle_functions.h"
#include "tests/gui/input_device.h"
#include "tests/support/failing_calls.h"

namespace {

// The decoder remembers when it last emitted an event, for the whole process: every test starts well after
// the last.
int64_t now = 1000000000;

class Touch : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(InitExitFlag(), 0);
        ASSERT_NE(touch, nullptr);
        ASSERT_EQ(SetCurrEvent(event), 0);
        now += 1000000;
    }
    void TearDown() override {
        EXPECT_EQ(DestroyTouch(&touch), 0);
        EXPECT_EQ(touch, nullptr);
        DestroyEvent(&event);
    }
    void Record(uint16_t type, uint16_t code, int32_t value) {
        const GUITOUCH_RECORD record = {static_cast<uint32_t>(now / 1000000),
                                        static_cast<uint32_t>(now % 1000000), type, code, value};
        device.Send(&record, sizeof(record));
    }
    void Point(int32_t x, int32_t y) {
        Record(3, 53, x);
        Record(3, 54, y);
        Record(0, 2, 0);
    }
    void Button(int32_t value) { Record(1, 330, value); }
    void Frame() { Record(0, 0, 0); }
    // Decodes one event and expects it to be this one.
    void ExpectEvent(unsigned code, unsigned x, unsigned y) {
        EXPECT_EQ(CustomTouchFunc(touch), 0);
        GUIEVENT_ITEM* item = ReadEventQueue(event);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->uiEventType, 1u);
        EXPECT_EQ(item->uiEventCode, code);
        EXPECT_EQ(item->uiEventValue >> 16, x);
        EXPECT_EQ(item->uiEventValue & 0xFFFF, y);
        free(item);
    }

    test::InputDevice device;
    GUITOUCH* touch = CreateTouch(device.Path(), 1, test::NoThread);
    GUIEVENT* event = CreateEvent(2, test::NoThread);
};

TEST_F(Touch, ReportsAPressWhereItIs) {
    Button(1);
    Point(799, 479);
    Frame();
    ExpectEvent(GUIEVENT_TCH_DOWN, 799, 479);
    EXPECT_EQ(touch->uiCursX, 799u);
    EXPECT_EQ(touch->uiCursY, 479u);
}

TEST_F(Touch, ReportsAReleaseWhereItBegan) {
    Button(1);
    Point(100, 200);
    Frame();
    ExpectEvent(GUIEVENT_TCH_DOWN, 100, 200);
    now += 70000;
    Point(300, 400);
    Frame();
    ExpectEvent(GUIEVENT_TCH_MOVE, 300, 400);
    Button(0);
    Frame();
    ExpectEvent(GUIEVENT_TCH_UP, 100, 200);
    EXPECT_EQ(touch->uiCursX, 100u);
    Button(0);
    Frame();
    ExpectEvent(GUIEVENT_TCH_UP, 0xFFFF, 0xFFFF);  // no press to go back to
}

TEST_F(Touch, ReleaseBesideAButtonReachesTheButtonPressed) {
    GUIVISIBLE button = {{{100, 200}, {150, 220}}, 1, 0, 0};
    GUIWINDOW* window =
        CreateWindow(0, 0, 800, 480, test::DoNothing, test::DoNothing, test::DoNothing, nullptr, nullptr);
    GUIMESSAGE* message = CreateMessage(2, 0);
    ASSERT_EQ(AddWindowComp(GUICOMP_WINDOW, sizeof(*window), window, window), 0);
    ASSERT_EQ(AddWindowComp(GUICOMP_PICTURE, sizeof(button), &button, window), 0);
    ASSERT_EQ(SetCurrWindow(window), 0);
    ASSERT_EQ(SetCurrMessage(message), 0);
    Button(1);
    Point(149, 219);
    Frame();
    Button(0);
    Point(400, 300);
    Frame();
    EXPECT_EQ(CustomTouchFunc(touch), 0);
    EXPECT_EQ(CustomTouchFunc(touch), 0);
    EXPECT_EQ(EventPacketFunc(event), -1);
    for (int code : {GUIMESSAGE_TCH_DOWN, GUIMESSAGE_TCH_UP}) {
        GUIMESSAGE_ITEM* item = ReadMessageQueue(message);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->iMsgCode, code);
        EXPECT_EQ(item->pRecvObj, &button);
        free(item);
    }
    ClearWindowComp(window);
    EXPECT_EQ(DestroyWindow(&window), 0);
    EXPECT_EQ(DestroyMessage(&message), 0);
}

TEST_F(Touch, TakesRelativeAxesAsPositions) {
    Button(1);
    Record(2, 0, 50);
    Record(2, 1, 60);
    Frame();
    ExpectEvent(GUIEVENT_TCH_DOWN, 50, 60);
}

TEST_F(Touch, ReportsMovesAtMostEvery60Milliseconds) {
    Button(1);
    Point(1, 1);
    Frame();
    ExpectEvent(GUIEVENT_TCH_DOWN, 1, 1);
    now += 60000;
    Point(2, 2);
    Frame();  // not more than 60000 us: read on
    now += 1;
    Point(3, 3);
    Frame();
    ExpectEvent(GUIEVENT_TCH_MOVE, 3, 3);
    EXPECT_EQ(ReadEventQueue(event), nullptr);
}

TEST_F(Touch, ReportsTheDistanceOfTwoPointsAndKeepsTheirCentre) {
    Point(500, 10);
    Point(200, 25);
    Frame();
    ExpectEvent(GUIEVENT_TCH_TWO, 300, 15);
    // Halves are rounded towards the second point.
    EXPECT_EQ(350u << 16 | 18, uiMTCenter);
    now += 70000;
    Point(200, 25);
    Point(500, 10);
    Frame();
    ExpectEvent(GUIEVENT_TCH_TWO, 300, 15);
    EXPECT_EQ(350u << 16 | 17, uiMTCenter);
}

TEST_F(Touch, ASecondPointTurnsAPressIntoATwoPointTouch) {
    Button(1);
    Point(5, 5);
    Point(8, 9);
    Frame();
    ExpectEvent(GUIEVENT_TCH_TWO, 3, 4);
    Point(5, 5);
    Point(8, 9);
    Button(1);
    Frame();
    ExpectEvent(GUIEVENT_TCH_DOWN, 8, 9);  // the last word counts
}

TEST_F(Touch, HoldsTwoPointTouchesBackToo) {
    Point(5, 5);
    Point(7, 9);
    Frame();
    ExpectEvent(GUIEVENT_TCH_TWO, 2, 4);
    now += 60000;
    Point(5, 5);
    Point(8, 9);
    Frame();
    now += 1;
    Point(5, 5);
    Point(9, 9);
    Frame();
    ExpectEvent(GUIEVENT_TCH_TWO, 4, 4);
    EXPECT_EQ(ReadEventQueue(event), nullptr);
}

TEST_F(Touch, DropsPointsBeyondTheFifth) {
    Point(100, 100);
    Point(130, 140);
    for (int32_t i = 2; i < 1000; ++i)
        Point(i, i);
    Frame();
    ExpectEvent(GUIEVENT_TCH_TWO, 30, 40);
    now += 70000;
    Point(11, 12);
    Frame();
    ExpectEvent(GUIEVENT_TCH_MOVE, 11, 12);
}

TEST_F(Touch, SkipsRecordsWithoutMeaning) {
    Button(1);
    Record(3, 48, 77);
    Record(4, 4, 1);
    Record(0, 3, 0);
    Record(21, 330, 1);
    Point(9, 8);
    Frame();
    ExpectEvent(GUIEVENT_TCH_DOWN, 9, 8);
}

TEST_F(Touch, RefusesOtherKeysAndRelativeAxes) {
    Record(1, 331, 1);
    EXPECT_EQ(CustomTouchFunc(touch), -3);
    Button(1);
    Record(2, 2, 1);
    EXPECT_EQ(CustomTouchFunc(touch), -3);
    EXPECT_EQ(ReadEventQueue(event), nullptr);
    Point(4, 4);
    Frame();
    ExpectEvent(GUIEVENT_TCH_MOVE, 4, 4);  // the half-decoded press is forgotten
}

TEST_F(Touch, PositionsDoNotSpillIntoEachOther) {
    Button(1);
    Point(5, -1);
    Frame();
    ExpectEvent(GUIEVENT_TCH_DOWN, 5, 0xFFFF);
}

TEST_F(Touch, ReadsAgainAfterAShortRead) {
    Button(1);
    Point(3, 4);
    Frame();
    test::FailingCalls failing(1);
    EXPECT_EQ(CustomTouchFunc(touch), 0);
    EXPECT_STREQ(failing.Failed(), "read");
    free(ReadEventQueue(event));
}

TEST_F(Touch, ReportsShortMemoryAndAFullQueue) {
    for (int call : {3, 4}) {  // after two reads
        Button(1);
        Frame();
        test::FailingCalls failing(call);
        EXPECT_EQ(CustomTouchFunc(touch), -2);
        EXPECT_STREQ(failing.Failed(), "malloc");
    }
    for (int expected : {0, 0, -4}) {
        Button(1);
        Frame();
        EXPECT_EQ(CustomTouchFunc(touch), expected);
    }
}

TEST_F(Touch, CreationRefusesBadArgumentsAndReleasesWhatItMade) {
    EXPECT_EQ(CreateTouch(nullptr, 1, test::NoThread), nullptr);
    EXPECT_EQ(CreateTouch(device.Path(), 1, nullptr), nullptr);
    EXPECT_EQ(CreateTouch("/nonexistent/event2", 1, test::NoThread), nullptr);
    const int before = test::FailingCalls::OpenDescriptors();
    for (int call : {1, 2, 3}) {
        test::FailingCalls failing(call);
        EXPECT_EQ(CreateTouch(device.Path(), 1, test::NoThread), nullptr);
    }
    EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
}

TEST_F(Touch, IsFreedEvenWhenTheCloseFails) {
    GUITOUCH* other = CreateTouch(device.Path(), 1, test::NoThread);
    ASSERT_NE(other, nullptr);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(DestroyTouch(&other), -3);
    }
    EXPECT_EQ(DestroyTouch(&other), -2);
    EXPECT_EQ(DestroyTouch(nullptr), -1);
}

TEST_F(Touch, DestroyingTheCurrentOneLeavesNone) {
    EXPECT_EQ(SetCurrTouch(touch), 0);
    EXPECT_EQ(SetCurrTouch(nullptr), -1);
    EXPECT_EQ(GetCurrTouch(), touch);
    EXPECT_EQ(DestroyTouch(&touch), 0);
    EXPECT_EQ(GetCurrTouch(), nullptr);
    touch = CreateTouch(device.Path(), 1, test::NoThread);
}

TEST_F(Touch, ThreadEndsWhileItWaitsForATouch) {
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, DefaultTouchThread, touch), 0);
    Button(1);
    Point(6, 7);
    Frame();
    EXPECT_EQ(test::AwaitEventValue(event), 6u << 16 | 7u);
    Button(0);  // a half-decoded event is dropped
    SetExitFlag(1);
    EXPECT_EQ(ThreadEnd(&thread), 0);
}

TEST_F(Touch, ThreadWithoutADeviceEndsToo) {
    EXPECT_EQ(CustomTouchFunc(nullptr), -1);
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, DefaultTouchThread, nullptr), 0);
    SetExitFlag(1);
    EXPECT_EQ(ThreadEnd(&thread), 0);
}

}  // namespace
