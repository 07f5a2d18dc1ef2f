// The measurement board's replies, and a serial port that fails. A stream (input_device.cpp): a byte chooses
// the next request, further ones its arguments; then, before what a call of it gets, how the call comes out:
// each write, each wait, each read (7 bytes for a voltage, 11 with a pulse width).
#include "device/serial_link.h"

#include <endian.h>
#include <string.h>
#include <unistd.h>

#include "device/opm_status.h"
#include "tests/fuzz/input_device.h"

using fuzz::Holds;

namespace {

constexpr uint32_t kNoWidth = 0x12345678;

bool IsCode(int32_t result) {
    return result == OPM_ERR_SERIAL_TIMEOUT || result == OPM_ERR_RECV_LEN || result == OPM_ERR_ADC_CHANNEL ||
           result == OPM_ERR_SERIAL_WRITE;
}

uint32_t BigEndian(const uint8_t* bytes) {
    uint32_t value = 0;
    memcpy(&value, bytes, sizeof value);
    return be32toh(value);
}

// A measurement came out so, in answer to the last read.
void CheckReading(int32_t result, AdcChanel channel, uint8_t length, float value, uint32_t width,
                  const fuzz::InputDevice& device) {
    Holds(result == 0 || IsCode(result), "a code of the link");
    if (result != 0) {
        Holds(value == NO_READING && width == kNoWidth, "a failure leaves what was there");
        return;
    }
    const uint8_t* reply = device.LastRead();
    uint32_t bits = 0;
    memcpy(&bits, &value, sizeof bits);
    Holds(device.LastCount() == length + 1 && reply[1] == channel, "the reply is as long and of the channel");
    Holds(bits == BigEndian(reply + 2), "the value is the reply's");
    Holds(width == (length == LONG_REPLY && reply[0] == LONG_REPLY ? BigEndian(reply + 6) : kNoWidth),
          "the width is the reply's");
}

void Measure(fuzz::InputDevice& device, bool withWidth) {
    const auto channel = static_cast<AdcChanel>(device.Rest().Byte());
    float value = NO_READING;
    uint32_t width = kNoWidth;
    const uint8_t length = withWidth ? LONG_REPLY : SHORT_REPLY;
    const int32_t result =
        withWidth ? OPMGetZhijuAdcValue(channel, ADCRANGE_2560MV, &value, &width, GET_Pulse_Width, length)
                  : OPMGetAdcValue(channel, ADCRANGE_2560MV, &value);
    CheckReading(result, channel, length, value, width, device);
}

void Switch(fuzz::InputDevice& device) {
    const int32_t result = OPMSetDacChnnel(static_cast<CommandList>(device.Rest().Byte()), ADCRANGE_20MV);
    Holds(result == OPM_ERR_SERIAL_WRITE || result == device.LastWrittenCount(), "the bytes that were sent");
}

void Toggle(const fuzz::InputDevice& device) {
    SerialInitThd2(nullptr);
    Holds((serialFD != -1) == (OPMGUIShare.usIsConnect == 1), "the port is open while the board is there");
    Holds(device.Open() == (serialFD != -1 ? 1 : 0), "and only then");
}

void Run(const uint8_t* bytes, size_t size) {
    fuzz::InputDevice device(fuzz::InputDevice::kStream, bytes, size);
    while (!device.AtEnd()) {
        const uint8_t choice = device.Rest().Byte() % 8;
        if (choice == 0 || serialFD == -1)
            Toggle(device);
        else if (choice == 1)
            Switch(device);
        else
            Measure(device, choice % 2 == 0);
    }
    if (serialFD != -1)
        Toggle(device);
    Holds(device.Open() == 0, "the port is closed");
}

const fuzz::Target target("serial", Run);

}  // namespace
