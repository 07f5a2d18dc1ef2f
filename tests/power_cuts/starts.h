// What is cut: a state of the store, and what the program was doing when the supply failed.
#pragma once

#include <stdint.h>

#include <vector>

#include "device/eeprom.h"
#include "tests/power_cuts/bare_part.h"

namespace power_cuts {

// Rows of "Not guaranteed" in docs/eeprom.md that a start may show.
enum Limit : unsigned {
    kGuaranteed = 0,
    kNoJournal = 1,  // the page is not replayed: a mixture, which is told
    kSetsBack = 2,   // another page is set back to what the slot last carried for it, unnoticed
    kMoves = 4,      // the checksums move: the other pages are told
    kOldRecord = 8,  // an earlier module record, with what it knows of damage
};

struct Start {
    const char* name;
    void (*prepare)(
        BarePart& part);  // on the filled store, opened; ends opened, or with nothing of the program's
    uint32_t address;     // of the parameter bytes that are written
    uint32_t count;
    int32_t (*work)();  // null: that write
    unsigned limits;
    unsigned second, third;  // bytes from cut to cut in the opening after the first cut, and after the second
};

const std::vector<Start>& Starts();
// The one of this name, which must be there.
const Start& StartOf(const char* name);

// `count` bytes without a short period, other ones for another `salt`.
Bytes Pattern(size_t count, unsigned salt);

// In the part's array: a zeroed store; contents of their own in the first pages of parameter partition 0,
// under checksum partition 0; a store with all of these pages filled, each slot used and released.
void Format(uint8_t* image);
void FillParameters(uint8_t* image, uint32_t pages);
void FillStore(uint8_t* image);
// The record, sealed, to a copy.
void PutModule(uint8_t* image, int copy, module_part record);

// Does the start's work. Returns its code.
int32_t Work(const Start& start);

}  // namespace power_cuts
