#include "gui/guievent.h"

#include <stdlib.h>

#include "gui/guimessage.h"
#include "gui/guischeduler.h"
#include "gui/guiwindow.h"

static const unsigned long EVENT_START_MS = 100;
static const unsigned long EVENT_POLL_MS = 50;

// What an event becomes and how its receiver is found, by event code from 1. Moves and two-point touches have
// no message.
struct EVENT_ROUTE {
    int iMsgCode;
    bool bFocus;  // to the component with the focus; else to the one under the touch
};
static const EVENT_ROUTE EVENT_ROUTES[] = {
    {GUIMESSAGE_KEY_DOWN, true},    // GUIEVENT_KEY_DOWN
    {GUIMESSAGE_KEY_UP, true},      // GUIEVENT_KEY_UP
    {GUIMESSAGE_TCH_DOWN, false},   // GUIEVENT_TCH_DOWN
    {GUIMESSAGE_TCH_UP, false},     // GUIEVENT_TCH_UP
    {GUIMESSAGE_KNOB_CLOCK, true},  // GUIEVENT_KNOB_CLOCK
    {GUIMESSAGE_KNOB_ANTI, true},   // GUIEVENT_KNOB_ANTI
};

static GUIEVENT* pCurrEvent = nullptr;

// ---- Event object and queue ----

GUIEVENT* CreateEvent(int iQueueLimit, THREADFUNC fnEventThread) {
    if (fnEventThread == nullptr)
        return nullptr;
    GUIEVENT* pEventObj = static_cast<GUIEVENT*>(calloc(1, sizeof(GUIEVENT)));
    if (pEventObj == nullptr)
        return nullptr;
    pEventObj->fnEventThread = fnEventThread;
    pEventObj->pEventQueue = CreateList(iQueueLimit);
    if (pEventObj->pEventQueue == nullptr || InitMutex(&pEventObj->Mutex) != 0) {
        DestroyList(pEventObj->pEventQueue);
        free(pEventObj);
        return nullptr;
    }
    return pEventObj;
}

int DestroyEvent(GUIEVENT** ppEventObj) {
    if (ppEventObj == nullptr)
        return -1;
    GUIEVENT* pEventObj = *ppEventObj;
    if (pEventObj == nullptr)
        return -2;
    DropCurr(&pCurrEvent, pEventObj);
    const bool bHeldEvents = pEventObj->pEventQueue != nullptr && !ListEmpty(pEventObj->pEventQueue);
    ClearEventQueue(pEventObj);
    DestroyList(pEventObj->pEventQueue);
    DestroyMutex(&pEventObj->Mutex);
    free(pEventObj);
    *ppEventObj = nullptr;
    return bHeldEvents ? -3 : 0;
}

int SetCurrEvent(GUIEVENT* pEventObj) {
    return StoreCurr(&pCurrEvent, pEventObj);
}

GUIEVENT* GetCurrEvent() {
    return LoadCurr(&pCurrEvent);
}

int WriteEventQueue(GUIEVENT_ITEM* pEventItem, GUIEVENT* pEventObj) {
    if (pEventItem == nullptr || pEventObj == nullptr)
        return -1;
    return AppendObj(0, sizeof(GUIEVENT_ITEM), pEventItem, pEventObj->pEventQueue);
}

GUIEVENT_ITEM* ReadEventQueue(GUIEVENT* pEventObj) {
    if (pEventObj == nullptr)
        return nullptr;
    return static_cast<GUIEVENT_ITEM*>(TakeObj(FirstObj(pEventObj->pEventQueue), pEventObj->pEventQueue));
}

int ClearEventQueue(GUIEVENT* pEventObj) {
    return pEventObj == nullptr ? -1 : ClearObjs(pEventObj->pEventQueue, true);
}

int PostEvent(unsigned uiEventCode, unsigned uiEventValue) {
    GUIEVENT* pEventObj = GetCurrEvent();
    if (pEventObj == nullptr)
        return -2;
    GUIEVENT_ITEM* pEventItem = static_cast<GUIEVENT_ITEM*>(malloc(sizeof(GUIEVENT_ITEM)));
    if (pEventItem == nullptr)
        return -1;
    *pEventItem = {GUIEVENT_TYP_INPUT, uiEventCode, uiEventValue};
    MutexLock(&pEventObj->Mutex);
    const int iResult = WriteEventQueue(pEventItem, pEventObj);
    MutexUnlock(&pEventObj->Mutex);
    if (iResult == 0)
        return 0;
    free(pEventItem);
    return iResult == -3 ? -1 : -2;
}

// ---- Routing ----

static const EVENT_ROUTE* FindRoute(unsigned uiEventCode) {
    const unsigned uiRoutes = sizeof(EVENT_ROUTES) / sizeof(EVENT_ROUTES[0]);
    return uiEventCode >= 1 && uiEventCode <= uiRoutes ? &EVENT_ROUTES[uiEventCode - 1] : nullptr;
}

static bool Inside(const GUIRECTANGLE& inner, const GUIRECTANGLE& outer) {
    return inner.Start.x >= outer.Start.x && inner.Start.y >= outer.Start.y && inner.End.x <= outer.End.x &&
           inner.End.y <= outer.End.y;
}

static bool IsCandidate(const GUIVISIBLE& visible, bool bFocus, const GUIPOINT& point) {
    if (LoadVisibleFlag(&visible.iEnable) == 0)
        return false;
    return bFocus ? LoadVisibleFlag(&visible.iFocus) != 0 : Inside({point, point}, visible.Area);
}

// The component of the list that the event is for; under the window's mutex.
static GUIVISIBLE* ChooseComponent(const GUILIST* pComps, bool bFocus, const GUIPOINT& point) {
    GUIVISIBLE* pChoice = nullptr;
    for (const GUIOBJ* pItem = FirstObj(pComps); pItem != nullptr; pItem = NextObj(pItem, pComps)) {
        GUIVISIBLE* pComp = static_cast<GUIVISIBLE*>(pItem->pObj);
        if (!IsCandidate(*pComp, bFocus, point))
            continue;
        if (pChoice == nullptr || pComp->iLayer > pChoice->iLayer || Inside(pComp->Area, pChoice->Area))
            pChoice = pComp;
    }
    return pChoice;
}

// Calls fnUse with the component that the event is for (null: none), the current window and its list being
// held meanwhile, so that the component is still the one that was chosen. Returns what fnUse returns.
template <typename Use>
static auto WithReceiver(const GUIEVENT_ITEM* pEventItem, Use fnUse) {
    const EVENT_ROUTE* pRoute = pEventItem == nullptr ? nullptr : FindRoute(pEventItem->uiEventCode);
    GUIWINDOW* pWndObj = HoldCurrWindow();
    GUIVISIBLE* pChoice = nullptr;
    if (pWndObj != nullptr)
        MutexLock(&pWndObj->Mutex);
    if (pWndObj != nullptr && pRoute != nullptr) {
        const GUIPOINT point = {pEventItem->uiEventValue >> 16 & 0xFFF, pEventItem->uiEventValue & 0xFFF};
        pChoice = ChooseComponent(pWndObj->pWndComps, pRoute->bFocus, point);
    }
    const auto result = fnUse(pChoice);
    if (pWndObj != nullptr)
        MutexUnlock(&pWndObj->Mutex);
    UnlockCurrWindow();
    return result;
}

void* MatchEventObject(const GUIEVENT_ITEM* pEventItem) {
    return WithReceiver(pEventItem, [](GUIVISIBLE* pReceiver) { return pReceiver; });
}

// ---- Event thread ----

// Posts the message of one event, which stays the caller's. Codes of EventPacketFunc.
static int PostEventMessage(const GUIEVENT_ITEM* pEventItem) {
    const EVENT_ROUTE* pRoute = FindRoute(pEventItem->uiEventCode);
    GUIMESSAGE_ITEM* pMsgItem = CreateMessageItem(
        GUIMESSAGE_TYP_WND, pRoute == nullptr ? 0 : pRoute->iMsgCode, pEventItem->uiEventValue, nullptr);
    if (pMsgItem == nullptr)
        return -2;
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    // Posted while the window is held: else the screen could change in between, and what lies at the
    // receiver's address then would get the message.
    return WithReceiver(pEventItem, [=](GUIVISIBLE* pReceiver) {
        if (pReceiver == nullptr || pMsgObj == nullptr) {
            free(pMsgItem);
            return pReceiver == nullptr ? -3 : -4;
        }
        pMsgItem->pRecvObj = pReceiver;
        return PostMessageItem(pMsgItem, pMsgObj) == 0 ? 0 : -5;
    });
}

int EventPacketFunc(GUIEVENT* pEventObj) {
    if (pEventObj == nullptr)
        return -1;
    int iResult = 0;
    while (iResult == 0) {
        MutexLock(&pEventObj->Mutex);
        GUIEVENT_ITEM* pEventItem = ReadEventQueue(pEventObj);
        MutexUnlock(&pEventObj->Mutex);
        if (pEventItem == nullptr)
            return -1;
        iResult = PostEventMessage(pEventItem);
        free(pEventItem);
    }
    return iResult;
}

void* EventPacketThread(void* pThreadArg) {
    GUIEVENT* pEventObj = static_cast<GUIEVENT*>(pThreadArg);
    MsecSleep(EVENT_START_MS);
    while (GetExitFlag() != 1) {
        EventPacketFunc(pEventObj);
        MsecSleep(EVENT_POLL_MS);
    }
    ThreadExit(nullptr);
}
