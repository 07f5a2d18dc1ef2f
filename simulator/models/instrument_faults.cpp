// The faults: one row each, with what the operator then sees.
#include <utility>

#include "simulator/models/parts.h"
#include "simulator/models/text.h"

namespace k905 {

namespace {

using Parts = Instrument::Parts;
using nlohmann::json;
using Damage = Storage::Damage;

// `on` is false while clearing; `value` is then of no interest. "" or the error text; the fault counts as set
// (or cleared) in Parts::faults while this runs.
using Apply = std::string (*)(Parts&, bool on, const json& value);

std::string OnlyTrue(bool on, const json& value) {
    return on && !value.is_boolean() ? "this fault is true or false" : "";
}

// A fault that is one switch of one model.
template <auto Part, auto Switch>
std::string Toggle(Parts& parts, bool on, const json& value) {
    std::string problem = OnlyTrue(on, value);
    if (problem.empty())
        ((parts.*Part).*Switch)(on);
    return problem;
}

// A fault that lies over a bench setting of board, card or stick.
std::string Media(Parts& parts, bool on, const json& value) {
    const std::string problem = OnlyTrue(on, value);
    return problem.empty() ? parts.ApplyMedia() : problem;
}

std::string ReplyLate(Parts& parts, bool on, const json& value) {
    constexpr int kDefault = 6000, kMost = 600000;  // ms; the product waits 5 s
    if (on && !value.is_boolean() && !(value.is_number_integer() && value >= 1 && value <= kMost))
        return "board.reply_late takes milliseconds";
    const int delay = !on ? 0 : value.is_boolean() ? kDefault : value.get<int>();
    parts.board.SetReplyDelay(Micros{delay} * 1000);
    return "";
}

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

// One {"address", "value"} or a list of them.
template <auto Eeprom>
std::string CellsStuck(Parts& parts, bool on, const json& value) {
    EepromCells& cells = (parts.*Eeprom).Cells();
    const json list = value.is_array() ? value : json::array({value});
    for (const json& cell : list) {
        if (!on)
            break;
        for (const auto& [key, most] : {std::pair<const char*, int>{"address", 0xFFFF}, {"value", 0xFF}})
            if (!cell.is_object() || !cell.contains(key) || !cell[key].is_number_integer() || cell[key] < 0 ||
                cell[key] > most)
                return "a stuck cell takes {\"address\": 0..65535, \"value\": 0..255}, or a list of them";
    }
    cells.ClearStuck();
    if (on)
        for (const json& cell : list)
            cells.SetStuck(cell["address"].get<std::size_t>(), cell["value"].get<int>());
    return "";
}

// A count of bytes, or {"after": bytes, "damage": "prefix", "half" or "page"}.
template <auto Eeprom>
std::string PowerCutAfter(Parts& parts, bool on, const json& value) {
    EepromCells& cells = (parts.*Eeprom).Cells();
    if (!on) {
        cells.CutAfter(-1, EepromCells::Damage::kPrefix);
        return "";
    }
    const json after = value.is_object() ? value.value("after", json()) : value;
    const json damage = value.is_object() ? value.value("damage", json("prefix")) : json("prefix");
    static constexpr std::pair<const char*, EepromCells::Damage> kDamages[] = {
        {"prefix", EepromCells::Damage::kPrefix},
        {"half", EepromCells::Damage::kHalfByte},
        {"page", EepromCells::Damage::kPage},
    };
    for (const auto& [name, kind] : kDamages)
        if (after.is_number_integer() && after >= 0 && damage == name) {
            cells.CutAfter(after.get<std::int64_t>(), kind);
            return "";
        }
    return "a power cut takes bytes, or {\"after\": bytes, \"damage\": \"prefix\"|\"half\"|\"page\"}";
}

std::string SpoilFont(Parts& parts, bool on, const json& value, Damage damage) {
    std::string problem = OnlyTrue(on, value);
    if (!problem.empty())
        return problem;
    parts.storage.RestoreAssets("font/", damage);
    return on ? parts.storage.SpoilAsset("font/unicode.fnt", damage) : "";
}

// A bitmap's name, or a list of names.
std::string SpoilBitmaps(Parts& parts, bool on, const json& value, Damage damage) {
    const json list = value.is_array() ? value : json::array({value});
    for (const json& name : list)
        if (on && !name.is_string())
            return "this fault takes a bitmap's name, or a list of names";
    parts.storage.RestoreAssets("bitmap/", damage);
    for (const json& name : list) {
        std::string problem =
            on ? parts.storage.SpoilAsset("bitmap/" + name.get<std::string>(), damage) : std::string();
        if (!problem.empty()) {
            parts.storage.RestoreAssets("bitmap/", damage);
            return problem;
        }
    }
    return "";
}

template <auto Spoil, Damage Kind>
std::string Spoiled(Parts& parts, bool on, const json& value) {
    return Spoil(parts, on, value, Kind);
}

std::string SmallPanel(Parts& parts, bool on, const json& value) {
    std::string problem = OnlyTrue(on, value);
    if (!problem.empty())
        return problem;
    return on ? parts.screen.Resize(640, 480) : parts.screen.Resize(parts.panelWidth, parts.panelHeight);
}

std::string SwappedColours(Parts& parts, bool on, const json& value) {
    const std::string problem = OnlyTrue(on, value);
    return problem.empty() ? parts.screen.SetSwapped(on) : problem;
}

std::string BadConnector(Parts& parts, bool on, const json& value) {
    constexpr double kDefault = 4;  // dB
    if (on && !value.is_boolean() && !(value.is_number() && value > 0 && value <= 60))
        return "optics.bad_connector takes true or dB up to 60";
    parts.optics.SetBadConnector(!on ? 0 : value.is_boolean() ? kDefault : value.get<double>());
    return "";
}

struct FaultRow {
    Instrument::FaultInfo info;
    Apply apply;
};

constexpr FaultRow kFaultRows[] = {
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
    {{"serial.missing", "no node /dev/ttyS0",
      "Connect: \"Connect fail!!!\", right after \"Open Serial Failed.\""},
     Toggle<&Parts::board, &MeasurementBoard::SetPortMissing>},
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
    {{"optic.tuning_failing", "the driver cannot read or store the tuning record",
      "E2PROM view shows the initial values; calibration results are gone after a restart"},
     Toggle<&Parts::optic, &OpticDriver::SetTuningFailing>},
    {{"fpga.load_failing", "the FPGA loader's driver refuses every request",
      "console: \"iotcl()\" with the system error; FPGA checks fail"},
     Toggle<&Parts::loader, &FpgaLoader::SetFailing>},
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
    {{"module.eeprom_stuck", "{\"address\": a, \"value\": v} or a list: cells that always read v",
      "\"Eeprom Check Error!\" when in page 1; the store moves to another copy"},
     CellsStuck<&Parts::moduleEeprom>},
    {{"module.eeprom_protected", "write-protect pin stuck high", "\"Eeprom Check Error!\""},
     Toggle<&Parts::moduleEeprom, &At24c512::SetProtectStuck>},
    {{"module.eeprom_silent", "the AT24C512 never acknowledges", "\"Eeprom Check Error!\""},
     Toggle<&Parts::moduleEeprom, &At24c512::SetSilent>},
    {{"module.eeprom_cut",
      "power cut after so many more bytes, or {\"after\": n, \"damage\": prefix|half|page}",
      "the instrument goes off; the store recovers at the next start"},
     PowerCutAfter<&Parts::moduleEeprom>},
    {{"mainboard.eeprom_stuck", "{\"address\": a, \"value\": v} or a list: cells that always read v",
      "\"Arm Eeprom Check Error!\" when in page 0"},
     CellsStuck<&Parts::mainboardEeprom>},
    {{"mainboard.eeprom_protected", "write-protect pin stuck high",
      "\"Arm Eeprom Check Error!\" on a fresh board"},
     Toggle<&Parts::mainboardEeprom, &MainboardEeprom::SetProtectStuck>},
    {{"mainboard.eeprom_silent", "the main board's EEPROM never acknowledges", "\"Arm Eeprom Check Error!\""},
     Toggle<&Parts::mainboardEeprom, &MainboardEeprom::SetSilent>},
    {{"mainboard.eeprom_cut",
      "power cut after so many more bytes, or {\"after\": n, \"damage\": prefix|half|page}",
      "the instrument goes off"},
     PowerCutAfter<&Parts::mainboardEeprom>},
    {{"sd.missing", "no SD card", "\"NO SDcard!\"; no test log"}, Media},
    {{"sd.full", "no room on the SD card",
      "\"Write Error!\" unless the test file is there; the log does not grow"},
     Toggle<&Parts::storage, &Storage::SetSdFull>},
    {{"sd.read_only", "SD card's lock is on", "\"Write Error!\"; the log does not grow"},
     Toggle<&Parts::storage, &Storage::SetSdReadOnly>},
    {{"usb.missing", "no USB stick", "\"Usb Check Error!\"; trace files are skipped"}, Media},
    {{"usb.two", "two USB sticks", "\"Usb Check Error!\""}, Media},
    {{"straps.unknown", "straps of no known board (1, 0, 1)",
      "console: empty FPGA file name and \"stat\" error; FPGA checks fail"},
     Toggle<&Parts::straps, &Straps::SetUnknown>},
    {{"bitmap.missing", "a bitmap's name (\"bg_desk.bmp\") or a list", "that picture is not drawn"},
     Spoiled<SpoilBitmaps, Damage::kMissing>},
    {{"bitmap.broken", "a bitmap's name or a list: cut off in the middle",
      "that picture is not drawn, or not whole"},
     Spoiled<SpoilBitmaps, Damage::kBroken>},
    {{"font.missing", "no font file", "bars, frames and icons without texts"},
     Spoiled<SpoilFont, Damage::kMissing>},
    {{"font.broken", "font file cut off in the middle", "glyphs of the second half are missing"},
     Spoiled<SpoilFont, Damage::kBroken>},
    {{"rtc.failing", "the clock chip does not answer", "\"RTC ERROR!\""},
     Toggle<&Parts::rtc, &Rtc::SetFailing>},
    {{"power.missing", "no power controller", "\"PowerDev ERROR!\""},
     Toggle<&Parts::power, &PowerController::SetMissing>},
    {{"power.short", "the power controller's second byte is lost", "\"PowerDev Info ERROR!\""},
     Toggle<&Parts::power, &PowerController::SetShort>},
    {{"keypad.missing", "no keypad node; matters at start-up", "keys and knob do nothing"},
     Toggle<&Parts::keypad, &Keypad::SetMissing>},
    {{"touch.missing", "no touch panel node; matters at start-up", "no screen"},
     Toggle<&Parts::touch, &TouchPanel::SetMissing>},
    {{"screen.bgr565", "16-bit screen with red and blue exchanged; matters at start-up", "no screen"},
     SwappedColours},
    {{"screen.small", "a 640 x 480 panel; matters at start-up", "no screen"}, SmallPanel},
};

const FaultRow* Find(const std::string& name) {
    for (const FaultRow& row : kFaultRows)
        if (name == row.info.name)
            return &row;
    return nullptr;
}

bool Clears(const json& value) {
    return value.is_null() || value == json(false) || (value.is_number() && value == 0);
}

}  // namespace

const std::vector<Instrument::FaultInfo>& Instrument::Faults() {
    static const std::vector<FaultInfo> infos = [] {
        std::vector<FaultInfo> all;
        for (const FaultRow& row : kFaultRows)
            all.push_back(row.info);
        return all;
    }();
    return infos;
}

std::string Instrument::SetFault(const std::string& name, const nlohmann::json& value) {
    const FaultRow* row = Find(name);
    if (row == nullptr)
        return "no such fault: " + name;
    auto& faults = parts_->faults;
    const auto before = faults;
    const bool on = !Clears(value);
    if (on)
        faults[name] = value;
    else
        faults.erase(name);
    std::string problem = row->apply(*parts_, on, value);
    if (!problem.empty())
        faults = before;
    return problem;
}

nlohmann::json Instrument::FaultValue(const std::string& name) const {
    const auto set = parts_->faults.find(name);
    return set != parts_->faults.end() ? set->second : nlohmann::json(false);
}

}  // namespace k905
