// Opening, reading and waiting on the instrument's nodes and files: what several entry points share.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>

#include "simulator/interpose/call.h"
#include "simulator/interpose/descriptors.h"

namespace k905 {

// open() of a path of the product, wherever it leads. A descriptor, or -1 with errno.
int OpenPath(Call& call, const char* path, int flags, mode_t mode);

// 0, or the errno with which the SD card refuses to be opened in this way.
int StorageError(Call& call, const PathMap::Target& target, bool writes, bool creates);

// read() of a device, with the waiting that its descriptor asks for. Bytes, or -1 with errno.
ssize_t ReadDevice(Call& call, const std::shared_ptr<OpenFile>& file, int fd, void* buffer, size_t size);

// Waits for `time` (a device's own pace); signals do not shorten it.
void WaitForDevice(Call& call, const OpenFile& file, const char* reason, Micros time);

// Sleeps for a virtual duration. What is left of it when a signal has cut it short, else 0.
Micros SleepFor(Call& call, Micros duration, const char* reason);

// "20 ms" or "1500 us".
std::string DurationText(Micros duration);

}  // namespace k905
