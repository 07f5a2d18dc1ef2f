#include "simulator/models/optics_apd.h"

#include <algorithm>
#include <cmath>

#include "simulator/models/chance.h"
#include "simulator/models/optics_receiver.h"

namespace k905 {

namespace {

constexpr double kCharge = 1.602e-19;  // coulombs

constexpr double kBreakdown25 = 49.5, kBreakdownSpread = 1.3;  // volts, half range
constexpr double kExponent = 1.0, kExponentSpread = 0.05;
constexpr double kDark25 = 0.05e-9, kDarkDecades = 0.2;  // amperes; half range of its logarithm
constexpr double kDarkDoubling = 12;                     // degrees
constexpr double kLeakage = 5e-9;                        // amperes over the diode's surface
constexpr double kIonisation = 0.45;                     // k
constexpr double kProtection = 5e6;                      // ohms
constexpr double kMostGain = 1e5;  // beyond what the protection resistor lets the diode reach

}  // namespace

ApdSpread DrawApdSpread(unsigned seed) {
    Chance chance(seed, "avalanche photodiode");
    ApdSpread spread = {};
    spread.breakdown25 = kBreakdown25 + chance.Spread(kBreakdownSpread);
    spread.exponent = kExponent + chance.Spread(kExponentSpread);
    spread.dark25 = kDark25 * std::pow(10.0, chance.Spread(kDarkDecades));
    spread.leakage = kLeakage;
    return spread;
}

double BreakdownVolts(const ApdSpread& apd, double temperature) {
    return apd.breakdown25 * (1 + kBreakdownSlope * (temperature - 25));
}

double ApdGain(const ApdSpread& apd, double volts, double breakdown) {
    const double missing = 1 - std::pow(std::max(volts, 0.0) / breakdown, apd.exponent);
    return missing > 1 / kMostGain ? 1 / missing : kMostGain;
}

double ExcessNoise(double gain) {
    return kIonisation * gain + (1 - kIonisation) * (2 - 1 / gain);
}

double ShotNoiseSquare(double primary, double gain) {
    return 2 * kCharge * kBandwidth * primary * gain * gain * ExcessNoise(gain);
}

ApdState RestingApd(const ApdSpread& apd, double supply, double temperature, double light) {
    const double breakdown = BreakdownVolts(apd, temperature);
    const double dark = apd.dark25 * std::exp2((temperature - 25) / kDarkDoubling);
    const double primary = light + dark;
    supply = std::max(supply, 0.0);
    // The current rises and the drop falls with the voltage at the diode: halve until they meet.
    double low = 0, high = std::min(supply, breakdown);
    for (int i = 0; i < 40; ++i) {
        const double middle = (low + high) / 2;
        const double drop = kProtection * primary * ApdGain(apd, middle, breakdown);
        (middle + drop < supply ? low : high) = middle;
    }
    ApdState state = {};
    state.volts = low;
    state.gain = ApdGain(apd, low, breakdown);
    // Light beyond what the resistor passes leaves the diode without bias: the resistor sets the current.
    const double flowing = std::min(primary * state.gain, (supply - low) / kProtection + apd.leakage);
    state.current = flowing + apd.leakage;
    state.noiseSquare =
        ShotNoiseSquare(flowing / state.gain, state.gain) + 2 * kCharge * kBandwidth * apd.leakage;
    return state;
}

}  // namespace k905
