// The word on which a thread waits for another. It avoids the interposed names.
#pragma once

#include <errno.h>
#include <linux/futex.h>
#include <stdint.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "simulator/interpose/real_calls.h"

namespace k905 {

// A token that one thread takes and any thread gives. Giving twice before the taker looks is one token.
class ParkingPlace {
  public:
    void Give() {
        if (__atomic_exchange_n(&token_, 1, __ATOMIC_RELEASE) == 0)
            syscall(SYS_futex, &token_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    }

    // Takes the token, waiting until it is there.
    void Take() {
        while (__atomic_exchange_n(&token_, 0, __ATOMIC_ACQUIRE) == 0) {
            const long result = syscall(SYS_futex, &token_, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
            // The thread sanitizer keeps a signal back until the thread makes a call that it knows.
            if (result < 0 && errno == EINTR)
                Real().poll(nullptr, 0, 0);
        }
    }

    // Takes the token if it comes within the real time given, or until a signal is handled. True when taken.
    bool TakeFor(int64_t nanoseconds) {
        if (__atomic_exchange_n(&token_, 0, __ATOMIC_ACQUIRE) != 0)
            return true;
        timespec timeout = {};
        timeout.tv_sec = static_cast<time_t>(nanoseconds / 1'000'000'000);
        timeout.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
        syscall(SYS_futex, &token_, FUTEX_WAIT_PRIVATE, 0, &timeout, nullptr, 0);
        return __atomic_exchange_n(&token_, 0, __ATOMIC_ACQUIRE) != 0;
    }

  private:
    uint32_t token_ = 0;
};

}  // namespace k905
