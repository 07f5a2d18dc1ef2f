// Uses every call that the simulator has to see, the way a program does; never run. Built plain, with checks
// (_FORTIFY_SOURCE) and with 64-bit file offsets.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

static char buffer[64];

static void Files(const char* path, int flags, size_t size) {
    int fd = open(path, flags);
    fd = open(path, O_CREAT | O_RDWR, 0644);
    fd = openat(AT_FDCWD, path, flags);
    fd = creat(path, 0644);
    read(fd, buffer, size);
    write(fd, buffer, size);
    lseek(fd, 0, SEEK_SET);
    fcntl(fd, F_SETFL, flags);
    ioctl(fd, 1, buffer);
    void* map = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
    munmap(map, size);
    fd = dup(fd);
    dup2(fd, 7);
    close(fd);
}

static void Paths(const char* path) {
    struct stat status = {};
    stat(path, &status);
    lstat(path, &status);
    fstat(0, &status);
    access(path, R_OK);
    unlink(path);
    remove(path);
    rename(path, path);
    mkdir(path, 0755);
    rmdir(path);
    closedir(opendir(path));
    fclose(fopen(path, "r"));
    pclose(popen(path, "r"));
    system(path);
}

static void Terminal(int fd) {
    termios settings = {};
    tcgetattr(fd, &settings);
    tcsetattr(fd, TCSANOW, &settings);
    tcflush(fd, TCIFLUSH);
    tcdrain(fd);
}

static void Waiting(int fd, size_t count) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    timeval timeout = {};
    select(fd + 1, &set, nullptr, nullptr, &timeout);
    pollfd polls[4] = {};
    poll(polls, count, 1);
    usleep(1);
    sleep(1);
    timespec time = {};
    nanosleep(&time, nullptr);
    clock_nanosleep(CLOCK_MONOTONIC, 0, &time, nullptr);
    clock_gettime(CLOCK_MONOTONIC, &time);
    gettimeofday(&timeout, nullptr);
    itimerval timer = {};
    setitimer(ITIMER_REAL, &timer, nullptr);
    printf("%ld", static_cast<long>(::time(nullptr)));
}

static void* Body(void* argument) {
    return argument;
}

static void Threads() {
    pthread_t thread = 0;
    pthread_create(&thread, nullptr, Body, nullptr);
    pthread_kill(thread, SIGUSR1);
    pthread_join(thread, nullptr);
    pthread_tryjoin_np(thread, nullptr);
    pthread_detach(thread);
    sched_yield();
    pthread_mutex_t mutex;
    pthread_cond_t condition;
    timespec time = {};
    pthread_mutex_init(&mutex, nullptr);
    pthread_mutex_lock(&mutex);
    pthread_mutex_trylock(&mutex);
    pthread_mutex_timedlock(&mutex, &time);
    pthread_cond_init(&condition, nullptr);
    pthread_cond_wait(&condition, &mutex);
    pthread_cond_timedwait(&condition, &mutex, &time);
    pthread_cond_signal(&condition);
    pthread_cond_broadcast(&condition);
    pthread_cond_destroy(&condition);
    pthread_mutex_unlock(&mutex);
    pthread_mutex_destroy(&mutex);
    struct sigaction action = {};
    sigaction(SIGTERM, &action, nullptr);
    signal(SIGINT, SIG_IGN);
}

int main(int count, char** arguments) {
    Files(arguments[0], count, static_cast<size_t>(count));
    Paths(arguments[0]);
    Terminal(count);
    Waiting(count, static_cast<size_t>(count));
    Threads();
    _exit(0);
}
