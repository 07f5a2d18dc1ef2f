// The start screen: two icons, the main board test and the optical test menu.
#pragma once

#include "screens/wnd_global.h"

int FrmMainInit(void* pWndObj);
int FrmMainPaint(void* pWndObj);
int FrmMainExit(void* pWndObj);
constexpr WNDFUNC FrmMainLoop = ScreenLoopOnce;
constexpr WNDFUNC FrmMainPause = ScreenIdle;
constexpr WNDFUNC FrmMainResume = ScreenIdle;

constexpr SCREEN_ENTRY FrmMain = {FrmMainInit, FrmMainExit, FrmMainPaint, FrmMainLoop};
