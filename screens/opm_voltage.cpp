#include <stdio.h>

#include "device/common_opt.h"
#include "device/serial_link.h"
#include "screens/opm_check.h"
#include "screens/wnd_global.h"

struct FCT_VOLTAGE {
    AdcChanel Channel;
    const char* pName;
    float fLow;  // volts
    float fHigh;
    int* pFlag;
};

int VoltageFlag1 = 0, VoltageFlag2 = 0, VoltageFlag3 = 0;
float fadcValue[FCT_CHANNELS] = {};

static const FCT_VOLTAGE Voltages[] = {
    {ADC_VSYSIO_3V3_TP109, "TP18", 1.0023469f, 1.1078570f, &VoltageFlag1},
    {ADC_OPM_7V_TP111, "TP16", 0.98560506f, 1.0893530f, &VoltageFlag2},
    {ADC_OPM_7V_TP114, "TP17", 0.98560596f, 1.0893539f, &VoltageFlag3},
};
constexpr int VOLTAGES = sizeof(Voltages) / sizeof(Voltages[0]);

constexpr uint16_t VDD_CODE = 760;  // at which the supplies are judged
constexpr unsigned SETTLE_MS = 500;

bool OpmVoltagePasses(int iPoint, float fValue) {
    return iPoint >= 0 && iPoint < VOLTAGES && Voltages[iPoint].fLow < fValue &&
           fValue < Voltages[iPoint].fHigh;
}

int32_t OPMFCTShow() {
    int32_t iResult = 0;
    OPMSetVdd(VDD_CODE);
    if (WaitUnlessExit(SETTLE_MS) != 0)
        return iResult;
    for (float& fValue : fadcValue)
        fValue = NO_READING;
    for (int i = 0; i < VOLTAGES; ++i) {
        const FCT_VOLTAGE& Point = Voltages[i];
        float& fValue = fadcValue[Point.Channel];
        iResult = OPMGetZhijuAdcValue(Point.Channel, ADCRANGE_2560MV, &fValue, nullptr, GET_ZHIJU_ADC_VALUE,
                                      SHORT_REPLY);
        const bool bPass = OpmVoltagePasses(i, fValue);
        *Point.pFlag = bPass;
        char strLine[80] = "";
        snprintf(strLine, sizeof(strLine), " %s  %s:  %7.5fV  ", bPass ? "OK" : "F.", Point.pName,
                 static_cast<double>(fValue));
        OpmShowData(DATA_VOLTAGE + i, strLine, bPass);
    }
    OpmResetDataFonts();
    return iResult;
}
