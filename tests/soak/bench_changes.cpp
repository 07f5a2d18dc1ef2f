#include "tests/soak/bench_changes.h"

namespace k905::soak {

namespace {

using nlohmann::json;
using Checks = std::vector<Check>;
constexpr bool kFault = false, kQuantity = true;

json True(Dice&) {
    return true;
}
json False(Dice&) {
    return false;
}

template <int Low, int High>
json Whole(Dice& dice) {
    return dice.Between(Low, High);
}

// Neither value is one that the tested bytes hold.
template <int First, int Last>
json StuckCell(Dice& dice) {
    return {{"address", dice.Between(First, Last)}, {"value", dice.OneIn(2) ? 0xFF : 0xA5}};
}

template <int Low, int High>
json StuckRegister(Dice& dice) {
    return {{"register", dice.Between(Low, High)}, {"value", dice.OneIn(2) ? 0 : 0x800}};
}

json Bitmap(Dice& dice) {
    static const std::vector<const char*> names = {"bg_desk.bmp",      "bg_main.bmp",    "btn_enable.bmp",
                                                   "btn_disable.bmp",  "bar_status.bmp", "bar_info.bmp",
                                                   "frm_dataInfo.bmp", "ico_1.bmp",      "ico_2_press.bmp"};
    return dice.Of(names);
}

json Cut(Dice& dice) {
    static const std::vector<const char*> damages = {"prefix", "half", "page"};
    return {{"after", dice.Between(0, 300)}, {"damage", dice.Of(damages)}};
}

// Clearly outside the limits of every screen, 0.93373 and 1.14123 V at the widest.
json BadRail(Dice& dice) {
    return dice.OneIn(2) ? dice.Between(0.0, 0.9) : dice.Between(1.18, 2.5);
}

json Key(Dice& dice) {
    static const std::vector<const char*> names = {"menu", "f1", "f5", "esc", "up", "enter", "knob", "avg"};
    return dice.Of(names);
}

json TwoKeys(Dice& dice) {
    return dice.OneIn(2) ? json::array({"f1", "f2"}) : json::array({"left", "right"});
}

json KnobKind(Dice& dice) {
    static const std::vector<const char*> kinds = {"dead", "clockwise dead", "anticlockwise dead",
                                                   "reversed"};
    return dice.Of(kinds);
}

// A data line that stays low: its bit is set in the main board's tested byte, 13, and in half of the
// module's, 0 to 127.
json DataLine(Dice& dice) {
    return {{"data", dice.OneIn(2) ? 0 : 3}, {"level", 0}};
}

json SensorOff(Dice& dice) {
    return {{"offset", dice.Between(-5, 5)}};
}

json AdcHalf(Dice&) {
    return {{"bit", 15}, {"level", 0}};
}

json ApdDacHalf(Dice&) {
    return {{"dac", "apd"}, {"bit", 11}, {"level", 0}};
}

// Every rail reads beyond its limits; the loops find codes all the same.
json ReadsFifthHigh(Dice&) {
    return {{"gain", 1.2}};
}

json WeakDiode(Dice& dice) {
    return {{"responsivity", dice.Between(0.0, 0.05)}};
}

json DeadFirstChannel(Dice&) {
    return {{"dead_channel", 6300}};
}

// Before the 151 to 177 m that the light path looks at.
json Bend(Dice& dice) {
    return {{"at", dice.Between(20, 140)}, {"loss", dice.Between(10, 40)}};
}

// What judges the measurement board's answers.
const Checks kBoardChecks = {Check::kConnect, Check::kVoltages, Check::kModuleVoltages};
// What is measured through the module's ADC.
const Checks kAcquiring = {Check::kAdc, Check::kSignalChain, Check::kAtt1, Check::kLightPath, Check::kOffset};

Checks Sum(Checks checks, const Checks& more) {
    checks.insert(checks.end(), more.begin(), more.end());
    return checks;
}

BenchChange Rail(const char* name, const Checks& fails) {
    return {name, kQuantity, BadRail, nullptr, fails, {}};
}

}  // namespace

// A reply of random bytes (board.garbage) has the right length in one of eleven and names the asked channel
// in one of 256 of these; half of all floats are next to 0 V. So Connect, and the loops that search for 0 V
// with a hundred tries and more, may be deceived by one.
const std::vector<BenchChange>& BenchChanges() {
    static const std::vector<BenchChange> changes = {
        // The measurement board. The loops end after so many tries, failed: each wants its own reading right.
        {"board.unplugged",
         kFault,
         True,
         false,
         kBoardChecks,
         {Check::kSignalChain, Check::kApd, Check::kVdd, Check::kAtt0, Check::kAtt1},
         BenchChange::kSlow},
        {"board.plugged",
         kQuantity,
         False,
         true,
         kBoardChecks,
         {Check::kSignalChain, Check::kApd, Check::kVdd, Check::kAtt0, Check::kAtt1},
         BenchChange::kSlow},
        {"board.reply_late",
         kFault,
         Whole<5500, 20000>,
         false,
         {},
         Sum(kBoardChecks, {Check::kSignalChain, Check::kApd, Check::kVdd, Check::kAtt0, Check::kAtt1}),
         BenchChange::kLate},
        {"board.reply_short",
         kFault,
         True,
         false,
         kBoardChecks,
         {Check::kSignalChain, Check::kApd, Check::kVdd, Check::kAtt0, Check::kAtt1},
         BenchChange::kSlow},
        {"board.wrong_channel",
         kFault,
         True,
         false,
         Sum(kBoardChecks, {Check::kSignalChain, Check::kApd, Check::kVdd, Check::kAtt0, Check::kAtt1}),
         {}},
        {"board.garbage",
         kFault,
         True,
         false,
         {Check::kVoltages, Check::kModuleVoltages},
         {Check::kConnect, Check::kSignalChain, Check::kApd, Check::kVdd, Check::kAtt0, Check::kAtt1},
         BenchChange::kSlow},
        {"board.wrong",
         kFault,
         ReadsFifthHigh,
         false,
         {Check::kVoltages, Check::kModuleVoltages},
         {Check::kSignalChain, Check::kApd, Check::kVdd, Check::kAtt0, Check::kAtt1}},
        // An open port stays open.
        {"serial.missing", kFault, True, false, {Check::kConnect}, {}},

        Rail("board.rail.TP97", {Check::kVoltages}),
        Rail("board.rail.TP103", {Check::kVoltages}),
        Rail("board.rail.TP105", {Check::kVoltages}),
        Rail("board.rail.TP107", {Check::kVoltages}),
        Rail("board.rail.TP113", {Check::kVoltages}),
        Rail("board.rail.TP100", {Check::kVoltages}),
        Rail("board.rail.TP99", {Check::kVoltages}),
        Rail("board.rail.TP57", {Check::kVoltages}),
        Rail("board.rail.TP24", {Check::kVoltages}),
        Rail("board.rail.TP36", {Check::kVoltages}),
        Rail("board.rail.TP68", {Check::kVoltages}),
        // The module's TP18, TP16 and TP17.
        Rail("board.rail.TP109", {Check::kVoltages, Check::kModuleVoltages}),
        Rail("board.rail.TP111", {Check::kModuleVoltages}),
        Rail("board.rail.TP114", {Check::kVoltages, Check::kModuleVoltages}),
        Rail("board.rail.TP5", {}),

        // The optical module. A register that cannot be written holds the voltage that the loops look at. APD
        // cannot meet all of its five targets then. VDD may: it says nothing of the first three of its four.
        // For the attenuators 0 V may stand there already.
        {"optic.ioctl_failing",
         kFault,
         True,
         false,
         {Check::kAdc, Check::kDdr, Check::kSignalChain, Check::kModuleEeprom, Check::kTemperature,
          Check::kApd, Check::kAtt1, Check::kLightPath, Check::kOffset, Check::kApdSearch},
         {Check::kVdd, Check::kAtt0},
         BenchChange::kBlocks},
        {"optic.register_stuck",
         kFault,
         StuckRegister<5, 27>,
         false,
         {},
         Sum(kAcquiring, {Check::kDdr, Check::kApd, Check::kVdd, Check::kAtt0, Check::kApdSearch}),
         BenchChange::kBlocks},
        {"optic.register_stuck",
         kFault,
         StuckRegister<10, 10>,
         false,
         {Check::kApd},
         {Check::kAdc, Check::kSignalChain, Check::kAtt1, Check::kLightPath, Check::kOffset,
          Check::kApdSearch},
         BenchChange::kBlocks},
        {"optic.never_ready",
         kFault,
         True,
         false,
         Sum(kAcquiring, {Check::kApdSearch}),
         {},
         BenchChange::kBlocks},
        {"optic.temperature_failing", kFault, True, false, {Check::kTemperature}, {Check::kApdSearch}},
        {"optic.tuning_failing",
         kFault,
         True,
         false,
         {},
         {Check::kRecord, Check::kLightPath, Check::kOffset}},
        {"fpga.ddr", kFault, Whole<2, 3>, false, {Check::kDdr}, {}},
        {"fpga.load_failing", kFault, True, false, {}, {Check::kSignalChain, Check::kAtt0, Check::kAtt1}},
        // 0 V is neither a test signal's level nor a dark level, and no light shows on it.
        {"adc.path", kFault, True, false, kAcquiring, {Check::kApdSearch}},
        {"optics.bad_connector", kFault, Whole<6, 20>, false, {Check::kLightPath}, {Check::kOffset}},
        {"optics.apd_defective",
         kFault,
         True,
         false,
         {Check::kLightPath, Check::kOffset, Check::kApdSearch},
         {}},
        {"optics.laser_off", kFault, True, false, {Check::kLightPath, Check::kOffset}, {}},
        {"optics.laser_weak", kFault, Whole<12, 40>, false, {Check::kLightPath}, {Check::kOffset}},
        {"optics.laser_wavelength", kFault, True, false, {}, {}},
        {"optics.photodiode", kFault, WeakDiode, false, {Check::kLightPath}, {Check::kOffset}},
        {"optics.receiver",
         kFault,
         DeadFirstChannel,
         false,
         {Check::kSignalChain, Check::kLightPath, Check::kOffset, Check::kApdSearch},
         {}},
        {"optics.fibre_bent", kFault, Bend, false, {Check::kLightPath}, {}},
        {"optics.fibre_longer", kFault, Whole<5, 20>, false, {}, {Check::kOffset}},
        // An ADC with the lower half of its codes gives neither a test signal's upper level nor a dark level.
        // An APD DAC with the lower half comes neither to 45 V nor to the breakdown.
        {"adc.wrong",
         kFault,
         AdcHalf,
         false,
         {Check::kAdc, Check::kSignalChain, Check::kAtt1, Check::kLightPath},
         {Check::kOffset, Check::kApdSearch}},
        {"dac.wrong",
         kFault,
         ApdDacHalf,
         false,
         {Check::kApd, Check::kLightPath, Check::kApdSearch},
         {Check::kOffset}},
        {"optic.temperature_wrong", kFault, SensorOff, false, {}, {}},
        {"optics.light_on_link", kQuantity, True, false, {Check::kApdSearch}, kAcquiring},
        // Page 1 takes 0 to 127; what it holds from the check before is right also when it cannot be written.
        {"module.eeprom_stuck", kFault, StuckCell<128, 255>, false, {Check::kModuleEeprom}, {}},
        {"module.eeprom_stuck", kFault, StuckCell<4096, 60000>, false, {}, {}},
        {"module.eeprom_line", kFault, DataLine, false, {Check::kModuleEeprom}, {}},
        // Where the page is not written the old one holds, and of four bytes all may be good.
        {"module.eeprom_worn", kFault, True, false, {}, {Check::kModuleEeprom}},
        {"mainboard.eeprom_line", kFault, DataLine, false, {Check::kArmEeprom}, {}},
        {"mainboard.eeprom_worn", kFault, True, false, {}, {Check::kArmEeprom}},
        {"module.eeprom_protected", kFault, True, false, {}, {Check::kModuleEeprom}},
        {"module.eeprom_silent", kFault, True, false, {Check::kModuleEeprom}, {}},
        {"module.eeprom_cut", kFault, Cut, false, {}, {Check::kModuleEeprom}, BenchChange::kCuts},

        // The main board. Of page 0 its flag of four bytes is looked at, which holds 13 from the check
        // before.
        {"mainboard.eeprom_stuck", kFault, StuckCell<0, 3>, false, {Check::kArmEeprom}, {}},
        {"mainboard.eeprom_stuck", kFault, StuckCell<4, 3000>, false, {}, {}},
        {"mainboard.eeprom_protected", kFault, True, false, {}, {Check::kArmEeprom}},
        {"mainboard.eeprom_silent", kFault, True, false, {Check::kArmEeprom}, {}},
        {"mainboard.eeprom_cut", kFault, Cut, false, {}, {Check::kArmEeprom}, BenchChange::kCuts},
        {"sd.missing", kFault, True, false, {Check::kCard}, {}},
        {"sd.present", kQuantity, False, true, {Check::kCard}, {}},
        {"sd.full", kFault, True, false, {}, {Check::kCard}},  // the test file may be there
        {"sd.read_only", kFault, True, false, {Check::kCard}, {}},
        {"usb.missing", kFault, True, false, {Check::kUsb}, {}},
        {"usb.two", kFault, True, false, {Check::kUsb}, {}},
        {"usb.sticks", kQuantity, Whole<2, 8>, 1, {Check::kUsb}, {}},
        {"rtc.stopped", kFault, True, false, {}, {}},
        // No check looks at the knob's turns. A touch panel that is off would leave no way to any screen, and
        // a wrong image leaves the FPGA empty when it is right again: these are left out.
        {"keypad.dead", kFault, Key, false, {}, {}, BenchChange::kKeys},
        {"keypad.stuck", kFault, Key, false, {}, {}, BenchChange::kKeys},
        {"keypad.swapped", kFault, TwoKeys, false, {}, {}, BenchChange::kKeys},
        {"keypad.knob", kFault, KnobKind, false, {}, {}},
        {"rtc.failing", kFault, True, false, {Check::kClock}, {}},
        {"power.missing", kFault, True, false, {Check::kBattery}, {}},
        {"power.short", kFault, True, false, {Check::kBattery}, {}},
        {"power.bat", kQuantity, False, true, {Check::kBattery}, {}},
        {"power.level", kQuantity, Whole<0, 255>, 85, {}, {}},
        {"power.type", kQuantity, Whole<0, 3>, 0, {}, {}},
        {"power.dc", kQuantity, True, false, {}, {}},
        {"rtc.time", kQuantity, Whole<0, 2000000000>, 1337000000, {}, {}},
        {"module.temperature", kQuantity, Whole<15, 35>, 25, {}, {}},
        {"bitmap.missing", kFault, Bitmap, false, {}, {}, BenchChange::kHides},
        {"bitmap.broken", kFault, Bitmap, false, {}, {}, BenchChange::kHides},
    };
    return changes;
}

// An FPGA that is not loaded reads as ones, until a module's check has loaded it.
const std::vector<BenchChange>& StartChanges() {
    static const Checks needFpga = Sum(kAcquiring, {Check::kDdr, Check::kModuleEeprom, Check::kApd,
                                                    Check::kVdd, Check::kAtt0, Check::kApdSearch});
    static const std::vector<BenchChange> changes = {
        {"fpga.load_failing", kFault, True, false, {}, needFpga, BenchChange::kBlocks},
        {"straps.unknown", kFault, True, false, {}, needFpga, BenchChange::kBlocks},
        {"optic.ioctl_failing", kFault, True, false, {}, needFpga, BenchChange::kBlocks},
        {"keypad.missing", kFault, True, false, {Check::kKeys}, {}},
        {"font.missing", kFault, True, false, {}, {}, BenchChange::kHides},
        {"font.broken", kFault, True, false, {}, {}, BenchChange::kHides},
        {"touch.missing", kFault, True, false, {}, {}},
        {"screen.small", kFault, True, false, {}, {}},
        {"screen.bgr565", kFault, True, false, {}, {}},
    };
    return changes;
}

}  // namespace k905::soak
