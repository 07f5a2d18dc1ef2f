// Optical check: the light path at both wavelengths, and the fibre-length offset.
#pragma once

#include "device/operator_report.h"
#include "screens/wnd_global.h"

int FrmOptcheckInit(void* pWndObj);
int FrmOptcheckPaint(void* pWndObj);
int FrmOptcheckExit(void* pWndObj);

constexpr SCREEN_ENTRY FrmOptcheck = {FrmOptcheckInit, FrmOptcheckExit, FrmOptcheckPaint, nullptr};

// Text of data line iLine (1 light path, 2 offset). A null text or another line number changes nothing.
// Returns 0.
int FrmOptcheckSetDataInfo(const char* pInfo, int iLine);
