// What is due at a virtual time: the second half of a key press, the end of a tap.
#pragma once

#include <functional>
#include <map>
#include <utility>

#include "simulator/models/device.h"

namespace k905 {

class Timers {
  public:
    void At(Micros time, std::function<void()> action) { due_.emplace(time, std::move(action)); }

    Micros Next() const { return due_.empty() ? kNever : due_.begin()->first; }

    // Runs the earliest action; equal times run in the order in which they were set.
    void RunFirst() {
        const auto action = std::move(due_.begin()->second);
        due_.erase(due_.begin());
        action();
    }

  private:
    std::multimap<Micros, std::function<void()>> due_;
};

}  // namespace k905
