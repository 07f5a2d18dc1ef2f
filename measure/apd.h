// Avalanche photodiode: breakdown voltage at the present temperature, its fit over temperature, the timed
// tuning that collects the samples, and the light-path check of one wavelength.
#pragma once

#include <stdint.h>

#include "device/opm_registers.h"
#include "measure/numeric/numeric.h"

// Run permission of the APD calibration: 0, or the end of the program, stops it at the next
// check, within about a second.
extern int iAPDAdjStopFlag;
int GetAPDAdjStopFlag();
void SetAPDAdjStopFlag(int iFlag);

// ATT0 code of the noise measurements; the searches adjust it and it is kept between them.
extern uint32_t iATT0;

// Measures one breakdown sample and adds it, in order of temperature. Returns 0; -1 when stopped, when the
// code limit was passed, when the temperature could be read neither before nor after the search, or when the
// record (50 samples) is full or missing. The APD is left at code 2048.
int GetBreakVoltage(APD_BREAK_PARA* pPara);

// Fits code = k * temperature + b with outliers taken out, and stores the APD settings of the line in the
// tuning record, which is saved. With fewer than 10 samples nothing changes. *pk and *pb receive the line.
void GetApdCoefficient(float* pk, float* pb, APD_BREAK_PARA* pPara);

// APD settings of the tuning record from a breakdown code at temperature ftemp (degrees) with slope k (codes
// a degree). A code below 1600 changes nothing.
void ChangeOpmTunning(uint16_t ibreakvoltage, float ftemp, float k);

// The timed collection: a trial, DelayTime minutes of warming up, then a sample for every degree, until 55
// degrees or 45 samples. Stopped by iAPDAdjStopFlag.
void APDTuning(APD_BREAK_PARA* pPara, uint32_t DelayTime);

// Light path of one wavelength: 1 good, -1 bad, 0 stopped (by iStopThreadFlag), -2 the breakdown search ran
// off the top, -8 its tries were spent. An acquisition that does not end is bad; the operator is told. The
// APD keeps its operating point after a judgement of the traces; when the check ends anywhere else in or
// after the breakdown search, or for want of an acquisition, it is left at APD_REST_CODE.
int32_t LightRoadJust(OTDRWaveLen waveLen);
