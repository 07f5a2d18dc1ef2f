#include "simulator/models/optics_laser.h"

#include <algorithm>
#include <iterator>

namespace k905 {

namespace {

constexpr std::uint16_t kDriverPowered = 0x01, kPulsesOn = 0x10, kShortestPulse = 0x20;
constexpr std::uint16_t kInterleave = 0x600;

// Codes 0 (with and without the shortest pulse) and 4 as the instrument labels them, the others in between
// and beyond in the usual steps.
constexpr double kShortest = 3;
constexpr double kWidths[] = {10, 20, 30, 50, 100, 300, 500, 1000};  // nanoseconds

// A pulsed Fabry-Perot laser diode in fibre: 100 mW peak at 3.0 V, threshold 1.0 V; longer waves a little
// less.
constexpr double kNominalVolts = 3.0, kThresholdVolts = 1.0;
constexpr double kPeakWatts[] = {0.100, 0.090, 0.080};

}  // namespace

LaserSetup LaserFrom(std::uint16_t current1, std::uint16_t pulse, double vdd) {
    LaserSetup setup = {};
    setup.wavelength = static_cast<Wavelength>(current1 >> 6 & 3);
    const std::size_t width = std::min<std::size_t>(pulse, std::size(kWidths) - 1);
    setup.nanoseconds = width == 0 && (current1 & kShortestPulse) != 0 ? kShortest : kWidths[width];
    constexpr std::uint16_t kNeeded = kDriverPowered | kPulsesOn;
    if ((current1 & kNeeded) == kNeeded && setup.wavelength != Wavelength::kNone)
        setup.watts = kPeakWatts[static_cast<int>(setup.wavelength)] *
                      std::max(0.0, (vdd - kThresholdVolts) / (kNominalVolts - kThresholdVolts));
    return setup;
}

double SampleStep(std::uint16_t pulseMode, std::uint16_t memory) {
    const double conversion = (memory & kInterleave) == kInterleave ? kFinestStep : 4 * kFinestStep;
    return conversion * (1 << (pulseMode & 3));
}

}  // namespace k905
