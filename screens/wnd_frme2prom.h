// E2PROM view: the optical module's tuning record as the optic driver holds it, read once on entry.
#pragma once

#include "screens/wnd_global.h"

int FrmE2PROMInit(void* pWndObj);
int FrmE2PROMPaint(void* pWndObj);
int FrmE2PROMExit(void* pWndObj);
constexpr WNDFUNC FrmE2PROMLoop = ScreenLoopOnce;
constexpr WNDFUNC FrmE2PROMPause = ScreenIdle;
constexpr WNDFUNC FrmE2PROMResume = ScreenIdle;

constexpr SCREEN_ENTRY FrmE2PROM = {FrmE2PROMInit, FrmE2PROMExit, FrmE2PROMPaint, FrmE2PROMLoop};
