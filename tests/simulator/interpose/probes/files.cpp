// Files of the instrument, files of the host, and device nodes by path.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "probe.h"

static const char* Result(bool good) {
    return good ? "ok" : strerror(errno);
}

static void OnCard(void) {
    const int fd = open("/mnt/sdcard/log.txt", O_CREAT | O_RDWR | O_APPEND, 0644);
    Say("card open %s", Result(fd >= 0));
    Say("card write %s", Result(write(fd, "line\n", 5) == 5));
    Say("card size %ld", static_cast<long>(lseek(fd, 0, SEEK_END)));
    close(fd);
    FILE* stream = fopen("/mnt/sdcard/log.txt", "a");
    Say("card append %s", Result(stream != nullptr && fputs("more\n", stream) >= 0 && fclose(stream) == 0));
    struct stat status = {};
    const bool found = stat("/mnt/sdcard/log.txt", &status) == 0;
    Say("card stat %s %ld", Result(found), static_cast<long>(status.st_size));
    Say("card rename %s", Result(rename("/mnt/sdcard/log.txt", "/mnt/sdcard/../sdcard//old.txt") == 0));
    DIR* folder = opendir("/mnt/sdcard");
    Say("card folder %s", Result(folder != nullptr));
    for (dirent* entry = nullptr; folder != nullptr && (entry = readdir(folder)) != nullptr;)
        if (entry->d_name[0] != '.')
            Say("card entry %s", entry->d_name);
    if (folder != nullptr)
        closedir(folder);
    Say("card unlink %s", Result(unlink("/mnt/sdcard/old.txt") == 0));
    Say("card access %s", Result(access("/mnt/sdcard/old.txt", F_OK) == 0));
    Say("card mkdir %s", Result(mkdir("/mnt/sdcard/dir", 0755) == 0));
    Say("card rmdir %s", Result(rmdir("/mnt/sdcard/dir") == 0));
}

static void Nodes(void) {
    struct stat status = {};
    const bool found = stat("/dev/fb0", &status) == 0;
    Say("fb0 stat %s %d", Result(found), S_ISCHR(status.st_mode) ? 1 : 0);
    Say("unknown node %s", Result(open("/dev/mem", O_RDWR) >= 0));
    Say("host port %s", Result(open("/dev/ttyS1", O_RDWR) >= 0));
    Say("null %s", Result(open("/dev/null", O_RDWR) >= 0));
    const int rtc = open("/dev/rtc0", O_RDONLY);
    const int twin = dup(rtc);
    Say("rtc %s", Result(rtc >= 0 && twin >= 0));
    Say("rtc write %s", Result(write(rtc, "x", 1) == 1));
    Say("rtc mmap %s", Result(close(rtc) == 0 && close(twin) == 0 && read(rtc, &status, 1) >= 0));
}

int main(int count, char** arguments) {
    if (count > 1) {
        const int fd = open(arguments[1], O_CREAT | O_WRONLY | O_TRUNC, 0644);
        Say("host write %s", Result(fd >= 0 && write(fd, "host\n", 5) == 5 && close(fd) == 0));
    }
    OnCard();
    Nodes();
    return 0;
}
