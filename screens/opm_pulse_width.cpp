#include <stdio.h>

#include "device/common_opt.h"
#include "device/serial_link.h"
#include "screens/opm_check.h"
#include "screens/wnd_global.h"

struct PULSE_POINT {
    AdcChanel Channel;
    const char* pName;
    uint16_t usCtrl0;
    uint16_t usCtrl1;
    bool bNameFirst;  // the line starts with the test point, not with the verdict
    int* pFlag;
};

int PulseWidthFlag1 = 0, PulseWidthFlag2 = 0, PulseWidthFlag3 = 0, PulseWidthFlag4 = 0;
uint32_t fadcValue_len[FCT_WIDTH_CHANNELS] = {};

static const PULSE_POINT PulsePoints[] = {
    {ADC_TP2, "TP2", 0x4300, 1, true, &PulseWidthFlag1},
    {ADC_TP3, "TP3", 0x6300, 337, false, &PulseWidthFlag2},
    {ADC_TP4, "TP4", 0x6300, 337, false, &PulseWidthFlag3},
    {ADC_TP1_0, "TP1", 0x4301, 1, false, &PulseWidthFlag4},
};

constexpr uint16_t APD_BIAS_CODE = 1387;
constexpr uint16_t WRITE_MS = 10;
constexpr uint32_t WIDTH_LEAST = 11;
constexpr uint32_t WIDTH_MOST = 29;

static void SetControl(uint16_t usCtrl0, uint16_t usCtrl1) {
    const REG_STEP steps[] = {{OPM_CTRL0_REG, usCtrl0, WRITE_MS}, {OPM_CTRL1_REG, usCtrl1, WRITE_MS}};
    RunRegSequence(opticFD, steps);
}

bool OpmPulseWidthPasses(uint32_t uiWidth) {
    return uiWidth >= WIDTH_LEAST && uiWidth <= WIDTH_MOST;
}

static void ShowPoint(int iLine, const PULSE_POINT& Point, float fValue, uint32_t uiWidth) {
    const bool bPass = OpmPulseWidthPasses(uiWidth);
    const char* pVerdict = bPass ? "OK" : "F.";
    char strLine[80] = "";
    snprintf(strLine, sizeof(strLine), " %s %s:    %7.5fV  pulse width: %d",
             Point.bNameFirst ? Point.pName : pVerdict, Point.bNameFirst ? pVerdict : Point.pName,
             static_cast<double>(fValue), static_cast<int>(uiWidth));
    *Point.pFlag = bPass;
    OpmShowData(iLine, strLine, bPass);
}

int32_t OPMFCTPulseWidthShow() {
    int32_t iResult = 0;
    int iLine = DATA_PULSE_WIDTH;
    fpga_init(cFpgaFileName);
    OPMSetApdBias(APD_BIAS_CODE);
    for (const PULSE_POINT& Point : PulsePoints) {
        float& fValue = fadcValue[Point.Channel];
        uint32_t& uiWidth = fadcValue_len[Point.Channel - ADC_TP1_0];
        fValue = NO_READING;
        uiWidth = 0;
        SetControl(Point.usCtrl0, Point.usCtrl1);
        iResult = OPMGetZhijuAdcValue(Point.Channel, ADCRANGE_2560MV, &fValue, &uiWidth, GET_Pulse_Width,
                                      LONG_REPLY);
        ShowPoint(iLine++, Point, fValue, uiWidth);
    }
    SetControl(0x4303, 1);
    return iResult;
}
