// The touch panel: input records of a (multi-)touch device, decoded into press, release, move and two-point
// events.
#pragma once

#include <stddef.h>

#include "gui/guibase.h"

struct GUITOUCH {
    int iDevFd;
    int iDevType;       // 1 for the touch panel
    unsigned uiHorRes;  // panel resolution; not filled by creation
    unsigned uiVerRes;
    unsigned uiCursX;  // current touch position, screen pixels
    unsigned uiCursY;
    THREADFUNC fnTouchThread;
    GUIMUTEX Mutex;  // held for the whole of one read-and-decode step
};

// One record as the panel's driver delivers it on the instrument, whatever machine this runs on.
struct GUITOUCH_RECORD {
    uint32_t uiSeconds;
    uint32_t uiMicroseconds;
    uint16_t usType;
    uint16_t usCode;
    int32_t iValue;
};

static_assert(sizeof(GUITOUCH_RECORD) == 16, "as the driver delivers it");
static_assert(offsetof(GUITOUCH_RECORD, usType) == 8, "as the driver delivers it");
static_assert(offsetof(GUITOUCH_RECORD, usCode) == 10, "as the driver delivers it");
static_assert(offsetof(GUITOUCH_RECORD, iValue) == 12, "as the driver delivers it");

// Opens the device read-write. Null when the name or thread function is null, memory is short, or the open or
// the mutex fails.
GUITOUCH* CreateTouch(const char* strDevName, int iDevType, THREADFUNC fnTouchThread);
// Closes the device, frees the object and nulls the caller's pointer; if it was current, none is afterwards.
// -1, -2 on a null argument or object; -3 if the close failed (freed all the same).
int DestroyTouch(GUITOUCH** ppTouchObj);

// The current touch device. -1 on null.
int SetCurrTouch(GUITOUCH* pTouchObj);
GUITOUCH* GetCurrTouch();

// Reads records until one event is complete and queues it. -1 on null or when the exit flag ends the wait for
// a record; -2 if memory is short; -3 on a record that has no meaning (the half-decoded event is dropped); -4
// if the event queue is full.
int CustomTouchFunc(GUITOUCH* pTouchObj);
// Centre of the last two-point touch, x in bits 16 and up, y in the low 16 bits. CustomTouchFunc writes it,
// under the object's mutex.
extern unsigned uiMTCenter;
// Body of the touch thread; the argument is the GUITOUCH. ThreadEnd wakes it from a blocked read.
void* DefaultTouchThread(void* pThreadArg);
