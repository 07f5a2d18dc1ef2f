// Absolute times of the product's clocks as times of the virtual machine.
#pragma once

#include <time.h>

#include "simulator/interpose/call.h"

namespace k905 {

// Virtual time at which the product's wall clock (or its monotonic clock) shows `time`; not before now.
Micros VirtualDeadline(Call& call, const timespec& time, bool monotonic = false);

}  // namespace k905
