// Stands between the device units and the system: every call on an instrument's node becomes one line of
// text, and is answered from small tables. The numbers that go to the drivers are decoded here from scratch,
// so that a wrong one in the product shows up as an unknown line.
//
//   open /dev/optic0 rw            read optic0 96             reg read 0x30000002
//   close optic0                   write ttyS0 02 07 23       reg write 0x30000014 0x01b0
//   seek optic0 0                  shell insmod ...           data 512
//   ioctl fpga0 size 2048          pipe cat ... | pclose      i2c transfer [0x50 w 00 80] [0x50 r 128]
//   sleep 100                      wait ttyS0 5.000000        tcflush ttyS0 input
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace test {

// The recorder made last takes the calls until it goes.
class SystemRecorder {
  public:
    SystemRecorder();
    ~SystemRecorder();
    SystemRecorder(const SystemRecorder&) = delete;
    SystemRecorder& operator=(const SystemRecorder&) = delete;

    // Makes calls whose line begins with `prefix` fail with `error`, after letting `skip` of them pass,
    // `times` times. "malloc" and "calloc" leave no line but can be named here.
    void Fail(const std::string& prefix, int error, int skip = 0, int times = 1 << 30);
    // Makes successful calls whose line begins with `prefix` return `value` instead of their usual result.
    void Return(const std::string& prefix, long value, int times = 1 << 30);

    // Lines so far, one a line of text; those that begin with `prefix` only; forget them.
    std::string Trace(const std::string& prefix = "") const;
    void Clear() { trace_.clear(); }
    // An event of the test's own, in order with the calls.
    void Note(const std::string& line) { trace_ += line + "\n"; }

    // Descriptors handed out and not closed, as names.
    std::vector<std::string> OpenNames() const;
    // The descriptor of a node that is open already, as if opened before the recording.
    int OpenNode(const std::string& path);
    // The descriptor that is handed out next.
    void HandOut(int fd) { nextFd_ = fd; }

    std::map<unsigned, std::uint16_t> registers;  // by index
    std::map<unsigned, std::uint16_t> fixed;      // by index, read so whatever was written
    std::map<unsigned, std::uint16_t> echo;       // what a write of this index leaves in its argument
    std::uint16_t echoMask = 0xffff;              // of every other write
    std::string optic;                            // bytes at offset 0 of /dev/optic0
    std::vector<std::uint16_t> samples;           // handed out by the sample ioctl
    std::int32_t milliDegrees = 25000;
    std::map<std::string, std::string> files;    // bitstreams, by path
    std::map<std::string, std::string> outputs;  // of piped commands
    std::deque<std::string> replies;             // of the measurement board, one a wait; none: a time-out
    std::string fpga;                            // bytes written to the loader
    std::string eeprom = std::string(std::size_t{85} * 128, '\xff');
    long leftMicroseconds = 0;  // what a wait leaves in its time-out

  private:
    friend struct RecordedCalls;
    struct Rule {
        std::string prefix;
        bool fails;
        long value;
        int skip, times;
    };
    struct OpenFile {
        std::string path, name;
        std::size_t offset = 0;
    };
    // Writes the line down, then Answer.
    bool Record(const std::string& line, long& result);
    // True with `result` (and errno) when a rule answers the line.
    bool Answer(const std::string& line, long& result);

    SystemRecorder* outer_;
    std::string trace_;
    std::vector<Rule> rules_;
    std::map<int, OpenFile> open_;
    int nextFd_ = 700;  // far from real descriptors, below FD_SETSIZE
};

}  // namespace test
