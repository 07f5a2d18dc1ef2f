// A step between the measuring code and the recorder: it calls the test at the moments of an acquisition and
// before a sleep, keeps the files on the card and the stick in a folder of its own, and has a clock that only
// sleeps and looks at the acquisition control register move.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace test {

// The one made last takes the calls until it goes.
class MeasureCalls {
  public:
    MeasureCalls();
    ~MeasureCalls();
    MeasureCalls(const MeasureCalls&) = delete;
    MeasureCalls& operator=(const MeasureCalls&) = delete;

    // Called before an acquisition hands out its samples, with its number from 1.
    std::function<void(int)> onSamples;
    // Called before each read of the acquisition control register.
    std::function<void()> onStatus;
    // Called before each register write, with the address and the value.
    std::function<void(unsigned, unsigned)> onWrite;
    // Called before each sleep, with its milliseconds.
    std::function<void(long)> onSleep;
    // Microseconds since this was made: the sleeps, and a hundred for each look.
    std::int64_t Now() const { return now_; }
    // Of the sleep that begins, so many microseconds are not slept.
    void Hasten(std::int64_t microseconds) { now_ -= microseconds; }
    // Called before a thread is made; what it returns, unless 0, is the result of the call.
    std::function<int()> onThread;

    // Takes the card ("/mnt/sdcard") or the stick ("/mnt/usb") out.
    void TakeOut(const std::string& mount) const;
    // Makes a path below /mnt one that cannot be opened for writing.
    void Block(const std::string& path) const;
    // Content of a file below /mnt; "(none)" when there is no such file.
    std::string Content(const std::string& path) const;
    // Files opened so far, "<mode> <path>", also those that did not open.
    std::vector<std::string> opened;
    // How often a path with this beginning has been opened since the program started.
    static int Attempts(const std::string& prefix);

  private:
    friend struct MeasuredCalls;
    MeasureCalls* outer_;
    std::string folder_;
    int acquisitions_ = 0;
    std::int64_t now_ = 0;
};

}  // namespace test
