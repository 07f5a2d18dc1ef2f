#include "measure/numeric/numeric.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

float LogSigTable[LOG_SIG_SIZE];

float Abs(float fValue) {
    return fabsf(fValue);
}

void Delay(uint32_t) {}

int IsEqual(float fin1, float fin2, float delta) {
    if (delta >= Abs(fin1 - fin2))
        return 0;
    return fin1 > fin2 ? 1 : -1;
}

uint16_t GetMeanUint16(const uint16_t* pSignal, int iSignalLength) {
    if (pSignal == nullptr || iSignalLength < 1)
        return 0;
    uint32_t uiSum = 0;
    for (int i = 0; i < iSignalLength; ++i)
        uiSum += pSignal[i];
    return static_cast<uint16_t>(static_cast<int32_t>(uiSum) / iSignalLength);
}

// Both float means: one pass, each element converted before it is added.
template <typename Sample>
static float MeanInFloat(const Sample* pSignal, int iSignalLength) {
    float fSum = 0.0f;
    for (int i = 0; pSignal != nullptr && i < iSignalLength; ++i)
        fSum += static_cast<float>(pSignal[i]);
    return fSum / static_cast<float>(iSignalLength);
}

float GetMeanUint32(const uint32_t* pSignal, int iSignalLength) {
    return MeanInFloat(pSignal, iSignalLength);
}

float GetMeanFloat(const float* pSignal, int iSignalLength) {
    return MeanInFloat(pSignal, iSignalLength);
}

float GetMaxFloat(const float* pSignal, int iSignalLength) {
    float fMax = -1000.0f;
    for (int i = 0; pSignal != nullptr && i < iSignalLength; ++i) {
        if (pSignal[i] > fMax)
            fMax = pSignal[i];
    }
    return fMax;
}

int GetMaxIndexFloat(const float* pSignal, int iSignalLength) {
    float fMax = 0.0f;
    int iIndex = 0;
    for (int i = 0; pSignal != nullptr && i < iSignalLength; ++i) {
        if (pSignal[i] > fMax) {
            fMax = pSignal[i];
            iIndex = i;
        }
    }
    return iIndex;
}

void bubble_sort(int* a, int n) {
    if (a == nullptr)
        return;
    for (int i = n - 1; i > 0; --i) {
        for (int j = 0; j < i; ++j) {
            if (a[j] > a[j + 1]) {
                const int iHigher = a[j];
                a[j] = a[j + 1];
                a[j + 1] = iHigher;
            }
        }
    }
}

void Polyfit(float* pk, float* pb, const APD_BREAK_PARA* pSamples) {
    if (pk == nullptr || pb == nullptr || pSamples == nullptr)
        return;
    uint16_t usNum = static_cast<uint16_t>(pSamples->iNum);
    if (usNum == 0) {
        printf("ERROR! Element is too little! \r\n ");
        return;
    }
    if (usNum > APD_BREAK_MAX)
        usNum = APD_BREAK_MAX;  // a damaged count must not lead outside the record

    float fSumx = 0.0f;
    float fSumy = 0.0f;
    for (int i = 0; i < usNum; ++i) {
        fSumx += pSamples->fTemp[i];
        fSumy += static_cast<float>(pSamples->iVolt[i]);
        printf("i = %d, fTemp = %5.2f, iVolt = %d\r\n", i, static_cast<double>(pSamples->fTemp[i]),
               pSamples->iVolt[i]);
    }
    const float fAveX = fSumx / static_cast<float>(usNum);
    const float fAveY = fSumy / static_cast<float>(usNum);

    float Sxy = 0.0f;
    float Sxx = 0.0f;
    for (int i = 0; i < usNum; ++i) {
        const float fDx = pSamples->fTemp[i] - fAveX;
        Sxy += fDx * (static_cast<float>(pSamples->iVolt[i]) - fAveY);
        Sxx += fDx * fDx;
    }
    const float k = Sxy / Sxx;
    const float b = fAveY - k * fAveX;
    *pk = k;
    *pb = b;
    // The sums of squares and products, under the labels of the plain sums: kept so.
    printf("fSumx = %5.2f, fSumy = %5.2f\r\n", static_cast<double>(Sxx), static_cast<double>(Sxy));
    printf("k = %5.3f, b = %5.1f ,fAveX = %5.2f, fAveY = %5.2f\r\n ", static_cast<double>(k),
           static_cast<double>(b), static_cast<double>(fAveX), static_cast<double>(fAveY));
}

// ---- The logarithm table ----
//
// Without a floating-point unit log10f is dear. So the exact logarithm is followed in whole numbers, which
// rounds to what log10f gives unless it lies about half way between two floats: only there log10f, whose own
// error decides, is asked.

// Units of the logarithms: 2^-56 while they are added up, 2^-29 (256 to the last place of the largest) when
// rounded.
constexpr double LOG_UNIT = 0x1p56;
constexpr unsigned LOG_ROUND_SHIFT = 27;
constexpr int LOG_ROUND_BITS = 29;
constexpr int FLOAT_BIAS = 127;
// How near to half way, in units of 2^-29, log10f may go the other way. glibc's strays 20.3 from the exact
// value beyond the rounding, musl's 4.5 (all entries compared), the sum below less than 2.
constexpr uint32_t LOG_DOUBT = 23;

// Entry x of the table from log10(x).
static float LogEntry(uint32_t x, uint64_t ulLog) {
    const uint32_t uiLog = static_cast<uint32_t>(ulLog >> LOG_ROUND_SHIFT);
    // Bits beyond the 24 of a float; below 10 there are too few to judge by.
    const int iSpare = x < 10 ? 0 : 8 - __builtin_clz(uiLog);
    const uint32_t uiHalf = 1U << iSpare >> 1;
    const uint32_t uiRest = uiLog & ((1U << iSpare) - 1);
    if (iSpare == 0 || uiRest - uiHalf + LOG_DOUBT <= 2 * LOG_DOUBT)
        return 5.0f * log10f(static_cast<float>(x));
    // The 24 bits under their exponent, which the first of them raises by one.
    const uint32_t uiBits = ((uiLog + uiHalf) >> iSpare) +
                            (static_cast<uint32_t>(FLOAT_BIAS + 22 - LOG_ROUND_BITS + iSpare) << 23);
    float fLog = 0.0f;
    memcpy(&fLog, &uiBits, sizeof(fLog));
    return 5.0f * fLog;
}

// The upper half of the table is followed in blocks, each a parabola about its middle, which misses less than
// 2^-29; the lower entries are upper ones less log10(2) for each halving.
void LogTableCreat() {
    constexpr uint32_t HALF = 64;
    constexpr uint64_t LOG_OF_2 = static_cast<uint64_t>(M_LN2 * M_LOG10E * LOG_UNIT);
    LogSigTable[0] = 0.0f;
    for (uint32_t uiMiddle = LOG_SIG_SIZE / 2 + HALF; uiMiddle < LOG_SIG_SIZE; uiMiddle += 2 * HALF) {
        const double dMiddle = uiMiddle;
        const double dSlope = M_LOG10E / dMiddle * LOG_UNIT;
        uint64_t ulLog =
            static_cast<uint64_t>(log10(dMiddle) * LOG_UNIT - dSlope * HALF * (1 + HALF / dMiddle / 2));
        uint64_t ulStep = static_cast<uint64_t>(dSlope * (1 + (HALF - 0.5) / dMiddle));
        const uint64_t ulBend = static_cast<uint64_t>(dSlope / dMiddle);
        for (uint32_t uiUpper = uiMiddle - HALF; uiUpper < uiMiddle + HALF; ++uiUpper) {
            uint64_t ulHalved = ulLog;
            uint32_t x = uiUpper;
            LogSigTable[x] = LogEntry(x, ulHalved);
            while (x % 2 == 0) {
                x /= 2;
                ulHalved -= LOG_OF_2;
                LogSigTable[x] = LogEntry(x, ulHalved);
            }
            ulLog += ulStep;
            ulStep -= ulBend;
        }
    }
}

void CalShiftPhase4_90(uint8_t iCycle, uint8_t* buf) {
    if (buf == nullptr)
        return;
    // A cycle of 0 makes t infinite and every offset 0.
    const float t = static_cast<float>(25000.0 / static_cast<double>(3 * iCycle));
    const float fStep = static_cast<float>(6250.0 / static_cast<double>(t) * 0.0625);
    for (int i = PHASE_BYTES - 1; i >= 0; --i) {
        const int iRamp = ((PHASE_BYTES - 1 - i) & 15) - 8;
        buf[i] = static_cast<uint8_t>(static_cast<int>(static_cast<float>(iRamp) * fStep));
    }
}
