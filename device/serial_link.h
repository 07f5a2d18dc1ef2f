// The serial link to the measurement board, an ADuC848 that measures test-point voltages of the boards under
// test. One request is outstanding at a time: the requests share one pair of frame buffers and take no lock.
#pragma once

#include <stdint.h>
#include <termios.h>

#include "device/share_data.h"

// Command byte of a frame.
enum CommandList : uint8_t {
    START_ADC = 0,
    STOP_ADC = 1,
    GET_ADC_VALUE = 2,
    WRITE_PGA112 = 3,
    READ_PGA112 = 4,
    TP70_VREF = 5,
    GET_ALL_ADC_VALUE = 6,
    CONNECT = 7,
    GET_ZHIJU_ADC_VALUE = 8,  // fixture channels
    GET_Pulse_Width = 9,      // pulse-width channels
    GET_ADC_VALUE_FCT = 10,
    GET_Pulse_Width_TP5 = 11,
    ADC_CHECK = 12,
    VOLTAGE_1 = 13,  // the "1" output has the lower code
    VOLTAGE_0 = 14,
    CHANNEL_6300 = 15,
    CHANNEL_6301 = 16,
    CHANNEL_6303 = 17,
    CHANNEL_6307 = 18,
};

// Channel byte of a request: test points and supply rails. 0 to 11 are read with GET_ADC_VALUE, 12 to 35 (the
// fixture) with GET_ZHIJU_ADC_VALUE, 36 to 39 with GET_Pulse_Width. There is no channel 43.
enum AdcChanel : uint8_t {
    ADC_CHANEL_TP5 = 0,
    ADC_CHANEL_TP6 = 1,
    ADC_CHANEL_TP15 = 2,
    ADC_CHANEL_T70 = 3,
    ADC_CHANEL_VREF = 4,
    ADC_CHANEL_GND1 = 5,
    ADC_CHANEL_TP1 = 6,
    ADC_CHANEL_TP2 = 7,
    ADC_CHANEL_TP3 = 8,
    ADC_CHANEL_TP4 = 9,
    ADC_CHANEL_GND2 = 10,
    ADC_CHANEL_TP70_VREF = 11,
    ADC_VSYS_TP97 = 12,
    ADC_VSYS_1V8_TP103 = 13,
    ADC_VSYSIO_3V3_TP109 = 14,
    ADC_ARM_1V0_TP105 = 15,
    ADC_VSYS_5V_TP107 = 16,
    ADC_OPM_PWR_5V_TP113 = 17,
    ADC_FPGA_CORE_1V2_TP100 = 18,
    ADC_ADC_3V_TP99 = 19,
    ADC_MCU_3V3_TP127 = 20,
    ADC_OPM_7V_TP111 = 21,
    ADC_VSYSIO_SD_3V3_TP24 = 22,
    ADC_5V_A0 = 23,
    ADC_5V_A1 = 24,
    ADC_5V_A2 = 25,
    ADC_3_3V_A_TP14 = 26,
    ADC_7V_A_TP12 = 27,
    ADC_OPM_7V_TP114 = 28,
    ADC_F5V_A0 = 29,
    ADC_F5V_A1 = 30,
    ADC_F5V_A2 = 31,
    ADC_F5V_A3 = 32,
    ADC_FGND = 33,
    ADC_F5V_APD = 34,
    ADC_F6_5V_A_TP13 = 35,
    ADC_TP1_0 = 36,
    ADC_TP2 = 37,
    ADC_TP3 = 38,
    ADC_TP4 = 39,
    ADC_TP1_7 = 40,
    ADC_TP1_3 = 41,
    ADC_TP1_1 = 42,
    ADC_CHECK_0 = 44,
};

// Full-scale range byte of a request.
enum AdcRange : uint8_t {
    ADCRANGE_20MV = 0,
    ADCRANGE_40MV = 1,
    ADCRANGE_80MV = 2,
    ADCRANGE_160MV = 3,
    ADCRANGE_320MV = 4,
    ADCRANGE_640MV = 5,
    ADCRANGE_1280MV = 6,
    ADCRANGE_2560MV = 7,
};

// The open port, -1 while closed.
extern int serialFD;

// Fills a settings record for raw 8-bit transfer at the given baud code (B115200, ...).
void SetTermios(struct termios* pTermios, tcflag_t uiBaud);

// Opens and configures /dev/ttyS0. Returns 0, OPM_ERR_SERIAL_OPEN, or OPM_ERR_SERIAL_REOPEN when it is open
// already.
int32_t SerialInit();

// Connect toggles of the OPM adjust, OPM test and main board screen (thread functions, the argument is
// unused): open the port and shake hands with the board, or close the port when it is open. They report to
// their screen and keep the share's mutex for the whole handshake (up to three waits of 5 s). Return a
// pointer to a status word that stays 0.
void* SerialInitThd(void* pArg);
void* SerialInitThd1(void* pArg);
void* SerialInitThd2(void* pArg);

// Writes len bytes and waits until they have left the port. Returns the bytes written, negative on failure.
int32_t SerialSendData(const uint8_t* data, int len);

// Waits for a reply, 5 s and the fraction of a second that the previous wait left over, and reads it into
// data (room for len bytes, 20 are read at most), clearing the rest. Returns 0, OPM_ERR_SERIAL_TIMEOUT (the
// wait failed too, or the port is closed), or OPM_ERR_RECV_LEN when the reply is not command_len + 1 bytes
// long (or there is no room for one).
int32_t SerialRecvData(uint8_t* data, int len, int command_len);

// Measures one channel, in volts. Returns 0, OPM_ERR_ADC_CHANNEL, OPM_ERR_SERIAL_WRITE, a code of
// SerialRecvData, or -1 for a null value. A failure leaves *value as it was, so callers preset it.
int32_t OPMGetAdcValue(AdcChanel chanel, AdcRange range, float* value);

// What callers preset: it lies outside every band.
constexpr float NO_READING = 99.99999f;
// Byte 0 of a reply, its length less one: without a pulse width and with one.
constexpr uint8_t SHORT_REPLY = 6;
constexpr uint8_t LONG_REPLY = 10;

// The same with a given command. command_len is SHORT_REPLY, or LONG_REPLY for a pulse width, which goes to
// *value_len (null when no width is expected); a reply that does not announce 10 bytes leaves *value_len as
// it was.
int32_t OPMGetZhijuAdcValue(AdcChanel chanel, AdcRange range, float* value, uint32_t* value_len,
                            CommandList command, int command_len);

// Tells the board to switch a DAC output or signal channel (VOLTAGE_1 to CHANNEL_6307); nothing is answered.
// Returns the bytes sent, or OPM_ERR_SERIAL_WRITE.
int32_t OPMSetDacChnnel(CommandList chanel, AdcRange range);
