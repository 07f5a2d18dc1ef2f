// APD adjust: the timed APD calibration, its progress, and the samples it collects as a curve.
#pragma once

#include "device/operator_report.h"
#include "screens/wnd_global.h"

int FrmAPDAdjInit(void* pWndObj);
int FrmAPDAdjPaint(void* pWndObj);
int FrmAPDAdjExit(void* pWndObj);
constexpr WNDFUNC FrmAPDAdjLoop = ScreenLoopOnce;
constexpr WNDFUNC FrmAPDAdjPause = ScreenIdle;
constexpr WNDFUNC FrmAPDAdjResume = ScreenIdle;

constexpr SCREEN_ENTRY FrmAPDAdj = {FrmAPDAdjInit, FrmAPDAdjExit, FrmAPDAdjPaint, FrmAPDAdjLoop};

// 1 while a calibration thread that the screen started is to be joined.
extern int iCreateThreadSuccessFlag;

// Disables Stop, enables E2PROM and shows it. For the end of a calibration.
void SetBtnF3Able();

// Body of the calibration thread; the argument is unused.
void* APDAdjustThd(void* pArg);
