#include "measure/acquisition.h"

#include <math.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "device/operator_report.h"
#include "gui/guibase.h"
#include "gui/guischeduler.h"
#include "measure/adjust.h"
#include "measure/numeric/numeric.h"

int signalMean = 0;
float signalStd = 0.0F;
uint16_t showLen = 0;

constexpr uint16_t BLACK_SAMPLES = 1024;  // fetched; the first half is used
constexpr uint16_t PARAMETER_SAMPLES = 512;
constexpr uint32_t DEFAULT_ATT0 = 800;
constexpr uint32_t DEFAULT_ATT1 = 896;

const REG_STEP blackLevelSetup[] = {
    {FPGA_CTRLOUT_REG, 2040, 1}, {OPM_CTRL0_REG, 0x2001, 10},   {OPM_ACQ_30_REG, 8, 1},
    {OPM_ACQ_32_REG, 32, 1},     {OPM_CTRL1_REG, 0x41, 10},     {OPM_ACQ_18_REG, 0, 1},
    {OPM_ACQ_24_REG, 0, 1},      {OPM_ACQ_22_REG, REG_ECHO, 1}, {OPM_ACQ_1A_REG, 1024, 0},
    {OPM_ACQ_1C_REG, 0, 0},      {OPM_ACQ_1E_REG, 1, 0},        {OPM_ACQ_20_REG, 1024, 0},
};
const ACQ_TIMING blackLevelTiming = {1, 100, 0, 0};
const ACQ_TIMING parameterTiming = {100, 100, 100, 0};
const ACQ_TIMING signalTiming = {1, 100, 0, 0};
const ACQ_WAIT adjustWait = {&iStopThreadFlag, ACQ_LIMIT_MS, false};

void Pause(uint16_t usMsec) {
    if (usMsec != 0)
        MsecSleep(usMsec);
}

// Wraps around; only differences are used.
static uint32_t NowMsec() {
    struct timespec Now = {};
    clock_gettime(CLOCK_MONOTONIC, &Now);
    return static_cast<uint32_t>(Now.tv_sec) * 1000 + static_cast<uint32_t>(Now.tv_nsec / 1000000);
}

// Reads the control register until one of its bits is set, pausing usMsec after each look. Returns 0 or the
// code of the failure. The limit is one of the clock: signals shorten the pauses.
static int WaitForBit(uint32_t uiBit, uint16_t usMsec, const ACQ_WAIT& wait) {
    // Looks without a pause are to follow each other closely: the clock is read at some of them only.
    constexpr uint32_t CLOSE_LOOKS = 256;
    const uint32_t uiClockLooks = usMsec != 0 ? 1 : CLOSE_LOOKS;
    uint32_t uiStatus = 0;
    uint32_t uiBegin = 0;
    for (uint32_t uiLook = 1;; ++uiLook) {
        if (GetExitFlag() == 1)
            return ACQ_STOPPED;
        if (read_opt_reg(opticFD, OPM_ACQ_CTRL_REG, &uiStatus) != 0 && wait.bReadable)
            return ACQ_NO_SAMPLES;
        Pause(usMsec);
        if ((uiStatus & uiBit) != 0)
            return 0;
        if (wait.pRunFlag != nullptr && __atomic_load_n(wait.pRunFlag, __ATOMIC_ACQUIRE) == 0)
            return ACQ_STOPPED;
        if (wait.uiLimit == 0 || uiLook % uiClockLooks != 0)
            continue;
        const uint32_t uiNow = NowMsec();
        if (uiLook == uiClockLooks)
            uiBegin = uiNow;
        if (uiNow - uiBegin >= wait.uiLimit)
            return ACQ_TIMED_OUT;
    }
}

// The measurements use what a driver that refuses the samples leaves of them.
static bool IsBrokenOff(int iAcquired) {
    return iAcquired == ACQ_STOPPED || iAcquired == ACQ_TIMED_OUT;
}

static void WriteReg(uint32_t uiAddr, uint32_t uiValue) {
    write_opt_reg(opticFD, uiAddr, &uiValue);
}

// Writes a rotated trace to the USB stick, one sample a line. A missing stick only skips the file.
static void SaveTrace(const uint16_t* pTrace) {
    static int iGet_Num = 0;
    char strName[64] = "";
    snprintf(strName, sizeof(strName), "%s/data_%d.txt", "/mnt/usb", iGet_Num++);
    FILE* pFile = fopen(strName, "w");
    if (pFile == nullptr)
        return;
    for (int i = 0; i < TRACE_SAMPLES; ++i)
        fprintf(pFile, "%d\r\n", pTrace[i]);
    fclose(pFile);
}

// Distance of a sample from the dark level on the 5 log10 scale; the sign is dropped on purpose.
static float LogDistance(int iBlackLevel, uint16_t usSample) {
    const int iDistance = iBlackLevel > usSample ? iBlackLevel - usSample : usSample - iBlackLevel;
    return iDistance >= 1 && iDistance <= 65534 ? LogSigTable[iDistance + 1] : 0.0F;
}

// Appends one field to the status line.
static void AppendField(int* plen, const char* strField) {
    showLen = static_cast<uint16_t>(showLen + *plen);
    *plen = static_cast<int>(strlen(strField));
    if (showLen >= AD_BUFFER_SIZE)
        return;
    char* pEnd = reinterpret_cast<char*>(adBuffer) + showLen;
    snprintf(pEnd, static_cast<size_t>(AD_BUFFER_SIZE - showLen), "%s", strField);
}

int AcquireSamples(const ACQ_TIMING& timing, const ACQ_WAIT& wait, uint16_t* pData, uint16_t usCount) {
    WriteReg(OPM_ACQ_CTRL_REG, ACQ_START);
    Pause(timing.usStart);
    int iResult = WaitForBit(ACQ_DONE, timing.usPoll, wait);
    if (iResult != 0)
        return iResult;
    WriteReg(OPM_ACQ_CTRL_REG, ACQ_TRANSFER);
    Pause(timing.usTransfer);
    iResult = WaitForBit(ACQ_READY, timing.usReadyPoll, wait);
    if (iResult != 0)
        return iResult;
    if (opt_read_data(opticFD, pData, usCount) == 0)
        return 0;
    // At the end of the program a signal may have been the reason.
    return GetExitFlag() == 1 ? ACQ_STOPPED : ACQ_NO_SAMPLES;
}

void EndAcquisition() {
    WriteReg(OPM_ACQ_CTRL_REG, ACQ_IDLE);
    MsecSleep(1);
}

int FetchTrace(const ACQ_TIMING& timing, uint16_t* pTrace) {
    uint16_t data[TRACE_SAMPLES] = {};
    const int iAcquired = AcquireSamples(timing, adjustWait, data, TRACE_SAMPLES);
    if (IsBrokenOff(iAcquired))
        return iAcquired;
    data[0] = static_cast<uint16_t>((data[1] + data[2]) >> 1);
    memcpy(pTrace, data + DARK_SAMPLES, sizeof(data) - DARK_SAMPLES * sizeof(data[0]));
    memcpy(pTrace + TRACE_SAMPLES - DARK_SAMPLES, data, DARK_SAMPLES * sizeof(data[0]));
    return 0;
}

void ReportTimeOut() {
    constexpr char TIME_OUT[] = "Acquisition time out.";
    printf("%s\n", TIME_OUT);
    FrmOptcheckSetInfo(TIME_OUT);
}

uint32_t GetBlackLevel() {
    uint16_t data[BLACK_SAMPLES] = {};
    RunRegSequence(opticFD, blackLevelSetup);
    if (IsBrokenOff(AcquireSamples(blackLevelTiming, adjustWait, data, BLACK_SAMPLES))) {
        EndAcquisition();
        return NO_BLACK_LEVEL;
    }
    data[0] = data[1];
    uint32_t uiSum = 0;
    for (int i = 0; i < BLACK_SAMPLES / 2; ++i)
        uiSum += data[i];
    EndAcquisition();
    return uiSum >> 9;
}

int GetSignalParameter(uint32_t iATT0) {
    return MeasureNoise(iATT0, adjustWait);
}

int MeasureNoise(uint32_t iATT0, const ACQ_WAIT& wait) {
    const uint32_t uiAtt1 = pOpmTunning->iAtt1 != 0 ? pOpmTunning->iAtt1 : DEFAULT_ATT1;
    const REG_STEP setup[] = {
        {FPGA_CTRLOUT_REG, 0x03F8, 10},
        {OPM_CTRL0_REG, 0x6300, 10},
        {OPM_CTRL1_REG, 0x151, 10},
        {OPM_VDD_REG, 0, 10},
        {OPM_ACQ_18_REG, 0, 10},
        {OPM_ACQ_30_REG, 9, 10},
        {OPM_ATT0_REG, RegCode(iATT0 != 0 ? iATT0 : DEFAULT_ATT0), 10},
        {OPM_ATT1_REG, RegCode(uiAtt1), 10},
        {OPM_ACQ_32_REG, 32, 10},
        {OPM_ACQ_24_REG, 0, 1},
        {OPM_ACQ_22_REG, REG_ECHO, 1},
        {OPM_ACQ_1A_REG, PARAMETER_SAMPLES, 1},
        {OPM_ACQ_1C_REG, 0, 1},
        {OPM_ACQ_1E_REG, 1, 1},
        {OPM_ACQ_20_REG, 1024, 1},
    };
    uint16_t data[PARAMETER_SAMPLES] = {};
    RunRegSequence(opticFD, setup);
    const int iAcquired = AcquireSamples(parameterTiming, wait, data, PARAMETER_SAMPLES);
    if (IsBrokenOff(iAcquired)) {
        EndAcquisition();
        return iAcquired;
    }
    data[0] = data[1];

    constexpr float PER_SAMPLE = 1.0F / PARAMETER_SAMPLES;
    float fSum = 0.0F;
    for (const uint16_t usSample : data)
        fSum += usSample;
    const float fMean = fSum * PER_SAMPLE;
    float fSquares = 0.0F;
    for (const uint16_t usSample : data)
        fSquares += (usSample - fMean) * (usSample - fMean);
    signalMean = static_cast<int>(fMean + 0.5);  // NOLINT(bugprone-incorrect-roundings): halves go up
    signalStd = sqrtf(fSquares * PER_SAMPLE);
    printf("Mean = %d, Std = %f\n", signalMean, static_cast<double>(signalStd));
    EndAcquisition();
    return 0;
}

float GetSignal(OTDRWaveLen iWave) {
    const REG_STEP setup[] = {
        {FPGA_CTRLOUT_REG, 0x07FC, 10},
        {OPM_CTRL0_REG, 0x6300, 10},
        {OPM_CTRL1_REG, iWave != WAVE_LEN_1310 ? 0x151U : 0x111U, 10},
        {OPM_ACQ_30_REG, 10, 1},
        {OPM_ACQ_32_REG, 32, 10},
        {OPM_ACQ_24_REG, 0, 1},
        {OPM_ACQ_22_REG, REG_ECHO, 1},
        {OPM_ACQ_1A_REG, TRACE_SAMPLES, 1},
        {OPM_ACQ_1C_REG, 0, 1},
        {OPM_ACQ_1E_REG, 1, 1},
        {OPM_ACQ_20_REG, 1024, 1},
        {OPM_ACQ_18_REG, 4, 1},
        {OPM_ACQ_24_REG, 0, 1},
        {OPM_ACQ_22_REG, REG_ECHO, 1},
    };
    uint16_t tmp_data[TRACE_SAMPLES] = {};
    float log_data[TRACE_SAMPLES] = {};
    RunRegSequence(opticFD, setup);
    if (FetchTrace(signalTiming, tmp_data) != 0) {
        EndAcquisition();
        return NAN;
    }

    uint16_t* const pDark = tmp_data + TRACE_SAMPLES - DARK_SAMPLES;
    const int iBlackLevel = GetMeanUint16(pDark, DARK_SAMPLES);
    printf("iBlackLevel = %d\n", iBlackLevel);
    SaveTrace(tmp_data);
    for (int i = 0; i < TRACE_SAMPLES; ++i)
        log_data[i] = LogDistance(iBlackLevel, tmp_data[i]);

    constexpr int BEHIND_PULSE = 300;  // 40 samples just behind the pulse
    constexpr int BEHIND_PULSE_COUNT = 40;
    const float fMax = GetMaxFloat(log_data + TRACE_SAMPLES - DARK_SAMPLES, DARK_SAMPLES);
    const float fMean = GetMeanFloat(log_data + BEHIND_PULSE, BEHIND_PULSE_COUNT);
    const float fDelta = fMean - fMax;
    printf("---------fMean = %f,fMax = %f---fDelta = %f---\n", static_cast<double>(fMean),
           static_cast<double>(fMax), static_cast<double>(fDelta));
    EndAcquisition();
    return fDelta;
}

void ShowADTest(const char* TPa, float adValue1, int* plen) {
    if (TPa == nullptr || plen == nullptr)
        return;
    char strField[AD_BUFFER_SIZE] = "";
    snprintf(strField, sizeof(strField), " %s: %7.5fV  ", TPa, static_cast<double>(adValue1));
    AppendField(plen, strField);
}

void ShowADTest_len(const char* TPa, float adValue1, uint32_t adValue2, int* plen) {
    if (TPa == nullptr || plen == nullptr)
        return;
    char strField[AD_BUFFER_SIZE] = "";
    snprintf(strField, sizeof(strField), " %s: %7.5fV  %d  ", TPa, static_cast<double>(adValue1),
             static_cast<int>(adValue2));
    AppendField(plen, strField);
}

void save_date_sdcard(OTDRWaveLen iWave, uint16_t VAR, int blacklevel) {
    static const struct {
        const char* strVarFile;
        const char* strVarError;
        const char* strBlackFile;
        const char* strBlackError;
    } lists[] = {
        {"/mnt/sdcard/data_var_1310.txt", "save 1310 var", "/mnt/sdcard/data_blacklevel_1310.txt",
         "save 1310 blacklevel"},
        {"/mnt/sdcard/data_var_1550.txt", "save 1550 var", "/mnt/sdcard/data_blacklevel_1550.txt",
         "save 1550 blacklevel"},
    };
    const auto& list = lists[iWave == WAVE_LEN_1310 ? 0 : 1];
    FILE* pVar = fopen(list.strVarFile, "a+");
    if (pVar == nullptr) {
        perror(list.strVarError);
        return;
    }
    FILE* pBlack = fopen(list.strBlackFile, "a+");
    if (pBlack == nullptr) {
        perror(list.strBlackError);
        fclose(pVar);
        return;
    }
    fprintf(pVar, "%d\n", VAR);
    fprintf(pBlack, "%d\n", blacklevel);
    fclose(pVar);
    fclose(pBlack);
}
