// What the samples contain: laser, fibre, photodiode and receiver of one optical module. Formulas and figures
// stand with their part: optics_laser.h, optics_fibre.h, optics_apd.h, optics_receiver.h; docs/optics.md
// tells how they work together.
//
// An acquisition begins with 512 samples before the pulse. The pulse reaches the port some 40 m later, seen
// in the time base of the finest samples: the delay of the module's electronics and of the fibre inside it.
#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
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
    void SetFibre(const Fibre& fibre);
    void SetLightOnLink(double watts) { light_ = watts; }

    // Fault: the line from the receiver to the ADC is open; the ADC sees 0 V.
    void SetPathBroken(bool broken) { pathBroken_ = broken; }
    // Fault: a dirty or damaged connector in the port loses so many dB more each way and reflects so many dB
    // instead of this specimen's.
    static constexpr double kBadReflection = -30;  // dB, usual
    void SetBadConnector(double loss, std::optional<double> reflection) {
        connectorLoss_ = loss;
        connectorReflection_ = reflection;
    }
    // Fault: whatever fibre is plugged in loses `loss` dB more at `at` metres (0: it does not), or is so many
    // metres longer than its label says, or shorter.
    void SetBentFibre(double at, double loss);
    void SetLongerFibre(double metres);
    // Fault: the photodiode is open; neither dark current nor light reaches the receiver.
    void SetApdDefective(bool defective) { apdDefective_ = defective; }
    // Fault: what the diode gives for light, of what it is else; its leakage, amperes, and its breakdown at
    // 25 degrees, volts, instead of this specimen's.
    struct DiodeError {
        double responsivity = 1;
        std::optional<double> leakage, breakdown;
    };
    void SetDiodeError(const DiodeError& error) { diodeError_ = error; }
    // Fault: the laser does not light; it gives so much of its power; it lights at another wavelength than
    // the one selected.
    void SetLaserOff(bool off) { laserOff_ = off; }
    void SetLaserPower(double factor) { laserPower_ = factor; }
    using Wavelengths = std::array<Wavelength, 3>;  // lit, by the one selected
    static constexpr Wavelengths kRightWavelengths = {Wavelength::k1310, Wavelength::k1550,
                                                      Wavelength::k1625};
    void SetWavelengths(const Wavelengths& lit) { lit_ = lit; }
    // Faults of amplifiers and converters.
    void SetReceiverError(const ReceiverError& error) { receiverError_ = error; }
    void SetAdcError(const ConverterError& error) { adcError_ = error; }
    void SetDacError(Dac dac, const ConverterError& error) {
        dacErrors_[static_cast<std::size_t>(dac)] = error;
    }

    // What a DAC's register comes to, see DacCode of optics_supply.h.
    double Code(Dac dac, std::uint16_t code) const {
        return DacCode(dacErrors_[static_cast<std::size_t>(dac)], code);
    }

    // Dark level in volts at the ADC input: without pulses and noise.
    double DarkVolts(const OpticsInput& input) const;
    // `count` ADC codes of one acquisition. Sample 0 is the converter's stale first conversion.
    std::vector<std::uint16_t> Acquire(const OpticsInput& input, std::size_t count);

    // What the laser lights at, whatever is selected.
    Wavelength Lit(const OpticsInput& input) const;

    // APD code at which this module breaks down, not a whole number.
    double BreakdownCode(double temperature) const;
    // Samples of the finest time base from the end of the lead-in to the pulse at the port.
    double OffsetSamples() const;

    nlohmann::json State(const OpticsInput& input) const;

  private:
    ApdState Apd(const OpticsInput& input) const;
    double DarkVolts(const OpticsInput& input, const ApdState& apd) const;
    ApdSpread Diode() const;
    LaserSetup Laser(const OpticsInput& input) const;
    // Volts at the ADC for an ampere in the photodiode.
    double PerAmpere(const OpticsInput& input) const;
    bool ChannelDead(const OpticsInput& input) const;
    void PlugFibre();
    // Photocurrent of the pulse's echo before multiplication, amperes; empty without a pulse.
    std::vector<double> PulseCurrent(const OpticsInput& input, std::size_t count) const;
    // What firing the laser couples into the receiver, volts; makes `signal` if it is empty.
    void AddCrosstalk(const OpticsInput& input, std::vector<double>& signal, std::size_t count) const;

    unsigned seed_ = 0;
    ModuleSpread spread_ = {};
    Chance noise_{0, ""};
    Fibre plugged_, fibre_;  // as on its label; as the light meets it
    double bendAt_ = 0, bendLoss_ = 0, longer_ = 0;
    double light_ = 0;
    double connectorLoss_ = 0;
    std::optional<double> connectorReflection_;
    bool pathBroken_ = false, apdDefective_ = false, laserOff_ = false;
    double laserPower_ = 1;
    Wavelengths lit_ = kRightWavelengths;
    DiodeError diodeError_;
    ReceiverError receiverError_;
    ConverterError adcError_, dacErrors_[kDacs];
};

}  // namespace k905
