// Entry points: clocks and sleeps.
#include "simulator/interpose/call.h"
#include "simulator/interpose/device_io.h"
#include "simulator/interpose/virtual_deadline.h"

using namespace k905;

namespace {

// The monotonic clock of a machine that has been up for a while: never 0, as on a real one.
constexpr Micros kMonotonicStart = 10 * kSecond;

bool IsWallClock(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
}

bool IsVirtual(clockid_t clock) {
    return IsWallClock(clock) || clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_RAW ||
           clock == CLOCK_MONOTONIC_COARSE || clock == CLOCK_BOOTTIME;
}

Micros ClockNow(Call& call, clockid_t clock) {
    return IsWallClock(clock) ? call->Hardware().WallClockMicros() : call->Now() + kMonotonicStart;
}

timespec ToTimespec(Micros time) {
    timespec result = {};
    result.tv_sec = static_cast<time_t>(time / kSecond);
    result.tv_nsec = static_cast<long>(time % kSecond) * 1000;
    return result;
}

// Rounded up, as a sleep is never shorter than asked for.
Micros FromTimespec(const timespec& time) {
    if (Micros{time.tv_sec} > 1'000'000'000'000)
        return kNever;
    return time.tv_sec * kSecond + (time.tv_nsec + 999) / 1000;
}

bool IsTime(const timespec& time) {
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < 1'000'000'000;
}

Micros FromTimeval(const timeval& time) {
    return time.tv_sec * kSecond + time.tv_usec;
}

timeval ToTimeval(Micros time) {
    timeval result = {};
    result.tv_sec = static_cast<time_t>(time / kSecond);
    result.tv_usec = static_cast<suseconds_t>(time % kSecond);
    return result;
}

bool IsTime(const timeval& time) {
    return time.tv_sec >= 0 && time.tv_usec >= 0 && time.tv_usec < kSecond;
}

// 0, or EINTR with what is left in `left` (may be null).
int Sleep(Call& call, Micros duration, timespec* left) {
    if (call->Tracing())
        call->Trace("sleep", "sleep " + DurationText(duration));
    const Micros rest = SleepFor(call, duration, "sleep");
    if (rest > 0 && left != nullptr)
        *left = ToTimespec(rest);
    return rest > 0 ? EINTR : 0;
}

}  // namespace

namespace k905 {

Micros VirtualDeadline(Call& call, const timespec& time, bool monotonic) {
    const Micros left = FromTimespec(time) - ClockNow(call, monotonic ? CLOCK_MONOTONIC : CLOCK_REALTIME);
    return call->Now() + (left > 0 ? left : 0);
}

}  // namespace k905

K905_ENTRY(int, usleep, (useconds_t duration)) {
    Call call;
    if (!call)
        return Real().usleep(duration);
    const int error = Sleep(call, duration, nullptr);
    return error == 0 ? 0 : Fail(error);
}

K905_ENTRY(unsigned, sleep, (unsigned seconds)) {
    Call call;
    if (!call)
        return Real().sleep(seconds);
    timespec left = {};
    Sleep(call, seconds * kSecond, &left);
    return static_cast<unsigned>(left.tv_sec) + (left.tv_nsec > 500'000'000 ? 1 : 0);
}

K905_ENTRY(int, nanosleep, (const timespec* duration, timespec* left)) {
    Call call;
    if (!call || duration == nullptr)
        return Real().nanosleep(duration, left);
    if (!IsTime(*duration))
        return Fail(EINVAL);
    const int error = Sleep(call, FromTimespec(*duration), left);
    return error == 0 ? 0 : Fail(error);
}

K905_ENTRY(int, clock_nanosleep, (clockid_t clock, int flags, const timespec* time, timespec* left)) {
    Call call;
    if (!call || time == nullptr || !IsVirtual(clock))
        return Real().clock_nanosleep(clock, flags, time, left);
    if (!IsTime(*time))
        return EINVAL;
    if ((flags & TIMER_ABSTIME) == 0)
        return Sleep(call, FromTimespec(*time), left);
    const Micros duration = FromTimespec(*time) - ClockNow(call, clock);
    return duration <= 0 ? 0 : Sleep(call, duration, nullptr);
}

K905_ENTRY(int, clock_gettime, (clockid_t clock, timespec* time)) {
    Call call;
    if (!call || time == nullptr || !IsVirtual(clock))
        return Real().clock_gettime(clock, time);
    call.Charge(cost::kClock);
    *time = ToTimespec(ClockNow(call, clock));
    return 0;
}

K905_ENTRY(int, gettimeofday, (timeval * time, void* zone)) {
    Call call;
    if (!call || time == nullptr)
        return Real().gettimeofday(time, zone);
    call.Charge(cost::kClock);
    const Micros now = ClockNow(call, CLOCK_REALTIME);
    time->tv_sec = static_cast<time_t>(now / kSecond);
    time->tv_usec = static_cast<suseconds_t>(now % kSecond);
    return 0;
}

K905_ENTRY(time_t, time, (time_t * result)) {
    Call call;
    if (!call)
        return Real().time(result);
    call.Charge(cost::kClock);
    const auto now = static_cast<time_t>(ClockNow(call, CLOCK_REALTIME) / kSecond);
    if (result != nullptr)
        *result = now;
    return now;
}

K905_ENTRY(int, setitimer, (__itimer_which_t which, const itimerval* value, itimerval* previous)) {
    Call call;
    if (!call || which != ITIMER_REAL || value == nullptr)
        return Real().setitimer(which, value, previous);
    if (!IsTime(value->it_value) || !IsTime(value->it_interval))
        return Fail(EINVAL);
    call.Charge(cost::kClock);
    if (previous != nullptr) {
        previous->it_value = ToTimeval(call->alarm.Left(call->Now()));
        previous->it_interval = ToTimeval(call->alarm.interval);
    }
    call->SetAlarm(FromTimeval(value->it_value), FromTimeval(value->it_interval));
    return 0;
}
