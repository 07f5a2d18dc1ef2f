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

void StoreTest::PowerOn(unsigned seed) {
    PowerOff();
    k905::LinkedInstrument::Options options;
    options.appDir = appDir_;
    options.stateDir = stateDir_;
    options.seed = seed;
    linked_ = std::make_unique<k905::LinkedInstrument>(options);
    ResetVariables();
    ASSERT_EQ(0, StartUp());
}

bool StoreTest::Open() {
    bool recovered = false;
    output_ = Printed([&] {
        EXPECT_EQ(0, module_get_valid_info(&valid_module));
        EXPECT_EQ(0, crc_get_valid_info(&valid_crc));
        recovered = power_cuts::RecoverPending();
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
    return power_cuts::RecoverPending();
}

void StoreTest::Format() {
    power_cuts::Format(Image());
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
    power_cuts::PutModule(Image(), copy, record);
}

bool StoreTest::PageAgrees(int parameterPage) {
    return syspara_check(static_cast<uint16_t>(parameterPage), 1, ImagePage(parameterPage), &valid_crc) == 0;
}

void StoreTest::FillImage(int pages) {
    power_cuts::FillParameters(Image(), static_cast<uint32_t>(pages));
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

void StoreTest::CutInImage(const std::vector<WriteCycle>& cycles, size_t cycle, size_t bytes) {
    for (size_t i = 0; i <= cycle; ++i)
        memcpy(Image() + cycles[i].address, cycles[i].bytes.data(),
               i < cycle ? cycles[i].bytes.size() : bytes);
}

}  // namespace test
