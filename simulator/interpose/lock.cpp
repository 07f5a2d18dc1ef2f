#include "simulator/interpose/lock.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace k905 {

// Where the kernel cannot make every thread pass a fence, the carrier takes the mutex like everybody else.
void Lock::ServeCarrier() {
    carried_ = syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
}

void Lock::LockFromOutside() {
    Real().pthread_mutex_lock(&mutex_);
    if (!carried_)
        return;
    __atomic_store_n(&wanted_, true, __ATOMIC_RELAXED);
    // From here on a carrier that does not see what is wanted has left its mark.
    syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);
    while (__atomic_load_n(&carrierInside_, __ATOMIC_ACQUIRE))
        Real().sched_yield();
}

void Lock::UnlockFromOutside() {
    __atomic_store_n(&wanted_, false, __ATOMIC_RELEASE);
    Real().pthread_mutex_unlock(&mutex_);
}

// Who has the mutex keeps the others from wanting anything while the carrier leaves its mark anew.
void Lock::LetOthersPass() {
    __atomic_store_n(&carrierInside_, false, __ATOMIC_RELEASE);
    Real().pthread_mutex_lock(&mutex_);
    __atomic_store_n(&carrierInside_, true, __ATOMIC_RELAXED);
    Real().pthread_mutex_unlock(&mutex_);
}

}  // namespace k905
