// Faults of the optical module: its drivers, FPGA, converters and optics.
#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "simulator/models/fault_rows.h"
#include "simulator/models/json_values.h"
#include "simulator/models/register_names.h"

namespace k905 {

namespace {

using Parts = Instrument::Parts;
using nlohmann::json;

std::string RegisterStuck(Parts& parts, bool on, const json& value) {
    if (!on) {
        parts.fpga.SetStuck(0, -1);
        return "";
    }
    const auto member = [&](const char* name) {
        return value.is_object() ? value.value(name, json()) : json();
    };
    const auto index = FindRegister(member("register"));
    const json stuck = member("value");
    if (!index || !WholeInRange(stuck, 0, 0xFFFF))
        return "optic.register_stuck takes {\"register\": address or name, \"value\": 0..65535}";
    parts.fpga.SetStuck(*index, stuck.get<int>());
    return "";
}

std::string DdrFailing(Parts& parts, bool on, const json& value) {
    if (on && !value.is_boolean() && !(value.is_number_integer() && value >= 0 && value <= 3))
        return "fpga.ddr takes the status bits 0 to 3 (bit 0 ready, bit 1 error)";
    constexpr std::uint16_t kNotReadyAndError = kMemoryError;
    parts.fpga.SetMemoryStatus(!on                  ? kMemoryReady
                               : value.is_boolean() ? kNotReadyAndError
                                                    : value.get<std::uint16_t>());
    return "";
}

std::string BadConnector(Parts& parts, bool on, const json& value) {
    constexpr double kUsual = 4, kMost = 60;  // dB
    double loss = 0;
    std::optional<double> reflection;
    if (on && value.is_object()) {
        if (!ReadFields(value, {{"loss", 0, kMost, [&](double lost) { loss = lost; }},
                                {"reflection", -kMost, 0, [&](double level) { reflection = level; }}}) ||
            value.size() != 2)
            loss = -1;
    } else if (on) {
        loss = value == json(true) ? kUsual : InRange(value, 0, kMost) ? value.get<double>() : -1;
        reflection = Optics::kBadReflection;
    }
    if (loss < 0)
        return "optics.bad_connector takes true, dB up to 60, or {\"loss\": dB, \"reflection\": -60..0 dB}";
    parts.optics.SetBadConnector(loss, reflection);
    return "";
}

std::string SensorWrong(Parts& parts, bool on, const json& value) {
    constexpr double kMost = 200;  // degrees
    std::optional<double> offset, frozen;
    if (on && value.is_object() && value.size() == 1)
        for (const auto& [name, wanted] : {std::pair{"offset", &offset}, {"frozen", &frozen}})
            if (value.contains(name) && InRange(value[name], -kMost, kMost))
                *wanted = value[name].get<double>();
    if (on && !offset && !frozen)
        return "optic.temperature_wrong takes {\"offset\": degrees} or {\"frozen\": degrees}";
    parts.optic.SetTemperatureOffset(offset.value_or(0));
    parts.optic.SetTemperatureFrozen(frozen);
    return "";
}

// What DACs and ADC have in common. False: a member is wrong, or none is there.
bool ReadConverter(const json& value, int bits, ConverterError& error) {
    if (value.contains("bit") != value.contains("level") ||
        (value.contains("bit") &&
         !(WholeInRange(value["bit"], 0, bits - 1) && WholeInRange(value["level"], 0, 1))))
        return false;
    constexpr double kMostVolts = 2.5, kMostGain = 2;
    return ReadFields(value,
                      {{"offset", -kMostVolts, kMostVolts, [&](double volts) { error.offset = volts; }},
                       {"gain", 0, kMostGain, [&](double gain) { error.gain = gain; }},
                       {"bit", 0, 15, [&](double bit) { error.bit = static_cast<int>(bit); }},
                       {"level", 0, 1, [&](double level) { error.level = static_cast<int>(level); }}});
}

constexpr const char* kDacNames[kDacs] = {"att0", "att1", "vdd", "apd"};  // in the order of Dac

// One DAC, or a list of them.
std::string DacWrong(Parts& parts, bool on, const json& value) {
    constexpr int kBits = 12;
    ConverterError errors[kDacs];
    for (json dac : on ? AsList(value) : json::array()) {
        const json name = dac.is_object() ? dac.value("dac", json()) : json();
        const auto* found = std::find(std::begin(kDacNames), std::end(kDacNames), name);
        if (found != std::end(kDacNames))
            dac.erase("dac");
        if (found == std::end(kDacNames) || !ReadConverter(dac, kBits, errors[found - kDacNames]))
            return "dac.wrong takes {\"dac\": \"apd\", \"vdd\", \"att0\" or \"att1\", and \"offset\": volts, "
                   "\"gain\": factor, \"bit\": 0..11 with \"level\": 0 or 1}, or a list of them";
    }
    for (std::size_t i = 0; i < kDacs; ++i)
        parts.optics.SetDacError(static_cast<Dac>(i), errors[i]);
    return "";
}

std::string AdcWrong(Parts& parts, bool on, const json& value) {
    constexpr int kBits = 16, kMostCode = 65535;
    ConverterError error;
    json rest = on && value.is_object() ? value : json::object();
    const json missing = rest.value("missing", json());
    rest.erase("missing");
    const bool range = missing.is_array() && missing.size() == 2 && WholeInRange(missing[0], 1, kMostCode) &&
                       WholeInRange(missing[1], 1, kMostCode) && missing[0] <= missing[1];
    if (on && ((!missing.is_null() && !range) || (rest.empty() && !range) ||
               (!rest.empty() && !ReadConverter(rest, kBits, error))))
        return "adc.wrong takes {\"offset\": volts, \"gain\": factor, \"bit\": 0..15 with \"level\": 0 or 1, "
               "\"missing\": [first, last code]}";
    if (range) {
        error.missingFrom = missing[0].get<std::uint16_t>();
        error.missingTo = missing[1].get<std::uint16_t>();
    }
    parts.optics.SetAdcError(error);
    return "";
}

std::string LaserWeak(Parts& parts, bool on, const json& value) {
    constexpr double kMost = 60;  // dB
    if (on && !(InRange(value, 0, kMost) && value > 0))
        return "optics.laser_weak takes dB up to 60";
    parts.optics.SetLaserPower(on ? Ratio(-value.get<double>()) : 1);
    return "";
}

std::string LaserWavelength(Parts& parts, bool on, const json& value) {
    Optics::Wavelengths lit = Optics::kRightWavelengths;
    static constexpr std::pair<int, Wavelength> kNames[] = {
        {1310, Wavelength::k1310}, {1550, Wavelength::k1550}, {1625, Wavelength::k1625}};
    bool known = !on || value.is_boolean();
    for (const auto& [name, wavelength] : kNames)
        if (on && value.is_number() && value == name) {
            lit.fill(wavelength);
            known = true;
        }
    if (!known)
        return "optics.laser_wavelength takes true, 1310, 1550 or 1625";
    if (on && value.is_boolean())
        std::swap(lit[0], lit[1]);
    parts.optics.SetWavelengths(lit);
    return "";
}

std::string DiodeWrong(Parts& parts, bool on, const json& value) {
    Optics::DiodeError error;
    if (on && !ReadFields(value, {{"responsivity", 0, 1, [&](double factor) { error.responsivity = factor; }},
                                  {"leakage", 0, 1e-3, [&](double amperes) { error.leakage = amperes; }},
                                  {"breakdown", 20, 100, [&](double volts) { error.breakdown = volts; }}}))
        return "optics.photodiode takes {\"responsivity\": factor, \"leakage\": amperes, \"breakdown\": "
               "volts}";
    parts.optics.SetDiodeError(error);
    return "";
}

std::string ReceiverWrong(Parts& parts, bool on, const json& value) {
    static constexpr std::pair<int, unsigned> kChannels[] = {{6300, 0}, {6301, 1}, {6303, 3}, {6307, 7}};
    constexpr double kMost = 100;
    ReceiverError error;
    const auto die = [&](double channel) {
        for (const auto& [name, code] : kChannels)
            if (channel == name)
                error.deadChannels = 1u << code;
    };
    const std::vector<NumberField> fields = {
        {"gain", 0, kMost, [&](double factor) { error.gain = factor; }},
        {"noise", 0, kMost, [&](double factor) { error.noise = factor; }},
        {"bandwidth", 0.01, 1, [&](double factor) { error.bandwidth = factor; }},
        {"dead_channel", 6300, 6307, die}};
    if (on && (!ReadFields(value, fields) || (value.contains("dead_channel") && error.deadChannels == 0)))
        return "optics.receiver takes {\"gain\": factor, \"noise\": factor, \"bandwidth\": 0.01..1, "
               "\"dead_channel\": 6300, 6301, 6303 or 6307}";
    parts.optics.SetReceiverError(error);
    return "";
}

std::string FibreBent(Parts& parts, bool on, const json& value) {
    double at = 0, loss = 0;
    if (on && !(ReadFields(value, {{"at", 0, 1e5, [&](double metres) { at = metres; }},
                                   {"loss", 0, 60, [&](double lost) { loss = lost; }}}) &&
                value.size() == 2))
        return "optics.fibre_bent takes {\"at\": metres, \"loss\": dB}";
    parts.optics.SetBentFibre(at, loss);
    return "";
}

std::string FibreLonger(Parts& parts, bool on, const json& value) {
    if (on && !InRange(value, -1e5, 1e5))
        return "optics.fibre_longer takes metres, negative for a shorter one";
    parts.optics.SetLongerFibre(on ? value.get<double>() : 0);
    return "";
}

constexpr FaultRow kModuleRows[] = {
    {{"optic.ioctl_failing", "every ioctl of the optic driver fails",
      "register checks fail, \"Temperature = 0.000000\"; ADC: \"ADC Check ERROR, Maybe not connect!\"; "
      "Signal chain fails; other acquisitions as with optic.never_ready"},
     Toggle<&Parts::optic, &OpticDriver::SetFailing>},
    {{"optic.register_stuck",
      "{\"register\": address, \"value\": v}: the register holds v whatever is written",
      "what depends on that register fails or does not end"},
     RegisterStuck},
    {{"optic.never_ready", "acquisitions never end",
      "after 5 s a failed check. Optical check and Dev adjust: \"Acquisition time out.\"; "
      "Att1: \"BlackLevel not measured\"; ADC: \"ADC Check ERROR, Maybe not connect!\"; "
      "Signal chain: \"6300channel: fail!!!\" and so on; the APD calibration goes on until Stop or Back"},
     Toggle<&Parts::fpga, &Fpga::SetNeverReady>},
    {{"optic.temperature_failing", "the module's temperature sensor does not answer",
      "\"get opm temperature failed!\""},
     Toggle<&Parts::optic, &OpticDriver::SetTemperatureFailing>},
    {{"optic.temperature_wrong",
      "{\"offset\": degrees} that the temperature sensor is off, or {\"frozen\": degrees} that it always "
      "gives",
      "Temperature shows it; the APD calibration takes it for true, and does not end on a frozen one"},
     SensorWrong},
    {{"optic.tuning_failing", "the driver cannot read or store the tuning record",
      "E2PROM view shows the initial values; calibration results are gone after a restart"},
     Toggle<&Parts::optic, &OpticDriver::SetTuningFailing>},
    {{"fpga.load_failing", "the FPGA loader's driver refuses every request",
      "console: \"iotcl()\" with the system error; FPGA checks fail"},
     Toggle<&Parts::loader, &FpgaLoader::SetFailing>},
    {{"fpga.image_wrong", "the image on the instrument is for another FPGA: it stays unconfigured",
      "FPGA checks and calibrations fail"},
     Toggle<&Parts::loader, &FpgaLoader::SetImageWrong>},
    {{"fpga.ddr", "sample memory status bits (true: 2; bit 0 ready, bit 1 error)", "\"FPGA DDR ERROR!!\""},
     DdrFailing},
    {{"adc.path", "line from the receiver to the ADC open: the ADC sees 0 V",
      "ADC check: \" not OK! result = ...\""},
     Toggle<&Parts::optics, &Optics::SetPathBroken>},
    {{"adc.wrong",
      "{\"offset\": volts, \"gain\": factor, \"bit\": stuck one, \"level\": 0 or 1, \"missing\": [first, "
      "last code]}",
      "ADC check: \" not OK! result = ...\" where the volts leave its limits"},
     AdcWrong},
    {{"dac.wrong",
      "{\"dac\": \"apd\", \"vdd\", \"att0\" or \"att1\", \"offset\": volts at the DAC, \"gain\": factor, "
      "\"bit\": stuck "
      "one, \"level\": 0 or 1} or a list",
      "\"Ajust try times out.\" where the loop does not reach its voltage"},
     DacWrong},
    {{"optics.bad_connector",
      "dirty or damaged connector in the module's port: dB lost each way (true: 4), it then reflects -30 dB; "
      "or "
      "{\"loss\": dB, \"reflection\": dB}",
      "\"1310 Optical check bad\", \"1550 Optical check bad\""},
     BadConnector},
    {{"optics.apd_defective", "photodiode open: no dark current, no light",
      "\"APD Tuning Start Failed! ret = -1\"; the optical check ends without a verdict"},
     Toggle<&Parts::optics, &Optics::SetApdDefective>},
    {{"optics.laser_off", "the laser does not light",
      "\"1310 Optical check bad\"; \"offset = 0 Adjust Error\""},
     Toggle<&Parts::optics, &Optics::SetLaserOff>},
    {{"optics.laser_weak", "dB that the laser gives less",
      "\"1310 Optical check bad\", \"1550 Optical check bad\" from about 5 dB on"},
     LaserWeak},
    {{"optics.laser_wavelength",
      "nm that always light, whatever is selected (true: 1310 and 1550 are exchanged)",
      "nothing: no check tells the wavelengths apart"},
     LaserWavelength},
    {{"optics.photodiode",
      "{\"responsivity\": factor, \"leakage\": amperes, \"breakdown\": volts at 25 degrees}: weak, leaky, "
      "early "
      "or late in breaking down",
      "\"1310 Optical check bad\" or no verdict; \"APD Tuning Start Failed! ret = -1\""},
     DiodeWrong},
    {{"optics.receiver",
      "{\"gain\": factor, \"noise\": factor, \"bandwidth\": factor, \"dead_channel\": 6300, 6301, 6303 or "
      "6307}",
      "optical check bad; \"6301channel: fail!!!\" and so on for a dead channel"},
     ReceiverWrong},
    {{"optics.fibre_bent", "{\"at\": metres, \"loss\": dB} that every fibre in the port loses more",
      "optical check bad where the bend lies before what it looks at"},
     FibreBent},
    {{"optics.fibre_longer", "metres that every fibre in the port is longer than it says, or shorter",
      "\"offset = 0 Adjust Error\" from 0.5 m more than 5 m on"},
     FibreLonger},
};

}  // namespace

FaultRows ModuleFaults() {
    return {std::begin(kModuleRows), std::end(kModuleRows)};
}

}  // namespace k905
