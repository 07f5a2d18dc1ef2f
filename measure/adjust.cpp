#include "measure/adjust.h"

#include <math.h>
#include <stdio.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "device/operator_report.h"
#include "gui/guischeduler.h"
#include "measure/acquisition.h"

OPM_TUNING_RESULT OpmTuningResult = {};
uint32_t BlackLevelVoltage = 0;
float adcValue = 0.0F;
int iStopThreadFlag = 1;

const float VddObjValue[4] = {3.0F, 2.5F, 2.0F, 1.5F};
const uint16_t VddRegObjValue[4] = {2064, 1712, 1376, 1056};
const float ApdObjValue[5] = {45.0F, 40.0F, 35.0F, 30.0F, 25.0F};
const uint16_t ApdRegObjValue[5] = {2499, 1979, 1465, 944, 432};
const uint16_t Att0RegObjValue = 1280;
const uint16_t Att1RegObjValue = 1024;
const uint16_t ApdBiasRegObjValue[6][4] = {
    {1536, 0, 0, 0},        {1536, 959, 965, 1024}, {1536, 959, 965, 1024},
    {1536, 959, 965, 1024}, {1536, 959, 965, 1024}, {1536, 959, 965, 1024},
};

int GetStopThreadFlag() {
    return GetExitFlag() == 1 ? 0 : __atomic_load_n(&iStopThreadFlag, __ATOMIC_ACQUIRE);
}

void SetStopThreadFlag(int iFlag) {
    __atomic_store_n(&iStopThreadFlag, iFlag, __ATOMIC_RELEASE);
}

enum { LINE_APD = 1, LINE_VDD = 2, LINE_ATT0 = 3, LINE_ATT1 = 4 };
constexpr int32_t SEARCH_STOPPED = 1;  // outcome of a search; never leaves this file

// ---- VDD and APD: step a voltage to its target ----

struct VOLTAGE_SEARCH {
    int iLine;
    AdcChanel chanel;
    int32_t (*fnSet)(uint16_t value);
    float fTolerance;  // volts, boundary included
    int iTries;
    uint16_t usDown;  // step above the target, taken only from a larger code
    uint16_t usUp;    // step below it, written only up to usLast
    uint16_t usLast;
    uint16_t usSettleMsec;  // after the start code
    uint16_t usStepMsec;    // after every step
};

const VOLTAGE_SEARCH vddSearch = {LINE_VDD, ADC_CHANEL_TP15, OPMSetVdd, 0.05F, 800, 16, 3, 4092, 0, 0};
const VOLTAGE_SEARCH apdSearch = {LINE_APD, ADC_CHANEL_T70, OPMSetApd, 0.1F, 200, 21, 5, 4090, 500, 100};

char* LineText() {
    return reinterpret_cast<char*>(adBuffer);
}

void FormatReading(float fValue, int iTries, uint16_t usCode) {
    snprintf(LineText(), AD_BUFFER_SIZE, "AD Value :%7.5fV, times%d reg:%x", static_cast<double>(fValue),
             iTries, usCode);
}

static void StepVoltage(const VOLTAGE_SEARCH& search, bool bAbove, uint16_t& usCode) {
    if (bAbove) {
        if (usCode > search.usDown) {
            usCode = static_cast<uint16_t>(usCode - search.usDown);
            search.fnSet(usCode);
        }
    } else {
        usCode = static_cast<uint16_t>(usCode + search.usUp);
        if (usCode <= search.usLast)
            search.fnSet(usCode);
    }
    Pause(search.usStepMsec);
}

// Reads chanel into adcValue. True when that gave a voltage: what is not a number, or infinite, counts as a
// failed reading, so that nothing is stepped by it.
static bool ReadVoltage(AdcChanel chanel, int32_t& iRead) {
    iRead = OPMGetAdcValue(chanel, ADCRANGE_2560MV, &adcValue);
    return iRead == 0 && isfinite(adcValue);
}

// Steps usCode until the reading is at fTarget. Returns 0, OPM_ERR_TRY_TIMEOUT or SEARCH_STOPPED; iRead is
// the status of the last reading. A reading taken with no tries left does not count, whatever it says.
static int32_t FindVoltage(const VOLTAGE_SEARCH& search, float fTarget, uint16_t& usCode, int32_t& iRead) {
    int iTries = search.iTries;
    for (;;) {
        if (GetStopThreadFlag() == 0)
            return SEARCH_STOPPED;
        const bool bRead = ReadVoltage(search.chanel, iRead);
        FormatReading(adcValue, iTries, usCode);
        FrmAdjustSetDataInfo(LineText(), search.iLine);
        if (bRead) {
            if (fabsf(adcValue - fTarget) <= search.fTolerance)
                break;
            StepVoltage(search, adcValue > fTarget, usCode);
        }
        if (iTries-- < 1)
            break;
    }
    if (GetStopThreadFlag() == 0)
        return SEARCH_STOPPED;
    return iTries < 1 ? OPM_ERR_TRY_TIMEOUT : 0;
}

// ---- ATT0 and ATT1: drive an offset voltage to zero ----

struct OFFSET_SEARCH {
    int iLine;
    AdcChanel chanel;
    int32_t (*fnSet)(uint16_t value);
    uint16_t usStart;
    uint16_t usSetupMsec;  // after each write of the set-up
    bool bLate;            // each reading shows the text of the one before
};

constexpr float OFFSET_TOLERANCE = 0.01F;  // volts, boundary included
constexpr int OFFSET_TRIES = 1000;
constexpr int FCT_TRIES = 100;
constexpr uint16_t LAST_CODE = 4095;

const OFFSET_SEARCH att0Search = {LINE_ATT0, ADC_CHANEL_TP3, OPMSetAtt0, Att0RegObjValue, 10, false};
const OFFSET_SEARCH att1Search = {LINE_ATT1, ADC_CHANEL_TP4, OPMSetAtt1, Att1RegObjValue, 1, true};

// A code that would leave 1 to 4095 is clamped, and the clamped value goes to the APD-bias register on
// purpose.
static void StepOffset(const OFFSET_SEARCH& search, bool bAbove, uint16_t& usCode) {
    constexpr uint16_t STEP_DOWN = 16;
    constexpr uint16_t STEP_UP = 10;
    if (bAbove && (usCode < STEP_DOWN + 1 || usCode > LAST_CODE + STEP_DOWN)) {
        usCode = 0;
        OPMSetApdBias(usCode);
    } else if (!bAbove && usCode + STEP_UP > LAST_CODE) {
        usCode = LAST_CODE;
        OPMSetApdBias(usCode);
    } else {
        usCode = static_cast<uint16_t>(bAbove ? usCode - STEP_DOWN : usCode + STEP_UP);
        search.fnSet(usCode);
    }
}

static void ShowOffsetReading(const OFFSET_SEARCH& search, int iTries, uint16_t usCode) {
    if (search.bLate)
        FrmAdjustSetDataInfo(LineText(), search.iLine);
    FormatReading(adcValue, iTries, usCode);
    if (!search.bLate)
        FrmAdjustSetDataInfo(LineText(), search.iLine);
}

// One reading and up to iTries more. Returns 0, OPM_ERR_TRY_TIMEOUT or SEARCH_STOPPED; iRead is the status of
// the last reading.
static int32_t FindZero(const OFFSET_SEARCH& search, int iTries, bool bShow, uint16_t& usCode,
                        int32_t& iRead) {
    for (;; --iTries) {
        if (GetStopThreadFlag() == 0)
            return SEARCH_STOPPED;
        OPMGetAdcValue(ADC_CHANEL_TP1, ADCRANGE_2560MV, &adcValue1);
        const bool bRead = ReadVoltage(search.chanel, iRead);
        if (bShow)
            ShowOffsetReading(search, iTries, usCode);
        if (bRead) {
            if (fabsf(adcValue) <= OFFSET_TOLERANCE)
                return GetStopThreadFlag() == 0 ? SEARCH_STOPPED : 0;
            StepOffset(search, adcValue > 0.0F, usCode);
        }
        if (iTries == 0)
            return GetStopThreadFlag() == 0 ? SEARCH_STOPPED : OPM_ERR_TRY_TIMEOUT;
    }
}

// Gain and wavelength for the offset search, then the start codes. ATT0 is searched with the APD switched
// off, ATT1 with the ATT0 code found before.
static void SetUpOffset(const OFFSET_SEARCH& search) {
    const bool bAtt0 = search.fnSet == OPMSetAtt0;
    if (bAtt0)
        OPMSetApd(0);
    const REG_STEP steps[] = {
        {OPM_CTRL0_REG, 0x6000, search.usSetupMsec},
        {OPM_CTRL1_REG, 0x40, search.usSetupMsec},
    };
    RunRegSequence(opticFD, steps);
    search.fnSet(search.usStart);
    MsecSleep(1);
    if (!bAtt0) {
        OPMSetAtt0(OpmTuningResult.Att0_Result[0].reg);
        MsecSleep(1);
    }
}

static void ReleaseOutputs(int iLine) {
    const REG_STEP rest[] = {{FPGA_CTRLOUT_REG, CTRLOUT_REST, 1}};
    FrmAdjustSetDataInfo("finish fpga init", iLine);
    MsecSleep(1000);
    RunRegSequence(opticFD, rest);
    FrmAdjustSetDataInfo("finish FPGA_CTRLOUT_REG", iLine);
    MsecSleep(1000);
}

static OPM_REG_VALUE* RegValueOf(int32_t iWaveLen) {
    return static_cast<unsigned>(iWaveLen) < WAVE_LEN_MAX ? &OpmRegValue[iWaveLen] : nullptr;
}

// The search of the adjust screen. True when the zero was found, with the code in result; iStatus is then the
// status of the last reading, else that of the search, 0 when it was stopped.
static bool FindOffset(const OFFSET_SEARCH& search, OPM_Value& result, int32_t& iStatus) {
    iStatus = 0;
    ReleaseOutputs(search.iLine);
    if (GetStopThreadFlag() == 0)
        return false;
    SetUpOffset(search);
    uint16_t usCode = search.usStart;
    int32_t iRead = 0;
    const int32_t iFound = FindZero(search, OFFSET_TRIES, true, usCode, iRead);
    if (iFound != 0) {
        iStatus = iFound == SEARCH_STOPPED ? 0 : iFound;
        return false;
    }
    result = {usCode, adcValue};
    iStatus = iRead;
    return true;
}

static int32_t FctAdjust(const OFFSET_SEARCH& search) {
    if (GetStopThreadFlag() == 0)
        return 1;
    fpga_init(cFpgaFileName);
    MsecSleep(1000);
    const REG_STEP rest[] = {{FPGA_CTRLOUT_REG, CTRLOUT_REST, 100}};
    RunRegSequence(opticFD, rest);
    SetUpOffset(search);
    uint16_t usCode = search.usStart;
    int32_t iRead = 0;
    return FindZero(search, FCT_TRIES, false, usCode, iRead) == OPM_ERR_TRY_TIMEOUT ? OPM_ERR_TRY_TIMEOUT : 1;
}

// Dark level of a good module after the ATT1 loop, ADC codes; outside it the operator is warned.
constexpr uint32_t DARK_LOW = 45000;
constexpr uint32_t DARK_HIGH = 65000;

// A level that was stopped is not judged, and the one before it stays. One that could not be measured is told
// like one out of range, without a figure.
static void CheckDarkLevel() {
    const uint32_t uiLevel = GetBlackLevel();
    if (GetExitFlag() == 1 || (uiLevel == NO_BLACK_LEVEL && GetStopThreadFlag() == 0))
        return;
    BlackLevelVoltage = uiLevel;
    if (BlackLevelVoltage >= DARK_LOW && BlackLevelVoltage <= DARK_HIGH)
        return;
    const double fVolts = static_cast<double>(adcValue1);
    if (BlackLevelVoltage == NO_BLACK_LEVEL)
        snprintf(LineText(), AD_BUFFER_SIZE, "adcValue1 = %f,BlackLevel not measured, acquisition time out!",
                 fVolts);
    else
        snprintf(LineText(), AD_BUFFER_SIZE, "adcValue1 = %f,BlackLevel= %d is out of range!", fVolts,
                 static_cast<int>(BlackLevelVoltage));
    FrmAdjustSetDataInfo(LineText(), LINE_ATT1);
    printf("%s", LineText());
    MsecSleep(2000);
}

int32_t OPMAdjustVdd(OTDRWaveLen waveLen) {
    int32_t iStatus = 0;
    for (int i = 0; i < 4; ++i) {
        if (GetStopThreadFlag() == 0)
            return 0;
        if (static_cast<unsigned>(waveLen) > WAVE_LEN_MAX)
            return OPM_ERR_WAVELEN;
        uint16_t usCode = VddRegObjValue[i];
        OPMSetVdd(usCode);
        const int32_t iFound = FindVoltage(vddSearch, VddObjValue[i], usCode, iStatus);
        if (iFound == SEARCH_STOPPED)
            return iStatus;
        if (iFound != 0) {
            iStatus = iFound;
            continue;
        }
        OpmTuningResult.Vdd_Result[i] = {usCode, adcValue};
        if (OPM_REG_VALUE* pValue = RegValueOf(waveLen))
            pValue->iVddValue[i] = usCode;
    }
    return iStatus;
}

int32_t OPMAdjustAPD(int32_t waveLen) {
    for (int i = 0; i < 5; ++i) {
        if (GetStopThreadFlag() == 0)
            return 0;
        if (static_cast<unsigned>(waveLen) > WAVE_LEN_MAX)
            return OPM_ERR_WAVELEN;
        uint16_t usCode = ApdRegObjValue[i];
        OPMSetApd(usCode);
        Pause(apdSearch.usSettleMsec);
        int32_t iRead = 0;
        const int32_t iFound = FindVoltage(apdSearch, ApdObjValue[i], usCode, iRead);
        if (iFound == SEARCH_STOPPED)
            return 0;
        if (iFound != 0)
            return iFound;
        OpmTuningResult.Apd_Result[i] = {usCode, adcValue};
        if (OPM_REG_VALUE* pValue = RegValueOf(waveLen))
            pValue->iApdValue[i] = usCode;
    }
    return 0;
}

int32_t OPMAdjustAtt0(OTDRWaveLen waveLen) {
    if (GetStopThreadFlag() == 0)
        return 0;
    fpga_init(cFpgaFileName);
    int32_t iStatus = 0;
    OPM_Value& result = OpmTuningResult.Att0_Result[0];
    if (FindOffset(att0Search, result, iStatus)) {
        if (OPM_REG_VALUE* pValue = RegValueOf(waveLen))
            pValue->iAtt0Value[0] = result.reg;
    }
    return iStatus;
}

int32_t OPMAdjustAtt1(OTDRWaveLen waveLen) {
    if (GetStopThreadFlag() == 0)
        return 0;
    int32_t iStatus = 0;
    OPM_Value& result = OpmTuningResult.Att1_Result[0];
    if (FindOffset(att1Search, result, iStatus)) {
        if (OPM_REG_VALUE* pValue = RegValueOf(waveLen))
            pValue->iAtt1Value[0] = result.reg;
        CheckDarkLevel();
    }
    return iStatus;
}

int32_t OPMFCTAdjustAtt0(OTDRWaveLen /*waveLen*/) {
    return FctAdjust(att0Search);
}

int32_t OPMFCTAdjustAtt1(OTDRWaveLen /*waveLen*/) {
    return FctAdjust(att1Search);
}
