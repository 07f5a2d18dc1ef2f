// The virtual machine around the product: its instrument, its threads and clock, its descriptors and its
// trace. One lock guards it all; the entry points (calls_*.cpp) and the control server take it for each thing
// they do.
#pragma once

#include <stdio.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "simulator/interpose/descriptors.h"
#include "simulator/interpose/execution.h"
#include "simulator/interpose/lock.h"
#include "simulator/interpose/marks.h"
#include "simulator/interpose/mutexes.h"
#include "simulator/interpose/paced_execution.h"
#include "simulator/interpose/paths.h"
#include "simulator/interpose/serial_terminal.h"
#include "simulator/interpose/stepped_execution.h"
#include "simulator/interpose/thread_table.h"
#include "simulator/interpose/timers.h"
#include "simulator/interpose/trace.h"
#include "simulator/models/instrument.h"

namespace k905 {

class Machine final : public World {
  public:
    struct Options {
        Instrument::Options instrument;
        bool stepped = false;
        double speed = 1.0;  // paced
    };

    // Throws std::runtime_error when the state folder or a terminal cannot be had.
    explicit Machine(const Options& options);
    ~Machine() override;
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    // The machine that product threads run in; null: every call goes straight through.
    static Machine* Current() { return current_.load(std::memory_order_acquire); }

    // From here on the calling thread is the product's main thread, and the machine the current one.
    void Enter();
    // The calling thread is an ordinary thread again, and there is no current machine.
    void Leave();

    const Options& Configuration() const { return options_; }
    bool Stepped() const { return stepped_ != nullptr; }
    Execution& Running() { return stepped_ ? static_cast<Execution&>(*stepped_) : *paced_; }
    SteppedExecution* SteppedRun() { return stepped_.get(); }
    PacedExecution* PacedRun() { return paced_.get(); }
    Instrument& Hardware() { return *instrument_; }

    Micros Now() const override { return stepped_ ? stepped_->Now() : paced_->Now(); }
    void Trace(const char* kind, const std::string& line) override;
    bool Tracing() const override { return trace.Recording(); }
    std::string Actor() const override;
    void Mark(const char* kind) override { marks.Add(kind, Now()); }

    // Sends a signal to the product as the kernel would: to its main thread when it has a handler for it,
    // which then ends that thread's wait; otherwise what the system does. Lock held.
    void SendSignal(int signal);
    // SIGALRM after `first` (0: never) and every `interval` (0: once), instead of what was set before. Lock
    // held.
    void SetAlarm(Micros first, Micros interval);
    // What a thread waits for, in words.
    std::string DescribeWait(const ProductThread& thread) const;
    // A file that the product would extend: 0, or the errno that the medium answers with. Lock held.
    int WriteError(const std::string& path) const;

    Lock lock;
    ThreadTable threads;
    Timers timers;
    std::function<void()> onTimerSet;  // paced: tells who runs the timers that an earlier one may have come
    TraceLog trace;
    Marks marks;
    Descriptors descriptors;
    PathMap paths;
    SerialTerminal terminal;
    std::unique_ptr<Mutexes> mutexes;  // stepped only
    std::map<FILE*, int> pipes;        // open popen() streams and what their pclose() returns
    std::set<const void*> monotonicConditions;
    struct Alarm {
        Micros due = kNever;
        Micros interval = 0;
        unsigned setting = 0;  // counts SetAlarm: what an earlier one has left in the timers is void
        Micros Left(Micros now) const { return due == kNever ? 0 : due - now; }
    } alarm;

  private:
    void ScheduleAlarm();

    static std::atomic<Machine*> current_;

    Options options_;
    std::unique_ptr<SteppedExecution> stepped_;
    std::unique_ptr<PacedExecution> paced_;
    std::unique_ptr<Instrument> instrument_;
};

// Key whose destructor tells the machine that a product thread has ended, however it ended.
pthread_key_t ThreadEndKey();

}  // namespace k905
