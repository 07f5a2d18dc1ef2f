#include "tests/soak/checks.h"

#include <algorithm>
#include <cstdlib>

namespace k905::soak {

namespace {

const Reading kVoltages = {
    Check::kVoltages,
    {"|OK  TP97:", "|OK  TP103:", "|OK  TP109:", "|OK  TP105:", "|OK  TP107:", "|OK  TP113:", "|OK  TP100:",
     "|OK  TP99:", "|OK  TP57:", "|OK  TP24:", "|OK  TP114:", "|OK  TP36:", "|OK  TP68:"}};

const std::vector<Reading> kSummary = {
    {Check::kVoltages, {"|Voltage Check OK!"}}, {Check::kArmEeprom, {"|Arm Eeprom Check OK!"}},
    {Check::kUsb, {"|Usb Check OK!"}},          {Check::kDdr, {"|FPGA DDR Check OK!"}},
    {Check::kAdc, {"|ADC Check OK!"}},          {Check::kCard, {"|SDcard Check OK!"}},
};

const std::vector<const char*> kChannels = {"|6300channel: success!!!", "|6301channel: success!!!",
                                            "|6303channel: success!!!", "|6307channel: success!!!"};

}  // namespace

const char* NameOf(Screen screen) {
    static constexpr const char* kNames[kScreens] = {
        "start",      "main board",    "key check",  "optical menu", "OPM test",
        "OPM adjust", "optical check", "APD adjust", "E2PROM",
    };
    return kNames[static_cast<int>(screen)];
}

// The waits are those of the screens: a second's notice, 5 s for an answer of the measurement board (three
// times with the same text on Connect and on the module's voltages), 5 s for each of the two bits of an
// acquisition.
const std::vector<Work>& Works() {
    static const std::vector<Work> works = {
        {Screen::kMainBoard, "Connect", {{Check::kConnect, {"|Connect success!!!"}}}, 500, 17000, 300, 4},
        {Screen::kMainBoard, "Voltage Check", {kVoltages}, 500, 6000, 700, 3},
        {Screen::kMainBoard, "ADC", {{Check::kAdc, {"|OK! result = "}, 0.2, 0.3}}, 4000, 12000, 2700, 3},
        {Screen::kMainBoard,
         "Arm Eeprom",
         {{Check::kArmEeprom, {"|Arm Eeprom Check OK!"}}},
         500,
         2000,
         300,
         3},
        {Screen::kMainBoard, "Speaker Check", {}, 300, 300, 100, 1},
        {Screen::kMainBoard, "USB Check", {{Check::kUsb, {"|Usb Check OK!"}}}, 1500, 1500, 1200, 3},
        {Screen::kMainBoard, "FPGA DDR", {{Check::kDdr, {"|FPGA DDR OK!!"}}}, 300, 500, 200, 3},
        {Screen::kMainBoard, "Visible Check", {}, 300, 300, 100, 2},
        {Screen::kMainBoard, "battery voltage", {{Check::kBattery, {"|battery level = "}}}, 300, 500, 200, 3},
        {Screen::kMainBoard, "RTC", {{Check::kClock, {"|RTC  "}}}, 300, 500, 200, 3},
        {Screen::kMainBoard, "SDcard Check", {{Check::kCard, {"|Check SDcard OK!"}}}, 300, 500, 200, 3},
        {Screen::kMainBoard, "Auto", kSummary, 4000, 12000, 4600, 4},
        {Screen::kTest, "Connect", {{Check::kConnect, {"|Connect Success!!!"}}}, 500, 17000, 300, 3},
        {Screen::kTest,
         "Voltage Check",
         {{Check::kModuleVoltages, {"|OK  TP18:", "|OK  TP16:", "|OK  TP17:"}}},
         1000,
         17000,
         800,
         4},
        {Screen::kTest, "Signal chain", {{Check::kSignalChain, kChannels}}, 4000, 60000, 10000, 2},
        {Screen::kTest, "Eeprom Check", {{Check::kModuleEeprom, {"|Eeprom Check OK!"}}}, 1500, 8000, 500, 3},
        {Screen::kTest,
         "Temperature",
         {{Check::kTemperature, {"|Temperature = "}, 10, 40}},
         300,
         500,
         200,
         3},
        {Screen::kAdjust, "Connect", {{Check::kConnect, {"|Connect Success!!!"}}}, 500, 17000, 300, 2},
        {Screen::kAdjust, "Apd", {{Check::kApd, {"|Ad:"}, 0, 0, 45, 135}}, 1500, 15000, 5000, 2},
        {Screen::kAdjust, "Vdd", {{Check::kVdd, {"|Ad:"}, 0, 0, 145, 235}}, 500, 6000, 400, 3},
        {Screen::kAdjust, "Att0", {{Check::kAtt0, {"|Ad:"}, 0, 0, 245, 335}}, 2500, 15000, 2500, 3},
        {Screen::kAdjust,
         "Att1",
         {{Check::kAtt1, {"BlackLevel = "}, 45000, 65000, 345, 435}},
         3000,
         15000,
         2800,
         3},
        {Screen::kOptical,
         "Opt check",
         {{Check::kLightPath, {"1310 Optical check good", "1550 Optical check good", "check over!!!"}}},
         90000,
         300000,
         60000,
         1},
        {Screen::kOptical,
         "Dev adjust",
         {{Check::kOffset, {"|offset = ", "Adjust Success"}}},
         12000,
         12000,
         1000,
         3},
        {Screen::kApd,
         "Start",
         {{Check::kApdSearch, {"|APD Tuning Start Success!"}}},
         5000,
         30000,
         130000,
         1},
    };
    return works;
}

bool Passed(const Reading& reading, const std::vector<TextRun>& runs) {
    std::string lines;
    for (const TextRun& run : runs)
        if (reading.top <= run.y && run.y < reading.bottom)
            lines += "|" + run.text;
    const auto stands = [&](const char* text) { return lines.find(text) != std::string::npos; };
    if (!std::all_of(reading.pass.begin(), reading.pass.end(), stands))
        return false;
    if (reading.low == reading.high)
        return true;
    const std::string first = reading.pass.front();
    const double value = std::strtod(lines.c_str() + lines.find(first) + first.size(), nullptr);
    return reading.low <= value && value <= reading.high;
}

}  // namespace k905::soak
