// The world of an instrument on which nothing runs: time stands, nothing is traced.
#pragma once

#include <string>

#include "simulator/models/device.h"

namespace k905 {

class StillWorld final : public World {
  public:
    explicit StillWorld(Micros now = 0) : now_(now) {}
    Micros Now() const override { return now_; }
    void Trace(const char* /*kind*/, const std::string& /*line*/) override {}
    bool Tracing() const override { return false; }

  private:
    Micros now_;
};

}  // namespace k905
