#include <stdio.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "device/operator_report.h"
#include "gui/guibase.h"
#include "gui/guischeduler.h"
#include "measure/acquisition.h"
#include "measure/apd.h"
#include "measure/common_opm.h"

int iAPDAdjStopFlag = 1;
uint32_t iATT0 = 800;

int GetAPDAdjStopFlag() {
    return GetExitFlag() == 1 ? 0 : __atomic_load_n(&iAPDAdjStopFlag, __ATOMIC_ACQUIRE);
}

void SetAPDAdjStopFlag(int iFlag) {
    __atomic_store_n(&iAPDAdjStopFlag, iFlag, __ATOMIC_RELEASE);
}

// The operator has a Stop, so an acquisition may take as long as it likes.
const ACQ_WAIT calibrationWait = {&iAPDAdjStopFlag, 0, false};

constexpr uint16_t LAST_APD = 3872;
constexpr int RAMP_STEPS = 200;
constexpr int MEAN_HIGH = 63000;  // ADC codes that the ATT0 search keeps the dark level between
constexpr int MEAN_LOW = 58000;
constexpr uint32_t ATT0_MOST = 4080;
constexpr uint32_t ATT0_LEAST = 16;

struct NOISE {
    float fStd;   // ADC codes, as measured
    float fBase;  // the same, but not less than 1.0
    int iMean;
};

static uint16_t StartCode(float fTemp) {
    return static_cast<uint16_t>(static_cast<int32_t>(fTemp * 5.0) + 1536);
}

// Moves iATT0 until the dark level is in its window. Returns 0, -1 when stopped.
static int SearchAtt0(NOISE& noise, int iFirstMean) {
    for (;;) {
        if (GetAPDAdjStopFlag() == 0)
            return -1;
        if (MeasureNoise(iATT0, calibrationWait) != 0)
            return -1;
        noise = {signalStd, signalStd < 1.0F ? 1.0F : signalStd, signalMean};
        printf("iATT0 = %d, std1: %5.2f std2: %5.2f mean1: %d mean2: %d\n", static_cast<int>(iATT0),
               static_cast<double>(noise.fStd), static_cast<double>(noise.fBase), noise.iMean, iFirstMean);
        MsecSleep(500);
        if (noise.iMean > MEAN_HIGH)
            iATT0 += 10;
        if (noise.iMean < MEAN_LOW)
            iATT0 -= 10;  // below zero it wraps to the top
        if (iATT0 > ATT0_MOST || iATT0 < ATT0_LEAST) {
            iATT0 = iATT0 > ATT0_MOST ? ATT0_MOST : ATT0_LEAST;
            return 0;
        }
        if (noise.iMean >= MEAN_LOW && noise.iMean <= MEAN_HIGH)
            return 0;
    }
}

// Raises the APD code until the noise is well above that of the start. Returns 0 with the code in apd, also
// when the steps are used up; -1 when stopped or past the last code. A breakdown seen at a noise below 30 is
// recorded one step above the code at which it was measured.
static int RampApd(const NOISE& noise, uint16_t& apd) {
    const float fFound = 5.0F * noise.fStd;
    const float fTooMuch = 100.0F * noise.fStd;
    float fStd = noise.fBase;
    for (int iSteps = RAMP_STEPS; !(fStd > fFound && fStd < fTooMuch) && iSteps > 0; --iSteps) {
        if (GetAPDAdjStopFlag() == 0)
            return -1;
        if (MeasureNoise(iATT0, calibrationWait) != 0)
            return -1;
        fStd = signalStd;
        char strText[100] = "";
        snprintf(strText, sizeof(strText), "Apd: %x , mean: %d , std: %5.2f ", apd, signalMean,
                 static_cast<double>(fStd));
        printf("%s", strText);
        FrmApdAdjSetInfo1(strText);
        if (fStd <= fFound || fStd < 30.0F) {
            apd = static_cast<uint16_t>(apd + 16);
            if (apd > LAST_APD)
                return -1;
            OPMSetApd(apd);
        } else if (fStd >= fTooMuch || noise.iMean - signalMean > 6000) {
            apd = static_cast<uint16_t>(apd - 4);
            OPMSetApd(apd);
        }
        MsecSleep(1000);
    }
    return 0;
}

static void AddSample(APD_BREAK_PARA& para, uint16_t apd, float fTemp) {
    para.iVolt[para.iNum] = apd;
    para.fTemp[para.iNum] = fTemp;
    ++para.iNum;
    char strText[100] = "";
    snprintf(strText, sizeof(strText), "%02d: ApdBreakVoltage = 0x%x ,fTempValue = %f", para.iNum, apd,
             static_cast<double>(fTemp));
    printf("%s\r\n  ", strText);
    FCT_LOG("-------------");
    FCT_LOG(strText);
    FrmApdAdjSetInfo2(strText);
}

static void SortByTemperature(APD_BREAK_PARA& para) {
    for (int i = para.iNum - 1; i > 0; --i) {
        for (int j = 0; j < i; ++j) {
            if (para.fTemp[j] <= para.fTemp[j + 1])
                continue;
            const float fTemp = para.fTemp[j];
            const uint16_t usVolt = para.iVolt[j];
            para.fTemp[j] = para.fTemp[j + 1];
            para.iVolt[j] = para.iVolt[j + 1];
            para.fTemp[j + 1] = fTemp;
            para.iVolt[j + 1] = usVolt;
        }
    }
}

// The breakdown at fTemp degrees, searched from the code in apd. Returns 0 with the code in apd, -1 as the
// searches do.
static int FindBreak(float fTemp, uint16_t& apd) {
    if (MeasureNoise(iATT0, calibrationWait) != 0)
        return -1;
    const int iFirstMean = signalMean;
    printf("temp = %f, mean = %d , std = %5.2f \n", static_cast<double>(fTemp), iFirstMean,
           static_cast<double>(signalStd));
    MsecSleep(1000);
    NOISE noise = {};
    if (SearchAtt0(noise, iFirstMean) != 0)
        return -1;
    return RampApd(noise, apd);
}

int GetBreakVoltage(APD_BREAK_PARA* pPara) {
    if (pPara == nullptr || pPara->iNum < 0 || pPara->iNum >= APD_BREAK_MAX)
        return -1;
    float fTemp = 0.0F;
    const bool bBefore = GetOpmTemperature(opticFD, &fTemp) >= 0;
    uint16_t apd = StartCode(fTemp);
    OPMSetApd(apd);
    MsecSleep(1);
    // A sample is nothing without its temperature; one good reading of the two is enough.
    if (FindBreak(fTemp, apd) != 0 || (GetOpmTemperature(opticFD, &fTemp) < 0 && !bBefore)) {
        OPMSetApd(APD_REST_CODE);
        return -1;
    }
    AddSample(*pPara, apd, fTemp);
    SortByTemperature(*pPara);
    OPMSetApd(APD_REST_CODE);
    MsecSleep(100);
    printf("GetBreakVoltage Success!");
    return 0;
}
