// Checksum of the EEPROM records.
#pragma once

#include <stdint.h>

// CRC-32C (Castagnoli, reflected polynomial 0x82F63B78) of length bytes, with initial value 0 and no final
// exclusive-or: not the usual preset, but what is stored in the EEPROMs. 0 for a length of 0 or null data.
uint32_t crc32c(const void* data, uint32_t length);
