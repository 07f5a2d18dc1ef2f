// Little-endian numbers in files, at any address.
#pragma once

#include <stdint.h>

static inline uint16_t GetLe16(const uint8_t* pData) {
    return static_cast<uint16_t>(pData[0] | pData[1] << 8);
}
static inline uint32_t GetLe32(const uint8_t* pData) {
    return GetLe16(pData) | static_cast<uint32_t>(GetLe16(pData + 2)) << 16;
}
