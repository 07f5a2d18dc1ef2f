#include "simulator/interpose/device_io.h"

#include <fcntl.h>
#include <string.h>

#include <algorithm>

#include "simulator/models/framebuffer.h"

namespace k905 {

namespace {

bool Writes(int flags) {
    return (flags & O_ACCMODE) != O_RDONLY;
}

int StandIn(Call& call, const OpenFile& file, int flags) {
    const int kept = flags & (O_ACCMODE | O_NONBLOCK | O_CLOEXEC);
    if (file.serial)
        return call->terminal.Open(kept);
    if (file.framebuffer)
        return Real().fcntl(call->Hardware().Screen().PixelFd(), F_DUPFD_CLOEXEC, 0);
    return Real().open("/dev/null", kept);
}

int OpenDevice(Call& call, const std::string& path, int flags) {
    DeviceNode* node = call->Hardware().Node(path);
    if (node == nullptr)
        return Fail(ENOENT);
    int error = 0;
    auto file = std::make_shared<OpenFile>();
    file->path = path;
    file->access = flags & O_ACCMODE;
    file->serial = path == "/dev/ttyS0";
    file->framebuffer = path == "/dev/fb0";
    file->device = node->Open(flags, error);
    if (file->device == nullptr)
        return Fail(error);
    const int fd = StandIn(call, *file, flags);
    if (fd >= 0)
        call->descriptors.Set(fd, file);
    return fd;
}

int OpenMapped(Call& call, const PathMap::Target& target, const char* path, int flags, mode_t mode) {
    const int error = StorageError(call, target, Writes(flags), (flags & O_CREAT) != 0);
    if (error != 0)
        return Fail(error);
    const int fd = Real().open(target.path.c_str(), flags, mode);
    if (fd >= 0) {
        auto file = std::make_shared<OpenFile>();
        file->path = path;
        file->access = flags & O_ACCMODE;
        call->descriptors.Set(fd, file);
    }
    return fd;
}

// How long the terminal's settings let a read wait (VMIN, VTIME).
struct Patience {
    size_t minimum = 1;       // bytes wanted before the read ends
    Micros between = kNever;  // longest pause after a byte
    Micros first = kNever;    // longest pause before the first byte
};

Patience TerminalPatience(int fd, size_t size) {
    Patience patience;
    termios settings = {};
    if (Real().tcgetattr(fd, &settings) != 0 || (settings.c_lflag & ICANON) != 0)
        return patience;
    const Micros time = settings.c_cc[VTIME] * Micros{100'000};
    patience.minimum = std::min<size_t>(settings.c_cc[VMIN], size);
    if (patience.minimum == 0)
        patience.first = time;
    else if (time != 0)
        patience.between = time;
    return patience;
}

}  // namespace

int StorageError(Call& call, const PathMap::Target& target, bool writes, bool creates) {
    if (target.kind != PathMap::Kind::kMapped || !writes ||
        target.path.find("/mnt/sdcard") == std::string::npos)
        return 0;
    if (call->Hardware().SdReadOnly())
        return EROFS;
    if (creates && call->Hardware().SdFull() && Real().access(target.path.c_str(), 0) != 0)
        return ENOSPC;
    return 0;
}

int OpenPath(Call& call, const char* path, int flags, mode_t mode) {
    const PathMap::Target target = call->paths.Route(path);
    call.Charge(cost::kFile);
    if (target.kind == PathMap::Kind::kHost) {
        const int fd = Real().open(path, flags, mode);
        call->descriptors.Set(fd, nullptr);
        return fd;
    }
    const int fd = target.kind == PathMap::Kind::kDevice ? OpenDevice(call, target.path, flags)
                                                         : OpenMapped(call, target, path, flags, mode);
    const int error = errno;
    call->Trace("file",
                std::string("file open ") + path + (fd < 0 ? std::string(": ") + strerror(error) : ""));
    errno = error;
    return fd;
}

ssize_t ReadDevice(Call& call, const std::shared_ptr<OpenFile>& file, int fd, void* buffer, size_t size) {
    const Patience patience = file->serial ? TerminalPatience(fd, size) : Patience();
    const std::function<Micros()> readyAt = [&] { return file->device->ReadableAt(); };
    const Micros start = call->Now();
    Micros lastByte = start;
    size_t count = 0;
    for (;;) {
        call.Charge(cost::kTransfer);
        const ssize_t moved = file->device->Read(static_cast<char*>(buffer) + count, size - count);
        if (moved < 0 && moved != -EAGAIN)
            return count > 0 ? static_cast<ssize_t>(count) : Fail(static_cast<int>(-moved));
        if (moved >= 0) {
            count += static_cast<size_t>(moved);
            lastByte = call->Now();
            if (moved == 0 || count >= patience.minimum)
                return static_cast<ssize_t>(count);
        }
        if ((Real().fcntl(fd, F_GETFL) & O_NONBLOCK) != 0)
            return count > 0 ? static_cast<ssize_t>(count) : Fail(EAGAIN);
        const Micros pause = count > 0 ? patience.between : patience.first;
        Waiting waiting;
        waiting.reason = "read";
        waiting.path = file->path;
        waiting.until = pause == kNever ? kNever : (count > 0 ? lastByte : start) + pause;
        waiting.readyAt = &readyAt;
        const Wake wake = call.Wait(waiting);
        if (wake == Wake::kTime)
            return static_cast<ssize_t>(count);
        if (wake != Wake::kInterrupted)
            continue;
        if (count > 0)
            return static_cast<ssize_t>(count);
        if (!PendingSignalsRestart(call.Self()))
            return Fail(EINTR);
        call.RunSignals();
    }
}

void WaitForDevice(Call& call, const OpenFile& file, const char* reason, Micros time) {
    if (time <= call->Now())
        return;
    Waiting waiting;
    waiting.reason = reason;
    waiting.path = file.path;
    waiting.until = time;
    waiting.interruptible = false;
    call.Wait(waiting);
}

Micros SleepFor(Call& call, Micros duration, const char* reason) {
    call.Charge(cost::kSleep);
    const Micros end = duration >= kNever - call->Now() ? kNever : call->Now() + duration;
    Waiting waiting;
    waiting.reason = reason;
    waiting.until = end;
    if (call.Wait(waiting) != Wake::kInterrupted)
        return 0;
    return std::max<Micros>(end - call->Now(), 0);
}

std::string DurationText(Micros duration) {
    return duration % 1000 == 0 ? std::to_string(duration / 1000) + " ms" : std::to_string(duration) + " us";
}

}  // namespace k905
