// A person who never tires: screens, checks, keys, faults that come and go, power cuts, all from a seed, on
// the unmodified program in stepped time.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/soak/checks.h"

namespace k905::soak {

struct Options {
    unsigned seed = 1;
    double hours = 24;         // virtual, at least
    unsigned changes = 10000;  // of the screen, at least
    unsigned stopAt = 0;       // ends with the change after this one, telling every step; 0: never
    bool oneProgram = false;   // the supply stays on all the time
    bool verbose = false;      // tells every step
};

struct Row {
    unsigned long visits = 0, run = 0, passed = 0, failed = 0, free = 0, findings = 0;
};

// What the program holds at the start screen, the link closed or not.
struct Footprint {
    unsigned long bytes = 0, blocks = 0;
    std::map<std::string, unsigned long> things;  // by what it is
    unsigned long process = 0, tasks = 0;         // descriptors of the process beside the program's, threads
    bool operator==(const Footprint& other) const {
        return bytes == other.bytes && blocks == other.blocks && things == other.things &&
               process == other.process && tasks == other.tasks;
    }
    std::string Describe() const;
};

struct Report {
    Row screens[kScreens];
    std::map<std::string, std::pair<unsigned long, unsigned long>> switched;  // on, off
    unsigned long changes = 0, keys = 0, touches = 0, starts = 0, ends = 0, cuts = 0, findings = 0;
    std::int64_t virtualUs = 0;
    std::vector<std::pair<double, Footprint>> footprints;  // hours, as it was then
    std::uint64_t hash = 0;  // of every step, text and screen, and of what the program printed
};

// `tell` gets a line for each finding, each hour, and each step where they are asked for.
Report Run(const Options& options, const std::function<void(const std::string&)>& tell);

}  // namespace k905::soak
