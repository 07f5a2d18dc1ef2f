#include "simulator/models/bench_requests.h"

#include <stdexcept>

#include "simulator/models/host_file.h"
#include "simulator/models/json_values.h"
#include "simulator/models/origin.h"
#include "simulator/models/parts.h"
#include "simulator/models/still_world.h"

namespace k905 {

namespace {

using Json = BenchRequests::Json;

// {"ok":true}, or the error that a model told.
Json Result(const std::string& error) {
    return error.empty() ? Json{{"ok", true}} : Json{{"ok", false}, {"error", error}};
}

// What a quantity has before anybody sets it; null frees a rail and the noise. The clock, which has no rest
// state, stays as it is.
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
        {"screen.size", {800, 480}},
    };
    if (name == "module.seed")
        return seed;
    return kUntouched.value(name, Json(nullptr));
}

bool HasRestState(const std::string& name) {
    return name != "rtc.time";
}

Json ObjectOf(const Json& request, const char* name) {
    Json member = request.value(name, Json::object());
    if (!member.is_object())
        throw std::invalid_argument(std::string("\"") + name + "\" is not an object");
    return member;
}

}  // namespace

BenchRequests::BenchRequests(World& world, Instrument& instrument, const Instrument::Options& options,
                             std::function<void()> changed)
    : world_(world), instrument_(instrument), options_(options), changed_(std::move(changed)) {
    std::string text;
    if (!host::ReadFile(options_.stateDir + "/start.json", text))
        return;
    const Json start = Json::parse(text, nullptr, false);
    if (start.is_object() && start.contains("set") && start["set"].is_object())
        settings_ = start["set"];
}

bool BenchRequests::Knows(const std::string& what) {
    for (const char* own : {"set", "fault", "faults", "quantities", "bench", "state", "origin"})
        if (what == own)
            return true;
    return false;
}

Json BenchRequests::Do(const Json& request) {
    const std::string what = WordOf(request, "do");
    if (what == "set")
        return Set(request);
    if (what == "fault")
        return Fault(request);
    if (what == "bench")
        return Bench(request);
    if (what == "state")
        return {{"state", instrument_.State()}};
    if (what == "origin")
        return OriginOf(instrument_, request);
    if (what == "faults")
        return Faults();
    Json list = Json::array();
    for (const Instrument::QuantityInfo& quantity : Instrument::Quantities())
        list.push_back({{"name", quantity.name}, {"what", quantity.what}});
    return {{"quantities", list}};
}

Json BenchRequests::Set(const Json& request) {
    const std::string name = WordOf(request, "name");
    const Json& value = MemberOf(request, "value");
    const std::string error = instrument_.Set(name, value);
    if (error.empty() && value.is_null())
        settings_.erase(name);
    else if (error.empty())
        settings_[name] = value;
    Changed();
    return Result(error);
}

Json BenchRequests::Fault(const Json& request) {
    const std::string error =
        instrument_.SetFault(WordOf(request, "name"), request.value("value", Json(true)));
    Changed();
    return Result(error);
}

Json BenchRequests::Faults() const {
    Json list = Json::array();
    for (const Instrument::FaultInfo& fault : Instrument::Faults())
        list.push_back({{"name", fault.name},
                        {"what", fault.what},
                        {"operator_sees", fault.operatorSees},
                        {"value", instrument_.FaultValue(fault.name)}});
    return {{"faults", list}};
}

Json BenchRequests::BenchNow() const {
    Json faults = Json::object();
    for (const Instrument::FaultInfo& fault : Instrument::Faults()) {
        const Json value = instrument_.FaultValue(fault.name);
        if (value != Json(false))
            faults[fault.name] = value;
    }
    Json set = settings_;
    if (set.contains("module.temperature_rate"))  // as far as the ramp has come
        set["module.temperature"] = instrument_.Inside().Temperature();
    return {{"set", set}, {"faults", faults}};
}

void BenchRequests::Changed() const {
    if (changed_)
        changed_();
    Keep();
}

void BenchRequests::Keep() const {
    const std::string path = options_.stateDir + "/bench.json";
    if (host::WriteFile(path + ".new", BenchNow().dump(2) + "\n"))
        host::Rename(path + ".new", path);  // whole at any moment
}

// What is wrong with these settings and faults, "" when nothing is: an untouched instrument of the same kind
// is made so first, in a folder that goes away again.
std::string BenchRequests::Try(const Json& set, const Json& faults) const {
    std::string wrong;
    const auto note = [&wrong](const std::string& error) {
        if (!error.empty())
            wrong += (wrong.empty() ? "" : "; ") + error;
    };
    Instrument::Options options = options_;
    options.stateDir = options_.stateDir + "/trial";
    options.onPowerCut = [] {};
    host::RemoveTree(options.stateDir);  // of a try that was cut off
    {
        StillWorld world(world_.Now());
        Instrument trial(world, options);
        for (const auto& [name, value] : set.items())
            note(trial.Set(name, value));
        for (const auto& [name, value] : faults.items())
            note(trial.SetFault(name, value));
    }
    host::RemoveTree(options.stateDir);
    return wrong;
}

// With "set" or "faults" the bench is made so; what they do not name goes back to what it was untouched. All
// of it or nothing.
Json BenchRequests::Bench(const Json& request) {
    Json now = BenchNow();
    now["seed"] = options_.seed;
    if (!request.contains("set") && !request.contains("faults"))
        return now;
    const Json set = ObjectOf(request, "set");
    const Json faults = ObjectOf(request, "faults");
    const std::string wrong = set.empty() && faults.empty() ? "" : Try(set, faults);
    if (!wrong.empty())
        return Result(wrong);
    for (const auto& [name, value] : now["faults"].items())
        if (!faults.contains(name))
            instrument_.SetFault(name, false);
    for (const auto& [name, value] : now["set"].items())
        if (!set.contains(name) && HasRestState(name)) {
            instrument_.Set(name, Untouched(name, options_.seed));
            settings_.erase(name);
        }
    std::string failed;  // the machine's own trouble: nothing is wrong with the request
    for (const auto& [name, value] : set.items()) {
        failed += instrument_.Set(name, value);
        value.is_null() ? static_cast<void>(settings_.erase(name))
                        : static_cast<void>(settings_[name] = value);
    }
    for (const auto& [name, value] : faults.items())
        failed += instrument_.SetFault(name, value);
    Changed();
    if (!failed.empty())
        return Result(failed);
    now.update(BenchNow());
    return now;
}

}  // namespace k905
