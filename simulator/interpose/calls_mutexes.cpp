// Entry points: mutexes and conditions. In paced mode they are the host's, with time-outs in virtual time; in
// stepped mode the waiting is the scheduler's.
#include "simulator/interpose/call.h"
#include "simulator/interpose/device_io.h"
#include "simulator/interpose/virtual_deadline.h"

using namespace k905;

namespace {

// The thread's state while the host's own call holds it, for those who ask what it waits for.
class HostWait {
  public:
    HostWait(Call& call, const char* reason, const void* object) : self_(call.Self()) {
        self_.waitsFor = reason;
        self_.waitObject = object;
        self_.wakeAt = kNever;
        self_.waitPath.clear();
        self_.state = ThreadState::kWaiting;
        call.Release();
    }
    ~HostWait() {
        Guard guard(self_.machine->lock);
        self_.state = ThreadState::kRunning;
    }

  private:
    ProductThread& self_;
};

// A time of the host's clock that comes with the virtual time given, or a second from now if that is earlier.
timespec HostTime(Call& call, clockid_t clock, Micros until) {
    timespec time = {};
    Real().clock_gettime(clock, &time);
    const std::int64_t nanoseconds = time.tv_nsec + call->PacedRun()->Clock().RealUntil(until);
    time.tv_sec += static_cast<time_t>(nanoseconds / 1'000'000'000);
    time.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
    return time;
}

int LockMutex(pthread_mutex_t* mutex) {
    Call call;
    if (!call)
        return Real().pthread_mutex_lock(mutex);
    call.Charge(cost::kMutex);
    if (call->Stepped())
        return call->mutexes->Lock(call.Self(), mutex, kNever);
    const int result = Real().pthread_mutex_trylock(mutex);
    if (result != EBUSY)
        return result;
    HostWait wait(call, "mutex", mutex);
    return Real().pthread_mutex_lock(mutex);
}

int LockMutexUntil(pthread_mutex_t* mutex, const timespec* time) {
    Call call;
    if (!call || time == nullptr)
        return Real().pthread_mutex_timedlock(mutex, time);
    call.Charge(cost::kMutex);
    const Micros until = VirtualDeadline(call, *time);
    if (call->Stepped())
        return call->mutexes->Lock(call.Self(), mutex, until);
    for (;;) {
        const timespec hostTime = HostTime(call, CLOCK_REALTIME, until);
        int result = 0;
        {
            HostWait wait(call, "mutex", mutex);
            result = Real().pthread_mutex_timedlock(mutex, &hostTime);
        }
        if (result != ETIMEDOUT || call->Now() >= until)
            return result;
        call.Acquire();
    }
}

int WaitCondition(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* time) {
    Call call;
    if (!call)
        return time != nullptr ? Real().pthread_cond_timedwait(condition, mutex, time)
                               : Real().pthread_cond_wait(condition, mutex);
    call.Charge(cost::kMutex);
    const bool monotonic = call->monotonicConditions.count(condition) != 0;
    const Micros until = time != nullptr ? VirtualDeadline(call, *time, monotonic) : kNever;
    if (call->Stepped())
        return call->mutexes->WaitCondition(call.Self(), condition, mutex, until);
    const clockid_t clock = monotonic ? CLOCK_MONOTONIC : CLOCK_REALTIME;
    const timespec hostTime = time != nullptr ? HostTime(call, clock, until) : timespec{};
    HostWait wait(call, "condition", condition);
    if (time == nullptr)
        return Real().pthread_cond_wait(condition, mutex);
    const int result = Real().pthread_cond_timedwait(condition, mutex, &hostTime);
    // The host waited for a second at most; waking early is what a condition may do at any time.
    return result == ETIMEDOUT && call->Now() < until ? 0 : result;
}

int SignalCondition(pthread_cond_t* condition, bool all) {
    Call call;
    if (!call || !call->Stepped())
        return all ? Real().pthread_cond_broadcast(condition) : Real().pthread_cond_signal(condition);
    call->mutexes->Signal(condition, all);
    call.Charge(cost::kMutex);
    return 0;
}

}  // namespace

K905_ENTRY(int, pthread_mutex_init, (pthread_mutex_t * mutex, const pthread_mutexattr_t* attributes)) {
    return Real().pthread_mutex_init(mutex, attributes);
}

K905_ENTRY(int, pthread_mutex_destroy, (pthread_mutex_t * mutex)) {
    Call call;
    return call && call->Stepped() ? call->mutexes->Destroy(mutex) : Real().pthread_mutex_destroy(mutex);
}

K905_ENTRY(int, pthread_mutex_lock, (pthread_mutex_t * mutex)) {
    return LockMutex(mutex);
}

K905_ENTRY(int, pthread_mutex_timedlock, (pthread_mutex_t * mutex, const timespec* time)) {
    return LockMutexUntil(mutex, time);
}

K905_ENTRY(int, pthread_mutex_trylock, (pthread_mutex_t * mutex)) {
    Call call;
    if (!call || !call->Stepped())
        return Real().pthread_mutex_trylock(mutex);
    call.Charge(cost::kMutex);
    return call->mutexes->TryLock(call.Self(), mutex);
}

K905_ENTRY(int, pthread_mutex_unlock, (pthread_mutex_t * mutex)) {
    Call call;
    if (!call || !call->Stepped())
        return Real().pthread_mutex_unlock(mutex);
    return call->mutexes->Unlock(mutex);
}

K905_ENTRY(int, pthread_cond_init, (pthread_cond_t * condition, const pthread_condattr_t* attributes)) {
    Call call;
    if (call) {
        clockid_t clock = CLOCK_REALTIME;
        if (attributes != nullptr)
            pthread_condattr_getclock(attributes, &clock);
        if (clock == CLOCK_MONOTONIC)
            call->monotonicConditions.insert(condition);
        else
            call->monotonicConditions.erase(condition);
    }
    return Real().pthread_cond_init(condition, attributes);
}

K905_ENTRY(int, pthread_cond_destroy, (pthread_cond_t * condition)) {
    return Real().pthread_cond_destroy(condition);
}

K905_ENTRY(int, pthread_cond_wait, (pthread_cond_t * condition, pthread_mutex_t* mutex)) {
    return WaitCondition(condition, mutex, nullptr);
}

K905_ENTRY(int, pthread_cond_timedwait,
           (pthread_cond_t * condition, pthread_mutex_t* mutex, const timespec* time)) {
    return WaitCondition(condition, mutex, time);
}

K905_ENTRY(int, pthread_cond_signal, (pthread_cond_t * condition)) {
    return SignalCondition(condition, false);
}

K905_ENTRY(int, pthread_cond_broadcast, (pthread_cond_t * condition)) {
    return SignalCondition(condition, true);
}
