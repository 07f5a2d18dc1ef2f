// The laser, and the time base of the samples: what the set-up registers select.
//
//   0x3000000c  bit 0 driver powered, bit 4 pulses let through (0x41, 0x40 and 0x140 give none), bit 5 the
//               shortest pulse, bits 6 and 7 the wavelength (1310, 1550, 1625 nm; 3: none)
//   0x30000018  pulse width code: 0 10 ns (3 ns with bit 5), 4 100 ns
//   0x30000012  VDD, the driver's supply: the light grows from a threshold on
//   0x30000030  bits 0 and 1: every 1st, 2nd, 4th or 8th conversion is kept
//   0x30000032  bits 9 and 10 set: four phases of the clock are interleaved, 0.04 m a sample; else 0.16 m
#pragma once

#include <cstdint>

#include "simulator/models/optics_fibre.h"

namespace k905 {

constexpr double kFinestStep = 0.04;  // metres a sample, of all four phases

struct LaserSetup {
    Wavelength wavelength;
    double watts;        // in the pulse at the port, 0: no pulse
    double nanoseconds;  // width
};
// `vdd`: volts of the driver's supply.
LaserSetup LaserFrom(std::uint16_t current1, std::uint16_t pulse, double vdd);

// Metres of fibre a sample.
double SampleStep(std::uint16_t pulseMode, std::uint16_t memory);

}  // namespace k905
