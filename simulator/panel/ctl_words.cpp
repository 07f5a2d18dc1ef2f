#include "simulator/panel/ctl_words.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "simulator/panel/control_client.h"

namespace k905 {

namespace {

using nlohmann::json;

// A member of a request, and where what it can be comes from.
enum class From {
    kAnywhere,
    kKeys,
    kKeyActions,
    kTraceActions,
    kCallActions,
    kQuantities,
    kFaults,
    kControls
};
struct Member {
    const char* name;
    bool must = true;
    From from = From::kAnywhere;
};

struct Command {
    const char* name;
    std::vector<Member> members;
    const char* what;
    const char* request = nullptr;  // null: called as the command
};

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"hello", {}, "mode, speed, virtual time"},
        {"key",
         {{"key", true, From::kKeys}, {"action", false, From::kKeyActions}, {"hold_ms", false}},
         "a key"},
        {"knob", {{"steps"}}, "turns the knob, clockwise if positive"},
        {"touch", {{"x"}, {"y"}, {"action", false}, {"hold_ms", false}}, "touches the screen"},
        {"tap",
         {{"control", true, From::kControls}, {"hold_ms", false}},
         "touches a control by its name",
         "touch"},
        {"text", {}, "the texts on the screen"},
        {"controls", {}, "the controls of the screen"},
        {"screenshot", {{"path"}}, "writes a PNG"},
        {"state", {}, "every model's state"},
        {"samples", {{"wavelength", false}}, "the last acquisition"},
        {"quantities", {}, "lists what can be set"},
        {"set", {{"name", true, From::kQuantities}, {"value"}}, "sets a quantity of the bench"},
        {"faults", {}, "lists the faults"},
        {"fault", {{"name", true, From::kFaults}, {"value", false}}, "sets a fault; value false clears it"},
        {"bench", {}, "what is set on the bench"},
        {"speed", {{"factor"}}, "speed of time, 0 holds"},
        {"until", {{"text"}, {"limit_ms", false}}, "waits for a text on the screen"},
        {"advance", {{"ms"}}, "waits for so much virtual time"},
        {"trace",
         {{"action", true, From::kTraceActions}, {"explain", false}},
         "the hardware trace; explain true tells what the lines mean"},
        {"origin", {{"register"}}, "what wrote a register its value"},
        {"threads", {}, "the program's threads"},
        {"calls", {{"action", false, From::kCallActions}}, "its calls into the system, counted"},
        {"fail_call",
         {{"function"}, {"call", false}, {"times", false}},
         "makes its n-th call from now on fail"},
        {"stop", {}, "ends the program"},
        {"power_cut", {}, "cuts the power"},
    };
    return commands;
}

const Command* Find(const std::string& name) {
    for (const Command& command : Commands())
        if (name == command.name)
            return &command;
    return nullptr;
}

std::string Usage(const Command& command) {
    std::string usage = command.name;
    for (const Member& member : command.members)
        usage += member.must ? " " + std::string(member.name) : " [" + std::string(member.name) + "]";
    return usage;
}

std::vector<std::string> Names(const json& list) {
    std::vector<std::string> names;
    for (const json& entry : list)
        names.push_back(entry.at("name"));
    return names;
}

// As a person types them in a shell: one word each. Without those that have no name.
std::vector<std::string> Typed(const std::vector<std::string>& names) {
    std::vector<std::string> words;
    for (const std::string& name : names) {
        std::string word;
        for (const char c : name)
            word += (c == ' ' || c == '!' ? "\\" : "") + std::string(1, c);
        if (!word.empty())
            words.push_back(word);
    }
    return words;
}

std::vector<std::string> Candidates(From from, const std::function<json(const json&)>& ask) {
    switch (from) {
        case From::kKeys:
            return KeyNames();
        case From::kKeyActions:
            return {"press", "down", "up"};
        case From::kTraceActions:
            return {"start", "stop", "clear", "read"};
        case From::kCallActions:
            return {"start", "read", "stop"};
        case From::kQuantities:
            return Names(ask({{"do", "quantities"}}).at("quantities"));
        case From::kFaults:
            return Names(ask({{"do", "faults"}}).at("faults"));
        case From::kControls:
            return Typed(Names(ask({{"do", "controls"}}).at("controls")));
        case From::kAnywhere:
            break;
    }
    return {};
}

}  // namespace

const std::vector<std::string>& KeyNames() {
    static const std::vector<std::string> names = {"menu",  "f1",    "f2",    "f3",    "f4",   "f5",
                                                   "esc",   "file",  "scale", "setup", "up",   "left",
                                                   "enter", "right", "down",  "realt", "knob", "avg"};
    return names;
}

json RequestFromWords(const std::vector<std::string>& words) {
    const Command* command = words.empty() ? nullptr : Find(words[0]);
    if (command == nullptr)
        throw BenchError("no such command: " + (words.empty() ? std::string() : words[0]) +
                         " (k905 ctl help lists them)");
    const auto least = std::count_if(command->members.begin(), command->members.end(),
                                     [](const Member& member) { return member.must; });
    const std::size_t given = words.size() - 1;
    if (given < static_cast<std::size_t>(least) || given > command->members.size())
        throw BenchError("usage: " + Usage(*command));
    json request = {{"do", command->request == nullptr ? command->name : command->request}};
    for (std::size_t i = 0; i < given; ++i) {
        const Member& member = command->members[i];
        const json value = json::parse(words[i + 1], nullptr, false);
        const bool text = value.is_discarded() || member.from == From::kControls;
        request[member.name] = text ? json(words[i + 1]) : value;
    }
    return request;
}

std::string WordsHelp() {
    std::string help;
    for (const Command& command : Commands()) {
        std::string usage = Usage(command);
        usage.resize(std::max<std::size_t>(usage.size(), 34), ' ');
        help += "  " + usage + " " + command.what + "\n";
    }
    return help;
}

std::vector<std::string> CompleteWords(const std::vector<std::string>& words,
                                       const std::function<json(const json&)>& ask) {
    if (words.empty())
        return {};
    std::vector<std::string> all;
    if (words.size() == 1) {
        for (const Command& command : Commands())
            all.push_back(command.name);
    } else if (const Command* command = Find(words[0]);
               command != nullptr && words.size() - 2 < command->members.size()) {
        try {
            all = Candidates(command->members[words.size() - 2].from, ask);
        } catch (const std::exception&) {
            return {};
        }
    }
    std::vector<std::string> fitting;
    for (const std::string& one : all)
        if (one.rfind(words.back(), 0) == 0)
            fitting.push_back(one);
    return fitting;
}

std::string BashCompletion() {
    return R"(_k905_ctl() {
    # The words from behind "ctl" or "--ctl" on.
    local i begin=0
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case "${COMP_WORDS[i]}" in ctl | --ctl) begin=$((i + 1)) ;; esac
    done
    [ "$begin" -gt 0 ] || return
    mapfile -t COMPREPLY < <("${COMP_WORDS[@]:0:begin}" complete "${COMP_WORDS[@]:begin:COMP_CWORD-begin+1}" 2>/dev/null)
}
complete -F _k905_ctl k905 ./run
)";
}

}  // namespace k905
