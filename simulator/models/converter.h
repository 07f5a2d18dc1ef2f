// What is wrong with a converter between codes and volts: the module's DACs and its ADC.
#pragma once

#include <cstdint>

namespace k905 {

struct ConverterError {
    double offset = 0;  // volts more on the analogue side
    double gain = 1;
    int bit = -1;  // of the code that always has `level`; -1: none
    int level = 0;
    std::uint16_t missingFrom = 0,
                  missingTo = 0;  // an ADC's codes that never come; the one below does instead

    // A code as it is behind its stuck line.
    std::uint16_t Carried(std::uint16_t code) const {
        if (bit < 0)
            return code;
        const auto mask = static_cast<std::uint16_t>(1u << bit);
        return static_cast<std::uint16_t>(level != 0 ? code | mask : code & ~mask);
    }
    // What an ADC gives for a code that a good one would give.
    std::uint16_t Given(std::uint16_t code) const {
        const bool missing = missingFrom > 0 && code >= missingFrom && code <= missingTo;
        return Carried(missing ? static_cast<std::uint16_t>(missingFrom - 1) : code);
    }
};

}  // namespace k905
