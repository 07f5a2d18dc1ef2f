#include "simulator/panel/panel_past.h"

#include <algorithm>

namespace k905 {

namespace {

using nlohmann::json;

constexpr unsigned kTellEvery = 20;  // watches
constexpr const char* kLooks[] = {"hello",  "text",       "controls", "state", "samples",   "threads",
                                  "faults", "quantities", "trace",    "calls", "screenshot"};

// What leaves an instrument as it is.
bool Looks(const json& request) {
    const std::string what = request["do"];
    return (what == "bench" && !request.contains("set") && !request.contains("faults")) ||
           std::any_of(std::begin(kLooks), std::end(kLooks), [&](const char* look) { return what == look; });
}

std::int64_t Whole(const json& request, const char* name, std::int64_t otherwise) {
    if (!request.contains(name))
        return otherwise;
    if (!request[name].is_number_integer() || request[name] < 0)
        throw Refused(std::string("\"") + name + "\" is a whole number from 0 on");
    return request[name];
}

}  // namespace

PanelPast::PanelPast(PanelBench& live) : live_(live), rewind_(std::make_shared<Rewind>(live.StateDir())) {}

std::shared_ptr<Rewind> PanelPast::Past() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return rewind_;
}

PanelInstrument::Status PanelPast::GetStatus() {
    Status status = live_.GetStatus();
    if (const auto shown = Past()->Now())
        status.past = shown->moment;
    return status;
}

void PanelPast::Restart() {
    Return();
    live_.Restart();
}

json PanelPast::Ask(const json& request) {
    const std::string what = request["do"];
    if (what == "session")
        return TellSession(request);
    if (what == "rewind")
        return ShowMoment(request);
    const auto shown = Past()->Now();
    if (what == "now") {
        Return();
        return {{"ok", true}};
    }
    if (what == "branch") {
        if (!shown)
            throw NotNow("no moment of the past is shown from which it could go on");
        live_.GoOnFrom(shown->moment);
        Return();
        return {{"ok", true}};
    }
    if (!shown)
        return live_.Ask(request);
    if (!Looks(request))
        throw NotNow("this is the past: return to now first, or go on from here");
    return ControlClient(shown->stateDir + "/control.sock").Ask(request);
}

void PanelPast::Look(FrameLog& frames) {
    if (const auto shown = Past()->Now())
        frames.Update(shown->screen->Pixels(), shown->screen->Bits());
    else
        live_.Look(frames);
}

std::string PanelPast::StateDir() {
    const auto shown = Past()->Now();
    return shown ? shown->stateDir : live_.StateDir();
}

// The starts, and of one of them (the last, unless told) the inputs from a number on.
json PanelPast::TellSession(const json& request) {
    const Session session = ReadSession(live_.StateDir() + "/" + kSessionFile);
    const std::size_t last = session.runs.size() - 1;
    const auto run = static_cast<std::size_t>(Whole(request, "run", static_cast<std::int64_t>(last)));
    const auto& inputs = RunOf(session, run).inputs;
    json reply = {{"ok", true}, {"run", run}, {"runs", json::array()}, {"inputs", json::array()}};
    for (const Session::Run& each : session.runs)
        reply["runs"].push_back(
            {{"inputs", each.inputs.size()}, {"last_us", each.inputs.empty() ? 0 : each.inputs.back().atUs}});
    for (auto i = static_cast<std::size_t>(Whole(request, "from", 0)); i < inputs.size(); ++i)
        reply["inputs"].push_back({{"at_us", inputs[i].atUs}, {"request", inputs[i].request}});
    if (live_.GetStatus().running)
        reply["now_us"] = live_.Ask({{"do", "hello"}})["now_us"];
    return reply;
}

// The instrument itself stands still meanwhile.
json PanelPast::ShowMoment(const json& request) {
    const std::size_t starts = ReadSession(live_.StateDir() + "/" + kSessionFile).runs.size();
    const Moment moment = {
        static_cast<std::size_t>(Whole(request, "run", static_cast<std::int64_t>(starts) - 1)),
        Whole(request, "to_us", 0)};
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (heldAt_.is_null() && live_.GetStatus().running) {
            const json hello = live_.Ask({{"do", "hello"}});
            heldAt_ = hello["paused"] == true ? json(0) : hello["speed"];
            live_.Ask({{"do", "speed"}, {"factor", 0}});
        }
    }
    if (moment.run + 1 == starts && live_.GetStatus().running &&
        moment.us > live_.Ask({{"do", "hello"}})["now_us"].get<std::int64_t>())
        throw Refused("that moment is still to come");
    try {
        Past()->Show(moment);
    } catch (const BenchError&) {
        if (!Past()->Now())
            Return();
        throw;
    }
    return {{"ok", true}, {"run", moment.run}, {"at_us", moment.us}};
}

void PanelPast::Return() {
    const std::lock_guard<std::mutex> guard(mutex_);
    rewind_->Leave();
    if (heldAt_.is_null())
        return;
    const json speed = std::exchange(heldAt_, nullptr);
    if (live_.GetStatus().running)
        live_.Ask({{"do", "speed"}, {"factor", speed}});
}

void PanelPast::Watch() {
    const Status status = live_.GetStatus();
    if (!status.running || Past()->Now())
        return;
    if (status.run != run_) {  // those that ran along belong to the start before
        run_ = status.run;
        auto fresh = std::make_shared<Rewind>(live_.StateDir());
        const std::lock_guard<std::mutex> guard(mutex_);
        rewind_ = std::move(fresh);
    }
    if (++watches_ % kTellEvery != 0)
        return;
    try {
        const Session session = ReadSession(live_.StateDir() + "/" + kSessionFile);
        const json hello = live_.Ask({{"do", "hello"}});
        Past()->Follow({session.runs.size() - 1, hello["now_us"]});
    } catch (const std::exception&) {
        // it may be gone by now; the next start is looked at again
    }
}

}  // namespace k905
