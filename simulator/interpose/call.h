// What every entry point starts with.
#pragma once

#include <errno.h>

#include "simulator/interpose/costs.h"
#include "simulator/interpose/machine.h"
#include "simulator/interpose/signals.h"

// Defines the C library's function `name` under another C++ name, so that the definition meets neither the
// headers' declaration of it nor their macros, and cannot be called by its own name from here.
#define K905_ENTRY(result, name, arguments)                                                              \
    extern "C" __attribute__((visibility("default"))) result k905_entry_##name arguments __asm__(#name); \
    extern "C" result k905_entry_##name arguments

namespace k905 {

// One call of the product into the system. True when the calling thread is the product's (and not already
// inside the simulator): then the instrument's lock is held until Release or the end of the scope, when
// signal handlers that have become due run. Otherwise the entry point hands the call on as it is.
class Call {
  public:
    Call() : self_(threadContext.depth == 0 ? threadContext.self : nullptr) {
        if (self_ == nullptr)
            return;
        ++threadContext.depth;
        Acquire();
    }
    ~Call() {
        if (self_ == nullptr)
            return;
        Release();
        --threadContext.depth;
        while (__atomic_load_n(&self_->pendingSignals, __ATOMIC_ACQUIRE) != 0)
            RunPendingSignals(*self_);
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    explicit operator bool() const { return self_ != nullptr; }
    Machine* operator->() const { return self_->machine; }
    ProductThread& Self() const { return *self_; }

    void Charge(Micros cost) const {
        if (SteppedExecution* stepped = self_->machine->SteppedRun())
            stepped->Charge(*self_, cost);
        else
            self_->machine->PacedRun()->Charge(*self_, cost);
    }
    Wake Wait(const Waiting& waiting) const { return self_->machine->Running().Wait(*self_, waiting); }

    // Gives the lock back early, before a call to the host that may take its time. Leaves errno alone.
    void Release() {
        if (locked_)
            self_->machine->lock.unlock();
        locked_ = false;
    }
    // Takes it again.
    void Acquire() {
        self_->machine->lock.lock();
        locked_ = true;
    }
    // Runs the handlers of pending signals now, in the middle of a call that is to be taken up again.
    void RunSignals() {
        Release();
        --threadContext.depth;
        RunPendingSignals(*self_);
        ++threadContext.depth;
        Acquire();
    }

  private:
    ProductThread* self_;
    bool locked_ = false;
};

// A failed call: -1 with the errno given.
inline int Fail(int error) {
    errno = error;
    return -1;
}

}  // namespace k905
