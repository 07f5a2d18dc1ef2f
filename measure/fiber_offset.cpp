#include "measure/fiber_offset.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "measure/acquisition.h"
#include "measure/numeric/numeric.h"

const ACQ_TIMING offsetTiming = {100, 100, 100, 0};
constexpr int PEAK_LEAD = 22;      // samples between a peak and the zero of the distance
constexpr int LEAST_OFFSET = 900;  // below it the pair cannot be the test fibre
constexpr int CLEAR_HALF = 62;     // samples cleared on both sides of a peak
constexpr int SHAPE_FROM = 10;     // peaks nearer to the start are taken without a shape test

// Raw samples, one a line, onto the USB stick; a missing stick only skips the file.
static void DumpTrace(const uint16_t* pTrace) {
    static int num = 0;
    char strName[64] = "";
    snprintf(strName, sizeof(strName), "/mnt/usb/LogSignal[%d].txt", num++);
    FILE* pFile = fopen(strName, "w+");
    if (pFile != nullptr) {
        for (int i = 0; i < TRACE_SAMPLES; ++i)
            fprintf(pFile, "%u\r\n", static_cast<unsigned>(pTrace[i]));
        fclose(pFile);
    }
    (void)!system("sync");
}

// Signed distance from the dark level on the 5 log10 scale. The largest distance would read one past the
// table's end; it takes the last entry.
static float SignedLog(int iBlackLevel, uint16_t usSample) {
    const int iDistance = iBlackLevel - usSample;
    if (iDistance == 0)
        return 0.0F;
    const int iIndex = (iDistance > 0 ? iDistance : -iDistance) + 1;
    const float fLog = LogSigTable[iIndex < LOG_SIG_SIZE ? iIndex : LOG_SIG_SIZE - 1];
    return iDistance > 0 ? fLog : -fLog;
}

// A reflection peak is broad: few of its neighbours stand higher, and its shoulders do not fall off steeply.
// Neighbours outside the trace are passed over.
static bool IsPeak(const float* pLog, int iPeak) {
    const float x = pLog[iPeak];
    int iHigher = 0;
    float fFall = 0.0F;
    for (int iOffset = -10; iOffset <= 9; ++iOffset) {
        const int i = iPeak + iOffset;
        if (i < 0 || i >= TRACE_SAMPLES)
            continue;
        if (pLog[i] > x)
            ++iHigher;
        if (iOffset >= -4 && iOffset <= 4)
            fFall += x - pLog[i];
        if (iHigher > 4 || fFall > 3.0F)
            return false;
    }
    return true;
}

static void ClearAround(float* pWork, int iPeak) {
    if (iPeak < CLEAR_HALF)
        return;
    const int iEnd = iPeak + CLEAR_HALF < TRACE_SAMPLES ? iPeak + CLEAR_HALF : TRACE_SAMPLES;
    for (int i = iPeak - CLEAR_HALF; i < iEnd; ++i)
        pWork[i] = 0.0F;
}

static void PrintPositions(const int* pPosition) {
    for (int i = 0; i < FIBER_PEAKS; ++i)
        printf("Position[%d]=%d\n", i, pPosition[i]);
}

static int Judge(int iOffset, bool bFound, char* result) {
    printf("------OffsetPoint = %u--------\n", static_cast<unsigned>(iOffset));
    const bool bGood = bFound && iOffset >= LEAST_OFFSET;
    printf("%s",
           bGood ? "--------------Adjust Success-------------" : "--------------Adjust Error-------------");
    strcpy(result, bGood ? "Adjust Success" : "Adjust Error");
    return iOffset;
}

static int OffsetOfTrace(const uint16_t* pTrace, float* pLog, float* pWork, char* result) {
    // A whole number already: rounding it again changes nothing.
    const uint16_t BlackLevel = GetMeanUint16(pTrace + TRACE_SAMPLES - DARK_SAMPLES, DARK_SAMPLES);
    printf("BlackLevel = %d\n", BlackLevel);
    for (int i = 0; i < TRACE_SAMPLES; ++i)
        pLog[i] = SignedLog(BlackLevel, pTrace[i]);
    int Position[FIBER_PEAKS] = {};
    FindFiberPeaks(pLog, pWork, Position);
    PrintPositions(Position);
    PrintPositions(Position);
    bool bFound = false;
    const int iOffset = OffsetOfPeaks(Position, bFound);
    return Judge(iOffset, bFound, result);
}

int ExFiberLenSetParament(uint16_t* DataBuff) {
    if (DataBuff == nullptr)
        return 0;
    const REG_STEP setup[] = {
        {FPGA_CTRLOUT_REG, 2044, 10},
        {OPM_CTRL0_REG, 0x6300, 10},
        {OPM_CTRL1_REG, 0x131, 10},
        {OPM_APD_REG, 1979, 200},
        {OPM_VDD_REG, 2064, 200},
        {OPM_ACQ_18_REG, 0, 10},
        {OPM_ACQ_30_REG, 8, 10},
        {OPM_ATT0_REG, RegCode(pOpmTunning->iAtt0), 10},
        {OPM_ATT1_REG, RegCode(pOpmTunning->iAtt1), 10},
        {OPM_ACQ_32_REG, 1568, 10},
        {OPM_ACQ_24_REG, 0, 1},
        {OPM_ACQ_22_REG, REG_ECHO, 1},
        {OPM_ACQ_1A_REG, TRACE_SAMPLES, 1},
        {OPM_ACQ_1C_REG, 0, 1},
        {OPM_ACQ_1E_REG, 0, 1},
        {OPM_ACQ_20_REG, 1024, 1},
    };
    RunRegSequence(opticFD, setup);
    const int iResult = FetchTrace(offsetTiming, DataBuff);
    EndAcquisition();
    return iResult;
}

void FindFiberPeaks(const float* pLog, float* pWork, int* pPosition) {
    memcpy(pWork, pLog, TRACE_SAMPLES * sizeof(pWork[0]));
    for (int k = 0; k < FIBER_PEAKS; ++k) {
        float fMax = pWork[0] > 0.0F ? pWork[0] : 0.0F;
        int iPeak = 0;
        for (int i = 1; i < TRACE_SAMPLES; ++i) {
            if (pWork[i] > fMax) {
                fMax = pWork[i];
                iPeak = i;
            }
        }
        pPosition[k] = iPeak < SHAPE_FROM || IsPeak(pLog, iPeak) ? iPeak : 0;
        ClearAround(pWork, iPeak);
    }
    bubble_sort(pPosition, FIBER_PEAKS);
}

int OffsetOfPeaks(const int* pPosition, bool& bFound) {
    constexpr double METRES_PER_SAMPLE = 0.04;
    constexpr double FIBRE_METRES = 5.0;  // metres
    for (int i = 0; i + 1 < FIBER_PEAKS; ++i) {
        // One-sided on purpose: any spacing below 137.5 samples qualifies.
        if ((pPosition[i + 1] - pPosition[i]) * METRES_PER_SAMPLE - FIBRE_METRES < 0.5 && pPosition[i] != 0) {
            bFound = true;
            return pPosition[i] - PEAK_LEAD;
        }
    }
    bFound = false;
    return 0;
}

int CalExFiberLen(char* result) {
    if (result == nullptr)
        return 0;
    strcpy(result, "Adjust Error");
    uint16_t* pTrace = static_cast<uint16_t*>(calloc(TRACE_SAMPLES, sizeof(uint16_t)));
    float* pLog = static_cast<float*>(malloc(TRACE_SAMPLES * sizeof(float)));
    float* pWork = static_cast<float*>(malloc(TRACE_SAMPLES * sizeof(float)));
    int iOffset = 0;
    const bool bMemory = pTrace != nullptr && pLog != nullptr && pWork != nullptr;
    const int iAcquired = bMemory ? ExFiberLenSetParament(pTrace) : ACQ_NO_SAMPLES;
    if (iAcquired == ACQ_TIMED_OUT)
        ReportTimeOut();
    if (iAcquired == 0) {
        DumpTrace(pTrace);
        iOffset = OffsetOfTrace(pTrace, pLog, pWork, result);
        pOpmTunning->OffsetPoint = iOffset;
        SaveOpmTunning();
    }
    free(pWork);
    free(pLog);
    free(pTrace);
    return iOffset;
}
