// Records of the optical module's EEPROM, byte for byte, little-endian. Plain layout, no dependencies.
#pragma once

#include <stddef.h>
#include <stdint.h>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the records are used in memory as they lie in the EEPROM");

constexpr int EEPROM_PAGE_SIZE = 128;
constexpr int EEPROM_PAGE_COUNT = 512;
constexpr int MODULE_PART_COUNT = 4;
constexpr int SYSPARA_BASE_ADDR = 0x0800;
constexpr int SYSPARA_PART_SIZE = 27648;  // 216 pages
constexpr int SYSPARA_PART_COUNT = 2;
constexpr int CRC_BASE_ADDR = 0xE000;
constexpr int CRC_PART_COUNT = 4;
constexpr int CRC_PER_PAGE = 27;
constexpr int CRC_PAGE_COUNT = 8;
constexpr int BUFF_BASE_ADDR = 0xF000;
constexpr int BUFF_PART_COUNT = 16;
constexpr int BUFFER_STATE_PENDING = 0x5A5A;  // holds a page not yet known to be written
constexpr int BUFFER_STATE_EMPTY = 0xFFFF;

struct module_part {
    uint16_t module_base_addr;
    uint16_t module_part_size;
    uint16_t module_part_count;
    uint16_t module_index;  // module partition in use
    uint16_t module_err;    // bit n: module partition n is damaged
    uint16_t syspara_base_addr;
    uint16_t syspara_part_size;
    uint16_t syspara_part_count;
    uint16_t syspara_index;  // parameter partition in use
    uint16_t syspara_err;    // bit n: parameter partition n is damaged
    uint16_t crc_base_addr;
    uint16_t crc_part_size;
    uint16_t crc_part_count;
    uint16_t crc_index;  // checksum partition in use
    uint16_t crc_err;    // bit n: checksum partition n is damaged
    uint16_t buff_base_addr;
    uint16_t buff_part_size;
    uint16_t buff_part_count;
    uint16_t buff_err;  // bit n: journal slot n is damaged
    uint8_t reserved[86];
    uint32_t crc_self;  // over the bytes before `reserved`
};
static_assert(sizeof(module_part) == 128, "one page");
static_assert(offsetof(module_part, syspara_base_addr) == 10, "module_part.syspara_base_addr");
static_assert(offsetof(module_part, crc_base_addr) == 20, "module_part.crc_base_addr");
static_assert(offsetof(module_part, buff_err) == 36, "module_part.buff_err");
static_assert(offsetof(module_part, reserved) == 38, "module_part.reserved");
static_assert(offsetof(module_part, crc_self) == 124, "module_part.crc_self");

struct crc_page {
    uint32_t crc[CRC_PER_PAGE];  // of parameter pages 27 n to 27 n + 26
    uint8_t reserved[16];
    uint32_t crc_self;  // over the bytes before `reserved`
};
static_assert(sizeof(crc_page) == 128, "one page");
static_assert(offsetof(crc_page, reserved) == 108, "crc_page.reserved");
static_assert(offsetof(crc_page, crc_self) == 124, "crc_page.crc_self");

struct crc_part {
    crc_page crc_data[CRC_PAGE_COUNT];
};
static_assert(sizeof(crc_part) == 1024, "eight pages");

struct eeprom_page_image {
    uint8_t data[EEPROM_PAGE_SIZE];
};

struct buffer_part {
    eeprom_page_image buff_data;  // the page being written
    uint16_t state;               // BUFFER_STATE_*
    uint16_t page_addr;           // EEPROM page that buff_data belongs to
    uint8_t reserved[120];
    uint32_t crc_self;  // over the bytes before `reserved`
};
static_assert(sizeof(buffer_part) == 256, "two pages");
static_assert(offsetof(buffer_part, state) == 128, "buffer_part.state");
static_assert(offsetof(buffer_part, page_addr) == 130, "buffer_part.page_addr");
static_assert(offsetof(buffer_part, reserved) == 132, "buffer_part.reserved");
static_assert(offsetof(buffer_part, crc_self) == 252, "buffer_part.crc_self");
