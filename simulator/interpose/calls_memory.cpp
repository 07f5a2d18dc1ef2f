// Entry points: ioctl, mmap and munmap, which reach the drivers and the pixel memory.
#include <stdarg.h>

#include "simulator/interpose/call.h"
#include "simulator/interpose/device_io.h"

using namespace k905;

namespace {

void* Map(void* address, size_t size, int protection, int flags, int fd, off64_t offset) {
    Call call;
    if (!call)
        return Real().mmap64(address, size, protection, flags, fd, offset);
    call.Charge(cost::kFile);
    const auto file = call->descriptors.Find(fd);
    if (file != nullptr && file->device != nullptr && !file->framebuffer && (flags & MAP_ANONYMOUS) == 0) {
        errno = ENODEV;
        return MAP_FAILED;
    }
    return Real().mmap64(address, size, protection, flags, fd, offset);
}

}  // namespace

K905_ENTRY(int, ioctl, (int fd, unsigned long request, ...)) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    Call call;
    if (!call)
        return Real().ioctl(fd, request, argument);
    call.Charge(cost::kIoctl);
    const auto file = call->descriptors.Find(fd);
    if (file == nullptr || file->device == nullptr) {
        call.Release();
        return Real().ioctl(fd, request, argument);
    }
    const int result = file->device->Ioctl(request, argument);
    if (result == -ENOTTY && file->serial)
        return Real().ioctl(fd, request, argument);
    if (!file->serial)
        WaitForDevice(call, *file, "ioctl", file->device->DrainedAt());
    return result < 0 ? Fail(-result) : result;
}

K905_ENTRY(void*, mmap, (void* address, size_t size, int protection, int flags, int fd, off_t offset)) {
    return Map(address, size, protection, flags, fd, offset);
}

K905_ENTRY(void*, mmap64, (void* address, size_t size, int protection, int flags, int fd, off64_t offset)) {
    return Map(address, size, protection, flags, fd, offset);
}

K905_ENTRY(int, munmap, (void* address, size_t size)) {
    Call call;
    if (!call)
        return Real().munmap(address, size);
    call.Charge(cost::kFile);
    return Real().munmap(address, size);
}
