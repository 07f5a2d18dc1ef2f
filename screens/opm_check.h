// What the checks of the OPM test screen share: their results, and the lines that they write. Every check
// runs on the window thread and breaks off when the program is ending.
#pragma once

#include <stdint.h>

// Results, 1 pass, 0 fail.
extern int PulseWidthFlag1, PulseWidthFlag2, PulseWidthFlag3, PulseWidthFlag4;  // TP2, TP3, TP4, TP1
extern int VoltageFlag1, VoltageFlag2, VoltageFlag3;                            // TP18, TP16, TP17
extern int EepromFlag;

// Measured values: volts by channel, and the pulse widths of channels 36 to 42.
constexpr int FCT_CHANNELS = 43;
constexpr int FCT_WIDTH_CHANNELS = 7;
extern float fadcValue[FCT_CHANNELS];
extern uint32_t fadcValue_len[FCT_WIDTH_CHANNELS];

// ---- Lines of the data frame ----

// Five result lines: the signal channels 6300, 6301, 6303 and 6307; EEPROM and temperature.
enum OPM_RESULT_LINE {
    RESULT_6300,
    RESULT_6301,
    RESULT_6303,
    RESULT_6307,
    RESULT_MODULE,
    OPM_RESULT_LINES,
};
constexpr int OPM_DATA_LINES = 20;
constexpr int DATA_VOLTAGE = 1;      // first data line of the voltage check
constexpr int DATA_PULSE_WIDTH = 4;  // and of the pulse-width check

// Writes a text into a result line, or into data line iLine (1 to 20), in the font of passing or failing
// lines.
void OpmShowResult(OPM_RESULT_LINE Line, const char* pText, bool bPass);
void OpmShowData(int iLine, const char* pText, bool bPass);
// Sets every data line back to the font of passing lines; the texts shown keep their colour.
void OpmResetDataFonts();

// ---- Checks; each shows its result ----

// Three supply voltages. Returns the result of the last request (codes of OPMGetZhijuAdcValue).
int32_t OPMFCTShow();
// Whether a reading of supply voltage uiPoint (0 to 2), in volts, passes: the limits themselves fail.
bool OpmVoltagePasses(unsigned uiPoint, float fValue);

// Pulse widths at four test points. No button is bound to it. Returns the result of the last request.
int32_t OPMFCTPulseWidthShow();
// Whether a pulse width (counts) passes: 11 to 29.
bool OpmPulseWidthPasses(uint32_t uiWidth);

// The four signal channels of the receiver chain. ChnnelMode1 adjusts the attenuators first. Return 0 once
// the last line is shown, whatever the channel's verdict; -1 when an attenuator cannot be adjusted
// (ChnnelMode1) or when the program is ending.
int32_t ChnnelMode1();
int32_t ChnnelMode2();
int32_t ChnnelMode3();
int32_t ChnnelMode4();
// Verdict on the mean of a round (ADC codes): the DAC's 0 output must not lie above, its 1 output not below,
// the middle of the scale.
bool ChannelRoundPasses(int iDac, int iAdc);

// Writes the test page to the module's EEPROM and brings the FPGA back. Returns 0 or a code of
// eeprom_write_check. ShowOpmEepromCheck shows the verdict.
int32_t OpmEepromCheck();
void ShowOpmEepromCheck();
// Module temperature.
void ShowOpmTemperature();
