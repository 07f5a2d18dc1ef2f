// /dev/rtc0 and the instrument's wall clock: a start value plus virtual time.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "simulator/models/device.h"

namespace k905 {

class Rtc : public DeviceNode {
  public:
    // `start`: Unix seconds at virtual time 0.
    Rtc(World& world, std::int64_t start) : world_(world), start_(start) {}

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;

    std::int64_t Now() const { return start_ + Running() / 1000000; }  // of the chip, Unix seconds
    std::int64_t NowMicros() const { return start_ * 1000000 + world_.Now(); }
    void Set(std::int64_t seconds) { start_ = seconds - Running() / 1000000; }
    std::string SetText(const std::string& text);  // "2012-05-14 09:30:00" (UTC); "" or the error text

    // Faults: the chip does not answer; its crystal stands still, and the chip's time with it. Repaired, the
    // chip has the time that it would have had. The wall clock is the kernel's and runs on.
    void SetFailing(bool failing) { failing_ = failing; }
    void SetStopped(bool stopped);
    nlohmann::json State() const;

  private:
    friend class RtcFile;
    Micros Running() const { return stopped_ ? stoppedAt_ : world_.Now(); }
    World& world_;
    std::int64_t start_;
    bool failing_ = false, stopped_ = false;
    Micros stoppedAt_ = 0;
};

}  // namespace k905
