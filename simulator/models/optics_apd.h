// The avalanche photodiode with its bias supply.
//
//   gain            M = 1 / (1 - (V/Vb)^n)                 Miller's formula; n about 1 describes InGaAs
//   diodes,
//                                                          whose data sheets give M = 10 at 0.9 Vb
//   excess noise    F = k M + (1 - k)(2 - 1/M)             McIntyre's formula, k = 0.45 for InGaAs/InP
//   breakdown       Vb = Vb25 (1 + 0.002 (T - 25))         about 0.1 V a degree at 50 V
//   dark current    leakage (not multiplied) + M x Id      Id 0.05 nA at 25 degrees, doubling every 12
//   degrees noise           i^2 = 2 q B (leakage + Iprimary M^2 F) shot noise of everything that flows
//
// The high voltage reaches the diode through 5 megohm, which protect it, with a capacitor behind them that
// holds the voltage during a pulse: a steady current lowers the voltage at the diode, and lowers the gain
// until both agree. That bounds the current beyond breakdown, and it is why the gain stays low under steady
// light however far the voltage is raised.
#pragma once

namespace k905 {

struct ApdSpread {
    double breakdown25;  // volts at 25 degrees Celsius
    double exponent;     // n
    double dark25;       // multiplied dark current before multiplication at 25 degrees, amperes
    double leakage;      // current over the diode's surface, not multiplied, amperes
};
ApdSpread DrawApdSpread(unsigned seed);

// Volts at which the gain grows without bounds.
double BreakdownVolts(const ApdSpread& apd, double temperature);
constexpr double kBreakdownSlope = 0.002;  // of the breakdown voltage at 25 degrees, a degree

double ApdGain(const ApdSpread& apd, double volts, double breakdown);
double ExcessNoise(double gain);

// Where supply, protection resistor and diode come to rest.
struct ApdState {
    double volts;        // at the diode
    double gain;         // of light that comes on top
    double current;      // flowing steadily, amperes
    double noiseSquare;  // of the steady current, amperes squared in the receiver's bandwidth
};
// `supply`: volts before the resistor. `light`: steady photocurrent before multiplication, amperes.
ApdState RestingApd(const ApdSpread& apd, double supply, double temperature, double light);

// Noise that a photocurrent (before multiplication) adds, amperes squared in the receiver's bandwidth.
double ShotNoiseSquare(double primary, double gain);

}  // namespace k905
