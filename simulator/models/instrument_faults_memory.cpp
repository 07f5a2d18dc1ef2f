// Faults of what is stored on: both EEPROMs, SD card, USB sticks, the files of the program.
#include <iterator>
#include <utility>

#include "simulator/models/fault_rows.h"

namespace k905 {

namespace {

using Parts = Instrument::Parts;
using nlohmann::json;
using Damage = Storage::Damage;

// One {"address", "value"} or a list of them.
template <auto Eeprom>
std::string CellsStuck(Parts& parts, bool on, const json& value) {
    EepromCells& cells = (parts.*Eeprom).Cells();
    const json list = AsList(value);
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

// One {"data": bit, "level": 0 or 1} or {"address": bit, "level": 0 or 1}, or a list of them.
template <auto Eeprom>
std::string LineStuck(Parts& parts, bool on, const json& value) {
    constexpr int kDataBits = 8, kAddressBits = 16;
    EepromCells& cells = (parts.*Eeprom).Cells();
    const json list = on ? AsList(value) : json::array();
    const auto is = [](const json& line, const char* kind, int bits) {
        return line.is_object() && line.size() == 2 && line.contains(kind) && line.contains("level") &&
               WholeInRange(line[kind], 0, bits - 1) && WholeInRange(line["level"], 0, 1);
    };
    for (const json& line : list)
        if (!is(line, "data", kDataBits) && !is(line, "address", kAddressBits))
            return "a stuck line takes {\"data\": 0..7, \"level\": 0 or 1}, {\"address\": 0..15, \"level\": "
                   "0|1}, "
                   "or a list of them";
    cells.ClearLines();
    for (const json& line : list) {
        const bool level = line["level"] == 1;
        if (line.contains("data"))
            cells.SetDataLine(line["data"].get<unsigned>(), level);
        else
            cells.SetAddressLine(line["address"].get<unsigned>(), level);
    }
    return "";
}

template <auto Eeprom>
std::string Worn(Parts& parts, bool on, const json& value) {
    constexpr int kMost = 1000000;
    if (on && !value.is_boolean() && !WholeInRange(value, 1, kMost))
        return "a worn EEPROM takes true, or the write cycles that its pages still stand";
    (parts.*Eeprom).Cells().SetEndurance(!on ? -1 : value.is_boolean() ? 0 : value.get<int>());
    return "";
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
    const json list = AsList(value);
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

constexpr FaultRow kMemoryRows[] = {
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
    {{"module.eeprom_line",
      "{\"data\": bit, \"level\": 0 or 1} or {\"address\": bit, \"level\": 0 or 1} or a list: lines inside "
      "the "
      "part that are "
      "stuck",
      "\"Eeprom Check Error!\" where page 1 reads otherwise than it was written"},
     LineStuck<&Parts::moduleEeprom>},
    {{"module.eeprom_worn",
      "its pages hold what is written for so many more write cycles (true: none); then one cell in four has "
      "a bit "
      "that reads 1",
      "\"Eeprom Check Error!\" where page 1 reads otherwise than it was written"},
     Worn<&Parts::moduleEeprom>},
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
    {{"mainboard.eeprom_line",
      "{\"data\": bit, \"level\": 0 or 1} or {\"address\": bit, \"level\": 0 or 1} or a list: lines inside "
      "the "
      "part that are "
      "stuck",
      "\"Arm Eeprom Check Error!\" where the first four bytes of page 0 read otherwise"},
     LineStuck<&Parts::mainboardEeprom>},
    {{"mainboard.eeprom_worn",
      "its pages hold what is written for so many more write cycles (true: none); then one cell in four has "
      "a bit "
      "that reads 1",
      "\"Arm Eeprom Check Error!\" where the first four bytes of page 0 read otherwise"},
     Worn<&Parts::mainboardEeprom>},
    {{"sd.missing", "no SD card", "\"NO SDcard!\"; no test log"}, Media},
    {{"sd.full", "no room on the SD card",
      "\"Write Error!\" unless the test file is there; the log does not grow"},
     Toggle<&Parts::storage, &Storage::SetSdFull>},
    {{"sd.read_only", "SD card's lock is on", "\"Write Error!\"; the log does not grow"},
     Toggle<&Parts::storage, &Storage::SetSdReadOnly>},
    {{"usb.missing", "no USB stick", "\"Usb Check Error!\"; trace files are skipped"}, Media},
    {{"usb.two", "two USB sticks", "\"Usb Check Error!\""}, Media},
    {{"bitmap.missing", "a bitmap's name (\"bg_desk.bmp\") or a list", "that picture is not drawn"},
     Spoiled<SpoilBitmaps, Damage::kMissing>},
    {{"bitmap.broken", "a bitmap's name or a list: cut off in the middle",
      "that picture is not drawn, or not whole"},
     Spoiled<SpoilBitmaps, Damage::kBroken>},
    {{"font.missing", "no font file", "bars, frames and icons without texts"},
     Spoiled<SpoilFont, Damage::kMissing>},
    {{"font.broken", "font file cut off in the middle", "glyphs of the second half are missing"},
     Spoiled<SpoilFont, Damage::kBroken>},
};

}  // namespace

FaultRows MemoryFaults() {
    return {std::begin(kMemoryRows), std::end(kMemoryRows)};
}

}  // namespace k905
