// `k905 check SCRIPT`: replays what hands did at the page, on a fresh instrument in stepped time.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulator/panel/check.h"

namespace k905 {

struct ReplayOptions {
    BenchOptions bench;  // stepped
    std::string script;  // file
    std::string outDir;  // for the screenshots; made if missing
};

struct ScriptLine {
    int number = 0;  // in the file, from 1
    nlohmann::json request;
};

// A script is one request of the control interface a line; empty lines and those that begin with '#' say
// nothing. Besides it knows
//   {"do": "wait", "ms": n}                        virtual time passes
//   {"do": "expect", "text": t, "limit_ms": n}     the text stands on the screen within that time (default
//   60000)
//   {"do": "screenshot", "path": "name.png"}       into the out folder
// If it begins with {"do": "bench", ...}, the instrument starts on that bench.
// Throws BenchError with file and line when one of its lines is no request.
std::vector<ScriptLine> ReadScript(const std::string& file);

// Replays it from the moment when the start screen stands still. A result for each expected text, each
// screenshot and each refused request; a crash, or a text that does not come, ends the replay. Throws
// BenchError when the instrument cannot be started.
std::vector<CheckResult> RunReplay(const ReplayOptions& options,
                                   const std::function<void(const CheckResult&)>& report);

}  // namespace k905
