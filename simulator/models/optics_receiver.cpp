#include "simulator/models/optics_receiver.h"

#include <algorithm>
#include <cmath>

#include "simulator/models/chance.h"
#include "simulator/models/optics_supply.h"

namespace k905 {

namespace {

constexpr double kZeroCode = 32290, kFullScaleCode = 65535, kFullScaleVolts = 0.5;

constexpr double kDarkVolts = 0.25;
constexpr double kDarkSpread = 0.006;  // volts, half range: component tolerance of the output stage
constexpr std::uint16_t kAtt0Zero = 1280, kAtt1Zero = 1024;
constexpr double kZeroSpread = 0.035;  // DAC volts, half range (57 codes)
constexpr double kAtt0Gain = 0.6, kAtt1Gain = 0.1;

constexpr double kNoiseVolts = 0.0002;    // RMS of one shot at the lowest gain (13 codes)
constexpr double kTransimpedance = 10e3;  // ohms, resistor code 3, lowest gain
constexpr double kLimitVolts = 0.6;       // of the first stage
constexpr double kFirstPole = 0.4;        // nanoseconds: photodiode and first stage
constexpr double kPole = 2.2;             // each of the poles behind it
constexpr int kPoles = 4;

// Gain of the front amplifier by its code (0, 1, 3, 7 are used: each bit switches one more stage in).
double FrontGain(std::uint16_t current0) {
    return 1.0 + (current0 & 1) + (current0 >> 1 & 1) + (current0 >> 2 & 1);
}

}  // namespace

ReceiverSpread DrawReceiverSpread(unsigned seed) {
    Chance chance(seed, "module");
    ReceiverSpread spread = {};
    spread.offsetVolts = chance.Spread(kDarkSpread);
    spread.att0Zero = DacVolts(kAtt0Zero) + chance.Spread(kZeroSpread);
    spread.att1Zero = DacVolts(kAtt1Zero) + chance.Spread(kZeroSpread);
    return spread;
}

double BalancedVolts(const ReceiverSpread& spread, double att0Volts, double att1Volts) {
    return kDarkVolts + spread.offsetVolts - kAtt0Gain * (att0Volts - spread.att0Zero) -
           kAtt1Gain * (att1Volts - spread.att1Zero);
}

double Transimpedance(std::uint16_t current0) {
    return kTransimpedance / (8 >> (current0 >> 8 & 3)) * FrontGain(current0);
}

double AmplifierNoise(std::uint16_t current0) {
    return kNoiseVolts * FrontGain(current0);
}

void Amplify(std::vector<double>& volts, double step) {
    const double first = 1 - std::exp(-step / kFirstPole), rest = 1 - std::exp(-step / kPole);
    double input = 0, poles[kPoles] = {};
    for (double& sample : volts) {
        input += first * (sample - input);
        double value = std::min(input, kLimitVolts);
        for (double& pole : poles)
            value = pole += rest * (value - pole);
        sample = value;
    }
}

std::uint16_t AdcCode(double volts) {
    const double code = kZeroCode + volts / kFullScaleVolts * (kFullScaleCode - kZeroCode);
    // lround is a call of the library, here once a sample, and there are no negative codes.
    // NOLINTNEXTLINE(bugprone-incorrect-roundings)
    return static_cast<std::uint16_t>(std::clamp(code, 0.0, kFullScaleCode) + 0.5);
}

}  // namespace k905
