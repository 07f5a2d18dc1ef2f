// Signals between threads, and the orderly end. With an argument: ignores nothing and waits to be ended.
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/time.h>
#include <unistd.h>

#include "probe.h"

static volatile sig_atomic_t handled = 0;
static volatile sig_atomic_t ended = 0;
static int keypad = -1;

static void OnUser(int) {
    handled = handled + 1;
}

static void OnEnd(int) {
    ended = 1;
}

static void* ReadKeypad(void*) {
    unsigned word = 0;
    const ssize_t count = read(keypad, &word, sizeof word);
    const int error = errno;
    Say("read %zd %s handled %d", count, count < 0 && error == EINTR ? "EINTR" : "?",
        static_cast<int>(handled));
    return nullptr;
}

static void* Sleep(void*) {
    const long long start = Microseconds();
    const int result = SleepMs(3600000);
    Say("sleep %d %s after %s", result, errno == EINTR ? "EINTR" : "?",
        Microseconds() - start < 60000000 ? "a moment" : "an hour");
    return nullptr;
}

static void Interrupt(void* (*entry)(void*)) {
    pthread_t thread = 0;
    pthread_create(&thread, nullptr, entry, nullptr);
    // A signal that comes before the wait has begun does not end it: the next one does.
    do {
        SleepMs(50);
        pthread_kill(thread, SIGUSR1);
        SleepMs(1);
    } while (pthread_tryjoin_np(thread, nullptr) == EBUSY);
}

// Ends a thread as the product does: with a signal now and then until it is gone.
static void TryToJoin() {
    pthread_t thread = 0;
    pthread_create(&thread, nullptr, ReadKeypad, nullptr);
    int tries = 0;
    for (; pthread_tryjoin_np(thread, nullptr) == EBUSY; ++tries) {
        if (tries >= 2)
            pthread_kill(thread, SIGUSR1);
        SleepMs(10);
    }
    Say("joined after %d tries", tries);
}

// An alarm every 10 ms cuts sleeps short, three times.
static void Alarms() {
    struct sigaction action = {};
    action.sa_handler = OnUser;
    sigaction(SIGALRM, &action, nullptr);
    itimerval timer = {{0, 10000}, {0, 10000}};
    setitimer(ITIMER_REAL, &timer, nullptr);
    const long long start = Microseconds();
    int cut = 0;
    for (int i = 0; i < 3; ++i)
        cut += SleepMs(1000) < 0 ? 1 : 0;
    const long long passed = Microseconds() - start;
    timer = {};
    itimerval before = {};
    setitimer(ITIMER_REAL, &timer, &before);
    Say("alarms %d, %s, interval %ld", cut, passed < 1000000 ? "at once" : "late",
        static_cast<long>(before.it_interval.tv_usec));
    Say("then none %d", SleepMs(100));
}

int main(void) {
    struct sigaction action = {};
    action.sa_handler = OnUser;
    sigaction(SIGUSR1, &action, nullptr);
    action.sa_handler = OnEnd;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    struct sigaction seen = {};
    sigaction(SIGTERM, nullptr, &seen);
    Say("handler %d", seen.sa_handler == OnEnd);
    system("insmod /lib/modules/2.6.30/drv_keypad.ko");
    keypad = open("/dev/keyb0", O_RDONLY);
    Interrupt(ReadKeypad);
    Interrupt(Sleep);
    TryToJoin();
    Alarms();
    Say("waiting");
    while (ended == 0)
        SleepMs(100);
    Say("ended");
    return 7;
}
