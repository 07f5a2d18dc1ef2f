#include "device/opt_access.h"

#include <errno.h>

#include "tests/device/unit/instrument_fixture.h"

using OptAccess = test::InstrumentTest;

TEST_F(OptAccess, ReadsARegisterByItsByteAddress) {
    system_.registers[5] = 0xabcd;
    uint32_t value = 0x12345678;
    EXPECT_EQ(0, read_opt_reg(opticFD, 0x3000000a, &value));
    EXPECT_EQ(0xabcdu, value);
    EXPECT_EQ("reg read 0x3000000a\n", system_.Trace());
}

TEST_F(OptAccess, WritesTheLowSixteenBits) {
    uint32_t value = 0x98761234;
    EXPECT_EQ(0, write_opt_reg(opticFD, 0x30000014, &value));
    EXPECT_EQ("reg write 0x30000014 0x1234\n", system_.Trace());
    EXPECT_EQ(0x1234u, value);
}

TEST_F(OptAccess, LeavesTheDriversEchoInTheVariable) {
    system_.echo[10] = 0x0042;
    uint32_t value = 0x0abc;
    write_opt_reg(opticFD, 0x30000014, &value);
    EXPECT_EQ(0x42u, value);
    write_opt_reg(opticFD, 0x30000014, &value);
    EXPECT_EQ("reg write 0x30000014 0x0abc\nreg write 0x30000014 0x0042\n", system_.Trace());
}

TEST_F(OptAccess, AddressesAboveTheIndexRangeWrap) {
    uint32_t value = 7;
    write_opt_reg(opticFD, 0x30020014, &value);
    EXPECT_EQ("reg write 0x30000014 0x0007\n", system_.Trace());
}

TEST_F(OptAccess, PassesTheDriversResultOn) {
    system_.Fail("reg", EIO);
    uint32_t value = 0x10055;
    EXPECT_EQ(-1, read_opt_reg(opticFD, 0x3000000a, &value));
    EXPECT_EQ(0x0055u, value);
    EXPECT_EQ(-1, write_opt_reg(opticFD, 0x3000000a, &value));
    EXPECT_EQ(-1, read_opt_reg(-1, 0x3000000a, &value));
}

TEST_F(OptAccess, ReturnsAPositiveResultOfTheDriverAsItIs) {
    system_.Return("reg", 3);
    uint32_t value = 0;
    EXPECT_EQ(3, write_opt_reg(opticFD, 0x3000000a, &value));
}

TEST_F(OptAccess, FetchesSamples) {
    system_.samples = {1, 2, 65535};
    uint16_t samples[3] = {};
    EXPECT_EQ(0, opt_read_data(opticFD, samples, 3));
    EXPECT_EQ("data 3\n", system_.Trace());
    EXPECT_EQ(65535, samples[2]);
    system_.Fail("data", EIO);
    EXPECT_EQ(-1, opt_read_data(opticFD, samples, 3));
}

TEST_F(OptAccess, AsksForUpTo65535Samples) {
    static uint16_t samples[65535];
    opt_read_data(opticFD, samples, 65535);
    EXPECT_EQ("data 65535\n", system_.Trace());
}

TEST_F(OptAccess, RefusesNullWithoutTouchingTheDriver) {
    EXPECT_EQ(-1, read_opt_reg(opticFD, 0x30000002, nullptr));
    EXPECT_EQ(-1, write_opt_reg(opticFD, 0x30000002, nullptr));
    EXPECT_EQ(-1, opt_read_data(opticFD, nullptr, 1));
    EXPECT_EQ(-1, RunRegSequence(opticFD, nullptr, 1));
    EXPECT_EQ("", system_.Trace());
}

TEST_F(OptAccess, SequenceWritesValuesEchoesAndReadsWithTheirPauses) {
    system_.echo[18] = 0x0099;
    system_.registers[1] = 0x07f0;
    static const REG_STEP steps[] = {
        {OPM_ACQ_24_REG, 0, 1},        {OPM_ACQ_22_REG, REG_ECHO, 30}, {FPGA_CTRLOUT_REG, REG_READ, 0},
        {OPM_ACQ_1A_REG, REG_ECHO, 0}, {OPM_ACQ_1C_REG, 1024, 1000},
    };
    EXPECT_EQ(0, RunRegSequence(opticFD, steps));
    EXPECT_EQ(
        "reg write 0x30000024 0x0000\n"
        "sleep 1\n"
        "reg write 0x30000022 0x0099\n"
        "sleep 30\n"
        "reg read 0x30000002\n"
        "reg write 0x3000001a 0x07f0\n"
        "reg write 0x3000001c 0x0400\n"
        "sleep 1000\n",
        system_.Trace());
}

TEST_F(OptAccess, SequenceGoesOnAfterAFailureAndReturnsIt) {
    system_.Fail("reg write 0x30000002", EIO);
    static const REG_STEP steps[] = {{FPGA_CTRLOUT_REG, 1, 0}, {OPM_VDD_REG, 2, 0}};
    EXPECT_EQ(-1, RunRegSequence(opticFD, steps));
    static const REG_STEP backwards[] = {{OPM_VDD_REG, 2, 0}, {FPGA_CTRLOUT_REG, 1, 5}};
    EXPECT_EQ(-1, RunRegSequence(opticFD, backwards));
    EXPECT_EQ(
        "reg write 0x30000002 0x0001\nreg write 0x30000012 0x0002\n"
        "reg write 0x30000012 0x0002\nreg write 0x30000002 0x0001\nsleep 5\n",
        system_.Trace());
    EXPECT_EQ(0, RunRegSequence(opticFD, steps, 0));
}
