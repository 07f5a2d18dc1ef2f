// An hour of a few threads that poll, as the product's do when nobody touches it.
#include <pthread.h>
#include <stdint.h>

#include "probe.h"

static void* Poll(void* argument) {
    const unsigned long period = static_cast<unsigned long>(reinterpret_cast<intptr_t>(argument));
    const long long end = Microseconds() + 3600000000LL;
    while (Microseconds() < end)
        SleepMs(period);
    return nullptr;
}

int main(void) {
    const intptr_t periods[] = {20, 50, 50, 50};
    pthread_t threads[4];
    for (int i = 0; i < 4; ++i)
        pthread_create(&threads[i], nullptr, Poll, reinterpret_cast<void*>(periods[i]));
    for (int i = 0; i < 4; ++i)
        pthread_join(threads[i], nullptr);
    Say("an hour");
    return 0;
}
