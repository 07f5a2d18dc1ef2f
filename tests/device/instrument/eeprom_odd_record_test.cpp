// Module records with a good seal and numbers that cannot be: more partitions than there are, an index behind
// the last one, another place. Such a record is taken as it is, but reaches nothing that is not its own.
#include <string.h>

#include "tests/device/instrument/eeprom_fixture.h"

using test::Bytes;
using test::Pattern;
using testing::Contains;

namespace {

struct Odd {
    uint16_t count, index;
};

constexpr Odd kOdd[] = {{0, 0},      {0, 65535},   {1, 0},        {1, 1},     {2, 1}, {2, 2},
                        {4, 3},      {4, 4},       {5, 1},        {5, 3},     {5, 4}, {5, 5},
                        {4, 4096},   {65535, 0},   {65535, 3},    {65535, 4}, {8, 7}, {65535, 16},
                        {65535, 17}, {65535, 303}, {65535, 65535}};

// Is the partition in use one of the record's, and one of the `parts` that the EEPROM has?
bool IsThere(const Odd& odd, int parts) {
    return odd.index < odd.count && odd.index < parts;
}

// Everything but the module record is filled with a byte that no routine writes.
class OddRecord : public test::StoreTest {
  protected:
    OddRecord() {
        Format();
        memset(Image() + 512, 0xA5, k905::EepromCells::kSize - 512);
        Keep();
    }

    // The EEPROM as kept, the record in every copy and chosen.
    void Choose(const module_part& record) {
        Restore();
        for (int copy = 0; copy < 4; ++copy)
            PutModule(copy, record);
        output_ = test::Printed([] { EXPECT_EQ(0, module_get_valid_info(&valid_module)); });
        const module_part chosen = ModuleCopy(0);
        EXPECT_EQ(0, memcmp(&chosen, &valid_module, sizeof chosen)) << "taken as it is";
        operator_.Clear();
    }
    void ChooseModule(const Odd& odd) {
        module_part record = kept_.module;
        record.module_part_count = odd.count;
        record.module_index = odd.index;
        Choose(record);
    }
    void ChooseSyspara(const Odd& odd) {
        module_part record = kept_.module;
        record.syspara_part_count = odd.count;
        record.syspara_index = odd.index;
        Choose(record);
    }
    void ChooseCrc(const Odd& odd) {
        module_part record = kept_.module;
        record.crc_part_count = odd.count;
        record.crc_index = odd.index;
        Choose(record);
    }

    // The pages behind the module record are as kept, but for `pages` of them.
    void ExpectKeptBut(int firstPage, int pages) {
        const size_t from = static_cast<size_t>(firstPage) * 128,
                     to = from + static_cast<size_t>(pages) * 128;
        EXPECT_EQ(0, memcmp(kept_.image.data() + 512, Image() + 512, from - 512));
        EXPECT_EQ(0, memcmp(kept_.image.data() + to, Image() + to, kept_.image.size() - to));
    }
    void ExpectKept() { ExpectKeptBut(4, 0); }

    // A cell outside the seals of a module record or of a checksum page.
    void StickCell(const std::vector<int>& pages) {
        nlohmann::json cells = nlohmann::json::array();
        for (const int page : pages)
            cells.push_back({{"address", page * 128 + 120}, {"value", 0x11}});
        Fault("module.eeprom_stuck", cells);
    }
};

testing::Message Told(const Odd& odd) {
    return testing::Message() << "count " << odd.count << ", index " << odd.index;
}

}  // namespace

// ---- The module record's own copies ----

TEST_F(OddRecord, IsWrittenToTheCopiesThatThereAre) {
    for (const Odd& odd : kOdd) {
        SCOPED_TRACE(Told(odd));
        ChooseModule(odd);
        valid_module.buff_err = 2;
        const bool there = IsThere(odd, 4);
        EXPECT_EQ(there ? 0 : -999, module_update_info(&valid_module));
        for (uint16_t copy = 0; copy < 4; ++copy)
            EXPECT_EQ(copy >= odd.index && IsThere({odd.count, copy}, 4) ? 2 : 0, ModuleCopy(copy).buff_err)
                << copy;
        ExpectKept();
        EXPECT_EQ(odd.index, valid_module.module_index);
        EXPECT_EQ(0, valid_module.module_err) << "no copy was found damaged";
        if (!there) {
            EXPECT_THAT(operator_.Lines(),
                        Contains("adjust: module_part_broken: all module partition damaged.\r\n"));
        }
    }
}

TEST_F(OddRecord, IsNotWrittenWhenTheLastCopyIsDamaged) {
    StickCell({3});
    for (const uint16_t count : {4, 5, 65535}) {
        for (const uint16_t index : {0, 3}) {
            const Odd odd = {count, index};
            SCOPED_TRACE(Told(odd));
            ChooseModule(odd);
            EXPECT_EQ(-999, module_update_info(&valid_module));
            EXPECT_EQ(3, valid_module.module_index) << "the last one is kept";
            EXPECT_EQ(index == 0 ? 15 : 8, valid_module.module_err);
            ExpectKept();
        }
    }
}

TEST_F(OddRecord, MarksTheCopiesThatThereAre) {
    for (const Odd& odd : kOdd) {
        SCOPED_TRACE(Told(odd));
        ChooseModule(odd);
        const bool next = IsThere({odd.count, static_cast<uint16_t>(odd.index + 1)}, 4) && odd.index < 4;
        EXPECT_EQ(next ? 0 : -2, module_part_broken(&valid_module));
        EXPECT_EQ(odd.index + (next ? 1 : 0), valid_module.module_index);
        EXPECT_EQ(IsThere(odd, 4) ? 1 << odd.index : 0, valid_module.module_err);
    }
}

// ---- Checksums ----

TEST_F(OddRecord, ChecksumsAreWrittenToAPartitionThatIsThere) {
    crc_part sums = {};
    memset(&sums, 0x3C, sizeof sums);
    for (const Odd& odd : kOdd) {
        SCOPED_TRACE(Told(odd));
        ChooseCrc(odd);
        const Bytes records = ImageBytes(0, 512);
        const bool there = IsThere(odd, 4);
        EXPECT_EQ(there ? 0 : -999, crc_update(30, 1, &sums));
        EXPECT_EQ(odd.index, valid_module.crc_index);
        EXPECT_EQ(0, valid_module.crc_err) << "no partition was found damaged";
        EXPECT_EQ(records, ImageBytes(0, 512));
        const int page = 448 + 8 * odd.index + 1;
        there ? ExpectKeptBut(page, 1) : ExpectKept();
        if (there) {
            EXPECT_EQ(Bytes(128, 0x3C), ImageBytes(static_cast<uint32_t>(page) * 128, 128));
        } else {
            EXPECT_THAT(operator_.Lines(), Contains("adjust: Opt eeprom: all crc partition damaged.\n"));
        }
    }
}

TEST_F(OddRecord, ChecksumsDoNotMoveBeyondTheLastPartition) {
    StickCell({448 + 24});
    const crc_part sums = {};
    for (const uint16_t count : {4, 5, 65535}) {
        SCOPED_TRACE(count);
        ChooseCrc({count, 3});
        EXPECT_EQ(-999, crc_update(0, 1, &sums));
        EXPECT_EQ(3, ModuleCopy(0).crc_index);
        EXPECT_EQ(8, ModuleCopy(0).crc_err);
        ExpectKeptBut(448 + 24, 1);
        EXPECT_EQ(-2, crc_part_broken(&valid_module));
    }
}

TEST_F(OddRecord, ChecksumsAreTakenFromAPartitionThatIsThere) {
    for (const Odd& odd : kOdd) {
        SCOPED_TRACE(Told(odd));
        ChooseCrc(odd);
        crc_part sums = {};
        const bool there = IsThere(odd, 4);
        EXPECT_EQ(there ? 0 : -999, crc_get_valid_info(&sums));
        EXPECT_EQ(there ? 0xA5A5A5A5u : 0u, sums.crc_data[7].crc[26]);
        there ? ExpectKeptBut(448 + 8 * odd.index, 8) : ExpectKept();
    }
}

// ---- Parameters ----

TEST_F(OddRecord, ParametersAreWrittenToAPartitionThatIsThere) {
    const Bytes page = Pattern(128, 1);
    for (const Odd& odd : kOdd) {
        SCOPED_TRACE(Told(odd));
        ChooseSyspara(odd);
        int32_t result = 0;
        if (IsThere(odd, 2)) {
            EXPECT_EQ(128, Write(3 * 128, page));
            ExpectHolds(3 * 128, page);
            EXPECT_EQ(page, ImageBytes(SYSPARA_BASE_ADDR + 27648u * odd.index + 3 * 128, 128));
            continue;
        }
        const Bytes records = ImageBytes(0, 512);
        EXPECT_EQ(-3, Write(3 * 128, page));
        EXPECT_THAT(operator_.Lines(), Contains("adjust: Opt eeprom: all syspara partition damaged.\r\n"));
        EXPECT_EQ(records, ImageBytes(0, 512)) << "no partition was found damaged";
        ExpectKept();
        EXPECT_EQ(Bytes(128, 0), Read(3 * 128, 128, result));
        EXPECT_EQ(-999, result);
        EXPECT_THAT(operator_.Lines(), Contains("adjust: optic_eeprom_read: read eeprom data failed.\r\n"));
    }
}

TEST_F(OddRecord, ParametersDoNotMoveBeyondTheLastPartition) {
    StickCell({448, 456, 464, 472});  // every checksum partition
    for (const uint16_t count : {2, 5, 65535}) {
        SCOPED_TRACE(count);
        ChooseSyspara({count, 0});
        EXPECT_EQ(-999, Write(0, {1}));
        EXPECT_EQ(1, ModuleCopy(0).syspara_index);
        EXPECT_EQ(-3, Write(0, {1}));
        EXPECT_EQ(1, ModuleCopy(0).syspara_index);
        EXPECT_EQ(3, ModuleCopy(0).syspara_err);
    }
}

// Partition 303 would begin at page 16 + 216 * 303, 65464 in 16 bits: page 20 would seem to be its page 92.
TEST_F(OddRecord, APendingPageOfNoPartitionGetsNoChecksum) {
    for (const Odd& odd : {Odd{2, 2}, Odd{65535, 2}, Odd{65535, 303}, Odd{0, 0}}) {
        SCOPED_TRACE(Told(odd));
        ChooseSyspara(odd);
        const Bytes page = Pattern(128, 2);
        EXPECT_EQ(0, buffer_valid(20, page.data()));
        const crc_part sums = valid_crc;
        EXPECT_EQ(0, buffer_get_valid_info(pvalid_buffer));
        power_dowm_recovery(pvalid_buffer);
        EXPECT_EQ(page, ImageBytes(20 * 128, 128));
        EXPECT_EQ(0, memcmp(&sums, &valid_crc, sizeof sums));
        EXPECT_EQ(Bytes(0x1000, 0xA5), ImageBytes(CRC_BASE_ADDR, 0x1000));
        EXPECT_THAT(operator_.Lines(), Contains("adjust: power_dowm_recovery: crc update err with -1.\r\n"));
    }
}

// ---- Other places ----

TEST_F(OddRecord, OfAnotherPlaceReachesNothingElse) {
    const crc_part sums = {};
    const struct {
        const char* name;
        uint16_t module_part::*field;
        uint16_t value, index;  // of the partition in use
        int32_t module, crc, syspara;
    } places[] = {
        {"copies among the parameters", &module_part::module_base_addr, 0x0800, 0, -999, 0, 1},
        {"copies behind the last", &module_part::module_base_addr, 0x0200, 0, -999, 0, 1},
        {"copies far apart", &module_part::module_part_size, 0x4000, 1, -999, 0, 1},
        {"checksums in the journal", &module_part::crc_base_addr, 0xF000, 0, 0, -999, -999},
        {"first checksums among the parameters", &module_part::crc_base_addr, 0xDF80, 0, 0, 0, 1},
        {"checksums half in the journal", &module_part::crc_base_addr, 0xEC80, 0, 0, -999, -999},
        {"checksums far apart", &module_part::crc_part_size, 0xFFFF, 1, 0, -999, -3},
        {"parameters far apart", &module_part::syspara_part_size, 0xFFFF, 1, 0, 0, -3},
    };
    for (const auto& place : places) {
        SCOPED_TRACE(place.name);
        module_part record = kept_.module;
        record.*place.field = place.value;
        record.module_index = record.crc_index = record.syspara_index = place.index;
        Choose(record);
        EXPECT_EQ(place.module, module_update_info(&valid_module));
        ExpectKept();
        EXPECT_EQ(place.crc, crc_update(0, 1, &sums));
        ExpectKeptBut(448, 32);
        EXPECT_EQ(place.syspara, Write(0, {1}));
        EXPECT_EQ(Bytes(0x600, 0xA5), ImageBytes(0x0200, 0x600));
        EXPECT_EQ(Bytes(0xE00, 0xA5), ImageBytes(0xF200, 0xE00)) << "all slots but 0 and 1";
    }
}
