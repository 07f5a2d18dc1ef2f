// Faults of the optical module: its drivers, FPGA, converters and optics.
#include <iterator>
#include <optional>
#include <utility>

#include "simulator/models/fault_rows.h"

namespace k905 {

namespace {

using Parts = Instrument::Parts;
using nlohmann::json;

// A register by byte address or index, as a number or as text ("0x3000002e").
bool RegisterIndex(const json& value, std::uint16_t& index) {
    std::uint64_t number = 0;
    if (value.is_number_integer()) {
        if (value < 0)
            return false;
        number = value.get<std::uint64_t>();
    } else if (value.is_string()) {
        const std::string text = value.get<std::string>();
        char* end = nullptr;
        number = std::strtoull(text.c_str(), &end, 0);
        if (text.empty() || *end != '\0' || text[0] == '-')
            return false;
    } else {
        return false;
    }
    if (number >= kRegisterBase)
        number = (number - kRegisterBase) / 2;
    index = static_cast<std::uint16_t>(number);
    return number < kRegisterCount;
}

std::string RegisterStuck(Parts& parts, bool on, const json& value) {
    if (!on) {
        parts.fpga.SetStuck(0, -1);
        return "";
    }
    std::uint16_t index = 0;
    const json none;
    const json& stuck = value.is_object() && value.contains("value") ? value["value"] : none;
    if (!value.is_object() || !value.contains("register") || !RegisterIndex(value["register"], index) ||
        !stuck.is_number_integer() || stuck < 0 || stuck > 0xFFFF)
        return "optic.register_stuck takes {\"register\": address, \"value\": 0..65535}";
    parts.fpga.SetStuck(index, stuck.get<int>());
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
    constexpr double kDefault = 4;  // dB
    if (on && !value.is_boolean() && !(value.is_number() && value > 0 && value <= 60))
        return "optics.bad_connector takes true or dB up to 60";
    parts.optics.SetBadConnector(!on ? 0 : value.is_boolean() ? kDefault : value.get<double>());
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
    {{"optics.bad_connector",
      "dirty or damaged connector in the module's port: dB lost each way (true: 4); it also reflects",
      "\"1310 Optical check bad\", \"1550 Optical check bad\""},
     BadConnector},
    {{"optics.apd_defective", "photodiode open: no dark current, no light",
      "\"APD Tuning Start Failed! ret = -1\"; the optical check ends without a verdict"},
     Toggle<&Parts::optics, &Optics::SetApdDefective>},
    {{"optics.laser_off", "the laser does not light",
      "\"1310 Optical check bad\"; \"offset = 0 Adjust Error\""},
     Toggle<&Parts::optics, &Optics::SetLaserOff>},
};

}  // namespace

FaultRows ModuleFaults() {
    return {std::begin(kModuleRows), std::end(kModuleRows)};
}

}  // namespace k905
