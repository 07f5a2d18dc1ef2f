// Arithmetic shared by the signal and calibration code: means, maxima, a sort, the straight line through the
// APD breakdown samples, the logarithm table and the phase ramps. The instrument's processor has no
// floating-point unit: single precision wherever that is enough, few passes and few divisions.
#pragma once

#include <stdint.h>

// Samples of the APD breakdown voltage over temperature, kept by ascending temperature.
constexpr int APD_BREAK_MAX = 50;
struct APD_BREAK_PARA {
    uint16_t iVolt[APD_BREAK_MAX];  // breakdown voltage, APD register code
    float fTemp[APD_BREAK_MAX];     // module temperature in degrees Celsius when the code was found
    int iNum;                       // slots filled, 0..APD_BREAK_MAX
};

// 5 * log10 of a raw 16-bit ADC code, entry 0 being 0.0; all zero until LogTableCreat has run.
constexpr int LOG_SIG_SIZE = 65536;
extern float LogSigTable[LOG_SIG_SIZE];

// Absolute value; -0.0 gives +0.0.
float Abs(float fValue);

// Hook for a busy wait: does nothing.
void Delay(uint32_t uiCount);

// 0 when fin1 and fin2 differ by at most delta, else 1 when fin1 is the larger, else -1.
int IsEqual(float fin1, float fin2, float delta);

// Integer mean, truncated, of iSignalLength samples (32768 at most: the sum has 32 bits); 0 for a length
// below 1.
uint16_t GetMeanUint16(const uint16_t* pSignal, int iSignalLength);

// Mean of iSignalLength values, summed in float in index order; 0.0 / length for a length below 1 (NaN for
// 0).
float GetMeanUint32(const uint32_t* pSignal, int iSignalLength);
float GetMeanFloat(const float* pSignal, int iSignalLength);

// Largest of iSignalLength values, but never less than -1000.0, which is also the maximum of nothing.
float GetMaxFloat(const float* pSignal, int iSignalLength);

// Index of the largest value above 0.0, the first of equals; 0 when there is none.
int GetMaxIndexFloat(const float* pSignal, int iSignalLength);

// Sorts the first n elements of a ascending, in place; equal elements keep their order.
void bubble_sort(int* a, int n);

// Least-squares line code = *pk * temperature + *pb through the samples: *pk in codes per degree, *pb the
// code at 0 degrees. Prints the samples and the sums. Without a sample it prints an error and leaves *pk and
// *pb; one sample has no slope and gives a non-finite result. pSamples may not be changed meanwhile.
void Polyfit(float* pk, float* pb, const APD_BREAK_PARA* pSamples);

// Fills LogSigTable, so that a trace is converted later with one look-up a sample.
void LogTableCreat();

// Fills the 64 bytes of buf with signed phase offsets: four equal ramps of 16, from +7 down to -8 steps of
// 0.046875 * iCycle, each truncated toward zero.
constexpr int PHASE_BYTES = 64;
void CalShiftPhase4_90(uint8_t iCycle, uint8_t* buf);
