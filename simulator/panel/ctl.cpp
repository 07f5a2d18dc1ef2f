#include <cstdio>
#include <filesystem>

#include "simulator/panel/commands.h"
#include "simulator/panel/ctl_words.h"
#include "simulator/panel/last_panel.h"

namespace k905 {

namespace {

std::string Socket(const CommandOptions& options) {
    const std::string state = options.state.empty() ? RememberedPanel() : options.state;
    if (state.empty())
        throw BenchError("no instrument is known: start one with `k905 panel`, or name its --state");
    return state + "/control.sock";
}

// What is done without an instrument; false: `words` are none of these.
bool Helped(const CommandOptions& options) {
    const std::string& first = options.requests[0];
    if (first == "help") {
        std::fputs(WordsHelp().c_str(), stdout);
    } else if (first == "completion") {
        std::fputs(BashCompletion().c_str(), stdout);
    } else if (first == "complete") {
        const auto ask = [&](const nlohmann::json& request) {
            return ControlClient(Socket(options)).Ask(request);
        };
        for (const std::string& word :
             CompleteWords({options.requests.begin() + 1, options.requests.end()}, ask))
            std::printf("%s\n", word.c_str());
    } else {
        return false;
    }
    return true;
}

}  // namespace

int RunCtlCommand(const CommandOptions& options) {
    if (Helped(options))
        return 0;
    std::vector<nlohmann::json> requests;
    if (options.requests[0].find_first_of("{[") != 0) {
        requests.push_back(RequestFromWords(options.requests));
    } else {
        for (const std::string& text : options.requests) {
            requests.push_back(nlohmann::json::parse(text, nullptr, false));
            if (!requests.back().is_object()) {
                std::fprintf(stderr, "k905: not a JSON object: %s\n", text.c_str());
                return 2;
            }
        }
    }
    ControlClient control(Socket(options));
    bool allDone = true;
    for (nlohmann::json& request : requests) {
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
