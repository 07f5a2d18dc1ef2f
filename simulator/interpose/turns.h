// How one thread of a stepped product hands over to the next. Two ways, which do the same in the same order:
// the threads carried by one system thread, which goes from stack to stack without waking anybody (some tens
// of nanoseconds; a system call more where a program may not set its thread pointer itself), and each on a
// system thread of its own, woken through the kernel (microseconds; for the thread sanitizer, and for a
// debugger that is to show every thread). A thread is made and ended through the kernel either way.
//
// The instrument's lock is held at every call and at its return; meanwhile it is free or held by whose turn
// it is.
#pragma once

#include <memory>

#include "simulator/interpose/lock.h"
#include "simulator/interpose/product_thread.h"

namespace k905 {

class Turns {
  public:
    virtual ~Turns() = default;

    // A system thread has been started for it (called by its creator).
    virtual void Made(ProductThread& thread) = 0;
    // Called by its system thread: waits for its first turn. Main's turn is now.
    virtual void Begin(ProductThread& self) = 0;
    // Called by whose turn it is: from here on it is `next`'s (null: nobody's). Returns when it is self's
    // again.
    virtual void Pass(ProductThread& self, ProductThread* next) = 0;
    // It is nobody's turn: it is this thread's now. From any thread.
    virtual void Wake(ProductThread& next) = 0;
    // Called by whose turn it is, when the product's function has returned or is about to be left for good:
    // from here on `self` is run by its own system thread.
    virtual void Return(ProductThread& self) = 0;
    // Called by whose turn it is as its system thread ends: now it is `next`'s (null: nobody's).
    virtual void End(ProductThread& self, ProductThread* next) = 0;
};

// As K905_THREADS tells: "carried" (default where it is possible) or "system".
std::unique_ptr<Turns> MakeTurns(Lock& lock);

#ifdef K905_CARRIED_THREADS
std::unique_ptr<Turns> MakeCarriedTurns(Lock& lock);
#endif

}  // namespace k905
