// Virtual time as the wall clock goes, times a factor.
#pragma once

#include "simulator/interpose/real_time.h"
#include "simulator/models/device.h"

namespace k905 {

class WallClock {
  public:
    explicit WallClock(double factor) : factor_(factor), realStart_(RealNow()) {}

    double Factor() const { return factor_; }
    // So fast from now on, which is the virtual time `now`; 0 holds it.
    void Set(double factor, Micros now) {
        factor_ = factor;
        virtualStart_ = now;
        realStart_ = RealNow();
    }
    Micros Now() const {
        return virtualStart_ +
               static_cast<Micros>(static_cast<double>(RealNow() - realStart_) / 1000.0 * factor_);
    }
    // Real nanoseconds until the virtual time given, at most one second (a speed change or a signal may
    // come).
    std::int64_t RealUntil(Micros time) const {
        const Micros now = Now();
        if (time <= now)
            return 0;
        const double nanoseconds = static_cast<double>(time - now) * 1000.0;
        if (nanoseconds >= static_cast<double>(kRealSecond) * factor_)
            return kRealSecond;
        return static_cast<std::int64_t>(nanoseconds / factor_) + 1;
    }

  private:
    double factor_;
    Micros virtualStart_ = 0;
    std::int64_t realStart_;  // nanoseconds of the host's monotonic clock
};

}  // namespace k905
