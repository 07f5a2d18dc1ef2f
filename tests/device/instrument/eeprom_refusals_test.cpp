// The store where a page cannot be read or written, or the wait for the part fails: steps that never fail by
// themselves, and whose codes the store hands on.
#include "device/i2c_com.h"
#include "tests/device/instrument/eeprom_fixture.h"
#include "tests/support/refusing.h"

using test::Bytes;
using test::Pattern;
using test::Refusing;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

REFUSABLE(eeprom_read_page, _Z16eeprom_read_pagetPh, (uint16_t page, uint8_t* bytes), (page, bytes))
REFUSABLE(eeprom_write_page, _Z17eeprom_write_pagetPKh, (uint16_t page, const uint8_t* bytes), (page, bytes))
REFUSABLE(check_eeprom_status, _Z19check_eeprom_statusv, (), ())

namespace {

constexpr int kAlways = 1000;

class RefusingStore : public test::StoreTest {
  protected:
    RefusingStore() {
        Format();
        operator_.Clear();
        StartTrace();
    }
    // Writes page 200 and compares; what the bus has seen of it in `bus_`.
    int32_t WriteCheck() {
        linked_->ClearTrace();
        const int32_t result = eeprom_write_check(200, page_.data());
        bus_ = linked_->TraceLines({"i2c"});
        return result;
    }

    const Bytes page_ = Pattern(128, 1);
    std::vector<std::string> bus_;
};

}  // namespace

TEST_F(RefusingStore, APartThatDoesNotAnswerIsNotWritten) {
    const Refusing refusing("check_eeprom_status", -1);
    EXPECT_EQ(-998, WriteCheck());
    EXPECT_THAT(bus_, IsEmpty());
}

TEST_F(RefusingStore, APartThatDoesNotAnswerAfterTheWriteIsNotReadBack) {
    const Refusing refusing("check_eeprom_status", -1, 2);
    EXPECT_EQ(-998, WriteCheck());
    EXPECT_THAT(bus_, ElementsAre("i2c module write 0x6400 128 bytes"));
}

TEST_F(RefusingStore, APageIsWrittenInTenTries) {
    {
        const Refusing refusing("eeprom_write_page", -1, 1, 9);
        EXPECT_EQ(0, WriteCheck());
        EXPECT_EQ(page_, ImageBytes(0x6400, 128));
        EXPECT_THAT(operator_.Lines(), IsEmpty());
    }
    const Refusing refusing("eeprom_write_page", -1, 1, 10);
    EXPECT_EQ(-999, WriteCheck());
    EXPECT_THAT(operator_.Lines(),
                ElementsAre("adjust: 1.write check failed, write eeprom_page_off:200 \r\n"));
    EXPECT_THAT(bus_, IsEmpty()) << "and not read back";
}

TEST_F(RefusingStore, APageIsReadBackInTenTries) {
    {
        const Refusing refusing("eeprom_read_page", -1, 1, 9);
        EXPECT_EQ(0, WriteCheck());
        EXPECT_THAT(operator_.Lines(), IsEmpty());
    }
    const Refusing refusing("eeprom_read_page", -1, 1, 10);
    EXPECT_EQ(-999, WriteCheck());
    EXPECT_THAT(operator_.Lines(), ElementsAre("adjust: 3. write check failed, read back PageNum:200 \r\n"));
}

// Unlike damaged checksums, a part without an answer costs no partition.
TEST_F(RefusingStore, AWriteWithoutAnAnswerIsToldAndGivesNoPartitionUp) {
    const Refusing refusing("check_eeprom_status", -1, 1, kAlways);
    EXPECT_EQ(-998, Write(0, page_));
    EXPECT_THAT(operator_.Lines(),
                Contains("adjust: optic_eeprom_write: no response, write syspara failed."));
    EXPECT_EQ(0, valid_module.syspara_index);
    EXPECT_EQ(0, valid_module.syspara_err);
    EXPECT_EQ(0, valid_module.crc_err);
}

TEST_F(RefusingStore, ACopyOfTheModuleRecordThatCannotBeReadIsToldAndPassedOver) {
    module_part other = valid_module;
    other.syspara_index = 1;
    PutModule(1, other);
    module_part chosen = {};
    const Refusing refusing("eeprom_read_page", -1);
    const std::string printed = test::Printed([&] { EXPECT_EQ(0, module_get_valid_info(&chosen)); });
    EXPECT_THAT(printed, testing::HasSubstr("module_get_valid_info: read eeprom module info failed. \r\n"));
    EXPECT_EQ(1, chosen.syspara_index);
}

TEST_F(RefusingStore, ChecksumsThatCannotBeReadLeaveTheCallersAlone) {
    crc_part sums;
    memset(&sums, 0xC3, sizeof sums);
    const crc_part before = sums;
    const Refusing refusing("eeprom_read_page", -7, 8);
    EXPECT_EQ(-7, crc_get_valid_info(&sums));
    EXPECT_EQ(0, memcmp(&before, &sums, sizeof sums));
}

TEST_F(RefusingStore, ParametersThatCannotBeReadAreNotDelivered) {
    Bytes bytes(256, 0xC3);
    const Refusing refusing("eeprom_read_page", -7, 2);
    EXPECT_EQ(-7, optic_eeprom_read(0, bytes.data(), 256));
    EXPECT_EQ(Bytes(256, 0xC3), bytes);
    EXPECT_THAT(operator_.Lines(), ElementsAre("adjust: optic_eeprom_read: read eeprom data failed.\r\n"));
}
