// Base services of the toolkit: a bounded circular list, strings of 16-bit characters, threads, mutexes and a
// millisecond sleep. Nothing here locks: each owner guards its lists and strings with a mutex of its own.
//
// Every function returns 0 for success and a negative code for failure unless told otherwise; -1 always means
// a null or invalid argument. The thread and mutex wrappers pass the POSIX result through.
#pragma once

#include <pthread.h>
#include <stdint.h>

typedef uint16_t GUICHAR;  // one character of a text; a text is a heap block that ends with a 0 unit
typedef pthread_mutex_t GUIMUTEX;
typedef pthread_t GUITHREAD;
typedef void* (*THREADFUNC)(void* pThreadArg);

// A handle that holds no thread.
constexpr GUITHREAD GUITHREAD_NONE = ~static_cast<GUITHREAD>(0);
// From one wake of an ending thread to the next, milliseconds.
constexpr unsigned long THREAD_WAKE_MS = 10;

struct GUILIST;

// The link that a listed record carries as its first member. The list never allocates or frees records.
struct GUILIST_ITEM {
    GUILIST* pOwner;      // list that holds the item, null while unlisted
    GUILIST_ITEM* pNext;  // the tail's next is the head
    GUILIST_ITEM* pPrev;  // the head's previous is the tail
};

struct GUILIST {
    int32_t iCount;  // items held, 0 to iLimit
    int32_t iLimit;  // most items the list may hold, fixed at creation
    GUILIST_ITEM* pHead;
    GUILIST_ITEM* pTail;
};

// ---- Lists ----

// New empty list for at most iLimit items (0: one that refuses every item). Null if iLimit is negative or
// memory is short. The caller frees it with DestroyList.
GUILIST* CreateList(int32_t iLimit);
// Empties the head without touching the items or the limit. -1 on null.
int InitList(GUILIST* pList);
// Frees the list head. -1 on null; -2 if the list still holds items (nothing is freed).
int DestroyList(GUILIST* pList);
// Appends the item at the tail. -1 on null; -2 if the list is full.
int ListAdd(GUILIST_ITEM* pItem, GUILIST* pList);
// Unlinks the item. -1 on null; -2 if another list, or none, holds it.
int ListDel(GUILIST_ITEM* pItem, GUILIST* pList);
// Moves the item from the list that holds it to the tail of pList. -1 on null; -2 if pList is full; -3 if the
// item cannot be taken out of its list.
int ListMove(GUILIST_ITEM* pItem, GUILIST* pList);
// Moves every item of pAttach to the end of pList, which may be empty. -1 on null or when both are the same
// list; -2 if pAttach is empty or pList is full; -3 if the items do not fit.
int ListSplice(GUILIST* pAttach, GUILIST* pList);

// 1 when the list is empty or full, else 0. The list must not be null.
static inline int ListEmpty(const GUILIST* pList) {
    return pList->iCount == 0;
}
static inline int ListFull(const GUILIST* pList) {
    return pList->iCount >= pList->iLimit;
}

// ---- Strings ----

// Difference of the first pair of units that differ, first text's minus second's; 0 if the texts are equal or
// either is null.
int StringCmp(const GUICHAR* pS1, const GUICHAR* pS2);
// Replaces the text at *ppDest by a fresh copy of pSrc, frees the old one and returns the new. Null, without
// a change, if an argument or *ppDest is null or memory is short.
GUICHAR* StringCpy(GUICHAR** ppDest, const GUICHAR* pSrc);
// As StringCpy, with the old text followed by pSrc. An empty pSrc returns *ppDest as it is.
GUICHAR* StringCat(GUICHAR** ppDest, const GUICHAR* pSrc);
// New text of the same length, every byte widened to a unit: right for ASCII and Latin-1 only. Null on null
// or short memory. The caller releases it with free.
GUICHAR* TransString(const char* pString);

// ---- Threads and mutexes ----

int ThreadCreate(GUITHREAD* pThread, THREADFUNC fnEntry, void* pArg);
// Waits for the thread; ppReturn may be null.
int ThreadJoin(GUITHREAD Thread, void** ppReturn);
// Ends the calling thread.
[[noreturn]] void ThreadExit(void* pReturn);
// Joins a thread that has been asked to end (by the exit flag) but may be blocked in a read: wakes it with
// SIGUSR1, whose handler this function installs, again and again until it has ended, and sets the handle to
// GUITHREAD_NONE. A woken read returns -1, EINTR. 0 for a handle that holds no thread; -1 on null; else the
// POSIX result.
int ThreadEnd(GUITHREAD* pThread);
// One try of ThreadEnd: wakes the thread, and joins it if it has ended. EBUSY while it has not; else as
// ThreadEnd.
int ThreadTryEnd(GUITHREAD* pThread);

int InitMutex(GUIMUTEX* pMutex);
int DestroyMutex(GUIMUTEX* pMutex);
int MutexLock(GUIMUTEX* pMutex);
int MutexUnlock(GUIMUTEX* pMutex);
int MutexTrylock(GUIMUTEX* pMutex);

// Blocks the calling thread for ulMsec milliseconds. -1 if a signal cut the wait short.
int MsecSleep(unsigned long ulMsec);
// As MsecSleep, for the whole time, however many signals come meanwhile: where what follows must not come
// early, as after a write cycle. It holds up the end of the program for as long. Returns 0.
int MsecSleepWhole(unsigned long ulMsec);
