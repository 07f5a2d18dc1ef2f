// The subcommands of `k905`. Each returns the program's exit status: 0 all well, 1 not, 2 misused.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "simulator/panel/client.h"

namespace k905 {

struct CommandOptions {
    std::string state;
    std::string out;  // of `check`: folder of the screenshots
    int port = 8905;
    double speed = 1;
    std::string at;  // of `panel`: a moment of a session
    unsigned seed = 1;
    unsigned bits = 16;
    bool keep = false;
    std::string job = "all";            // of `check`: main-board, module, all
    std::string until;                  // of `check`: last step
    std::string start;                  // of `check`: bench and faults in force at the start, JSON
    bool json = false;                  // of `check`: lines for programs
    std::string script;                 // of `check`: replayed instead of the job
    std::vector<std::string> requests;  // of `ctl`
};

// Reads the arguments that follow the subcommand. Returns "" or what is wrong with them.
std::string ParseOptions(const std::string& command, const std::vector<std::string>& arguments,
                         CommandOptions& options);
std::string Usage();

int RunPanelCommand(const CommandOptions& options);
int RunCheckCommand(const CommandOptions& options);
int RunCtlCommand(const CommandOptions& options);

}  // namespace k905
