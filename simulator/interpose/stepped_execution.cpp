#include "simulator/interpose/stepped_execution.h"

#include <algorithm>

namespace k905 {

SteppedExecution::SteppedExecution(Lock& lock, Timers& timers) : turns_(MakeTurns(lock)), timers_(timers) {}

// When the next thing happens, and to which waiting thread (null: a timer, or nothing).
Micros SteppedExecution::NextDue() {
    if (nextDueKnown_)
        return nextDue_;
    nextDueKnown_ = true;
    nextDue_ = timers_.Next();
    nextWaiter_ = nullptr;
    for (ProductThread* thread : waiting_)
        FallsDue(*thread);
    return nextDue_;
}

// Of those that fall due together the first that began to wait comes first.
void SteppedExecution::FallsDue(ProductThread& waiter) {
    Micros due = waiter.wakeAt;
    if (waiter.readyAt != nullptr)
        due = std::min(due, (*waiter.readyAt)());
    due = std::max(due, now_);
    if (due < nextDue_) {
        nextDue_ = due;
        nextWaiter_ = &waiter;
    }
}

// Moves the clock, with everything that falls due on the way: timers first, then threads in the order of
// their waits.
void SteppedExecution::MoveTimeTo(Micros time) {
    while (NextDue() <= time) {
        nextDueKnown_ = false;
        now_ = std::max(now_, nextDue_);
        if (nextWaiter_ == nullptr) {
            timers_.RunFirst();
            continue;
        }
        const bool deviceReady = nextWaiter_->readyAt != nullptr && (*nextWaiter_->readyAt)() <= now_;
        MakeReady(*nextWaiter_, deviceReady ? Wake::kReady : Wake::kTime);
    }
    now_ = std::max(now_, time);
}

void SteppedExecution::MakeReady(ProductThread& thread, Wake wake) {
    waiting_.erase(std::find(waiting_.begin(), waiting_.end(), &thread));
    thread.state = ThreadState::kReady;
    thread.wake = wake;
    thread.readyAt = nullptr;
    thread.wakeAt = kNever;
    ready_.push_back(&thread);
    if (&thread == nextWaiter_)
        nextDueKnown_ = false;
}

void SteppedExecution::Freeze() {
    frozen_ = true;
    if (onFrozen_)
        onFrozen_();
}

// Nobody runs: chooses the next ready thread, jumping in time as needed, or stands still (then null). The
// caller lets it run.
ProductThread* SteppedExecution::ChooseNext() {
    running_ = nullptr;
    while (ready_.empty()) {
        const Micros due = NextDue();
        if (due == kNever || due > limit_) {
            if (limit_ != kNever)
                MoveTimeTo(limit_);
            Freeze();
            return nullptr;
        }
        MoveTimeTo(due);
    }
    running_ = ready_.front();
    ready_.pop_front();
    running_->state = ThreadState::kRunning;
    lastRun_ = running_->ordinal;
    sliceStart_ = now_;
    return running_;
}

void SteppedExecution::HandOver(ProductThread& self) {
    ProductThread* next = ChooseNext();
    if (next != &self)
        turns_->Pass(self, next);
}

void SteppedExecution::Grant(Micros limit) {
    limit_ = limit;
    if (!frozen_)
        return;
    frozen_ = false;
    nextDueKnown_ = false;
    // Somebody may stand at the limit in the middle of a call.
    ProductThread* next = running_ != nullptr ? running_ : ChooseNext();
    if (next != nullptr)
        turns_->Wake(*next);
}

bool SteppedExecution::Quiet() const {
    return running_ == nullptr && ready_.empty();
}

Micros SteppedExecution::NextEvent() {
    nextDueKnown_ = false;
    return Quiet() ? NextDue() : now_;
}

bool SteppedExecution::NothingDue() {
    return NextEvent() == kNever;
}

bool SteppedExecution::Stuck() {
    return NothingDue() && std::all_of(waiting_.begin(), waiting_.end(), [](const ProductThread* thread) {
               return thread->readyAt == nullptr;
           });
}

// As Charge, when something may fall due on the way or somebody else's turn may come.
void SteppedExecution::Spend(ProductThread& self, Micros cost) {
    while (cost > limit_ - now_) {
        cost -= limit_ - now_;
        MoveTimeTo(limit_);
        Freeze();
        turns_->Pass(self, nullptr);
    }
    MoveTimeTo(now_ + cost);
    if (now_ - sliceStart_ < cost::kQuantum)
        return;
    if (ready_.empty()) {
        sliceStart_ = now_;
        return;
    }
    self.state = ThreadState::kReady;
    ready_.push_back(&self);
    HandOver(self);
}

Wake SteppedExecution::Wait(ProductThread& self, const Waiting& waiting) {
    if (waiting.interruptible && __atomic_load_n(&self.pendingSignals, __ATOMIC_ACQUIRE) != 0)
        return Wake::kInterrupted;
    self.state = ThreadState::kWaiting;
    self.waitsFor = waiting.reason;
    self.waitObject = waiting.object;
    self.waitPath = waiting.path;
    self.wakeAt = waiting.until;
    self.readyAt = waiting.readyAt;
    self.interruptible = waiting.interruptible;
    waiting_.push_back(&self);
    if (nextDueKnown_)
        FallsDue(self);
    HandOver(self);
    self.waitsFor = "";
    self.waitObject = nullptr;
    return self.wake;
}

void SteppedExecution::Give(ProductThread& thread) {
    if (thread.state == ThreadState::kWaiting)
        MakeReady(thread, Wake::kGiven);
}

void SteppedExecution::Interrupt(ProductThread& thread) {
    if (thread.state == ThreadState::kWaiting && thread.interruptible)
        MakeReady(thread, Wake::kInterrupted);
}

void SteppedExecution::Made(ProductThread& thread) {
    thread.state = ThreadState::kReady;
    ready_.push_back(&thread);
    turns_->Made(thread);
}

void SteppedExecution::Begin(ProductThread& self) {
    if (self.ordinal == 0) {  // main is running already when the simulator comes up
        self.state = ThreadState::kRunning;
        running_ = &self;
    }
    turns_->Begin(self);
}

void SteppedExecution::End(ProductThread& self) {
    self.state = ThreadState::kDone;
    turns_->End(self, ChooseNext());
}

}  // namespace k905
