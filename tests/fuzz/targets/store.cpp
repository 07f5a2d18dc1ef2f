// Any content of the module's EEPROM, opened, read and written. The input is what is different from a filled
// store, and what is then done:
//   1 byte          bit 0: changed records are sealed anew
//   1 byte          changes modulo 16, each: address (2 bytes), count modulo 64, so many bytes
//   until its end   choices modulo 8: 0 opened again, 1 to 3 written, else read; parameter address (2),
//                   count less one modulo 384 (2)
#include <string.h>

#include <algorithm>

#include "device/crc32.h"
#include "device/eeprom_internal.h"
#include "device/i2c_com.h"
#include "tests/fuzz/memory_part.h"
#include "tests/fuzz/target.h"

using fuzz::Holds;
using fuzz::MemoryPart;

namespace {

constexpr size_t kPage = MemoryPart::kPage;
constexpr int kMostChoices = 3;
constexpr size_t kMostBytes = 384;  // of a choice, which has one at least

// Bytes that are others for each address and `salt`.
void Fill(uint8_t* bytes, size_t address, size_t count, unsigned salt) {
    for (size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<uint8_t>((address + i) * 7 + (address + i) / kPage * 13 + salt * 50 + 1);
}

// As the program starts, and opens the store.
void Open() {
    I2C_Action = nullptr;
    valid_module = {};
    valid_crc = {};
    buffer_id = 0;
    *pvalid_buffer = {};
    module_get_valid_info(&valid_module);
    crc_get_valid_info(&valid_crc);
    if (buffer_get_valid_info(pvalid_buffer) == 0)
        power_dowm_recovery(pvalid_buffer);
}

// A store with all pages of a partition written and each slot used.
void FillStore() {
    Open();
    uint8_t bytes[kPage];
    for (uint32_t address = 0; address < SYSPARA_PART_SIZE; address += kPage) {
        Fill(bytes, address, kPage, 0);
        Holds(optic_eeprom_write(address, bytes, kPage) == static_cast<int32_t>(kPage),
              "a good store is filled");
    }
}

// Seals the record that lies in a page, if any.
void Seal(MemoryPart& part, size_t page) {
    size_t sealed = 0, size = kPage;  // bytes under the seal, and of the record
    size_t first = page;
    if (page < MODULE_PART_COUNT) {
        sealed = offsetof(module_part, reserved);
    } else if (page >= BUFF_BASE_ADDR / kPage) {
        first = page / 2 * 2;
        sealed = offsetof(buffer_part, reserved);
        size = sizeof(buffer_part);
    } else if (page >= CRC_BASE_ADDR / kPage) {
        sealed = offsetof(crc_page, reserved);
    }
    if (sealed == 0)
        return;
    const size_t at = first * kPage;
    const uint32_t seal = crc32c(part.Bytes() + at, static_cast<uint32_t>(sealed));
    uint8_t bytes[sizeof seal];
    memcpy(bytes, &seal, sizeof seal);
    for (size_t i = 0; i < sizeof seal; ++i)
        part.Change(at + size - sizeof seal + i, bytes[i]);
}

void Change(MemoryPart& part, fuzz::Input& input) {
    const bool seals = (input.Byte() & 1) != 0;
    for (int changes = input.Byte() % 16; changes > 0; --changes) {
        const size_t address = input.Word();
        const size_t count = input.Byte() % 64;
        for (size_t i = 0; i < count; ++i)
            part.Change((address + i) % MemoryPart::kSize, input.Byte());
        if (seals && count > 0) {
            Seal(part, address / kPage);
            Seal(part, (address + count - 1) % MemoryPart::kSize / kPage);
        }
    }
}

// Bytes of a range that the partition has.
int32_t CountOf(uint32_t address, size_t count) {
    const uint32_t size = static_cast<uint32_t>(SysparaPageCount()) * EEPROM_PAGE_SIZE;
    return address < size ? static_cast<int32_t>(std::min<size_t>(count, size - address)) : 0;
}

void Read(const MemoryPart& part, uint32_t address, size_t count) {
    const int32_t wanted = CountOf(address, count);
    uint8_t bytes[kMostBytes];
    const int32_t result = optic_eeprom_read(address, bytes, static_cast<int32_t>(count));
    Holds(result == wanted || (wanted > 0 && result == EEPROM_MISMATCH), "a read gives the bytes, or -999");
    if (result <= 0)
        return;
    const uint8_t* partition = part.Bytes() + static_cast<size_t>(SysparaFirstPage()) * kPage;
    Holds(memcmp(bytes, partition + address, static_cast<size_t>(result)) == 0, "the bytes are the part's");
    for (size_t page = address / kPage; page * kPage < address + static_cast<size_t>(result); ++page)
        Holds(crc32c(partition + page * kPage, kPage) ==
                  valid_crc.crc_data[page / CRC_PER_PAGE].crc[page % CRC_PER_PAGE],
              "a page that is read has its checksum");
}

void Write(uint32_t address, size_t count, unsigned salt) {
    const int32_t wanted = CountOf(address, count);
    uint8_t bytes[kMostBytes], back[kMostBytes];
    Fill(bytes, address, count, salt);
    const int32_t result = optic_eeprom_write(address, bytes, static_cast<int32_t>(count));
    if (result == EEPROM_MISMATCH || result == -3)
        return;
    Holds(result == wanted, "a write takes the bytes, or gives up its partition");
    Holds(optic_eeprom_read(address, back, static_cast<int32_t>(count)) == wanted &&
              memcmp(bytes, back, static_cast<size_t>(wanted)) == 0,
          "what is written is read");
}

void Run(const uint8_t* bytes, size_t size) {
    static MemoryPart part(FillStore);
    fuzz::Input input(bytes, size);
    Change(part, input);
    part.PowerOn();
    Open();
    for (int i = 0; i < kMostChoices && input.Left() > 0; ++i) {
        const uint8_t choice = input.Byte() % 8;
        const uint32_t address = input.Word();
        const size_t count = input.Word() % kMostBytes + 1;
        if (choice == 0)
            Open();
        else if (choice <= 3)
            Write(address, count, choice);
        else
            Read(part, address, count);
    }
    for (size_t page = MODULE_PART_COUNT; page < SYSPARA_BASE_ADDR / kPage; ++page)
        Holds(!part.Written(page), "the unused pages are not written");
    part.SetBack();
}

const fuzz::Target target("store", Run);

}  // namespace
