// Time for a stepped instrument as the wall clock goes. Where one grant ends and the next begins changes
// nothing that the product does: it is live, and as deterministic as when a script moves the time.
#pragma once

#include <limits>

#include "simulator/interpose/stepped_execution.h"
#include "simulator/interpose/wall_clock.h"

namespace k905 {

class LiveTime {
  public:
    static constexpr double kAsFastAsPossible = std::numeric_limits<double>::infinity();

    // Virtual seconds in a real one; 0: time is held, and moves only as somebody asks for.
    double Factor() const { return factor_; }
    void SetFactor(double factor, Micros now);
    // Something has come from outside: whoever sees it does not have to wait for the clock.
    void Hurry() { hurry_ = true; }

    // For an instrument that stands still: the time to which it may go now, or its present time when it has
    // to wait for so many real nanoseconds (RealPause).
    Micros Allowed(SteppedExecution& stepped);
    std::int64_t RealPause(SteppedExecution& stepped) const;

  private:
    // The product may be so far ahead of the wall clock: what falls due within that is done in one go.
    static constexpr std::int64_t kLeadNs = 10'000'000;
    // So far behind it is not made up for: the host was busy with something else.
    static constexpr std::int64_t kLagNs = 100'000'000;
    static constexpr Micros kFastStep = 10'000'000;

    Micros InTime(std::int64_t nanoseconds) const;
    Micros Resume(SteppedExecution& stepped) const;

    double factor_ = 0;
    WallClock clock_{0};
    bool hurry_ = false;
};

}  // namespace k905
