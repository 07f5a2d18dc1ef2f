// The product's signal handlers. A handler never runs in the middle of the simulator's own code: a signal
// that comes then is kept for the thread and its handler runs as the thread leaves the call that it made.
#pragma once

#include <signal.h>

#include <cstdint>

#include "simulator/interpose/product_thread.h"

namespace k905 {

// The product's sigaction(): keeps the handler and installs the simulator's own in its place. 0, or -1 with
// errno.
int SetSignalAction(int signal, const struct sigaction* action, struct sigaction* previous);

// True when the product has a handler of its own for the signal.
bool HasSignalHandler(int signal);

// True when the handlers of every pending signal of the thread want an interrupted read to be taken up again.
bool PendingSignalsRestart(const ProductThread& thread);

// Runs the handlers of the calling thread's pending signals, outside the simulator and without its lock.
void RunPendingSignals(ProductThread& self);

// Marks the signal as pending for the thread; the caller ends the thread's wait.
void AddPendingSignal(ProductThread& thread, int signal);

// Signals that came from outside since the last call, one bit each (stepped mode, where a thread takes them
// only when its turn comes).
std::uint64_t TakeOutsideSignals();

// Descriptor (an eventfd) to which a signal from outside adds 1; -1: none.
void SetOutsideSignalEvent(int fd);

}  // namespace k905
