// The optical module as its drivers show it: device nodes, ioctl numbers and the FPGA's registers. Plain
// constants.
#pragma once

#include <stdint.h>

// Ioctls of /dev/optic0. The numbers carry size 4 whatever the size of the argument, as the driver was built.
constexpr uint32_t OPTIC_IOC_READ_REG = 0xc004f000;     // OPTARGUMENT
constexpr uint32_t OPTIC_IOC_WRITE_REG = 0xc004f001;    // OPTARGUMENT
constexpr uint32_t OPTIC_IOC_READ_DATA = 0xc004f002;    // OPTARG_DAT
constexpr uint32_t OPTIC_IOC_TEMPERATURE = 0xc004f003;  // int32_t, thousandths of a degree Celsius

// Ioctls of /dev/fpga0.
constexpr uint32_t FPGA_IOC_CONFIG_SIZE = 0x40046600;  // uint32_t, bytes of bitstream that will be written
constexpr uint32_t FPGA_IOC_CONFIG_END = 0x6601;       // no argument

// Registers, 16 bits each, by FPGA byte address 0x30000000 + 2 * index.
constexpr uint32_t FPGA_CTRLOUT_REG = 0x30000002;  // output control, bits below
constexpr uint32_t OPM_CTRL0_REG = 0x3000000a;     // current control 0: front amplifier, resistor (CurrCtrl0)
constexpr uint32_t OPM_CTRL1_REG = 0x3000000c;     // current control 1: wavelength (CurrCtrl1)
constexpr uint32_t OPM_ATT0_REG = 0x3000000e;      // 12-bit DAC codes from here ...
constexpr uint32_t OPM_ATT1_REG = 0x30000010;
constexpr uint32_t OPM_VDD_REG = 0x30000012;
constexpr uint32_t OPM_APD_REG = 0x30000014;       // APD high voltage
constexpr uint32_t OPM_APD_BIAS_REG = 0x30000016;  // ... to here
constexpr uint32_t OPM_ACQ_18_REG = 0x30000018;    // acquisition set-up
constexpr uint32_t OPM_ACQ_1A_REG = 0x3000001a;
constexpr uint32_t OPM_ACQ_1C_REG = 0x3000001c;
constexpr uint32_t OPM_ACQ_1E_REG = 0x3000001e;
constexpr uint32_t OPM_ACQ_20_REG = 0x30000020;
constexpr uint32_t OPM_ACQ_22_REG = 0x30000022;
constexpr uint32_t OPM_ACQ_24_REG = 0x30000024;
constexpr uint32_t OPM_ACQ_CTRL_REG = 0x3000002e;  // acquisition control and status, values below
constexpr uint32_t OPM_ACQ_30_REG = 0x30000030;
constexpr uint32_t OPM_ACQ_32_REG = 0x30000032;
constexpr uint32_t OPM_PHASE_REG = 0x30000034;  // first of OPM_PHASE_COUNT consecutive registers
constexpr unsigned OPM_PHASE_COUNT = 32;
constexpr uint32_t FPGA_SPEAKER_ON_REG = 0x30000082;
constexpr uint32_t FPGA_SPEAKER_TONE_REG = 0x30000084;

// Bits of FPGA_CTRLOUT_REG.
constexpr uint32_t CTRLOUT_VISIBLE_LIGHT = 0x01;
constexpr uint32_t CTRLOUT_I2C_SDA = 0x08;
constexpr uint32_t CTRLOUT_I2C_SCL = 0x10;
constexpr uint32_t CTRLOUT_EEPROM_WP = 0x20;  // 1 = the module's EEPROM is write protected
constexpr uint32_t CTRLOUT_REST = 0x07F8;     // value of the start-up, and after a calibration

// Values of OPM_ACQ_CTRL_REG: written to it, and bits read from it.
constexpr uint32_t ACQ_IDLE = 0;
constexpr uint32_t ACQ_START = 1;
constexpr uint32_t ACQ_TRANSFER = 2;
constexpr uint32_t ACQ_DONE = 0x80;   // the acquisition has finished
constexpr uint32_t ACQ_READY = 0x20;  // the samples can be fetched
