// The records of the touch panel, and which component the events are for. A stream (input_device.cpp): before
// each record a byte tells how its read comes out, 16 for a whole one.
#include "gui/guitouch.h"

#include <stdlib.h>
#include <string.h>

#include "gui/guievent.h"
#include "gui/guischeduler.h"
#include "gui/guiwindow.h"
#include "tests/fuzz/input_device.h"
#include "tests/gui/idle_functions.h"

using fuzz::Holds;

namespace {

constexpr int64_t kPace = 60000;  // from one move to the next, microseconds
constexpr unsigned kNowhere = 0xFFFFFFFF;

// Types of records.
constexpr uint16_t kSync = 0, kKey = 1, kAbsolute = 3;

// The decoder keeps the points of a frame, the press and the time of the last event from one input to the
// next. These records leave it as it starts: a release at time 0, five points in the corner, and once more.
struct Reset {
    struct Row {
        uint8_t outcome;
        uint8_t record[sizeof(GUITOUCH_RECORD)];
    };
    Row rows[19] = {};

    Reset() {
        Row* row = rows;
        Put(*row++, kKey, 330);
        Put(*row++, kSync, 0);
        for (int point = 0; point < 5; ++point) {
            Put(*row++, kAbsolute, 53);
            Put(*row++, kAbsolute, 54);
            Put(*row++, kSync, 2);
        }
        Put(*row++, kKey, 330);
        Put(*row++, kSync, 0);
    }
    static void Put(Row& row, uint16_t type, uint16_t code) {
        const GUITOUCH_RECORD record = {0, 0, type, code, 0};
        row.outcome = sizeof record;
        memcpy(row.record, &record, sizeof record);
    }
};

// What is there while the program runs: the queue, and the current window with two buttons, one partly on the
// other, and a disabled one.
struct Screen {
    GUIEVENT* event = CreateEvent(1, test::NoThread);
    GUIWINDOW* window =
        CreateWindow(0, 0, 800, 480, test::DoNothing, test::DoNothing, test::DoNothing, nullptr, nullptr);
    GUIVISIBLE buttons[3] = {{{{100, 100}, {300, 200}}, 1, 0, 0},
                             {{{250, 150}, {400, 300}}, 1, 0, 1},
                             {{{500, 100}, {700, 400}}, 0, 0, 2}};

    Screen() {
        InitCurrWindow();
        AddWindowComp(GUICOMP_WINDOW, sizeof *window, window, window);
        for (GUIVISIBLE& button : buttons)
            AddWindowComp(GUICOMP_PICTURE, sizeof button, &button, window);
        SetCurrWindow(window);
    }
};
const Screen screen;

void CheckReceiver(const GUIEVENT_ITEM& item) {
    const auto* receiver = static_cast<const GUIVISIBLE*>(MatchEventObject(&item));
    if (receiver == nullptr)
        return;
    const GUIPOINT at = {item.uiEventValue >> 16 & 0xFFF, item.uiEventValue & 0xFFF};
    const GUIRECTANGLE& area = receiver->Area;
    Holds(item.uiEventCode == GUIEVENT_TCH_DOWN || item.uiEventCode == GUIEVENT_TCH_UP,
          "only a press and a release are for a component");
    Holds(receiver->iEnable != 0 && at.x >= area.Start.x && at.x <= area.End.x && at.y >= area.Start.y &&
              at.y <= area.End.y,
          "the component is enabled and under the finger");
}

// What the events so far say of the next one.
struct History {
    unsigned press = kNowhere;
    int64_t last = 0;
};

void CheckEvent(const GUIEVENT_ITEM& item, const GUITOUCH& touch, const uint8_t* lastRecord,
                History& history) {
    GUITOUCH_RECORD record = {};
    memcpy(&record, lastRecord, sizeof record);
    const int64_t time = int64_t{record.uiSeconds} * 1000000 + record.uiMicroseconds;
    Holds(item.uiEventType == GUIEVENT_TYP_INPUT, "an event is one of input");
    Holds(item.uiEventValue == (touch.uiCursX << 16 | (touch.uiCursY & 0xFFFF)), "it is where the touch is");
    switch (item.uiEventCode) {
        case GUIEVENT_TCH_DOWN:
            history.press = item.uiEventValue;
            break;
        case GUIEVENT_TCH_UP:
            Holds(item.uiEventValue == history.press, "a release is reported where its press was");
            history.press = kNowhere;
            break;
        case GUIEVENT_TCH_MOVE:
        case GUIEVENT_TCH_TWO:
            Holds(time - history.last > kPace, "moves come at their pace");
            break;
        default:
            fuzz::Failed("an event of another kind");
    }
    history.last = time;
}

// Decodes what is left of the stream; `history`, unless null, is looked at.
void Decode(GUITOUCH* touch, const fuzz::InputDevice& device, History* history) {
    while (GetExitFlag() == 0) {
        const int result = CustomTouchFunc(touch);
        GUIEVENT_ITEM* item = ReadEventQueue(screen.event);
        Holds((result == 0) == (item != nullptr), "an event if and only if the result says so");
        Holds(result == 0 || result == -3 || (result == -1 && GetExitFlag() == 1),
              "else a record is refused");
        if (item != nullptr && history != nullptr) {
            CheckEvent(*item, *touch, device.LastRead(), *history);
            CheckReceiver(*item);
        }
        free(item);
    }
    SetExitFlag(0);
}

void Run(const uint8_t* bytes, size_t size) {
    static const Reset reset;
    SetCurrEvent(screen.event);
    fuzz::InputDevice device(fuzz::InputDevice::kStream, reinterpret_cast<const uint8_t*>(reset.rows),
                             sizeof reset.rows, [] { SetExitFlag(1); });
    GUITOUCH* touch = CreateTouch("touch", 1, test::NoThread);
    Decode(touch, device, nullptr);
    device.Feed(bytes, size);
    History history;
    Decode(touch, device, &history);
    Holds(DestroyTouch(&touch) == 0 && device.Open() == 0, "the device is closed");
}

const fuzz::Target target("touch", Run);

}  // namespace
