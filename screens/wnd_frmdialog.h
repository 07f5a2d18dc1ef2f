// The dialog: a warning with an icon, a title, a text, OK and Cancel, and a progress line. It replaces the
// screen that opens it; on leaving, a callback makes the window that comes next.
#pragma once

#include <stdint.h>

#include "screens/wnd_global.h"

typedef void (*DIALOG_LEAVE_FUNC)(GUIWINDOW** ppNextWnd);  // stores a window made with CreateWindow
typedef void (*DIALOG_BUTTON_FUNC)();

// Opens the dialog with its corner at (x, y) and ends the screen LastWindow. The title is freed by the
// dialog, the text stays the caller's and must last as long as the dialog. *result (may be null) takes 1 for
// OK, 0 for Cancel. ucIcoType 0 is the warning icon, any other keeps the icon of the dialog before. func is
// called on leaving, okfunc and cancelfunc (may be null) on their button. Returns 0; -1, the title still
// freed, if there is no memory for the window: LastWindow then stays.
int DialogInit(unsigned x, unsigned y, GUICHAR* pTitleStr, const GUICHAR* pTextStr, int* result,
               uint8_t ucIcoType, GUIWINDOW* LastWindow, DIALOG_LEAVE_FUNC func, DIALOG_BUTTON_FUNC okfunc,
               DIALOG_BUTTON_FUNC cancelfunc);
// Leaves the dialog for the window that the callback supplies. Returns 0.
int DialogExit();
// Shows info on the progress line of the open dialog, which owns the string from here on, and frees it when
// no dialog is open. Returns 0, -1 on null or without a dialog.
int ShowProgress(GUICHAR* info);

// Pressed and released look of the dialog's buttons. Return 0.
int ShowWarnBtn_FuncDown(GUIPICTURE* pBtnFx, GUILABEL* pLblFx);
int ShowWarnBtn_FuncUp(GUIPICTURE* pBtnFx, GUILABEL* pLblFx);

int FrmDialogInit(void* pWndObj);
int FrmDialogPaint(void* pWndObj);
int FrmDialogExit(void* pWndObj);
constexpr WNDFUNC FrmDialogLoop = ScreenIdle;  // called back to back while the dialog is shown
constexpr WNDFUNC FrmDialogPause = ScreenIdle;
constexpr WNDFUNC FrmDialogResume = ScreenIdle;
