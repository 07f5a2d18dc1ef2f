// Windows, the components that they list, and the current window.
//
// Lock order: the current-window lock before a window's own mutex. The caller holds the window's mutex around
// AddWindowComp, DelWindowComp and ClearWindowComp.
#pragma once

#include "gui/guibase.h"
#include "gui/guiobj.h"

struct GUIBRUSH;
struct GUIPEN;
struct GUIFONT;

typedef int (*WNDFUNC)(void* pWndObj);

// Most components of one window.
constexpr int32_t GUIWINDOW_COMP_LIMIT = 1000;

struct GUIWINDOW {
    GUIVISIBLE Visible;
    WNDFUNC fnWndInit;
    WNDFUNC fnWndExit;
    WNDFUNC fnWndPaint;
    WNDFUNC fnWndLoop;       // may be null
    THREADFUNC fnWndThread;  // the window's own thread body, null for DefaultWindowThread
    GUITHREAD thdWndTid;     // running window thread, GUITHREAD_NONE before it starts; the scheduler's
    GUILIST* pWndComps;      // of GUIOBJ; the components belong to the screen
    GUIMUTEX Mutex;          // guards pWndComps
    GUIBRUSH* pWndBrush;     // drawing defaults, not owned, null after creation
    GUIPEN* pWndPen;
    GUIFONT* pWndFont;
    GUIOBJ Called;  // the scheduler's: entry in its lists, part of the window so that it cannot be missing
};

// New window, enabled, without focus, on layer 0, with no components. Null when fnWndInit, fnWndExit or
// fnWndPaint is null, width or height is 0, the window leaves the range of coordinates, or memory or the
// mutex cannot be had. The caller hands it to the scheduler, which frees it, or frees it with DestroyWindow.
GUIWINDOW* CreateWindow(unsigned uiPlaceX, unsigned uiPlaceY, unsigned uiWndWidth, unsigned uiWndHeight,
                        WNDFUNC fnWndInit, WNDFUNC fnWndExit, WNDFUNC fnWndPaint, WNDFUNC fnWndLoop,
                        THREADFUNC fnWndThread);
// Frees the window and nulls the caller's pointer; if it was current, none is afterwards. -1, -2 on a null
// argument or window; -4, nothing freed, while components are listed. Takes the current-window lock.
int DestroyWindow(GUIWINDOW** ppWndObj);

// Sets the area, corners included. -1 on null or when the end lies left of or above the start.
int SetWindowArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY, GUIWINDOW* pWndObj);
// Store the drawing default. -1 on null.
int SetWindowBrush(GUIBRUSH* pBrushObj, GUIWINDOW* pWndObj);
int SetWindowPen(GUIPEN* pPenObj, GUIWINDOW* pWndObj);
int SetWindowFont(GUIFONT* pFontObj, GUIWINDOW* pWndObj);

// Appends a component: iCompTyp is GUICOMP_PICTURE or GUICOMP_WINDOW, iCompLen the size of its record, which
// begins with a GUIVISIBLE and stays the caller's. -1 on null; -2 if the list is missing or full; -3 if
// memory is short; -4 if the append fails.
int AddWindowComp(int iCompTyp, int iCompLen, void* pWndComp, GUIWINDOW* pWndObj);
// Takes the first entry of the component out of the list. -1 on null; -2 if the list is missing or empty; -3
// if unlinking fails; -4 if no entry names the component.
int DelWindowComp(const void* pWndComp, GUIWINDOW* pWndObj);
// Takes every entry out of the list. -1 on null; -2 if the list is missing; -3 if unlinking fails.
int ClearWindowComp(GUIWINDOW* pWndObj);

// Initialises the current-window lock, with no window current. -1 on failure.
int InitCurrWindow();
// -1 on null.
int SetCurrWindow(GUIWINDOW* pWndObj);
GUIWINDOW* GetCurrWindow();
// Leaves no window current if pWndObj is. Returns 0.
int DropCurrWindow(const GUIWINDOW* pWndObj);
// Takes the current-window lock and returns the current window; the caller ends with UnlockCurrWindow.
GUIWINDOW* HoldCurrWindow();
int LockCurrWindow();
int UnlockCurrWindow();
