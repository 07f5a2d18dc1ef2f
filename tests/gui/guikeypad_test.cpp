#include "gui/guikeypad.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "gui/guievent.h"
#include "gui/guischeduler.h"
#include "tests/gui/idle_functions.h"
#include "tests/gui/input_device.h"
#include "tests/support/failing_calls.h"

namespace {

class Keypad : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(InitExitFlag(), 0);
        ASSERT_NE(keypad, nullptr);
        ASSERT_EQ(SetCurrEvent(event), 0);
    }
    void TearDown() override {
        EXPECT_EQ(DestroyKeypad(&keypad), 0);
        EXPECT_EQ(keypad, nullptr);
        DestroyEvent(&event);
    }
    void Send(uint32_t word) { device.Send(&word, sizeof(word)); }
    // Takes the oldest event and expects it to be this one.
    void ExpectEvent(unsigned code, unsigned value) {
        GUIEVENT_ITEM* item = ReadEventQueue(event);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->uiEventType, 1u);
        EXPECT_EQ(item->uiEventCode, code);
        EXPECT_EQ(item->uiEventValue, value);
        free(item);
    }

    test::InputDevice device;
    GUIKEYPAD* keypad = CreateKeypad(device.Path(), 2, test::NoThread);
    GUIEVENT* event = CreateEvent(2, test::NoThread);
};

TEST(KeyCodes, AreTheDriversNumbers) {
    const int keys[] = {GUIKEY_MENU,  GUIKEY_F1,    GUIKEY_F2,    GUIKEY_F3,    GUIKEY_F4,   GUIKEY_F5,
                        GUIKEY_ESC,   GUIKEY_FILE,  GUIKEY_SCALE, GUIKEY_SETUP, GUIKEY_UP,   GUIKEY_LEFT,
                        GUIKEY_ENTER, GUIKEY_RIGHT, GUIKEY_DOWN,  GUIKEY_REALT, GUIKEY_KNOB, GUIKEY_AVG};
    int code = 0;
    for (const int key : keys)
        EXPECT_EQ(++code, key);
    EXPECT_EQ(18, code);
}

TEST_F(Keypad, DecodesKeysAndKnob) {
    static const struct {
        uint32_t word;
        unsigned code;
        unsigned value;
    } ROWS[] = {
        {0x00010001, GUIEVENT_KEY_DOWN, GUIKEY_MENU},
        {0x00010101, GUIEVENT_KEY_UP, GUIKEY_MENU},
        {0x00080812, GUIEVENT_KEY_UP, GUIKEY_AVG},
        {0x000FF0FF, GUIEVENT_KEY_DOWN, 0xFF},  // bits 12 to 15 say nothing
        {0x0F010011, GUIEVENT_KEY_DOWN, GUIKEY_KNOB},
        {0x00000001, GUIEVENT_KNOB_CLOCK, 1},
        {0x00000F12, GUIEVENT_KNOB_CLOCK, 0x12},
        {0x01000001, GUIEVENT_KNOB_ANTI, 1},
        {0x0800FF03, GUIEVENT_KNOB_ANTI, 3},
        {0xF0F00002, GUIEVENT_KNOB_CLOCK, 2},  // bits 20 to 23 and 28 to 31 say nothing
    };
    for (const auto& row : ROWS) {
        Send(row.word);
        EXPECT_EQ(CustomKeypadFunc(keypad), 0);
        ExpectEvent(row.code, row.value);
    }
}

TEST_F(Keypad, ReportsAShortRead) {
    device.Send("ab", 2);
    EXPECT_EQ(CustomKeypadFunc(keypad), -1);
    EXPECT_EQ(CustomKeypadFunc(nullptr), -1);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(CustomKeypadFunc(keypad), -1);
        EXPECT_STREQ(failing.Failed(), "read");
    }
    EXPECT_EQ(ReadEventQueue(event), nullptr);
}

TEST_F(Keypad, ReportsShortMemoryAndAFullQueue) {
    Send(0x00010001);
    {
        test::FailingCalls failing(2);
        EXPECT_EQ(CustomKeypadFunc(keypad), -2);
    }
    Send(0x00010001);
    {
        test::FailingCalls failing(3);
        EXPECT_EQ(CustomKeypadFunc(keypad), -2);
    }
    for (int expected : {0, 0, -3}) {
        Send(0x00010001);
        EXPECT_EQ(CustomKeypadFunc(keypad), expected);
    }
    EXPECT_EQ(DestroyEvent(&event), -3);
    Send(0x00010001);
    EXPECT_EQ(CustomKeypadFunc(keypad), -3) << "no current event object";
}

TEST_F(Keypad, CreationRefusesBadArgumentsAndReleasesWhatItMade) {
    EXPECT_EQ(CreateKeypad(nullptr, 2, test::NoThread), nullptr);
    EXPECT_EQ(CreateKeypad(device.Path(), 2, nullptr), nullptr);
    EXPECT_EQ(CreateKeypad("/nonexistent/keyb0", 2, test::NoThread), nullptr);
    EXPECT_EQ(keypad->iDevType, 2);
    EXPECT_EQ(keypad->fnKeypadThread, test::NoThread);
    const int before = test::FailingCalls::OpenDescriptors();
    for (int call : {1, 2}) {
        test::FailingCalls failing(call);
        EXPECT_EQ(CreateKeypad(device.Path(), 2, test::NoThread), nullptr);
    }
    EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
}

TEST_F(Keypad, IsFreedEvenWhenTheCloseFails) {
    GUIKEYPAD* other = CreateKeypad(device.Path(), 2, test::NoThread);
    ASSERT_NE(other, nullptr);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(DestroyKeypad(&other), -3);
    }
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(DestroyKeypad(&other), -2);
    EXPECT_EQ(DestroyKeypad(nullptr), -1);
}

TEST_F(Keypad, DestroyingTheCurrentOneLeavesNone) {
    EXPECT_EQ(SetCurrKeypad(keypad), 0);
    EXPECT_EQ(SetCurrKeypad(nullptr), -1);
    EXPECT_EQ(GetCurrKeypad(), keypad);
    EXPECT_EQ(DestroyKeypad(&keypad), 0);
    EXPECT_EQ(GetCurrKeypad(), nullptr);
    keypad = CreateKeypad(device.Path(), 2, test::NoThread);
}

TEST_F(Keypad, ThreadEndsWhileItWaitsForAKey) {
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, DefaultKeypadThread, keypad), 0);
    Send(0x00010005);
    EXPECT_EQ(test::AwaitEventValue(event), 5u);
    SetExitFlag(1);
    EXPECT_EQ(ThreadEnd(&thread), 0);
}

TEST_F(Keypad, ThreadWithoutADeviceEndsToo) {
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, DefaultKeypadThread, nullptr), 0);
    SetExitFlag(1);
    EXPECT_EQ(ThreadEnd(&thread), 0);
}

}  // namespace
