// Shared by the eeprom_*.cpp units.
#pragma once

#include "device/eeprom.h"

// Shows a formatted text on the operator's information line; ReportAndPrint also prints it.
void EepromReport(const char* strFormat, ...) __attribute__((format(printf, 1, 2)));
void EepromReportAndPrint(const char* strFormat, ...) __attribute__((format(printf, 1, 2)));

// Installs the EEPROM on the I2C lines and leaves the write protection alone. Until something is installed a
// bus function has no effect, and a store that could not be read would look empty and be given the defaults.
void SelectEeprom();

// EEPROM page of a parameter page or checksum page in the partition in use.
static inline uint16_t SysparaEepromPage(uint16_t usSysparaPage) {
    const uint32_t uiBase =
        valid_module.syspara_base_addr +
        static_cast<uint32_t>(valid_module.syspara_part_size) * valid_module.syspara_index;
    return static_cast<uint16_t>(uiBase / EEPROM_PAGE_SIZE + usSysparaPage);
}

static inline uint16_t CrcEepromPage(uint16_t usCrcPage) {
    const uint32_t uiBase = valid_module.crc_base_addr +
                            static_cast<uint32_t>(valid_module.crc_part_size) * valid_module.crc_index;
    return static_cast<uint16_t>(uiBase / EEPROM_PAGE_SIZE + usCrcPage);
}

// Pages of a parameter partition; a damaged module record cannot make it larger than the tables are.
static inline uint16_t SysparaPageCount() {
    const uint16_t usSize = valid_module.syspara_part_size;
    return (usSize < SYSPARA_PART_SIZE ? usSize : SYSPARA_PART_SIZE) / EEPROM_PAGE_SIZE;
}
