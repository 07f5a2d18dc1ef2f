#include "device/i2c_com.h"

#include <errno.h>

#include "tests/device/unit/instrument_fixture.h"

namespace {

// Line actions as digits, and what a sample of SDA gives: the bits of `bits`, first one first, then ones.
std::string actions;
std::string bits;
std::size_t sampled = 0;

uint8_t RecordAction(uint32_t action) {
    actions += static_cast<char>('0' + action);
    if (action == I2C_ACT_SELECT) {
        i2c_device_w = 0xa2;
        i2c_device_r = 0xa3;
    }
    if (action != I2C_ACT_GET_SDA)
        return 0;
    const bool high = sampled >= bits.size() || bits[sampled] == '1';
    ++sampled;
    return high ? 0x08 : 0;
}

const char* const kStart = "3241";
const char* const kStop = "3142";

// Clocks of one byte and of the acknowledge after it.
std::string Byte(unsigned byte) {
    std::string expected;
    for (unsigned mask = 0x80; mask != 0; mask >>= 1)
        expected += (byte & mask) != 0 ? "324" : "314";
    return expected + "324";
}

// Clocks of one byte read, with the acknowledge given.
std::string ByteRead(bool more) {
    std::string expected = "2";
    for (int i = 0; i < 8; ++i)
        expected += "3245";
    return expected + (more ? "314" : "324") + "3";
}

class I2cLines : public testing::Test {
  protected:
    I2cLines() {
        actions.clear();
        bits.clear();
        sampled = 0;
        I2C_Action = RecordAction;
    }
    ~I2cLines() override { I2C_Action = nullptr; }
};

using Eeprom = test::InstrumentTest;

}  // namespace

TEST_F(I2cLines, StartAndStop) {
    I2C_Start();
    EXPECT_EQ("3241", actions);
    actions.clear();
    I2C_Stop();
    EXPECT_EQ("3142", actions);
    actions.clear();
    I2C_Delay();
    EXPECT_EQ("", actions);
}

TEST_F(I2cLines, WriteCycleSendsTheMostSignificantBitFirst) {
    I2C_WriteCycle(0xa2);
    EXPECT_EQ("324314324314314314324314324", actions);
}

TEST_F(I2cLines, ReadsBytesWithTwoAddressBytes) {
    bits = "1010010100001111";
    uint8_t data[3] = {1, 1, 0xee};
    I2C_ReadREG(2, 0x1234, data, 2);
    EXPECT_EQ("0" + std::string(kStart) + Byte(0xa2) + Byte(0x12) + Byte(0x34) + kStart + Byte(0xa3) +
                  ByteRead(true) + ByteRead(false) + kStop,
              actions);
    EXPECT_EQ(0xa5, data[0]);
    EXPECT_EQ(0x0f, data[1]);
    EXPECT_EQ(0xee, data[2]);
}

TEST_F(I2cLines, TheOnlyByteOfAReadIsNotAcknowledged) {
    uint8_t data = 0;
    I2C_ReadREG(1, 0x1234, &data, 1);
    EXPECT_EQ(
        "0" + std::string(kStart) + Byte(0xa2) + Byte(0x34) + kStart + Byte(0xa3) + ByteRead(false) + kStop,
        actions);
    EXPECT_EQ(0xff, data);
}

TEST_F(I2cLines, OtherAddressWidthsSendNoAddress) {
    for (int width : {-1, 0, 3}) {
        actions.clear();
        const uint8_t byte = 0x5a;
        I2C_WriteREG(width, 0x1234, &byte, 1);
        EXPECT_EQ("0" + std::string(kStart) + Byte(0xa2) + Byte(0x5a) + kStop, actions);
        actions.clear();
        uint8_t read = 0;
        I2C_ReadREG(width, 0x1234, &read, 1);
        EXPECT_EQ("0" + std::string(kStart) + Byte(0xa2) + kStart + Byte(0xa3) + ByteRead(false) + kStop,
                  actions);
    }
}

TEST_F(I2cLines, WritesBytesInOrder) {
    const uint8_t bytes[] = {0x00, 0xff, 0x81};
    I2C_WriteREG(2, 0xff80, bytes, 3);
    EXPECT_EQ("0" + std::string(kStart) + Byte(0xa2) + Byte(0xff) + Byte(0x80) + Byte(0x00) + Byte(0xff) +
                  Byte(0x81) + kStop,
              actions);
}

TEST_F(I2cLines, NothingToMoveStillAddressesTheDevice) {
    uint8_t data = 0x77;
    I2C_WriteREG(1, 0x12, &data, 0);
    EXPECT_EQ("0" + std::string(kStart) + Byte(0xa2) + Byte(0x12) + kStop, actions);
    actions.clear();
    I2C_ReadREG(1, 0x12, &data, -5);
    EXPECT_EQ("0" + std::string(kStart) + Byte(0xa2) + Byte(0x12) + kStart + Byte(0xa3) + kStop, actions);
    EXPECT_EQ(0x77, data);
}

TEST_F(I2cLines, NullDataAndAMissingActionFunctionDoNothing) {
    I2C_ReadREG(2, 0, nullptr, 1);
    I2C_WriteREG(2, 0, nullptr, 1);
    EXPECT_EQ("", actions);
    I2C_Action = nullptr;
    I2C_Start();
    I2C_WriteCycle(1);
    I2C_Stop();
}

TEST_F(Eeprom, SelectingSetsTheAddressBytes) {
    i2c_device_w = i2c_device_r = 0;
    EXPECT_EQ(0, AT24C512_I2C_Action(0));
    EXPECT_EQ(0xa2, i2c_device_w);
    EXPECT_EQ(0xa3, i2c_device_r);
    EXPECT_EQ("", system_.Trace());
}

TEST_F(Eeprom, EachActionChangesItsLineAndKeepsTheOtherBits) {
    const struct {
        uint32_t action;
        uint16_t before, after;
    } cases[] = {
        {1, 0x07f8, 0x07f0}, {2, 0x07f0, 0x07f8}, {3, 0x07f8, 0x07e8}, {4, 0x07e8, 0x07f8},
        {1, 0x8001, 0x8001}, {2, 0x8001, 0x8009}, {3, 0xffff, 0xffef}, {4, 0x0000, 0x0010},
    };
    for (const auto& one : cases) {
        system_.Clear();
        system_.registers[1] = one.before;
        EXPECT_EQ(0, AT24C512_I2C_Action(one.action));
        char expected[80] = "";
        snprintf(expected, sizeof(expected), "reg read 0x30000002\nreg write 0x30000002 0x%04x\n", one.after);
        EXPECT_EQ(expected, system_.Trace());
    }
}

TEST_F(Eeprom, SamplesReadTheRegisterOnce) {
    system_.registers[1] = 0xffff;
    EXPECT_EQ(0x08, AT24C512_I2C_Action(5));
    EXPECT_EQ(0x10, AT24C512_I2C_Action(6));
    system_.registers[1] = 0xffe7;
    EXPECT_EQ(0, AT24C512_I2C_Action(5));
    EXPECT_EQ(0, AT24C512_I2C_Action(6));
    EXPECT_EQ("reg read 0x30000002\nreg read 0x30000002\nreg read 0x30000002\nreg read 0x30000002\n",
              system_.Trace());
}

TEST_F(Eeprom, UnknownActionsDoNothing) {
    EXPECT_EQ(0, AT24C512_I2C_Action(7));
    EXPECT_EQ(0, AT24C512_I2C_Action(0xffffffff));
    EXPECT_EQ("", system_.Trace());
}

TEST_F(Eeprom, WriteProtectionIsBitFive) {
    I2C_Action = nullptr;
    system_.registers[1] = 0x0001;
    AT24C512_WriteProtect();
    EXPECT_EQ(AT24C512_I2C_Action, I2C_Action);
    I2C_Action = nullptr;
    system_.registers[1] = 0x07f8;
    AT24C512_Startup();
    EXPECT_EQ(AT24C512_I2C_Action, I2C_Action);
    EXPECT_EQ(
        "reg read 0x30000002\nreg write 0x30000002 0x0021\n"
        "reg read 0x30000002\nreg write 0x30000002 0x07d8\n",
        system_.Trace());
}

TEST_F(Eeprom, ARegisterThatCannotBeReadIsNotOverwritten) {
    system_.registers[1] = 0x07f9;
    system_.Fail("reg read", EIO);
    for (uint32_t action = 1; action <= 4; ++action)
        AT24C512_I2C_Action(action);
    AT24C512_Startup();
    EXPECT_EQ("", Writes());
    EXPECT_EQ(0x07f9, system_.registers[1]);
}
