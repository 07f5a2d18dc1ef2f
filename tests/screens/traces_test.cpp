// What the checks, calibrations and measurements do to the hardware, in order and with their waits, as kept
// in tests/golden/traces. Without the GUI: nothing else runs beside them.
#include <algorithm>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "gui/guischeduler.h"
#include "measure/acquisition.h"
#include "measure/adjust.h"
#include "measure/apd.h"
#include "measure/fiber_offset.h"
#include "screens/mainboard_check.h"
#include "screens/opm_check.h"
#include "screens/wnd_frmpulsewidth.h"
#include "tests/screens/screen_fixture.h"
#include "tests/support/golden_text.h"

namespace {

using Lines = std::vector<std::string>;

bool Begins(const std::string& line, const std::string& prefix) {
    return line.compare(0, prefix.size(), prefix) == 0;
}

// The lines up to the `count`-th that begins so, and `more` after it.
Lines Through(const Lines& lines, const std::string& prefix, int count, size_t more = 0) {
    for (size_t i = 0; i < lines.size(); ++i)
        if (Begins(lines[i], prefix) && --count == 0)
            return {lines.begin(), lines.begin() + static_cast<long>(std::min(lines.size(), i + 1 + more))};
    ADD_FAILURE() << "not so many lines begin with '" << prefix << "'";
    return lines;
}

// The lines from the last that begins so.
Lines FromLast(const Lines& lines, const std::string& prefix) {
    const auto last = std::find_if(lines.rbegin(), lines.rend(),
                                   [&](const std::string& line) { return Begins(line, prefix); });
    EXPECT_NE(lines.rend(), last) << prefix;
    return {last == lines.rend() ? lines.begin() : last.base() - 1, lines.end()};
}

Lines operator+(Lines lines, const Lines& others) {
    lines.insert(lines.end(), others.begin(), others.end());
    return lines;
}

std::string Text(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

const Lines kCut = {"..."};

// Parts of a trace that are kept.
Lines Whole(const Lines& lines) {
    return lines;
}
Lines ThreeReadings(const Lines& lines) {
    return Through(lines, "serial rx", 3, 3);
}
// Of the attenuator loops, which read two channels.
Lines ThreeDoubleReadings(const Lines& lines) {
    return Through(lines, "serial rx", 6, 3);
}
Lines ThroughTheFirstSamples(const Lines& lines) {
    return Through(lines, "data read", 1, 4);
}
Lines ThroughTheSecondSamples(const Lines& lines) {
    return Through(lines, "data read", 2, 4);
}
// Set-up, two of the ten rounds, and what comes after the last one. The first channel's set-up comes after
// the adjustment of the attenuators.
Lines TwoRounds(const Lines& lines) {
    const Lines load = Through(lines, "fpga end", 1, 1);
    const Lines channel = FromLast(lines, "reg write 0x30000002");
    return load + (load.size() + channel.size() < lines.size() ? kCut : Lines()) +
           Through(channel, "reg write 0x3000002e 0x0000", 2, 1) + kCut +
           FromLast(channel, "reg write 0x3000002e");
}
// The device address and the first bytes, bit by bit; the transfers; and what follows them.
Lines BeginningAndTransfers(const Lines& lines) {
    return Lines(lines.begin(), lines.begin() + 120) + kCut +
           Through(FromLast(lines, "i2c module write"), "", 1) + kCut + FromLast(lines, "i2c module read");
}

template <auto function, auto... arguments>
void Runs() {
    function(arguments...);
}
template <int result, auto function, auto... arguments>
void Gives() {
    EXPECT_EQ(result, function(arguments...));
}
void BreakVoltage() {
    APD_BREAK_PARA para = {};
    EXPECT_EQ(0, GetBreakVoltage(&para));
    EXPECT_EQ(1, para.iNum);
}
void OffsetTrace() {
    std::vector<uint16_t> trace(TRACE_SAMPLES);
    EXPECT_EQ(0, ExFiberLenSetParament(trace.data()));
}

struct TraceCase {
    const char* name;
    void (*run)();
    Lines (*part)(const Lines&);
    const char* stuck = nullptr;  // a register whose value stays, so that a search goes on
    int value = 0;
};
const TraceCase kCases[] = {
    {"mainboard_adc", AdcCheck, Whole},
    {"mainboard_voltage", MainBoardFCTShow, ThreeReadings},
    {"opm_voltage", Gives<0, OPMFCTShow>, Whole},
    {"channel_6300", Gives<0, ChnnelMode1>, TwoRounds},
    {"channel_6301", Gives<0, ChnnelMode2>, TwoRounds},
    {"channel_6303", Gives<0, ChnnelMode3>, TwoRounds},
    {"channel_6307", Gives<0, ChnnelMode4>, TwoRounds},
    {"opm_eeprom", Gives<0, OpmEepromCheck>, BeginningAndTransfers},
    {"pulse_mode_1", Gives<0, PulseMode1>, Whole},
    {"pulse_mode_2", Gives<0, PulseMode2>, Whole},
    {"pulse_mode_3", Gives<0, PulseMode3>, Whole},
    {"pulse_mode_4", Gives<0, PulseMode4>, Whole},
    {"pulse_mode_5", Gives<0, PulseMode5>, Whole},
    {"pulse_mode_6", Gives<0, PulseMode6>, Whole},
    {"adjust_vdd", Gives<OPM_ERR_TRY_TIMEOUT, OPMAdjustVdd, WAVE_LEN_1310>, ThreeReadings, "0x30000012",
     2300},
    {"adjust_apd", Gives<OPM_ERR_TRY_TIMEOUT, OPMAdjustAPD, 0>, ThreeReadings, "0x30000014", 2400},
    {"adjust_att0", Gives<0, OPMAdjustAtt0, WAVE_LEN_1310>, ThreeDoubleReadings},
    {"adjust_att1", Gives<0, OPMAdjustAtt1, WAVE_LEN_1310>, ThreeDoubleReadings},
    {"dark_level", Runs<GetBlackLevel>, Whole},
    {"signal_parameter", Gives<0, GetSignalParameter, 0u>, Whole},
    {"signal_1310", Runs<GetSignal, WAVE_LEN_1310>, Whole},
    {"signal_1550", Runs<GetSignal, WAVE_LEN_1550>, Whole},
    {"break_voltage", BreakVoltage, ThroughTheSecondSamples},
    {"light_road_1310", Gives<1, LightRoadJust, WAVE_LEN_1310>, ThroughTheFirstSamples},
    {"light_road_1550", Gives<1, LightRoadJust, WAVE_LEN_1550>, ThroughTheFirstSamples},
    {"offset_trace", OffsetTrace, Whole},
};

// For the messages of failures.
void PrintTo(const TraceCase& one, std::ostream* stream) {
    *stream << one.name;
}

class HardwareTrace : public test::ScreenTest, public testing::WithParamInterface<TraceCase> {
  protected:
    void SetUp() override {
        SetExitFlag(0);
        CurrCtrl0 = 0;
        CurrCtrl1 = 0;
        adcValue1 = 0.0f;
        iATT0 = 800;
        OpmTuningResult = {};
        OpmTuningResult.Att0_Result[0].reg = 1280;
        SetStopThreadFlag(1);
        SetAPDAdjStopFlag(1);
        Set("optics.fibre", "1.5 km");
        Set("module.seed", 4);
        ASSERT_EQ(0, OPMTestInit());
        SerialInitThd1(nullptr);
        ASSERT_EQ(1, OPMGUIShare.usIsConnect);
    }
};
INSTANTIATE_TEST_SUITE_P(Of, HardwareTrace, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<TraceCase>& one) { return one.param.name; });

TEST_P(HardwareTrace, IsTheKeptOne) {
    if (GetParam().stuck != nullptr)
        Fault("optic.register_stuck", {{"register", GetParam().stuck}, {"value", GetParam().value}});
    linked_->StartTrace();
    linked_->ClearTrace();
    GetParam().run();
    const Lines lines = linked_->TraceLines({"fpga", "reg", "data", "serial", "sleep", "i2c", "ioctl"});
    ASSERT_GT(lines.size(), 5u);
    EXPECT_TRUE(
        test::MatchesGoldenText(Text(GetParam().part(lines)), std::string("traces/") + GetParam().name));
}

}  // namespace
