// The FPGA: configuration, register file, acquisition engine with its sample memory, and the lines it drives.
#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
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
    // The write that gave a register its present value. None: nobody has written it since the configuration.
    struct Written {
        Micros at = 0;
        std::uint16_t value = 0, before = 0;
        std::string thread;
    };
    const std::optional<Written>& Origin(std::uint16_t index) const { return origins_.at(index); }
    bool Stuck(std::uint16_t index) const { return stuckValue_ >= 0 && stuckIndex_ == index; }
    // Copies up to `count` samples; returns how many. Beyond what was acquired comes old content.
    std::size_t Fetch(std::uint16_t* samples, std::size_t count) const;

    // The last acquisition, and the last one at a wavelength, for who looks at the bench: how it was made,
    // which one of all it was (the first is 1), and its samples. Number 0: there was none.
    struct Acquired {
        std::uint64_t number;
        OpticsInput input;
        std::vector<std::uint16_t> samples;
    };
    const Acquired& LastAcquired() const { return LastAcquired(lastLit_); }
    const Acquired& LastAcquired(Wavelength lit) const { return acquired_[static_cast<std::size_t>(lit)]; }

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
    void Clear();
    void HoldStuck();
    std::size_t SampleCount() const;

    World& world_;
    Optics& optics_;
    At24c512& eeprom_;
    const ModuleSurroundings& surroundings_;
    bool configured_ = false;
    Registers registers_ = {};
    std::array<std::optional<Written>, kRegisterCount> origins_;
    Acquisition acquisition_ = Acquisition::kIdle;
    Micros finishedAt_ = 0, readyAt_ = 0;
    std::vector<std::uint16_t> memory_;
    std::uint64_t acquisitions_ = 0;
    std::array<Acquired, kWavelengths> acquired_ = {};
    Wavelength lastLit_ = Wavelength::kNone;

    int stuckValue_ = -1;
    std::uint16_t stuckIndex_ = 0, underStuck_ = 0;  // what was written last comes back when the fault goes
    bool neverReady_ = false;
    std::uint16_t memoryStatus_ = kMemoryReady;
};

}  // namespace k905
