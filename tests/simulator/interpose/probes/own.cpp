// What belongs to one thread stays with it while others run: errno, thread-local and thread-specific data,
// identity, an exception in flight, the rounding mode, its stack. And the ways in which a thread can end.
#include <errno.h>
#include <fenv.h>
#include <pthread.h>
#include <stdint.h>
#include <string.h>

#include "probe.h"

static thread_local int local = 0;
static pthread_key_t key = 0;
static pthread_mutex_t recursive = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
static pthread_mutex_t checking = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;

static int Number(void* argument) {
    return static_cast<int>(reinterpret_cast<intptr_t>(argument));
}

// It takes its time, as it may.
static void OnEnd(void* value) {
    SleepMs(3);
    Say("destructor of %d, local %d", Number(value), local);
}

struct Leaving {
    int number;
    ~Leaving() { Say("%d leaves its stack", number); }
};

static void* Keep(void* argument) {
    const int number = Number(argument);
    const Leaving leaving = {number};
    const pthread_t self = pthread_self();
    pthread_setspecific(key, argument);
    local = number;
    errno = number;
    fesetround(number % 2 == 0 ? FE_UPWARD : FE_DOWNWARD);
    bool same = true;
    for (int round = 0; round < 20; ++round) {
        try {
            throw number;
        } catch (int thrown) {
            SleepMs(static_cast<unsigned long>(1 + number));
            same = same && thrown == number;
        }
        pthread_mutex_lock(&recursive);
        same = same && pthread_mutex_lock(&recursive) == 0;
        SleepMs(1);
        pthread_mutex_unlock(&recursive);
        pthread_mutex_unlock(&recursive);
        errno = number;
        SleepMs(1);
        same = same && errno == number && local == number && pthread_getspecific(key) == argument &&
               pthread_equal(self, pthread_self()) &&
               fegetround() == (number % 2 == 0 ? FE_UPWARD : FE_DOWNWARD);
    }
    Say("%d kept what is its own: %d", number, same ? 1 : 0);
    if (number == 2)
        pthread_exit(argument);
    if (number == 3)
        for (;;) {
            SleepMs(1);
            pthread_testcancel();
        }
    return argument;
}

// Uses most of a small stack, and waits in the middle of it.
static void* UseStack(void* argument) {
    volatile char much[80 * 1024];
    memset(const_cast<char*>(much), 7, sizeof much);
    SleepMs(5);
    size_t sevens = 0;
    for (const volatile char& one : much)
        sevens += one == 7;
    Say("%zu bytes of stack", sevens);
    return argument;
}

// Below the stack there is nothing.
static volatile bool deeper = true;

static void* Overflow(void* argument) {
    volatile char page[4096];
    page[0] = 1;
    SleepMs(1);
    void* const result = deeper ? Overflow(argument) : argument;
    return page[0] == 1 ? result : nullptr;
}

static pthread_t WithStack(void* (*entry)(void*), size_t size) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, size);
    pthread_t thread = 0;
    if (pthread_create(&thread, &attributes, entry, nullptr) != 0)
        Say("no thread");
    pthread_attr_destroy(&attributes);
    return thread;
}

static void* TakeWhatIsNotMine(void*) {
    Say("another's mutex: %s", pthread_mutex_trylock(&recursive) == EBUSY ? "EBUSY" : "?");
    return nullptr;
}

static void* Detached(void*) {
    pthread_detach(pthread_self());
    SleepMs(1);
    Say("detached");
    return nullptr;
}

int main(int count, char**) {
    if (count > 1) {
        Say("overflows");
        pthread_join(WithStack(Overflow, 128 * 1024), nullptr);
        return 0;
    }
    pthread_key_create(&key, OnEnd);
    pthread_t threads[5];
    for (intptr_t i = 1; i <= 5; ++i)
        pthread_create(&threads[i - 1], nullptr, Keep, reinterpret_cast<void*>(i));
    SleepMs(500);
    Say("cancel %d", pthread_cancel(threads[3 - 1]));
    for (intptr_t i = 1; i <= 5; ++i) {
        void* result = nullptr;
        pthread_join(threads[i - 1], &result);
        Say("joined %d: %s", static_cast<int>(i),
            result == PTHREAD_CANCELED ? "cancelled"
                                       : (result == reinterpret_cast<void*>(i) ? "itself" : "?"));
    }
    pthread_join(WithStack(UseStack, 128 * 1024), nullptr);
    pthread_t thread = 0;
    pthread_mutex_lock(&checking);
    Say("its own mutex: %s", pthread_mutex_lock(&checking) == EDEADLK ? "EDEADLK" : "?");
    pthread_mutex_unlock(&checking);
    pthread_mutex_lock(&recursive);
    pthread_create(&thread, nullptr, TakeWhatIsNotMine, nullptr);
    pthread_join(thread, nullptr);
    pthread_mutex_unlock(&recursive);
    pthread_create(&thread, nullptr, Detached, nullptr);
    SleepMs(10);
    Say("main kept local %d", local);
    return 0;
}
