// All power cuts of a start: every write cycle of its work is cut before, in and after every byte; so are
// those of each opening that follows a cut, and of the opening after that.
//
// The program up to a cut does what it does without one: a state is opened once, without a cut, and what its
// write cycles leave when they are cut is made in the part's array. Of cuts that leave the same state one is
// opened.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "tests/power_cuts/starts.h"

namespace power_cuts {

// Where in the work the first cut was.
enum Window { kFirstHalf, kSecondHalf, kPage, kRelease, kChecksums, kRecord, kWindows };
const char* NameOf(Window window);

// What the program gets of the store after the last cut. The worst counts.
enum Outcome {
    kOld,
    kNew,
    kTold,     // old or new, read as -999
    kLost,     // the same, or another page is told: its checksum is lost, its bytes are not
    kMixed,    // neither old nor new, read as -999
    kSetBack,  // another page has other bytes
    kFinding,  // what docs/eeprom.md does not say of the start
    kOutcomes
};
const char* NameOf(Outcome outcome);
const char* NameOf(Damage damage);

// A cut of one of the write cycles of the work or, of a later cut, of the opening after the cut before it.
struct Cut {
    uint32_t cycle;
    uint16_t bytes;  // that were programmed
    Damage damage;   // to the others
};

struct Counts {
    uint64_t cuts, states, outcomes[kOutcomes];
};

constexpr int kDepths = 3;  // first, second, third cut and later ones

struct Result {
    Counts windows[kWindows];
    uint64_t cutsAt[kDepths];
};

struct Options {
    unsigned seed = 1;  // of damaged bits
    int depth = 3;      // cuts in a row
    int findings = 10;  // shown of a start
};

// Prints findings, each with the cuts that lead to it.
Result Sweep(const Start& start, const Options& options);

// Seed of what a cut in the cycle at this address damages: the same bits each time, so that the same cut
// leaves the same state.
unsigned SeedOf(uint32_t address, unsigned seed);

// The part's array after these cuts, the store not opened since the last one.
Bytes ImageAfter(const Start& start, const std::vector<Cut>& cuts, unsigned seed);
std::string Text(const std::vector<Cut>& cuts);

}  // namespace power_cuts
