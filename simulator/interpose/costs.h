// What a call of the product costs in virtual time when the simulator runs it step by step. The figures are
// of the order that the instrument's ARM926 shows; what matters is that none is zero, so that a polling loop
// moves the clock.
#pragma once

#include "simulator/models/device.h"

namespace k905::cost {

constexpr Micros kMutex = 2;       // lock, trylock, condition signal
constexpr Micros kClock = 1;       // reading a clock
constexpr Micros kIoctl = 5;       // a register access through a driver
constexpr Micros kTransfer = 10;   // read, write or seek on a device
constexpr Micros kFile = 20;       // open, close, stat and the rest
constexpr Micros kThread = 50;     // creating or joining a thread
constexpr Micros kShell = 20'000;  // starting /bin/sh and a tool for system() or popen()
constexpr Micros kSleep = 5;       // entering and leaving a sleep, on top of its length

// A thread that has run for this long without waiting makes room for the next one that is ready.
constexpr Micros kQuantum = 1'000;

}  // namespace k905::cost
