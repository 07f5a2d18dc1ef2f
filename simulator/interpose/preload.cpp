// The library as LD_PRELOAD brings it into the unmodified program: from its constructor on, the process is
// the program on a virtual K905. Configured by the environment, see docs or the variables below.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <exception>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "simulator/interpose/control_server.h"
#include "simulator/interpose/costs.h"
#include "simulator/interpose/machine.h"
#include "simulator/interpose/process_end.h"

namespace k905 {

namespace {

std::string Setting(const char* name, const char* otherwise) {
    const char* value = getenv(name);
    return value != nullptr && value[0] != '\0' ? value : otherwise;
}

double Number(const char* name, const char* otherwise, double low, double high) {
    const std::string text = Setting(name, otherwise);
    char* end = nullptr;
    const double value = strtod(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0' || !(value >= low && value <= high))
        throw std::runtime_error(std::string(name) + "=" + text + " is not a number from " +
                                 std::to_string(low) + " to " + std::to_string(high));
    return value;
}

Machine::Options OptionsFromEnvironment() {
    Machine::Options options;
    options.instrument.stateDir = Setting("K905_STATE", "");
    if (options.instrument.stateDir.empty())
        throw std::runtime_error("K905_STATE must name the folder that holds the instrument's state");
    options.instrument.appDir = Setting("K905_APP", "");
    options.instrument.seed = static_cast<unsigned>(Number("K905_SEED", "1", 0, 4294967295.0));
    options.instrument.bits = static_cast<unsigned>(Number("K905_BITS", "16", 16, 32));
    const std::string mode = Setting("K905_MODE", "paced");
    if (mode != "paced" && mode != "stepped")
        throw std::runtime_error("K905_MODE=" + mode + " is neither paced nor stepped");
    options.stepped = mode == "stepped";
    options.speed = Number("K905_SPEED", "1", 0.01, 1000);
    return options;
}

// A fault of the bench has cut the power in the middle of an EEPROM write.
void DieAtOnce(const std::string& stateDir) {
    unlink((stateDir + "/control.sock").c_str());
    kill(getpid(), SIGKILL);
    pause();
}

// The machine and the server live until the process is gone: threads of the product may use them to the last
// moment.
void PowerOn() {
    Machine::Options options = OptionsFromEnvironment();
    options.instrument.onPowerCut = [stateDir = options.instrument.stateDir] { DieAtOnce(stateDir); };
    static Machine& machine = *new Machine(options);
    static ControlServer& server = *new ControlServer(machine);
    SetProcessEndAction([] { server.End(); });
    atexit(OnProcessEnd);
    machine.Enter();
    Guard guard(machine.lock);  // no client is answered before the world stands still
    server.Start();
    machine.Running().Charge(*threadContext.self, cost::kClock);
}

__attribute__((constructor)) void OnLoad() {
    Inside inside;
    try {
        PowerOn();
    } catch (const std::exception& exception) {
        fprintf(stderr, "libk905: %s\n", exception.what());
        Real()._exit(2);
    }
}

}  // namespace

}  // namespace k905
