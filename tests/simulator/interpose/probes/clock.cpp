// What the clocks say before and after sleeps of every kind.
#include <sys/time.h>
#include <unistd.h>

#include "probe.h"

int main(void) {
    timeval day = {};
    gettimeofday(&day, nullptr);
    timespec real = {};
    clock_gettime(CLOCK_REALTIME, &real);
    Say("same second %d", time(nullptr) == day.tv_sec && real.tv_sec == day.tv_sec);
    Say("date %ld", static_cast<long>(day.tv_sec));
    const long long start = Microseconds();
    usleep(100000);
    sleep(1);
    const timespec half = {0, 500000000};
    nanosleep(&half, nullptr);
    clock_nanosleep(CLOCK_MONOTONIC, 0, &half, nullptr);
    timespec until = {};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += 2;
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    SleepMs(900);
    const long long passed = Microseconds() - start;
    Say("five seconds %d (%lld us)", passed >= 5000000 && passed < 5200000, passed);
    return 0;
}
