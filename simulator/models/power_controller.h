// The P89LPC933 power controller: /dev/p89lpc933_0 delivers a two-byte record.
//   byte 0: bit 0 external supply, bit 1 battery there, bit 2 battery full, bits 3 and 4 battery type, bit 5
//   power down byte 1: level; its scale depends on the type
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "simulator/models/device.h"

namespace k905 {

class PowerController : public DeviceNode {
  public:
    explicit PowerController(World& world) : world_(world) {}

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;
    bool Present() const { return !missing_; }

    // Bench: "dc", "bat", "full" (true or false), "type" (0 to 3), "level" (0 to 255). "" or the error text.
    std::string Set(const std::string& field, const nlohmann::json& value);

    // Faults.
    void SetMissing(bool missing) { missing_ = missing; }  // no driver, no node
    void SetShort(bool on) { short_ = on; }                // one byte of the record is lost

    nlohmann::json State() const;

  private:
    friend class PowerControllerFile;
    World& world_;
    bool missing_ = false, short_ = false;
    bool dc_ = true, battery_ = true, full_ = false;
    std::uint8_t type_ = 0, level_ = 85;
};

}  // namespace k905
