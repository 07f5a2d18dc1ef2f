// k905: starts the functional test on the simulated instrument, for people (panel), as a check, and talks to
// it (ctl).
#include <cstdio>
#include <exception>

#include "simulator/panel/commands.h"

int main(int argc, char** argv) {
    constexpr struct {
        const char* name;
        int (*run)(const k905::CommandOptions&);
    } kCommands[] = {
        {"panel", k905::RunPanelCommand}, {"check", k905::RunCheckCommand}, {"ctl", k905::RunCtlCommand}};

    const std::vector<std::string> arguments(argv + 1, argv + argc);
    for (const std::string& argument : arguments)
        if (argument == "--help" || argument == "-h") {
            std::fputs(k905::Usage().c_str(), stdout);
            return 0;
        }
    if (!arguments.empty())
        for (const auto& command : kCommands) {
            if (arguments[0] != command.name)
                continue;
            k905::CommandOptions options;
            const std::string wrong =
                k905::ParseOptions(command.name, {arguments.begin() + 1, arguments.end()}, options);
            if (!wrong.empty()) {
                std::fprintf(stderr, "k905: %s (k905 --help tells all)\n", wrong.c_str());
                return 2;
            }
            try {
                return command.run(options);
            } catch (const std::exception& error) {
                std::fprintf(stderr, "k905: %s\n", error.what());
                return 1;
            }
        }
    std::fputs(k905::Usage().c_str(), stderr);
    return 2;
}
