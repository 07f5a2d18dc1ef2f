// The module's DACs and the supplies that they set, as the codes in the registers make them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "simulator/models/converter.h"
#include "simulator/models/registers.h"

namespace k905 {

enum class Dac { kAtt0, kAtt1, kVdd, kApd };
constexpr std::size_t kDacs = 4;

// Output of a DAC: 2.5 V reference, 12 bits.
constexpr double DacVolts(double code) {
    return code * 2.5 / 4096;
}

// The code, whole or not, that a good DAC would need for the output that a DAC with this error gives.
double DacCode(const ConverterError& error, std::uint16_t code);

// Supplies of module number `seed`, whose dividers differ by up to 1 %. VDD feeds the laser driver: 3.0 V at
// code 2064 and 1.5 V at 1056. The APD's high voltage is 45 V at code 2499 and 25 V at 432.
constexpr double kApdVoltsPerCode = 20.0 / (2499 - 432);
constexpr double kApdVoltsAtZero = 45.0 - 2499 * kApdVoltsPerCode;
constexpr double kVddVoltsPerCode = 1.5 / (2064 - 1056);
constexpr double kVddVoltsAtZero = 3.0 - 2064 * kVddVoltsPerCode;
double SupplyFactor(unsigned seed, std::uint8_t channel);
double VddVolts(unsigned seed, double code);
double ApdVolts(unsigned seed, double code);
// The code, whole or not, that gives so many volts.
double ApdCode(unsigned seed, double volts);

}  // namespace k905
