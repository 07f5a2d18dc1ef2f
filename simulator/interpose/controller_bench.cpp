// The bench as a whole: what a person has set on it, to be looked at, kept and put back; and the samples
// behind the optical module's last acquisition.
#include "simulator/interpose/controller.h"
#include "simulator/models/host_file.h"
#include "simulator/models/parts.h"

namespace k905 {

namespace {

using Json = Controller::Json;

// What a quantity has before anybody sets it; null frees a rail. Quantities without a rest state (the clock,
// the panel's size) stay as they are.
Json Untouched(const std::string& name, unsigned seed) {
    static const Json kUntouched = {
        {"board.plugged", true},
        {"straps.pb8", 0},
        {"straps.pb9", 0},
        {"straps.pb27", 1},
        {"power.dc", true},
        {"power.bat", true},
        {"power.full", false},
        {"power.type", 0},
        {"power.level", 85},
        {"sd.present", true},
        {"usb.sticks", 1},
        {"module.temperature", 25},
        {"module.temperature_rate", 0},
        {"optics.fibre", "none"},
        {"optics.light_on_link", false},
    };
    if (name == "module.seed" || name == "noise.seed")
        return seed;
    return kUntouched.value(name, Json(nullptr));
}

bool HasRestState(const std::string& name) {
    return name != "rtc.time" && name != "screen.size";
}

Json Member(const Json& request, const char* name) {
    Json member = request.value(name, Json::object());
    if (!member.is_object())
        throw std::invalid_argument(std::string("\"") + name + "\" is not an object");
    return member;
}

}  // namespace

// What was set before the product started counts as set.
void Controller::LoadSettings() {
    std::string text;
    if (!host::ReadFile(machine_.Configuration().instrument.stateDir + "/start.json", text))
        return;
    const Json start = Json::parse(text, nullptr, false);
    if (start.is_object() && start.contains("set") && start["set"].is_object())
        settings_ = start["set"];
}

// Keeps the bench where the next start can find it. The file is a start.json.
void Controller::KeepBench() {
    const std::string path = machine_.Configuration().instrument.stateDir + "/bench.json";
    if (host::WriteFile(path + ".new", BenchNow().dump(2) + "\n"))
        host::Rename(path + ".new", path);  // whole at any moment
}

std::string Controller::SetQuantity(const std::string& name, const Json& value) {
    std::string error = machine_.Hardware().Set(name, value);
    if (error.empty() && value.is_null())
        settings_.erase(name);
    else if (error.empty())
        settings_[name] = value;
    return error;
}

Json Controller::BenchNow() {
    Json faults = Json::object();
    for (const Instrument::FaultInfo& fault : Instrument::Faults()) {
        const Json value = machine_.Hardware().FaultValue(fault.name);
        if (value != Json(false))
            faults[fault.name] = value;
    }
    return {{"set", settings_}, {"faults", faults}};
}

// With "set" or "faults" the bench is made so; what they do not name goes back to what it was untouched.
Json Controller::Bench(const Json& request) {
    Guard guard(machine_.lock);
    if (!request.contains("set") && !request.contains("faults"))
        return BenchNow();
    const Json set = Member(request, "set");
    const Json faults = Member(request, "faults");
    std::string wrong;
    const auto note = [&wrong](const std::string& error) {
        if (!error.empty())
            wrong += (wrong.empty() ? "" : "; ") + error;
    };
    const Json before = BenchNow();
    for (const auto& [name, value] : before["faults"].items())
        if (!faults.contains(name))
            note(machine_.Hardware().SetFault(name, false));
    for (const auto& [name, value] : before["set"].items())
        if (!set.contains(name) && HasRestState(name)) {
            note(machine_.Hardware().Set(name, Untouched(name, machine_.Configuration().instrument.seed)));
            settings_.erase(name);
        }
    for (const auto& [name, value] : set.items())
        note(SetQuantity(name, value));
    for (const auto& [name, value] : faults.items())
        note(machine_.Hardware().SetFault(name, value));
    machine_.Running().DevicesChanged();
    KeepBench();
    Json reply = BenchNow();
    if (!wrong.empty())
        reply.update({{"ok", false}, {"error", wrong}});
    return reply;
}

Json Controller::Samples() {
    Guard guard(machine_.lock);
    Instrument::Parts& parts = machine_.Hardware().Inside();
    const auto& [input, count] = parts.fpga.LastAcquired();
    const Json optics = parts.optics.State(input);
    std::vector<std::uint16_t> samples(count);
    samples.resize(parts.fpga.Fetch(samples.data(), samples.size()));
    const double step = optics["metres_per_sample"];
    const double first = (static_cast<double>(input.delay) - Optics::kLeadIn) * step -
                         parts.optics.OffsetSamples() * kFinestStep;
    return {{"acquisition", parts.fpga.State()["acquisitions"]},
            {"metres_per_sample", step},
            {"first_metres", first},
            {"wavelength", optics["wavelength"]},
            {"pulse_nanoseconds", optics["pulse_nanoseconds"]},
            {"samples", samples}};
}

}  // namespace k905
