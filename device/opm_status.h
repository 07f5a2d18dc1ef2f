// Status codes of the device and optical routines; 0 is success. measure/opm_error.cpp has the message of
// each.
#pragma once

#include <stdint.h>

constexpr int32_t OPM_ERR_WAVELEN = -1;         // not a wavelength that the routine accepts
constexpr int32_t OPM_ERR_SERIAL_TIMEOUT = -2;  // the measurement board did not answer in time
constexpr int32_t OPM_ERR_SERIAL_OPEN = -3;     // the serial device could not be opened
constexpr int32_t OPM_ERR_REG_READ = -4;        // a register could not be read
constexpr int32_t OPM_ERR_REG_WRITE = -5;       // a register could not be written
constexpr int32_t OPM_ERR_FPGA_INIT = -6;       // the FPGA could not be loaded or started
constexpr int32_t OPM_ERR_DEV_OPEN = -7;        // the optic driver could not be opened
constexpr int32_t OPM_ERR_TRY_TIMEOUT = -8;     // an adjustment loop used up its tries
constexpr int32_t OPM_ERR_RECV_LEN = -9;        // an answer of the measurement board had the wrong length
constexpr int32_t OPM_ERR_ADC_CHANNEL = -11;    // an answer named another channel than the one asked for
constexpr int32_t OPM_ERR_SERIAL_WRITE = -12;   // a request could not be written
constexpr int32_t OPM_ERR_SERIAL_REOPEN = -13;  // the serial device was open already
