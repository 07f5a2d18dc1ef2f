// What each function of the devices refuses, each argument alone, without a word to the hardware; and
// descriptor 0, which is as good as any other.
#include "tests/support/guards.h"

#include "device/crc32.h"
#include "device/e2prom.h"
#include "device/eeprom.h"
#include "device/eeprom_internal.h"
#include "device/fpga.h"
#include "device/i2c_com.h"
#include "device/serial_link.h"
#include "tests/device/unit/instrument_fixture.h"

using test::ExpectGuards;
using Guards = test::InstrumentTest;

TEST_F(Guards, RegistersAndLink) {
    char text[8] = "before";
    uint8_t data[20] = {};
    serialFD = system_.OpenNode("/dev/ttyS0");
    test::Printed([&] {
        ExpectGuards({
            GUARD(-1, read_opt_reg(opticFD, 0x30000002, nullptr)),
            GUARD(-1, write_opt_reg(opticFD, 0x30000002, nullptr)),
            GUARD(-1, opt_read_data(opticFD, nullptr, 1)),
            GUARD(-1, RunRegSequence(opticFD, nullptr, 1)),
            GUARD(-1, fpga_init(nullptr)),
            GUARD(-1, GetOpmTemperature(opticFD, nullptr)),
            GUARD(-1, FormatTuningLine(-1, text, sizeof(text))),
            GUARD(-1, FormatTuningLine(24, text, sizeof(text))),
            GUARD(-1, FormatTuningLine(0, nullptr, sizeof(text))),
            GUARD(-1, SerialSendData(nullptr, 1)),
            GUARD(-1, SerialSendData(data, -1)),
            GUARD(-9, SerialRecvData(nullptr, 20, 6)),
            GUARD(-9, SerialRecvData(data, -1, 6)),
            GUARD(-1, OPMGetAdcValue(ADC_CHANEL_TP1, ADCRANGE_2560MV, nullptr)),
            GUARD(-1,
                  OPMGetZhijuAdcValue(ADC_CHANEL_TP1, ADCRANGE_2560MV, nullptr, nullptr, GET_ADC_VALUE, 6)),
            GUARD(0, SetTermios(nullptr, B115200), 0),
            GUARD(0, static_cast<long>(crc32c(nullptr, 5))),
        });
    });
    EXPECT_EQ("", system_.Trace());
    EXPECT_STREQ("before", text);
    EXPECT_EQ(0, FormatTuningLine(0, text, sizeof(text)));
    EXPECT_EQ(0, FormatTuningLine(23, text, sizeof(text)));
}

TEST_F(Guards, Eeproms) {
    uint8_t page[128] = {};
    crc_part checksums = {};
    module_part module = {};
    const std::string printed = test::Printed([&] {
        ExpectGuards({
            // Closed.
            GUARD(0, E2prom_close()),
            GUARD(-1, E2prom_read_page(0, page)),
            GUARD(-1, E2prom_write_page(0, page)),
            GUARD(-1, E2prom_polling()),
            GUARD(-1, Poll_E2prom()),
            GUARD(-1, E2prom_write_check(0, page)),

            GUARD(-1, eeprom_read_page(0, nullptr)),
            GUARD(-1, eeprom_write_page(0, nullptr)),
            GUARD(-1, eeprom_write_check(0, nullptr)),
            GUARD(1, eeprom_polling()),
            GUARD(-1, optic_eeprom_read(0, nullptr, 1)),
            GUARD(-1, optic_eeprom_write(0, nullptr, 1)),
            GUARD(-1, module_get_valid_info(nullptr)),
            GUARD(-1, crc_get_valid_info(nullptr)),
            GUARD(-1, buffer_get_valid_info(nullptr)),
            GUARD(0, power_dowm_recovery(nullptr), 0),
            GUARD(-1, module_set_definfo(nullptr)),
            GUARD(-1, module_update_info(nullptr)),
            GUARD(-1, module_part_broken(nullptr)),
            GUARD(-1, syspara_part_broken(nullptr)),
            GUARD(-1, crc_part_broken(nullptr)),
            GUARD(-1, crc_generate(0, 1, nullptr, &checksums)),
            GUARD(-1, crc_generate(0, 1, page, nullptr)),
            GUARD(-1, crc_generate(0, 0, page, &checksums)),
            GUARD(-1, crc_generate(216, 1, page, &checksums)),
            GUARD(-1, crc_generate(1, 216, page, &checksums)),
            GUARD(0, crc_generate(215, 1, page, &checksums)),
            GUARD(-1, crc_update(0, 1, nullptr)),
            GUARD(-1, crc_update(0, 0, &checksums)),
            GUARD(-1, crc_update(216, 1, &checksums)),
            GUARD(-1, crc_update(215, 2, &checksums)),
            GUARD(-999, crc_check(nullptr)),
            GUARD(-1, syspara_check(0, 1, nullptr, &checksums)),
            GUARD(-1, syspara_check(0, 1, page, nullptr)),
            GUARD(-1, syspara_check(0, 0, page, &checksums)),
            GUARD(-1, syspara_check(216, 1, page, &checksums)),
            GUARD(-1, syspara_check(215, 2, page, &checksums)),
            GUARD(0, syspara_check(215, 1, page, &checksums)),
            GUARD(-1, crc_set_definfo(nullptr)),
            GUARD(-1, buffer_valid(16, nullptr)),
            GUARD(1, buffer_check_single_valid(nullptr)),
            GUARD(0, debug(nullptr), 0),
            // A module record that has no partitions.
            GUARD(-2, module_part_broken(&module)),
            GUARD(-2, syspara_part_broken(&module)),
            GUARD(-2, crc_part_broken(&module)),
            GUARD(0, I2C_ReadREG(2, 0, nullptr, 1), 0),
            GUARD(0, I2C_WriteREG(2, 0, nullptr, 1), 0),
        });
    });
    EXPECT_EQ("", system_.Trace());
    EXPECT_EQ(std::string::npos, printed.find("module_base_addr"));
    EXPECT_EQ(0, module.module_err | module.syspara_err | module.crc_err);
}

// Three partitions of four pages, from page 8 on.
TEST_F(Guards, PartitionsThatTheEepromHas) {
    constexpr PARTITIONS there = {8, 4, 3};
    constexpr uint16_t base = 8 * EEPROM_PAGE_SIZE, size = 4 * EEPROM_PAGE_SIZE;
    ExpectGuards({
        GUARD(8, PartitionPage(there, base, size, 3, 0)),
        GUARD(16, PartitionPage(there, base, size, 3, 2)),
        GUARD(-1, PartitionPage(there, base, size, 3, 3)),
        GUARD(-1, PartitionPage(there, base, 0, 4, 3)),  // there are three
        GUARD(-1, PartitionPage(there, base, size, 2, 2)),
        GUARD(-1, PartitionPage(there, base, size, 0, 0)),
        GUARD(-1, PartitionPage(there, base - 1, size, 3, 0)),
        GUARD(16, PartitionPage(there, base + 2 * size, size, 3, 0)),
        GUARD(-1, PartitionPage(there, base + 2 * size + EEPROM_PAGE_SIZE, size, 3, 0)),
        GUARD(-1, PartitionPage(there, base, UINT16_MAX, 3, 2)),
    });
}

TEST_F(Guards, PagesOfTheMainBoard) {
    uint8_t page[128] = {};
    test::Printed([&] {
        ASSERT_LE(0, E2prom_open());
        system_.Clear();
        ExpectGuards({
            GUARD(-1, E2prom_open()),
            GUARD(-1, E2prom_read_page(0, nullptr)),
            GUARD(-1, E2prom_read_page(85, page)),
            GUARD(-1, E2prom_write_page(0, nullptr)),
            GUARD(-1, E2prom_write_page(85, page)),
        });
        EXPECT_EQ("", system_.Trace());
        ExpectGuards({
            GUARD(2, E2prom_read_page(84, page)),
            GUARD(1, E2prom_write_page(84, page)),
            GUARD(-1, E2prom_write_check(0, nullptr)),
        });
        E2prom_close();
    });
}

TEST_F(Guards, DescriptorZeroIsAsGoodAsAnyOther) {
    serialFD = -1;
    system_.HandOut(0);
    EXPECT_EQ(0, SerialInit());
    EXPECT_EQ(0, serialFD);
    uint8_t data[20] = {};
    system_.replies.push_back(std::string("\x06\x05\0\0\0\0#", 7));
    EXPECT_EQ(0, SerialRecvData(data, 20, 6));
    EXPECT_EQ(-13, SerialInit());
    close(serialFD);

    system_.HandOut(0);
    test::Printed([] {
        EXPECT_EQ(0, E2prom_open());
        EXPECT_EQ(0, iE2prom);
        EXPECT_EQ(-1, E2prom_open()) << "one user at a time";
        EXPECT_LE(0, E2prom_polling());
        EXPECT_EQ(0, E2prom_close());
    });
    EXPECT_EQ(-1, iE2prom);

    const char* const fpga = "/root/app/fct.bit";
    system_.files[fpga] = "bitstream";
    system_.HandOut(0);
    test::Printed([&] { EXPECT_EQ(0, fpga_init(fpga)) << "the loader is 0"; });
    EXPECT_EQ("bitstream", system_.fpga);

    opticFD = -1;
    system_.HandOut(0);
    test::Printed([] { EXPECT_EQ(0, OPMTestInit()); });
    ASSERT_EQ(0, opticFD);
    system_.Clear();
    OPMTestEnd();
    EXPECT_EQ("close optic0\n", system_.Trace("close"));
    EXPECT_EQ(-1, opticFD);
}
