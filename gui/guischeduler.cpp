#include "gui/guischeduler.h"

#include <errno.h>
#include <stdlib.h>

static const unsigned long SCHEDULER_START_MS = 100;
static const unsigned long SCHEDULER_POLL_MS = 50;
static const unsigned long WINDOW_POLL_MS = 20;

// The locks are usable before their Init functions too: a program whose start-up failed half-way still asks
// whether to end.
static GUIMUTEX mutexExitFlag = PTHREAD_MUTEX_INITIALIZER;
static int iExitFlag = 0;
static GUIMUTEX mutexThreadLock = PTHREAD_MUTEX_INITIALIZER;

// Windows handed to the scheduler, of GUIOBJ: those whose thread is to be joined, and those whose thread has
// ended (or never started) and that are freed once they are not current any more. Only the scheduler thread
// uses them, and ReleaseWindows after its end.
static GUILIST listStarted = {0, INT32_MAX, nullptr, nullptr};
static GUILIST listRetired = {0, INT32_MAX, nullptr, nullptr};

// ---- Exit flag and window-thread lock ----

int InitExitFlag() {
    if (InitMutex(&mutexExitFlag) != 0)
        return -1;
    return SetExitFlag(0);
}

int SetExitFlag(int iFlag) {
    MutexLock(&mutexExitFlag);
    iExitFlag = iFlag;
    return MutexUnlock(&mutexExitFlag);
}

int GetExitFlag() {
    MutexLock(&mutexExitFlag);
    const int iFlag = iExitFlag;
    MutexUnlock(&mutexExitFlag);
    return iFlag;
}

int JoinWorker(GUITHREAD* pThread) {
    constexpr unsigned POLL_MS = 20;
    if (pThread == nullptr)
        return -1;
    if (*pThread == GUITHREAD_NONE)
        return 0;
    while (GetExitFlag() != 1) {
        const int iResult = pthread_tryjoin_np(*pThread, nullptr);
        if (iResult != EBUSY) {
            *pThread = GUITHREAD_NONE;
            return iResult;
        }
        MsecSleep(POLL_MS);
    }
    return ThreadEnd(pThread);
}

int InitThreadLock() {
    return InitMutex(&mutexThreadLock) == 0 ? 0 : -1;
}

int LockWindowThread() {
    return MutexLock(&mutexThreadLock);
}

int UnlockWindowThread() {
    return MutexUnlock(&mutexThreadLock);
}

// ---- Scheduler ----

// The window's entry in either list; a window that is in none is added to the retired. Null if memory is
// short.
static GUIOBJ* TrackWindow(GUIWINDOW* pWndObj) {
    auto isWindow = [pWndObj](const void* pObj) { return pObj == pWndObj; };
    GUIOBJ* pItem = FindObj(&listStarted, isWindow);
    if (pItem == nullptr)
        pItem = FindObj(&listRetired, isWindow);
    if (pItem == nullptr && AppendObj(GUICOMP_WINDOW, sizeof(GUIWINDOW), pWndObj, &listRetired) == 0)
        pItem = reinterpret_cast<GUIOBJ*>(listRetired.pTail);
    return pItem;
}

// Starts the window's thread, unless it is running. A window whose thread cannot be started is left to
// DestroyRetired.
static void StartWindow(GUIWINDOW* pWndObj) {
    GUIOBJ* pItem = TrackWindow(pWndObj);
    if (pItem == nullptr) {
        DestroyWindow(&pWndObj);
        return;
    }
    if (pItem->List.pOwner == &listStarted)
        return;
    const THREADFUNC fnBody = pWndObj->fnWndThread != nullptr ? pWndObj->fnWndThread : DefaultWindowThread;
    GUITHREAD thread = GUITHREAD_NONE;
    if (ThreadCreate(&thread, fnBody, pWndObj) != 0)
        return;
    __atomic_store_n(&pWndObj->thdWndTid, thread, __ATOMIC_RELEASE);
    ListMove(&pItem->List, &listStarted);
}

// Waits for the window's thread, which has run its exit function, and retires the window.
static void FinishWindow(GUIWINDOW* pWndObj) {
    GUIOBJ* pItem = TrackWindow(pWndObj);
    if (pItem == nullptr)
        return;
    const GUITHREAD thread = __atomic_exchange_n(&pWndObj->thdWndTid, GUITHREAD_NONE, __ATOMIC_ACQ_REL);
    if (thread != GUITHREAD_NONE)
        ThreadJoin(thread, nullptr);
    ListMove(&pItem->List, &listRetired);
}

// Ends every window thread when the program ends, and retires the windows. All are woken by turns: one that
// is in a long wait for a device may hold the lock that the others wait for.
static void FinishWindows() {
    while (!ListEmpty(&listStarted)) {
        for (GUIOBJ *pItem = FirstObj(&listStarted), *pNext = nullptr; pItem != nullptr; pItem = pNext) {
            pNext = NextObj(pItem, &listStarted);
            GUIWINDOW* pWndObj = static_cast<GUIWINDOW*>(pItem->pObj);
            GUITHREAD thread = pWndObj->thdWndTid;
            if (ThreadTryEnd(&thread) == EBUSY)
                continue;
            __atomic_store_n(&pWndObj->thdWndTid, GUITHREAD_NONE, __ATOMIC_RELEASE);
            ListMove(&pItem->List, &listRetired);
        }
        if (!ListEmpty(&listStarted))
            MsecSleep(THREAD_WAKE_MS);
    }
}

// Frees the retired windows, but for the current one and those that still list components.
static void DestroyRetired() {
    for (GUIOBJ *pItem = FirstObj(&listRetired), *pNext = nullptr; pItem != nullptr; pItem = pNext) {
        pNext = NextObj(pItem, &listRetired);
        GUIWINDOW* pWndObj = static_cast<GUIWINDOW*>(pItem->pObj);
        if (GetCurrWindow() != pWndObj && DestroyWindow(&pWndObj) == 0)
            TakeObj(pItem, &listRetired);
    }
}

static void ScheduleMessage(const GUIMESSAGE_ITEM* pMsgItem) {
    GUIWINDOW* pWndObj = reinterpret_cast<GUIWINDOW*>(pMsgItem->uiMsgValue);
    switch (pMsgItem->iMsgCode) {
        case GUIMESSAGE_SCH_EXIT:
            SetExitFlag(1);
            break;
        case GUIMESSAGE_SCH_CALL:
            if (pWndObj != nullptr)
                StartWindow(pWndObj);
            break;
        case GUIMESSAGE_SCH_DONE:
            if (pWndObj != nullptr)
                FinishWindow(pWndObj);
            break;
    }
}

void* WindowSchedulerThread(void* pThreadArg) {
    GUIMESSAGE* pMsgObj = static_cast<GUIMESSAGE*>(pThreadArg);
    MsecSleep(SCHEDULER_START_MS);
    while (GetExitFlag() != 1) {
        GUIMESSAGE_ITEM* pMsgItem = TakeMessage(GUIMESSAGE_TYP_SCHED, pMsgObj);
        if (pMsgItem == nullptr) {
            MsecSleep(SCHEDULER_POLL_MS);
            continue;
        }
        ScheduleMessage(pMsgItem);
        free(pMsgItem);
        DestroyRetired();
    }
    FinishWindows();
    ThreadExit(nullptr);
}

void ReleaseWindows(GUIMESSAGE* pMsgObj) {
    GUIMESSAGE_ITEM* pMsgItem = nullptr;
    while ((pMsgItem = TakeMessage(GUIMESSAGE_TYP_SCHED, pMsgObj)) != nullptr) {
        // A window may be called twice: it is freed once.
        if (pMsgItem->iMsgCode == GUIMESSAGE_SCH_CALL && pMsgItem->uiMsgValue != 0)
            TrackWindow(reinterpret_cast<GUIWINDOW*>(pMsgItem->uiMsgValue));
        free(pMsgItem);
    }
    for (const GUIOBJ* pItem = FirstObj(&listRetired); pItem != nullptr;
         pItem = NextObj(pItem, &listRetired)) {
        GUIWINDOW* pWndObj = static_cast<GUIWINDOW*>(pItem->pObj);
        DropCurrWindow(pWndObj);
        ClearWindowComp(pWndObj);
    }
    DestroyRetired();
}

// ---- Window thread ----

struct WINDOW_RUN {
    bool bRun;          // until the exit function has run
    bool bLoop;         // the loop function is called
    bool bInitialised;  // the init function has run
};

static void PostWindow(int iMsgType, int iMsgCode, GUIWINDOW* pWndObj) {
    SendMessage(iMsgType, iMsgCode, reinterpret_cast<uintptr_t>(pWndObj));
}

static void InitWindow(GUIWINDOW* pWndObj, WINDOW_RUN* pRun) {
    if (pWndObj->fnWndInit == nullptr)
        return;
    pRun->bInitialised = true;
    pWndObj->fnWndInit(pWndObj);
    PostWindow(GUIMESSAGE_TYP_WND, GUIMESSAGE_WND_PAINT, pWndObj);
}

static void PaintWindow(GUIWINDOW* pWndObj) {
    if (pWndObj->fnWndPaint == nullptr)
        return;
    pWndObj->fnWndPaint(pWndObj);
    StoreVisibleFlag(&pWndObj->Visible.iFocus, 1);
    SetCurrWindow(pWndObj);
    PostWindow(GUIMESSAGE_TYP_WND, GUIMESSAGE_WND_LOOP, pWndObj);
}

static void LoopWindow(GUIWINDOW* pWndObj, const WINDOW_RUN* pRun) {
    if (pWndObj->fnWndLoop == nullptr || !pRun->bLoop)
        return;
    pWndObj->fnWndLoop(pWndObj);
    PostWindow(GUIMESSAGE_TYP_WND, GUIMESSAGE_WND_LOOP, pWndObj);
}

static void ExitWindow(GUIWINDOW* pWndObj, WINDOW_RUN* pRun) {
    if (pWndObj->fnWndExit == nullptr)
        return;
    pWndObj->fnWndExit(pWndObj);
    PostWindow(GUIMESSAGE_TYP_SCHED, GUIMESSAGE_SCH_DONE, pWndObj);
    pRun->bRun = false;
}

// Acts on a message for the running window, whatever window it names.
static void RunMessage(const GUIMESSAGE_ITEM* pMsgItem, GUIWINDOW* pWndObj, WINDOW_RUN* pRun) {
    switch (pMsgItem->iMsgCode) {
        case GUIMESSAGE_WND_INIT:
            InitWindow(pWndObj, pRun);
            break;
        case GUIMESSAGE_WND_PAINT:
            PaintWindow(pWndObj);
            break;
        case GUIMESSAGE_WND_LOOP:
            LoopWindow(pWndObj, pRun);
            break;
        case GUIMESSAGE_LOOP_ENABLE:
            PostWindow(GUIMESSAGE_TYP_WND, GUIMESSAGE_WND_LOOP, pWndObj);
            pRun->bLoop = true;
            break;
        case GUIMESSAGE_LOOP_DISABLE:
            pRun->bLoop = false;
            break;
        case GUIMESSAGE_WND_EXIT:
            ExitWindow(pWndObj, pRun);
            break;
        default:
            ExecMessageProc(pMsgItem, GetCurrMessage());
            break;
    }
}

void* DefaultWindowThread(void* pThreadArg) {
    GUIWINDOW* pWndObj = static_cast<GUIWINDOW*>(pThreadArg);
    if (pWndObj == nullptr)
        ThreadExit(nullptr);
    LockWindowThread();
    PostWindow(GUIMESSAGE_TYP_WND, GUIMESSAGE_WND_INIT, pWndObj);
    WINDOW_RUN run = {true, true, false};
    while (run.bRun && GetExitFlag() != 1) {
        GUIMESSAGE_ITEM* pMsgItem = TakeMessage(GUIMESSAGE_TYP_WND, GetCurrMessage());
        if (pMsgItem == nullptr) {
            MsecSleep(WINDOW_POLL_MS);
            continue;
        }
        RunMessage(pMsgItem, pWndObj, &run);
        free(pMsgItem);
    }
    // The program ends while the screen is up: the screen releases what it holds all the same.
    if (run.bRun && run.bInitialised)
        ExitWindow(pWndObj, &run);
    UnlockWindowThread();
    ThreadExit(nullptr);
}
