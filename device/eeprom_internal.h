// Shared by the eeprom_*.cpp units.
#pragma once

#include "device/eeprom.h"

// Shows a formatted text on the operator's information line; ReportAndPrint also prints it.
void EepromReport(const char* strFormat, ...) __attribute__((format(printf, 1, 2)));
void EepromReportAndPrint(const char* strFormat, ...) __attribute__((format(printf, 1, 2)));

// Installs the EEPROM on the I2C lines and leaves the write protection alone. Until something is installed a
// bus function has no effect, and a store that could not be read would look empty and be given the defaults.
void SelectEeprom();

// The partitions of a kind that the EEPROM has. A module record with a good seal can name others: these are
// neither read nor written.
struct PARTITIONS {
    uint16_t usFirstPage;
    uint16_t usPages;  // of each
    uint16_t usCount;
};
constexpr PARTITIONS MODULE_PARTITIONS = {0, 1, MODULE_PART_COUNT};
constexpr PARTITIONS SYSPARA_PARTITIONS = {SYSPARA_BASE_ADDR / EEPROM_PAGE_SIZE,
                                           SYSPARA_PART_SIZE / EEPROM_PAGE_SIZE, SYSPARA_PART_COUNT};
constexpr PARTITIONS CRC_PARTITIONS = {CRC_BASE_ADDR / EEPROM_PAGE_SIZE, CRC_PAGE_COUNT, CRC_PART_COUNT};

// How many of them a record with usCount can use.
static inline uint16_t PartitionCount(const PARTITIONS& there, uint16_t usCount) {
    return usCount < there.usCount ? usCount : there.usCount;
}

// First EEPROM page of partition usIndex of a record's usCount, which lie usSize bytes apart from usBase on.
// -1 when there is no such partition, or its place is not among the pages of its kind.
int32_t PartitionPage(const PARTITIONS& there, uint16_t usBase, uint16_t usSize, uint16_t usCount,
                      uint16_t usIndex);

// First EEPROM page of the parameter or checksum partition in use, -1 when there is none.
static inline int32_t SysparaFirstPage() {
    return PartitionPage(SYSPARA_PARTITIONS, valid_module.syspara_base_addr, valid_module.syspara_part_size,
                         valid_module.syspara_part_count, valid_module.syspara_index);
}

static inline int32_t CrcFirstPage() {
    return PartitionPage(CRC_PARTITIONS, valid_module.crc_base_addr, valid_module.crc_part_size,
                         valid_module.crc_part_count, valid_module.crc_index);
}

// Pages of a parameter partition; a damaged module record cannot make it larger than the tables are.
static inline uint16_t SysparaPageCount() {
    const uint16_t usSize = valid_module.syspara_part_size;
    return (usSize < SYSPARA_PART_SIZE ? usSize : SYSPARA_PART_SIZE) / EEPROM_PAGE_SIZE;
}
