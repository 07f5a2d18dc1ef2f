#include "simulator/models/optics_supply.h"

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

double VddVolts(unsigned seed, std::uint16_t code) {
    return (kVddVoltsAtZero + kVddVoltsPerCode * (code & kDacMask)) * SupplyFactor(seed, kChannelVdd);
}

double ApdVolts(unsigned seed, std::uint16_t code) {
    return (kApdVoltsAtZero + kApdVoltsPerCode * (code & kDacMask)) * SupplyFactor(seed, kChannelApd);
}

double ApdCode(unsigned seed, double volts) {
    return (volts / SupplyFactor(seed, kChannelApd) - kApdVoltsAtZero) / kApdVoltsPerCode;
}

}  // namespace k905
