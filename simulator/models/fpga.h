// The FPGA: configuration, register file, acquisition engine with its sample memory, and the lines it drives.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "simulator/models/at24c512.h"
#include "simulator/models/device.h"
#include "simulator/models/optics.h"
#include "simulator/models/registers.h"

namespace k905 {

// Where the FPGA finds what is outside it at the moment of an acquisition.
class ModuleSurroundings {
  public:
    virtual ~ModuleSurroundings() = default;
    virtual double Temperature() const = 0;  // degrees Celsius
    virtual TestSignal InjectedSignal() const = 0;
    virtual unsigned InjectedChannel() const = 0;  // front amplifier code
};

class Fpga {
  public:
    static constexpr std::size_t kMemorySamples = 65536;

    Fpga(World& world, Optics& optics, At24c512& eeprom, const ModuleSurroundings& surroundings);

    // Configuration. Begin leaves the FPGA unconfigured: every register reads 0xFFFF, its pins float high.
    // Configure starts the new configuration with every register 0.
    void BeginConfiguration();
    void Configure();
    bool Configured() const { return configured_; }

    std::uint16_t Read(std::uint16_t index);
    void Write(std::uint16_t index, std::uint16_t value);
    // Copies up to `count` samples; returns how many. Beyond what was acquired comes old content.
    std::size_t Fetch(std::uint16_t* samples, std::size_t count) const;

    // How the last acquisition was made; no samples before the first.
    struct Acquired {
        OpticsInput input;
        std::size_t samples;
    };
    const Acquired& LastAcquired() const { return acquired_; }

    const Registers& Values() const { return registers_; }
    // Microseconds that the set-up registers imply for an acquisition and for the transfer of its samples.
    Micros AcquisitionTime() const;
    Micros TransferTime() const;

    // Faults. A stuck register holds its value, and what hangs on it sees that value; negative: none.
    void SetStuck(std::uint16_t index, int value);
    void SetNeverReady(bool never) { neverReady_ = never; }
    void SetMemoryStatus(std::uint16_t status) { memoryStatus_ = status; }  // bits 0 and 1 of kRegMemory

    nlohmann::json State() const;

  private:
    enum class Acquisition { kIdle, kRunning, kTransferring };
    void DriveLines();
    void HoldStuck();
    std::size_t SampleCount() const;

    World& world_;
    Optics& optics_;
    At24c512& eeprom_;
    const ModuleSurroundings& surroundings_;
    bool configured_ = false;
    Registers registers_ = {};
    Acquisition acquisition_ = Acquisition::kIdle;
    Micros finishedAt_ = 0, readyAt_ = 0;
    std::vector<std::uint16_t> memory_;
    std::uint64_t acquisitions_ = 0;
    Acquired acquired_ = {};

    int stuckValue_ = -1;
    std::uint16_t stuckIndex_ = 0, underStuck_ = 0;  // what was written last comes back when the fault goes
    bool neverReady_ = false;
    std::uint16_t memoryStatus_ = kMemoryReady;
};

}  // namespace k905
