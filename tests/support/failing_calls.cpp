#include "tests/support/failing_calls.h"

#include <dirent.h>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stddef.h>
#include <string.h>
#include <sys/types.h>

#include <atomic>
#include <utility>

#include "tests/support/redirected_paths.h"

namespace {

thread_local bool counting = false;
thread_local int calls = 0;
thread_local int failAt = 0;
thread_local const char* failedName = "";
thread_local test::IoctlAnswer::Answer ioctlAnswer;

// What FailingCallsOfAllThreads wants.
struct {
    std::atomic<bool> counting;
    std::atomic<int> calls;
    std::atomic<int> failAt;
    std::atomic<int> times;
    std::atomic<const char*> name;
    std::atomic<const char*> failedName;
} everywhere;

bool MustFailEverywhere(const char* name) {
    if (!everywhere.counting || (everywhere.name != nullptr && strcmp(name, everywhere.name) != 0))
        return false;
    const int call = ++everywhere.calls;
    if (call == everywhere.failAt)
        everywhere.failedName = name;
    return call >= everywhere.failAt && call - everywhere.failAt < everywhere.times;
}

// True when this call is the one to fail.
bool MustFail(const char* name) {
    if (MustFailEverywhere(name))
        return true;
    if (!counting || ++calls != failAt)
        return false;
    failedName = name;
    return true;
}

}  // namespace

namespace test {

FailingCalls::FailingCalls(int n) {
    calls = 0;
    failAt = n;
    failedName = "";
    counting = true;
}

FailingCalls::~FailingCalls() {
    counting = false;
}

int FailingCalls::Count() const {
    return calls;
}

const char* FailingCalls::Failed() const {
    return failedName;
}

int FailingCalls::OpenDescriptors() {
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (dir != nullptr && readdir(dir) != nullptr)
        ++count;
    if (dir != nullptr)
        closedir(dir);
    return count;
}

FailingCallsOfAllThreads::FailingCallsOfAllThreads(int n, int times, const char* name) {
    everywhere.calls = 0;
    everywhere.failAt = n;
    everywhere.times = times;
    everywhere.name = name;
    everywhere.failedName = "";
    everywhere.counting = true;
}

FailingCallsOfAllThreads::~FailingCallsOfAllThreads() {
    everywhere.counting = false;
}

const char* FailingCallsOfAllThreads::Failed() const {
    return everywhere.failedName;
}

IoctlAnswer::IoctlAnswer(Answer answer) {
    ioctlAnswer = std::move(answer);
}

IoctlAnswer::~IoctlAnswer() {
    ioctlAnswer = nullptr;
}

}  // namespace test

extern "C" {

void* __real_malloc(size_t);
void* __real_calloc(size_t, size_t);
void* __real_realloc(void*, size_t);
char* __real_strdup(const char*);
int __real_open(const char*, int, ...);
ssize_t __real_read(int, void*, size_t);
struct dirent* __real_readdir(DIR*);
long __real_sysconf(int);
int __real_sigaction(int, const struct sigaction*, struct sigaction*);
off_t __real_lseek(int, off_t, int);
int __real_close(int);
int __real_ioctl(int, unsigned long, ...);
void* __real_mmap(void*, size_t, int, int, int, off_t);
int __real_munmap(void*, size_t);
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __real_pthread_mutex_init(pthread_mutex_t*, const pthread_mutexattr_t*);

void* __wrap_malloc(size_t size) {
    return MustFail("malloc") ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(size_t count, size_t size) {
    return MustFail("calloc") ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, size_t size) {
    return MustFail("realloc") ? nullptr : __real_realloc(block, size);
}

char* __wrap_strdup(const char* text) {
    return MustFail("strdup") ? nullptr : __real_strdup(text);
}

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    if (MustFail("open")) {
        errno = EMFILE;
        return -1;
    }
    return __real_open(test::RedirectedPaths::Of(path), flags, mode);
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    if (MustFail("read")) {
        errno = EIO;
        return -1;
    }
    return __real_read(fd, buffer, size);
}

struct dirent* __wrap_readdir(DIR* dir) {
    if (MustFail("readdir")) {
        errno = EIO;
        return nullptr;
    }
    return __real_readdir(dir);
}

long __wrap_sysconf(int name) {
    if (MustFail("sysconf")) {
        errno = EINVAL;
        return -1;
    }
    return __real_sysconf(name);
}

int __wrap_sigaction(int signal, const struct sigaction* action, struct sigaction* previous) {
    if (MustFail("sigaction")) {
        errno = EINVAL;
        return -1;
    }
    return __real_sigaction(signal, action, previous);
}

off_t __wrap_lseek(int fd, off_t offset, int whence) {
    if (MustFail("lseek")) {
        errno = EIO;
        return -1;
    }
    return __real_lseek(fd, offset, whence);
}

// A close that fails has still given the descriptor back, as on Linux.
int __wrap_close(int fd) {
    if (MustFail("close")) {
        __real_close(fd);
        errno = EIO;
        return -1;
    }
    return __real_close(fd);
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (MustFail("ioctl")) {
        errno = EIO;
        return -1;
    }
    if (ioctlAnswer)
        return ioctlAnswer(fd, request, argument);
    return __real_ioctl(fd, request, argument);
}

void* __wrap_mmap(void* address, size_t size, int protection, int flags, int fd, off_t offset) {
    if (MustFail("mmap")) {
        errno = ENOMEM;
        return reinterpret_cast<void*>(-1);
    }
    return __real_mmap(address, size, protection, flags, fd, offset);
}

int __wrap_munmap(void* address, size_t size) {
    if (MustFail("munmap")) {
        __real_munmap(address, size);
        errno = EINVAL;
        return -1;
    }
    return __real_munmap(address, size);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument) {
    return MustFail("pthread_create") ? EAGAIN : __real_pthread_create(thread, attributes, entry, argument);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    return MustFail("pthread_mutex_init") ? ENOMEM : __real_pthread_mutex_init(mutex, attributes);
}

}  // extern "C"
