#include "measure/numeric/numeric.h"

#include <math.h>
#include <stdio.h>

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

void LogTableCreat() {
    LogSigTable[0] = 0.0f;
    for (int x = 1; x < LOG_SIG_SIZE; ++x)
        LogSigTable[x] = 5.0f * log10f(static_cast<float>(x));
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
