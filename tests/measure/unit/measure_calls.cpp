#include "tests/measure/unit/measure_calls.h"

#include <pthread.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <time.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace test {

namespace {
MeasureCalls* current = nullptr;
std::vector<std::string> attempts;
constexpr long kLook = 100;  // microseconds
}  // namespace

MeasureCalls::MeasureCalls() : outer_(current) {
    std::string folder = (std::filesystem::temp_directory_path() / "k905-measure-XXXXXX").string();
    folder_ = mkdtemp(folder.data());
    for (const char* mount : {"/mnt/usb", "/mnt/sdcard"})
        std::filesystem::create_directories(folder_ + mount);
    current = this;
}

MeasureCalls::~MeasureCalls() {
    current = outer_;
    std::filesystem::remove_all(folder_);
}

void MeasureCalls::TakeOut(const std::string& mount) const {
    std::filesystem::remove_all(folder_ + mount);
}

void MeasureCalls::Block(const std::string& path) const {
    std::filesystem::create_directories(folder_ + path);
}

std::string MeasureCalls::Content(const std::string& path) const {
    const std::ifstream file(folder_ + path);
    if (!file)
        return "(none)";
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

int MeasureCalls::Attempts(const std::string& prefix) {
    return static_cast<int>(std::count_if(attempts.begin(), attempts.end(), [&](const std::string& path) {
        return path.compare(0, prefix.size(), prefix) == 0;
    }));
}

struct MeasuredCalls {
    static void Ioctl(unsigned long request, const void* argument) {
        if (current == nullptr)
            return;
        if (request == 0xc004f002ul && current->onSamples)
            current->onSamples(++current->acquisitions_);
        if (request != 0xc004f000ul && request != 0xc004f001ul)
            return;
        uint16_t words[2] = {};
        memcpy(words, argument, sizeof(words));
        if (request == 0xc004f001ul && current->onWrite)
            current->onWrite(0x30000000u + 2u * words[0], words[1]);
        if (request != 0xc004f000ul || words[0] != 0x2e / 2)
            return;
        current->now_ += kLook;
        if (current->onStatus)
            current->onStatus();
    }

    static void Select(int count, const timeval* timeout) {
        if (current == nullptr || count != 0)
            return;
        const long microseconds = timeout->tv_sec * 1000000L + timeout->tv_usec;
        current->now_ += microseconds;
        if (current->onSleep)
            current->onSleep(microseconds / 1000);
    }

    // False: the clock of the machine.
    static bool Clock(timespec* time) {
        if (current == nullptr)
            return false;
        time->tv_sec = static_cast<time_t>(current->now_ / 1000000);
        time->tv_nsec = static_cast<long>(current->now_ % 1000000 * 1000);
        return true;
    }

    static int Thread() { return current != nullptr && current->onThread ? current->onThread() : 0; }

    static std::string Open(const char* path, const char* mode) {
        if (current == nullptr || strncmp(path, "/mnt/", 5) != 0)
            return path;
        attempts.emplace_back(path);
        current->opened.push_back(std::string(mode) + " " + path);
        return current->folder_ + path;
    }
};

}  // namespace test

extern "C" {

int recorder_ioctl(int fd, unsigned long request, ...);
int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    test::MeasuredCalls::Ioctl(request, argument);
    return recorder_ioctl(fd, request, argument);
}

int recorder_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout);
int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout) {
    test::MeasuredCalls::Select(count, timeout);
    return recorder_select(count, readable, writable, failed, timeout);
}

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
    return __real_fopen(test::MeasuredCalls::Open(path, mode).c_str(), mode);
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* kind, void* (*entry)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* kind, void* (*entry)(void*),
                          void* argument) {
    const int result = test::MeasuredCalls::Thread();
    return result != 0 ? result : __real_pthread_create(thread, kind, entry, argument);
}

int __real_clock_gettime(clockid_t clock, timespec* time);
int __wrap_clock_gettime(clockid_t clock, timespec* time) {
    if (clock == CLOCK_MONOTONIC && test::MeasuredCalls::Clock(time))
        return 0;
    return __real_clock_gettime(clock, time);
}

// One thread at a time may call the recorder: who joins does not sleep in between.
int __wrap_pthread_tryjoin_np(pthread_t thread, void** result) {
    return pthread_join(thread, result);
}

}  // extern "C"
