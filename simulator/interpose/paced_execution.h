// Virtual time as real time times a factor; the host's scheduler runs the threads.
#pragma once

#include "simulator/interpose/execution.h"
#include "simulator/interpose/lock.h"
#include "simulator/interpose/thread_table.h"

namespace k905 {

class PacedExecution final : public Execution {
  public:
    PacedExecution(Lock& lock, ThreadTable& threads, double factor);

    // Factor at which time passes from now on; 0 holds it.
    void SetFactor(double factor);
    double Factor() const { return factor_; }
    // Real nanoseconds until the virtual time given, at most one second (a speed change or a signal may
    // come).
    std::int64_t RealUntil(Micros time) const;

    bool Stepped() const override { return false; }
    Micros Now() const override;
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
    double factor_;
    Micros virtualStart_ = 0;
    std::int64_t realStart_;  // nanoseconds of the host's monotonic clock
};

}  // namespace k905
