// Numbers of a fixed byte order in files, frames and device records, at any address.
#pragma once

#include <stdint.h>

// ---- Little-endian: least significant byte first ----

static inline uint16_t GetLe16(const uint8_t* pData) {
    return static_cast<uint16_t>(pData[0] | pData[1] << 8);
}
static inline uint32_t GetLe32(const uint8_t* pData) {
    return GetLe16(pData) | static_cast<uint32_t>(GetLe16(pData + 2)) << 16;
}
static inline void PutLe16(uint16_t usValue, uint8_t* pData) {
    pData[0] = static_cast<uint8_t>(usValue);
    pData[1] = static_cast<uint8_t>(usValue >> 8);
}
static inline void PutLe32(uint32_t uiValue, uint8_t* pData) {
    PutLe16(static_cast<uint16_t>(uiValue), pData);
    PutLe16(static_cast<uint16_t>(uiValue >> 16), pData + 2);
}

// ---- Big-endian: most significant byte first ----

static inline uint16_t GetBe16(const uint8_t* pData) {
    return static_cast<uint16_t>(pData[0] << 8 | pData[1]);
}
static inline uint32_t GetBe32(const uint8_t* pData) {
    return static_cast<uint32_t>(GetBe16(pData)) << 16 | GetBe16(pData + 2);
}
static inline void PutBe16(uint16_t usValue, uint8_t* pData) {
    pData[0] = static_cast<uint8_t>(usValue >> 8);
    pData[1] = static_cast<uint8_t>(usValue);
}
static inline void PutBe32(uint32_t uiValue, uint8_t* pData) {
    PutBe16(static_cast<uint16_t>(uiValue >> 16), pData);
    PutBe16(static_cast<uint16_t>(uiValue), pData + 2);
}
