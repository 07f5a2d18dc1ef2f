#include "device/opm_registers.h"

#include "device/opm_map.h"
#include "device/opm_status.h"
#include "device/opt_access.h"
#include "measure/numeric/numeric.h"

OPM_REG_VALUE OpmRegValue[WAVE_LEN_MAX];

uint16_t CurrCtrl0 = 0;
uint16_t CurrCtrl1 = 0;

const uint16_t FrontAmpCode[4] = {0, 1, 3, 7};
const uint16_t ResistorCode[4] = {0, 1, 2, 3};

// Phase shift of the four ramps that OPMSetPhase loads.
constexpr uint8_t PHASE_CYCLE = 210;

static int32_t SetRegister(uint32_t uiAddr, uint32_t uiValue) {
    return write_opt_reg(opticFD, uiAddr, &uiValue) == 0 ? 0 : OPM_ERR_REG_WRITE;
}

static int32_t SetDac(uint32_t uiAddr, uint16_t value) {
    return SetRegister(uiAddr, value & 0x0FFFu);
}

int32_t OPMSetApd(uint16_t value) {
    return SetDac(OPM_APD_REG, value);
}

int32_t OPMSetVdd(uint16_t value) {
    return SetDac(OPM_VDD_REG, value);
}

int32_t OPMSetApdBias(uint16_t value) {
    return SetDac(OPM_APD_BIAS_REG, value);
}

int32_t OPMSetAtt0(uint16_t value) {
    return SetDac(OPM_ATT0_REG, value);
}

int32_t OPMSetAtt1(uint16_t value) {
    return SetDac(OPM_ATT1_REG, value);
}

// Puts value into the bits of mask, which starts at bit uiShift, of a control register and of its shadow.
static int32_t SetBits(uint32_t uiAddr, uint16_t& usShadow, uint32_t uiMask, unsigned uiShift,
                       uint16_t value) {
    usShadow = static_cast<uint16_t>((usShadow & ~uiMask) | ((uint32_t{value} << uiShift) & uiMask));
    return SetRegister(uiAddr, usShadow);
}

int32_t OPMSetFrontAmp(uint16_t value) {
    return SetBits(OPM_CTRL0_REG, CurrCtrl0, 0x0007, 0, value);
}

int32_t OPMSetResistorAmp(uint16_t value) {
    return SetBits(OPM_CTRL0_REG, CurrCtrl0, 0x0300, 8, value);
}

int32_t OPMSetWaveLen(uint16_t value) {
    return SetBits(OPM_CTRL1_REG, CurrCtrl1, 0x00C0, 6, value);
}

int32_t OPMSetPhase() {
    static_assert(PHASE_BYTES == 2 * OPM_PHASE_COUNT, "two bytes a register");
    uint8_t ucPhase[PHASE_BYTES] = {};
    uint32_t uiTable[OPM_PHASE_COUNT] = {};
    CalShiftPhase4_90(PHASE_CYCLE, ucPhase);
    for (size_t i = 0; i < OPM_PHASE_COUNT; ++i)
        uiTable[i] = ucPhase[2 * i] | uint32_t{ucPhase[2 * i + 1]} << 8;

    int32_t iSum = 0;
    for (unsigned i = 1; i < OPM_PHASE_COUNT; ++i)
        iSum += write_opt_reg(opticFD, OPM_PHASE_REG + 2 * i, &uiTable[i]);
    // The first entry is written after all the others, and its result is not part of the sum.
    write_opt_reg(opticFD, OPM_PHASE_REG, &uiTable[0]);
    return iSum;
}
