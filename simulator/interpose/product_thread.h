// One thread of the product, as the simulator knows it.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <functional>
#include <string>

#include "simulator/interpose/parking_place.h"
#include "simulator/models/device.h"

namespace k905 {

class Machine;
struct Loan;

enum class ThreadState { kRunning, kReady, kWaiting, kDone };

// Why a wait ended.
enum class Wake { kTime, kReady, kGiven, kInterrupted };

struct ProductThread {
    int ordinal = 0;    // in order of creation, main is 0
    std::string label;  // name of the thread's entry function, or "t<ordinal>"
    pthread_t handle = 0;
    bool detached = false;
    bool ending = false;
    void* (*entry)(void*) = nullptr;
    void* argument = nullptr;
    Machine* machine = nullptr;

    ThreadState state = ThreadState::kReady;
    ParkingPlace parking;
    Loan* loan = nullptr;  // what its system thread has lent to another one (carried_turns.cpp)

    // What the thread waits for while it does.
    const char* waitsFor = "";         // "sleep", "select", "read", "mutex", "join", "condition", "drain"
    const void* waitObject = nullptr;  // the mutex, condition or thread
    std::string waitPath;              // the node of a device wait
    Micros wakeAt = kNever;
    const std::function<Micros()>* readyAt = nullptr;  // time at which the awaited device will be ready
    bool interruptible = false;
    Wake wake = Wake::kTime;

    // Signals that have arrived and whose handlers have not yet run; bit n is signal n. Written by signal
    // handlers.
    std::uint64_t pendingSignals = 0;
};

// What the calling thread is to the simulator. `self` is null for a thread that is not the product's; `depth`
// is above zero while the thread runs the simulator's own code, whose calls go straight through.
struct ThreadContext {
    ProductThread* self;
    int depth;
};

extern thread_local ThreadContext threadContext __attribute__((tls_model("initial-exec")));

// Runs the simulator's own code on any thread: until it ends, calls of this thread go straight through.
class Inside {
  public:
    Inside() { ++threadContext.depth; }
    ~Inside() { --threadContext.depth; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
};

}  // namespace k905
