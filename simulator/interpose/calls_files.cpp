// Entry points: open, close, read, write, lseek, fcntl, dup, and their 64-bit and fortified names.
#include <fcntl.h>
#include <stdarg.h>

#include "simulator/interpose/call.h"
#include "simulator/interpose/device_io.h"

using namespace k905;

namespace {

constexpr int kTakesMode = O_CREAT | O_TMPFILE;

int OpenAt(int directory, const char* path, int flags, mode_t mode) {
    Call call;
    if (!call)
        return Real().openat(directory, path, flags, mode);
    if (directory == AT_FDCWD || (path != nullptr && path[0] == '/'))
        return OpenPath(call, path, flags, mode);
    call.Charge(cost::kFile);
    const int fd = Real().openat(directory, path, flags, mode);
    call->descriptors.Set(fd, nullptr);
    return fd;
}

ssize_t Read(int fd, void* buffer, size_t size) {
    Call call;
    if (!call)
        return Real().read(fd, buffer, size);
    const auto file = call->descriptors.Find(fd);
    if (file != nullptr && file->device != nullptr)
        return file->access == O_WRONLY ? Fail(EBADF) : ReadDevice(call, file, fd, buffer, size);
    call.Charge(cost::kTransfer);
    call.Release();
    return Real().read(fd, buffer, size);
}

off64_t Seek(int fd, off64_t offset, int whence) {
    Call call;
    if (!call)
        return Real().lseek64(fd, offset, whence);
    const auto file = call->descriptors.Find(fd);
    call.Charge(cost::kTransfer);
    if (file == nullptr || file->device == nullptr)
        return Real().lseek64(fd, offset, whence);
    const off_t result = file->device->Seek(static_cast<off_t>(offset), whence);
    return result < 0 ? Fail(static_cast<int>(-result)) : result;
}

// A second descriptor of the same open file.
int Duplicated(Call& call, int from, int to) {
    if (to >= 0)
        call->descriptors.Set(to, call->descriptors.Find(from));
    return to;
}

int Fcntl(int fd, int command, long argument) {
    Call call;
    if (!call)
        return Real().fcntl(fd, command, argument);
    call.Charge(cost::kClock);
    const int result = Real().fcntl(fd, command, argument);
    return command == F_DUPFD || command == F_DUPFD_CLOEXEC ? Duplicated(call, fd, result) : result;
}

mode_t ModeArgument(int flags, va_list arguments) {
    return (flags & kTakesMode) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

K905_ENTRY(int, open, (const char* path, int flags, ...)) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeArgument(flags, arguments);
    va_end(arguments);
    return OpenAt(AT_FDCWD, path, flags, mode);
}

K905_ENTRY(int, open64, (const char* path, int flags, ...)) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeArgument(flags, arguments);
    va_end(arguments);
    return OpenAt(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}

K905_ENTRY(int, openat, (int directory, const char* path, int flags, ...)) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeArgument(flags, arguments);
    va_end(arguments);
    return OpenAt(directory, path, flags, mode);
}

K905_ENTRY(int, openat64, (int directory, const char* path, int flags, ...)) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeArgument(flags, arguments);
    va_end(arguments);
    return OpenAt(directory, path, flags | O_LARGEFILE, mode);
}

K905_ENTRY(int, __open_2, (const char* path, int flags)) {
    return OpenAt(AT_FDCWD, path, flags, 0);
}

K905_ENTRY(int, __open64_2, (const char* path, int flags)) {
    return OpenAt(AT_FDCWD, path, flags | O_LARGEFILE, 0);
}

K905_ENTRY(int, __openat_2, (int directory, const char* path, int flags)) {
    return OpenAt(directory, path, flags, 0);
}

K905_ENTRY(int, __openat64_2, (int directory, const char* path, int flags)) {
    return OpenAt(directory, path, flags | O_LARGEFILE, 0);
}

K905_ENTRY(int, creat, (const char* path, mode_t mode)) {
    return OpenAt(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

K905_ENTRY(int, creat64, (const char* path, mode_t mode)) {
    return OpenAt(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC | O_LARGEFILE, mode);
}

K905_ENTRY(int, close, (int fd)) {
    Call call;
    if (!call)
        return Real().close(fd);
    call.Charge(cost::kFile);
    const auto file = call->descriptors.Find(fd);
    call->descriptors.Set(fd, nullptr);
    if (file != nullptr)
        call->Trace("file", "file close " + file->path);
    return Real().close(fd);
}

K905_ENTRY(int, dup, (int fd)) {
    Call call;
    if (!call)
        return Real().dup(fd);
    call.Charge(cost::kFile);
    return Duplicated(call, fd, Real().dup(fd));
}

K905_ENTRY(int, dup2, (int fd, int to)) {
    Call call;
    if (!call)
        return Real().dup2(fd, to);
    call.Charge(cost::kFile);
    return Duplicated(call, fd, Real().dup2(fd, to));
}

K905_ENTRY(ssize_t, read, (int fd, void* buffer, size_t size)) {
    return Read(fd, buffer, size);
}

K905_ENTRY(ssize_t, __read_chk, (int fd, void* buffer, size_t size, size_t room)) {
    if (size > room)
        abort();
    return Read(fd, buffer, size);
}

K905_ENTRY(ssize_t, write, (int fd, const void* buffer, size_t size)) {
    Call call;
    if (!call)
        return Real().write(fd, buffer, size);
    call.Charge(cost::kTransfer);
    const auto file = call->descriptors.Find(fd);
    if (file != nullptr && file->device != nullptr) {
        if (file->access == O_RDONLY)
            return Fail(EBADF);
        const ssize_t moved = file->device->Write(buffer, size);
        call->Running().DevicesChanged();
        return moved < 0 ? Fail(static_cast<int>(-moved)) : moved;
    }
    const int error = file != nullptr ? call->WriteError(file->path) : 0;
    if (error != 0)
        return Fail(error);
    call.Release();
    return Real().write(fd, buffer, size);
}

K905_ENTRY(off_t, lseek, (int fd, off_t offset, int whence)) {
    const off64_t result = Seek(fd, offset, whence);
    return static_cast<off_t>(result) == result ? static_cast<off_t>(result) : Fail(EOVERFLOW);
}

K905_ENTRY(off64_t, lseek64, (int fd, off64_t offset, int whence)) {
    return Seek(fd, offset, whence);
}

K905_ENTRY(int, fcntl, (int fd, int command, ...)) {
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    return Fcntl(fd, command, argument);
}

K905_ENTRY(int, fcntl64, (int fd, int command, ...)) {
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    return Fcntl(fd, command, argument);
}
