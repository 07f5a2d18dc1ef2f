// What a device model is to the rest of the simulator: nodes that can be opened, and descriptors that never
// block. The models know nothing of libc interposition, threads or sockets; time comes to them as an argument
// or from the World. Every call arrives with the instrument's one lock held.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

namespace k905 {

using Micros = std::int64_t;  // virtual time since power-on, microseconds
constexpr Micros kSecond = 1'000'000;
constexpr Micros kNever = std::numeric_limits<Micros>::max();

// What a model may ask of the world it lives in.
class World {
  public:
    virtual ~World() = default;
    // Virtual time now.
    virtual Micros Now() const = 0;
    // One line of the hardware trace, as the bench engineer would read it ("reg write 0x30000014 0x01b0").
    // `kind` is its first word's group for filtering: "reg", "fpga", "data", "i2c", "serial", "ioctl",
    // "shell", "sleep", "file".
    virtual void Trace(const char* kind, const std::string& line) = 0;
    // Something happened that a person looks for in the history of the instrument: "acquisition", "eeprom",
    // "screen".
    virtual void Mark(const char*) {}
    // What the trace calls the thread of the product that is at work; "" when none is.
    virtual std::string Actor() const { return ""; }
    // False: a trace line would be dropped. What is traced often asks first and saves the formatting.
    virtual bool Tracing() const { return true; }
};

// One open descriptor of a device node.
class DeviceFile {
  public:
    virtual ~DeviceFile() = default;
    // Bytes moved, or a negative errno. -EAGAIN: nothing there now; the caller waits for ReadableAt and asks
    // again.
    virtual ssize_t Read(void* /*buffer*/, std::size_t /*size*/) { return -22 /* EINVAL */; }
    virtual ssize_t Write(const void* /*buffer*/, std::size_t /*size*/) { return -22; }
    // New offset, or a negative errno.
    virtual off_t Seek(off_t /*offset*/, int /*whence*/) { return -29 /* ESPIPE */; }
    // Result of the ioctl, or a negative errno (-ENOTTY for a number the driver does not know).
    virtual int Ioctl(unsigned long /*request*/, void* /*argument*/) { return -25 /* ENOTTY */; }
    // Time from which Read will deliver something if nothing else happens; kNever while only outside input
    // can.
    virtual Micros ReadableAt() { return 0; }
    // Time at which everything written has left the device (tcdrain); 0 when nothing is under way.
    virtual Micros DrainedAt() { return 0; }
    // Input and output queued but not yet moved is dropped (tcflush).
    virtual void FlushInput() {}
};

// A device node. Open returns null and sets `error` to an errno when the node refuses.
class DeviceNode {
  public:
    virtual ~DeviceNode() = default;
    virtual std::unique_ptr<DeviceFile> Open(int flags, int& error) = 0;
};

}  // namespace k905
