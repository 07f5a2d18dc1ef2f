// `k905 check SCRIPT`: does what a script says, on a fresh instrument in stepped time.
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
    std::string outDir;  // for screenshots and session; made if missing
};

struct ScriptLine {
    int number = 0;  // in the file, from 1
    nlohmann::json request;
};

constexpr const char* kFailedScreen = "failed.png";  // in the out folder: the screen at a line that failed

// A script is one request of the launcher's control interface a line; empty lines and those that begin with
// '#' say nothing. Throws BenchError with file and line when one of its lines is no request.
std::vector<ScriptLine> ReadScript(const std::string& file);

// Does it from the moment when the start screen stands still; of a first line "bench" the instrument is
// switched on with that bench. Each line is done when all is done that follows from it ("wait" is added). A
// result for each expectation and each screenshot, and for the line that fails, which ends the script: what
// is wrong begins with file and line. Throws BenchError when the script cannot be read, checks nothing, or
// the instrument cannot be started.
std::vector<CheckResult> RunReplay(const ReplayOptions& options,
                                   const std::function<void(const CheckResult&)>& report);

}  // namespace k905
