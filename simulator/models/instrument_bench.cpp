// Bench quantities: what a person at the bench can plug, turn and heat.
#include <algorithm>
#include <cmath>

#include "simulator/models/json_values.h"
#include "simulator/models/parts.h"
#include "simulator/models/text.h"

namespace k905 {

namespace {

using Parts = Instrument::Parts;
using nlohmann::json;

// Each setter gets what follows the quantity's name ("TP97" of "board.rail.TP97") and the value.
using Setter = std::string (*)(Parts&, const std::string& rest, const json& value);

std::string SetPlugged(Parts& parts, const std::string&, const json& value) {
    if (!value.is_boolean())
        return "board.plugged is true or false";
    parts.boardWanted = value.get<bool>();
    return parts.ApplyMedia();
}

std::string SetRail(Parts& parts, const std::string& rail, const json& value) {
    if (value.is_null())
        return parts.board.FreeRail(rail);
    return value.is_number() ? parts.board.SetRail(rail, value.get<double>())
                             : "a rail takes volts, or null to free it";
}

std::string SetStrap(Parts& parts, const std::string& pin, const json& value) {
    if (!WholeInRange(value, 0, 1) && !value.is_boolean())
        return "a strap is 0 or 1";
    const bool level = value.is_boolean() ? value.get<bool>() : value.get<int>() == 1;
    return parts.straps.Set(pin, level) ? "" : "no such strap: " + pin;
}

std::string SetPower(Parts& parts, const std::string& field, const json& value) {
    return parts.power.Set(field, value);
}

std::string SetTime(Parts& parts, const std::string&, const json& value) {
    if (value.is_string())
        return parts.rtc.SetText(value.get<std::string>());
    if (!WholeInRange(value, 0, 4102444800))
        return "rtc.time takes \"YYYY-MM-DD hh:mm:ss\" or Unix seconds until 2100";
    parts.rtc.Set(value.get<std::int64_t>());
    return "";
}

std::string SetSd(Parts& parts, const std::string&, const json& value) {
    if (!value.is_boolean())
        return "sd.present is true or false";
    parts.sdWanted = value.get<bool>();
    return parts.ApplyMedia();
}

std::string SetSticks(Parts& parts, const std::string&, const json& value) {
    if (!WholeInRange(value, 0, Storage::kMaxSticks))
        return Text("usb.sticks is 0 to %u", Storage::kMaxSticks);
    parts.sticksWanted = value.get<unsigned>();
    return parts.ApplyMedia();
}

std::string SetTemperature(Parts& parts, const std::string&, const json& value) {
    if (!InRange(value, Parts::kColdest, Parts::kHottest))
        return "module.temperature is -40 to 85 degrees Celsius";
    parts.temperature = value.get<double>();
    parts.temperatureSince = parts.world.Now();
    if (parts.temperatureEnd)  // still to the same end
        parts.temperatureRate =
            std::copysign(parts.temperatureRate, *parts.temperatureEnd - parts.temperature);
    return "";
}

std::string SetTemperatureRate(Parts& parts, const std::string&, const json& value) {
    double rate = 0, end = 0;
    const bool ends = value.is_object();
    const std::vector<NumberField> fields = {
        {"to", Parts::kColdest, Parts::kHottest, [&](double degrees) { end = degrees; }},
        {"rate", 0.001, 60, [&](double degrees) { rate = degrees; }}};
    if (ends ? !ReadFields(value, fields) || value.size() != fields.size() : !InRange(value, -60, 60))
        return "module.temperature_rate is -60 to 60 degrees a minute, or {\"to\": degrees, \"rate\": above "
               "0 "
               "to 60 a minute}";
    parts.temperature = parts.Temperature();
    parts.temperatureSince = parts.world.Now();
    parts.temperatureEnd = ends ? std::optional<double>(end) : std::nullopt;
    parts.temperatureRate = ends ? std::copysign(rate, end - parts.temperature) : value.get<double>();
    return "";
}

std::string SetSeed(Parts& parts, const std::string&, const json& value) {
    if (!WholeInRange(value, 0, 0xFFFFFFFF))
        return "module.seed is 0 to 4294967295";
    parts.optics.SetSeed(value.get<unsigned>());
    if (parts.noiseWanted)
        parts.optics.SetNoise(*parts.noiseWanted);
    return "";
}

std::string SetNoise(Parts& parts, const std::string&, const json& value) {
    if (!value.is_null() && !WholeInRange(value, 0, 0xFFFFFFFF))
        return "noise.seed is 0 to 4294967295, or null";
    parts.noiseWanted = value.is_null() ? std::nullopt : std::optional(value.get<unsigned>());
    parts.optics.SetNoise(parts.noiseWanted.value_or(parts.optics.Seed()));
    parts.board.SetNoise(parts.noiseWanted.value_or(parts.seed));
    return "";
}

std::string SetFibre(Parts& parts, const std::string&, const json& value) {
    Fibre fibre;
    std::string problem = ParseFibre(value, fibre);
    if (problem.empty())
        parts.optics.SetFibre(fibre);
    return problem;
}

std::string SetLightOnLink(Parts& parts, const std::string&, const json& value) {
    constexpr double kUsual = -20;  // dBm: a transmitter at the far end
    if (!value.is_boolean() && !value.is_null() && !InRange(value, -90, 10))
        return "optics.light_on_link is true, false, or -90 to 10 dBm";
    const bool on = value.is_number() || value == json(true);
    const double level = value.is_number() ? value.get<double>() : kUsual;
    parts.optics.SetLightOnLink(on ? 1e-3 * std::pow(10.0, level / 10) : 0);
    return "";
}

std::string SetPanel(Parts& parts, const std::string&, const json& value) {
    constexpr int kMost = Framebuffer::kLargestSide;
    if (!value.is_array() || value.size() != 2 || !WholeInRange(value[0], 1, kMost) ||
        !WholeInRange(value[1], 1, kMost))
        return "screen.size takes [width, height], 1 to 4096 pixels each";
    parts.panelWidth = value[0].get<unsigned>();
    parts.panelHeight = value[1].get<unsigned>();
    if (parts.screen.InUse())
        return "";
    parts.touch.SetSize(parts.panelWidth, parts.panelHeight);
    return parts.faults.count("screen.small") != 0 ? ""
                                                   : parts.screen.Resize(parts.panelWidth, parts.panelHeight);
}

struct QuantityRow {
    Instrument::QuantityInfo info;
    Setter set;
};

// A name that ends in a dot stands for every name that begins with it.
constexpr QuantityRow kQuantityRows[] = {
    {{"board.plugged", "measurement board on the serial port: true or false"}, SetPlugged},
    {{"board.rail.", "rail by test point or channel (board.rail.TP97): volts as reported, null frees it"},
     SetRail},
    {{"straps.", "pb8, pb9, pb27: 0 or 1"}, SetStrap},
    {{"power.", "dc, bat, full: true or false; type: 0 to 3; level: 0 to 255"}, SetPower},
    {{"rtc.time", "\"YYYY-MM-DD hh:mm:ss\" or Unix seconds"}, SetTime},
    {{"sd.present", "SD card in its slot: true or false"}, SetSd},
    {{"usb.sticks", "USB sticks plugged in: 0 to 8"}, SetSticks},
    {{"module.temperature", "degrees Celsius now"}, SetTemperature},
    {{"module.temperature_rate",
      "degrees a minute from now on, or {\"to\": degrees, \"rate\": degrees a minute}: a ramp with an end"},
     SetTemperatureRate},
    {{"module.seed", "another optical module: its number"}, SetSeed},
    {{"noise.seed",
      "another run of chance for the noise of receiver and measurement board: its number, null: their own"},
     SetNoise},
    {{"optics.fibre",
      "at the module's port: \"none\", \"5 m\", \"1 km\", \"1.5 km\", or a list of events {\"at\": metres, "
      "\"loss\": dB, \"reflection\": dB}, the last one the end"},
     SetFibre},
    {{"optics.light_on_link", "steady light from the far end: true (-20 dBm), false, or dBm at the port"},
     SetLightOnLink},
    {{"screen.size", "[width, height] of the panel in pixels; matters at start-up"}, SetPanel},
};

}  // namespace

std::string Instrument::Set(const std::string& name, const nlohmann::json& value) {
    for (const QuantityRow& row : kQuantityRows) {
        const std::string own = row.info.name;
        const bool family = own.back() == '.';
        if (family ? name.compare(0, own.size(), own) == 0 : name == own)
            return row.set(*parts_, family ? name.substr(own.size()) : "", value);
    }
    return "no such quantity: " + name;
}

const std::vector<Instrument::QuantityInfo>& Instrument::Quantities() {
    static const std::vector<QuantityInfo> infos = [] {
        std::vector<QuantityInfo> all;
        for (const QuantityRow& row : kQuantityRows)
            all.push_back(row.info);
        return all;
    }();
    return infos;
}

// A fault lies over the bench setting; clearing it brings the setting back.
std::string Instrument::Parts::ApplyMedia() {
    board.SetPlugged(boardWanted && !Faulty("board.unplugged"));
    const std::string problem = storage.SetSdPresent(sdWanted && !Faulty("sd.missing"));
    const unsigned sticks = Faulty("usb.missing") ? 0 : Faulty("usb.two") ? 2 : sticksWanted;
    return problem + storage.SetSticks(sticks);
}

}  // namespace k905
