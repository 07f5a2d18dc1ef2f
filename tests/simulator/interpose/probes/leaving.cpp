// Main leaves by pthread_exit, and its threads go on. A thread blocks a signal meanwhile, and unblocks it.
#include <pthread.h>
#include <signal.h>

#include "probe.h"

static pthread_t first = 0;
static volatile sig_atomic_t handled = 0;

static void OnUser(int) {
    handled = handled + 1;
}

static bool Blocks(int signal) {
    sigset_t now;
    pthread_sigmask(SIG_SETMASK, nullptr, &now);
    return sigismember(&now, signal) == 1;
}

// A mask keeps nothing from a thread that comes through the simulator.
static void* First(void*) {
    sigset_t user;
    sigemptyset(&user);
    sigaddset(&user, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &user, nullptr);
    Say("first blocks: %d", Blocks(SIGUSR1));
    SleepMs(50);
    Say("first still blocks: %d, handled %d", Blocks(SIGUSR1), static_cast<int>(handled));
    pthread_sigmask(SIG_UNBLOCK, &user, nullptr);
    SleepMs(10);
    Say("first then blocks: %d", Blocks(SIGUSR1));
    return nullptr;
}

static void* Second(void*) {
    SleepMs(20);
    pthread_kill(first, SIGUSR1);
    SleepMs(100);
    void* result = &first;
    Say("first joined: %d", pthread_join(first, &result) == 0 && result == nullptr);
    for (int i = 0; i < 3; ++i) {
        SleepMs(1000);
        Say("second %d", i + 1);
    }
    exit(3);
}

static void OnMainsEnd(void*) {
    Say("main's destructor");
}

int main() {
    struct sigaction action = {};
    action.sa_handler = OnUser;
    sigaction(SIGUSR1, &action, nullptr);
    pthread_key_t key = 0;
    pthread_key_create(&key, OnMainsEnd);
    pthread_setspecific(key, &key);
    pthread_t second = 0;
    pthread_create(&first, nullptr, First, nullptr);
    pthread_create(&second, nullptr, Second, nullptr);
    SleepMs(5);
    Say("main leaves");
    pthread_exit(nullptr);
}
