// Partitioned store in the optical module's AT24C512 (64 KiB, 512 pages of 128 bytes): system parameters in
// two partitions, a checksum for every page of them in four, a module record in four copies, and sixteen
// journal slots through which every data page is written.
//
//   eeprom_layout.h     the records as they lie in the EEPROM
//   eeprom_page.cpp     pages: read, write, wait
//   eeprom_check.cpp    a page written and verified
//   eeprom_module.cpp   the module record: choosing, writing, marking partitions damaged
//   eeprom_crc.cpp      checksums of the data pages
//   eeprom_journal.cpp  journal slots and recovery after power loss
//   eeprom.cpp          reading, writing and erasing parameter bytes
//
// One thread at a time; the I2C lines share FPGA_CTRLOUT_REG with the visible light source. Progress and
// errors appear on the OPM adjust screen's information line.
#pragma once

#include <stdint.h>

#include "device/eeprom_layout.h"

enum {
    EEPROM_NO_RESPONSE = -998,  // the status wait failed
    EEPROM_MISMATCH = -999,     // bytes or a checksum are not what they should be, or no partition is there
};

// State of the store, set by the start-up choice below.
extern module_part valid_module;    // the chosen module record
extern crc_part valid_crc;          // the chosen checksums
extern buffer_part* pvalid_buffer;  // where a pending journal entry is kept; never null
extern uint8_t buffer_id;           // journal slot in use, 0 to 15

// --- Pages
// ------------------------------------------------------------------------------------------------------

// Reads or writes the 128 bytes of a page (0 to 511) without any check. Return 0; -1 when pData is null.
int32_t eeprom_read_page(uint16_t usPage, uint8_t* pData);
int32_t eeprom_write_page(uint16_t usPage, const uint8_t* pData);

// Waits out a write cycle (100 ms). Returns 0.
int32_t check_eeprom_status();

// Not used: the write cycle is waited out instead. Returns 1.
int32_t eeprom_polling();

// Switches the write protection off, writes a page and compares what comes back. Returns 0,
// EEPROM_NO_RESPONSE or EEPROM_MISMATCH; -1 when pData is null. Leaves the write protection off.
int32_t eeprom_write_check(uint16_t usPage, const uint8_t* pData);

// --- Parameter bytes
// --------------------------------------------------------------------------------------------

// Read or write iCount bytes from uiAddr (0 to 27647) of the parameter partition in use; a range that runs
// over its end is cut. Return the number of bytes, or a negative code; a read delivers the bytes even with
// EEPROM_MISMATCH, unless the module record names no such partition. A write returns EEPROM_MISMATCH when no
// checksum partition is left, having given up the parameter partition, and -3 when there is no other one.
int32_t optic_eeprom_read(uint32_t uiAddr, uint8_t* pBuff, int32_t iCount);
int32_t optic_eeprom_write(uint32_t uiAddr, const uint8_t* pBuff, int32_t iCount);

// Writes zeros to all 512 pages (about a minute) and then the checksums of a zeroed store.
void optic_eeprom_erase();

// --- Start-up choice and recovery
// -------------------------------------------------------------------------------

// Takes the first good copy of the module record, or writes the defaults. Returns 0 or the code of the write.
int32_t module_get_valid_info(module_part* pModule);

// Takes the checksum partition in use; a damaged checksum page is resealed over its entries. Returns 0, or
// EEPROM_MISMATCH with pCrc untouched when the module record names no such partition.
int32_t crc_get_valid_info(crc_part* pCrc);

// Finds the first journal slot that holds a page not known to be written. Returns 0 with the slot copied out
// and buffer_id set, 0 with an empty record when there is none, 1 with an empty record when the slot found is
// damaged.
int32_t buffer_get_valid_info(buffer_part* pBuffer);

// Writes the page of a pending journal entry to its place, with its checksum, and empties the slot; the
// entry's state is then empty too, so that it is written once. Does nothing for an entry that is not pending.
void power_dowm_recovery(buffer_part* pBuffer);

// --- Building blocks
// --------------------------------------------------------------------------------------------

// Fill in the defaults, seal and write them. Seal and write the module record to every partition from
// module_index on. Return 0, EEPROM_NO_RESPONSE, or EEPROM_MISMATCH when every partition is damaged.
int32_t module_set_definfo(module_part* pModule);
int32_t module_update_info(module_part* pModule);

// Mark the partition in use damaged and move to the next. Return 0, or -2 when there is none left (index
// kept). A partition that the EEPROM does not have, or that the record puts outside the pages of its kind, is
// as good as damaged for every function here; an index behind the last partition gets no mark.
int32_t module_part_broken(module_part* pModule);
int32_t syspara_part_broken(module_part* pModule);
int32_t crc_part_broken(module_part* pModule);

// Checksums of usCount data pages from usFirst (0 to 215), their bytes in pData, into pCrc; the pages of pCrc
// are resealed. Returns 0; -1 for a missing argument or a range outside the partition.
int32_t crc_generate(uint16_t usFirst, uint16_t usCount, const uint8_t* pData, crc_part* pCrc);

// Writes the checksum pages that cover a range of data pages. Returns 0, EEPROM_NO_RESPONSE, EEPROM_MISMATCH
// when every checksum partition is damaged, or -1 for a range outside the partition.
int32_t crc_update(uint16_t usFirst, uint16_t usCount, const crc_part* pCrc);

// 0, or EEPROM_MISMATCH when a checksum page's own seal, or a data page's checksum, does not agree.
int32_t crc_check(const crc_page* pPage);
int32_t syspara_check(uint16_t usFirst, uint16_t usCount, const uint8_t* pData, const crc_part* pCrc);

// Zeroed checksums, sealed, written to the EEPROM. Returns the code of crc_update.
int32_t crc_set_definfo(crc_part* pCrc);

// Journal: put a page for EEPROM page usPage into the slot in use (0, -1 every slot damaged,
// EEPROM_NO_RESPONSE); empty the slot and move on; move on; mark the slot damaged and move on (-1: every slot
// is damaged).
int32_t buffer_valid(uint16_t usPage, const uint8_t* pData);
int32_t buffer_invalid();
int32_t buffer_next();
int32_t buffer_broken();

// 0 for a pending slot whose seal agrees, else 1.
int32_t buffer_check_single_valid(const buffer_part* pBuffer);

// Shows and prints every field of a module record, and buffer_id.
void debug(const module_part* pModule);
