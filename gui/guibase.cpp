#include "gui/guibase.h"

#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <time.h>

// ---- Lists ----

GUILIST* CreateList(int32_t iLimit) {
    if (iLimit < 0)
        return nullptr;
    GUILIST* pList = static_cast<GUILIST*>(malloc(sizeof(GUILIST)));
    if (pList != nullptr)
        *pList = {0, iLimit, nullptr, nullptr};
    return pList;
}

int InitList(GUILIST* pList) {
    if (pList == nullptr)
        return -1;
    pList->iCount = 0;
    pList->pHead = nullptr;
    pList->pTail = nullptr;
    return 0;
}

int DestroyList(GUILIST* pList) {
    if (pList == nullptr)
        return -1;
    if (!ListEmpty(pList))
        return -2;
    free(pList);
    return 0;
}

static void JoinItems(GUILIST_ITEM* pBefore, GUILIST_ITEM* pAfter) {
    pBefore->pNext = pAfter;
    pAfter->pPrev = pBefore;
}

int ListAdd(GUILIST_ITEM* pItem, GUILIST* pList) {
    if (pItem == nullptr || pList == nullptr)
        return -1;
    if (ListFull(pList))
        return -2;
    if (ListEmpty(pList))
        pList->pHead = pItem;
    else
        JoinItems(pList->pTail, pItem);
    JoinItems(pItem, pList->pHead);
    pList->pTail = pItem;
    pItem->pOwner = pList;
    ++pList->iCount;
    return 0;
}

int ListDel(GUILIST_ITEM* pItem, GUILIST* pList) {
    if (pItem == nullptr || pList == nullptr)
        return -1;
    if (pItem->pOwner != pList || ListEmpty(pList))
        return -2;
    if (pList->iCount == 1) {
        pList->pHead = nullptr;
        pList->pTail = nullptr;
    } else {
        JoinItems(pItem->pPrev, pItem->pNext);
        if (pList->pHead == pItem)
            pList->pHead = pItem->pNext;
        else if (pList->pTail == pItem)
            pList->pTail = pItem->pPrev;
    }
    *pItem = {nullptr, nullptr, nullptr};
    --pList->iCount;
    return 0;
}

int ListMove(GUILIST_ITEM* pItem, GUILIST* pList) {
    if (pItem == nullptr || pList == nullptr)
        return -1;
    if (ListFull(pList))
        return -2;
    if (ListDel(pItem, pItem->pOwner) != 0)
        return -3;
    return ListAdd(pItem, pList);
}

int ListSplice(GUILIST* pAttach, GUILIST* pList) {
    if (pAttach == nullptr || pList == nullptr || pAttach == pList)
        return -1;
    if (ListEmpty(pAttach) || ListFull(pList))
        return -2;
    if (pAttach->iCount > pList->iLimit - pList->iCount)
        return -3;
    GUILIST_ITEM* pItem = pAttach->pHead;
    for (int32_t i = 0; i < pAttach->iCount; ++i, pItem = pItem->pNext)
        pItem->pOwner = pList;
    if (ListEmpty(pList))
        pList->pHead = pAttach->pHead;
    else
        JoinItems(pList->pTail, pAttach->pHead);
    JoinItems(pAttach->pTail, pList->pHead);
    pList->pTail = pAttach->pTail;
    pList->iCount += pAttach->iCount;
    return InitList(pAttach);
}

// ---- Strings ----

static size_t StringLength(const GUICHAR* pString) {
    size_t uiLength = 0;
    while (pString[uiLength] != 0)
        ++uiLength;
    return uiLength;
}

int StringCmp(const GUICHAR* pS1, const GUICHAR* pS2) {
    if (pS1 == nullptr || pS2 == nullptr)
        return 0;
    while (*pS1 != 0 && *pS1 == *pS2) {
        ++pS1;
        ++pS2;
    }
    return static_cast<int>(*pS1) - static_cast<int>(*pS2);
}

// Replaces *ppDest by its first uiKeep units followed by pSrc.
static GUICHAR* ReplaceTail(GUICHAR** ppDest, size_t uiKeep, const GUICHAR* pSrc) {
    const size_t uiUnits = StringLength(pSrc) + 1;
    GUICHAR* pNew = static_cast<GUICHAR*>(malloc((uiKeep + uiUnits) * sizeof(GUICHAR)));
    if (pNew == nullptr)
        return nullptr;
    memcpy(pNew, *ppDest, uiKeep * sizeof(GUICHAR));
    memcpy(pNew + uiKeep, pSrc, uiUnits * sizeof(GUICHAR));
    free(*ppDest);
    *ppDest = pNew;
    return pNew;
}

GUICHAR* StringCpy(GUICHAR** ppDest, const GUICHAR* pSrc) {
    if (ppDest == nullptr || pSrc == nullptr || *ppDest == nullptr)
        return nullptr;
    return ReplaceTail(ppDest, 0, pSrc);
}

GUICHAR* StringCat(GUICHAR** ppDest, const GUICHAR* pSrc) {
    if (ppDest == nullptr || pSrc == nullptr || *ppDest == nullptr)
        return nullptr;
    if (*pSrc == 0)
        return *ppDest;
    return ReplaceTail(ppDest, StringLength(*ppDest), pSrc);
}

GUICHAR* TransString(const char* pString) {
    if (pString == nullptr)
        return nullptr;
    const size_t uiUnits = strlen(pString) + 1;
    GUICHAR* pNew = static_cast<GUICHAR*>(malloc(uiUnits * sizeof(GUICHAR)));
    if (pNew == nullptr)
        return nullptr;
    for (size_t i = 0; i < uiUnits; ++i)
        pNew[i] = static_cast<unsigned char>(pString[i]);
    return pNew;
}

// ---- Threads and mutexes ----

int ThreadCreate(GUITHREAD* pThread, THREADFUNC fnEntry, void* pArg) {
    return pthread_create(pThread, nullptr, fnEntry, pArg);
}

int ThreadJoin(GUITHREAD Thread, void** ppReturn) {
    return pthread_join(Thread, ppReturn);
}

void ThreadExit(void* pReturn) {
    pthread_exit(pReturn);
}

static void WakeOnly(int) {}

int ThreadTryEnd(GUITHREAD* pThread) {
    if (pThread == nullptr)
        return -1;
    if (*pThread == GUITHREAD_NONE)
        return 0;
    // Without SA_RESTART, so that a blocked read returns.
    struct sigaction action = {};
    action.sa_handler = WakeOnly;
    sigemptyset(&action.sa_mask);
    // Without its handler the signal would end the program.
    const bool bHandled = sigaction(SIGUSR1, &action, nullptr) == 0;
    const int iResult = pthread_tryjoin_np(*pThread, nullptr);
    if (iResult != EBUSY)
        *pThread = GUITHREAD_NONE;
    else if (bHandled)
        pthread_kill(*pThread, SIGUSR1);
    return iResult;
}

int ThreadEnd(GUITHREAD* pThread) {
    // A signal that comes just before the read does not wake it: the next one does.
    int iResult = 0;
    while ((iResult = ThreadTryEnd(pThread)) == EBUSY)
        MsecSleep(THREAD_WAKE_MS);
    return iResult;
}

int InitMutex(GUIMUTEX* pMutex) {
    return pthread_mutex_init(pMutex, nullptr);
}

int DestroyMutex(GUIMUTEX* pMutex) {
    return pthread_mutex_destroy(pMutex);
}

int MutexLock(GUIMUTEX* pMutex) {
    return pthread_mutex_lock(pMutex);
}

int MutexUnlock(GUIMUTEX* pMutex) {
    return pthread_mutex_unlock(pMutex);
}

int MutexTrylock(GUIMUTEX* pMutex) {
    return pthread_mutex_trylock(pMutex);
}

int MsecSleep(unsigned long ulMsec) {
    struct timeval timeout = {};
    timeout.tv_sec = static_cast<time_t>(ulMsec / 1000);
    timeout.tv_usec = static_cast<suseconds_t>(ulMsec % 1000 * 1000);
    return select(0, nullptr, nullptr, nullptr, &timeout);
}

int MsecSleepWhole(unsigned long ulMsec) {
    // Not select: whether it leaves the rest of the time in its argument depends on the C library.
    struct timespec rest = {};
    rest.tv_sec = static_cast<time_t>(ulMsec / 1000);
    rest.tv_nsec = static_cast<long>(ulMsec % 1000 * 1000000);
    int iResult = 0;
    while ((iResult = nanosleep(&rest, &rest)) != 0 && errno == EINTR) {
    }
    return iResult;
}
