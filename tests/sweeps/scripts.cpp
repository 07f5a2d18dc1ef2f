#include "tests/sweeps/scripts.h"

#include "simulator/panel/ctl_words.h"

namespace k905::sweeps {

namespace {

using nlohmann::json;
using Work = std::function<void(Session&)>;
using Controls = std::vector<const char*>;

// ms in which a running check may show nothing new: the longest wait for the measurement board, the search
// for a photodiode's working point.
constexpr int kCheck = 8'000, kSearch = 90'000;
// The APD calibration's wait tells every minute; before it stands its trial.
constexpr int kTrial = 30'000;

// From power-on through these controls.
Work Path(const Controls& controls) {
    return [controls](Session& session) {
        session.WaitForStart();
        for (const char* control : controls)
            session.Open(control);
    };
}

Work Touching(const Controls& controls) {
    return [controls](Session& session) {
        for (const char* control : controls)
            session.Do(control);
    };
}

// ---- Good devices ----

void StartUp(Session& session) {
    session.At().Advance(10'000);
    session.Look();
    session.Do("MainBoard_FCT");
}

void KeyCheck(Session& session) {
    session.Do("Key Check");
    for (const std::string& key : KeyNames()) {
        session.At().Key(key, "press");
        session.At().Advance(400);
    }
    session.At().Request({{"do", "knob"}, {"steps", 2}});
    session.At().Request({{"do", "knob"}, {"steps", -2}});
    session.At().Advance(1000);
    session.Look();
}

void OpticalCheck(Session& session) {
    session.At().Set("optics.fibre", "1.5 km");
    session.Do("Opt check", kSearch);
    session.At().Set("optics.fibre", "5 m");
    session.Do("Dev adjust", kSearch);
}

void ApdAdjust(Session& session) {
    session.Do("Start", kTrial);
    session.Do("Stop");
    session.Do("E2PROM");
}

// ---- Bad devices ----

// The check passed while the device was good; then the device goes bad and the check is done again.
Script Bad(const char* name, const Controls& path, const char* control, const json& bench,
           const std::vector<const char*>& falseTexts, int idleMs = kCheck) {
    const auto reach = [=](Session& session) {
        Path(path)(session);
        session.At().Set("optics.fibre", "1.5 km");
        session.Try(control, idleMs);
        session.At().Request(bench);
    };
    return {name, reach, [=](Session& session) { session.Do(control, idleMs); }, falseTexts};
}

json Faulty(const char* name, const json& value = true) {
    return {{"do", "fault"}, {"name", name}, {"value", value}};
}

json With(const char* name, const json& value) {
    return {{"do", "set"}, {"name", name}, {"value", value}};
}

const Controls kBoard = {"MainBoard_FCT"};
const Controls kBoardConnected = {"MainBoard_FCT", "Connect"};
const Controls kTest = {"Opticl_FCT", "OPM_FCT"};
const Controls kTestConnected = {"Opticl_FCT", "OPM_FCT", "Connect"};
const Controls kAdjustConnected = {"Opticl_FCT", "OPM_Adjust", "Connect"};
const Controls kOptical = {"Opticl_FCT", "OPT_Adjust"};

// All that Auto sums up is bad, but for the link.
const json kBadBoard = {{"do", "bench"},
                        {"set", {{"board.rail.TP97", 0.9}}},
                        {"faults",
                         {{"mainboard.eeprom_stuck", {{"address", 3}, {"value", 7}}},
                          {"usb.missing", true},
                          {"sd.read_only", true},
                          {"fpga.ddr", true},
                          {"adc.path", true}}}};

}  // namespace

const std::vector<Script>& Scripts() {
    static const std::vector<Script> scripts = {
        {"StartUp", [](Session&) {}, StartUp, {}},
        {"Menus", Path({}), Touching({"MainBoard_FCT", "Back", "Opticl_FCT", "E2PROM", "Back"}), {}},
        {"MainBoard",
         Path(kBoard),
         Touching({"Connect", "Voltage Check", "ADC", "Arm Eeprom", "Speaker Check", "USB Check", "FPGA DDR",
                   "Visible Check", "battery voltage", "RTC", "SDcard Check", "Visible Check"}),
         {}},
        {"Auto", Path(kBoardConnected), Touching({"Auto"}), {}},
        {"KeyCheck", Path(kBoard), KeyCheck, {}},
        {"OpmTest",
         Path(kTest),
         Touching({"Connect", "Voltage Check", "Signal chain", "Eeprom Check", "Temperature"}),
         {}},
        {"OpmAdjust",
         Path({"Opticl_FCT", "OPM_Adjust"}),
         Touching({"Connect", "Apd", "Vdd", "Att0", "Att1"}),
         {}},
        {"OpticalCheck", Path(kOptical), OpticalCheck, {}},
        {"ApdAdjust", Path({"Opticl_FCT", "APD_Adjust"}), ApdAdjust, {}},

        Bad("BadArmEeprom", kBoard, "Arm Eeprom",
            Faulty("mainboard.eeprom_stuck", {{"address", 3}, {"value", 7}}), {"Arm Eeprom Check OK"}),
        Bad("BadVoltages", kBoardConnected, "Voltage Check", Faulty("board.unplugged"), {"OK  TP"}),
        Bad("BadAdc", kBoardConnected, "ADC", Faulty("adc.path"), {"OK! result"}),
        Bad("BadUsb", kBoard, "USB Check", Faulty("usb.missing"), {"Usb Check OK"}),
        Bad("BadCard", kBoard, "SDcard Check", Faulty("sd.read_only"), {"Check SDcard OK"}),
        Bad("BadMemory", kBoard, "FPGA DDR", Faulty("fpga.ddr"), {"FPGA DDR OK"}),
        Bad("BadClock", kBoard, "RTC", Faulty("rtc.failing"), {"RTC  "}),
        Bad("BadBattery", kBoard, "battery voltage", Faulty("power.missing"), {"battery level"}),
        Bad("BadLink", kBoardConnected, "Connect", Faulty("board.wrong_channel"), {"Connect success"}),
        Bad("BadAuto", kBoardConnected, "Auto", kBadBoard,
            {"Voltage Check OK", "Arm Eeprom Check OK", "Usb Check OK", "FPGA DDR Check OK", "ADC Check OK",
             "SDcard Check OK"}),
        Bad("BadModuleEeprom", kTest, "Eeprom Check",
            Faulty("module.eeprom_stuck", {{"address", 131}, {"value", 7}}), {"Eeprom Check OK"}),
        Bad("BadModuleVoltages", kTestConnected, "Voltage Check", Faulty("board.unplugged"), {"OK  TP"}),
        Bad("BadTemperature", kTest, "Temperature", Faulty("optic.temperature_failing"), {"Temperature = 2"}),
        Bad("BadSignalChain", kTestConnected, "Signal chain", Faulty("adc.path"),
            {"6300channel: success", "6301channel: success", "6303channel: success", "6307channel: success"}),
        Bad("BadAtt0", kAdjustConnected, "Att0",
            Faulty("optic.register_stuck", {{"register", "0x3000000e"}, {"value", 0}}), {"Ad:"}),
        Bad("BadApd", kAdjustConnected, "Apd",
            Faulty("optic.register_stuck", {{"register", "0x30000014"}, {"value", 0}}), {"Ad:"}),
        Bad("BadFibre", kOptical, "Opt check", With("optics.fibre", "none"),
            {"1310 Optical check good", "1550 Optical check good", "check good"}, kSearch),
        Bad("BadOffset", kOptical, "Dev adjust", Faulty("optics.laser_off"),
            {"offset = 1", "Adjust Success"}),
    };
    return scripts;
}

}  // namespace k905::sweeps
