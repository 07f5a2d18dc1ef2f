// A lock for what runs below malloc: it allocates nothing, and no library that stands in the C library's
// place sees it.
#pragma once

#include <atomic>

namespace test {

class SpinLock {
  public:
    void lock() {
        while (busy_.test_and_set(std::memory_order_acquire)) {
        }
    }
    void unlock() { busy_.clear(std::memory_order_release); }

  private:
    std::atomic_flag busy_ = ATOMIC_FLAG_INIT;
};

}  // namespace test
