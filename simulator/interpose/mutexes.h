// Mutexes and conditions of the product when its threads run one at a time. The real mutex is still taken and
// given back (so that its type, its errors and the sanitizers' view of it are the real ones); what happens
// here is who waits, in which order, and who is next: a mutex given back goes to the one that has waited
// longest.
#pragma once

#include <errno.h>
#include <pthread.h>

#include <array>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "simulator/interpose/execution.h"
#include "simulator/interpose/real_calls.h"

namespace k905 {

class Mutexes {
  public:
    explicit Mutexes(Execution& execution) : execution_(execution) {}

    // Results are those of the pthread functions. `until` is virtual time.
    int Lock(ProductThread& self, pthread_mutex_t* mutex, Micros until) {
        const int result = TryLock(self, mutex);
        return result != EBUSY ? result : WaitFor(self, mutex, until);
    }
    int TryLock(ProductThread& self, pthread_mutex_t* mutex) {
        Mutex& entry = Find(mutex);
        if (entry.next != nullptr)
            return EBUSY;
        const int result = Real().pthread_mutex_trylock(mutex);
        if (result == 0)
            entry.owner = &self;
        return result;
    }
    int Unlock(pthread_mutex_t* mutex) {
        const int result = Real().pthread_mutex_unlock(mutex);
        // A recursive mutex that is still held stays its owner's.
        const auto& inside = mutex->__data;
        if (result == 0 && ((inside.__kind & 3) != PTHREAD_MUTEX_RECURSIVE || inside.__count == 0))
            GiveOn(Find(mutex));
        return result;
    }
    int Destroy(pthread_mutex_t* mutex);

    // Gives the mutex back, waits for the condition, takes the mutex again. 0 or ETIMEDOUT.
    int WaitCondition(ProductThread& self, pthread_cond_t* condition, pthread_mutex_t* mutex, Micros until);
    void Signal(pthread_cond_t* condition, bool all);

    // "mutex 3 held by 1 (WindowSchedulerThread)". Mutexes are numbered in the order of their first use.
    std::string Describe(const void* mutex) const;

  private:
    struct Mutex {
        int number = 0;
        ProductThread* owner = nullptr;
        ProductThread* next = nullptr;  // has been given the mutex and will take it when it runs
        std::deque<ProductThread*> waiters;
    };

    Mutex& Find(const void* address) {
        const auto& recent = Recent(address);
        return recent.first == address ? *recent.second : FindFirst(address);
    }
    std::pair<const void*, Mutex*>& Recent(const void* address) {
        return recent_[reinterpret_cast<std::uintptr_t>(address) / 8 % recent_.size()];
    }
    Mutex& FindFirst(const void* address);
    int WaitFor(ProductThread& self, pthread_mutex_t* mutex, Micros until);
    void GiveOn(Mutex& entry) {
        entry.owner = nullptr;
        if (!entry.waiters.empty())
            GiveToNext(entry);
    }
    void GiveToNext(Mutex& entry);

    Execution& execution_;
    std::map<const void*, Mutex> mutexes_;
    // Those used last, by a part of their address: a thread that polls asks for the same few again and again.
    std::array<std::pair<const void*, Mutex*>, 64> recent_ = {};
    std::map<const void*, std::deque<ProductThread*>> conditions_;
    int count_ = 0;
};

}  // namespace k905
