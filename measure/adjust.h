// Adjustment loops: find the DAC codes that set VDD, the APD high voltage and the two attenuator offsets to
// their targets, by writing a code, measuring the voltage through the measurement board, and stepping. Each
// loop runs on a worker thread and reports on its line of the OPM adjust screen.
#pragma once

#include <stdint.h>

#include "device/opm_registers.h"
#include "gui/guibase.h"

// A code with the voltage measured at it.
struct OPM_Value {
    uint16_t reg;
    float adc;  // volts
};

struct OPM_TUNING_RESULT {
    OPM_Value Apd_Result[5];
    OPM_Value Vdd_Result[4];
    OPM_Value ApdBias_Result[4];  // not filled by these loops
    OPM_Value Att0_Result[1];
    OPM_Value Att1_Result[1];
    OPM_Value Apd_break_voltage[1];
};

extern OPM_TUNING_RESULT OpmTuningResult;
extern uint32_t BlackLevelVoltage;  // dark level after the ATT1 loop, ADC codes; NO_BLACK_LEVEL: not measured
extern float adcValue;              // last reading of a loop's own channel, volts

// Targets (volts), and the codes that the searches for them start from.
extern const float VddObjValue[4];
extern const uint16_t VddRegObjValue[4];
extern const float ApdObjValue[5];
extern const uint16_t ApdRegObjValue[5];
extern const uint16_t Att0RegObjValue;
extern const uint16_t Att1RegObjValue;
extern const uint16_t ApdBiasRegObjValue[6][4];  // kept for the APD-bias setting; the loops do not use it

// Run permission of every loop: 0 ends it, with status 0, before its next reading, as the end of the
// program does. Read and write it with these.
extern int iStopThreadFlag;
int GetStopThreadFlag();
void SetStopThreadFlag(int iFlag);

// The loops for wavelength index waveLen (0 to 3). Return 0; OPM_ERR_WAVELEN; OPM_ERR_TRY_TIMEOUT; or the
// status of the last reading. OPMAdjustVdd goes on after a target that it missed, so its status is that of
// the last target.
int32_t OPMAdjustVdd(OTDRWaveLen waveLen);
int32_t OPMAdjustAPD(int32_t waveLen);
int32_t OPMAdjustAtt0(OTDRWaveLen waveLen);
int32_t OPMAdjustAtt1(OTDRWaveLen waveLen);

// The attenuator loops of the OPM test screen: fewer tries, nothing shown, nothing stored. Return 1, or
// OPM_ERR_TRY_TIMEOUT; 1 also when stopped before the first reading.
int32_t OPMFCTAdjustAtt0(OTDRWaveLen waveLen);
int32_t OPMFCTAdjustAtt1(OTDRWaveLen waveLen);

// Thread bodies, argument: the wavelength index. Show the result, save it in the tuning record, hand a status
// that is not 0 to the error handler, and end with a pointer to the status.
void* OPMAdjustVddThd(void* pArg);
void* OPMAdjustAPDThd(void* pArg);
void* OPMAdjustAtt0Thd(void* pArg);
void* OPMAdjustAtt1Thd(void* pArg);
void* OPMAdjustAutoThd(void* pArg);
void* OPMAdjustAllThd(void* pArg);

// Runs the four thread bodies one after another. Returns the result of the last thread creation.
int32_t OPMAdjustAuto();

// Runs the timed APD tuning (60 minutes' delay) with the tuning record's ATT0 code. Returns 0.
int32_t OPMAutoTuning();

// Shows the four voltages once. Returns the status of the last reading.
int32_t OPMAdjustShow();

// Shows one reading on the adjust screen's information line.
void ShowADValue(float fValue, uint32_t tryTimes, uint16_t reg);

// The line that the loops write their texts into: adBuffer, AD_BUFFER_SIZE bytes.
char* LineText();
// Writes a reading into it: volts, tries left, code.
void FormatReading(float fValue, int iTries, uint16_t usCode);
