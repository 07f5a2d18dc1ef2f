#include "simulator/interpose/machine.h"

#include <errno.h>

#include "simulator/interpose/signals.h"

namespace k905 {

std::atomic<Machine*> Machine::current_{nullptr};
thread_local ThreadContext threadContext __attribute__((tls_model("initial-exec"))) = {nullptr, 0};

namespace {

void OnThreadEnd(void* value) {
    auto& self = *static_cast<ProductThread*>(value);
    Inside inside;
    // The product's own destructors come first: the C library goes round again for those who ask for it.
    if (!self.ending) {
        self.ending = true;
        pthread_setspecific(ThreadEndKey(), &self);
        return;
    }
    Machine& machine = *self.machine;
    Guard guard(machine.lock);
    for (const auto& thread : machine.threads.All())
        if (thread->state == ThreadState::kWaiting && thread->waitObject == &self)
            machine.Running().Give(*thread);
    machine.Running().End(self);
    threadContext.self = nullptr;
    if (self.detached)
        machine.threads.Remove(self);
}

}  // namespace

pthread_key_t ThreadEndKey() {
    static const pthread_key_t key = [] {
        pthread_key_t made = 0;
        pthread_key_create(&made, OnThreadEnd);
        return made;
    }();
    return key;
}

Machine::Machine(const Options& options) : paths(options.instrument.stateDir), options_(options) {
    if (options.stepped) {
        stepped_ = std::make_unique<SteppedExecution>(lock, timers);
        mutexes = std::make_unique<Mutexes>(*stepped_);
    } else {
        paced_ = std::make_unique<PacedExecution>(lock, threads, options.speed);
    }
    instrument_ = std::make_unique<Instrument>(*this, options_.instrument);
}

Machine::~Machine() = default;

void Machine::Enter() {
    ProductThread& main = threads.Add("main");
    main.handle = pthread_self();
    main.machine = this;
    pthread_setspecific(ThreadEndKey(), &main);
    {
        Guard guard(lock);
        Running().Begin(main);
    }
    current_.store(this, std::memory_order_release);
    threadContext.self = &main;
}

void Machine::Leave() {
    threadContext.self = nullptr;
    pthread_setspecific(ThreadEndKey(), nullptr);
    current_.store(nullptr, std::memory_order_release);
}

void Machine::Trace(const char* kind, const std::string& line) {
    if (trace.Recording())
        trace.Add(Now(), threadContext.self != nullptr ? threadContext.self->ordinal : -1, kind, line);
}

std::string Machine::Actor() const {
    return threadContext.self != nullptr ? threads.Label(threadContext.self->ordinal) : "";
}

void Machine::SendSignal(int signal) {
    ProductThread* main = threads.ByOrdinal(0);
    if (main == nullptr || main->state == ThreadState::kDone || !HasSignalHandler(signal)) {
        kill(getpid(), signal);
    } else if (Stepped()) {
        AddPendingSignal(*main, signal);
        Running().Interrupt(*main);
    } else {
        Real().pthread_kill(main->handle, signal);
    }
}

void Machine::SetAlarm(Micros first, Micros interval) {
    ++alarm.setting;
    alarm.interval = interval;
    alarm.due = first > 0 ? Now() + first : kNever;
    if (first > 0)
        ScheduleAlarm();
    Running().DevicesChanged();
    if (onTimerSet)
        onTimerSet();
}

void Machine::ScheduleAlarm() {
    timers.At(alarm.due, [this, setting = alarm.setting] {
        if (setting != alarm.setting)
            return;
        alarm.due = alarm.interval > 0 ? alarm.due + alarm.interval : kNever;
        if (alarm.interval > 0)
            ScheduleAlarm();
        SendSignal(SIGALRM);
    });
}

std::string Machine::DescribeWait(const ProductThread& thread) const {
    switch (thread.state) {
        case ThreadState::kRunning:
            return "runs";
        case ThreadState::kReady:
            return "ready";
        case ThreadState::kDone:
            return "ended";
        case ThreadState::kWaiting:
            break;
    }
    std::string text = thread.waitsFor;
    if (text == "mutex" && mutexes)
        return mutexes->Describe(thread.waitObject);
    if (text == "join") {
        const auto* other = static_cast<const ProductThread*>(thread.waitObject);
        return "end of thread " + std::to_string(other->ordinal) + " (" + other->label + ")";
    }
    if (!thread.waitPath.empty())
        text += " " + thread.waitPath;
    if (thread.wakeAt != kNever)
        text += " until " + std::to_string(thread.wakeAt) + " us";
    return text;
}

int Machine::WriteError(const std::string& path) const {
    const bool onCard = path.compare(0, 11, "/mnt/sdcard") == 0;
    return onCard && instrument_->SdFull() ? ENOSPC : 0;
}

}  // namespace k905
