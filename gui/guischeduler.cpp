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

// Windows handed to the scheduler, by their GUIOBJ: those that are called and wait for a thread, those whose
// thread is to be joined, and those whose thread has ended (or never started) and that are freed once they
// are not current any more. Only the scheduler thread uses them, and ReleaseWindows after its end.
static GUILIST listCalled = {0, INT32_MAX, nullptr, nullptr};
static GUILIST listStarted = {0, INT32_MAX, nullptr, nullptr};
static GUILIST listRetired = {0, INT32_MAX, nullptr, nullptr};

// Window that is to follow the running one as soon as all that the change needs can be had; guarded by the
// message mutex.
static GUIWINDOW* pKeptWindow = nullptr;

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

static void MoveTo(GUILIST* pList, GUIWINDOW* pWndObj) {
    GUILIST_ITEM* pItem = &pWndObj->Called.List;
    if (pItem->pOwner == nullptr)
        ListAdd(pItem, pList);
    else
        ListMove(pItem, pList);
}

// POSIX result; 0 for a window that has its thread already.
static int StartThread(GUIWINDOW* pWndObj) {
    if (__atomic_load_n(&pWndObj->thdWndTid, __ATOMIC_ACQUIRE) != GUITHREAD_NONE)
        return 0;
    const THREADFUNC fnBody = pWndObj->fnWndThread != nullptr ? pWndObj->fnWndThread : DefaultWindowThread;
    GUITHREAD thread = GUITHREAD_NONE;
    const int iResult = ThreadCreate(&thread, fnBody, pWndObj);
    if (iResult == 0)
        __atomic_store_n(&pWndObj->thdWndTid, thread, __ATOMIC_RELEASE);
    return iResult;
}

// Starts the threads of the called windows; one that cannot be had now is tried again at the next look.
static void StartCalled() {
    for (GUIOBJ *pItem = FirstObj(&listCalled), *pNext = nullptr; pItem != nullptr; pItem = pNext) {
        pNext = NextObj(pItem, &listCalled);
        GUIWINDOW* pWndObj = static_cast<GUIWINDOW*>(pItem->pObj);
        if (StartThread(pWndObj) == 0)
            MoveTo(&listStarted, pWndObj);
    }
}

// Waits for the window's thread, which has run its exit function, and retires the window.
static void FinishWindow(GUIWINDOW* pWndObj) {
    const GUITHREAD thread = __atomic_exchange_n(&pWndObj->thdWndTid, GUITHREAD_NONE, __ATOMIC_ACQ_REL);
    if (thread != GUITHREAD_NONE)
        ThreadJoin(thread, nullptr);
    MoveTo(&listRetired, pWndObj);
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
            MoveTo(&listRetired, pWndObj);
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
        if (GetCurrWindow() == pWndObj || !ListEmpty(pWndObj->pWndComps))
            continue;
        ListDel(&pItem->List, &listRetired);
        DestroyWindow(&pWndObj);
    }
}

static void ScheduleMessage(const GUIMESSAGE_ITEM* pMsgItem) {
    GUIWINDOW* pWndObj = reinterpret_cast<GUIWINDOW*>(pMsgItem->uiMsgValue);
    switch (pMsgItem->iMsgCode) {
        case GUIMESSAGE_SCH_EXIT:
            SetExitFlag(1);
            break;
        case GUIMESSAGE_SCH_CALL:
            if (pWndObj != nullptr && pWndObj->Called.List.pOwner != &listStarted)
                MoveTo(&listCalled, pWndObj);
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
        if (pMsgItem != nullptr)
            ScheduleMessage(pMsgItem);
        StartCalled();
        DestroyRetired();
        if (pMsgItem == nullptr)
            MsecSleep(SCHEDULER_POLL_MS);
        free(pMsgItem);
    }
    FinishWindows();
    ThreadExit(nullptr);
}

// A window that the scheduler did not come to: its thread, if it has one, is ended.
static void RetireUnstarted(GUIWINDOW* pWndObj) {
    ThreadEnd(&pWndObj->thdWndTid);
    MoveTo(&listRetired, pWndObj);
}

void ReleaseWindows(GUIMESSAGE* pMsgObj) {
    GUIMESSAGE_ITEM* pMsgItem = nullptr;
    while ((pMsgItem = TakeMessage(GUIMESSAGE_TYP_SCHED, pMsgObj)) != nullptr) {
        if (pMsgItem->iMsgCode == GUIMESSAGE_SCH_CALL && pMsgItem->uiMsgValue != 0)
            RetireUnstarted(reinterpret_cast<GUIWINDOW*>(pMsgItem->uiMsgValue));
        free(pMsgItem);
    }
    while (!ListEmpty(&listCalled))
        RetireUnstarted(static_cast<GUIWINDOW*>(FirstObj(&listCalled)->pObj));
    for (const GUIOBJ* pItem = FirstObj(&listRetired); pItem != nullptr;
         pItem = NextObj(pItem, &listRetired)) {
        GUIWINDOW* pWndObj = static_cast<GUIWINDOW*>(pItem->pObj);
        DropCurrWindow(pWndObj);
        ClearWindowComp(pWndObj);
    }
    DestroyRetired();
}

// ---- Change of windows ----

// The exit of one window and the call of the next, with its thread, or nothing; the caller holds the message
// mutex. From here on no handler of the window that ends is called.
static int TryChange(GUIWINDOW* pCurrent, GUIWINDOW* pNext, GUIMESSAGE* pMsgObj) {
    GUILIST listMessages = {0, INT32_MAX, nullptr, nullptr};
    int iResult = PrepareMessage(GUIMESSAGE_TYP_WND, GUIMESSAGE_WND_EXIT,
                                 reinterpret_cast<uintptr_t>(pCurrent), &listMessages);
    if (iResult == 0)
        iResult = PrepareMessage(GUIMESSAGE_TYP_SCHED, GUIMESSAGE_SCH_CALL,
                                 reinterpret_cast<uintptr_t>(pNext), &listMessages);
    // The thread is the last to be had: it cannot be given back.
    const GUILIST* pQueue = pMsgObj->pMsgQueue;
    if (iResult == 0 && pQueue->iLimit - pQueue->iCount < listMessages.iCount)
        iResult = -2;
    if (iResult == 0 && StartThread(pNext) != 0)
        iResult = -4;
    if (iResult == 0) {
        ListSplice(&listMessages, pMsgObj->pMsgQueue);
        ClearMessageReg(pMsgObj);
    }
    ClearObjs(&listMessages, true);
    return iResult;
}

// Keeps the change to a window (null: none) for a later try, and returns the one that was kept.
static GUIWINDOW* KeepChange(GUIWINDOW* pNext) {
    return __atomic_exchange_n(&pKeptWindow, pNext, __ATOMIC_ACQ_REL);
}

int ChangeWindow(GUIWINDOW* pCurrent, GUIWINDOW* pNext) {
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    if (pNext == nullptr)
        return -1;
    if (pMsgObj == nullptr) {
        DestroyWindow(&pNext);
        return -2;
    }
    MutexLock(&pMsgObj->Mutex);
    GUIWINDOW* pDropped = KeepChange(TryChange(pCurrent, pNext, pMsgObj) == 0 ? nullptr : pNext);
    MutexUnlock(&pMsgObj->Mutex);
    DestroyWindow(&pDropped);
    return 0;
}

static bool IsChangeKept() {
    return __atomic_load_n(&pKeptWindow, __ATOMIC_ACQUIRE) != nullptr;
}

// One more try of the change that is kept for the running window.
static void RetryChange(GUIWINDOW* pWndObj) {
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    if (!IsChangeKept() || pMsgObj == nullptr)
        return;
    MutexLock(&pMsgObj->Mutex);
    if (TryChange(pWndObj, pKeptWindow, pMsgObj) == 0)
        KeepChange(nullptr);
    MutexUnlock(&pMsgObj->Mutex);
}

void DropChange() {
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    if (!IsChangeKept() || pMsgObj == nullptr)
        return;
    MutexLock(&pMsgObj->Mutex);
    GUIWINDOW* pDropped = KeepChange(nullptr);
    MutexUnlock(&pMsgObj->Mutex);
    DestroyWindow(&pDropped);
}

// ---- Window thread ----

// Messages that a window thread sends itself.
enum WINDOW_STEP {
    STEP_INIT = 1,
    STEP_PAINT = 2,
    STEP_LOOP = 4,
};

struct WINDOW_RUN {
    GUIWINDOW* pWndObj;
    bool bRun;          // until the exit function has run
    bool bLoop;         // the loop function is called
    bool bInitialised;  // the init function has run
    unsigned uiOwed;    // steps whose message could not be posted yet
};

static int PostWindow(int iMsgType, int iMsgCode, GUIWINDOW* pWndObj) {
    return SendMessage(iMsgType, iMsgCode, reinterpret_cast<uintptr_t>(pWndObj));
}

// Posts the messages of the steps. One that cannot be posted now is owed, and tried again at the next turn:
// without it the screen would show and do nothing.
static void PostSteps(unsigned uiSteps, WINDOW_RUN* pRun) {
    static const struct {
        WINDOW_STEP eStep;
        int iMsgCode;
    } Steps[] = {
        {STEP_INIT, GUIMESSAGE_WND_INIT},
        {STEP_PAINT, GUIMESSAGE_WND_PAINT},
        {STEP_LOOP, GUIMESSAGE_WND_LOOP},
    };
    for (const auto& Step : Steps) {
        if ((uiSteps & Step.eStep) == 0)
            continue;
        if (PostWindow(GUIMESSAGE_TYP_WND, Step.iMsgCode, pRun->pWndObj) == 0)
            pRun->uiOwed &= ~static_cast<unsigned>(Step.eStep);
        else
            pRun->uiOwed |= Step.eStep;
    }
}

static void InitWindow(WINDOW_RUN* pRun) {
    if (pRun->pWndObj->fnWndInit == nullptr)
        return;
    pRun->bInitialised = true;
    pRun->pWndObj->fnWndInit(pRun->pWndObj);
    PostSteps(STEP_PAINT, pRun);
}

static void PaintWindow(WINDOW_RUN* pRun) {
    GUIWINDOW* pWndObj = pRun->pWndObj;
    if (pWndObj->fnWndPaint == nullptr)
        return;
    pWndObj->fnWndPaint(pWndObj);
    StoreVisibleFlag(&pWndObj->Visible.iFocus, 1);
    SetCurrWindow(pWndObj);
    PostSteps(STEP_LOOP, pRun);
}

static void LoopWindow(WINDOW_RUN* pRun) {
    if (pRun->pWndObj->fnWndLoop == nullptr || !pRun->bLoop)
        return;
    pRun->pWndObj->fnWndLoop(pRun->pWndObj);
    PostSteps(STEP_LOOP, pRun);
}

static void ExitWindow(WINDOW_RUN* pRun) {
    if (pRun->pWndObj->fnWndExit == nullptr)
        return;
    pRun->pWndObj->fnWndExit(pRun->pWndObj);
    pRun->bRun = false;
}

// Acts on a message for the running window, whatever window it names.
static void RunMessage(const GUIMESSAGE_ITEM* pMsgItem, WINDOW_RUN* pRun) {
    switch (pMsgItem->iMsgCode) {
        case GUIMESSAGE_WND_INIT:
            InitWindow(pRun);
            break;
        case GUIMESSAGE_WND_PAINT:
            PaintWindow(pRun);
            break;
        case GUIMESSAGE_WND_LOOP:
            LoopWindow(pRun);
            break;
        case GUIMESSAGE_LOOP_ENABLE:
            PostSteps(STEP_LOOP, pRun);
            pRun->bLoop = true;
            break;
        case GUIMESSAGE_LOOP_DISABLE:
            pRun->bLoop = false;
            break;
        case GUIMESSAGE_WND_EXIT:
            ExitWindow(pRun);
            break;
        default:
            ExecMessageProc(pMsgItem, GetCurrMessage());
            break;
    }
}

static void RunWindow(WINDOW_RUN* pRun) {
    PostSteps(STEP_INIT, pRun);
    while (pRun->bRun && GetExitFlag() != 1) {
        GUIMESSAGE_ITEM* pMsgItem = TakeMessage(GUIMESSAGE_TYP_WND, GetCurrMessage());
        if (pMsgItem == nullptr)
            MsecSleep(WINDOW_POLL_MS);
        else
            RunMessage(pMsgItem, pRun);
        free(pMsgItem);
        if (pRun->bRun) {
            PostSteps(pRun->uiOwed, pRun);
            RetryChange(pRun->pWndObj);
        }
    }
    // The program ends while the screen is up: the screen releases what it holds all the same.
    if (pRun->bRun && pRun->bInitialised)
        ExitWindow(pRun);
    DropChange();
}

void* DefaultWindowThread(void* pThreadArg) {
    GUIWINDOW* pWndObj = static_cast<GUIWINDOW*>(pThreadArg);
    if (pWndObj == nullptr)
        ThreadExit(nullptr);
    LockWindowThread();
    WINDOW_RUN run = {pWndObj, true, true, false, 0};
    RunWindow(&run);
    int iDone = run.bRun ? 0 : PostWindow(GUIMESSAGE_TYP_SCHED, GUIMESSAGE_SCH_DONE, pWndObj);
    UnlockWindowThread();
    // The scheduler must hear of it; the next screen need not wait until it does.
    while (iDone != 0 && GetExitFlag() != 1) {
        MsecSleep(WINDOW_POLL_MS);
        iDone = PostWindow(GUIMESSAGE_TYP_SCHED, GUIMESSAGE_SCH_DONE, pWndObj);
    }
    ThreadExit(nullptr);
}
