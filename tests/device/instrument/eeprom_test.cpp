// The partitioned store on the simulated instrument's AT24C512: what it keeps, what it notices, what damaged
// cells do to it, and how it recovers. Power cuts are in eeprom_power_cut_test.cpp.
#include "device/eeprom.h"

#include <errno.h>
#include <string.h>

#include "device/crc32.h"
#include "device/i2c_com.h"
#include "device/opm_map.h"
#include "tests/device/instrument/eeprom_fixture.h"

using test::Bytes;
using test::Pattern;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;

namespace {

using Store = test::StoreTest;

// The i2c lines of a trace that are writes.
std::vector<std::string> Writes(const k905::LinkedInstrument& linked) {
    std::vector<std::string> writes;
    for (const std::string& line : linked.TraceLines({"i2c"}))
        if (line.find("write") != std::string::npos)
            writes.push_back(line);
    return writes;
}

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
    StartTrace();
    Open();
    EXPECT_EQ(1, valid_module.syspara_index);
    EXPECT_THAT(Trace({"i2c"}), Not(HasSubstr("write"))) << "nothing to write";
}

TEST_F(Store, TheScreensTestPageCostsCopyOneOnly) {
    Format();
    for (uint16_t copy = 0; copy < 4; ++copy) {
        module_part record = valid_module;
        record.crc_err = static_cast<uint16_t>(1u << copy);
        PutModule(copy, record);
    }
    Bytes page(128);
    for (unsigned i = 0; i < 128; ++i)
        page[i] = static_cast<uint8_t>(i);
    EXPECT_EQ(0, eeprom_write_check(1, page.data()));
    ResetVariables();
    Open();
    EXPECT_EQ(1, valid_module.crc_err) << "copy 0";
    // Copy 0 damaged too: copy 2 is taken, and then copy 3.
    for (const uint16_t damaged : {0, 2}) {
        EXPECT_EQ(0, eeprom_write_check(damaged, page.data()));
        ResetVariables();
        Open();
        EXPECT_EQ(damaged == 0 ? 4 : 8, valid_module.crc_err);
    }
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
    const Bytes bytes = Pattern(300, 1);
    EXPECT_EQ(300, Write(100, bytes));
    ExpectHolds(100, bytes);
    ExpectHolds(0, Bytes(100, 0));
    ExpectHolds(400, Bytes(112, 0));
    PowerOn();
    EXPECT_FALSE(Open());
    ExpectHolds(100, bytes);
}

TEST_F(Store, RangesAreCutAtTheEndOfThePartition) {
    Format();
    int32_t result = 0;
    StartTrace();
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
    EXPECT_EQ(0, Write(27648, {7}));
    EXPECT_EQ(-1, optic_eeprom_read(0, nullptr, 1));
    EXPECT_EQ(-1, optic_eeprom_write(0, nullptr, 1));
}

TEST_F(Store, NothingIsReadOrWrittenForACountOfZeroOrLess) {
    Format();
    operator_.Clear();
    StartTrace();
    uint8_t byte = 7;
    for (const int32_t count : {0, -1, INT32_MIN}) {
        EXPECT_EQ(0, optic_eeprom_read(0, &byte, count)) << count;
        EXPECT_EQ(0, optic_eeprom_write(0, &byte, count)) << count;
    }
    EXPECT_EQ(7, byte);
    EXPECT_EQ("", Trace({"i2c"}));
    EXPECT_THAT(operator_.Lines(), testing::IsEmpty()) << "nothing was too much";
}

TEST_F(Store, APageIsJournalledWrittenReleasedAndChecksummed) {
    Format();
    StartTrace();
    EXPECT_EQ(1, Write(27 * 128, {9}));
    EXPECT_THAT(Writes(*linked_),
                ElementsAre("i2c module write 0xf000 128 bytes", "i2c module write 0xf080 128 bytes",
                            "i2c module write 0x1580 128 bytes", "i2c module write 0xf080 2 bytes",
                            "i2c module write 0xe080 128 bytes"));
    EXPECT_EQ(1, buffer_id);
}

TEST_F(Store, DamagedDataIsDeliveredAndTold) {
    Format();
    const Bytes bytes = Pattern(128, 2);
    EXPECT_EQ(128, Write(0, bytes));
    Fault("module.eeprom_stuck", {{"address", 0x0805}, {"value", 0}});
    int32_t result = 0;
    const Bytes read = Read(0, 128, result);
    EXPECT_EQ(-999, result);
    EXPECT_EQ(bytes[4], read[4]);
    EXPECT_EQ(0, read[5]);
    EXPECT_THAT(operator_.Lines(),
                Contains("adjust: syspara_check: the data of syspara_page_off 0 is err.\r\n"));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: optic_eeprom_read: eeprom data err.\r\n"));
}

TEST_F(Store, ADamagedChecksumPageIsResealedOverItsEntries) {
    Format();
    EXPECT_EQ(128, Write(54 * 128, Pattern(128, 3)));
    crc_page page = valid_crc.crc_data[2];
    page.crc[0] ^= 1;  // the seal is wrong now
    EXPECT_EQ(0, eeprom_write_check(450, reinterpret_cast<uint8_t*>(&page)));
    operator_.Clear();
    Open();
    EXPECT_THAT(operator_.Lines(), Contains("adjust: crc_part[0].crc_data[2] check error.\r\n"));
    EXPECT_EQ(0, crc_check(&valid_crc.crc_data[2]));
    int32_t result = 0;
    Read(54 * 128, 128, result);
    EXPECT_EQ(-999, result);
}

// Page by page, upwards: at each progress line everything before it is zero and nothing behind it is.
TEST_F(Store, AnEraseGoesUpwardsAndTellsHowFarItIs) {
    Format();
    memset(Image(), 0xA5, k905::EepromCells::kSize);
    const module_part opened = valid_module;
    std::vector<std::string> progress;
    operator_.onLine = [&](const std::string& line) {
        if (line.find("....") == std::string::npos)
            return;
        const size_t done = progress.size() * 51 * 128;
        EXPECT_EQ(Bytes(done, 0), ImageBytes(0, done));
        EXPECT_EQ(Bytes(65536 - done, 0xA5), ImageBytes(static_cast<uint32_t>(done), 65536 - done));
        progress.push_back(line);
    };
    const k905::Micros began = linked_->Now();
    test::Printed([] { optic_eeprom_erase(); });
    operator_.onLine = nullptr;
    EXPECT_GE(linked_->Now() - began, 512 * 100'000);
    std::vector<std::string> expected;
    for (const char* percent : {"0", "9", "19", "29", "39", "49", "59", "69", "79", "89", "99"})
        expected.push_back(std::string("adjust: .............................%") + percent + "\r\n");
    EXPECT_EQ(expected, progress);
    EXPECT_EQ("adjust: optic_eeprom_erase: Enter.\r\n", operator_.Lines().front());
    EXPECT_EQ("adjust: optic_eeprom_erase: Suc.\r\n", operator_.Lines().back());
    EXPECT_EQ(Bytes(65536, 0), ImageBytes(0, 65536));
    uint32_t lines = 0;
    read_opt_reg(opticFD, FPGA_CTRLOUT_REG, &lines);
    EXPECT_NE(0u, lines & CTRLOUT_EEPROM_WP) << "protected again";
    ResetVariables();
    Open();
    EXPECT_EQ(0, memcmp(&opened, &valid_module, sizeof opened)) << "the defaults";
    for (const crc_page& page : valid_crc.crc_data)
        for (const uint32_t crc : page.crc)
            EXPECT_EQ(0u, crc);
    ExpectHolds(0, Bytes(2000, 0));
}

// ---- Building blocks ----

TEST_F(Store, APageIsWrittenUnprotectedWithAWaitOnEachSide) {
    Format();
    AT24C512_WriteProtect();
    StartTrace();
    const k905::Micros began = linked_->Now();
    const Bytes page = Pattern(128, 1);
    EXPECT_EQ(0, eeprom_write_check(200, page.data()));
    EXPECT_GE(linked_->Now() - began, 200'000);
    EXPECT_THAT(linked_->TraceLines({"i2c"}),
                ElementsAre("i2c module write 0x6400 128 bytes", "i2c module read 0x6400 128 bytes"));
    EXPECT_EQ(page, ImageBytes(0x6400, 128));
    uint32_t lines = 0;
    read_opt_reg(opticFD, FPGA_CTRLOUT_REG, &lines);
    EXPECT_EQ(0u, lines & CTRLOUT_EEPROM_WP) << "left unprotected";
    EXPECT_EQ(-1, eeprom_write_check(200, nullptr));
    Fault("module.eeprom_protected");
    EXPECT_EQ(-999, eeprom_write_check(200, Pattern(128, 2).data()));
    EXPECT_EQ(page, ImageBytes(0x6400, 128));
}

TEST_F(Store, OpeningLeavesTheWriteProtectionAsItIs) {
    Format();
    for (const bool isProtected : {false, true}) {
        isProtected ? AT24C512_WriteProtect() : AT24C512_Startup();
        ResetVariables();
        Open();
        uint32_t lines = 0;
        read_opt_reg(opticFD, FPGA_CTRLOUT_REG, &lines);
        EXPECT_EQ(isProtected, (lines & CTRLOUT_EEPROM_WP) != 0);
    }
}

TEST_F(Store, ChecksumsOfARangeTouchItsEntriesOnly) {
    const struct {
        uint16_t first, count;
        const char* told;
    } ranges[] = {
        {0, 1, "crc_page_num(0), crc_page_count(1)"},   {26, 1, "crc_page_num(0), crc_page_count(1)"},
        {27, 1, "crc_page_num(1), crc_page_count(1)"},  {26, 2, "crc_page_num(0), crc_page_count(2)"},
        {25, 56, "crc_page_num(0), crc_page_count(3)"}, {215, 1, "crc_page_num(7), crc_page_count(1)"},
        {0, 216, "crc_page_num(0), crc_page_count(8)"},
    };
    for (const auto& range : ranges) {
        SCOPED_TRACE(testing::Message() << range.first << " +" << range.count);
        const Bytes data = Pattern(range.count * size_t{128}, range.first);
        crc_part sums;
        memset(&sums, 0xC3, sizeof sums);
        operator_.Clear();
        EXPECT_EQ(0, crc_generate(range.first, range.count, data.data(), &sums));
        EXPECT_THAT(
            operator_.Lines(),
            ElementsAre("adjust: bbbbb1bbbbb", "adjust: bbbbb2bbbbb", "adjust: bbbbb3bbbbb",
                        "adjust: bbbbb4bbbbb", "adjust: crc_generate: " + std::string(range.told) + ".\r\n",
                        "adjust: bbbbb5bbbbb"));
        EXPECT_EQ(0, syspara_check(range.first, range.count, data.data(), &sums));
        for (int page = 0; page < 216; ++page) {
            const uint32_t entry = sums.crc_data[page / 27].crc[page % 27];
            if (page < range.first || page >= range.first + range.count)
                EXPECT_EQ(0xC3C3C3C3u, entry) << page;
            else
                EXPECT_EQ(crc32c(data.data() + (page - range.first) * 128, 128), entry) << page;
        }
        for (int n = 0; n < 8; ++n) {
            const bool inside = n >= range.first / 27 && n <= (range.first + range.count - 1) / 27;
            EXPECT_EQ(inside ? 0 : -999, crc_check(&sums.crc_data[n])) << n;
        }
    }
}

TEST_F(Store, ChecksumsOfNoRangeAreRefused) {
    const Bytes data(256, 1);
    crc_part sums = {};
    EXPECT_EQ(-1, crc_generate(0, 0, data.data(), &sums));
    EXPECT_EQ(-1, crc_generate(216, 1, data.data(), &sums));
    EXPECT_EQ(-1, crc_generate(215, 2, data.data(), &sums));
    EXPECT_EQ(-1, crc_generate(0, 1, nullptr, &sums));
    EXPECT_EQ(-1, crc_generate(0, 1, data.data(), nullptr));
    EXPECT_EQ(-1, crc_update(215, 2, &sums));
    EXPECT_EQ(-1, syspara_check(215, 2, data.data(), &sums));
    const crc_part zero = {};
    EXPECT_EQ(0, memcmp(&zero, &sums, sizeof sums));
}

TEST_F(Store, OnlyAPendingSlotWhoseSealAgreesIsReplayed) {
    for (const uint16_t state : {BUFFER_STATE_PENDING, BUFFER_STATE_EMPTY}) {
        buffer_part slot = {};
        slot.state = state;
        slot.crc_self = crc32c(&slot, offsetof(buffer_part, reserved));
        EXPECT_EQ(state == BUFFER_STATE_PENDING ? 0 : 1, buffer_check_single_valid(&slot)) << state;
        slot.crc_self ^= 1;
        EXPECT_EQ(1, buffer_check_single_valid(&slot)) << state;
    }
}

TEST_F(Store, EachFieldOfAModuleRecordCanBeShown) {
    module_part record = {};
    uint8_t* bytes = reinterpret_cast<uint8_t*>(&record);
    for (uint8_t i = 0; i < 19; ++i)
        bytes[2 * i] = static_cast<uint8_t>(0x10 + i);
    record.crc_self = 0x89ABCDEF;
    buffer_id = 11;
    std::string expected = "**********************************\n";
    uint8_t value = 0x10;
    for (const char* name :
         {"module_base_addr", "module_part_size", "module_part_count", "module_index", "module_err",
          "syspara_base_addr", "syspara_part_size", "syspara_part_count", "syspara_index", "syspara_err",
          "crc_base_addr", "crc_part_size", "crc_part_count", "crc_index", "crc_err", "buff_base_addr",
          "buff_part_size", "buff_part_count", "buff_err"}) {
        char line[80];
        snprintf(line, sizeof line, "%s = 0x%x\n", name, value++);
        expected += line;
    }
    expected += "crc_self = 0x89abcdef\nbuffer_id = 0xb\n**********************************\n";
    operator_.Clear();
    EXPECT_EQ(expected, test::Printed([&] { debug(&record); }));
    std::string shown;
    for (const std::string& line : operator_.Lines())
        shown += line.substr(strlen("adjust: "));
    EXPECT_EQ(expected, shown);
}

// ---- Threads that are woken ----

namespace {

constexpr int kWaits = 20;

void* WaitOutCycles(void* instrument) {
    const auto* linked = static_cast<const k905::LinkedInstrument*>(instrument);
    for (int i = 0; i < kWaits; ++i) {
        const k905::Micros began = linked->Now();
        EXPECT_EQ(0, check_eeprom_status());
        EXPECT_GE(linked->Now() - began, 100'000);
        EXPECT_LE(linked->Now() - began, 101'000);
    }
    return nullptr;
}

void* CheckPages(void*) {
    for (uint16_t i = 0; i < kWaits; ++i)
        EXPECT_EQ(0, eeprom_write_check(static_cast<uint16_t>(200 + i), Pattern(128, i).data())) << i;
    return nullptr;
}

void* WriteBytes(void* bytes) {
    EXPECT_EQ(512, optic_eeprom_write(0, static_cast<Bytes*>(bytes)->data(), 512));
    return nullptr;
}

// Runs the entry on a thread that is woken as at the end of the program, until it has ended; more often, so
// that every wait would be shorter than the part's write cycle.
void RunWoken(THREADFUNC entry, void* argument) {
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(0, ThreadCreate(&thread, entry, argument));
    int result = 0;
    while ((result = ThreadTryEnd(&thread)) == EBUSY)
        MsecSleep(2);
    EXPECT_EQ(0, result);
}

}  // namespace

TEST_F(Store, WaitsOutAWriteCycleOnceHoweverOftenItIsWoken) {
    RunWoken(WaitOutCycles, linked_.get());
}

TEST_F(Store, FindsGoodPagesGoodOnAThreadThatIsWoken) {
    RunWoken(CheckPages, nullptr);
    for (unsigned i = 0; i < kWaits; ++i)
        EXPECT_EQ(Pattern(128, i), ImageBytes((200 + i) * 128, 128)) << i;
}

TEST_F(Store, MarksNoGoodCellsOnAThreadThatIsWoken) {
    Format();
    const Bytes records = ImageBytes(0, 512);
    Bytes bytes = Pattern(512, 13);
    RunWoken(WriteBytes, &bytes);
    EXPECT_EQ(records, ImageBytes(0, 512));
    ExpectHolds(0, bytes);
}

// ---- Damaged cells ----

TEST_F(Store, AStuckCellInAJournalSlotMovesToTheNextSlot) {
    Format();
    Fault("module.eeprom_stuck", {{"address", 0xF003}, {"value", 0x11}});
    const Bytes bytes = Pattern(128, 5);
    EXPECT_EQ(128, Write(0, bytes));
    EXPECT_EQ(1, valid_module.buff_err);
    EXPECT_EQ(2, buffer_id);
    ExpectHolds(0, bytes);
    EXPECT_EQ(1, ModuleCopy(0).buff_err) << "kept";
}

TEST_F(Store, AStuckCellInTheSlotsSecondHalfMovesToTheNextSlot) {
    Format();
    Fault("module.eeprom_stuck", {{"address", 0xF080}, {"value", 0x11}});  // its state
    const Bytes bytes = Pattern(128, 5);
    EXPECT_EQ(128, Write(0, bytes));
    EXPECT_EQ(1, valid_module.buff_err);
    EXPECT_EQ(bytes, ImageBytes(0xF100, 128)) << "journalled in slot 1";
    ExpectHolds(0, bytes);
}

TEST_F(Store, AStuckCellInAPageIsFoundByReadingOnly) {
    Format();
    Bytes bytes = Pattern(128, 5);
    Fault("module.eeprom_stuck", {{"address", 0x0805}, {"value", bytes[5] ^ 1}});
    EXPECT_EQ(128, Write(0, bytes));
    EXPECT_EQ(0, valid_module.syspara_err);
    int32_t result = 0;
    bytes[5] ^= 1;
    EXPECT_EQ(bytes, Read(0, 128, result));
    EXPECT_EQ(-999, result);
}

TEST_F(Store, WithEveryJournalSlotDamagedAWriteGoesOn) {
    Format();
    nlohmann::json cells = nlohmann::json::array();
    for (int slot = 0; slot < 16; ++slot)
        cells.push_back({{"address", 0xF003 + 256 * slot}, {"value", 0x11}});
    Fault("module.eeprom_stuck", cells);
    const Bytes bytes = Pattern(128, 6);
    EXPECT_EQ(128, Write(0, bytes));
    EXPECT_EQ(0xFFFF, ModuleCopy(0).buff_err);
    EXPECT_THAT(operator_.Lines(), Contains("adjust: optic_eeprom_write: buffer_valid failed."));
    ExpectHolds(0, bytes);
}

TEST_F(Store, AStuckCellInAChecksumPageMovesToTheNextPartition) {
    Format();
    Fault("module.eeprom_stuck", {{"address", 0xE000}, {"value", 0x11}});
    const Bytes bytes = Pattern(128, 6);
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

TEST_F(Store, StuckCellsInTwoCopiesOfTheModuleRecordMoveToTheThird) {
    Format();
    Fault("module.eeprom_stuck",
          {{{"address", 2}, {"value", 0x11}}, {{"address", 128 + 2}, {"value", 0x11}}});
    valid_module.crc_err = 4;
    EXPECT_EQ(0, module_update_info(&valid_module));
    EXPECT_EQ(2, valid_module.module_index);
    EXPECT_EQ(3, valid_module.module_err);
    const module_part expected = valid_module;
    for (const int copy : {2, 3}) {
        const module_part record = ModuleCopy(copy);
        EXPECT_EQ(0, memcmp(&expected, &record, sizeof expected)) << copy;
    }
    ResetVariables();
    Open();
    EXPECT_EQ(0, memcmp(&expected, &valid_module, sizeof expected)) << "copy 2 is taken";
}

TEST_F(Store, WithoutAnyGoodCopyTheModuleRecordIsReportedDamaged) {
    Format();
    nlohmann::json cells = nlohmann::json::array();
    for (int copy = 0; copy < 4; ++copy)
        cells.push_back({{"address", 2 + 128 * copy}, {"value", 0x11}});
    Fault("module.eeprom_stuck", cells);
    ResetVariables();
    output_ = test::Printed([] { EXPECT_EQ(-999, module_get_valid_info(&valid_module)); });
    EXPECT_EQ(3, valid_module.module_index) << "kept";
    EXPECT_EQ(15, valid_module.module_err);
    EXPECT_THAT(operator_.Lines(), Contains("adjust: module_part_broken: all module partition damaged.\r\n"));
    EXPECT_EQ("adjust: module_get_valid_info: all eeprom module info damaged.\n", operator_.Lines().back());
    EXPECT_THAT(output_, HasSubstr("module_get_valid_info: all eeprom module info damaged.\n"));
}

TEST_F(Store, WithoutAnyGoodChecksumPartitionAWriteGivesUpTheParameterPartition) {
    Format();
    nlohmann::json cells = nlohmann::json::array();
    for (int part = 0; part < 4; ++part)
        cells.push_back({{"address", 0xE000 + 1024 * part}, {"value", 0x11}});
    Fault("module.eeprom_stuck", cells);
    EXPECT_EQ(-999, crc_update(0, 1, &valid_crc));
    EXPECT_EQ(3, valid_module.crc_index);
    EXPECT_EQ(15, valid_module.crc_err);
    EXPECT_THAT(operator_.Lines(), Contains("adjust: Opt eeprom: all crc partition damaged.\n"));

    operator_.Clear();
    EXPECT_EQ(-999, Write(0, {1}));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: optic_eeprom_write: crc update err with -999."));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: optic_eeprom_write: syspara part0 damaged."));
    EXPECT_EQ(1, ModuleCopy(0).syspara_index);
    EXPECT_EQ(1, ModuleCopy(0).syspara_err);

    operator_.Clear();
    EXPECT_EQ(-3, Write(0, {1}));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: optic_eeprom_write: syspara part1 damaged."));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: Opt eeprom: all syspara partition damaged.\r\n"));
    EXPECT_EQ(1, ModuleCopy(0).syspara_index) << "kept";
    EXPECT_EQ(3, ModuleCopy(0).syspara_err);
}

TEST_F(Store, AChecksumWriteBesideDamagedCellsIsStillGood) {
    Format();
    // The page written lies in checksum page 1; only page 0 of the partition is damaged.
    Fault("module.eeprom_stuck", {{"address", 0xE000}, {"value", 0x11}});
    EXPECT_EQ(1, Write(27 * 128, {5}));
    EXPECT_EQ(0, valid_module.crc_index);
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
    const Bytes page = Pattern(128, 7);
    buffer_id = 3;
    EXPECT_EQ(0, buffer_valid(16 + 30, page.data()));
    PowerOn();
    EXPECT_TRUE(Open());
    EXPECT_THAT(operator_.Lines(), Contains("adjust: power_dowm_recovery: syspara recover.\r\n"));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: power_dowm_recovery: page_addr=46\r\n"));
    EXPECT_EQ(16 + 30, pvalid_buffer->page_addr) << "the pending entry is kept";
    EXPECT_EQ(0, memcmp(&pvalid_buffer->buff_data, page.data(), 128));
    EXPECT_EQ(4, buffer_id);
    ExpectHolds(30 * 128, page);
    PowerOn();
    EXPECT_FALSE(Open()) << "released";
}

TEST_F(Store, ASecondOpeningDoesNotReplayWhatTheFirstDid) {
    Format();
    const Bytes newer = Pattern(128, 8);
    buffer_id = 3;
    EXPECT_EQ(0, buffer_valid(16 + 30, Pattern(128, 7).data()));
    ResetVariables();
    EXPECT_TRUE(Open());
    EXPECT_EQ(128, Write(30 * 128, newer));
    EXPECT_FALSE(Open());
    EXPECT_NE(BUFFER_STATE_PENDING, pvalid_buffer->state);
    EXPECT_EQ(newer, ImageBytes(SYSPARA_BASE_ADDR + 30 * 128, 128));
    ExpectHolds(30 * 128, newer);
}

TEST_F(Store, ARecordIsReplayedOnce) {
    Format();
    EXPECT_EQ(0, buffer_valid(16 + 30, Pattern(128, 7).data()));
    ResetVariables();
    EXPECT_TRUE(Open());
    EXPECT_EQ(128, Write(30 * 128, Pattern(128, 8)));
    const uint8_t slot = buffer_id;
    const Bytes before = ImageBytes(0, k905::EepromCells::kSize);
    operator_.Clear();
    power_dowm_recovery(pvalid_buffer);
    EXPECT_EQ(0, memcmp(before.data(), Image(), before.size()));
    EXPECT_EQ(slot, buffer_id);
    EXPECT_THAT(operator_.Lines(), ElementsAre());
}

// A record of zeros names page 0, which belongs to the module record.
TEST_F(Store, ARecordThatIsNotPendingIsNotReplayed) {
    Format();
    const Bytes before = ImageBytes(0, k905::EepromCells::kSize);
    for (const uint16_t state : {0, BUFFER_STATE_EMPTY, 0x5AA5}) {
        buffer_part record = {};
        record.state = state;
        power_dowm_recovery(&record);
        EXPECT_EQ(0, memcmp(before.data(), Image(), before.size())) << state;
        EXPECT_EQ(0, buffer_id) << state;
    }
    power_dowm_recovery(nullptr);
}

TEST_F(Store, WhereNothingIsPendingTheCallersRecordIsEmptied) {
    Format();
    buffer_part pending = {};
    pending.state = BUFFER_STATE_PENDING;
    pending.page_addr = 16;
    buffer_part slot = pending;
    EXPECT_EQ(0, buffer_get_valid_info(&slot));
    EXPECT_EQ(0, slot.state) << "every slot is empty";
    slot = pending;
    valid_module.buff_part_count = 0;
    EXPECT_EQ(0, buffer_get_valid_info(&slot));
    EXPECT_EQ(0, slot.state) << "no slots";
    slot = pending;
    valid_module.buff_part_count = 16;
    EXPECT_EQ(0, buffer_valid(16, Pattern(128, 9).data()));
    Image()[BUFF_BASE_ADDR] ^= 1;
    EXPECT_EQ(1, buffer_get_valid_info(&slot));
    EXPECT_EQ(0, slot.state) << "a damaged slot";
    EXPECT_EQ(-1, buffer_get_valid_info(nullptr));
}

TEST_F(Store, ADamagedSlotIsNotReplayed) {
    Format();
    const Bytes page = Pattern(128, 8);
    EXPECT_EQ(0, buffer_valid(16, page.data()));
    Bytes torn = page;
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
    EXPECT_THAT(operator_.Lines(), Contains("adjust: power_dowm_recovery: crc recover.\r\n"));
    EXPECT_EQ(0x12345678u, valid_crc.crc_data[2].crc[1]);
    module_part module = valid_module;
    module.crc_err = 4;
    EXPECT_EQ(0, buffer_valid(1, reinterpret_cast<uint8_t*>(&module)));
    PowerOn();
    EXPECT_TRUE(Open());
    EXPECT_THAT(operator_.Lines(), Contains("adjust: power_dowm_recovery: module recover.\r\n"));
    EXPECT_EQ(4, ModuleCopy(0).crc_err);
}

// The slot names a page of the other partition: it is written, and has no checksum in the partition in use.
TEST_F(Store, APendingPageOfTheOtherPartitionGetsNoChecksum) {
    Format();
    const Bytes page = Pattern(128, 11);
    EXPECT_EQ(0, buffer_valid(232 + 3, page.data()));
    const Bytes sums = ImageBytes(0xE000, 0x1000);
    ResetVariables();
    EXPECT_TRUE(Open());
    EXPECT_EQ(page, ImageBytes(0x7400 + 3 * 128, 128));
    EXPECT_EQ(sums, ImageBytes(0xE000, 0x1000));
    EXPECT_THAT(operator_.Lines(), Contains("adjust: power_dowm_recovery: crc update err with -1.\r\n"));
    ResetVariables();
    EXPECT_FALSE(Open()) << "released";
}

TEST_F(Store, AReplayedPageCanBeReadAtOnce) {
    Format();
    const Bytes page = Pattern(128, 12);
    EXPECT_EQ(0, buffer_valid(16, page.data()));
    ResetVariables();
    EXPECT_TRUE(Open());
    uint8_t back[128] = {};
    EXPECT_EQ(0, eeprom_read_page(16, back));
    EXPECT_THAT(back, ElementsAreArray(page));
}
