// OPM test: the supply voltages, signal channels, EEPROM and temperature of the optical module's board. The
// checks themselves are in opm_check.h.
#pragma once

#include "device/operator_report.h"
#include "screens/wnd_global.h"

int FrmOPMInit(void* pWndObj);
int FrmOPMPaint(void* pWndObj);
int FrmOPMExit(void* pWndObj);
constexpr WNDFUNC FrmOPMLoop = ScreenLoopOnce;
constexpr WNDFUNC FrmOPMPause = ScreenIdle;
constexpr WNDFUNC FrmOPMResume = ScreenIdle;

constexpr SCREEN_ENTRY FrmOPM = {FrmOPMInit, FrmOPMExit, FrmOPMPaint, FrmOPMLoop};

// Looks of a button with its caption. Return 0.
constexpr BTN_LOOK_FUNC FrmOPMSetBtnEnable = ShowBtn_Enable;
constexpr BTN_LOOK_FUNC FrmOPMSetBtnDisable = ShowBtn_Disable;
// Whether the four test buttons take input; their looks stay. Returns 0.
int FrmOPMSetAllBtnEnable(int iEnable);
