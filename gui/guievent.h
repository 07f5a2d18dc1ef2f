// The event queue, filled by the keypad and touch threads, and the event thread, which finds the component
// that an event is for and posts a message for it.
//
// The queue functions do not lock: the caller holds the object's mutex around them.
#pragma once

#include "gui/guibase.h"
#include "gui/guiobj.h"

enum {
    GUIEVENT_TYP_INPUT = 1,  // the only event type
};

enum {
    GUIEVENT_KEY_DOWN = 1,  // value: key code
    GUIEVENT_KEY_UP = 2,
    GUIEVENT_TCH_DOWN = 3,  // value: position, x in bits 16 and up, y in the low 16 bits
    GUIEVENT_TCH_UP = 4,
    GUIEVENT_KNOB_CLOCK = 5,  // value: key code
    GUIEVENT_KNOB_ANTI = 6,
    GUIEVENT_TCH_MOVE = 7,
    GUIEVENT_TCH_TWO = 8,  // two points; value: their distance on each axis
};

// One event, allocated by a reader thread, freed by the event thread.
struct GUIEVENT_ITEM {
    unsigned uiEventType;
    unsigned uiEventCode;
    unsigned uiEventValue;
};

struct GUIEVENT {
    GUILIST* pEventQueue;  // of GUIOBJ -> GUIEVENT_ITEM
    THREADFUNC fnEventThread;
    GUIMUTEX Mutex;  // guards the queue
};

// New event object with room for iQueueLimit events; null when fnEventThread is null or on failure.
GUIEVENT* CreateEvent(int iQueueLimit, THREADFUNC fnEventThread);
// Frees the object with the events it holds and nulls the caller's pointer; if it was current, none is
// afterwards. -1, -2 on a null argument or object; -3 if the queue still held events.
int DestroyEvent(GUIEVENT** ppEventObj);

// The current event object. -1 on null.
int SetCurrEvent(GUIEVENT* pEventObj);
GUIEVENT* GetCurrEvent();

// Appends; the queue owns the event on success. -1 on null; -2 if the queue is missing or full; -3 if memory
// is short; -4 if the append fails.
int WriteEventQueue(GUIEVENT_ITEM* pEventItem, GUIEVENT* pEventObj);
// Takes out the oldest event; null if there is none. The caller frees it.
GUIEVENT_ITEM* ReadEventQueue(GUIEVENT* pEventObj);
// Frees every event. -1 on null; -2 if the queue is missing; -3 if unlinking fails.
int ClearEventQueue(GUIEVENT* pEventObj);
// Appends a new event to the current event object, under its mutex. -1 if memory is short; -2 if the queue
// refuses it (the event is freed) or there is no current event object.
int PostEvent(unsigned uiEventCode, unsigned uiEventValue);

// Component of the current window that the event is for, or null. Keys and knob go to the component with the
// focus, a touch to the innermost or highest enabled component under it.
void* MatchEventObject(const GUIEVENT_ITEM* pEventItem);
// Turns queued events into messages until the queue is empty (-1) or a step fails, the event being dropped:
// -2 short memory; -3 no component; -4 no current message object; -5 the message queue is full.
int EventPacketFunc(GUIEVENT* pEventObj);
// Body of the event thread; the argument is the GUIEVENT.
void* EventPacketThread(void* pThreadArg);
