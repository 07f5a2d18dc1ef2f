// The main board test: one button a check, and all of them in one run. The checks themselves are in
// mainboard_check.h.
#pragma once

#include "device/operator_report.h"
#include "screens/wnd_global.h"

int FrmMainBoardInit(void* pWndObj);
int FrmMainBoardPaint(void* pWndObj);
int FrmMainBoardExit(void* pWndObj);
constexpr WNDFUNC FrmMainBoardLoop = ScreenLoopOnce;
constexpr WNDFUNC FrmMainBoardPause = ScreenIdle;
constexpr WNDFUNC FrmMainBoardResume = ScreenIdle;

constexpr SCREEN_ENTRY FrmMainBoard = {FrmMainBoardInit, FrmMainBoardExit, FrmMainBoardPaint,
                                       FrmMainBoardLoop};

// Enabled and disabled look of a button. Return 0.
constexpr BTN_LOOK_FUNC FrmMainBoardSetBtnEnable = ShowBtn_Enable;
constexpr BTN_LOOK_FUNC FrmMainBoardSetBtnDisable = ShowBtn_Disable;

// Ends what the screen leaves running when it is left, the visible light source. Before the optical tests,
// and at the end of the program.
void FrmMainBoardRelease();
