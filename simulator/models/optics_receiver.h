// The receiver from the photocurrent to the ADC code.
//
// Transfer, all in volts at the ADC input:
//   v = 0.25 + offset                    dark level of a balanced receiver
//       - 0.6 x (ATT0 volts - its zero)  each attenuator DAC pulls the level down from the code at which its
//       - 0.1 x (ATT1 volts - its zero)  test point crosses zero volts
//       - transimpedance x photocurrent  light lowers the level
//       + noise
// A DAC gives code x 2.5 V / 4096. The zeros lie near codes 1280 and 1024 and differ between modules.
// The 16-bit ADC reads 32290 at 0 V and 65535, its full scale, at 0.5 V.
//
// Transimpedance: 10 kilohm with resistor code 3, half of it for each code less, times the front amplifier's
// gain (1 to 4; every bit of its code switches a stage in). The first stage limits at 0.6 V, the rest is a
// low-pass of four equal poles. The amplifier's noise, 0.2 mV RMS at the lowest gain, is 20 nA at the input
// with resistor code 3: 3.5 pA per root hertz.
#pragma once

#include <cstdint>
#include <vector>

namespace k905 {

constexpr double kBandwidth = 33e6;  // of the noise, hertz

struct ReceiverSpread {
    double offsetVolts;  // of the dark level
    double att0Zero;     // DAC volts at which the attenuator's test point reads 0 V
    double att1Zero;
};
ReceiverSpread DrawReceiverSpread(unsigned seed);

// Volts with no current at all, the attenuators' DACs giving so many volts.
double BalancedVolts(const ReceiverSpread& spread, double att0Volts, double att1Volts);

// What is wrong with the amplifiers, as factors of what they are else.
struct ReceiverError {
    double gain = 1, noise = 1, bandwidth = 1;
    unsigned deadChannels = 0;  // bit n: with front amplifier code n nothing comes through
};

// Volts per ampere.
double Transimpedance(std::uint16_t current0);
// RMS noise of one shot at the ADC input, volts.
double AmplifierNoise(std::uint16_t current0);

// Turns volts per sample as the photocurrent would give them into what the amplifiers make of them. `step`:
// nanoseconds a sample.
void Amplify(std::vector<double>& volts, double step);

// ADC code of an input voltage, limited to what 16 bits hold.
std::uint16_t AdcCode(double volts);

}  // namespace k905
