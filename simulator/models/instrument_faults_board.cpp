// Faults of the main board, and of the measurement board and its line.
#include <iterator>

#include "simulator/models/fault_rows.h"

namespace k905 {

namespace {

using Parts = Instrument::Parts;
using nlohmann::json;

std::string ReplyLate(Parts& parts, bool on, const json& value) {
    constexpr int kDefault = 6000, kMost = 600000;  // ms; the product waits 5 s
    if (on && !value.is_boolean() && !(value.is_number_integer() && value >= 1 && value <= kMost))
        return "board.reply_late takes milliseconds";
    const int delay = !on ? 0 : value.is_boolean() ? kDefault : value.get<int>();
    parts.board.SetReplyDelay(Micros{delay} * 1000);
    return "";
}

std::string BoardWrong(Parts& parts, bool on, const json& value) {
    constexpr double kMostVolts = 2.5, kMostGain = 2, kMostNoise = 1000;
    MeasurementBoard::ReadingError error;
    if (on &&
        !ReadFields(value, {{"offset", -kMostVolts, kMostVolts, [&](double volts) { error.offset = volts; }},
                            {"gain", 0, kMostGain, [&](double gain) { error.gain = gain; }},
                            {"noise", 0, kMostNoise, [&](double factor) { error.noise = factor; }}}))
        return "board.wrong takes {\"offset\": volts, \"gain\": factor, \"noise\": factor}";
    parts.board.SetReadingError(error);
    return "";
}

constexpr FaultRow kBoardRows[] = {
    {{"board.unplugged", "measurement board not on the serial port",
      "Connect: three times \"Read Serial Time Out.\", then \"Can not connect to aduc848 board!\""},
     Media},
    {{"board.reply_late", "every reply comes so many milliseconds late (true: 6000)",
      "\"Read Serial Time Out.\""},
     ReplyLate},
    {{"board.reply_short", "the last byte of every reply is lost", "\"Receive Data Length Error.\""},
     Toggle<&Parts::board, &MeasurementBoard::SetReplyShort>},
    {{"board.wrong_channel", "replies name the next channel",
      "Connect: \"Connect fail!!!\"; values 99.99999; loops: \"Ajust try times out.\""},
     Toggle<&Parts::board, &MeasurementBoard::SetReplyWrongChannel>},
    {{"board.garbage", "replies are random bytes of random number",
      "\"Receive Data Length Error.\", values fail"},
     Toggle<&Parts::board, &MeasurementBoard::SetReplyGarbage>},
    {{"board.wrong", "{\"offset\": volts, \"gain\": factor, \"noise\": factor}: its readings are off",
      "F. at the voltages that it takes beyond their limits; loops find other codes"},
     BoardWrong},
    {{"serial.missing", "no node /dev/ttyS0",
      "Connect: \"Connect fail!!!\", right after \"Open Serial Failed.\""},
     Toggle<&Parts::board, &MeasurementBoard::SetPortMissing>},
    {{"straps.unknown", "straps of no known board (1, 0, 1)",
      "console: empty FPGA file name and \"stat\" error; FPGA checks fail"},
     Toggle<&Parts::straps, &Straps::SetUnknown>},
    {{"rtc.failing", "the clock chip does not answer", "\"RTC ERROR!\""},
     Toggle<&Parts::rtc, &Rtc::SetFailing>},
    {{"rtc.stopped", "the clock chip's crystal stands still", "RTC shows the same time at each touch"},
     Toggle<&Parts::rtc, &Rtc::SetStopped>},
    {{"power.missing", "no power controller", "\"PowerDev ERROR!\""},
     Toggle<&Parts::power, &PowerController::SetMissing>},
    {{"power.short", "the power controller's second byte is lost", "\"PowerDev Info ERROR!\""},
     Toggle<&Parts::power, &PowerController::SetShort>},
};

}  // namespace

FaultRows BoardFaults() {
    return {std::begin(kBoardRows), std::end(kBoardRows)};
}

}  // namespace k905
