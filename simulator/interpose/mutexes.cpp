#include "simulator/interpose/mutexes.h"

#include <algorithm>

namespace k905 {

Mutexes::Mutex& Mutexes::FindFirst(const void* address) {
    Mutex& mutex = mutexes_[address];
    if (mutex.number == 0)
        mutex.number = ++count_;
    Recent(address) = {address, &mutex};
    return mutex;
}

// The mutex has another owner, or is on its way to one.
int Mutexes::WaitFor(ProductThread& self, pthread_mutex_t* mutex, Micros until) {
    Mutex& entry = Find(mutex);
    // An error-checking mutex knows that its owner asks again, and says so instead of waiting.
    if (entry.next == nullptr && entry.owner == &self &&
        (mutex->__data.__kind & 3) == PTHREAD_MUTEX_ERRORCHECK)
        return EDEADLK;
    entry.waiters.push_back(&self);
    Waiting waiting;
    waiting.reason = "mutex";
    waiting.object = mutex;
    waiting.until = until;
    waiting.interruptible = false;
    const Wake wake = execution_.Wait(self, waiting);
    if (wake != Wake::kGiven) {
        Mutex& now = Find(mutex);
        now.waiters.erase(std::remove(now.waiters.begin(), now.waiters.end(), &self), now.waiters.end());
        return ETIMEDOUT;
    }
    Mutex& given = Find(mutex);
    given.next = nullptr;
    given.owner = &self;
    return Real().pthread_mutex_trylock(mutex);
}

void Mutexes::GiveToNext(Mutex& entry) {
    entry.next = entry.waiters.front();
    entry.waiters.pop_front();
    execution_.Give(*entry.next);
}

int Mutexes::Destroy(pthread_mutex_t* mutex) {
    const int result = Real().pthread_mutex_destroy(mutex);
    if (result == 0) {
        mutexes_.erase(mutex);
        recent_ = {};
    }
    return result;
}

int Mutexes::WaitCondition(ProductThread& self, pthread_cond_t* condition, pthread_mutex_t* mutex,
                           Micros until) {
    conditions_[condition].push_back(&self);
    const int result = Unlock(mutex);
    if (result != 0) {
        conditions_[condition].pop_back();
        return result;
    }
    Waiting waiting;
    waiting.reason = "condition";
    waiting.object = condition;
    waiting.until = until;
    waiting.interruptible = false;
    const Wake wake = execution_.Wait(self, waiting);
    if (wake != Wake::kGiven) {
        auto& waiters = conditions_[condition];
        waiters.erase(std::remove(waiters.begin(), waiters.end(), &self), waiters.end());
    }
    const int locked = Lock(self, mutex, kNever);
    if (locked != 0)
        return locked;
    return wake == Wake::kGiven ? 0 : ETIMEDOUT;
}

void Mutexes::Signal(pthread_cond_t* condition, bool all) {
    auto& waiters = conditions_[condition];
    while (!waiters.empty()) {
        ProductThread* first = waiters.front();
        waiters.pop_front();
        execution_.Give(*first);
        if (!all)
            break;
    }
    if (waiters.empty())
        conditions_.erase(condition);
}

std::string Mutexes::Describe(const void* mutex) const {
    const auto found = mutexes_.find(mutex);
    if (found == mutexes_.end())
        return "mutex";
    std::string text = "mutex " + std::to_string(found->second.number);
    const ProductThread* owner = found->second.owner;
    if (owner != nullptr)
        text += " held by " + std::to_string(owner->ordinal) + " (" + owner->label + ")";
    return text;
}

}  // namespace k905
