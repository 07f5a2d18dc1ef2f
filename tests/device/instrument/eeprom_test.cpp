// The partitioned store on the simulated instrument's AT24C512: what it keeps, what it notices, and what is
// left of it after damaged cells and power cuts.
#include "device/eeprom.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>

#include "device/crc32.h"
#include "device/i2c_com.h"
#include "tests/device/instrument/device_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

std::vector<uint8_t> Pattern(size_t count, unsigned salt) {
    std::vector<uint8_t> bytes(count);
    for (size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<uint8_t>((i + 1) * 37 + salt);
    return bytes;
}

class Store : public test::DeviceTest {
  protected:
    Store() {
        std::string folder = (std::filesystem::temp_directory_path() / "k905-store-XXXXXX").string();
        stateDir_ = mkdtemp(folder.data());
        linked_.reset();
        PowerOn();
    }
    ~Store() override {
        PowerOff();
        std::error_code ignored;
        std::filesystem::remove_all(stateDir_, ignored);
    }

    void PowerOff() {
        if (opticFD >= 0)
            close(opticFD);
        opticFD = -1;
        linked_.reset();
    }
    // The instrument with the EEPROM as it was left, and the program's variables as they start.
    void PowerOn() {
        PowerOff();
        k905::LinkedInstrument::Options options;
        options.appDir = appDir_;
        options.stateDir = stateDir_;
        linked_ = std::make_unique<k905::LinkedInstrument>(options);
        I2C_Action = nullptr;
        valid_module = {};
        valid_crc = {};
        buffer_id = 0;
        ASSERT_EQ(0, StartUp());
        linked_->StartTrace();
    }
    // Opens the store as its user does. Returns true when a journalled page was written to its place.
    bool Open() {
        bool recovered = false;
        output_ = test::Printed([&] {
            EXPECT_EQ(0, module_get_valid_info(&valid_module));
            EXPECT_EQ(0, crc_get_valid_info(&valid_crc));
            buffer_part pending = {};
            const int32_t found = buffer_get_valid_info(&pending);
            recovered = found == 0 && pending.state == BUFFER_STATE_PENDING;
            if (recovered)
                power_dowm_recovery(&pending);
        });
        return recovered;
    }
    // A zeroed store, opened.
    void Format() {
        test::Printed([] { optic_eeprom_erase(); });
        Open();
        test::Printed([] { crc_set_definfo(&valid_crc); });
        operator_.Clear();
    }
    static int32_t Write(uint32_t address, const std::vector<uint8_t>& bytes) {
        return optic_eeprom_write(address, bytes.data(), static_cast<int32_t>(bytes.size()));
    }
    static std::vector<uint8_t> Read(uint32_t address, size_t count, int32_t& result) {
        std::vector<uint8_t> bytes(count);
        result = optic_eeprom_read(address, bytes.data(), static_cast<int32_t>(count));
        return bytes;
    }
    void ExpectHolds(uint32_t address, const std::vector<uint8_t>& bytes) {
        int32_t result = 0;
        EXPECT_EQ(bytes, Read(address, bytes.size(), result));
        EXPECT_EQ(static_cast<int32_t>(bytes.size()), result);
    }
    module_part ModuleCopy(uint16_t page) {
        module_part copy = {};
        EXPECT_EQ(0, eeprom_read_page(page, reinterpret_cast<uint8_t*>(&copy)));
        return copy;
    }

    std::string stateDir_;
};

}  // namespace

// ---- Opening ----

TEST_F(Store, AFreshPartGetsTheDefaultsInEveryCopy) {
    Open();
    EXPECT_EQ(0x0800, valid_module.syspara_base_addr);
    EXPECT_EQ(27648, valid_module.syspara_part_size);
    EXPECT_EQ(2, valid_module.syspara_part_count);
    EXPECT_EQ(0xE000, valid_module.crc_base_addr);
    EXPECT_EQ(1024, valid_module.crc_part_size);
    EXPECT_EQ(4, valid_module.crc_part_count);
    EXPECT_EQ(0xF000, valid_module.buff_base_addr);
    EXPECT_EQ(256, valid_module.buff_part_size);
    EXPECT_EQ(16, valid_module.buff_part_count);
    EXPECT_EQ(crc32c(&valid_module, 38), valid_module.crc_self);
    for (uint16_t page = 0; page < 4; ++page) {
        const module_part copy = ModuleCopy(page);
        EXPECT_EQ(0, memcmp(&copy, &valid_module, sizeof copy)) << page;
    }
    EXPECT_THAT(output_, HasSubstr("module_get_valid_info: Enter.\n"));
}

TEST_F(Store, IsReadBeforeAnythingElseHasUsedTheBus) {
    Format();
    valid_module.syspara_index = 1;
    EXPECT_EQ(0, module_update_info(&valid_module));
    PowerOn();
    linked_->ClearTrace();
    Open();
    EXPECT_EQ(1, valid_module.syspara_index);
    EXPECT_THAT(Trace({"i2c"}), Not(HasSubstr("write"))) << "nothing to write";
}

TEST_F(Store, TheScreensTestPageCostsCopyOneOnly) {
    Format();
    valid_module.crc_err = 8;
    module_update_info(&valid_module);
    uint8_t page[128];
    for (unsigned i = 0; i < 128; ++i)
        page[i] = static_cast<uint8_t>(i);
    EXPECT_EQ(0, eeprom_write_check(1, page));
    PowerOn();
    Open();
    EXPECT_EQ(8, valid_module.crc_err);
    // Copy 0 damaged too: copy 2 is taken.
    EXPECT_EQ(0, eeprom_write_check(0, page));
    PowerOn();
    Open();
    EXPECT_EQ(8, valid_module.crc_err);
}

TEST_F(Store, ASealedCopyOfAnotherLayoutIsRejected) {
    Format();
    module_part other = valid_module;
    other.syspara_base_addr = 0x0880;
    other.crc_self = crc32c(&other, 38);
    EXPECT_EQ(0, eeprom_write_check(0, reinterpret_cast<uint8_t*>(&other)));
    Open();
    EXPECT_EQ(0x0800, valid_module.syspara_base_addr);
    EXPECT_THAT(output_, HasSubstr("syspara_base_addr = 0x880\nsyspara_base_addr = 0x800\n"));
}

// ---- Reading and writing ----

TEST_F(Store, KeepsBytesAcrossPagesAndPowerCycles) {
    Format();
    const std::vector<uint8_t> bytes = Pattern(300, 1);
    EXPECT_EQ(300, Write(100, bytes));
    ExpectHolds(100, bytes);
    ExpectHolds(0, std::vector<uint8_t>(100, 0));
    ExpectHolds(400, std::vector<uint8_t>(112, 0));
    PowerOn();
    EXPECT_FALSE(Open());
    ExpectHolds(100, bytes);
}

TEST_F(Store, RangesAreCutAtTheEndOfThePartition) {
    Format();
    int32_t result = 0;
    linked_->ClearTrace();
    Read(27647, 1, result);
    EXPECT_EQ(1, result);
    EXPECT_EQ("i2c module read 0x7380 128 bytes\n", Trace({"i2c"})) << "page 215 only";
    Read(27647, 2, result);
    EXPECT_EQ(1, result);
    EXPECT_THAT(operator_.Lines(), Contains("adjust: Opt eeprom: read too much, out of syspara part\r\n"));
    EXPECT_EQ(1, Write(27647, {7, 8}));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: Opt eeprom: write too much, out of syspara part"));
    ExpectHolds(27647, {7});
    Read(27648, 1, result);
    EXPECT_EQ(0, result);
    Read(0xFFFFFFF0, 100, result);
    EXPECT_EQ(0, result);
    EXPECT_EQ(-1, optic_eeprom_read(0, nullptr, 1));
    EXPECT_EQ(-1, optic_eeprom_write(0, nullptr, 1));
}

TEST_F(Store, APageIsJournalledWrittenReleasedAndChecksummed) {
    Format();
    linked_->ClearTrace();
    EXPECT_EQ(1, Write(27 * 128, {9}));
    std::vector<std::string> writes;
    for (const std::string& line : linked_->TraceLines({"i2c"}))
        if (line.find("write") != std::string::npos)
            writes.push_back(line);
    EXPECT_THAT(writes, ElementsAre("i2c module write 0xf000 128 bytes", "i2c module write 0xf080 128 bytes",
                                    "i2c module write 0x1580 128 bytes", "i2c module write 0xf080 2 bytes",
                                    "i2c module write 0xe080 128 bytes"));
    EXPECT_EQ(1, buffer_id);
}

TEST_F(Store, DamagedDataIsDeliveredAndTold) {
    Format();
    const std::vector<uint8_t> bytes = Pattern(128, 2);
    EXPECT_EQ(128, Write(0, bytes));
    Fault("module.eeprom_stuck", {{"address", 0x0805}, {"value", 0}});
    int32_t result = 0;
    const std::vector<uint8_t> read = Read(0, 128, result);
    EXPECT_EQ(-999, result);
    EXPECT_EQ(bytes[4], read[4]);
    EXPECT_EQ(0, read[5]);
    EXPECT_THAT(operator_.Lines(),
                Contains("adjust: syspara_check: the data of syspara_page_off 0 is err.\r\n"));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: optic_eeprom_read: eeprom data err.\r\n"));
}

TEST_F(Store, ADamagedChecksumPageIsResealedOverItsEntries) {
    Format();
    EXPECT_EQ(128, Write(0, Pattern(128, 3)));
    crc_page page = valid_crc.crc_data[0];
    page.crc[0] ^= 1;  // the seal is wrong now
    EXPECT_EQ(0, eeprom_write_check(448, reinterpret_cast<uint8_t*>(&page)));
    operator_.Clear();
    Open();
    EXPECT_THAT(operator_.Lines(), Contains("adjust: crc_part[0].crc_data[0] check error.\r\n"));
    EXPECT_EQ(0, crc_check(&valid_crc.crc_data[0]));
    int32_t result = 0;
    Read(0, 128, result);
    EXPECT_EQ(-999, result);
}

TEST_F(Store, AnErasedStoreReadsAsZero) {
    Open();
    Write(0, Pattern(500, 4));
    Format();
    for (const crc_page& page : valid_crc.crc_data)
        for (const uint32_t crc : page.crc)
            EXPECT_EQ(0u, crc);
    ExpectHolds(0, std::vector<uint8_t>(2000, 0));
}

// ---- Damaged cells ----

TEST_F(Store, AStuckCellInAJournalSlotMovesToTheNextSlot) {
    Format();
    Fault("module.eeprom_stuck", {{"address", 0xF003}, {"value", 0x11}});
    const std::vector<uint8_t> bytes = Pattern(128, 5);
    EXPECT_EQ(128, Write(0, bytes));
    EXPECT_EQ(1, valid_module.buff_err);
    EXPECT_EQ(2, buffer_id);
    ExpectHolds(0, bytes);
    EXPECT_EQ(1, ModuleCopy(0).buff_err) << "kept";
}

TEST_F(Store, AStuckCellInAChecksumPageMovesToTheNextPartition) {
    Format();
    Fault("module.eeprom_stuck", {{"address", 0xE000}, {"value", 0x11}});
    const std::vector<uint8_t> bytes = Pattern(128, 6);
    EXPECT_EQ(128, Write(0, bytes));
    EXPECT_EQ(1, valid_module.crc_index);
    EXPECT_EQ(1, valid_module.crc_err);
    ExpectHolds(0, bytes);
}

TEST_F(Store, AStuckCellInTheModuleRecordMovesToTheNextCopy) {
    Format();
    Fault("module.eeprom_stuck", {{"address", 2}, {"value", 0x11}});
    EXPECT_EQ(0, module_update_info(&valid_module));
    EXPECT_EQ(1, valid_module.module_index);
    EXPECT_EQ(1, valid_module.module_err);
    const module_part expected = valid_module;
    Open();
    EXPECT_EQ(0, memcmp(&expected, &valid_module, sizeof expected));
}

TEST_F(Store, WithoutAnyGoodPartitionTheCodesSaySo) {
    Format();
    nlohmann::json cells = nlohmann::json::array();
    for (int part = 0; part < 4; ++part) {
        cells.push_back({{"address", 2 + 128 * part}, {"value", 0x11}});
        cells.push_back({{"address", 0xE000 + 1024 * part}, {"value", 0x11}});
    }
    Fault("module.eeprom_stuck", cells);
    EXPECT_EQ(-2, module_update_info(&valid_module));
    EXPECT_EQ(3, valid_module.module_index);
    EXPECT_EQ(15, valid_module.module_err);
    EXPECT_EQ(-2, crc_update(0, 1, &valid_crc));
    EXPECT_EQ(3, valid_module.crc_index);
    EXPECT_THAT(operator_.Lines(), Contains("adjust: Opt eeprom: all crc partition damaged.\n"));
    EXPECT_EQ(-2, Write(0, {1}));
}

TEST_F(Store, PartitionsOnlyMoveForward) {
    Open();
    EXPECT_EQ(0, syspara_part_broken(&valid_module));
    EXPECT_EQ(1, valid_module.syspara_index);
    EXPECT_EQ(-2, syspara_part_broken(&valid_module));
    EXPECT_EQ(1, valid_module.syspara_index);
    EXPECT_EQ(3, valid_module.syspara_err);
    EXPECT_EQ("adjust: Opt eeprom: all syspara partition damaged.\r\n", operator_.Lines().back());
}

TEST_F(Store, WithEveryJournalSlotDamagedThereIsNoNext) {
    Open();
    valid_module.buff_err = 0xFFFF;
    EXPECT_EQ(-1, buffer_next());
    EXPECT_EQ("adjust: all buffer damaged\n", operator_.Lines().back());
    valid_module.buff_err = 0xFFFF & ~(1u << 5);
    EXPECT_EQ(0, buffer_next());
    EXPECT_EQ(5, buffer_id);
    valid_module.buff_part_count = 0;
    buffer_part slot = {};
    EXPECT_EQ(0, buffer_get_valid_info(&slot));
}

// ---- Recovery ----

TEST_F(Store, APendingSlotIsReplayed) {
    Format();
    const std::vector<uint8_t> page = Pattern(128, 7);
    buffer_id = 3;
    EXPECT_EQ(0, buffer_valid(16 + 30, page.data()));
    PowerOn();
    EXPECT_TRUE(Open());
    EXPECT_EQ(4, buffer_id);
    ExpectHolds(30 * 128, page);
    PowerOn();
    EXPECT_FALSE(Open()) << "released";
}

TEST_F(Store, ADamagedSlotIsNotReplayed) {
    Format();
    const std::vector<uint8_t> page = Pattern(128, 8);
    EXPECT_EQ(0, buffer_valid(16, page.data()));
    std::vector<uint8_t> torn = page;
    torn[100] ^= 0x40;
    EXPECT_EQ(0, eeprom_write_check(480, torn.data()));
    buffer_part slot = {};
    EXPECT_EQ(1, buffer_get_valid_info(&slot));
    EXPECT_EQ(0, slot.state) << "not copied out";
}

TEST_F(Store, PendingChecksumAndModulePagesAreReplayed) {
    Format();
    crc_page sums = valid_crc.crc_data[2];
    sums.crc[1] = 0x12345678;
    sums.crc_self = crc32c(&sums, 108);
    EXPECT_EQ(0, buffer_valid(450, reinterpret_cast<uint8_t*>(&sums)));
    PowerOn();
    EXPECT_TRUE(Open());
    EXPECT_EQ(0x12345678u, valid_crc.crc_data[2].crc[1]);
    module_part module = valid_module;
    module.crc_err = 4;
    EXPECT_EQ(0, buffer_valid(1, reinterpret_cast<uint8_t*>(&module)));
    PowerOn();
    EXPECT_TRUE(Open());
    EXPECT_EQ(4, ModuleCopy(0).crc_err);
}

// The supply goes away at instants all over the write of a page, in the middle of its pages and of their
// bytes. What was there before, or what was being written: never a mixture, and nothing else is touched.
TEST_F(Store, EveryPowerCutLeavesEachPageOldOrNew) {
    Format();
    const std::vector<uint8_t> before = Pattern(512, 9);
    const std::vector<uint8_t> change = Pattern(128, 100);
    EXPECT_EQ(512, Write(0, before));
    PowerOff();
    const std::filesystem::path kept = stateDir_ + "-kept";
    std::filesystem::copy(stateDir_, kept, std::filesystem::copy_options::recursive);
    constexpr int kBytes = 128 + 128 + 128 + 2 + 128;
    constexpr int kStep = 7;
    int replayed = 0;
    for (int cut = 0; cut <= kBytes; cut += kStep) {
        std::filesystem::remove_all(stateDir_);
        std::filesystem::copy(kept, stateDir_, std::filesystem::copy_options::recursive);
        PowerOn();
        Open();
        const char* const damages[] = {"prefix", "half"};
        Fault("module.eeprom_cut", {{"after", cut}, {"damage", damages[cut / kStep % 2]}});
        Write(128, change);
        PowerOn();
        replayed += Open();
        int32_t result = 0;
        const std::vector<uint8_t> after = Read(0, 512, result);
        for (size_t page = 0; page < 4; ++page) {
            const auto same = [&](const std::vector<uint8_t>& bytes, size_t from) {
                return memcmp(after.data() + page * 128, bytes.data() + from, 128) == 0;
            };
            const bool old = same(before, page * 128);
            const bool fresh = page == 1 && same(change, 0);
            EXPECT_TRUE(old || fresh) << "page " << page << " after " << cut << " bytes";
        }
        if (HasFailure())
            break;
    }
    EXPECT_GT(replayed, 0);
    std::filesystem::remove_all(kept);
}
