// Reads the keypad for ever and tells each word and when it came; key 5 (f5's neighbour, "f4") ends it.
#include <fcntl.h>
#include <stdint.h>
#include <unistd.h>

#include "probe.h"

int main(void) {
    const long long start = Microseconds();
    if (system("insmod /lib/modules/2.6.30/drv_keypad.ko") != 0)
        return 1;
    const int fd = open("/dev/keyb0", O_RDONLY);
    if (fd < 0)
        return 2;
    Say("ready");
    for (;;) {
        uint32_t word = 0;
        const ssize_t count = read(fd, &word, sizeof word);
        Say("%zd %08x %lld", count, word, (Microseconds() - start) / 1000);
        if (count != sizeof word)
            return 3;
        if ((word & 0xff) == 5)
            break;
    }
    close(fd);
    return 0;
}
