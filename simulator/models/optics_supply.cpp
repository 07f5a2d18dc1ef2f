#include "simulator/models/optics_supply.h"

#include <algorithm>

#include "simulator/models/board_rails.h"
#include "simulator/models/chance.h"

namespace k905 {

namespace {
constexpr double kSupplySpread = 0.01;  // half range, of the voltage
}

double SupplyFactor(unsigned seed, std::uint8_t channel) {
    Chance chance(Mix(seed, channel), "supply");
    return 1.0 + chance.Spread(kSupplySpread);
}

double DacCode(const ConverterError& error, std::uint16_t code) {
    const double good = error.Carried(code & kDacMask);
    return std::clamp(good * error.gain + error.offset / DacVolts(1), 0.0, double{kDacMask});
}

double VddVolts(unsigned seed, double code) {
    return (kVddVoltsAtZero + kVddVoltsPerCode * code) * SupplyFactor(seed, kChannelVdd);
}

double ApdVolts(unsigned seed, double code) {
    return (kApdVoltsAtZero + kApdVoltsPerCode * code) * SupplyFactor(seed, kChannelApd);
}

double ApdCode(unsigned seed, double volts) {
    return (volts / SupplyFactor(seed, kChannelApd) - kApdVoltsAtZero) / kApdVoltsPerCode;
}

}  // namespace k905
