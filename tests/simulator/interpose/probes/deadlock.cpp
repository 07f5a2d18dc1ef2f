// Two threads that take two mutexes in opposite order.
#include <pthread.h>

#include "probe.h"

static pthread_mutex_t first = PTHREAD_MUTEX_INITIALIZER;
static pthread_mutex_t second = PTHREAD_MUTEX_INITIALIZER;

static void* Backwards(void*) {
    pthread_mutex_lock(&second);
    SleepMs(10);
    pthread_mutex_lock(&first);
    return nullptr;
}

int main(void) {
    pthread_t thread = 0;
    pthread_create(&thread, nullptr, Backwards, nullptr);
    pthread_mutex_lock(&first);
    SleepMs(10);
    pthread_mutex_lock(&second);
    pthread_join(thread, nullptr);
    return 0;
}
