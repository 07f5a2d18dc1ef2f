// The main board's EEPROM on the I2C adapter /dev/i2c-1: 85 pages of 128 bytes.
#pragma once

#include <stddef.h>
#include <stdint.h>

constexpr int E2PROM_PAGE_SIZE = 128;
constexpr int E2PROM_PAGE_LAST = 84;

// Image of one page.
struct PAGE {
    uint8_t data[E2PROM_PAGE_SIZE];
};
static_assert(sizeof(PAGE) == E2PROM_PAGE_SIZE, "a page has no padding");

// The main board's record, page 0, little-endian.
struct MAINEEPROM {
    uint32_t iIfSelectFlag;
    uint8_t ucReserved[120];
    uint32_t ulCrc32;  // crc32c of the 124 bytes before it
};
static_assert(sizeof(MAINEEPROM) == E2PROM_PAGE_SIZE, "the record fills its page");
static_assert(offsetof(MAINEEPROM, ulCrc32) == 124, "stored layout");
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the record is stored as it lies in memory");

// The open adapter, -1 while closed.
extern int iE2prom;

// Opens the adapter; it has one user at a time. Returns the descriptor, -1 when it is open already or memory
// is short, else the negative result of open. Failures of all functions here are also printed.
int32_t E2prom_open();

// Closes the adapter; harmless when it is closed. Returns 0.
int32_t E2prom_close();

// Transfer one page (0 to E2PROM_PAGE_LAST) of E2PROM_PAGE_SIZE bytes. Return the adapter's result, negative
// on failure; -1 for a bad page number, null data, a closed adapter or short memory. A write has only begun
// on return: poll.
int32_t E2prom_read_page(uint16_t uspagenum, uint8_t* pData);
int32_t E2prom_write_page(uint16_t uspagenum, const uint8_t* pData);

// Asks the EEPROM for one byte. Returns the adapter's result, negative while a write cycle keeps it from
// acknowledging.
int32_t E2prom_polling();

// Polls up to 21 times without a pause. Returns 0 once the EEPROM answered, -1 if it never did.
int32_t Poll_E2prom();

// Writes one page and compares it with what is read back; up to 10 attempts each. Returns 0, -1 when polling,
// writing or reading failed (or on null), -2 when the page differs.
int32_t E2prom_write_check(uint16_t uspagenum, const uint8_t* pData);
