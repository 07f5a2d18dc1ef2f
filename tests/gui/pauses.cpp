#include "tests/gui/pauses.h"

#include <pthread.h>
#include <sys/select.h>

#include <mutex>

namespace test {

static std::mutex guard;
static bool watching = false;
static pthread_t own;
static std::vector<long> pauses;

Pauses::Pauses() {
    const std::lock_guard<std::mutex> lock(guard);
    pauses.clear();
    own = pthread_self();
    watching = true;
}

Pauses::~Pauses() {
    const std::lock_guard<std::mutex> lock(guard);
    watching = false;
}

std::vector<long> Pauses::Of() const {
    const std::lock_guard<std::mutex> lock(guard);
    return pauses;
}

// True when the pause was written down.
static bool Take(const timeval& pause) {
    const std::lock_guard<std::mutex> lock(guard);
    if (!watching || pthread_equal(own, pthread_self()) != 0)
        return false;
    pauses.push_back(pause.tv_sec * 1000 + pause.tv_usec / 1000);
    return true;
}

}  // namespace test

extern "C" {
int __real_select(int, fd_set*, fd_set*, fd_set*, timeval*);
int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout);
}

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout) {
    timeval shortly = {0, 1000};
    const bool taken = count == 0 && timeout != nullptr && test::Take(*timeout);
    return __real_select(count, readable, writable, failed, taken ? &shortly : timeout);
}
