#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "simulator/panel/check.h"
#include "simulator/panel/commands.h"

namespace k905 {

namespace {

// A number of that range, exactly as far as the text goes.
bool Number(const std::string& text, double low, double high, bool whole, double& value) {
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && errno == 0 && value >= low && value <= high &&
           (!whole || value == std::floor(value));
}

struct Option {
    const char* name;
    const char* commands;  // those that take it
    double low, high;      // of a number; low > high: text
    bool whole;
    const char* expects;
};

constexpr Option kOptions[] = {
    {"--port", "panel", 1, 65535, true, "a port from 1 to 65535"},
    {"--speed", "panel", 1, 1000, false, "a factor from 1 to 1000"},
    {"--seed", "panel check", 0, 4294967295.0, true, "a whole number from 0 to 4294967295"},
    {"--bits", "panel check", 16, 32, true, "16, 24 or 32"},
    {"--state", "panel ctl", 1, 0, false, "a folder"},
    {"--at", "panel", 1, 0, false, "SESSION@SECONDS or SESSION@RUN:SECONDS"},
    {"--out", "check", 1, 0, false, "a folder"},
    {"--job", "check", 1, 0, false, "main-board, module or all"},
    {"--until", "check", 1, 0, false, "the name of a step"},
    {"--start", "check", 1, 0, false, R"({"set": {...}, "faults": {...}})"},
};

const Option* Find(const std::string& name, const std::string& command) {
    for (const Option& option : kOptions)
        if (name == option.name && std::string(option.commands).find(command) != std::string::npos)
            return &option;
    return nullptr;
}

void Store(const std::string& name, const std::string& text, double value, CommandOptions& options) {
    if (name == "--port")
        options.port = static_cast<int>(value);
    else if (name == "--speed")
        options.speed = value;
    else if (name == "--seed")
        options.seed = static_cast<unsigned>(value);
    else if (name == "--bits")
        options.bits = static_cast<unsigned>(value);
    else if (name == "--state")
        options.state = text;
    else if (name == "--at")
        options.at = text;
    else if (name == "--job")
        options.job = text;
    else if (name == "--until")
        options.until = text;
    else if (name == "--start")
        options.start = text;
    else
        options.out = text;
}

}  // namespace

std::string ParseOptions(const std::string& command, const std::vector<std::string>& arguments,
                         CommandOptions& options) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& name = arguments[i];
        if ((name == "--keep" || name == "--json") && command == "check") {
            (name == "--keep" ? options.keep : options.json) = true;
            continue;
        }
        if (command == "ctl" && name.rfind("--", 0) != 0) {
            options.requests.push_back(name);
            continue;
        }
        if (command == "check" && options.script.empty() && name.rfind("--", 0) != 0) {
            options.script = name;
            continue;
        }
        const Option* option = Find(name, command);
        if (option == nullptr)
            return "k905 " + command + " does not know '" + name + "'";
        if (i + 1 == arguments.size())
            return name + " needs " + option->expects;
        const std::string& text = arguments[++i];
        double value = 0;
        const bool good = option->low > option->high
                              ? !text.empty()
                              : Number(text, option->low, option->high, option->whole, value);
        const bool unknown = (name == "--bits" && value != 16 && value != 24 && value != 32) ||
                             (name == "--job" && text != "main-board" && text != "module" && text != "all") ||
                             (name == "--until" && !IsCheckStep(text)) ||
                             (name == "--start" && !nlohmann::json::parse(text, nullptr, false).is_object());
        if (!good || unknown)
            return name + " needs " + option->expects + ", not '" + text + "'";
        Store(name, text, value, options);
    }
    if (!options.script.empty() && (!options.until.empty() || !options.start.empty()))
        return "k905 check SCRIPT takes neither --until nor --start";
    if (command == "ctl" && options.requests.empty())
        return "k905 ctl needs at least one request";
    return "";
}

std::string Usage() {
    return R"(usage: k905 COMMAND [OPTION...]

k905 panel    the instrument, live in the browser; Ctrl-C ends it
  --port N      serve at 127.0.0.1:N, or the next free port (default 8905)
  --state DIR   keep the instrument (EEPROMs, SD card, logs) in DIR from one start to the next
                (default: a fresh instrument each time)
  --speed F     time passes F times as fast, 1 to 1000 (default 1)
  --seed N      another specimen: board and module spread, noise (default 1)
  --bits N      depth of the LCD: 16, 24 or 32 (default 16)
  --at SESSION[@[RUN:]SECONDS]
                at that moment of a session, and held there: run again from its power-on. A failed check tells the
                moment; session.jsonl in a state folder is the session of that instrument

k905 check    a whole job without a browser: touches the real buttons, presses the real keys, plugs fibres in,
              reads the results back from the screen, prints them as a table; exit status 0 only if every
              step passed
  --job WHAT    main-board, module (test and calibration of the optical module) or all (default)
  --seed N, --bits N   as above
  --out DIR     where the screenshots go (default build/check; with --json: none)
  --until STEP  this step is the last one
  --start JSON  bench and faults that are in force before the program starts:
                '{"set": {"board.rail.TP97": 0.9}, "faults": {"usb.missing": true}}'
  --json        a line of JSON a step instead of the table, with the virtual seconds that the step took and what
                the models held then
  --keep        keep the instrument's state folder, and say where it is
  SCRIPT        instead of the job: do what a script says (examples/*.jsonl, or recorded at the page), and check what
                it expects

k905 ctl JSON...   sends requests to a running instrument and prints the replies, one a line
k905 ctl WORD...   one request in words; `k905 ctl help` lists them, `k905 ctl completion` is for bash to source
  --state DIR   its state folder (default: the one that the last `k905 panel` of this user started)
  for example:  k905 ctl fault sd.missing
                k905 ctl '{"do":"hello"}'
                k905 ctl '{"do":"key","key":"f1"}' '{"do":"text"}'
                k905 ctl '{"do":"fault","name":"sd.missing","value":true}'

k905 --help   this text
)";
}

}  // namespace k905
