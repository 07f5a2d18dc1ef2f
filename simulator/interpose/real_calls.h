// The C library's own functions behind the entry points that this library defines. Everything inside the
// simulator that needs one of them by name goes through this table, so that nothing is routed twice.
#pragma once

#include <dirent.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>
#include <termios.h>
#include <time.h>

namespace k905 {

// name, result, arguments. One row a function; the table below and its look-up are made from this list.
#define K905_REAL_CALLS(CALL)                                                               \
    CALL(open, int, (const char*, int, ...))                                                \
    CALL(openat, int, (int, const char*, int, ...))                                         \
    CALL(close, int, (int))                                                                 \
    CALL(dup, int, (int))                                                                   \
    CALL(dup2, int, (int, int))                                                             \
    CALL(read, ssize_t, (int, void*, size_t))                                               \
    CALL(write, ssize_t, (int, const void*, size_t))                                        \
    CALL(lseek64, off64_t, (int, off64_t, int))                                             \
    CALL(ioctl, int, (int, unsigned long, ...))                                             \
    CALL(fcntl, int, (int, int, ...))                                                       \
    CALL(mmap64, void*, (void*, size_t, int, int, int, off64_t))                            \
    CALL(munmap, int, (void*, size_t))                                                      \
    CALL(select, int, (int, fd_set*, fd_set*, fd_set*, timeval*))                           \
    CALL(poll, int, (pollfd*, nfds_t, int))                                                 \
    CALL(tcgetattr, int, (int, termios*))                                                   \
    CALL(tcsetattr, int, (int, int, const termios*))                                        \
    CALL(tcflush, int, (int, int))                                                          \
    CALL(tcdrain, int, (int))                                                               \
    CALL(fopen, FILE*, (const char*, const char*))                                          \
    CALL(fopen64, FILE*, (const char*, const char*))                                        \
    CALL(fclose, int, (FILE*))                                                              \
    CALL(opendir, DIR*, (const char*))                                                      \
    CALL(stat, int, (const char*, struct stat*))                                            \
    CALL(lstat, int, (const char*, struct stat*))                                           \
    CALL(stat64, int, (const char*, struct stat64*))                                        \
    CALL(lstat64, int, (const char*, struct stat64*))                                       \
    CALL(fstat, int, (int, struct stat*))                                                   \
    CALL(fstat64, int, (int, struct stat64*))                                               \
    CALL(access, int, (const char*, int))                                                   \
    CALL(unlink, int, (const char*))                                                        \
    CALL(remove, int, (const char*))                                                        \
    CALL(rename, int, (const char*, const char*))                                           \
    CALL(mkdir, int, (const char*, mode_t))                                                 \
    CALL(rmdir, int, (const char*))                                                         \
    CALL(popen, FILE*, (const char*, const char*))                                          \
    CALL(pclose, int, (FILE*))                                                              \
    CALL(system, int, (const char*))                                                        \
    CALL(usleep, int, (useconds_t))                                                         \
    CALL(sleep, unsigned, (unsigned))                                                       \
    CALL(nanosleep, int, (const timespec*, timespec*))                                      \
    CALL(clock_nanosleep, int, (clockid_t, int, const timespec*, timespec*))                \
    CALL(clock_gettime, int, (clockid_t, timespec*))                                        \
    CALL(gettimeofday, int, (timeval*, void*))                                              \
    CALL(time, time_t, (time_t*))                                                           \
    CALL(sched_yield, int, (void))                                                          \
    CALL(pthread_create, int, (pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)) \
    CALL(pthread_join, int, (pthread_t, void**))                                            \
    CALL(pthread_tryjoin_np, int, (pthread_t, void**))                                      \
    CALL(pthread_detach, int, (pthread_t))                                                  \
    CALL(pthread_kill, int, (pthread_t, int))                                               \
    CALL(pthread_mutex_init, int, (pthread_mutex_t*, const pthread_mutexattr_t*))           \
    CALL(pthread_mutex_destroy, int, (pthread_mutex_t*))                                    \
    CALL(pthread_mutex_lock, int, (pthread_mutex_t*))                                       \
    CALL(pthread_mutex_trylock, int, (pthread_mutex_t*))                                    \
    CALL(pthread_mutex_timedlock, int, (pthread_mutex_t*, const timespec*))                 \
    CALL(pthread_mutex_unlock, int, (pthread_mutex_t*))                                     \
    CALL(pthread_cond_init, int, (pthread_cond_t*, const pthread_condattr_t*))              \
    CALL(pthread_cond_destroy, int, (pthread_cond_t*))                                      \
    CALL(pthread_cond_wait, int, (pthread_cond_t*, pthread_mutex_t*))                       \
    CALL(pthread_cond_timedwait, int, (pthread_cond_t*, pthread_mutex_t*, const timespec*)) \
    CALL(pthread_cond_signal, int, (pthread_cond_t*))                                       \
    CALL(pthread_cond_broadcast, int, (pthread_cond_t*))                                    \
    CALL(setitimer, int, (__itimer_which_t, const itimerval*, itimerval*))                  \
    CALL(sigaction, int, (int, const struct sigaction*, struct sigaction*))                 \
    CALL(_exit, void, (int))

struct RealCalls {
// NOLINTNEXTLINE(bugprone-macro-parentheses): a declaration, not an expression
#define K905_MEMBER(name, result, arguments) result(*name) arguments = nullptr;
    K905_REAL_CALLS(K905_MEMBER)
#undef K905_MEMBER
};

extern RealCalls realCalls;
extern bool realCallsFilled;
void FillRealCalls();

// The table, filled at the first call (from whichever thread or constructor comes first).
inline const RealCalls& Real() {
    if (!__atomic_load_n(&realCallsFilled, __ATOMIC_ACQUIRE))
        FillRealCalls();
    return realCalls;
}

}  // namespace k905
