#include "simulator/interpose/paced_execution.h"

#include <algorithm>

namespace k905 {

PacedExecution::PacedExecution(Lock& lock, ThreadTable& threads, double factor)
    : lock_(lock), threads_(threads), clock_(factor) {}

void PacedExecution::SetFactor(double factor) {
    clock_.Set(factor, clock_.Now());
    DevicesChanged();
}

Wake PacedExecution::Wait(ProductThread& self, const Waiting& waiting) {
    self.state = ThreadState::kWaiting;
    self.waitsFor = waiting.reason;
    self.waitObject = waiting.object;
    self.waitPath = waiting.path;
    self.wakeAt = waiting.until;
    self.wake = Wake::kTime;
    for (;;) {
        if (self.wake == Wake::kGiven)
            break;
        if (waiting.interruptible && __atomic_load_n(&self.pendingSignals, __ATOMIC_ACQUIRE) != 0) {
            self.wake = Wake::kInterrupted;
            break;
        }
        const Micros ready = waiting.readyAt != nullptr ? (*waiting.readyAt)() : kNever;
        const Micros now = Now();
        if (ready <= now) {
            self.wake = Wake::kReady;
            break;
        }
        if (waiting.until <= now)
            break;
        const std::int64_t timeout = clock_.RealUntil(std::min(ready, waiting.until));
        lock_.unlock();
        self.parking.TakeFor(timeout);
        lock_.lock();
    }
    self.state = ThreadState::kRunning;
    self.waitsFor = "";
    self.waitObject = nullptr;
    return self.wake;
}

void PacedExecution::Give(ProductThread& thread) {
    thread.wake = Wake::kGiven;
    thread.parking.Give();
}

void PacedExecution::Interrupt(ProductThread& thread) {
    thread.parking.Give();
}

void PacedExecution::DevicesChanged() {
    for (const auto& thread : threads_.All())
        if (thread->state == ThreadState::kWaiting)
            thread->parking.Give();
}

void PacedExecution::Begin(ProductThread& self) {
    self.state = ThreadState::kRunning;
}

void PacedExecution::End(ProductThread& self) {
    self.state = ThreadState::kDone;
}

}  // namespace k905
