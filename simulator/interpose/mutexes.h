// Mutexes and conditions of the product when its threads run one at a time. The real mutex is still taken and
// given back (so that its type, its errors and the sanitizers' view of it are the real ones); what happens
// here is who waits, in which order, and who is next: a mutex given back goes to the one that has waited
// longest.
#pragma once

#include <pthread.h>

#include <array>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "simulator/interpose/execution.h"

namespace k905 {

class Mutexes {
  public:
    explicit Mutexes(Execution& execution) : execution_(execution) {}

    // Results are those of the pthread functions. `until` is virtual time.
    int Lock(ProductThread& self, pthread_mutex_t* mutex, Micros until);
    int TryLock(ProductThread& self, pthread_mutex_t* mutex);
    int Unlock(pthread_mutex_t* mutex);
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

    Mutex& Find(const void* address);

    Execution& execution_;
    std::map<const void*, Mutex> mutexes_;
    // Those used last, by a part of their address: a thread that polls asks for the same few again and again.
    std::array<std::pair<const void*, Mutex*>, 64> recent_ = {};
    std::map<const void*, std::deque<ProductThread*>> conditions_;
    int count_ = 0;
};

}  // namespace k905
