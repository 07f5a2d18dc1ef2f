// What the probe programs share. A probe is a small ordinary program: it knows nothing of the simulator under
// it.
#pragma once

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/select.h>
#include <time.h>

// Sleeps as the product does.
static inline int SleepMs(unsigned long milliseconds) {
    struct timeval time = {};
    time.tv_sec = static_cast<time_t>(milliseconds / 1000);
    time.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
    return select(0, nullptr, nullptr, nullptr, &time);
}

// Microseconds of the monotonic clock.
static inline long long Microseconds(void) {
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000LL + now.tv_nsec / 1000;
}

// One line on standard output, at once.
__attribute__((format(printf, 1, 2))) static inline void Say(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
    putchar('\n');
    fflush(stdout);
}
