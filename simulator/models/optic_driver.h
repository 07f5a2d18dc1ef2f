// /dev/optic0: the optical module's driver. Registers and samples of the FPGA, the module's temperature, and
// the 96-byte tuning record at offset 0.
#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "simulator/models/device.h"
#include "simulator/models/fpga.h"

namespace k905 {

// Arguments of the ioctls, in the caller's memory.
struct OpticRegister {
    std::uint16_t index;
    std::uint16_t value;
};
static_assert(sizeof(OpticRegister) == 4);
struct OpticSamples {
    std::int32_t count;
    std::uint16_t* samples;  // room for `count`
};

class OpticDriver : public DeviceNode {
  public:
    static constexpr unsigned long kReadRegister = 0xC004F000, kWriteRegister = 0xC004F001,
                                   kReadSamples = 0xC004F002,
                                   kTemperature =
                                       0xC004F003;  // pointer to 32 bits, thousandths of a degree Celsius
    static constexpr std::size_t kTuningSize = 96;

    // The record lives in the file `tuningPath`; while that is missing the module was never calibrated and a
    // read finds nothing (0 bytes).
    OpticDriver(World& world, Fpga& fpga, const ModuleSurroundings& surroundings,
                const std::string& tuningPath);

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;
    void SetDriverLoaded(bool loaded) { loaded_ = loaded; }
    bool Present() const { return loaded_; }

    // Faults.
    void SetFailing(bool failing) { failing_ = failing; }                        // every ioctl: -EIO
    void SetTemperatureFailing(bool failing) { temperatureFailing_ = failing; }  // that ioctl alone
    // The temperature sensor is so many degrees off, or always gives the same temperature.
    void SetTemperatureOffset(double degrees) { temperatureOffset_ = degrees; }
    void SetTemperatureFrozen(std::optional<double> degrees) { temperatureFrozen_ = degrees; }
    void SetTuningFailing(bool failing) { tuningFailing_ = failing; }  // read and write of the record

    nlohmann::json State() const;

  private:
    friend class OpticFile;
    World& world_;
    Fpga& fpga_;
    const ModuleSurroundings& surroundings_;
    std::string tuningPath_;
    bool loaded_ = false, failing_ = false, temperatureFailing_ = false, tuningFailing_ = false;
    double temperatureOffset_ = 0;
    std::optional<double> temperatureFrozen_;
};

}  // namespace k905
