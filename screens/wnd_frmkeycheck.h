// The key check: each key and knob step lights its picture; the operator judges by eye.
#pragma once

#include "screens/wnd_global.h"

int FrmKeyCheckInit(void* pWndObj);
int FrmKeyCheckPaint(void* pWndObj);
int FrmKeyCheckExit(void* pWndObj);
constexpr WNDFUNC FrmKeyCheckLoop = ScreenIdle;  // called back to back while the screen is shown
constexpr WNDFUNC FrmKeyCheckPause = ScreenIdle;
constexpr WNDFUNC FrmKeyCheckResume = ScreenIdle;

constexpr SCREEN_ENTRY FrmKeyCheck = {FrmKeyCheckInit, FrmKeyCheckExit, FrmKeyCheckPaint, FrmKeyCheckLoop};
