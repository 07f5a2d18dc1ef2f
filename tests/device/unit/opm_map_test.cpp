#include "device/opm_map.h"

#include <gtest/gtest.h>

TEST(OpmMap, IoctlsAreTheDriversNumbers) {
    EXPECT_EQ(0xc004f000u, OPTIC_IOC_READ_REG);
    EXPECT_EQ(0xc004f001u, OPTIC_IOC_WRITE_REG);
    EXPECT_EQ(0xc004f002u, OPTIC_IOC_READ_DATA);
    EXPECT_EQ(0xc004f003u, OPTIC_IOC_TEMPERATURE);
    EXPECT_EQ(0x40046600u, FPGA_IOC_CONFIG_SIZE);
    EXPECT_EQ(0x6601u, FPGA_IOC_CONFIG_END);
}

// Two bytes a register: the driver is not told the lowest bit.
TEST(OpmMap, RegistersLieAtTwiceTheirIndex) {
    const struct {
        unsigned index;
        uint32_t address;
    } registers[] = {
        {1, FPGA_CTRLOUT_REG},       {5, OPM_CTRL0_REG},   {6, OPM_CTRL1_REG},   {7, OPM_ATT0_REG},
        {8, OPM_ATT1_REG},           {9, OPM_VDD_REG},     {10, OPM_APD_REG},    {11, OPM_APD_BIAS_REG},
        {12, OPM_ACQ_18_REG},        {13, OPM_ACQ_1A_REG}, {14, OPM_ACQ_1C_REG}, {15, OPM_ACQ_1E_REG},
        {16, OPM_ACQ_20_REG},        {17, OPM_ACQ_22_REG}, {18, OPM_ACQ_24_REG}, {23, OPM_ACQ_CTRL_REG},
        {24, OPM_ACQ_30_REG},        {25, OPM_ACQ_32_REG}, {26, OPM_PHASE_REG},  {65, FPGA_SPEAKER_ON_REG},
        {66, FPGA_SPEAKER_TONE_REG},
    };
    for (const auto& one : registers)
        EXPECT_EQ(0x30000000u + 2 * one.index, one.address);
    EXPECT_EQ(32u, OPM_PHASE_COUNT);
}

TEST(OpmMap, BitsAndValues) {
    EXPECT_EQ(1u, CTRLOUT_VISIBLE_LIGHT);
    EXPECT_EQ(0x08u, CTRLOUT_I2C_SDA);
    EXPECT_EQ(0x10u, CTRLOUT_I2C_SCL);
    EXPECT_EQ(0x20u, CTRLOUT_EEPROM_WP);
    EXPECT_EQ(2040u, CTRLOUT_REST);
    EXPECT_EQ(0u, ACQ_IDLE);
    EXPECT_EQ(1u, ACQ_START);
    EXPECT_EQ(2u, ACQ_TRANSFER);
    EXPECT_EQ(0x80u, ACQ_DONE);
    EXPECT_EQ(0x20u, ACQ_READY);
}
