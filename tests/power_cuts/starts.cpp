#include "tests/power_cuts/starts.h"

#include <string.h>

#include <stdexcept>

#include "device/crc32.h"

namespace power_cuts {

namespace {

constexpr uint32_t kSlotSize = sizeof(buffer_part);

constexpr uint32_t At(uint32_t page) {
    return page * kPageSize;
}

// A slot that once carried these bytes for a parameter page.
void PutReleasedSlot(uint8_t* image, uint32_t number, uint32_t page, const Bytes& bytes) {
    buffer_part slot = {};
    memcpy(&slot.buff_data, bytes.data(), kPageSize);
    slot.state = BUFFER_STATE_PENDING;
    slot.page_addr = static_cast<uint16_t>(SYSPARA_BASE_ADDR / kPageSize + page);
    slot.crc_self = crc32c(reinterpret_cast<const uint8_t*>(&slot), offsetof(buffer_part, reserved));
    slot.state = BUFFER_STATE_EMPTY;
    memcpy(image + BUFF_BASE_ADDR + kSlotSize * number, &slot, sizeof slot);
}

int32_t WritePattern(uint32_t address, uint32_t count, unsigned salt) {
    const Bytes bytes = Pattern(count, salt);
    return optic_eeprom_write(address, bytes.data(), static_cast<int32_t>(count));
}

void Restart(BarePart& part) {
    part.PowerOn();
    BarePart::ResetVariables();
    BarePart::Open();
}

// The record with a change, in every copy; opened.
template <typename Change>
void WithRecord(BarePart& part, Change change) {
    module_part record = valid_module;
    change(record);
    for (int copy = 0; copy < MODULE_PART_COUNT; ++copy)
        PutModule(part.Image(), copy, record);
    Restart(part);
}

void AsFilled(BarePart&) {}

// Pages written before by the same run of the program: the write goes through slot `writes` modulo 16.
template <unsigned writes>
void AfterWrites(BarePart&) {
    for (unsigned i = 0; i < writes; ++i)
        WritePattern(At(100 + i), kPageSize, 4000 + i);
}

template <int fill>
void SlotsNeverUsed(BarePart& part) {
    memset(part.Image() + BUFF_BASE_ADDR, fill, BUFF_PART_COUNT * kSlotSize);
    Restart(part);
}

void SecondPartition(BarePart& part) {
    memmove(part.Image() + SYSPARA_BASE_ADDR + SYSPARA_PART_SIZE, part.Image() + SYSPARA_BASE_ADDR,
            SYSPARA_PART_SIZE);
    WithRecord(part, [](module_part& record) { record.syspara_index = record.syspara_err = 1; });
}

void ThirdChecksums(BarePart& part) {
    memmove(part.Image() + CRC_BASE_ADDR + 2 * sizeof(crc_part), part.Image() + CRC_BASE_ADDR,
            sizeof(crc_part));
    WithRecord(part, [](module_part& record) { record.crc_index = 2, record.crc_err = 3; });
}

// Slots 1 to 3 are marked: after the first write slot 4 is next.
void MarkedSlotsPassedOver(BarePart& part) {
    WithRecord(part, [](module_part& record) { record.buff_err = 0xE; });
    WritePattern(At(100), kPageSize, 4000);
}

void FirstSlotMarked(BarePart& part) {
    WithRecord(part, [](module_part& record) { record.buff_err = 1; });
}

void SecondCopyInUse(BarePart& part) {
    WithRecord(part, [](module_part& record) { record.module_index = record.module_err = 1; });
    part.Image()[5] ^= 0xFF;
    Restart(part);
}

void Stuck(BarePart& part, uint32_t address) {
    part.Cells().SetStuck(address, part.Cells().Read(address) ^ 1);
}

void FirstSlotFails(BarePart& part) {
    Stuck(part, BUFF_BASE_ADDR + 3);
}

// Behind what the seal is over: the slot that is left has a good seal, and only its mark keeps it from a
// replay.
void FirstSlotFailsUnsealed(BarePart& part) {
    Stuck(part, BUFF_BASE_ADDR + 200);
}

void EverySlotFails(BarePart& part) {
    for (uint32_t slot = 0; slot < BUFF_PART_COUNT; ++slot)
        Stuck(part, BUFF_BASE_ADDR + kSlotSize * slot + 3);
    WritePattern(At(100), kPageSize, 4000);
}

void ChecksumPageFails(BarePart& part) {
    Stuck(part, CRC_BASE_ADDR + kPageSize);
}

void FirstCopyFailsUnsealed(BarePart& part) {
    Stuck(part, 60);
    module_update_info(&valid_module);
}

// The slot has carried the same bytes before, for page 7, which has changed since.
void SameBytesBefore(BarePart& part) {
    PutReleasedSlot(part.Image(), 0, 7, Pattern(kPageSize, 1000));
    Restart(part);
}

// An earlier write, of page 43, was cut after so many bytes, then the store was opened.
template <int bytes>
void AfterACut(BarePart& part) {
    part.Cells().CutAfter(bytes, Damage::kHalfByte);
    WritePattern(At(43), kPageSize, 4000);
    Restart(part);
}

// The module's supply alone failed in the second half of slot 0, and the program ran on: it has given up all
// slots, slot 15 last, before it opens the store again.
void ProgramRanOn(BarePart& part) {
    part.Cells().CutAfter(kPageSize + 64, Damage::kPrefix);
    WritePattern(At(43), kPageSize, 4000);
    part.PowerOn();
    BarePart::Open();
}

void Blank(BarePart& part) {
    memset(part.Image(), 0xFF, k905::EepromCells::kSize);
    part.PowerOn();
    BarePart::ResetVariables();
}

void RecordsLost(BarePart& part) {
    memset(part.Image(), 0, MODULE_PART_COUNT * kPageSize);
    part.PowerOn();
    BarePart::ResetVariables();
}

int32_t OpenStore() {
    BarePart::Open();
    return 0;
}

int32_t WriteRecord() {
    valid_module.crc_err = 8;
    return module_update_info(&valid_module);
}

}  // namespace

Bytes Pattern(size_t count, unsigned salt) {
    Bytes bytes(count);
    unsigned state = salt * 2654435761u + 12345u;
    for (uint8_t& byte : bytes) {
        state = state * 1103515245u + 12345u;
        byte = static_cast<uint8_t>(state >> 16);
    }
    return bytes;
}

void PutModule(uint8_t* image, int copy, module_part record) {
    record.crc_self = crc32c(reinterpret_cast<const uint8_t*>(&record), offsetof(module_part, reserved));
    memcpy(image + copy * static_cast<int>(kPageSize), &record, sizeof record);
}

void Format(uint8_t* image) {
    memset(image, 0, k905::EepromCells::kSize);
    module_part record = {};
    const uint16_t fields[] = {0, 128,    4,    0, 0, 0x0800, 27648,  2,   0,
                               0, 0xE000, 1024, 4, 0, 0,      0xF000, 256, 16};
    memcpy(&record, fields, sizeof fields);
    for (int copy = 0; copy < MODULE_PART_COUNT; ++copy)
        PutModule(image, copy, record);
}

void FillParameters(uint8_t* image, uint32_t pages) {
    crc_part sums = {};
    for (uint32_t page = 0; page < pages; ++page) {
        uint8_t* bytes = image + SYSPARA_BASE_ADDR + At(page);
        memcpy(bytes, Pattern(kPageSize, page).data(), kPageSize);
        sums.crc_data[page / CRC_PER_PAGE].crc[page % CRC_PER_PAGE] = crc32c(bytes, kPageSize);
    }
    for (crc_page& page : sums.crc_data)
        page.crc_self = crc32c(reinterpret_cast<const uint8_t*>(&page), offsetof(crc_page, reserved));
    memcpy(image + CRC_BASE_ADDR, &sums, sizeof sums);
}

void FillStore(uint8_t* image) {
    Format(image);
    FillParameters(image, SYSPARA_PART_SIZE / kPageSize);
    for (uint32_t slot = 0; slot < BUFF_PART_COUNT; ++slot)
        PutReleasedSlot(image, slot, slot, Pattern(kPageSize, 500 + slot));
}

int32_t Work(const Start& start) {
    return start.work != nullptr ? start.work() : WritePattern(start.address, start.count, 1000);
}

const std::vector<Start>& Starts() {
    static const std::vector<Start> starts = {
        // The longest first, for two processors.
        {"first opening", Blank, 0, 0, OpenStore, kGuaranteed, 64, 128},
        {"page 0", AsFilled, At(0), 128, nullptr, kGuaranteed, 1, 16},
        {"page 13", AsFilled, At(13), 128, nullptr, kGuaranteed, 1, 1},
        {"page 26", AsFilled, At(26), 128, nullptr, kGuaranteed, 1, 16},
        {"page 27", AsFilled, At(27), 128, nullptr, kGuaranteed, 1, 16},
        {"page 202", AsFilled, At(202), 128, nullptr, kGuaranteed, 1, 16},
        {"page 215", AsFilled, At(215), 128, nullptr, kGuaranteed, 1, 16},
        {"slots blank", SlotsNeverUsed<0xFF>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"slots zeroed", SlotsNeverUsed<0>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"slot 1", AfterWrites<1>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"slot 15", AfterWrites<15>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"slot 0 again", AfterWrites<16>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"slot 0 to 4", MarkedSlotsPassedOver, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"40 bytes in two", AsFilled, At(27) - 20, 40, nullptr, kGuaranteed, 4, 32},
        {"pages 25 to 28", AsFilled, At(25), 4 * 128, nullptr, kGuaranteed, 4, 32},
        {"partition 1", SecondPartition, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"checksums 2", ThirdChecksums, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"record from copy 1", SecondCopyInUse, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"cut in first half", AfterACut<64>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"cut in second half", AfterACut<192>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"cut in page", AfterACut<320>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"cut in release", AfterACut<385>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"cut in checksums", AfterACut<420>, At(40), 128, nullptr, kGuaranteed, 1, 16},
        {"slot 0 fails", FirstSlotFails, At(40), 128, nullptr, kGuaranteed, 8, 32},
        {"module record", AsFilled, 0, 0, WriteRecord, kGuaranteed, 1, 16},
        {"record, copy 1", SecondCopyInUse, 0, 0, WriteRecord, kGuaranteed, 1, 16},
        {"records lost", RecordsLost, 0, 0, OpenStore, kGuaranteed, 16, 32},
        {"same bytes before", SameBytesBefore, At(40), 128, nullptr, kSetsBack, 1, 16},
        {"slot 0 marked", FirstSlotMarked, At(40), 128, nullptr, kNoJournal, 1, 16},
        {"every slot fails", EverySlotFails, At(40), 128, nullptr, kNoJournal, 8, 32},
        {"program ran on", ProgramRanOn, At(40), 128, nullptr, kNoJournal, 1, 16},
        {"fault unsealed", FirstSlotFailsUnsealed, At(40), 128, nullptr, kOldRecord, 8, 32},
        {"record above fault", FirstCopyFailsUnsealed, 0, 0, WriteRecord, kOldRecord, 8, 32},
        {"checksums move", ChecksumPageFails, At(40), 128, nullptr, kMoves, 16, 32},
    };
    return starts;
}

const Start& StartOf(const char* name) {
    for (const Start& start : Starts())
        if (strcmp(start.name, name) == 0)
            return start;
    throw std::invalid_argument(std::string("no start ") + name);
}

}  // namespace power_cuts
