// The FPGA's 16-bit registers by index, (byte address - 0x30000000) / 2, with the codes of the analog chain
// they drive.
#pragma once

#include <array>
#include <cstdint>

namespace k905 {

constexpr std::uint32_t kRegisterBase = 0x30000000;

enum Register : std::uint16_t {
    kRegControlOut = 1,  // outputs: bit 0 visible light source, bits 3 to 5 the module's SDA, SCL, WP
    kRegCurrent0 = 5,    // bits 0 to 2 front amplifier, bits 8 and 9 transimpedance resistor
    kRegCurrent1 = 6,    // bit 0 laser driver, bits 6 and 7 wavelength
    kRegAtt0 = 7,        // 12-bit DAC codes
    kRegAtt1 = 8,
    kRegVdd = 9,
    kRegApd = 10,
    kRegApdBias = 11,
    kRegPulse = 12,        // laser pulse width code
    kRegSampleCount = 13,  // acquisition set-up from here
    kRegSampleCountHigh = 14,
    kRegAverages = 15,
    kRegPeriod = 16,  // repetition period, 0.1 microseconds a count
    kRegDelayHigh = 17,
    kRegDelayLow = 18,
    kRegAcquire = 23,  // control and status
    kRegPulseMode = 24,
    kRegMemory = 25,      // bit 0 reads sample memory ready, bit 1 reads its error
    kRegPhaseTable = 26,  // 32 entries
    kRegSpeakerOn = 65,
    kRegSpeakerTone = 66,
};

constexpr std::size_t kRegisterCount = 128;  // decoded by the FPGA; others read 0
using Registers = std::array<std::uint16_t, kRegisterCount>;

constexpr std::uint16_t kDacMask = 0x0FFF;

// Bits of kRegControlOut.
constexpr std::uint16_t kOutVisibleLight = 0x01, kOutSda = 0x08, kOutScl = 0x10, kOutProtect = 0x20;
// Bits of kRegAcquire.
constexpr std::uint16_t kAcquireStart = 1, kAcquireTransfer = 2, kAcquireReady = 0x20,
                        kAcquireFinished = 0x80;
// Bits of kRegMemory.
constexpr std::uint16_t kMemoryReady = 1, kMemoryError = 2;

}  // namespace k905
