// What can go wrong on the bench, and which checks see it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/soak/checks.h"
#include "tests/soak/dice.h"

namespace k905::soak {

// One thing that comes and goes. Written from what the checks look at, not from what they say.
struct BenchChange {
    const char* name;  // of the fault, or of the quantity
    bool quantity;
    nlohmann::json (*on)(Dice&);  // a value
    nlohmann::json off;
    std::vector<Check> fails;  // must not pass while it lasts
    std::vector<Check> blurs;  // may pass or not
    enum Kind { kUsual, kSlow, kLate, kHides, kCuts, kBlocks, kKeys } kind = kUsual;
    // kSlow: every answer of the measurement board takes one to five seconds, a loop would last for hours:
    // the bench is repaired under it, so that nothing is said of what comes of it. kLate: the same, and what
    // it says comes afterwards. kHides: texts may be illegible. kCuts: the supply goes off in a write.
    // kBlocks: what waits for the module's samples may not end, and it may not come to rest. kKeys: the keys
    // that the value names must not light up their own pictures, the others must.
};

// Those that come and go while the program runs, and those that matter as it starts.
const std::vector<BenchChange>& BenchChanges();
const std::vector<BenchChange>& StartChanges();

}  // namespace k905::soak
