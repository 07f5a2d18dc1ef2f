// Entry points: everything else that takes a path.
#include "simulator/interpose/call.h"
#include "simulator/interpose/device_io.h"

using namespace k905;

namespace {

// A node of the instrument looks like any character device; one that is not there does not exist.
const char* const kAnyCharacterDevice = "/dev/null";

// Calls `real` with the path as the host knows it. `Failed` is what a refused path gives.
template <typename Result, typename Function>
Result OnPath(const char* path, Result failed, Function real) {
    Call call;
    if (!call)
        return real(path);
    call.Charge(cost::kFile);
    const PathMap::Target target = call->paths.Route(path);
    if (target.kind == PathMap::Kind::kHost)
        return real(path);
    if (target.kind == PathMap::Kind::kMapped)
        return real(target.path.c_str());
    if (!call->Hardware().Present(target.path)) {
        errno = ENOENT;
        return failed;
    }
    return real(kAnyCharacterDevice);
}

// The same for calls that change the directory; devices cannot be made, removed or renamed by the product.
template <typename Function>
int OnChangedPath(const char* path, Function real) {
    Call call;
    if (!call)
        return real(path);
    call.Charge(cost::kFile);
    const PathMap::Target target = call->paths.Route(path);
    if (target.kind == PathMap::Kind::kHost)
        return real(path);
    if (target.kind == PathMap::Kind::kDevice)
        return Fail(EPERM);
    const int error = StorageError(call, target, true, false);
    return error != 0 ? Fail(error) : real(target.path.c_str());
}

}  // namespace

K905_ENTRY(DIR*, opendir, (const char* path)) {
    return OnPath<DIR*>(path, nullptr, [](const char* host) { return Real().opendir(host); });
}

K905_ENTRY(int, access, (const char* path, int mode)) {
    return OnPath(path, -1, [mode](const char* host) { return Real().access(host, mode); });
}

K905_ENTRY(int, stat, (const char* path, struct stat* status)) {
    return OnPath(path, -1, [status](const char* host) { return Real().stat(host, status); });
}

K905_ENTRY(int, lstat, (const char* path, struct stat* status)) {
    return OnPath(path, -1, [status](const char* host) { return Real().lstat(host, status); });
}

K905_ENTRY(int, stat64, (const char* path, struct stat64* status)) {
    return OnPath(path, -1, [status](const char* host) { return Real().stat64(host, status); });
}

K905_ENTRY(int, lstat64, (const char* path, struct stat64* status)) {
    return OnPath(path, -1, [status](const char* host) { return Real().lstat64(host, status); });
}

// Names under which programs built against an older C library call the same.
K905_ENTRY(int, __xstat, (int, const char* path, struct stat* status)) {
    return OnPath(path, -1, [status](const char* host) { return Real().stat(host, status); });
}

K905_ENTRY(int, __lxstat, (int, const char* path, struct stat* status)) {
    return OnPath(path, -1, [status](const char* host) { return Real().lstat(host, status); });
}

K905_ENTRY(int, __xstat64, (int, const char* path, struct stat64* status)) {
    return OnPath(path, -1, [status](const char* host) { return Real().stat64(host, status); });
}

K905_ENTRY(int, __lxstat64, (int, const char* path, struct stat64* status)) {
    return OnPath(path, -1, [status](const char* host) { return Real().lstat64(host, status); });
}

K905_ENTRY(int, fstat, (int fd, struct stat* status)) {
    Call call;
    if (call)
        call.Charge(cost::kFile);
    return Real().fstat(fd, status);
}

K905_ENTRY(int, fstat64, (int fd, struct stat64* status)) {
    Call call;
    if (call)
        call.Charge(cost::kFile);
    return Real().fstat64(fd, status);
}

K905_ENTRY(int, __fxstat, (int, int fd, struct stat* status)) {
    return Real().fstat(fd, status);
}

K905_ENTRY(int, __fxstat64, (int, int fd, struct stat64* status)) {
    return Real().fstat64(fd, status);
}

K905_ENTRY(int, unlink, (const char* path)) {
    return OnChangedPath(path, [](const char* host) { return Real().unlink(host); });
}

K905_ENTRY(int, remove, (const char* path)) {
    return OnChangedPath(path, [](const char* host) { return Real().remove(host); });
}

K905_ENTRY(int, rmdir, (const char* path)) {
    return OnChangedPath(path, [](const char* host) { return Real().rmdir(host); });
}

K905_ENTRY(int, mkdir, (const char* path, mode_t mode)) {
    return OnChangedPath(path, [mode](const char* host) { return Real().mkdir(host, mode); });
}

K905_ENTRY(int, rename, (const char* from, const char* to)) {
    return OnChangedPath(from, [to](const char* hostFrom) {
        const Machine* machine = Machine::Current();
        if (machine == nullptr || threadContext.self == nullptr || threadContext.depth > 1)
            return Real().rename(hostFrom, to);
        const PathMap::Target target = machine->paths.Route(to);
        if (target.kind == PathMap::Kind::kDevice)
            return Fail(EPERM);
        return Real().rename(hostFrom, target.kind == PathMap::Kind::kMapped ? target.path.c_str() : to);
    });
}
