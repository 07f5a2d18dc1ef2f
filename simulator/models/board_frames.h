// Frames of the measurement board's serial protocol: a request is N, then N bytes: command, channel or range,
// ..., the terminator. A reply is N, the channel, the reading as a big-endian float, a count where one was
// asked for, 0.
#pragma once

#include <cstdint>

namespace k905 {

enum BoardCommand : std::uint8_t {
    kGetAdc = 2,
    kConnect = 7,
    kGetFixtureAdc = 8,
    kGetPulseWidth = 9,
    kVoltage1 = 13,
    kVoltage0 = 14,
    kChannel6300 = 15,
    kChannel6301 = 16,
    kChannel6303 = 17,
    kChannel6307 = 18,
};

constexpr struct {
    BoardCommand command;
    bool channel;  // of the board comes behind it
    const char* name;
} kBoardCommands[] = {
    {kGetAdc, true, "read"},
    {kConnect, false, "connect"},
    {kGetFixtureAdc, true, "read"},
    {kGetPulseWidth, true, "pulse width of"},
    {kVoltage1, false, "test voltage 1"},
    {kVoltage0, false, "test voltage 0"},
    {kChannel6300, false, "test signal to channel 6300"},
    {kChannel6301, false, "test signal to channel 6301"},
    {kChannel6303, false, "test signal to channel 6303"},
    {kChannel6307, false, "test signal to channel 6307"},
};

constexpr std::uint8_t kShortReply = 6, kLongReply = 10;  // N; the long one has a count

}  // namespace k905
