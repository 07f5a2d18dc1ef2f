#include <stdio.h>

#include "device/common_opt.h"
#include "measure/acquisition.h"
#include "screens/mainboard_check.h"
#include "screens/wnd_global.h"

constexpr unsigned NOTICE_MS = 1000;
constexpr ACQ_TIMING AdcTiming = {300, 10, 10, 10};

constexpr uint16_t SAMPLE_COUNT = 2048;
constexpr unsigned AVERAGE_FIRST = 1000;  // samples after the amplifier has settled
constexpr unsigned AVERAGE_COUNT = 1000;

// Volts from the converter's code: its zero, its codes for the reference, and the reference.
constexpr double ADC_ZERO = 32290.0;
constexpr double ADC_SPAN = 33245.0;
constexpr double ADC_REFERENCE = 0.5;
constexpr double ADC_LOW = 0.2;  // the test signal; the limits themselves fail
constexpr double ADC_HIGH = 0.3;

static const REG_STEP SetUpSteps[] = {
    {FPGA_CTRLOUT_REG, CTRLOUT_REST, 10},
    {OPM_ACQ_32_REG, 32, 30},
    {OPM_ACQ_32_REG, REG_READ, 0},
    {OPM_ACQ_30_REG, 8, 30},
    {OPM_ACQ_30_REG, REG_READ, 0},
    {OPM_ACQ_1E_REG, 1, 30},
    {OPM_ACQ_24_REG, 0, 1},
    {OPM_ACQ_22_REG, 0, 1},
    {OPM_ACQ_1C_REG, 0, 30},
    {OPM_ACQ_1A_REG, 4096, 30},
    {OPM_ACQ_20_REG, 1024, 30},
};

static double Average(const uint16_t* pSamples) {
    uint32_t uiSum = 0;
    for (unsigned i = 0; i < AVERAGE_COUNT; ++i)
        uiSum += pSamples[AVERAGE_FIRST + i];
    return static_cast<double>(uiSum) / AVERAGE_COUNT;
}

bool MainBoardAdcPasses(double fVolts) {
    return ADC_LOW < fVolts && fVolts < ADC_HIGH;
}

void AdcCheck() {
    static uint16_t usSamples[SAMPLE_COUNT];
    MainBoardResult.AdcFlag = ADC_FLAG_ABSENT;
    MainBoardShowResult("Please, wait aboult 10 sec!", false);
    if (WaitUnlessExit(NOTICE_MS) != 0)
        return;
    const bool bAcquired = RunRegSequence(opticFD, SetUpSteps) == 0 &&
                           AcquireSamples(AdcTiming, checkWait, usSamples, SAMPLE_COUNT) == 0;
    EndAcquisition();
    if (!bAcquired) {
        MainBoardShowResult("ADC Check ERROR, Maybe not connect!", false);
        return;
    }
    const double fResult = (Average(usSamples) - ADC_ZERO) / ADC_SPAN * ADC_REFERENCE;
    if (WaitUnlessExit(NOTICE_MS) != 0)
        return;
    const bool bPass = MainBoardAdcPasses(fResult);
    MainBoardResult.AdcFlag = bPass ? ADC_FLAG_PASS : ADC_FLAG_FAIL;
    char strText[64] = "";
    snprintf(strText, sizeof(strText), bPass ? " OK! result = %f" : " not OK! result = %f ", fResult);
    MainBoardShowResult(strText, bPass);
}
