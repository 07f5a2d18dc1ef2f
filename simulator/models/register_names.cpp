#include "simulator/models/register_names.h"

#include <iterator>
#include <nlohmann/json.hpp>

#include "simulator/models/json_values.h"
#include "simulator/models/optics_laser.h"
#include "simulator/models/optics_supply.h"
#include "simulator/models/text.h"

namespace k905 {

namespace {

std::string Volts(double volts) {
    return Text("%.3f V", volts);
}
std::string Vdd(std::uint16_t code) {
    return Volts(kVddVoltsAtZero + kVddVoltsPerCode * (code & kDacMask));
}
std::string Apd(std::uint16_t code) {
    return Volts(kApdVoltsAtZero + kApdVoltsPerCode * (code & kDacMask));
}
std::string Converter(std::uint16_t code) {
    return Volts(DacVolts(code & kDacMask));
}
std::string Number(std::uint16_t value) {
    return Text("%u", unsigned{value});
}
std::string Period(std::uint16_t counts) {
    return Text("%.1f us", counts / 10.0);
}
std::string Width(std::uint16_t code) {
    return Text("%.0f ns", LaserFrom(0, code, 0).nanoseconds);
}

}  // namespace

constexpr RegisterName kRegisterNames[] = {
    {kRegControlOut,
     "control_out",
     {{kOutVisibleLight, "visible_light"}, {kOutSda, "sda"}, {kOutScl, "scl"}, {kOutProtect, "protect"}}},
    {kRegCurrent0,
     "current0",
     {{0x007, "front_amplifier", {"6300", "6301", "2", "6303", "4", "5", "6", "6307"}}, {0x300, "resistor"}}},
    {kRegCurrent1,
     "current1",
     {{0x01, "driver"},
      {0x10, "pulses"},
      {0x20, "shortest"},
      {0xC0, "wavelength", {"1310nm", "1550nm", "1625nm", "none"}}}},
    {kRegAtt0, "att0", {}, Converter},
    {kRegAtt1, "att1", {}, Converter},
    {kRegVdd, "vdd", {}, Vdd},
    {kRegApd, "apd", {}, Apd},
    {kRegApdBias, "apd_bias", {}, Converter},
    {kRegPulse, "pulse", {}, Width},
    {kRegSampleCount, "sample_count", {}, Number},
    {kRegSampleCountHigh, "sample_count_high", {}, Number},
    {kRegAverages, "averages", {}, Number},
    {kRegPeriod, "period", {}, Period},
    {kRegDelayHigh, "delay_high", {}, Number},
    {kRegDelayLow, "delay_low", {}, Number},
    {kRegAcquire,
     "acquire",
     {{kAcquireStart, "start"},
      {kAcquireTransfer, "transfer"},
      {kAcquireReady, "ready"},
      {kAcquireFinished, "finished"}}},
    {kRegPulseMode, "pulse_mode", {{0x3, "keeps_every", {"1st", "2nd", "4th", "8th"}}}},
    {kRegMemory,
     "memory",
     {{kMemoryReady, "ready"}, {kMemoryError, "error"}, {0x600, "interleave", {"off", "1", "2", "on"}}}},
    {kRegPhaseTable, "phase", {}, nullptr, 32},
    {kRegSpeakerOn, "speaker_on", {}, Number},
    {kRegSpeakerTone, "speaker_tone", {}, Number},
};

namespace {

const RegisterName* Find(std::uint16_t index) {
    for (const RegisterName& one : kRegisterNames)
        if (index >= one.index && index < one.index + one.count)
            return &one;
    return nullptr;
}

std::string NameIn(const RegisterName& known, std::uint16_t index) {
    return known.count > 1 ? Text("%s[%d]", known.name, index - known.index) : known.name;
}

}  // namespace

std::string NameOfRegister(std::uint16_t index) {
    const RegisterName* known = Find(index);
    return known != nullptr ? NameIn(*known, index) : "";
}

std::string ExplainRegister(std::uint16_t index, std::uint16_t value) {
    const RegisterName* known = Find(index);
    if (known == nullptr)
        return "";
    std::string text = NameIn(*known, index);
    if (known->worth != nullptr)
        text += " " + known->worth(value);
    for (const RegisterName::Field& field : known->fields) {
        if (field.name == nullptr)
            break;
        const unsigned lowest = field.mask & -static_cast<unsigned>(field.mask);
        const unsigned number = (value & field.mask) / lowest;
        text +=
            " " + std::string(field.name) + "=" +
            (number < std::size(field.values) && field.values[number] != nullptr ? field.values[number]
                                                                                 : std::to_string(number));
    }
    return text;
}

std::optional<std::uint16_t> FindRegister(const nlohmann::json& wanted) {
    if (const auto number = WholeFrom(wanted)) {
        const std::uint64_t index = *number >= kRegisterBase ? (*number - kRegisterBase) / 2 : *number;
        if (index >= kRegisterCount || (*number >= kRegisterBase && *number % 2 != 0))
            return std::nullopt;
        return static_cast<std::uint16_t>(index);
    }
    for (std::uint16_t index = 0; index < kRegisterCount; ++index)
        if (const std::string name = NameOfRegister(index); !name.empty() && wanted == name)
            return index;
    return std::nullopt;
}

}  // namespace k905
