// Pulse width: sets the optical module into one of six fixed laser configurations, for measuring the emitted
// pulse with external instruments. No other screen opens it.
#pragma once

#include "screens/wnd_global.h"

int FrmPulseWidInit(void* pWndObj);
int FrmPulseWidPaint(void* pWndObj);
int FrmPulseWidExit(void* pWndObj);
constexpr WNDFUNC FrmPulseWidLoop = ScreenLoopOnce;
constexpr WNDFUNC FrmPulseWidPause = ScreenIdle;
constexpr WNDFUNC FrmPulseWidResume = ScreenIdle;

constexpr SCREEN_ENTRY FrmPulseWid = {FrmPulseWidInit, FrmPulseWidExit, FrmPulseWidPaint, FrmPulseWidLoop};

// Reload the FPGA and write one configuration, 4.4 s of waits in all. The shadows of the control registers
// stay as they were. Return 0.
int PulseMode1();
int PulseMode2();
int PulseMode3();
int PulseMode4();
int PulseMode5();
int PulseMode6();

// Asks for patience in the data text.
void ShowWait();
