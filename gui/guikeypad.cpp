#include "gui/guikeypad.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include "gui/guievent.h"
#include "gui/guischeduler.h"

static const unsigned long KEYPAD_POLL_MS = 50;

// Fields of a keypad word.
static const uint32_t WORD_VALUE = 0x000000FF;      // key code, or steps of the knob
static const uint32_t WORD_RELEASED = 0x00000F00;   // of a key: any bit set when released
static const uint32_t WORD_KEY = 0x000F0000;        // any bit set for a key, none for the knob
static const uint32_t WORD_ANTICLOCK = 0x0F000000;  // of the knob: any bit set when turned anticlockwise

static GUIKEYPAD* pCurrKeypad = nullptr;

GUIKEYPAD* CreateKeypad(const char* strDevName, int iDevType, THREADFUNC fnKeypadThread) {
    if (strDevName == nullptr || fnKeypadThread == nullptr)
        return nullptr;
    GUIKEYPAD* pKeypadObj = static_cast<GUIKEYPAD*>(malloc(sizeof(GUIKEYPAD)));
    if (pKeypadObj == nullptr)
        return nullptr;
    *pKeypadObj = {open(strDevName, O_RDWR | O_CLOEXEC), iDevType, fnKeypadThread};
    if (pKeypadObj->iDevFd < 0) {
        free(pKeypadObj);
        return nullptr;
    }
    return pKeypadObj;
}

int DestroyKeypad(GUIKEYPAD** ppKeypadObj) {
    if (ppKeypadObj == nullptr)
        return -1;
    GUIKEYPAD* pKeypadObj = *ppKeypadObj;
    if (pKeypadObj == nullptr)
        return -2;
    DropCurr(&pCurrKeypad, pKeypadObj);
    const int iClosed = close(pKeypadObj->iDevFd);
    free(pKeypadObj);
    *ppKeypadObj = nullptr;
    return iClosed == 0 ? 0 : -3;
}

int SetCurrKeypad(GUIKEYPAD* pKeypadObj) {
    return StoreCurr(&pCurrKeypad, pKeypadObj);
}

GUIKEYPAD* GetCurrKeypad() {
    return LoadCurr(&pCurrKeypad);
}

static unsigned KeypadEventCode(uint32_t uiWord) {
    if ((uiWord & WORD_KEY) != 0)
        return (uiWord & WORD_RELEASED) != 0 ? GUIEVENT_KEY_UP : GUIEVENT_KEY_DOWN;
    return (uiWord & WORD_ANTICLOCK) != 0 ? GUIEVENT_KNOB_ANTI : GUIEVENT_KNOB_CLOCK;
}

int CustomKeypadFunc(GUIKEYPAD* pKeypadObj) {
    if (pKeypadObj == nullptr)
        return -1;
    uint32_t uiWord = 0;
    if (read(pKeypadObj->iDevFd, &uiWord, sizeof(uiWord)) != static_cast<ssize_t>(sizeof(uiWord)))
        return -1;
    switch (PostEvent(KeypadEventCode(uiWord), uiWord & WORD_VALUE)) {
        case 0:
            return 0;
        case -1:
            return -2;
        default:
            return -3;
    }
}

void* DefaultKeypadThread(void* pThreadArg) {
    GUIKEYPAD* pKeypadObj = static_cast<GUIKEYPAD*>(pThreadArg);
    while (GetExitFlag() != 1) {
        CustomKeypadFunc(pKeypadObj);
        MsecSleep(KEYPAD_POLL_MS);
    }
    ThreadExit(nullptr);
}
