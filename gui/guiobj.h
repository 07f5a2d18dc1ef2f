// What windows, components, messages, registrations and events have in common: the visible part with which
// windows and components begin, and the list record GUIOBJ that wraps whatever a list of the toolkit holds.
//
// The list functions do not lock: the owner of the list does.
#pragma once

#include <stddef.h>
#include <stdlib.h>

#include "gui/guibase.h"

struct GUIPOINT {
    uint32_t x;  // pixels
    uint32_t y;
};

struct GUIRECTANGLE {
    GUIPOINT Start;  // both corners belong to the rectangle
    GUIPOINT End;
};

// First member of every window and component.
struct GUIVISIBLE {
    GUIRECTANGLE Area;
    int iEnable;  // 1: takes input and may be drawn; 0: disabled
    int iFocus;   // 1: keys and knob go to it
    int iLayer;   // a higher layer wins where areas overlap
};

// iType of a listed component.
enum {
    GUICOMP_PICTURE = 5,
    GUICOMP_WINDOW = 8,
};

struct GUIOBJ {
    GUILIST_ITEM List;
    int iType;    // what pObj is: GUICOMP_PICTURE or GUICOMP_WINDOW for components
    int iLength;  // size of the object's record in bytes, as its owner states it
    void* pObj;
};

static_assert(offsetof(GUIOBJ, List) == 0, "a list item is cast to its GUIOBJ");

// The enable and focus flags are written by window threads while the event thread reads them.
static inline int LoadVisibleFlag(const int* pFlag) {
    return __atomic_load_n(pFlag, __ATOMIC_ACQUIRE);
}
static inline void StoreVisibleFlag(int* pFlag, int iValue) {
    __atomic_store_n(pFlag, iValue, __ATOMIC_RELEASE);
}

// The current instance of an object kind, which any thread may read. StoreCurr: -1 on null, the old one is
// kept. DropCurr leaves none current if pObj is, for an object that is about to be freed.
template <typename Object>
int StoreCurr(Object** ppCurr, Object* pObj) {
    if (pObj == nullptr)
        return -1;
    __atomic_store_n(ppCurr, pObj, __ATOMIC_RELEASE);
    return 0;
}
template <typename Object>
Object* LoadCurr(Object* const* ppCurr) {
    return __atomic_load_n(ppCurr, __ATOMIC_ACQUIRE);
}
template <typename Object>
void DropCurr(Object** ppCurr, Object* pObj) {
    if (LoadCurr(ppCurr) == pObj)
        __atomic_store_n(ppCurr, nullptr, __ATOMIC_RELEASE);
}

// Wraps pObj in a GUIOBJ of its own at the end of the list. -2 if the list is null or full; -3 if memory is
// short; -4 if the list refuses the item.
int AppendObj(int iType, int iLength, void* pObj, GUILIST* pList);
// Unlinks and frees the GUIOBJ and returns what it held. Null, nothing freed, if it is null or not in this
// list.
void* TakeObj(GUIOBJ* pItem, GUILIST* pList);
// Takes out every GUIOBJ; what they held is freed when bOwned. -2 if the list is null; -3 if an item cannot
// be unlinked.
int ClearObjs(GUILIST* pList, bool bOwned);

// First GUIOBJ of the list, and the one after pItem; null at the end.
static inline GUIOBJ* FirstObj(const GUILIST* pList) {
    return pList == nullptr ? nullptr : reinterpret_cast<GUIOBJ*>(pList->pHead);
}
static inline GUIOBJ* NextObj(const GUIOBJ* pItem, const GUILIST* pList) {
    return &pItem->List == pList->pTail ? nullptr : reinterpret_cast<GUIOBJ*>(pItem->List.pNext);
}

// First GUIOBJ, from the head, whose object satisfies match(void*). Null if none does or the list is null.
template <typename Match>
GUIOBJ* FindObj(const GUILIST* pList, Match match) {
    GUIOBJ* pItem = FirstObj(pList);
    while (pItem != nullptr && !match(pItem->pObj))
        pItem = NextObj(pItem, pList);
    return pItem;
}

// Takes out the first GUIOBJ whose object satisfies match(void*); the object is freed when bOwned. -2 if the
// list is null or empty; -3 if the item cannot be unlinked; -4 if none matches.
template <typename Match>
int RemoveObj(GUILIST* pList, bool bOwned, Match match) {
    if (pList == nullptr || ListEmpty(pList))
        return -2;
    GUIOBJ* pItem = FindObj(pList, match);
    if (pItem == nullptr)
        return -4;
    void* pObj = TakeObj(pItem, pList);
    if (pObj == nullptr)
        return -3;
    if (bOwned)
        free(pObj);
    return 0;
}
