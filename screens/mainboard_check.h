// What the checks of the main board screen share: their results, kept for the summary of the automatic run,
// and the result area that they write into. Every check runs on the window thread and breaks off when the
// program is ending.
#pragma once

#include <linux/rtc.h>
#include <stdint.h>

constexpr int MAINBOARD_POINTS = 13;  // test points of the voltage check, one data line each

enum {
    ADC_FLAG_FAIL = 0,
    ADC_FLAG_PASS = 1,
    ADC_FLAG_ABSENT = 2,  // nothing could be acquired
};

struct MAINBOARD_RESULT {
    int ValFlag;     // test points within their band, 0 to MAINBOARD_POINTS
    int AdcFlag;     // ADC_FLAG_...
    int EepromFlag;  // 1 pass, 0 fail, as the rest
    int UsbFlag;
    int DdrFlag;
    int SDcardFlag;
};
extern MAINBOARD_RESULT MainBoardResult;

// ---- Result area ----

// Redraws the empty frame.
void MainBoardClearResult();
// Writes a text into the large result label of the otherwise empty frame, in the pass or the fail font. Texts
// that are no verdict but call for attention take the fail font.
void MainBoardShowResult(const char* pText, bool bPass);
// Writes a text into data line iLine (0 to MAINBOARD_POINTS - 1).
void MainBoardShowLine(int iLine, const char* pText, bool bPass);

// Shows the kept results of the checks that the automatic run goes through, one line each.
void MainBoardShowSummary();

// ---- Checks; each shows its result ----

// Supply voltages at the test points.
void MainBoardFCTShow();
// True when a reading in volts lies within the band of test point uiPoint (0 to MAINBOARD_POINTS - 1).
bool MainBoardPointPasses(unsigned uiPoint, float fValue);
// ADC path: one acquisition.
void AdcCheck();
// Whether its result in volts passes: the limits themselves fail.
bool MainBoardAdcPasses(double fVolts);
// The board's EEPROM: writes its record and reads it back.
void ArmEepromCheck();
// The optical module's EEPROM: writes its test page. No button uses it. Codes of eeprom_write_check.
int32_t EepromCheck();
// The FPGA drives the speaker: to be heard, no verdict.
void SpeakerCheck();
// USB: 0 when exactly one storage device is attached, else -1. ShowUsbCheck shows the verdict.
int UsbCheck();
void ShowUsbCheck();
// The FPGA's DDR memory.
void FpgaDdrCheck();
// Switches the visible light source on or off: to be seen, no verdict.
void VisibleOnOff();
// Switches it off and waits for its thread; harmless when it is off.
void VisibleClose();
// Battery state as the power controller tells it.
void BatteryCheck();
// Time and date of the clock.
void RtcCheck();
// SD card: a positive number when a file can be opened for writing, -1 no card, -2 not writable.
// ShowSDcardCheck shows the verdict.
int SDcardCheck();
void ShowSDcardCheck();

// ---- Devices ----

// Reads the clock. 0, or -1 when it cannot be opened or read.
int Rtc_GetTime(struct rtc_time* pTime);

// The power controller's record.
struct PWRINFO {
    uint8_t ucStateDc;    // 1: external supply
    uint8_t ucStateBat;   // 1: battery present
    uint8_t ucStateFull;  // 1: battery full
    uint8_t ucStateType;  // scale of the level: 0 rising, else falling with the voltage
    uint8_t ucStatePd;
    uint8_t ucPowerLevel;
};
// Reads and prints the record from the open controller. 0, or -1 on a short read.
int Pwr_GetInfo(int iPwrFd, PWRINFO* pInfo);
// Text of the result line for a record, written into pText (iSize bytes).
void FormatBatteryText(const PWRINFO& Info, char* pText, unsigned uiSize);
