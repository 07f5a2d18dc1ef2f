// OPM adjust: the four calibration loops of the optical module, one a button, with the readings of each on
// its own line.
#pragma once

#include "device/operator_report.h"
#include "screens/wnd_global.h"

// -1 when the share's mutex cannot be made.
int FrmAdjustInit(void* pWndObj);
int FrmAdjustPaint(void* pWndObj);
int FrmAdjustExit(void* pWndObj);

constexpr SCREEN_ENTRY FrmAdjust = {FrmAdjustInit, FrmAdjustExit, FrmAdjustPaint, nullptr};

// Looks of a button with its caption: active, enabled, disabled. Return 0.
int FrmAdjustSetBtnActive(GUIPICTURE* pObjBtn, GUILABEL* pObjLbl);
constexpr BTN_LOOK_FUNC FrmAdjustSetBtnEnable = ShowBtn_Enable;
constexpr BTN_LOOK_FUNC FrmAdjustSetBtnDisable = ShowBtn_Disable;
// Whether the four loop buttons take input; their looks stay. Returns 0.
int FrmAdjustSetAllBtnEnable(int iEnable);
