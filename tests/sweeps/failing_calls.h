// One call of a script fails: what comes of it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/sweeps/scripts.h"

namespace k905::sweeps {

// The call that fails: the `call`-th of a function from one place of the program (all places: ""), counted
// from where the script's work begins; `times` in a row, 0: all from there on.
struct Failure {
    std::string function;
    std::string caller, in;  // place, and the name of the function it lies in
    unsigned long call = 1, times = 1;
    std::string Describe() const;
};

// What the script does with all calls good, for comparison.
struct GoodRun {
    struct Place {
        std::string function, caller, in;
        unsigned long calls = 0;
    };
    std::vector<Place> places;
    std::map<std::string, unsigned long> held;  // at the end, by what and by whom
    std::string unrest;  // of the module at the end, where its own fault keeps it from rest
    std::set<std::string> seen;
};

struct Outcome {
    enum Kind { kSame, kTold, kOther, kUndone, kEnded, kNotReached } kind = kSame;
    std::vector<std::string> findings;  // what must not be
    std::vector<std::string> lost;  // texts of the good run that were not seen, where nothing else was told
    double endSeconds = 0;          // real, from SIGTERM to the end
};

GoodRun RunGood(const Script& script);
Outcome RunFailing(const Script& script, const GoodRun& good, const Failure& failure);

// The failures of a sweep. Of each place that calls a function: every call where there are at most `all`,
// else the first three, the last, and `all` more evenly between them; and from the first on for ever.
std::vector<Failure> PlanFailures(const GoodRun& good, unsigned long all);

}  // namespace k905::sweeps
