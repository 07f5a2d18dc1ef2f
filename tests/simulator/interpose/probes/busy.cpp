// One thread writes a register for ever, one takes and gives back a mutex for ever, and a third wants to
// sleep 20 ms at a time: it gets its turns.
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "probe.h"

struct Access {
    uint16_t index;
    uint16_t value;
};

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static int optic = -1;

static void* WriteForEver(void*) {
    for (uint16_t value = 0;; ++value) {
        Access access = {5, value};
        ioctl(optic, 0xc004f001, &access);
    }
    return nullptr;
}

static void* LockForEver(void*) {
    for (;;) {
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
    }
    return nullptr;
}

int main(void) {
    system("insmod /lib/modules/2.6.30/drv_optic.ko");
    optic = open("/dev/optic0", O_RDWR);
    if (optic < 0)
        return 1;
    pthread_t threads[2];
    pthread_create(&threads[0], nullptr, WriteForEver, nullptr);
    pthread_create(&threads[1], nullptr, LockForEver, nullptr);
    const long long start = Microseconds();
    for (int i = 1; i <= 50; ++i) {
        SleepMs(20);
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
        Say("%d %lld", i, Microseconds() - start);
    }
    return 0;
}
