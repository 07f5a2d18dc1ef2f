#include <stdio.h>
#include <string.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "device/operator_report.h"
#include "gui/guischeduler.h"
#include "measure/acquisition.h"
#include "measure/adjust.h"
#include "measure/apd.h"
#include "measure/common_opm.h"

static int32_t iThreadStatus = 0;  // what the thread bodies pass to ThreadExit

// ---- What each loop shows and saves ----

// Results on one line, two blanks between them.
static void FormatResults(const OPM_Value* pResults, int iCount) {
    size_t uiLength = 0;
    for (int i = 0; i < iCount && uiLength < AD_BUFFER_SIZE; ++i) {
        const int iWritten =
            snprintf(LineText() + uiLength, AD_BUFFER_SIZE - uiLength, "%sAd:%5.1fV reg:0x%04x",
                     i == 0 ? "" : "  ", static_cast<double>(pResults[i].adc), pResults[i].reg);
        uiLength += static_cast<size_t>(iWritten);
    }
}

static void FormatApd() {
    FormatResults(OpmTuningResult.Apd_Result, 5);
}

static void FormatVdd() {
    FormatResults(OpmTuningResult.Vdd_Result, 4);
}

static void FormatAtt0() {
    const OPM_Value& result = OpmTuningResult.Att0_Result[0];
    snprintf(LineText(), AD_BUFFER_SIZE, "Ad:%5.1fV reg:0x%x", static_cast<double>(result.adc), result.reg);
}

static void FormatAtt1() {
    const OPM_Value& result = OpmTuningResult.Att1_Result[0];
    char strLevel[16] = "not measured";
    if (BlackLevelVoltage != NO_BLACK_LEVEL)
        snprintf(strLevel, sizeof(strLevel), "= %d", static_cast<int>(BlackLevelVoltage));
    snprintf(LineText(), AD_BUFFER_SIZE, "Ad:%5.1fV reg:0x%x    BlackLevel %s",
             static_cast<double>(result.adc), result.reg, strLevel);
}

static void KeepApd() {
    for (int i = 0; i < 5; ++i)
        pOpmTunning->iApdVoltageSet[i] = OpmTuningResult.Apd_Result[i].reg;
}

static void KeepVdd() {
    for (int i = 0; i < 4; ++i)
        pOpmTunning->iVddValue[i] = OpmTuningResult.Vdd_Result[i].reg;
}

static void KeepAtt0() {
    pOpmTunning->iAtt0 = OpmTuningResult.Att0_Result[0].reg;
}

static void KeepAtt1() {
    pOpmTunning->iAtt1 = OpmTuningResult.Att1_Result[0].reg;
}

struct LOOP {
    int32_t (*fnAdjust)(OTDRWaveLen waveLen);
    int iLine;
    void (*fnFormat)();  // the result into adBuffer
    void (*fnKeep)();    // the codes into the tuning record
};

// A search with its tries spent may have ramped the high voltage to any height: it goes down.
static int32_t AdjustApd(OTDRWaveLen waveLen) {
    const int32_t iStatus = OPMAdjustAPD(waveLen);
    if (iStatus == OPM_ERR_TRY_TIMEOUT)
        OPMSetApd(APD_REST_CODE);
    return iStatus;
}

const LOOP apdLoop = {AdjustApd, 1, FormatApd, KeepApd};
const LOOP vddLoop = {OPMAdjustVdd, 2, FormatVdd, KeepVdd};
const LOOP att0Loop = {OPMAdjustAtt0, 3, FormatAtt0, KeepAtt0};
const LOOP att1Loop = {OPMAdjustAtt1, 4, FormatAtt1, KeepAtt1};

static void ShowResult(const LOOP& loop) {
    loop.fnFormat();
    FrmAdjustSetDataInfo(LineText(), loop.iLine);
}

// Runs one loop on the calling thread, shows and saves what it found, and ends the thread.
static void* RunLoop(const LOOP& loop, void* pArg) {
    const int32_t iStatus = loop.fnAdjust(static_cast<OTDRWaveLen>(reinterpret_cast<intptr_t>(pArg)));
    if (GetStopThreadFlag() == 0) {
        FrmAdjustSetDataInfo("Stop", loop.iLine);
    } else if (iStatus == 0) {
        ShowResult(loop);
        loop.fnKeep();
        SaveOpmTunning();
    }
    if (iStatus != 0)
        OPMAdjustErrorHandler(iStatus);
    iThreadStatus = iStatus;
    ThreadExit(&iThreadStatus);
    return nullptr;
}

void* OPMAdjustVddThd(void* pArg) {
    return RunLoop(vddLoop, pArg);
}

void* OPMAdjustAPDThd(void* pArg) {
    return RunLoop(apdLoop, pArg);
}

void* OPMAdjustAtt0Thd(void* pArg) {
    return RunLoop(att0Loop, pArg);
}

void* OPMAdjustAtt1Thd(void* pArg) {
    return RunLoop(att1Loop, pArg);
}

int32_t OPMAdjustAuto() {
    static const THREADFUNC bodies[] = {OPMAdjustAPDThd, OPMAdjustVddThd, OPMAdjustAtt0Thd, OPMAdjustAtt1Thd};
    int32_t iResult = 0;
    for (const THREADFUNC fnBody : bodies) {
        GUITHREAD thdLoop = GUITHREAD_NONE;
        iResult = ThreadCreate(&thdLoop, fnBody, nullptr);
        if (iResult == 0)
            JoinWorker(&thdLoop);
    }
    return iResult;
}

void* OPMAdjustAutoThd(void*) {
    const int32_t iResult = OPMAdjustAuto();
    if (GetStopThreadFlag() == 1 && iResult == 0) {
        ShowResult(att1Loop);
        KeepAtt1();
        SaveOpmTunning();
    } else {
        OPMAdjustErrorHandler(iResult);
    }
    iThreadStatus = iResult;
    ThreadExit(&iThreadStatus);
    return nullptr;
}

void* OPMAdjustAllThd(void*) {
    static const LOOP* const loops[] = {&apdLoop, &vddLoop, &att0Loop, &att1Loop};
    int32_t iStatus = 0;
    for (int iWave = WAVE_LEN_1310; iWave < WAVE_LEN_MAX && iStatus == 0; ++iWave) {
        OPMSetWaveLen(static_cast<uint16_t>(iWave));
        for (const LOOP* pLoop : loops) {
            iStatus = pLoop->fnAdjust(static_cast<OTDRWaveLen>(iWave));
            if (iStatus != 0)
                break;
        }
    }
    if (iStatus != 0)
        OPMAdjustErrorHandler(iStatus);
    iThreadStatus = iStatus;
    ThreadExit(&iThreadStatus);
    return nullptr;
}

int32_t OPMAutoTuning() {
    constexpr uint32_t DELAY_MINUTES = 60;
    iATT0 = pOpmTunning->iAtt0;
    if (GetAPDAdjStopFlag() != 0)
        APDTuning(pApd_Break_Para, DELAY_MINUTES);
    return 0;
}

int32_t OPMAdjustShow() {
    static const struct {
        AdcChanel chanel;
        const char* strLabel;
    } readings[] = {
        {ADC_CHANEL_TP3, "ATT0"},
        {ADC_CHANEL_TP4, "ATT1"},
        {ADC_CHANEL_TP15, "VDD"},
        {ADC_CHANEL_T70, "APD"},
    };
    int32_t iStatus = 0;
    int iLength = 0;
    showLen = 0;
    for (const auto& reading : readings) {
        iStatus = OPMGetAdcValue(reading.chanel, ADCRANGE_2560MV, &adcValue);
        ShowADTest(reading.strLabel, adcValue, &iLength);
    }
    FrmAdjustSetInfo(LineText());
    return iStatus;
}

void ShowADValue(float fValue, uint32_t tryTimes, uint16_t reg) {
    FormatReading(fValue, static_cast<int>(tryTimes), reg);
    FrmAdjustSetInfo(LineText());
}
