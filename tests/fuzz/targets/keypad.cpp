// The words of the keypad, and a queue that is full at times. A stream (input_device.cpp): before each word a
// byte tells how its read comes out, 4 for a whole one.
#include "gui/guikeypad.h"

#include <stdlib.h>
#include <string.h>

#include "gui/guievent.h"
#include "tests/fuzz/input_device.h"
#include "tests/gui/idle_functions.h"

using fuzz::Holds;

namespace {

constexpr int kRoom = 4;  // events

// What the queue must hold.
struct Expected {
    uint32_t words[kRoom];
    int count;
};

void CheckEvent(const GUIEVENT_ITEM& item, uint32_t word) {
    const bool isKey = item.uiEventCode == GUIEVENT_KEY_DOWN || item.uiEventCode == GUIEVENT_KEY_UP;
    const bool isKnob = item.uiEventCode == GUIEVENT_KNOB_CLOCK || item.uiEventCode == GUIEVENT_KNOB_ANTI;
    Holds(item.uiEventType == GUIEVENT_TYP_INPUT, "an event is one of input");
    Holds((word & 0x000F0000) != 0 ? isKey : isKnob, "a key's word is a key's event");
    Holds(item.uiEventValue == (word & 0xFF), "the value is the word's low byte");
}

void Drain(GUIEVENT* event, Expected& expected) {
    for (int i = 0; i < expected.count; ++i) {
        GUIEVENT_ITEM* item = ReadEventQueue(event);
        Holds(item != nullptr, "an event for each word");
        if (item != nullptr)
            CheckEvent(*item, expected.words[i]);
        free(item);
    }
    Holds(ReadEventQueue(event) == nullptr, "no event without a word");
    expected.count = 0;
}

void Run(const uint8_t* bytes, size_t size) {
    fuzz::InputDevice device(fuzz::InputDevice::kStream, bytes, size);
    GUIEVENT* event = CreateEvent(kRoom, test::NoThread);
    SetCurrEvent(event);
    GUIKEYPAD* keypad = CreateKeypad("keypad", 2, test::NoThread);
    Expected expected = {};
    while (!device.AtEnd()) {
        const int result = CustomKeypadFunc(keypad);
        const bool whole = device.LastCount() == 4;
        Holds(result == (!whole ? -1 : expected.count < kRoom ? 0 : -3), "each whole word is queued");
        if (result == 0)
            memcpy(&expected.words[expected.count++], device.LastRead(), 4);
        else if (result == -3)
            Drain(event, expected);
    }
    Drain(event, expected);
    Holds(DestroyKeypad(&keypad) == 0 && device.Open() == 0, "the device is closed");
    DestroyEvent(&event);
}

const fuzz::Target target("keypad", Run);

}  // namespace
