// How a program that was told to end must leave the instrument.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "simulator/panel/client.h"

namespace k905::sweeps {

// SIGTERM. What is wrong with the end: a crash, an exit status, more than a second of virtual time.
// *seconds is the real time that it took.
std::vector<std::string> End(Bench& bench, double* seconds);

// What the program holds, as "calls" tells it: counts by what it is and who took it. Without what it leaves
// on purpose: a load of the FPGA that fails leaves the loader open.
std::map<std::string, unsigned long> Held(const nlohmann::json& calls);

}  // namespace k905::sweeps
