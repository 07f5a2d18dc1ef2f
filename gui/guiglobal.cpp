#include "gui/guiglobal.h"

#include "gui/guibase.h"
#include "gui/guibrush.h"
#include "gui/guicolor.h"
#include "gui/guievent.h"
#include "gui/guifbmap.h"
#include "gui/guifont.h"
#include "gui/guikeypad.h"
#include "gui/guimessage.h"
#include "gui/guipalette.h"
#include "gui/guipen.h"
#include "gui/guischeduler.h"
#include "gui/guitouch.h"
#include "gui/guiwindow.h"

static const char FRAMEBUFFER_DEVICE[] = "/dev/fb0";
static const char KEYPAD_DEVICE[] = "/dev/keyb0";
static const char TOUCH_DEVICE[] = "/dev/event2";
static const char FONT_FILE[] = "/app/fct/font/unicode.fnt";

enum {
    TOUCH_TYPE = 1,
    KEYPAD_TYPE = 2,
    SCREEN_WIDTH = 800,
    SCREEN_HEIGHT = 480,
    QUEUE_LIMIT = 1000,  // messages, registrations and events
    PALETTE_LENGTH = 256,
    FONT_SIZE = 16,
};
static const COLOR COLOR_BLACK = 0x000000;
static const COLOR COLOR_WHITE = 0xFFFFFF;

static GUIFBMAP* pEnvFbmap = nullptr;
static GUIKEYPAD* pEnvKeypad = nullptr;
static GUITOUCH* pEnvTouch = nullptr;
static GUIEVENT* pEnvEvent = nullptr;
static GUIMESSAGE* pEnvMessage = nullptr;
static GUIPALETTE* pEnvPalette = nullptr;
static GUIPEN* pEnvPen = nullptr;
static GUIBRUSH* pEnvBrush = nullptr;
static GUIFONT* pEnvFont = nullptr;
static GUITHREAD thdScheduler = GUITHREAD_NONE;
static GUITHREAD thdEvent = GUITHREAD_NONE;

// ---- Start ----

// Makes the object current; false if it could not be created.
template <typename Object>
static bool MakeCurrent(Object* pObj, int (*fnSetCurr)(Object*)) {
    return pObj != nullptr && fnSetCurr(pObj) == 0;
}

static bool StartThread(GUITHREAD* pThread, THREADFUNC fnBody, void* pArg) {
    if (pArg != nullptr && ThreadCreate(pThread, fnBody, pArg) == 0)
        return true;
    *pThread = GUITHREAD_NONE;
    return false;
}

// Framebuffer, keypad and touch. 0 or -2; a missing framebuffer does not keep the others from being opened,
// and a missing keypad is no failure.
static int OpenDevices() {
    pEnvFbmap =
        CreateFbmap(FRAMEBUFFER_DEVICE, GUIFBMAP_DIRECT, SCREEN_WIDTH, SCREEN_HEIGHT, DefaultFbThread);
    const bool bFbmap = MakeCurrent(pEnvFbmap, SetCurrFbmap);
    pEnvKeypad = CreateKeypad(KEYPAD_DEVICE, KEYPAD_TYPE, DefaultKeypadThread);
    MakeCurrent(pEnvKeypad, SetCurrKeypad);
    pEnvTouch = CreateTouch(TOUCH_DEVICE, TOUCH_TYPE, DefaultTouchThread);
    const bool bTouch = MakeCurrent(pEnvTouch, SetCurrTouch);
    return bFbmap && bTouch ? 0 : -2;
}

// Event and message objects and the threads that work on them. 0 or -3; whatever can be had is made, except
// that the event thread is the last to be tried.
static int StartThreads() {
    pEnvEvent = CreateEvent(QUEUE_LIMIT, EventPacketThread);
    bool bReady = MakeCurrent(pEnvEvent, SetCurrEvent);
    pEnvMessage = CreateMessage(QUEUE_LIMIT, QUEUE_LIMIT);
    bReady &= MakeCurrent(pEnvMessage, SetCurrMessage);
    bReady &= InitThreadLock() == 0;
    bReady &= StartThread(&thdScheduler, WindowSchedulerThread, pEnvMessage);
    bReady &= InitCurrWindow() == 0;
    bReady &= StartThread(&thdEvent, EventPacketThread, pEnvEvent);
    return bReady ? 0 : -3;
}

// Palette, pen, brush and font. 0 or -4.
static int CreateDrawing() {
    pEnvPalette = CreatePalette(PALETTE_LENGTH);
    bool bReady = MakeCurrent(pEnvPalette, SetCurrPalette);
    pEnvPen = CreatePen(1, 1, COLOR_BLACK);
    bReady &= MakeCurrent(pEnvPen, SetCurrPen);
    pEnvBrush = CreateBrush(1);
    bReady &= MakeCurrent(pEnvBrush, SetCurrBrush);
    pEnvFont = CreateFont(FONT_FILE, FONT_SIZE, FONT_SIZE, COLOR_WHITE, COLOR_NONE);
    bReady &= MakeCurrent(pEnvFont, SetCurrFont);
    return bReady ? 0 : -4;
}

int InitializeGUI() {
    if (InitExitFlag() != 0)
        return -1;
    int iResult = OpenDevices();
    if (iResult == 0)
        iResult = StartThreads();
    if (iResult == 0)
        iResult = CreateDrawing();
    return iResult;
}

// ---- End ----

static int JoinThread(GUITHREAD* pThread) {
    if (*pThread == GUITHREAD_NONE)
        return -1;
    const int iResult = ThreadJoin(*pThread, nullptr);
    *pThread = GUITHREAD_NONE;
    return iResult;
}

static int ReleaseMessage() {
    if (pEnvMessage == nullptr)
        return -2;
    MutexLock(&pEnvMessage->Mutex);
    ClearMessageQueue(pEnvMessage);
    ClearMessageReg(pEnvMessage);
    MutexUnlock(&pEnvMessage->Mutex);
    return DestroyMessage(&pEnvMessage);
}

static int ReleaseEvent() {
    if (pEnvEvent == nullptr)
        return -2;
    MutexLock(&pEnvEvent->Mutex);
    ClearEventQueue(pEnvEvent);
    MutexUnlock(&pEnvEvent->Mutex);
    return DestroyEvent(&pEnvEvent);
}

int ReleaseGUI() {
    SetExitFlag(1);
    // The threads end first, since a screen may still be painting with the font and pen that are destroyed
    // below.
    bool bJoined = JoinThread(&thdEvent) == 0;
    bJoined &= JoinThread(&thdScheduler) == 0;
    ReleaseWindows(pEnvMessage);

    bool bDrawing = DestroyFont(&pEnvFont) == 0;
    bDrawing &= DestroyPen(&pEnvPen) == 0;
    bDrawing &= DestroyBrush(&pEnvBrush) == 0;
    DestroyPalette(&pEnvPalette);
    bool bQueues = ReleaseMessage() == 0;
    bQueues &= ReleaseEvent() == 0;
    const bool bTouch = DestroyTouch(&pEnvTouch) == 0;
    DestroyKeypad(&pEnvKeypad);
    const bool bFbmap = DestroyFbmap(&pEnvFbmap) == 0;

    if (!bDrawing)
        return -1;
    if (!bJoined || !bQueues)
        return -2;
    return bTouch && bFbmap ? 0 : -3;
}
