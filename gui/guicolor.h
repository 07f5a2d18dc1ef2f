// Colours as every unit of the toolkit carries them.
#pragma once

#include <stdint.h>

typedef uint32_t COLOR;  // 0x00RRGGBB

// No colour: what would be painted with it stays as it is.
constexpr COLOR COLOR_NONE = 0xFFFFFFFF;

constexpr COLOR MakeColor(uint8_t ucRed, uint8_t ucGreen, uint8_t ucBlue) {
    return static_cast<COLOR>(ucRed) << 16 | static_cast<COLOR>(ucGreen) << 8 | ucBlue;
}
