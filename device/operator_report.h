// What the routines below the screens tell the operator. The one upward path of the program: device/ and
// measure/ call these; the screens define them, each beside the line it writes. A unit test defines its own
// and keeps the text.
#pragma once

#include <stdint.h>

// OPM adjust screen: text of the information line, and of data line iBtnNo (1 APD, 2 VDD, 3 ATT0, 4 ATT1). A
// null text or another line number changes nothing. Return 0.
int FrmAdjustSetInfo(const char* pInfo);
int FrmAdjustSetDataInfo(const char* pInfo, int iBtnNo);

// OPM test screen: text of the information line. A null text changes nothing. Returns 0.
int FrmOPMSetInfo(const char* pInfo);

// Main board test screen: text of the information line. A null text changes nothing. Returns 0.
int FrmMainBoardSetInfo(const char* pInfo);

// APD adjust screen: text of data panel 1 and 2. A null text changes nothing. Return 0.
int FrmApdAdjSetInfo1(const char* pInfo);
int FrmApdAdjSetInfo2(const char* pInfo);

// Optical check screen: text of the information line. A null text changes nothing. Returns 0.
int FrmOptcheckSetInfo(const char* pInfo);

// Show the message of status code err on the information line of the OPM adjust, main board and OPM test
// screen (device/opm_status.h has the codes). Return 0.
int32_t OPMAdjustErrorHandler(int32_t err);
int32_t MainBoardErrorHandler(int32_t err);
int32_t OPMOPMErrorHandler(int32_t err);

// APD adjust screen: redraw the empty trace area, and plot the samples of pApd_Break_Para into it.
void initTraceArea();
void DrawCurve();
