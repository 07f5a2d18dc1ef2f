// The optical module's calibration: the tuning record that the optic driver keeps, and the module's
// temperature.
#pragma once

#include <stddef.h>
#include <stdint.h>

// 96 bytes, little-endian, as read from and written to offset 0 of /dev/optic0. Of the register codes only
// the low 16 bits count.
struct OPM_TUNING {
    uint32_t iAtt0;
    uint32_t iAtt1;
    uint32_t iApdBias[4];
    uint32_t iVddValue[4];
    float iTemperatureSet;       // module temperature in degrees Celsius for which the APD codes hold
    uint32_t iApdVoltageSet[6];  // APD high-voltage codes
    float fTempCoefficient[6];   // APD codes per degree
    int32_t OffsetPoint;         // fibre-length offset in samples
};
static_assert(sizeof(OPM_TUNING) == 96, "size of the stored record");
static_assert(offsetof(OPM_TUNING, iApdBias) == 8, "stored layout");
static_assert(offsetof(OPM_TUNING, iVddValue) == 24, "stored layout");
static_assert(offsetof(OPM_TUNING, iTemperatureSet) == 40, "stored layout");
static_assert(offsetof(OPM_TUNING, iApdVoltageSet) == 44, "stored layout");
static_assert(offsetof(OPM_TUNING, fTempCoefficient) == 68, "stored layout");
static_assert(offsetof(OPM_TUNING, OffsetPoint) == 92, "stored layout");
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the record is transferred as it lies in memory");
using POPM_TUNING = OPM_TUNING*;

// The record of the process, reached through the pointer.
extern OPM_TUNING cOpmTunning;
extern POPM_TUNING pOpmTunning;

// Reads the record from the driver and prints it. A failed read leaves the record as it was, a driver that
// always gives fewer bytes leaves the rest. A read that a signal broke off is repeated.
void GetOpmTunning();

// Writes the record to the driver. A write that a signal broke off is done anew, the whole record from its
// beginning.
void SaveOpmTunning();

// Reads the module temperature in degrees Celsius, prints it and shows it on the APD adjust screen. Returns
// the driver's result; -1 on failure (or null), which leaves *pTemperature as it was.
int GetOpmTemperature(int iOpmFd, float* pTemperature);

// Text of one value of the record, as the screens show it, into pText (iSize bytes): lines 0 to TUNING_LINES
// - 1 in the order of the record as it is looked at. -1 for another line or null, which leaves pText; 0.
constexpr int TUNING_LINES = 24;
int FormatTuningLine(int iLine, char* pText, size_t iSize);

// Saves the record, reads it back, shows each of its values on the OPM adjust screen for one second, and
// returns the output control register to its resting value. Returns 0.
int OPMSaveData2E2PROM();
