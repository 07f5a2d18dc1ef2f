// A library to preload: the threads K905_FAIL_THREADS="FIRST COUNT" of the program itself, counted from 1,
// cannot be had.
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "tests/scenarios/program_range.h"

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                              void* argument) {
    static std::atomic<int> made{0};
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto next = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    if (k905::OfProgram(__builtin_return_address(0))) {
        int first = 0, count = 0;
        const char* plan = std::getenv("K905_FAIL_THREADS");
        const int now = ++made;
        if (plan != nullptr && std::sscanf(plan, "%d %d", &first, &count) == 2 && now >= first &&
            now < first + count)
            return EAGAIN;
    }
    return next(thread, attributes, entry, argument);
}
