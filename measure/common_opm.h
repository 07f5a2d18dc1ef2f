// Entrance to the optical measurements: status codes, operator messages, the test log, and the calibration
// results.
#pragma once

#include <stdint.h>

#include "device/operator_report.h"
#include "device/opm_status.h"
#include "measure/numeric/numeric.h"

// Appends one line to the test log on the SD card; without a card, or for null, nothing happens.
void FCT_LOG(const char* log);

// Appends text as it stands (no newline) to the file and asks the system to flush its file systems. Null
// arguments and a file that does not open are passed over.
void printToFile(const char* filePath, const char* text);

// Gain table, written out row by row. Nothing in this program fills it.
constexpr int GAIN_ROWS = 500;
extern float Gain[GAIN_ROWS][2];

// Writes row j of Gain to the open descriptor fd as one line, "<first, %5.2f> <second as an unsigned integer,
// %x>". Returns 0 always; a row outside the table writes nothing.
int32_t OPMSaveData2File(int32_t fd, uint16_t j);

// Message for a status code of opm_status.h, in static storage; "Unkown Error." for every other number.
const char* OpmErrorText(int32_t err);

// Breakdown samples that the APD calibration collects and the APD adjust screen plots: null until the screen
// makes the record on the heap, freed by the application entry at exit.
extern APD_BREAK_PARA* pApd_Break_Para;
