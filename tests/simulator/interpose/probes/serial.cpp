// Asks the measurement board for its presence as the product does, then with the port set not to block, then
// with the board's silence.
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include "probe.h"

int main(void) {
    const int fd = open("/dev/ttyS0", O_RDWR);
    termios before = {};
    termios after = {};
    if (fd < 0 || tcgetattr(fd, &before) != 0)
        return 1;
    termios raw = {};
    raw.c_iflag = IGNBRK | IGNPAR;
    raw.c_cflag = B115200 | CS8 | CREAD | CLOCAL;
    raw.c_cc[VTIME] = 10;
    raw.c_cc[VMIN] = 7;
    tcflush(fd, TCIFLUSH);
    if (tcsetattr(fd, TCSANOW, &raw) != 0 || tcgetattr(fd, &after) != 0 || fcntl(fd, F_SETFL, 0) != 0)
        return 2;
    Say("termios %d %u %u", cfgetospeed(&after) == B115200, after.c_cc[VTIME], after.c_cc[VMIN]);
    Say("isatty %d", isatty(fd));

    const unsigned char connect[3] = {0x02, 0x07, 0x23};
    unsigned char reply[20] = {};
    fd_set reads;
    FD_ZERO(&reads);
    FD_SET(fd, &reads);
    timeval timeout = {5, 0};
    if (write(fd, connect, sizeof connect) != 3 || tcdrain(fd) != 0)
        return 3;
    const int ready = select(fd + 1, &reads, nullptr, nullptr, &timeout);
    Say("select %d %d left %d", ready, FD_ISSET(fd, &reads) ? 1 : 0,
        timeout.tv_sec == 4 && timeout.tv_usec > 0);
    SleepMs(25);
    const ssize_t count = read(fd, reply, sizeof reply);
    Say("reply %zd %02x %02x", count, reply[0], reply[1]);

    const int flags = fcntl(fd, F_GETFL);
    fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    const ssize_t nothing = read(fd, reply, sizeof reply);
    Say("nonblocking %zd %s", nothing, nothing < 0 && errno == EAGAIN ? "EAGAIN" : "?");
    fcntl(fd, F_SETFL, 0);

    timeout = {5, 0};
    FD_ZERO(&reads);
    FD_SET(fd, &reads);
    const long long start = Microseconds();
    const int silent = select(fd + 1, &reads, nullptr, nullptr, &timeout);
    Say("silence %d after %lld ms left %ld.%06ld", silent, (Microseconds() - start) / 1000, timeout.tv_sec,
        timeout.tv_usec);
    tcsetattr(fd, TCSANOW, &before);
    close(fd);
    return 0;
}
