#include "device/common_opt.h"
#include "screens/opm_check.h"
#include "screens/voltage_check.h"
#include "screens/wnd_global.h"

int VoltageFlag1 = 0, VoltageFlag2 = 0, VoltageFlag3 = 0;
float fadcValue[FCT_CHANNELS] = {};

static const VOLTAGE_POINT Voltages[] = {
    {ADC_VSYSIO_3V3_TP109, "TP18", 1.0023469f, 1.1078570f},
    {ADC_OPM_7V_TP111, "TP16", 0.98560506f, 1.0893530f},
    {ADC_OPM_7V_TP114, "TP17", 0.98560596f, 1.0893539f},
};
static int* const Flags[] = {&VoltageFlag1, &VoltageFlag2, &VoltageFlag3};
constexpr int VOLTAGES = sizeof(Voltages) / sizeof(Voltages[0]);

constexpr uint16_t VDD_CODE = 760;  // at which the supplies are judged
constexpr unsigned SETTLE_MS = 500;

bool OpmVoltagePasses(unsigned uiPoint, float fValue) {
    return uiPoint < VOLTAGES && VoltagePasses(Voltages[uiPoint], fValue);
}

int32_t OPMFCTShow() {
    int32_t iResult = 0;
    OPMSetVdd(VDD_CODE);
    if (WaitUnlessExit(SETTLE_MS) != 0)
        return iResult;
    for (float& fValue : fadcValue)
        fValue = NO_READING;
    for (int i = 0; i < VOLTAGES; ++i) {
        const VOLTAGE_READING Reading = MeasureVoltage(Voltages[i], " %s  %s:  %7.5fV  ");
        iResult = Reading.iResult;
        fadcValue[Voltages[i].Channel] = Reading.fValue;
        *Flags[i] = Reading.bPass;
        OpmShowData(DATA_VOLTAGE + i, Reading.strLine, Reading.bPass);
    }
    OpmResetDataFonts();
    return iResult;
}
