#include "gui/guischeduler.h"
#include "screens/mainboard_check.h"
#include "screens/voltage_check.h"

// Nominal voltage at the fixture's divider with a band of 5 % (10 % for the last three).
static const VOLTAGE_POINT VoltagePoints[MAINBOARD_POINTS] = {
    {ADC_VSYS_TP97, "TP97: ", 1.01909f, 1.12636f},
    {ADC_VSYS_1V8_TP103, "TP103:", 0.97251f, 1.07488f},
    {ADC_VSYSIO_3V3_TP109, "TP109:", 1.00235f, 1.10786f},
    {ADC_ARM_1V0_TP105, "TP105:", 0.95f, 1.05f},
    {ADC_VSYS_5V_TP107, "TP107:", 0.98315f, 1.08664f},
    {ADC_OPM_PWR_5V_TP113, "TP113:", 0.98315f, 1.08664f},
    {ADC_FPGA_CORE_1V2_TP100, "TP100:", 0.95311f, 1.05344f},
    {ADC_ADC_3V_TP99, "TP99: ", 0.96259f, 1.06391f},
    {ADC_MCU_3V3_TP127, "TP57:", 1.00235f, 1.10786f},
    {ADC_VSYSIO_SD_3V3_TP24, "TP24: ", 1.00235f, 1.10786f},
    {ADC_OPM_7V_TP114, "TP114:", 0.93373f, 1.14123f},
    {ADC_5V_A1, "TP36:", 0.93373f, 1.14123f},
    {ADC_3_3V_A_TP14, "TP68:", 0.93373f, 1.14123f},
};

bool MainBoardPointPasses(unsigned uiPoint, float fValue) {
    return uiPoint < MAINBOARD_POINTS && VoltagePasses(VoltagePoints[uiPoint], fValue);
}

void MainBoardFCTShow() {
    MainBoardResult.ValFlag = 0;
    MainBoardClearResult();
    for (int i = 0; i < MAINBOARD_POINTS && GetExitFlag() != 1; ++i) {
        const VOLTAGE_READING Reading = MeasureVoltage(VoltagePoints[i], " %s  %s  %7.5fV  ");
        MainBoardResult.ValFlag += Reading.bPass;
        MainBoardShowLine(i, Reading.strLine, Reading.bPass);
    }
}
