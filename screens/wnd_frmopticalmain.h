// The optical test menu: one icon a test of the optical module.
#pragma once

#include "screens/wnd_global.h"

int FrmOpticalMainInit(void* pWndObj);
int FrmOpticalMainPaint(void* pWndObj);
int FrmOpticalMainExit(void* pWndObj);
constexpr WNDFUNC FrmOpticalMainLoop = ScreenLoopOnce;
constexpr WNDFUNC FrmOpticalMainPause = ScreenIdle;
constexpr WNDFUNC FrmOpticalMainResume = ScreenIdle;

constexpr SCREEN_ENTRY FrmOpticalMain = {FrmOpticalMainInit, FrmOpticalMainExit, FrmOpticalMainPaint,
                                         FrmOpticalMainLoop};
