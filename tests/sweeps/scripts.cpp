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
// What the APD calibration says of its trial stands for 20 s, until the wait after it begins.
constexpr int kTrial = 10'000;

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

json Faulty(const char* name, const json& value = true) {
    return {{"do", "fault"}, {"name", name}, {"value", value}};
}

json With(const char* name, const json& value) {
    return {{"do", "set"}, {"name", name}, {"value", value}};
}

// On a module whose default ATT0 code is the calibration's, which else looks for it without a word for longer
// than its verdict stands.
void ApdReady(Session& session) {
    Path({"Opticl_FCT", "APD_Adjust"})(session);
    session.At().Request(Faulty("dac.wrong", {{"dac", "att0"}, {"offset", -0.35}}));
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

// The check passed while the device was good; then the device turns bad and the check is done again. Where
// that would not begin it anew, `between` is touched first: what goes on by itself is stopped, a link closed.
Script Bad(const char* name, const Work& path, const char* control, const json& turnsBad,
           const std::vector<const char*>& falseTexts, int idleMs = kCheck, const char* between = nullptr) {
    const auto reach = [=](Session& session) {
        path(session);
        session.Try(control, idleMs);
        if (between != nullptr)
            session.Open(between);
    };
    return {name, reach, [=](Session& session) { session.Do(control, idleMs); }, turnsBad, falseTexts};
}

// A DAC whose lowest codes give what should come of more than a thousand: too much for the last target of
// VDD, which is the one that counts, and for 0 V at ATT1.
json HighDac(const char* dac) {
    return {{"dac", dac}, {"offset", 0.75}};
}

const Work kBoard = Path({"MainBoard_FCT"});
const Work kBoardConnected = Path({"MainBoard_FCT", "Connect"});
const Work kTest = Path({"Opticl_FCT", "OPM_FCT"});
const Work kTestConnected = Path({"Opticl_FCT", "OPM_FCT", "Connect"});
const Work kAdjustConnected = Path({"Opticl_FCT", "OPM_Adjust", "Connect"});

Work Optical(const char* fibre) {
    return [fibre](Session& session) {
        Path({"Opticl_FCT", "OPT_Adjust"})(session);
        session.At().Set("optics.fibre", fibre);
    };
}

// ATT1 measures the right dark level on a right ATT0. Its DAC gives that at code 0 here: a run of Att0 would
// make all the calls of Att1, and nothing would tell later that Att1 has been started again.
const json kAtt0There = {{"dac", "att0"}, {"offset", 0.78}};
void Att1Ready(Session& session) {
    kAdjustConnected(session);
    session.At().Request(Faulty("dac.wrong", kAtt0There));
}

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
        {"StartUp", [](Session&) {}, StartUp, {}, {}},
        {"Menus", Path({}), Touching({"MainBoard_FCT", "Back", "Opticl_FCT", "E2PROM", "Back"}), {}, {}},
        {"MainBoard",
         kBoard,
         Touching({"Connect", "Voltage Check", "ADC", "Arm Eeprom", "Speaker Check", "USB Check", "FPGA DDR",
                   "Visible Check", "battery voltage", "RTC", "SDcard Check", "Visible Check"}),
         {},
         {}},
        {"Auto", kBoardConnected, Touching({"Auto"}), {}, {}},
        {"KeyCheck", kBoard, KeyCheck, {}, {}},
        {"OpmTest",
         kTest,
         Touching({"Connect", "Voltage Check", "Signal chain", "Eeprom Check", "Temperature"}),
         {},
         {}},
        {"OpmAdjust",
         Path({"Opticl_FCT", "OPM_Adjust"}),
         Touching({"Connect", "Apd", "Vdd", "Att0", "Att1"}),
         {},
         {}},
        {"OpticalCheck", Path({"Opticl_FCT", "OPT_Adjust"}), OpticalCheck, {}, {}},
        {"ApdAdjust", ApdReady, ApdAdjust, {}, {}},

        Bad("BadArmEeprom", kBoard, "Arm Eeprom",
            Faulty("mainboard.eeprom_stuck", {{"address", 3}, {"value", 7}}), {"Arm Eeprom Check OK"}),
        Bad("BadVoltages", kBoardConnected, "Voltage Check", Faulty("board.unplugged"), {"OK  TP"}),
        Bad("BadAdc", kBoardConnected, "ADC", Faulty("adc.path"), {"|OK! result"}),
        Bad("BadUsb", kBoard, "USB Check", Faulty("usb.missing"), {"Usb Check OK"}),
        Bad("BadCard", kBoard, "SDcard Check", Faulty("sd.read_only"), {"Check SDcard OK"}),
        Bad("BadMemory", kBoard, "FPGA DDR", Faulty("fpga.ddr"), {"FPGA DDR OK"}),
        Bad("BadClock", kBoard, "RTC", Faulty("rtc.failing"), {"RTC  "}),
        Bad("BadBattery", kBoard, "battery voltage", Faulty("power.missing"), {"battery level"}),
        Bad("BadLink", kBoard, "Connect", Faulty("board.wrong_channel"), {"Connect success"}, kCheck,
            "Connect"),
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
        Bad("BadVdd", kAdjustConnected, "Vdd", Faulty("dac.wrong", HighDac("vdd")), {"Ad:"}),
        Bad("BadAtt1", Att1Ready, "Att1", Faulty("dac.wrong", json::array({kAtt0There, HighDac("att1")})),
            {"Ad:"}),
        Bad("BadFibre", Optical("1.5 km"), "Opt check", With("optics.fibre", "none"),
            {"1310 Optical check good", "1550 Optical check good"}, kSearch),
        Bad("BadOffset", Optical("5 m"), "Dev adjust", Faulty("optics.laser_off"),
            {"offset = 1", "Adjust Success"}),
        Bad("BadApdSearch", ApdReady, "Start", Faulty("optics.apd_defective"), {"APD Tuning Start Success"},
            kTrial, "Stop"),
    };
    return scripts;
}

bool IsFalse(const Script& script, const std::string& text) {
    for (const std::string wrong : script.falseTexts)
        if (wrong[0] == '|' ? text.rfind(wrong.substr(1), 0) == 0 : text.find(wrong) != std::string::npos)
            return true;
    return false;
}

}  // namespace k905::sweeps
