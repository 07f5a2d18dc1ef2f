// The optical module's analog chain: setters of its control registers, their shadows, and the values that the
// adjustment loops settle on.
#pragma once

#include <stddef.h>
#include <stdint.h>

enum OTDRWaveLen : int32_t {
    WAVE_LEN_1310 = 0,
    WAVE_LEN_1550 = 1,
    WAVE_LEN_1625 = 2,
    WAVE_LEN_MAX = 3,
};

// Register values found for one wavelength.
struct OPM_REG_VALUE {
    uint16_t iVddValue[4];    // one a VDD target
    uint16_t iApdValue[6];    // one an APD target
    uint16_t iApdBias[6][4];  // one an APD target and bias target
    uint16_t iAtt0Value[4];
    uint16_t iAtt1Value[4];
};
static_assert(sizeof(OPM_REG_VALUE) == 84, "no padding between the codes");

// One record a wavelength, indexed by OTDRWaveLen.
extern OPM_REG_VALUE OpmRegValue[WAVE_LEN_MAX];

// Last values that the setters wrote (or tried to write) to OPM_CTRL0_REG and OPM_CTRL1_REG. The start-up
// leaves 0x50 in CurrCtrl1, the first of the two values that it writes. Whoever writes those registers
// directly leaves the shadows stale.
extern uint16_t CurrCtrl0;
extern uint16_t CurrCtrl1;

// The codes that OPMSetFrontAmp and OPMSetResistorAmp are given.
extern const uint16_t FrontAmpCode[4];
extern const uint16_t ResistorCode[4];

// APD code that the module rests at, some 41 V: what a search leaves behind, and the end of the program.
constexpr uint16_t APD_REST_CODE = 2048;

// Set a 12-bit DAC; higher bits of value are dropped. Return 0, or OPM_ERR_REG_WRITE.
int32_t OPMSetApd(uint16_t value);
int32_t OPMSetVdd(uint16_t value);
int32_t OPMSetApdBias(uint16_t value);
int32_t OPMSetAtt0(uint16_t value);
int32_t OPMSetAtt1(uint16_t value);

// Change their own bits of the control registers and keep the others, starting from the shadow: the front
// amplifier (3 bits), the transimpedance resistor (2 bits) and the wavelength (2 bits, OTDRWaveLen). The
// shadow takes the new value even when the write fails. Return 0, or OPM_ERR_REG_WRITE.
int32_t OPMSetFrontAmp(uint16_t value);
int32_t OPMSetResistorAmp(uint16_t value);
int32_t OPMSetWaveLen(uint16_t value);

// Loads the phase table, entry 0 last. Returns the sum of the results of the first 31 writes, 0 when all
// succeeded.
int32_t OPMSetPhase();
