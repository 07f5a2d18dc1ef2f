// Entry points: streams and the shell. Commands of the product act on the virtual instrument, never on the
// host.
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "simulator/interpose/call.h"
#include "simulator/interpose/device_io.h"

using namespace k905;

namespace {

// open() flags of an fopen() mode; -1 when the mode is none.
int OpenFlags(const char* mode) {
    const bool both = strchr(mode, '+') != nullptr;
    switch (mode[0]) {
        case 'r':
            return both ? O_RDWR : O_RDONLY;
        case 'w':
            return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
        case 'a':
            return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
        default:
            return -1;
    }
}

// A stream on a device reads and writes through the entry points, as the C library would.
extern "C" ssize_t k905_entry_read(int, void*, size_t) __asm__("read");
extern "C" ssize_t k905_entry_write(int, const void*, size_t) __asm__("write");
extern "C" int k905_entry_close(int) __asm__("close");

int Descriptor(void* cookie) {
    return static_cast<int>(reinterpret_cast<intptr_t>(cookie));
}

FILE* DeviceStream(int fd, const char* mode) {
    cookie_io_functions_t functions = {};
    functions.read = [](void* cookie, char* buffer, size_t size) {
        return k905_entry_read(Descriptor(cookie), buffer, size);
    };
    functions.write = [](void* cookie, const char* buffer, size_t size) {
        const ssize_t moved = k905_entry_write(Descriptor(cookie), buffer, size);
        return moved < 0 ? 0 : moved;
    };
    functions.close = [](void* cookie) { return k905_entry_close(Descriptor(cookie)); };
    return fopencookie(reinterpret_cast<void*>(static_cast<intptr_t>(fd)), mode, functions);
}

FILE* OpenStream(const char* path, const char* mode, FILE* (*real)(const char*, const char*)) {
    Call call;
    if (!call || path == nullptr || mode == nullptr)
        return real(path, mode);
    const PathMap::Target target = call->paths.Route(path);
    const int flags = OpenFlags(mode);
    if (target.kind == PathMap::Kind::kHost || flags < 0) {
        call.Charge(cost::kFile);
        return real(path, mode);
    }
    if (target.kind == PathMap::Kind::kDevice) {
        const int fd = OpenPath(call, path, flags, 0666);
        return fd < 0 ? nullptr : DeviceStream(fd, mode);
    }
    call.Charge(cost::kFile);
    const bool writes = (flags & O_ACCMODE) != O_RDONLY;
    const int refused = StorageError(call, target, writes, (flags & O_CREAT) != 0);
    // What is written to a full card is refused as it leaves the stream's buffer.
    const bool full = writes && refused == 0 && call->WriteError(path) != 0;
    FILE* stream = refused != 0 ? nullptr : real(full ? "/dev/full" : target.path.c_str(), mode);
    const int error = refused != 0 ? refused : errno;
    call->Trace("file", std::string("file open ") + path +
                            (stream == nullptr ? std::string(": ") + strerror(error) : ""));
    errno = error;
    return stream;
}

// Runs a command of the product on the instrument. Its wait status, as wait() would give it.
int RunCommand(Call& call, const char* command, std::string& output) {
    Waiting waiting;
    waiting.reason = "shell";
    waiting.path = command;
    waiting.until = call->Now() + cost::kShell;
    waiting.interruptible = false;
    call.Wait(waiting);
    const int status = call->Hardware().Shell(command, output);
    call->Running().DevicesChanged();
    return (status & 0xff) << 8;
}

void WriteAll(int fd, const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const ssize_t moved = Real().write(fd, text.data() + at, text.size() - at);
        if (moved <= 0)
            return;
        at += static_cast<std::size_t>(moved);
    }
}

}  // namespace

K905_ENTRY(FILE*, fopen, (const char* path, const char* mode)) {
    return OpenStream(path, mode, Real().fopen);
}

K905_ENTRY(FILE*, fopen64, (const char* path, const char* mode)) {
    return OpenStream(path, mode, Real().fopen64);
}

// A stream on a device closes its descriptor through the entry point, so this one is handed on without the
// lock.
K905_ENTRY(int, fclose, (FILE * stream)) {
    {
        Call call;
        if (call)
            call.Charge(cost::kFile);
    }
    return Real().fclose(stream);
}

K905_ENTRY(int, system, (const char* command)) {
    Call call;
    if (!call)
        return Real().system(command);
    if (command == nullptr)
        return 1;
    std::string output;
    const int status = RunCommand(call, command, output);
    call.Release();
    WriteAll(STDOUT_FILENO, output);
    return status;
}

K905_ENTRY(FILE*, popen, (const char* command, const char* mode)) {
    Call call;
    if (!call)
        return Real().popen(command, mode);
    if (command == nullptr || mode == nullptr || (mode[0] != 'r' && mode[0] != 'w')) {
        errno = EINVAL;
        return nullptr;
    }
    std::string output;
    const int status = RunCommand(call, command, output);
    const int fd = memfd_create("k905-pipe", MFD_CLOEXEC);
    if (fd < 0)
        return nullptr;
    if (mode[0] == 'r') {
        WriteAll(fd, output);
        Real().lseek64(fd, 0, SEEK_SET);
    }
    FILE* stream = fdopen(fd, mode[0] == 'r' ? "r" : "w");
    if (stream == nullptr)
        Real().close(fd);
    else
        call->pipes[stream] = status;
    return stream;
}

K905_ENTRY(int, pclose, (FILE * stream)) {
    Call call;
    if (!call)
        return Real().pclose(stream);
    const auto found = call->pipes.find(stream);
    if (found == call->pipes.end())
        return Fail(ECHILD);
    const int status = found->second;
    call->pipes.erase(found);
    call.Charge(cost::kFile);
    Real().fclose(stream);
    return status;
}
