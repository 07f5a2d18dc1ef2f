// Signal acquisition: dark level, mean and noise, and the back-scatter figure of a whole trace; and the text
// formatters of the adjust screen's status line. One measurement at a time; samples are raw 16-bit ADC codes.
#pragma once

#include <stdint.h>

#include "device/opm_registers.h"

constexpr uint16_t TRACE_SAMPLES = 8192;
constexpr uint16_t DARK_SAMPLES = 512;  // of a trace, recorded before the pulse

// Timing of one acquisition in milliseconds; each measurement has its own.
struct ACQ_TIMING {
    uint16_t usStart;      // after the start
    uint16_t usPoll;       // after each look at the done bit
    uint16_t usTransfer;   // after the transfer request
    uint16_t usReadyPoll;  // after each look at the ready bit; 0: none
};

// What ends the wait for an acquisition that does not end by itself; the end of the program always does. The
// measurements below, which belong to the adjustment loops and the light path, have iStopThreadFlag and
// ACQ_LIMIT_MS where they do not take one.
struct ACQ_WAIT {
    const int* pRunFlag;  // the caller's run flag, which ends it when it is 0; null: none
    uint32_t uiLimit;     // longest wait for either bit, milliseconds; 0: without end
    bool bReadable;       // a register that cannot be read ends it; else that counts as a bit that is not set
};

// Limit where the operator has no Stop. Measured: good acquisitions, of every measurement here and on the
// screens, were waited for at most 200 ms, two looks.
constexpr uint32_t ACQ_LIMIT_MS = 5000;

// Of checks for which a request that fails is a result.
constexpr ACQ_WAIT checkWait = {nullptr, ACQ_LIMIT_MS, true};

// Why there is no acquisition.
constexpr int ACQ_STOPPED = -1;     // broken off by the run flag or the end of the program
constexpr int ACQ_NO_SAMPLES = -2;  // the driver refuses
constexpr int ACQ_TIMED_OUT = -3;   // the limit passed

// Starts an acquisition, waits for its end, and fetches usCount samples into pData. Returns 0 or the code of
// the failure; pData is then as it was.
int AcquireSamples(const ACQ_TIMING& timing, const ACQ_WAIT& wait, uint16_t* pData, uint16_t usCount);

// A whole trace: AcquireSamples with TRACE_SAMPLES, the first sample replaced by the mean of the next two,
// and the dark lead-in that precedes the pulse moved to the end of pTrace (TRACE_SAMPLES samples). Returns 0,
// or, pTrace as it was, ACQ_STOPPED or ACQ_TIMED_OUT.
int FetchTrace(const ACQ_TIMING& timing, uint16_t* pTrace);

// Tells the operator of the optical check that an acquisition did not end.
void ReportTimeOut();

// Returns the acquisition control register to idle; every AcquireSamples is followed by one.
void EndAcquisition();

// Results of the last GetSignalParameter: rounded mean and standard deviation, ADC codes.
extern int signalMean;
extern float signalStd;

// Sleeps for a pause of a measurement, milliseconds; 0: none.
void Pause(uint16_t usMsec);

// Dark level of the ADC with the laser idle: mean of 512 samples, truncated. NO_BLACK_LEVEL when the
// acquisition was broken off or did not end.
constexpr uint32_t NO_BLACK_LEVEL = UINT32_MAX;
uint32_t GetBlackLevel();

// Measures mean and noise at attenuator code iATT0 (0: the default 800) into signalMean and signalStd, and
// prints them. Returns 0, or, nothing stored or printed, ACQ_STOPPED or ACQ_TIMED_OUT.
int GetSignalParameter(uint32_t iATT0);
int MeasureNoise(uint32_t iATT0, const ACQ_WAIT& wait);

// Takes a trace at WAVE_LEN_1310 or (any other value) 1550 nm, saves it to the USB stick, and returns how far
// the signal behind the pulse stands above the dark noise, in 5 log10 units. NAN, nothing saved, when the
// acquisition was broken off or did not end.
float GetSignal(OTDRWaveLen iWave);

// Fill offset of the status line in adBuffer. A line starts with showLen and *plen at 0.
extern uint16_t showLen;

// Append " label: value" (the second form with an integer) to the status line; *plen is the length of the
// field before, and then of this one. A field that does not fit is cut.
void ShowADTest(const char* TPa, float adValue1, int* plen);
void ShowADTest_len(const char* TPa, float adValue1, uint32_t adValue2, int* plen);

// Appends VAR and blacklevel to the wavelength's two number lists on the SD card.
void save_date_sdcard(OTDRWaveLen iWave, uint16_t VAR, int blacklevel);
