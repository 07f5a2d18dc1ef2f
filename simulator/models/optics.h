// What the samples contain: the receiver of one optical module, from the attenuator DACs to the ADC.
//
// Transfer, all in volts at the ADC input:
//   v = 0.25 + offset                    dark level of a balanced receiver
//       - 0.6 x (ATT0 volts - its zero)  each attenuator DAC pulls the level down from the code at which its
//       - 0.1 x (ATT1 volts - its zero)  test point crosses zero volts
//       + test signal                    injected by the measurement board into the selected channel
//       + noise
// A DAC gives code x 2.5 V / 4096. The zeros lie near codes 1280 and 1024 and differ between modules.
// The 16-bit ADC reads 32290 at 0 V and 65535, its full scale, at 0.5 V.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "simulator/models/chance.h"
#include "simulator/models/registers.h"

namespace k905 {

// What differs between one module and the next, drawn from a seed.
struct ModuleSpread {
    double offsetVolts;  // of the dark level
    double att0Zero;     // DAC volts at which the attenuator's test point reads 0 V
    double att1Zero;
};
ModuleSpread DrawModuleSpread(unsigned seed);

// What the measurement board feeds into the receiver's test input. kOpen: nothing.
enum class TestSignal { kOpen, kVoltage0, kVoltage1 };

// Everything outside the receiver that its output depends on at the moment of an acquisition.
struct OpticsInput {
    std::uint16_t controlOut, current0, current1;  // gains, wavelength and laser enable
    std::uint16_t att0, att1, vdd, apd, apdBias;   // DAC codes
    std::uint16_t pulse, pulseMode, averages;      // laser pulse
    std::uint32_t delay;                           // first sample, in samples
    double temperature;                            // degrees Celsius
    TestSignal testSignal;
    unsigned testChannel;  // front amplifier code that the test signal is routed to
};
OpticsInput OpticsInputFrom(const Registers& registers, double temperature, TestSignal signal,
                            unsigned testChannel);

constexpr double DacVolts(std::uint16_t code) {
    return (code & kDacMask) * 2.5 / 4096;
}

class Optics {
  public:
    explicit Optics(unsigned seed) { SetSeed(seed); }

    // Another module is plugged in.
    void SetSeed(unsigned seed);
    unsigned Seed() const { return seed_; }
    const ModuleSpread& Spread() const { return spread_; }

    // Fault: the line from the receiver to the ADC is open; the ADC sees 0 V.
    void SetPathBroken(bool broken) { pathBroken_ = broken; }

    // Dark level in volts at the ADC input, without noise.
    double DarkVolts(const OpticsInput& input) const;
    // `count` ADC codes of one acquisition. Sample 0 is the converter's stale first conversion.
    std::vector<std::uint16_t> Acquire(const OpticsInput& input, std::size_t count);

    nlohmann::json State(const OpticsInput& input) const;

  private:
    unsigned seed_ = 0;
    ModuleSpread spread_ = {};
    Chance noise_{0, ""};
    bool pathBroken_ = false;
};

// ADC code of an input voltage, limited to what 16 bits hold.
std::uint16_t AdcCode(double volts);

}  // namespace k905
