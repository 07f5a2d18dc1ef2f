#include <string.h>

#include "device/crc32.h"
#include "device/e2prom.h"
#include "device/i2c_com.h"
#include "tests/device/instrument/device_fixture.h"
#include "tests/support/golden_text.h"

namespace {

class ModuleEeprom : public test::DeviceTest {
  protected:
    ModuleEeprom() {
        StartUp();
        linked_->ClearTrace();
        for (unsigned i = 0; i < sizeof(page_); ++i)
            page_[i] = static_cast<uint8_t>(i ^ 0x5a);
    }

    void WritePage(uint16_t address) {
        AT24C512_Startup();
        I2C_WriteREG(2, address, page_, sizeof(page_));
        MsecSleep(10);
        AT24C512_WriteProtect();
    }

    uint32_t OutputRegister() {
        uint32_t value = 0;
        read_opt_reg(opticFD, FPGA_CTRLOUT_REG, &value);
        return value;
    }

    uint8_t page_[128];
    uint8_t back_[128] = {};
};

class BoardEeprom : public test::DeviceTest {
  protected:
    ~BoardEeprom() override { E2prom_close(); }

    // Writes the board's record with a check, as the main board test does.
    int32_t WriteRecord() {
        MAINEEPROM record = {};
        record.iIfSelectFlag = 13;
        record.ulCrc32 = crc32c(&record, offsetof(MAINEEPROM, ulCrc32));
        memcpy(page_.data, &record, sizeof(record));
        int32_t result = 0;
        output_ = test::Printed([&] { result = E2prom_write_check(0, page_.data); });
        return result;
    }

    PAGE page_ = {};
};

}  // namespace

TEST_F(ModuleEeprom, KeepsAPage) {
    WritePage(0x1280);
    I2C_ReadREG(2, 0x1280, back_, sizeof(back_));
    EXPECT_EQ(0, memcmp(page_, back_, sizeof(page_)));
    EXPECT_EQ("i2c module write 0x1280 128 bytes\ni2c module read 0x1280 128 bytes\n", Trace({"i2c"}));
}

// Every line change of a short write and its reading back, with what the part made of them.
TEST_F(ModuleEeprom, LinesOfATransfer) {
    const uint8_t bytes[] = {0xa5, 0x00, 0xff};
    AT24C512_Startup();
    I2C_WriteREG(2, 0x1280, bytes, sizeof(bytes));
    MsecSleep(10);
    AT24C512_WriteProtect();
    I2C_ReadREG(2, 0x1280, back_, sizeof(bytes));
    EXPECT_EQ(0, memcmp(bytes, back_, sizeof(bytes)));
    EXPECT_TRUE(test::MatchesGoldenText(Trace(), "traces/module_eeprom_transfer"));
}

TEST_F(ModuleEeprom, ReadsOneByte) {
    WritePage(0x1280);
    I2C_ReadREG(2, 0x1285, back_, 1);
    EXPECT_EQ(page_[5], back_[0]);
    EXPECT_EQ(0, back_[1]);
}

TEST_F(ModuleEeprom, LeavesTheVisibleLightAndTheOtherBitsAlone) {
    uint32_t value = 0x07f8 | CTRLOUT_VISIBLE_LIGHT;
    write_opt_reg(opticFD, FPGA_CTRLOUT_REG, &value);
    WritePage(0x0080);
    I2C_ReadREG(2, 0x0080, back_, sizeof(back_));
    const uint32_t lines = CTRLOUT_I2C_SDA | CTRLOUT_I2C_SCL;
    EXPECT_EQ((0x07f8u | CTRLOUT_VISIBLE_LIGHT) & ~lines, OutputRegister() & ~lines);
}

TEST_F(ModuleEeprom, WriteProtectionHolds) {
    WritePage(0x0100);
    uint8_t other[128] = {};
    I2C_WriteREG(2, 0x0100, other, sizeof(other));
    MsecSleep(10);
    I2C_ReadREG(2, 0x0100, back_, sizeof(back_));
    EXPECT_EQ(0, memcmp(page_, back_, sizeof(page_)));
}

TEST_F(ModuleEeprom, SilentPartReadsAsOnes) {
    WritePage(0x0080);
    Fault("module.eeprom_silent");
    I2C_ReadREG(2, 0x0080, back_, sizeof(back_));
    for (uint8_t byte : back_)
        EXPECT_EQ(0xff, byte);
}

TEST_F(BoardEeprom, KeepsItsRecord) {
    ASSERT_LE(0, E2prom_open());
    EXPECT_EQ(0, WriteRecord());
    PAGE back = {};
    EXPECT_EQ("uspagenum = 0\n", test::Printed([&] { EXPECT_LE(0, E2prom_read_page(0, back.data)); }));
    EXPECT_EQ(13, back.data[0]);
    EXPECT_EQ(0, memcmp(page_.data, back.data, sizeof(back)));
}

TEST_F(BoardEeprom, BusTrafficOfACheckedWrite) {
    ASSERT_LE(0, E2prom_open());
    EXPECT_EQ(0, WriteRecord());
    E2prom_close();
    EXPECT_TRUE(test::MatchesGoldenText(Trace(), "traces/e2prom_write_check"));
}

TEST_F(BoardEeprom, LastPageIsReachable) {
    ASSERT_LE(0, E2prom_open());
    memset(page_.data, 0x84, sizeof(page_.data));
    test::Printed([&] { EXPECT_EQ(0, E2prom_write_check(84, page_.data)); });
    EXPECT_NE(std::string::npos, Trace({"i2c"}).find("i2c mainboard write 0x2a00 128 bytes"));
}

TEST_F(BoardEeprom, StuckCellIsFound) {
    ASSERT_LE(0, E2prom_open());
    Fault("mainboard.eeprom_stuck", {{"address", 100}, {"value", 0x77}});
    EXPECT_EQ(-2, WriteRecord());
}

TEST_F(BoardEeprom, ProtectedPartIsFound) {
    ASSERT_LE(0, E2prom_open());
    Fault("mainboard.eeprom_protected");
    EXPECT_EQ(-2, WriteRecord());
}

TEST_F(BoardEeprom, SilentPartIsGivenUp) {
    ASSERT_LE(0, E2prom_open());
    Fault("mainboard.eeprom_silent");
    EXPECT_EQ(-1, WriteRecord());
    EXPECT_EQ("Eeprom poll no response, failed", output_);
}
