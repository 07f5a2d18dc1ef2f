#include "simulator/models/instrument.h"

#include <algorithm>
#include <stdexcept>

#include "simulator/models/host_file.h"
#include "simulator/models/origin.h"
#include "simulator/models/parts.h"

namespace k905 {

namespace {

// The state folder exists before the first part opens a file in it.
const std::string& Prepared(const std::string& stateDir) {
    if (stateDir.empty() || !host::MakeDirectories(stateDir))
        throw std::runtime_error("cannot make the state folder " + stateDir);
    return stateDir;
}

// What <stateDir>/start.json asks for before the first call of the product.
void ApplyStart(Instrument& instrument, const std::string& stateDir) {
    std::string text;
    if (!host::ReadFile(stateDir + "/start.json", text))
        return;
    const nlohmann::json start = nlohmann::json::parse(text, nullptr, false);
    if (!start.is_object())
        throw std::runtime_error("start.json is not a JSON object");
    const auto apply = [&](const char* group,
                           std::string (Instrument::*set)(const std::string&, const nlohmann::json&)) {
        const nlohmann::json entries = start.value(group, nlohmann::json::object());
        if (!entries.is_object())
            throw std::runtime_error(std::string("start.json: \"") + group + "\" is not an object");
        for (const auto& [name, value] : entries.items()) {
            const std::string problem = (instrument.*set)(name, value);
            if (!problem.empty())
                throw std::runtime_error("start.json: " + problem);
        }
    };
    apply("set", &Instrument::Set);
    apply("faults", &Instrument::SetFault);
}

}  // namespace

Instrument::Parts::Parts(World& theWorld, const Options& options)
    : world(theWorld),
      storage(Prepared(options.stateDir), options.appDir),
      screen(options.panelWidth, options.panelHeight, options.bits),
      touch(theWorld, options.panelWidth, options.panelHeight),
      optics(options.seed),
      moduleEeprom(theWorld, options.stateDir + "/module.at24c512", options.seed),
      fpga(theWorld, optics, moduleEeprom, *this),
      loader(theWorld, fpga),
      optic(theWorld, fpga, *this, options.stateDir + "/tuning.bin"),
      board(theWorld, options.seed, fpga.Values(), optics),
      mainboardEeprom(theWorld, options.stateDir + "/mainboard.eeprom", options.seed),
      rtc(theWorld, options.wallClockStart),
      power(theWorld),
      shell(theWorld, storage, straps, [this](const std::string& name) { return InsertModule(name); }),
      seed(options.seed),
      panelWidth(options.panelWidth),
      panelHeight(options.panelHeight) {
    // The supply feeds both EEPROMs: where one is cut, the other one's cycle ends too.
    const auto cut = [this, onPowerCut = options.onPowerCut] {
        moduleEeprom.Cells().Cut(world.Now());
        mainboardEeprom.Cells().Cut(world.Now());
        if (onPowerCut)
            onPowerCut();
    };
    for (const NamedMemory& memory : kNamedMemories)
        Cells(memory.name).KeepOrigins(options.stateDir + "/" + memory.image + kOriginsOf);
    moduleEeprom.Cells().OnCut(cut);
    mainboardEeprom.Cells().OnCut(cut);
}

double Instrument::Parts::Temperature() const {
    constexpr double kMinute = 60e6;
    const double minutes = static_cast<double>(world.Now() - temperatureSince) / kMinute;
    const double reached = temperature + temperatureRate * minutes;
    const double end = temperatureEnd.value_or(temperatureRate > 0 ? kHottest : kColdest);
    return temperatureRate > 0   ? std::min(reached, end)
           : temperatureRate < 0 ? std::max(reached, end)
                                 : reached;
}

double Instrument::Parts::TemperatureRate() const {
    return temperatureEnd && Temperature() == *temperatureEnd ? 0 : temperatureRate;
}

nlohmann::json Instrument::Parts::TemperatureState() const {
    nlohmann::json state = {{"temperature", Temperature()}, {"temperature_rate", TemperatureRate()}};
    if (temperatureEnd && TemperatureRate() != 0)
        state["temperature_end"] = *temperatureEnd;
    return state;
}

bool Instrument::Parts::InsertModule(const std::string& name) {
    if (name == "drv_fpga")
        loader.SetDriverLoaded(true);
    else if (name == "drv_keypad")
        keypad.SetDriverLoaded(true);
    else if (name == "drv_optic")
        optic.SetDriverLoaded(true);
    else
        return false;
    return true;
}

Instrument::Instrument(World& world, const Options& options)
    : parts_(std::make_unique<Parts>(world, options)) {
    ApplyStart(*this, options.stateDir);
}

Instrument::~Instrument() = default;

DeviceNode* Instrument::Node(const std::string& path) {
    Parts& parts = *parts_;
    const struct {
        const char* path;
        DeviceNode* node;
    } nodes[] = {
        {"/dev/fb0", &parts.screen},        {"/dev/keyb0", &parts.keypad},
        {"/dev/event2", &parts.touch},      {"/dev/optic0", &parts.optic},
        {"/dev/fpga0", &parts.loader},      {"/dev/ttyS0", &parts.board},
        {"/dev/rtc0", &parts.rtc},          {"/dev/i2c-1", &parts.mainboardEeprom},
        {"/dev/p89lpc933_0", &parts.power},
    };
    for (const auto& entry : nodes)
        if (path == entry.path)
            return entry.node;
    return nullptr;
}

bool Instrument::Present(const std::string& path) const {
    const Parts& parts = *parts_;
    const struct {
        const char* path;
        bool present;
    } nodes[] = {
        {"/dev/fb0", true},
        {"/dev/keyb0", parts.keypad.Present()},
        {"/dev/event2", parts.touch.Present()},
        {"/dev/optic0", parts.optic.Present()},
        {"/dev/fpga0", parts.loader.Present()},
        {"/dev/ttyS0", parts.board.PortPresent()},
        {"/dev/rtc0", true},
        {"/dev/i2c-1", true},
        {"/dev/p89lpc933_0", parts.power.Present()},
    };
    for (const auto& entry : nodes)
        if (path == entry.path)
            return entry.present;
    return false;
}

int Instrument::Shell(const std::string& command, std::string& output) {
    return parts_->shell.Run(command, output);
}

std::string Instrument::Key(const std::string& nameOrCode, bool down) {
    return parts_->keypad.Key(nameOrCode, down);
}

void Instrument::Knob(bool clockwise) {
    parts_->keypad.Knob(clockwise);
}

void Instrument::Touch(const std::vector<Point>& points) {
    std::vector<TouchPoint> fingers;
    for (const Point& point : points)
        fingers.push_back({point.x, point.y});
    parts_->touch.Fingers(fingers);
}

Framebuffer& Instrument::Screen() {
    return parts_->screen;
}

bool Instrument::SdFull() const {
    return parts_->storage.SdFull();
}

bool Instrument::SdReadOnly() const {
    return parts_->storage.SdReadOnly();
}

std::int64_t Instrument::WallClockMicros() const {
    return parts_->rtc.NowMicros();
}

void Instrument::PowerCut() {
    const Micros now = parts_->world.Now();
    parts_->moduleEeprom.Cells().Cut(now);
    parts_->mainboardEeprom.Cells().Cut(now);
}

bool Instrument::PowerLost() const {
    return parts_->moduleEeprom.Cells().Dead() || parts_->mainboardEeprom.Cells().Dead();
}

nlohmann::json Instrument::State() const {
    const Parts& parts = *parts_;
    nlohmann::json screen = parts.screen.State();
    screen["fitted"] = {parts.panelWidth, parts.panelHeight};
    return {{"screen", screen},
            {"keypad", parts.keypad.State()},
            {"touch", parts.touch.State()},
            {"fpga", parts.fpga.State()},
            {"fpga_loader", parts.loader.State()},
            {"optic", parts.optic.State()},
            {"optics", parts.optics.State(OpticsInputFrom(parts.fpga.Values(), parts.Temperature(),
                                                          parts.InjectedSignal(), parts.InjectedChannel()))},
            {"module", parts.TemperatureState()},
            {"noise", {{"seed", parts.noiseWanted ? nlohmann::json(*parts.noiseWanted) : nlohmann::json()}}},
            {"module_eeprom", parts.moduleEeprom.State()},
            {"mainboard_eeprom", parts.mainboardEeprom.State()},
            {"board", parts.board.State()},
            {"rtc", parts.rtc.State()},
            {"power", parts.power.State()},
            {"straps", parts.straps.State()},
            {"shell", parts.shell.State()},
            {"storage", parts.storage.State()},
            {"faults", parts.faults},
            {"power_lost", PowerLost()}};
}

}  // namespace k905
