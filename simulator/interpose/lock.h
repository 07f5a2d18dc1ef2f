// The instrument's one lock. It avoids the interposed names.
#pragma once

#include <mutex>

#include "simulator/interpose/product_thread.h"
#include "simulator/interpose/real_calls.h"

namespace k905 {

// The system thread that carries the product's threads takes it millions of times, the others now and then.
// So the carrier only leaves a mark and looks for theirs; they make up for the fence between the two that it
// does without.
class Lock {
  public:
    // From here on there is a carrier: the thread whose turn it is, while its system thread has lent it.
    void ServeCarrier();

    void lock() {
        if (!ByCarrier())
            return LockFromOutside();
        __atomic_store_n(&carrierInside_, true, __ATOMIC_RELAXED);
        __atomic_signal_fence(__ATOMIC_SEQ_CST);
        if (__atomic_load_n(&wanted_, __ATOMIC_ACQUIRE))
            LetOthersPass();
    }
    void unlock() {
        if (!ByCarrier())
            return UnlockFromOutside();
        __atomic_store_n(&carrierInside_, false, __ATOMIC_RELEASE);
    }

  private:
    bool ByCarrier() const {
        return carried_ && threadContext.self != nullptr && threadContext.self->loan != nullptr;
    }
    void LockFromOutside();
    void UnlockFromOutside();
    void LetOthersPass();

    bool carried_ = false;
    bool carrierInside_ = false;
    bool wanted_ = false;  // by who has the mutex
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

using Guard = std::unique_lock<Lock>;

}  // namespace k905
