// The host's clock, for what must not follow virtual time.
#pragma once

#include <cstdint>

#include "simulator/interpose/real_calls.h"

namespace k905 {

constexpr std::int64_t kRealSecond = 1'000'000'000;

// Nanoseconds since some start.
inline std::int64_t RealNow() {
    timespec now = {};
    Real().clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kRealSecond + now.tv_nsec;
}

}  // namespace k905
