// How the product's threads and virtual time move. Two ways: paced (threads run as the host runs them, time
// is real time times a factor) and stepped (one thread at a time, time moves by what the threads do).
//
// Every function is called with the instrument's lock held. Those that wait release it meanwhile.
#pragma once

#include <functional>

#include "simulator/interpose/product_thread.h"
#include "simulator/models/device.h"

namespace k905 {

// What a thread waits for: until a time, until a device is ready, until another thread gives it what it
// wants.
struct Waiting {
    const char* reason = "";
    const void* object = nullptr;
    std::string path;
    Micros until = kNever;
    const std::function<Micros()>* readyAt = nullptr;
    bool interruptible = true;
};

class Execution {
  public:
    virtual ~Execution() = default;

    virtual bool Stepped() const = 0;
    virtual Micros Now() const = 0;

    // The calling product thread has used this much time in the system; others may run and time may pass.
    virtual void Charge(ProductThread& self, Micros cost) = 0;
    // Holds the calling product thread. A wait for a device ends with kReady once readyAt() has come.
    virtual Wake Wait(ProductThread& self, const Waiting& waiting) = 0;
    // Ends the wait of another thread with kGiven.
    virtual void Give(ProductThread& thread) = 0;
    // A signal is pending for the thread: ends its wait with kInterrupted when that may be interrupted.
    virtual void Interrupt(ProductThread& thread) = 0;
    // Something outside the threads has changed what devices hold.
    virtual void DevicesChanged() = 0;

    // Life of a thread: it has been made (by its creator); it begins; the product's function is over and the
    // C library's part of the end begins; it has ended.
    virtual void Made(ProductThread& thread) = 0;
    virtual void Begin(ProductThread& self) = 0;
    virtual void Return(ProductThread& self) = 0;
    virtual void End(ProductThread& self) = 0;
};

}  // namespace k905
