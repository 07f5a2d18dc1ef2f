#include "tests/fuzz/input_device.h"

#include <errno.h>
#include <stdarg.h>
#include <string.h>
#include <sys/select.h>
#include <sys/types.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

namespace fuzz {

namespace {

InputDevice* current = nullptr;

// Above all that the process has, and what a descriptor set can hold.
constexpr int kFirstDescriptor = 1000;
static_assert(kFirstDescriptor + 4 < FD_SETSIZE);

// What the byte before a call of a stream tells: from here on it fails, of a signal or for good; below it is
// the most that is transferred.
constexpr uint8_t kInterrupted = 0xF0;
constexpr uint8_t kBroken = 0xF8;

int Fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

InputDevice::InputDevice(Kind kind, const uint8_t* bytes, size_t size, void (*atEnd)())
    : kind_(kind), bytes_(bytes), size_(size), atEnd_(atEnd), rest_(bytes, size) {
    current = this;
}

InputDevice::~InputDevice() {
    current = nullptr;
}

int InputDevice::Open() const {
    return static_cast<int>(std::count(std::begin(open_), std::end(open_), true));
}

// The program's calls, while there is a device.
struct Calls {
    static bool Ours(int fd) {
        return current != nullptr && fd >= kFirstDescriptor &&
               fd < kFirstDescriptor + InputDevice::kDescriptors && current->open_[fd - kFirstDescriptor];
    }

    static int Open() {
        for (int i = 0; i < InputDevice::kDescriptors; ++i) {
            if (current->open_[i])
                continue;
            current->open_[i] = true;
            current->offset_[i] = 0;
            return kFirstDescriptor + i;
        }
        return Fail(EMFILE);
    }

    static int Close(int fd) {
        current->open_[fd - kFirstDescriptor] = false;
        return 0;
    }

    // How the next call of a stream comes out: the bytes that it may transfer, or -1 with errno.
    static long Outcome() {
        if (current->AtEnd()) {
            if (current->atEnd_ != nullptr)
                current->atEnd_();
            return Fail(EIO);
        }
        const uint8_t outcome = current->rest_.Byte();
        return outcome >= kInterrupted ? Fail(outcome >= kBroken ? EIO : EINTR) : outcome;
    }

    static long ReadStream(void* buffer, size_t size) {
        current->readCount_ = Outcome();
        if (current->readCount_ < 0)
            return -1;
        size = std::min({size, static_cast<size_t>(current->readCount_), current->rest_.Left()});
        current->read_ = current->rest_.Take(size);
        memcpy(buffer, current->read_, size);
        return current->readCount_ = static_cast<long>(size);
    }

    static long Read(int fd, void* buffer, size_t size) {
        if (current->kind_ == InputDevice::kStream)
            return ReadStream(buffer, size);
        size_t& offset = current->offset_[fd - kFirstDescriptor];
        size = offset < current->size_ ? std::min(size, current->size_ - offset) : 0;
        memcpy(buffer, current->bytes_ + offset, size);
        offset += size;
        return static_cast<long>(size);
    }

    static long Write(const void* bytes, size_t size) {
        const long outcome = current->AtEnd() ? static_cast<long>(size) : Outcome();
        if (outcome < 0)
            return current->writtenCount_ = -1;
        size = std::min(size, static_cast<size_t>(outcome));
        memcpy(current->written_, bytes, std::min(size, sizeof current->written_));
        return current->writtenCount_ = static_cast<long>(size);
    }

    static off_t Seek(int fd, off_t offset, int whence) {
        if (current->kind_ == InputDevice::kStream)
            return 0;
        size_t& at = current->offset_[fd - kFirstDescriptor];
        const size_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? at : current->size_;
        const off_t result = static_cast<off_t>(from) + offset;
        if (result < 0)
            return Fail(EINVAL);
        at = static_cast<size_t>(result);
        return result;
    }

    // 0: in vain. The descriptors stay as they were asked for.
    static int Wait(int count) {
        if (count == 0 || current->AtEnd())
            return 0;
        const long outcome = Outcome();
        return outcome > 0 ? 1 : static_cast<int>(outcome);
    }
};

}  // namespace fuzz

using fuzz::Calls;

// CALL of the program with these arguments: the device's while it has this descriptor, else the system's.
#define ON_DESCRIPTOR(RESULT, CALL, PARAMETERS, ARGUMENTS, OURS) \
    extern "C" {                                                 \
    RESULT __real_##CALL PARAMETERS;                             \
    RESULT __wrap_##CALL PARAMETERS;                             \
    RESULT __wrap_##CALL PARAMETERS {                            \
        if (Calls::Ours(fd))                                     \
            return OURS;                                         \
        return __real_##CALL ARGUMENTS;                          \
    }                                                            \
    }

ON_DESCRIPTOR(int, close, (int fd), (fd), Calls::Close(fd))
ON_DESCRIPTOR(ssize_t, read, (int fd, void* buffer, size_t size), (fd, buffer, size),
              Calls::Read(fd, buffer, size))
ON_DESCRIPTOR(ssize_t, write, (int fd, const void* bytes, size_t size), (fd, bytes, size),
              Calls::Write(bytes, size))
ON_DESCRIPTOR(off_t, lseek, (int fd, off_t offset, int whence), (fd, offset, whence),
              Calls::Seek(fd, offset, whence))
ON_DESCRIPTOR(int, tcgetattr, (int fd, termios* settings), (fd, settings), 0)
ON_DESCRIPTOR(int, tcsetattr, (int fd, int when, const termios* settings), (fd, when, settings), 0)
ON_DESCRIPTOR(int, tcflush, (int fd, int queue), (fd, queue), 0)
ON_DESCRIPTOR(int, tcdrain, (int fd), (fd), 0)

extern "C" {

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...);
int __real_fcntl(int fd, int command, ...);
int __wrap_fcntl(int fd, int command, ...);
int __real_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout);
int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout);
int __real_nanosleep(const timespec* pause, timespec* rest);
int __wrap_nanosleep(const timespec* pause, timespec* rest);

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    return fuzz::current != nullptr ? Calls::Open() : __real_open(path, flags, mode);
}

int __wrap_fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return Calls::Ours(fd) ? 0 : __real_fcntl(fd, command, argument);
}

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout) {
    return fuzz::current != nullptr ? Calls::Wait(count)
                                    : __real_select(count, readable, writable, failed, timeout);
}

int __wrap_nanosleep(const timespec* pause, timespec* rest) {
    return fuzz::current != nullptr ? 0 : __real_nanosleep(pause, rest);
}

}  // extern "C"
