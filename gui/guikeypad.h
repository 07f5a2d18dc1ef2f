// The keypad device: key presses, releases and knob steps, one 4-byte word each.
#pragma once

#include "gui/guibase.h"

// Key codes, as the keypad driver reports them.
enum {
    GUIKEY_MENU = 1,
    GUIKEY_F1 = 2,
    GUIKEY_F2 = 3,
    GUIKEY_F3 = 4,
    GUIKEY_F4 = 5,
    GUIKEY_F5 = 6,
    GUIKEY_ESC = 7,
    GUIKEY_FILE = 8,
    GUIKEY_SCALE = 9,
    GUIKEY_SETUP = 10,
    GUIKEY_UP = 11,
    GUIKEY_LEFT = 12,
    GUIKEY_ENTER = 13,
    GUIKEY_RIGHT = 14,
    GUIKEY_DOWN = 15,
    GUIKEY_REALT = 16,
    GUIKEY_KNOB = 17,  // knob pushed
    GUIKEY_AVG = 18,
};

struct GUIKEYPAD {
    int iDevFd;
    int iDevType;  // 2 for the keypad
    THREADFUNC fnKeypadThread;
};

// Opens the device read-write. Null when the name or thread function is null, memory is short or the open
// fails.
GUIKEYPAD* CreateKeypad(const char* strDevName, int iDevType, THREADFUNC fnKeypadThread);
// Closes the device, frees the object and nulls the caller's pointer; if it was current, none is afterwards.
// -1, -2 on a null argument or object; -3 if the close failed (freed all the same).
int DestroyKeypad(GUIKEYPAD** ppKeypadObj);

// The current keypad. -1 on null.
int SetCurrKeypad(GUIKEYPAD* pKeypadObj);
GUIKEYPAD* GetCurrKeypad();

// Reads one word and queues its event. -1 on null or a short read; -2 if memory is short; -3 if the event
// queue is full.
int CustomKeypadFunc(GUIKEYPAD* pKeypadObj);
// Body of the keypad thread; the argument is the GUIKEYPAD. ThreadEnd wakes it from a blocked read.
void* DefaultKeypadThread(void* pThreadArg);
