#include "tests/device/instrument/eeprom_fixture.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>

#include "device/crc32.h"
#include "device/i2c_com.h"

namespace test {

namespace {

constexpr size_t kRecords = 4 * 128;   // bytes of the module record's copies, at 0
constexpr size_t kChecksums = 0x1000;  // bytes of the checksum partitions, at CRC_BASE_ADDR

const char* const kImageName = "/module.at24c512";

template <typename Record>
Bytes BytesOf(const Record& record) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    return {bytes, bytes + sizeof record};
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

StoreTest::StoreTest() {
    std::string folder = (std::filesystem::temp_directory_path() / "k905-store-XXXXXX").string();
    stateDir_ = mkdtemp(folder.data());
    linked_.reset();
    PowerOn();
    image_ = std::make_unique<k905::host::MappedFile>(stateDir_ + kImageName, k905::EepromCells::kSize, 0xFF);
}

StoreTest::~StoreTest() {
    PowerOff();
    std::error_code ignored;
    std::filesystem::remove_all(stateDir_, ignored);
}

void StoreTest::PowerOff() {
    if (opticFD >= 0)
        close(opticFD);
    opticFD = -1;
    linked_.reset();
}

void StoreTest::ResetVariables() {
    I2C_Action = nullptr;
    valid_module = {};
    valid_crc = {};
    buffer_id = 0;
    *pvalid_buffer = {};
}

void StoreTest::PowerOn() {
    PowerOff();
    k905::LinkedInstrument::Options options;
    options.appDir = appDir_;
    options.stateDir = stateDir_;
    linked_ = std::make_unique<k905::LinkedInstrument>(options);
    ResetVariables();
    ASSERT_EQ(0, StartUp());
}

namespace {

bool RecoverPending() {
    if (buffer_get_valid_info(pvalid_buffer) != 0 || pvalid_buffer->state != BUFFER_STATE_PENDING)
        return false;
    power_dowm_recovery(pvalid_buffer);
    return true;
}

}  // namespace

bool StoreTest::Open() {
    bool recovered = false;
    output_ = Printed([&] {
        EXPECT_EQ(0, module_get_valid_info(&valid_module));
        EXPECT_EQ(0, crc_get_valid_info(&valid_crc));
        recovered = RecoverPending();
    });
    return recovered;
}

bool StoreTest::OpenAgain() {
    if (memcmp(Image(), kept_.image.data(), kRecords) == 0)
        valid_module = kept_.module;
    else
        output_ = Printed([] { EXPECT_EQ(0, module_get_valid_info(&valid_module)); });
    if (memcmp(Image() + CRC_BASE_ADDR, kept_.image.data() + CRC_BASE_ADDR, kChecksums) == 0)
        valid_crc = kept_.crc;
    else
        EXPECT_EQ(0, crc_get_valid_info(&valid_crc));
    return RecoverPending();
}

void StoreTest::Format() {
    memset(Image(), 0, k905::EepromCells::kSize);
    module_part record = {};
    const uint16_t fields[] = {0, 128,    4,    0, 0, 0x0800, 27648,  2,   0,
                               0, 0xE000, 1024, 4, 0, 0,      0xF000, 256, 16};
    memcpy(&record, fields, sizeof fields);
    for (int copy = 0; copy < 4; ++copy)
        PutModule(copy, record);
    ResetVariables();
    EXPECT_FALSE(Open());
    operator_.Clear();
}

int32_t StoreTest::Write(uint32_t address, const Bytes& bytes) {
    return optic_eeprom_write(address, bytes.data(), static_cast<int32_t>(bytes.size()));
}

Bytes StoreTest::Read(uint32_t address, size_t count, int32_t& result) {
    Bytes bytes(count);
    result = optic_eeprom_read(address, bytes.data(), static_cast<int32_t>(count));
    return bytes;
}

void StoreTest::ExpectHolds(uint32_t address, const Bytes& bytes) {
    int32_t result = 0;
    EXPECT_EQ(bytes, Read(address, bytes.size(), result));
    EXPECT_EQ(static_cast<int32_t>(bytes.size()), result);
}

void StoreTest::StartTrace() {
    linked_->StartTrace();
    linked_->ClearTrace();
}

module_part StoreTest::ModuleCopy(int copy) {
    module_part record = {};
    memcpy(&record, Image() + copy * 128, sizeof record);
    return record;
}

void StoreTest::PutModule(int copy, module_part record) {
    record.crc_self = crc32c(&record, offsetof(module_part, reserved));
    memcpy(Image() + copy * 128, &record, sizeof record);
}

bool StoreTest::PageAgrees(int parameterPage) {
    return syspara_check(static_cast<uint16_t>(parameterPage), 1, ImagePage(parameterPage), &valid_crc) == 0;
}

void StoreTest::FillImage(int pages) {
    crc_part sums = {};
    for (int page = 0; page < pages; ++page) {
        memcpy(ImagePage(page), Pattern(128, static_cast<unsigned>(page)).data(), 128);
        sums.crc_data[page / 27].crc[page % 27] = crc32c(ImagePage(page), 128);
    }
    for (crc_page& page : sums.crc_data)
        page.crc_self = crc32c(&page, offsetof(crc_page, reserved));
    memcpy(Image() + CRC_BASE_ADDR, &sums, sizeof sums);
    ResetVariables();
    EXPECT_FALSE(Open());
    Keep();
}

void StoreTest::Keep() {
    kept_ = {ImageBytes(0, k905::EepromCells::kSize), valid_module, valid_crc};
}

void StoreTest::Restore() {
    memcpy(Image(), kept_.image.data(), kept_.image.size());
    ResetVariables();
    operator_.Clear();
}

std::vector<WriteCycle> StoreTest::CyclesOfWrite(int slot, int parameterPage, const Bytes& bytes) {
    const auto page = static_cast<uint32_t>(parameterPage);
    const uint32_t slotAddress = BUFF_BASE_ADDR + 256u * static_cast<uint32_t>(slot);
    buffer_part journal = {};
    memcpy(&journal.buff_data, bytes.data(), 128);
    journal.state = BUFFER_STATE_PENDING;
    journal.page_addr = static_cast<uint16_t>(16 + page);
    journal.crc_self = crc32c(&journal, offsetof(buffer_part, reserved));
    const Bytes slotBytes = BytesOf(journal);

    crc_page sums = kept_.crc.crc_data[page / 27];
    sums.crc[page % 27] = crc32c(bytes.data(), 128);
    sums.crc_self = crc32c(&sums, offsetof(crc_page, reserved));
    return {{slotAddress, {slotBytes.begin(), slotBytes.begin() + 128}},
            {slotAddress + 128, {slotBytes.begin() + 128, slotBytes.end()}},
            {SYSPARA_BASE_ADDR + page * 128, bytes},
            {slotAddress + 128, {0xFF, 0xFF}},
            {CRC_BASE_ADDR + page / 27 * 128, BytesOf(sums)}};
}

std::vector<WriteCycle> StoreTest::CyclesOfReplay(int slot, int parameterPage, const Bytes& bytes) {
    const std::vector<WriteCycle> write = CyclesOfWrite(slot, parameterPage, bytes);
    return {write[2], write[4], write[3]};
}

void StoreTest::CutInImage(const std::vector<WriteCycle>& cycles, size_t cycle, size_t bytes, Damage damage,
                           unsigned seed) {
    k905::EepromCells cells(stateDir_ + kImageName, seed, "cut");
    for (size_t i = 0; i <= cycle; ++i) {
        if (i == cycle)
            cells.CutAfter(static_cast<int64_t>(bytes), damage);
        cells.Program(cycles[i].address, cycles[i].bytes, 0);
    }
}

}  // namespace test
