#include "device/crc32.h"

struct CRC32C_TABLE {
    uint32_t uiEntry[256];
};

static constexpr CRC32C_TABLE MakeTable() {
    CRC32C_TABLE Table = {};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t uiValue = i;
        for (int iBit = 0; iBit < 8; ++iBit)
            uiValue = (uiValue >> 1) ^ ((uiValue & 1) != 0 ? 0x82F63B78u : 0u);
        Table.uiEntry[i] = uiValue;
    }
    return Table;
}

static constexpr CRC32C_TABLE crc32c_table = MakeTable();
static_assert(crc32c_table.uiEntry[1] == 0xF26B8303u, "Castagnoli polynomial, reflected");

uint32_t crc32c(const void* data, uint32_t length) {
    const uint8_t* pByte = static_cast<const uint8_t*>(data);
    uint32_t uiCrc = 0;
    if (pByte == nullptr)
        return uiCrc;
    for (const uint8_t* pEnd = pByte + length; pByte < pEnd; ++pByte)
        uiCrc = crc32c_table.uiEntry[(uiCrc ^ *pByte) & 0xFF] ^ (uiCrc >> 8);
    return uiCrc;
}
