// What the samples contain: laser, fibre, photodiode and receiver of one optical module. Formulas and figures
// stand with their part: optics_laser.h, optics_fibre.h, optics_apd.h, optics_receiver.h; docs/optics.md
// tells how they work together.
//
// An acquisition begins with 512 samples before the pulse. The pulse reaches the port some 40 m later, seen
// in the time base of the finest samples: the delay of the module's electronics and of the fibre inside it.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "simulator/models/chance.h"
#include "simulator/models/optics_apd.h"
#include "simulator/models/optics_fibre.h"
#include "simulator/models/optics_laser.h"
#include "simulator/models/optics_receiver.h"
#include "simulator/models/optics_supply.h"
#include "simulator/models/registers.h"

namespace k905 {

// What differs between one module and the next, drawn from a seed.
struct ModuleSpread : ReceiverSpread {
    ApdSpread apd;
    double delay;           // of the port, metres
    double laserFactor;     // of the laser's power
    double portLoss;        // of the port with a connector in it, dB one way
    double portReflection;  // likewise, dB
};
ModuleSpread DrawModuleSpread(unsigned seed);

// What the measurement board feeds into the receiver's test input. kOpen: nothing.
enum class TestSignal { kOpen, kVoltage0, kVoltage1 };

// Everything outside the receiver that its output depends on at the moment of an acquisition.
struct OpticsInput {
    std::uint16_t controlOut, current0, current1;      // gains, wavelength and laser enable
    std::uint16_t att0, att1, vdd, apd, apdBias;       // DAC codes
    std::uint16_t pulse, pulseMode, memory, averages;  // laser pulse and time base
    std::uint32_t delay;                               // first sample, in samples
    double temperature;                                // degrees Celsius
    TestSignal testSignal;
    unsigned testChannel;  // front amplifier code that the test signal is routed to
};
OpticsInput OpticsInputFrom(const Registers& registers, double temperature, TestSignal signal,
                            unsigned testChannel);

class Optics {
  public:
    static constexpr int kLeadIn = 512;  // samples before the pulse

    explicit Optics(unsigned seed) { SetSeed(seed); }

    // Another module is plugged in.
    void SetSeed(unsigned seed);
    unsigned Seed() const { return seed_; }
    // The same module at another time: other noise.
    void SetNoise(unsigned seed);
    const ModuleSpread& Spread() const { return spread_; }

    // Bench. Light on the link: watts that arrive all the time from the far end.
    void SetFibre(const Fibre& fibre) { fibre_ = fibre; }
    void SetLightOnLink(double watts) { light_ = watts; }

    // Fault: the line from the receiver to the ADC is open; the ADC sees 0 V.
    void SetPathBroken(bool broken) { pathBroken_ = broken; }
    // Fault: a dirty or damaged connector in the port loses so many dB more each way and reflects; 0: good.
    void SetBadConnector(double loss) { connectorLoss_ = loss; }
    // Fault: the photodiode is open; neither dark current nor light reaches the receiver.
    void SetApdDefective(bool defective) { apdDefective_ = defective; }
    // Fault: the laser does not light.
    void SetLaserOff(bool off) { laserOff_ = off; }

    // Dark level in volts at the ADC input: without pulses and noise.
    double DarkVolts(const OpticsInput& input) const;
    // `count` ADC codes of one acquisition. Sample 0 is the converter's stale first conversion.
    std::vector<std::uint16_t> Acquire(const OpticsInput& input, std::size_t count);

    // APD code at which this module breaks down, not a whole number.
    double BreakdownCode(double temperature) const;
    // Samples of the finest time base from the end of the lead-in to the pulse at the port.
    double OffsetSamples() const;

    nlohmann::json State(const OpticsInput& input) const;

  private:
    ApdState Apd(const OpticsInput& input) const;
    double DarkVolts(const OpticsInput& input, const ApdState& apd) const;
    // Photocurrent of the pulse's echo before multiplication, amperes; empty without a pulse.
    std::vector<double> PulseCurrent(const OpticsInput& input, std::size_t count) const;
    // What firing the laser couples into the receiver, volts; makes `signal` if it is empty.
    void AddCrosstalk(const OpticsInput& input, std::vector<double>& signal, std::size_t count) const;

    unsigned seed_ = 0;
    ModuleSpread spread_ = {};
    Chance noise_{0, ""};
    Fibre fibre_;
    double light_ = 0;
    double connectorLoss_ = 0;
    bool pathBroken_ = false, apdDefective_ = false, laserOff_ = false;
};

}  // namespace k905
