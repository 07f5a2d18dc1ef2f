#include <cstdio>
#include <filesystem>

#include "simulator/panel/commands.h"
#include "simulator/panel/last_panel.h"

namespace k905 {

int RunCtlCommand(const CommandOptions& options) {
    const std::string state = options.state.empty() ? RememberedPanel() : options.state;
    if (state.empty()) {
        std::fprintf(stderr,
                     "k905: no instrument is known: start one with `k905 panel`, or name its --state\n");
        return 1;
    }
    ControlClient control(state + "/control.sock");
    bool allDone = true;
    for (const std::string& text : options.requests) {
        nlohmann::json request = nlohmann::json::parse(text, nullptr, false);
        if (!request.is_object()) {
            std::fprintf(stderr, "k905: not a JSON object: %s\n", text.c_str());
            return 2;
        }
        // A relative path means the caller's folder, not that of fct.
        if (request.contains("path") && request["path"].is_string())
            request["path"] = std::filesystem::absolute(request["path"].get<std::string>()).string();
        const nlohmann::json reply = control.Ask(request);
        std::printf("%s\n", reply.dump().c_str());
        std::fflush(stdout);
        allDone = allDone && reply["ok"].get<bool>();
    }
    return allDone ? 0 : 1;
}

}  // namespace k905
