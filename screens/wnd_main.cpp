// The application's entry.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/time.h>

#include "device/common_opt.h"
#include "gui/guifbmap.h"
#include "gui/guiglobal.h"
#include "gui/guikeypad.h"
#include "gui/guischeduler.h"
#include "gui/guitouch.h"
#include "measure/common_opm.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_frmmainboard_fct.h"

constexpr unsigned long EXIT_POLL_MS = 100;

static int iEndRequested = 0;
static volatile sig_atomic_t iStartingUp = 0;

// A signal every ten milliseconds, or none.
static void WakeRepeatedly(bool bOn) {
    const struct timeval period = {0, bOn ? 10000 : 0};
    const struct itimerval timer = {period, period};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

// The signal itself ends the wait that the main thread is in; the hardware's start-up has more of them to
// come.
static void RequestEnd(int) {
    __atomic_store_n(&iEndRequested, 1, __ATOMIC_RELAXED);
    if (iStartingUp != 0)
        WakeRepeatedly(true);
}

static void WakeOnly(int) {}

// Without SA_RESTART, so that waits end at once. False, told on the console, if it cannot be done.
static bool Handle(int iSignal, void (*fnHandler)(int)) {
    struct sigaction action = {};
    action.sa_handler = fnHandler;
    sigemptyset(&action.sa_mask);
    if (sigaction(iSignal, &action, nullptr) == 0)
        return true;
    perror("sigaction");
    return false;
}

// OPMTestInit, with its waits cut short once the program has been told to end.
static int32_t StartHardware() {
    // Without its handler the alarm would end the program on the spot.
    iStartingUp = Handle(SIGALRM, WakeOnly) ? 1 : 0;
    Handle(SIGTERM, RequestEnd);
    Handle(SIGINT, RequestEnd);
    const int32_t iResult = OPMTestInit();
    iStartingUp = 0;
    WakeRepeatedly(false);
    return iResult;
}

// Without a device there is nothing to start.
static GUITHREAD StartThread(const char* pName, THREADFUNC fnBody, void* pDevice) {
    GUITHREAD thread = GUITHREAD_NONE;
    if (pDevice == nullptr || ThreadCreate(&thread, fnBody, pDevice) == 0)
        return thread;
    printf("create %s thread failed!\n", pName);
    return GUITHREAD_NONE;
}

// Calls the start screen, again while it cannot be had, and waits until the program is told to end.
static void RunUntilEnd() {
    bool bCalled = false;
    while (GetExitFlag() != 1) {
        bCalled = bCalled || CallScreen(FrmMain) == 0;
        if (__atomic_load_n(&iEndRequested, __ATOMIC_RELAXED) != 0)
            SetExitFlag(1);
        else
            MsecSleep(EXIT_POLL_MS);
    }
}

int main() {
    GUITHREAD thdFb = GUITHREAD_NONE;
    GUITHREAD thdKeypad = GUITHREAD_NONE;
    GUITHREAD thdTouch = GUITHREAD_NONE;
    // The console shows each line as it comes, also where it is a file.
    setvbuf(stdout, nullptr, _IOLBF, 0);

    printf("%s\n", StartHardware() != 0 ? "OPMTestInit failed" : "OPMTestInit ok");
    const int iGui = InitializeGUI();
    if (iGui != 0)
        printf("InitializeGUI failed: %d\n", iGui);
    thdFb = StartThread("framebuffer", DefaultFbThread, GetCurrFbmap());
    thdKeypad = StartThread("keypad", DefaultKeypadThread, GetCurrKeypad());
    thdTouch = StartThread("touch", DefaultTouchThread, GetCurrTouch());

    printf("Create window\n");
    RunUntilEnd();

    ThreadEnd(&thdTouch);
    ThreadEnd(&thdKeypad);
    ThreadEnd(&thdFb);
    ReleaseGUI();

    // What outlives the screens: only now are there no window threads, and no calibration of theirs, left to
    // use it.
    FrmMainBoardRelease();
    OPMTestEnd();
    free(pApd_Break_Para);
    pApd_Break_Para = nullptr;
    free(pScreenBmpBuff);
    pScreenBmpBuff = nullptr;
    return 0;
}
