#include "gui/guimessage.h"

#include <stdlib.h>

static GUIMESSAGE* pCurrMessage = nullptr;
static const GUIMESSAGE_ITEM* pHandledMessage = nullptr;  // of the window thread that runs

GUIMESSAGE* CreateMessage(int iQueueLimit, int iRegLimit) {
    GUIMESSAGE* pMsgObj = static_cast<GUIMESSAGE*>(calloc(1, sizeof(GUIMESSAGE)));
    if (pMsgObj == nullptr)
        return nullptr;
    pMsgObj->pMsgQueue = CreateList(iQueueLimit);
    pMsgObj->pMsgReg = CreateList(iRegLimit);
    if (pMsgObj->pMsgQueue == nullptr || pMsgObj->pMsgReg == nullptr || InitMutex(&pMsgObj->Mutex) != 0) {
        DestroyList(pMsgObj->pMsgQueue);
        DestroyList(pMsgObj->pMsgReg);
        free(pMsgObj);
        return nullptr;
    }
    return pMsgObj;
}

int DestroyMessage(GUIMESSAGE** ppMsgObj) {
    if (ppMsgObj == nullptr)
        return -1;
    GUIMESSAGE* pMsgObj = *ppMsgObj;
    if (pMsgObj == nullptr)
        return -2;
    if (pMsgObj->pMsgQueue != nullptr && !ListEmpty(pMsgObj->pMsgQueue))
        return -3;
    if (pMsgObj->pMsgReg != nullptr && !ListEmpty(pMsgObj->pMsgReg))
        return -4;
    DropCurr(&pCurrMessage, pMsgObj);
    DestroyList(pMsgObj->pMsgQueue);
    DestroyList(pMsgObj->pMsgReg);
    DestroyMutex(&pMsgObj->Mutex);
    free(pMsgObj);
    *ppMsgObj = nullptr;
    return 0;
}

int SetCurrMessage(GUIMESSAGE* pMsgObj) {
    return StoreCurr(&pCurrMessage, pMsgObj);
}

GUIMESSAGE* GetCurrMessage() {
    return LoadCurr(&pCurrMessage);
}

// ---- Queue ----

int WriteMessageQueue(GUIMESSAGE_ITEM* pMsgItem, GUIMESSAGE* pMsgObj) {
    if (pMsgItem == nullptr || pMsgObj == nullptr)
        return -1;
    return AppendObj(0, sizeof(GUIMESSAGE_ITEM), pMsgItem, pMsgObj->pMsgQueue);
}

GUIMESSAGE_ITEM* ReadMessageQueue(GUIMESSAGE* pMsgObj) {
    if (pMsgObj == nullptr)
        return nullptr;
    return static_cast<GUIMESSAGE_ITEM*>(TakeObj(FirstObj(pMsgObj->pMsgQueue), pMsgObj->pMsgQueue));
}

GUIMESSAGE_ITEM* RecvSpecialMessage(int iMsgType, GUIMESSAGE* pMsgObj) {
    if (pMsgObj == nullptr)
        return nullptr;
    GUIOBJ* pItem = FindObj(pMsgObj->pMsgQueue, [iMsgType](const void* pObj) {
        return static_cast<const GUIMESSAGE_ITEM*>(pObj)->iMsgType == iMsgType;
    });
    return static_cast<GUIMESSAGE_ITEM*>(TakeObj(pItem, pMsgObj->pMsgQueue));
}

int ClearMessageQueue(GUIMESSAGE* pMsgObj) {
    return pMsgObj == nullptr ? -1 : ClearObjs(pMsgObj->pMsgQueue, true);
}

int DropReceiverMessages(GUIMESSAGE* pMsgObj) {
    const auto hasReceiver = [](const void* pObj) {
        return static_cast<const GUIMESSAGE_ITEM*>(pObj)->pRecvObj != nullptr;
    };
    if (pMsgObj == nullptr)
        return -1;
    while (RemoveObj(pMsgObj->pMsgQueue, true, hasReceiver) == 0)
        ;
    return 0;
}

// ---- Registrations ----

// The test for the registration of one code and receiver.
static auto IsReg(int iMsgCode, const void* pRecvObj) {
    return [iMsgCode, pRecvObj](const void* pObj) {
        const GUIMESSAGE_REG* pReg = static_cast<const GUIMESSAGE_REG*>(pObj);
        return pReg->iMsgCode == iMsgCode && pReg->pRecvObj == pRecvObj;
    };
}

int LoginMessageReg(int iMsgCode, void* pRecvObj, MSGFUNC fnMsgFunc, void* pOutArg, int iOutLength,
                    GUIMESSAGE* pMsgObj) {
    if (pMsgObj == nullptr)
        return -1;
    if (pMsgObj->pMsgReg == nullptr || ListFull(pMsgObj->pMsgReg))
        return -2;
    GUIMESSAGE_REG* pReg = static_cast<GUIMESSAGE_REG*>(malloc(sizeof(GUIMESSAGE_REG)));
    if (pReg == nullptr)
        return -3;
    *pReg = {iMsgCode, pRecvObj, fnMsgFunc, pOutArg, iOutLength};
    const int iResult = AppendObj(0, sizeof(GUIMESSAGE_REG), pReg, pMsgObj->pMsgReg);
    if (iResult != 0) {
        free(pReg);
        return iResult - 1;  // -3 and -4 of the append are the fourth and fifth step here
    }
    return 0;
}

int LogoutMessageReg(int iMsgCode, const void* pRecvObj, GUIMESSAGE* pMsgObj) {
    return pMsgObj == nullptr ? -1 : RemoveObj(pMsgObj->pMsgReg, true, IsReg(iMsgCode, pRecvObj));
}

int ClearMessageReg(GUIMESSAGE* pMsgObj) {
    return pMsgObj == nullptr ? -1 : ClearObjs(pMsgObj->pMsgReg, true);
}

GUIMESSAGE_REG* MatchMessageReg(const GUIMESSAGE_ITEM* pMsgItem, GUIMESSAGE* pMsgObj) {
    if (pMsgItem == nullptr || pMsgObj == nullptr)
        return nullptr;
    GUIOBJ* pItem = FindObj(pMsgObj->pMsgReg, IsReg(pMsgItem->iMsgCode, pMsgItem->pRecvObj));
    return pItem == nullptr ? nullptr : static_cast<GUIMESSAGE_REG*>(pItem->pObj);
}

// ---- Whole steps ----

int ExecMessageProc(const GUIMESSAGE_ITEM* pMsgItem, GUIMESSAGE* pMsgObj) {
    if (pMsgItem == nullptr || pMsgObj == nullptr)
        return -1;
    // A copy: once unlocked, the registration may be removed by another thread or by the handler itself.
    MutexLock(&pMsgObj->Mutex);
    const GUIMESSAGE_REG* pMatch = MatchMessageReg(pMsgItem, pMsgObj);
    const GUIMESSAGE_REG reg = pMatch == nullptr ? GUIMESSAGE_REG{} : *pMatch;
    MutexUnlock(&pMsgObj->Mutex);
    if (reg.fnMsgFunc == nullptr)
        return -2;
    void* pInArg = reinterpret_cast<void*>(pMsgItem->uiMsgValue);
    pHandledMessage = pMsgItem;
    const int iResult = reg.fnMsgFunc(pInArg, pMsgItem->iValueLength, reg.pOutArg, reg.iOutLength);
    pHandledMessage = nullptr;
    return iResult == 0 ? 0 : -3;
}

const GUIMESSAGE_ITEM* GetHandledMessage() {
    return pHandledMessage;
}

GUIMESSAGE_ITEM* CreateMessageItem(int iMsgType, int iMsgCode, uintptr_t uiMsgValue, void* pRecvObj) {
    GUIMESSAGE_ITEM* pMsgItem = static_cast<GUIMESSAGE_ITEM*>(malloc(sizeof(GUIMESSAGE_ITEM)));
    if (pMsgItem != nullptr)
        *pMsgItem = {iMsgType, iMsgCode, uiMsgValue, 0, pRecvObj};
    return pMsgItem;
}

int PostMessageItem(GUIMESSAGE_ITEM* pMsgItem, GUIMESSAGE* pMsgObj) {
    if (pMsgItem == nullptr || pMsgObj == nullptr) {
        free(pMsgItem);
        return -1;
    }
    MutexLock(&pMsgObj->Mutex);
    const int iResult = WriteMessageQueue(pMsgItem, pMsgObj);
    MutexUnlock(&pMsgObj->Mutex);
    if (iResult != 0)
        free(pMsgItem);
    return iResult;
}

int SendMessage(int iMsgType, int iMsgCode, uintptr_t uiMsgValue) {
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    if (pMsgObj == nullptr)
        return -1;
    GUIMESSAGE_ITEM* pMsgItem = CreateMessageItem(iMsgType, iMsgCode, uiMsgValue, nullptr);
    return pMsgItem == nullptr ? -3 : PostMessageItem(pMsgItem, pMsgObj);
}

int PrepareMessage(int iMsgType, int iMsgCode, uintptr_t uiMsgValue, GUILIST* pPrepared) {
    GUIMESSAGE_ITEM* pMsgItem = CreateMessageItem(iMsgType, iMsgCode, uiMsgValue, nullptr);
    if (pMsgItem == nullptr)
        return -3;
    const int iResult = AppendObj(0, sizeof(GUIMESSAGE_ITEM), pMsgItem, pPrepared);
    if (iResult != 0)
        free(pMsgItem);
    return iResult;
}

GUIMESSAGE_ITEM* TakeMessage(int iMsgType, GUIMESSAGE* pMsgObj) {
    if (pMsgObj == nullptr)
        return nullptr;
    MutexLock(&pMsgObj->Mutex);
    GUIMESSAGE_ITEM* pMsgItem = RecvSpecialMessage(iMsgType, pMsgObj);
    MutexUnlock(&pMsgObj->Mutex);
    return pMsgItem;
}
