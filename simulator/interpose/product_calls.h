// The product's calls into the C library, counted by function and caller, one or more of them made to fail,
// and what the product has taken by them and not yet given back. While they are counted, the program's own
// addresses of these functions lead here first; else nothing is looked at and nothing costs anything. Calls
// of other libraries in the process are never seen.
//
// Every function is called with the instrument's lock held.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace k905 {

struct CallFailure {
    std::string function;
    std::string caller;       // only calls from there: "0x1a2b" in the program, or a function's name
    unsigned long call = 1;   // the first that fails, from now on
    unsigned long times = 1;  // so many in a row; 0: all from there on
    int error = 0;            // errno; 0: the one that the function's failure is known for
};

// Counts from 0 from here on, and forgets what was to fail.
void StartCountingCalls();
// Every call goes its straight way again.
void StopCountingCalls();

// Makes calls fail instead of those asked for before; counts from then on if nothing was counted. "", or what
// is wrong with the plan.
std::string FailCalls(const CallFailure& failure);

// What was counted: "functions", "failed", "holds" (docs/control.md). Null while nothing is counted.
nlohmann::json CallReport();

}  // namespace k905
