#include <math.h>
#include <stdarg.h>
#include <stdio.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "device/operator_report.h"
#include "gui/guibase.h"
#include "gui/guischeduler.h"
#include "measure/apd.h"
#include "measure/common_opm.h"

constexpr int MOST_SAMPLES = 44;           // TunNum above this ends the tuning
constexpr float LAST_TEMPERATURE = 55.0F;  // degrees Celsius
constexpr float SAMPLE_DISTANCE = 1.0F;    // degrees between samples
constexpr int MOST_FAILURES = 20;          // of the temperature read
constexpr int FIT_ABOVE = 9;               // samples

static int TunNum = 0;  // samples taken; kept between runs

using SHOW = int (*)(const char* pInfo);

static __attribute__((format(printf, 2, 3))) void Show(SHOW fnShow, const char* strFormat, ...) {
    char strText[100] = "";
    va_list arguments;
    va_start(arguments, strFormat);
    vsnprintf(strText, sizeof(strText), strFormat, arguments);
    va_end(arguments);
    fnShow(strText);
}

static void ShowAndLog(SHOW fnShow, const char* strText) {
    fnShow(strText);
    FCT_LOG(strText);
}

// Waits in one-second sleeps. Returns 0, -1 as soon as the run flag is 0.
static int WaitSeconds(int iSeconds) {
    for (int i = 0; i < iSeconds; ++i) {
        if (GetAPDAdjStopFlag() == 0)
            return -1;
        MsecSleep(1000);
    }
    return GetAPDAdjStopFlag() == 0 ? -1 : 0;
}

// Warming up, a line on the screen and in the log every minute. Returns 0, -1 when stopped.
static int WaitMinutes(uint32_t uiMinutes) {
    printf("DelayTime = %d\n", static_cast<int>(uiMinutes));
    for (uint32_t m = 0; m < uiMinutes; ++m) {
        float fTemp = 0.0F;
        GetOpmTemperature(opticFD, &fTemp);
        char strText[64] = "";
        snprintf(strText, sizeof(strText), "DelayTime = %d min, CurTime = %d min",
                 static_cast<int>(uiMinutes), static_cast<int>(m));
        ShowAndLog(FrmApdAdjSetInfo2, strText);
        if (WaitSeconds(60) != 0)
            return -1;
    }
    return 0;
}

static bool IsSampled(const APD_BREAK_PARA& para, float fTemp) {
    for (int i = 0; i < para.iNum; ++i)
        if (fabsf(para.fTemp[i] - fTemp) < SAMPLE_DISTANCE)
            return true;
    return false;
}

// Returns false when the program is ending: the sample may be broken off then, and nothing is made of it.
static bool TakeSample(APD_BREAK_PARA& para) {
    GetBreakVoltage(&para);
    if (GetExitFlag() == 1)
        return false;
    initTraceArea();
    DrawCurve();
    if (para.iNum > FIT_ABOVE) {
        float k = 0.0F;
        float b = 0.0F;
        GetApdCoefficient(&k, &b, &para);
        OPMSetApd(APD_REST_CODE);
    }
    TunNum = para.iNum;
    printf("TunNum = %d\r\n", TunNum);
    char strText[32] = "";
    snprintf(strText, sizeof(strText), "TunNum = %d", TunNum);
    ShowAndLog(FrmApdAdjSetInfo1, strText);
    return true;
}

// Collects samples. Returns true when the tuning is over, false when it was stopped or the temperature cannot
// be read; iDelayNum is the count of waits since the last sample.
static bool CollectSamples(APD_BREAK_PARA& para, int& iDelayNum) {
    int tmpCount = 0;
    for (;;) {
        float fTemp = 0.0F;
        if (GetOpmTemperature(opticFD, &fTemp) < 0) {
            if (++tmpCount > MOST_FAILURES) {
                Show(FrmApdAdjSetInfo1, "tmpCount = %d", tmpCount);
                return false;
            }
            if (TunNum > MOST_SAMPLES)
                return true;
            continue;
        }
        printf("tmpCount = %d\n", tmpCount);
        tmpCount = 0;
        if (IsSampled(para, fTemp)) {
            if (WaitSeconds(10) != 0) {
                Show(FrmApdAdjSetInfo1, "iAPDAdjStopFlag = %d", 0);
                return false;
            }
            ++iDelayNum;
            printf("TunNum = %d, DelayNum = %d\r\n", TunNum, iDelayNum);
            Show(FrmApdAdjSetInfo2, "TunNum = %d, DelayNum = %d", TunNum, iDelayNum);
        } else {
            if (!TakeSample(para))
                return false;
            iDelayNum = 0;
            if (fTemp >= LAST_TEMPERATURE)
                return true;
            // A stop during the sample ends here; with no sample stored yet nothing below would look at the
            // flag.
            if (GetAPDAdjStopFlag() == 0) {
                Show(FrmApdAdjSetInfo1, "iAPDAdjStopFlag = %d", 0);
                return false;
            }
        }
        if (TunNum > MOST_SAMPLES)
            return true;
    }
}

void APDTuning(APD_BREAK_PARA* pPara, uint32_t DelayTime) {
    if (pPara == nullptr)
        return;
    printf("start apd tuning");
    *pPara = {};
    const int iTrial = GetBreakVoltage(pPara);
    *pPara = {};
    FCT_LOG("***************start apd tuning**************\n");
    if (iTrial != 0) {
        char strText[64] = "";
        snprintf(strText, sizeof(strText), "APD Tuning Start Failed! ret = %d", iTrial);
        ShowAndLog(FrmApdAdjSetInfo1, strText);
        return;
    }
    ShowAndLog(FrmApdAdjSetInfo1, "APD Tuning Start Success! ");
    if (WaitSeconds(20) != 0 || WaitMinutes(DelayTime) != 0)
        return;
    int iDelayNum = 0;
    if (!CollectSamples(*pPara, iDelayNum))
        return;
    printf("TunNum = %d, DelayNum = %d, APDTuning over!\r\n", TunNum, iDelayNum);
    FrmApdAdjSetInfo1("APDTuning over!");
}
