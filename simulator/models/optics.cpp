#include "simulator/models/optics.h"

#include <algorithm>
#include <cmath>

namespace k905 {

namespace {

constexpr double kZeroCode = 32290, kFullScaleCode = 65535, kFullScaleVolts = 0.5;

constexpr double kDarkVolts = 0.25;
constexpr double kDarkSpread = 0.006;  // volts, half range: component tolerance of the output stage
constexpr std::uint16_t kAtt0Zero = 1280, kAtt1Zero = 1024;
constexpr double kZeroSpread = 0.035;  // DAC volts, half range (57 codes)
constexpr double kAtt0Gain = 0.6, kAtt1Gain = 0.1;

// The test input swings the level far below and a little above the dark level, whatever the attenuators are
// set to.
constexpr double kTestVoltage0 = 0.10, kTestVoltage1 = -0.80;

constexpr double kNoiseVolts = 0.0002;  // RMS of one shot at the lowest gain (13 codes)

// Noise gain of the front amplifier by its code (0, 1, 3, 7 are used: each bit switches one more stage in).
double NoiseGain(std::uint16_t current0) {
    return 1.0 + (current0 & 1) + (current0 >> 1 & 1) + (current0 >> 2 & 1);
}

}  // namespace

ModuleSpread DrawModuleSpread(unsigned seed) {
    Chance chance(seed, "module");
    ModuleSpread spread = {};
    spread.offsetVolts = chance.Spread(kDarkSpread);
    spread.att0Zero = DacVolts(kAtt0Zero) + chance.Spread(kZeroSpread);
    spread.att1Zero = DacVolts(kAtt1Zero) + chance.Spread(kZeroSpread);
    return spread;
}

OpticsInput OpticsInputFrom(const Registers& registers, double temperature, TestSignal signal,
                            unsigned testChannel) {
    OpticsInput input = {};
    input.controlOut = registers[kRegControlOut];
    input.current0 = registers[kRegCurrent0];
    input.current1 = registers[kRegCurrent1];
    input.att0 = registers[kRegAtt0] & kDacMask;
    input.att1 = registers[kRegAtt1] & kDacMask;
    input.vdd = registers[kRegVdd] & kDacMask;
    input.apd = registers[kRegApd] & kDacMask;
    input.apdBias = registers[kRegApdBias] & kDacMask;
    input.pulse = registers[kRegPulse];
    input.pulseMode = registers[kRegPulseMode];
    input.averages = registers[kRegAverages];
    input.delay = static_cast<std::uint32_t>(registers[kRegDelayHigh]) << 16 | registers[kRegDelayLow];
    input.temperature = temperature;
    input.testSignal = signal;
    input.testChannel = testChannel;
    return input;
}

std::uint16_t AdcCode(double volts) {
    const double code = kZeroCode + volts / kFullScaleVolts * (kFullScaleCode - kZeroCode);
    return static_cast<std::uint16_t>(std::lround(std::clamp(code, 0.0, kFullScaleCode)));
}

void Optics::SetSeed(unsigned seed) {
    seed_ = seed;
    spread_ = DrawModuleSpread(seed);
    noise_ = Chance(seed, "receiver noise");
}

double Optics::DarkVolts(const OpticsInput& input) const {
    if (pathBroken_)
        return 0;
    double volts = kDarkVolts + spread_.offsetVolts - kAtt0Gain * (DacVolts(input.att0) - spread_.att0Zero) -
                   kAtt1Gain * (DacVolts(input.att1) - spread_.att1Zero);
    if (input.testSignal != TestSignal::kOpen && (input.current0 & 7u) == input.testChannel)
        volts += input.testSignal == TestSignal::kVoltage0 ? kTestVoltage0 : kTestVoltage1;
    return volts;
}

std::vector<std::uint16_t> Optics::Acquire(const OpticsInput& input, std::size_t count) {
    const double level = DarkVolts(input);
    const double shots = std::max<double>(input.averages, 1);
    const double noise = kNoiseVolts * NoiseGain(input.current0) / std::sqrt(shots);
    std::vector<std::uint16_t> samples(count);
    for (std::uint16_t& sample : samples)
        sample = AdcCode(level + noise * noise_.Normal());
    if (!samples.empty())
        samples[0] = AdcCode(0);
    return samples;
}

nlohmann::json Optics::State(const OpticsInput& input) const {
    return {{"seed", seed_},
            {"dark_volts", DarkVolts(input)},
            {"dark_code", AdcCode(DarkVolts(input))},
            {"att0_zero_code", static_cast<int>(std::lround(spread_.att0Zero * 4096 / 2.5))},
            {"att1_zero_code", static_cast<int>(std::lround(spread_.att1Zero * 4096 / 2.5))},
            {"path_broken", pathBroken_},
            {"laser_enabled", (input.current1 & 1) != 0},
            {"wavelength_code", input.current1 >> 6 & 3},
            {"pulse_code", input.pulse}};
}

}  // namespace k905
