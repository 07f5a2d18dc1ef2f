// Entry points: termios on the serial port. Settings are those of a real terminal; bytes and their timing are
// not.
#include "simulator/interpose/call.h"
#include "simulator/interpose/device_io.h"

using namespace k905;

namespace {

// The serial port behind a descriptor, or null.
std::shared_ptr<OpenFile> SerialPort(Call& call, int fd) {
    auto file = call->descriptors.Find(fd);
    return file != nullptr && file->serial ? file : nullptr;
}

}  // namespace

K905_ENTRY(int, tcgetattr, (int fd, termios* settings)) {
    Call call;
    if (call)
        call.Charge(cost::kIoctl);
    return Real().tcgetattr(fd, settings);
}

K905_ENTRY(int, tcsetattr, (int fd, int when, const termios* settings)) {
    Call call;
    if (!call)
        return Real().tcsetattr(fd, when, settings);
    call.Charge(cost::kIoctl);
    const auto port = SerialPort(call, fd);
    if (port != nullptr && when != TCSANOW)
        WaitForDevice(call, *port, "drain", port->device->DrainedAt());
    if (port != nullptr && when == TCSAFLUSH)
        port->device->FlushInput();
    return Real().tcsetattr(fd, port != nullptr ? TCSANOW : when, settings);
}

K905_ENTRY(int, tcflush, (int fd, int queue)) {
    Call call;
    if (!call)
        return Real().tcflush(fd, queue);
    call.Charge(cost::kIoctl);
    const auto port = SerialPort(call, fd);
    if (port != nullptr && queue != TCOFLUSH)
        port->device->FlushInput();
    return Real().tcflush(fd, queue);
}

K905_ENTRY(int, tcdrain, (int fd)) {
    Call call;
    if (!call)
        return Real().tcdrain(fd);
    call.Charge(cost::kIoctl);
    const auto port = SerialPort(call, fd);
    if (port == nullptr) {
        call.Release();
        return Real().tcdrain(fd);
    }
    WaitForDevice(call, *port, "drain", port->device->DrainedAt());
    return 0;
}
