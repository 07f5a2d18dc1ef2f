// Five threads that share a mutex and a condition, sleep and tell in which order they ran, on the SD card and
// on standard output.
#include <pthread.h>
#include <stdint.h>

#include "probe.h"

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t turnstile = PTHREAD_COND_INITIALIZER;
static int passed = 0;
static FILE* card = nullptr;
static long long start = 0;

static void Note(int number, int round) {
    fprintf(card, "%d.%d %lld\n", number, round, Microseconds() - start);
    Say("%d.%d %lld", number, round, Microseconds() - start);
}

static void* Walk(void* argument) {
    const int number = static_cast<int>(reinterpret_cast<intptr_t>(argument));
    for (int round = 0; round < 40; ++round) {
        pthread_mutex_lock(&mutex);
        Note(number, round);
        if (round % 3 == number % 3)
            SleepMs(1);  // with the mutex held: the others queue up
        pthread_mutex_unlock(&mutex);
        SleepMs(static_cast<unsigned long>(number % 2 == 0 ? 5 : 7));
    }
    pthread_mutex_lock(&mutex);
    ++passed;
    pthread_cond_signal(&turnstile);
    pthread_mutex_unlock(&mutex);
    if (number == 3)
        pthread_exit(argument);
    return argument;
}

int main(void) {
    start = Microseconds();
    card = fopen("/mnt/sdcard/order.txt", "w");
    if (card == nullptr)
        return 1;
    pthread_t threads[5];
    for (intptr_t i = 0; i < 5; ++i)
        if (pthread_create(&threads[i], nullptr, Walk, reinterpret_cast<void*>(i)) != 0)
            return 2;
    pthread_mutex_lock(&mutex);
    while (passed < 5)
        pthread_cond_wait(&turnstile, &mutex);
    pthread_mutex_unlock(&mutex);
    for (intptr_t i = 0; i < 5; ++i) {
        void* result = nullptr;
        pthread_join(threads[i], &result);
        if (result != reinterpret_cast<void*>(i))
            return 3;
    }
    Say("end %lld", Microseconds() - start);
    fclose(card);
    return 0;
}
