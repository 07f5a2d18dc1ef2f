// Calls three times each of the functions that can fail, and says what came of it. What they give is given
// back, but for one block that is lost on purpose.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include "probe.h"

// A compiler that sees a block come and go leaves both out.
static void* volatile block;
static struct stat status;
static pthread_mutex_t mutex;

static void Tell(const char* name, int error) {
    Say("%s: %s", name, error == 0 ? "ok" : strerror(error));
}

// For the functions that leave the cause in errno.
static bool Tell(const char* name, bool good) {
    Tell(name, good ? 0 : errno);
    return good;
}

static void Blocks(void) {
    block = malloc(10);
    if (Tell("malloc", block != nullptr))
        free(block);
    block = calloc(3, 10);
    if (Tell("calloc", block != nullptr))
        free(block);
    void* before = malloc(100);
    block = realloc(before, 200);
    if (Tell("realloc", block != nullptr))
        before = block;
    free(before);
    block = strdup("text");
    if (Tell("strdup", block != nullptr))
        free(block);
}

static void Descriptors(void) {
    static char buffer[16];
    const int fd = open("/mnt/sdcard/probe.bin", O_CREAT | O_RDWR, 0644);
    if (!Tell("open", fd >= 0))
        return;
    Tell("write", write(fd, buffer, sizeof buffer) == sizeof buffer);
    Tell("lseek", lseek(fd, 0, SEEK_SET) == 0);
    Tell("read", read(fd, buffer, sizeof buffer) == sizeof buffer);
    Tell("fcntl", fcntl(fd, F_GETFL) >= 0);
    void* map = mmap(nullptr, 16, PROT_READ, MAP_PRIVATE, fd, 0);
    if (Tell("mmap", map != MAP_FAILED))
        Tell("munmap", munmap(map, 16) == 0);
    Tell("close", close(fd) == 0);
}

// A function that is merged into its caller would go by the caller's name.
__attribute__((noinline)) static void Devices(void) {
    const int port = open("/dev/ttyS0", O_RDWR);
    termios settings = {};
    int size = 0;
    Tell("ioctl", ioctl(port, FIONREAD, &size) == 0);
    const bool known = Tell("tcgetattr", tcgetattr(port, &settings) == 0);
    if (!known)
        tcgetattr(port, &settings);
    Tell("tcsetattr", tcsetattr(port, TCSANOW, &settings) == 0);
    Tell("tcflush", tcflush(port, TCIFLUSH) == 0);
    Tell("tcdrain", tcdrain(port) == 0);
    close(port);
}

static void Streams(void) {
    FILE* stream = fopen("/mnt/sdcard/probe.txt", "w+");
    char line[16] = "";
    if (Tell("fopen", stream != nullptr)) {
        Tell("setvbuf", setvbuf(stream, nullptr, _IOFBF, 1024) == 0);
        const bool written = Tell("fputs", fputs("line\n", stream) >= 0);
        rewind(stream);
        if (written)
            Tell("fgets", fgets(line, sizeof line, stream) != nullptr);
        Tell("fclose", fclose(stream) == 0);
    }
    FILE* pipe = popen("cat /proc/scsi/scsi", "r");
    if (Tell("popen", pipe != nullptr))
        Tell("pclose", pclose(pipe) >= 0);
    Tell("system", system("sync") == 0);
    DIR* folder = opendir("/mnt/sdcard");
    if (Tell("opendir", folder != nullptr)) {
        Tell("readdir", readdir(folder) != nullptr);
        Tell("closedir", closedir(folder) == 0);
    }
    Tell("access", access("/mnt/sdcard", F_OK) == 0);
    Tell("stat", stat("/mnt/sdcard", &status) == 0);
}

static void* Nothing(void* argument) {
    return argument;
}

static void TimeAndThreads(void) {
    timespec rest = {0, 5'000'000};
    Tell("nanosleep", nanosleep(&rest, &rest) == 0);
    Tell("select", SleepMs(5) == 0);
    const itimerval never = {};
    Tell("setitimer", setitimer(ITIMER_REAL, &never, nullptr) == 0);
    struct sigaction action = {};
    action.sa_handler = SIG_IGN;
    Tell("sigaction", sigaction(SIGUSR2, &action, nullptr) == 0);
    Tell("sysconf", sysconf(_SC_PAGESIZE) > 0);
    pthread_t thread = 0;
    const int made = pthread_create(&thread, nullptr, Nothing, nullptr);
    Tell("pthread_create", made);
    SleepMs(10);
    if (made == 0) {
        const int joined = pthread_tryjoin_np(thread, nullptr);
        Tell("pthread_tryjoin_np", joined);
        if (joined != 0)
            pthread_join(thread, nullptr);
    }
    const int there = pthread_mutex_init(&mutex, nullptr);
    Tell("pthread_mutex_init", there);
    if (there != 0)
        return;
    const int locked = pthread_mutex_trylock(&mutex);
    Tell("pthread_mutex_trylock", locked);
    if (locked == 0)
        pthread_mutex_unlock(&mutex);
    pthread_mutex_destroy(&mutex);
}

__attribute__((noinline)) static void LoseABlock(void) {
    block = malloc(77);
}

int main(void) {
    for (int turn = 0; turn < 3; ++turn) {
        Blocks();
        Descriptors();
        Devices();
        Streams();
        TimeAndThreads();
    }
    LoseABlock();
    Say("at %lld us", Microseconds());
    return 0;
}
