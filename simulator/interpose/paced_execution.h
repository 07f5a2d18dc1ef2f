// Virtual time as real time times a factor; the host's scheduler runs the threads.
#pragma once

#include "simulator/interpose/execution.h"
#include "simulator/interpose/lock.h"
#include "simulator/interpose/thread_table.h"
#include "simulator/interpose/wall_clock.h"

namespace k905 {

class PacedExecution final : public Execution {
  public:
    PacedExecution(Lock& lock, ThreadTable& threads, double factor);

    const WallClock& Clock() const { return clock_; }
    // Factor at which time passes from now on; 0 holds it.
    void SetFactor(double factor);

    bool Stepped() const override { return false; }
    Micros Now() const override { return clock_.Now(); }
    void Charge(ProductThread&, Micros) override {}
    Wake Wait(ProductThread& self, const Waiting& waiting) override;
    void Give(ProductThread& thread) override;
    void Interrupt(ProductThread& thread) override;
    void DevicesChanged() override;
    void Made(ProductThread&) override {}
    void Begin(ProductThread& self) override;
    void Return(ProductThread&) override {}
    void End(ProductThread& self) override;

  private:
    Lock& lock_;
    ThreadTable& threads_;
    WallClock clock_;
};

}  // namespace k905
