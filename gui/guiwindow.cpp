#include "gui/guiwindow.h"

#include <stdlib.h>

// Usable before InitCurrWindow too: a program whose start-up failed half-way still asks for the current
// window.
static GUIMUTEX mutexWndLock = PTHREAD_MUTEX_INITIALIZER;
static GUIWINDOW* pCurrWindow = nullptr;

// ---- Window ----

GUIWINDOW* CreateWindow(unsigned uiPlaceX, unsigned uiPlaceY, unsigned uiWndWidth, unsigned uiWndHeight,
                        WNDFUNC fnWndInit, WNDFUNC fnWndExit, WNDFUNC fnWndPaint, WNDFUNC fnWndLoop,
                        THREADFUNC fnWndThread) {
    if (fnWndInit == nullptr || fnWndExit == nullptr || fnWndPaint == nullptr)
        return nullptr;
    const unsigned uiEndX = uiPlaceX + uiWndWidth - 1;
    const unsigned uiEndY = uiPlaceY + uiWndHeight - 1;
    if (uiWndWidth == 0 || uiWndHeight == 0 || uiEndX < uiPlaceX || uiEndY < uiPlaceY)
        return nullptr;
    GUIWINDOW* pWndObj = static_cast<GUIWINDOW*>(calloc(1, sizeof(GUIWINDOW)));
    if (pWndObj == nullptr)
        return nullptr;
    pWndObj->Visible = {{{uiPlaceX, uiPlaceY}, {uiEndX, uiEndY}}, 1, 0, 0};
    pWndObj->fnWndInit = fnWndInit;
    pWndObj->fnWndExit = fnWndExit;
    pWndObj->fnWndPaint = fnWndPaint;
    pWndObj->fnWndLoop = fnWndLoop;
    pWndObj->fnWndThread = fnWndThread;
    pWndObj->thdWndTid = GUITHREAD_NONE;
    pWndObj->Called = {{nullptr, nullptr, nullptr}, GUICOMP_WINDOW, sizeof(GUIWINDOW), pWndObj};
    pWndObj->pWndComps = CreateList(GUIWINDOW_COMP_LIMIT);
    if (pWndObj->pWndComps == nullptr || InitMutex(&pWndObj->Mutex) != 0) {
        DestroyList(pWndObj->pWndComps);
        free(pWndObj);
        return nullptr;
    }
    return pWndObj;
}

int DestroyWindow(GUIWINDOW** ppWndObj) {
    if (ppWndObj == nullptr)
        return -1;
    GUIWINDOW* pWndObj = *ppWndObj;
    if (pWndObj == nullptr)
        return -2;
    if (pWndObj->pWndComps != nullptr && !ListEmpty(pWndObj->pWndComps))
        return -4;
    DropCurrWindow(pWndObj);
    DestroyList(pWndObj->pWndComps);
    DestroyMutex(&pWndObj->Mutex);
    free(pWndObj);
    *ppWndObj = nullptr;
    return 0;
}

int SetWindowArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
                  GUIWINDOW* pWndObj) {
    if (pWndObj == nullptr || uiEndX < uiStartX || uiEndY < uiStartY)
        return -1;
    pWndObj->Visible.Area = {{uiStartX, uiStartY}, {uiEndX, uiEndY}};
    return 0;
}

template <typename Object>
static int SetDefault(Object* pObj, GUIWINDOW* pWndObj, Object* GUIWINDOW::*pField) {
    if (pObj == nullptr || pWndObj == nullptr)
        return -1;
    pWndObj->*pField = pObj;
    return 0;
}

int SetWindowBrush(GUIBRUSH* pBrushObj, GUIWINDOW* pWndObj) {
    return SetDefault(pBrushObj, pWndObj, &GUIWINDOW::pWndBrush);
}

int SetWindowPen(GUIPEN* pPenObj, GUIWINDOW* pWndObj) {
    return SetDefault(pPenObj, pWndObj, &GUIWINDOW::pWndPen);
}

int SetWindowFont(GUIFONT* pFontObj, GUIWINDOW* pWndObj) {
    return SetDefault(pFontObj, pWndObj, &GUIWINDOW::pWndFont);
}

// ---- Components ----

int AddWindowComp(int iCompTyp, int iCompLen, void* pWndComp, GUIWINDOW* pWndObj) {
    if (pWndComp == nullptr || pWndObj == nullptr)
        return -1;
    return AppendObj(iCompTyp, iCompLen, pWndComp, pWndObj->pWndComps);
}

int DelWindowComp(const void* pWndComp, GUIWINDOW* pWndObj) {
    if (pWndComp == nullptr || pWndObj == nullptr)
        return -1;
    return RemoveObj(pWndObj->pWndComps, false, [pWndComp](const void* pObj) { return pObj == pWndComp; });
}

int ClearWindowComp(GUIWINDOW* pWndObj) {
    return pWndObj == nullptr ? -1 : ClearObjs(pWndObj->pWndComps, false);
}

// ---- Current window ----

int InitCurrWindow() {
    if (InitMutex(&mutexWndLock) != 0)
        return -1;
    LockCurrWindow();
    pCurrWindow = nullptr;
    return UnlockCurrWindow();
}

int SetCurrWindow(GUIWINDOW* pWndObj) {
    if (pWndObj == nullptr)
        return -1;
    LockCurrWindow();
    pCurrWindow = pWndObj;
    UnlockCurrWindow();
    return 0;
}

GUIWINDOW* GetCurrWindow() {
    GUIWINDOW* pWndObj = HoldCurrWindow();
    UnlockCurrWindow();
    return pWndObj;
}

int DropCurrWindow(const GUIWINDOW* pWndObj) {
    if (HoldCurrWindow() == pWndObj)
        pCurrWindow = nullptr;
    return UnlockCurrWindow();
}

GUIWINDOW* HoldCurrWindow() {
    LockCurrWindow();
    return pCurrWindow;
}

int LockCurrWindow() {
    return MutexLock(&mutexWndLock);
}

int UnlockCurrWindow() {
    return MutexUnlock(&mutexWndLock);
}
