// Fibre-length offset: where distance zero lies in a trace, found from the two ends of a 5 m test fibre.
#pragma once

#include <stdint.h>

// Sets the acquisition up for the offset measurement, takes one trace and stores it, dark lead-in last, into
// DataBuff (TRACE_SAMPLES samples). Returns 0, or, nothing stored, ACQ_STOPPED or ACQ_TIMED_OUT.
int ExFiberLenSetParament(uint16_t* DataBuff);

// Runs the calibration on the calling thread, stores the offset (samples) in the tuning record and saves it,
// also when it failed; only an acquisition that was broken off or did not end, which the operator is told,
// leaves the record as it was. result, room for at least 15
// characters, receives "Adjust Success" or "Adjust Error". Returns the offset.
int CalExFiberLen(char* result);

// Peak positions of a log trace (TRACE_SAMPLES values), ascending; 0 where a round found none.
constexpr int FIBER_PEAKS = 5;
void FindFiberPeaks(const float* pLog, float* pWork, int* pPosition);

// Offset of the first pair of peaks that may be the ends of the test fibre, 0 when there is none.
int OffsetOfPeaks(const int* pPosition, bool& bFound);
