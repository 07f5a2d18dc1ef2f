// One thread of the product at a time, in virtual time that moves by what the threads do. Deterministic:
// threads that become ready at the same time run in the order in which they began to wait, waiters for a
// mutex get it in turn.
//
// A thread runs until it waits, ends, or has used up its quantum while others are ready. When all wait, time
// jumps to the next event: the earliest wake, the earliest device or timer. Nothing passes the limit that a
// client has granted: there the world stands still until the limit is moved.
#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "simulator/interpose/costs.h"
#include "simulator/interpose/execution.h"
#include "simulator/interpose/lock.h"
#include "simulator/interpose/timers.h"
#include "simulator/interpose/turns.h"

namespace k905 {

class SteppedExecution final : public Execution {
  public:
    SteppedExecution(Lock& lock, Timers& timers);

    // Lets time run to the limit (kNever: without one) and the threads with it.
    void Grant(Micros limit);
    Micros Limit() const { return limit_; }
    // The world is to come to stand still at once: at the next entry of the running thread into the system.
    void Hold() { limit_ = now_; }
    // The thread that ran last; so far main.
    int LastRun() const { return lastRun_; }
    // True while nothing moves: the limit is reached, or nobody can ever run again.
    bool Frozen() const { return frozen_; }
    // True when every thread waits, so that only time or input can go on.
    bool Quiet() const;
    // When something happens next: at once while a thread can run; kNever when only input can go on.
    Micros NextEvent();
    // True when every thread waits and no time will ever end any of the waits; input may.
    bool NothingDue();
    // True when input cannot either: a deadlock.
    bool Stuck();
    // Called when the world has come to stand still; may be called from any product thread.
    void OnFrozen(std::function<void()> action) { onFrozen_ = std::move(action); }
    // Number of times that a thread has entered the system: a world that runs without moving it is in a busy
    // loop.
    std::uint64_t Progress() const { return __atomic_load_n(&progress_, __ATOMIC_RELAXED); }

    bool Stepped() const override { return true; }
    Micros Now() const override { return now_; }
    void Charge(ProductThread& self, Micros cost) override {
        __atomic_store_n(&progress_, progress_ + 1, __ATOMIC_RELAXED);
        const Micros then = now_ + cost;
        // Mostly nothing happens on the way.
        if (nextDueKnown_ && then < nextDue_ && then <= limit_ && then - sliceStart_ < cost::kQuantum)
            now_ = then;
        else
            Spend(self, cost);
    }
    Wake Wait(ProductThread& self, const Waiting& waiting) override;
    void Give(ProductThread& thread) override;
    void Interrupt(ProductThread& thread) override;
    void DevicesChanged() override { nextDueKnown_ = false; }
    void Made(ProductThread& thread) override;
    void Begin(ProductThread& self) override;
    void Return(ProductThread& self) override { turns_->Return(self); }
    void End(ProductThread& self) override;

  private:
    void Spend(ProductThread& self, Micros cost);
    Micros NextDue();
    void FallsDue(ProductThread& waiter);
    void MoveTimeTo(Micros time);
    void MakeReady(ProductThread& thread, Wake wake);
    ProductThread* ChooseNext();
    void Freeze();
    void HandOver(ProductThread& self);

    std::unique_ptr<Turns> turns_;
    Timers& timers_;
    Micros now_ = 0;
    Micros limit_ = 0;
    bool frozen_ = false;
    ProductThread* running_ = nullptr;  // also while it stands at the limit
    int lastRun_ = 0;                   // its ordinal
    std::deque<ProductThread*> ready_;
    std::vector<ProductThread*> waiting_;  // in the order in which they began: so end waits that end together
    Micros sliceStart_ = 0;
    std::uint64_t progress_ = 0;
    Micros nextDue_ = kNever;
    ProductThread* nextWaiter_ = nullptr;
    bool nextDueKnown_ = false;
    std::function<void()> onFrozen_;
};

}  // namespace k905
