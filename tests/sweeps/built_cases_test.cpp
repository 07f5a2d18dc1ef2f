// A bad device and a failed call together, and a good device that cannot be asked: neither is a pass, and
// nothing that an earlier check said stays.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sweeps/session.h"

namespace k905::sweeps {
namespace {

using nlohmann::json;
using Controls = std::vector<const char*>;

struct Case {
    const char* name;
    Controls path;
    const char* control;
    const char* pass;               // what the good device brings, first of all
    json fault;                     // then its fault: {name: value}, null: it stays good
    json failure;                   // and the call that fails
    const char* told;               // what must stand there then, and no pass
    json before = nullptr;          // a fault that the good device has from the start on, as `fault`
    const char* between = nullptr;  // control that ends a check that goes on by itself
};

void PrintTo(const Case& one, std::ostream* out) {
    *out << one.name;
}

json Failing(const char* function, const char* caller, unsigned long times = 0) {
    return {{"do", "fail_call"}, {"function", function}, {"caller", caller}, {"times", times}};
}

const Controls kBoard = {"MainBoard_FCT"};
const Controls kConnected = {"MainBoard_FCT", "Connect"};
const Controls kModule = {"Opticl_FCT", "OPM_FCT"};
const Controls kAdjust = {"Opticl_FCT", "OPM_Adjust", "Connect"};
const Controls kApd = {"Opticl_FCT", "APD_Adjust"};
const json kGood;

// So many volts too much, or too little.
json Dac(const char* dac, double volts) {
    return {{"dac", dac}, {"offset", volts}};
}
// ATT0 as a run of Att0 leaves it, at code 0; and at its default code as the APD calibration leaves it.
const json kAtt0There = Dac("att0", 0.78), kAtt0ForApd = Dac("att0", -0.35);

const Case kCases[] = {
    {"ArmEepromStuckAndUnreadable",
     kBoard,
     "Arm Eeprom",
     "Arm Eeprom Check OK!",
     {{"mainboard.eeprom_stuck", {{"address", 3}, {"value", 7}}}},
     Failing("ioctl", "E2prom_read_page"),
     "Arm Eeprom Check Error!"},
    {"ArmEepromUnreadable", kBoard, "Arm Eeprom", "Arm Eeprom Check OK!", kGood,
     Failing("ioctl", "E2prom_read_page"), "Arm Eeprom Check Error!"},
    {"ArmEepromThatCannotBeOpened", kBoard, "Arm Eeprom", "Arm Eeprom Check OK!", kGood,
     Failing("open", "E2prom_open", 1), "Arm Eeprom Check Error!"},
    {"TwoSticksAndNoFolder",
     kBoard,
     "USB Check",
     "Usb Check OK!",
     {{"usb.two", true}},
     Failing("opendir", "UsbCheck", 1),
     "Usb Check Error!"},
    {"TwoSticksAndAFolderThatBreaksOff",
     kBoard,
     "USB Check",
     "Usb Check OK!",
     {{"usb.two", true}},
     {{"do", "fail_call"}, {"function", "readdir"}, {"caller", "UsbCheck"}, {"call", 4}},
     "Usb Check Error!"},
    {"LockedCardAndNoAnswer",
     kBoard,
     "SDcard Check",
     "Check SDcard OK!",
     {{"sd.read_only", true}},
     Failing("access", "ShowSDcardCheck", 1),
     "NO SDcard!"},
    {"CardThatCannotBeOpened", kBoard, "SDcard Check", "Check SDcard OK!", kGood,
     Failing("open", "ShowSDcardCheck", 1), "Write Error!"},
    {"MemoryBadAndRegisterUnreadable",
     kBoard,
     "FPGA DDR",
     "FPGA DDR OK!!",
     {{"fpga.ddr", true}},
     Failing("ioctl", "read_opt_reg"),
     "FPGA DDR ERROR!!"},
    {"RegisterUnreadable", kBoard, "FPGA DDR", "FPGA DDR OK!!", kGood, Failing("ioctl", "read_opt_reg", 1),
     "FPGA DDR ERROR!!"},
    {"ClockSilent", kBoard, "RTC", "RTC  ", kGood, Failing("ioctl", "RtcCheck", 1), "RTC ERROR!"},
    {"ClockBrokenAndCloseFails",
     kBoard,
     "RTC",
     "RTC  ",
     {{"rtc.failing", true}},
     Failing("close", "RtcCheck"),
     "RTC ERROR!"},
    {"BatteryShortAndUnreadable",
     kBoard,
     "battery voltage",
     "battery level",
     {{"power.short", true}},
     Failing("read", "Pwr_GetInfo", 1),
     "PowerDev"},
    {"LateRepliesAndDrainFails",
     kConnected,
     "Voltage Check",
     "OK  TP97",
     {{"board.reply_late", true}},
     Failing("tcdrain", "SendRequest"),
     "F.  TP97:   99.99999V"},
    {"RequestsThatCannotBeSent", kConnected, "Voltage Check", "OK  TP97", kGood,
     Failing("write", "SendRequest"), "F.  TP68:  99.99999V"},
    {"AdcPathOpenAndRegistersDeaf",
     kConnected,
     "ADC",
     "OK! result",
     {{"adc.path", true}},
     Failing("ioctl", "write_opt_reg"),
     "ADC Check ERROR, Maybe not connect!"},
    {"AdcWithoutSamples", kConnected, "ADC", "OK! result", kGood, Failing("ioctl", "opt_read_data"),
     "ADC Check ERROR, Maybe not connect!"},
    {"ModuleMemoryStuckAndRegistersUnreadable",
     kModule,
     "Eeprom Check",
     "Eeprom Check OK!",
     {{"module.eeprom_stuck", {{"address", 131}, {"value", 7}}}},
     Failing("ioctl", "read_opt_reg"),
     "Eeprom Check Error!"},
    {"ModuleMemoryUnreachable", kModule, "Eeprom Check", "Eeprom Check OK!", kGood,
     Failing("ioctl", "write_opt_reg"), "Eeprom Check Error!"},
    {"TemperatureUnreadable", kModule, "Temperature", "Temperature = 2", kGood,
     Failing("ioctl", "GetOpmTemperature"), "Temperature = 0.000000"},
    {"VddTooHighAndNoReadings",
     kAdjust,
     "Vdd",
     "Ad:",
     {{"dac.wrong", Dac("vdd", 0.75)}},
     Failing("write", "SendRequest"),
     "Ajust try times out."},
    {"Att1TooHighAndRegistersDeaf",
     kAdjust,
     "Att1",
     "Ad:",
     {{"dac.wrong", json::array({kAtt0There, Dac("att1", 0.75)})}},
     Failing("ioctl", "write_opt_reg"),
     "Ajust try times out.",
     {{"dac.wrong", kAtt0There}}},
    {"ApdOpenAndTemperatureUnreadable",
     kApd,
     "Start",
     "APD Tuning Start Success!",
     {{"optics.apd_defective", true}},
     Failing("ioctl", "GetOpmTemperature"),
     "APD Tuning Start Failed! ret = -1",
     {{"dac.wrong", kAtt0ForApd}},
     "Stop"},
};

class BadDeviceAndFailedCall : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(Cases, BadDeviceAndFailedCall, testing::ValuesIn(kCases),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(BadDeviceAndFailedCall, IsNoPassAndNoEarlierOneStays) {
    if (K905_SANITIZED)
        GTEST_SKIP() << "a caller is told by its function, and that build inlines others";
    const Case& one = GetParam();
    Session session;
    Bench& bench = session.At();
    bench.Request({{"do", "calls"}, {"action", "start"}});
    session.WaitForStart();
    for (const char* control : one.path)
        session.Open(control);
    for (const auto& [fault, value] : one.before.items())
        bench.Fault(fault, value);
    session.Try(one.control, 6000);
    ASSERT_TRUE(Shows(bench.Texts(), one.pass)) << bench.Describe();
    if (one.between != nullptr)
        session.Open(one.between);
    for (const auto& [fault, value] : one.fault.items())
        bench.Fault(fault, value);
    bench.Request(one.failure);

    session.Do(one.control, 15000);
    const json failed = bench.Request({{"do", "calls"}}).at("failed");
    EXPECT_TRUE(failed.is_object()) << "the call that is to fail was not made";
    EXPECT_TRUE(Shows(bench.Texts(), one.told)) << bench.Describe();
    for (const std::string& text : session.Seen())
        EXPECT_NE(0u, text.rfind(one.pass, 0)) << text;
    EXPECT_EQ(0, bench.Stop().status) << bench.DescribeEnding();
}

TEST(KeypadThatCannotBeReadAnyMore, LightsUpNoPicture) {
    Session session;
    Bench& bench = session.At();
    session.WaitForStart();
    session.Open("MainBoard_FCT");
    session.Open("Key Check");
    const Picture dark = bench.Screen();
    bench.Request({{"do", "fail_call"}, {"function", "read"}, {"caller", "CustomKeypadFunc"}, {"times", 0}});
    // The read that waits already is a good one.
    bench.Key("enter", "down");
    bench.Advance(1000);
    const Picture enter = bench.Screen();
    EXPECT_FALSE(dark.bytes == enter.bytes);
    bench.Key("f1", "down");
    bench.Advance(1000);
    EXPECT_TRUE(bench.Request({{"do", "calls"}}).at("failed").is_object());
    EXPECT_TRUE(enter.bytes == bench.Screen().bytes);
}

}  // namespace
}  // namespace k905::sweeps
