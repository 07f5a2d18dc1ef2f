#include "simulator/interpose/live_time.h"

#include <algorithm>

namespace k905 {

void LiveTime::SetFactor(double factor, Micros now) {
    factor_ = factor;
    clock_.Set(factor == kAsFastAsPossible ? 0 : factor, now);
    hurry_ = true;
}

// At least a microsecond, so that every grant moves something.
Micros LiveTime::InTime(std::int64_t nanoseconds) const {
    return std::max<Micros>(1, static_cast<Micros>(static_cast<double>(nanoseconds) / 1000 * factor_));
}

// The wall clock's time at which it is worth while to go on: when something falls due, but not for every
// little thing, and from time to time so that the virtual clock is seen to go.
Micros LiveTime::Resume(SteppedExecution& stepped) const {
    const Micros lead = InTime(kLeadNs);
    const Micros now = stepped.Now();
    return std::clamp(stepped.NextEvent(), now + lead / 2, now + 2 * lead) - lead;
}

Micros LiveTime::Allowed(SteppedExecution& stepped) {
    const Micros now = stepped.Now();
    if (factor_ == kAsFastAsPossible)
        return now + kFastStep;
    if (clock_.Now() - now > InTime(kLagNs))
        clock_.Set(factor_, now);
    const Micros wall = clock_.Now(), lead = InTime(kLeadNs);
    const bool hurry = std::exchange(hurry_, false) && now - wall < InTime(kLagNs);
    if (!hurry && wall < Resume(stepped))
        return now;
    return std::max(wall, hurry ? now : wall) + lead;
}

std::int64_t LiveTime::RealPause(SteppedExecution& stepped) const {
    return factor_ == kAsFastAsPossible || hurry_ ? 0 : clock_.RealUntil(Resume(stepped));
}

}  // namespace k905
