#include "simulator/panel/panel_past.h"

#include <algorithm>

#include "simulator/panel/origin_finder.h"

namespace k905 {

namespace {

using nlohmann::json;

constexpr unsigned kTellEvery = 20;  // watches
constexpr const char* kLooks[] = {"hello",  "text",       "controls", "state", "samples",    "threads",
                                  "faults", "quantities", "trace",    "calls", "screenshot", "history"};

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

PanelPast::PanelPast(PanelBench& live)
    : live_(live),
      session_(live.StateDir() + "/" + kSessionFile),
      rewind_(std::make_shared<Rewind>(live.StateDir())) {}

Session PanelPast::SessionNow() {
    const std::lock_guard<std::mutex> guard(sessionMutex_);
    return session_.Read();
}

std::size_t PanelPast::Starts() {
    const std::lock_guard<std::mutex> guard(sessionMutex_);
    return session_.Read().runs.size();
}

std::shared_ptr<Rewind> PanelPast::Past() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return rewind_;
}

PanelInstrument::Status PanelPast::GetStatus() {
    Status status = live_.GetStatus();
    if (const auto shown = Past()->Now())  // an instrument that runs, whatever has become of the other
        status = {status.run, true, "", {}, shown->moment};
    return status;
}

json PanelPast::Ask(const json& request) {
    const std::string what = request["do"];
    if (what == "session")
        return TellSession(request);
    if (what == "origin")
        return TellOrigin(request);
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
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            live_.GoOnFrom(shown->moment, heldAt_);
        }
        Return();
        return {{"ok", true}};
    }
    // Of which moment it is must be told by the reply itself: the status comes later.
    const auto told = [&](json reply) {
        if (what == "state" && reply["ok"] == true) {
            reply["run"] = shown ? shown->moment.run : Starts() - 1;
            reply["past"] = shown.has_value();
        }
        return reply;
    };
    if (!shown)
        return told(live_.Ask(request));
    if (what == "speed" && request.contains("factor") && request["factor"] == 0) {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!heldAt_.is_null())
            heldAt_ = 0;  // it stands still after the return, too
        return {{"ok", true}};
    }
    if (!Looks(request))
        throw NotNow("this is the past: return to now first, or go on from here");
    try {
        return told(ControlClient(shown->stateDir + "/control.sock").Ask(request));
    } catch (const BenchError&) {
        const auto still = Past()->Now();
        if (still && still->stateDir == shown->stateDir)
            throw;
        throw NotNow("that moment is no longer shown");
    }
}

void PanelPast::Look(FrameLog& frames) {
    if (const auto shown = Past()->Now())
        frames.Update(shown->screen->Shape(), shown->screen->Pixels());
    else
        live_.Look(frames);
}

std::string PanelPast::StateDir() {
    const auto shown = Past()->Now();
    return shown ? shown->stateDir : live_.StateDir();
}

// The starts, and of one of them (the last, unless told) the inputs from a number on.
json PanelPast::TellSession(const json& request) {
    json reply = {{"ok", true}, {"runs", json::array()}, {"inputs", json::array()}};
    // Asked before the lock is taken: whoever waits for the instrument holds up nobody.
    if (live_.GetStatus().running)
        reply["now_us"] = live_.Ask({{"do", "hello"}})["now_us"];
    const std::lock_guard<std::mutex> guard(sessionMutex_);
    const Session& session = session_.Read();
    const std::size_t last = session.runs.size() - 1;
    const auto run = static_cast<std::size_t>(Whole(request, "run", static_cast<std::int64_t>(last)));
    const auto& inputs = RunOf(session, run).inputs;
    reply["run"] = run;
    for (const Session::Run& each : session.runs)
        reply["runs"].push_back({{"inputs", each.inputs.size()},
                                 {"last_us", each.inputs.empty() ? 0 : each.inputs.back().atUs},
                                 {"exact", each.exact}});
    for (auto i = static_cast<std::size_t>(Whole(request, "from", 0)); i < inputs.size(); ++i)
        reply["inputs"].push_back(Tell(inputs[i]));
    return reply;
}

json PanelPast::TellOrigin(const json& request) {
    if (request.contains("stop")) {
        stopSearch_ = true;
        return {{"ok", true}};
    }
    const std::unique_lock<std::mutex> guard(originMutex_, std::try_to_lock);
    if (!guard.owns_lock())
        throw NotNow("another search is under way");
    stopSearch_ = false;
    const auto shown = Past()->Now();
    OriginQuestion question;
    question.request = request;
    question.run = shown ? shown->moment.run : Starts() - 1;
    question.ask = [&](const json& what) {
        return shown ? ControlClient(shown->stateDir + "/control.sock").Ask(what) : live_.Ask(what);
    };
    question.stopped = [this] { return ended_ || stopSearch_; };
    question.session = [this] { return SessionNow(); };
    return FindOrigin(question);
}

// The instrument itself stands still meanwhile.
json PanelPast::ShowMoment(const json& request) {
    const std::size_t starts = Starts();
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
    try {
        if (moment.run + 1 == starts && live_.GetStatus().running) {
            const json hello = live_.Ask({{"do", "hello"}});
            if (moment.us > hello["now_us"].get<std::int64_t>())
                throw Refused("that moment is still to come");
            MustBeExact(hello["kept"] == true);
        }
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
        const json hello = live_.Ask({{"do", "hello"}});
        Past()->Follow({Starts() - 1, hello["now_us"]});
    } catch (const std::exception&) {
        // it may be gone by now; the next start is looked at again
    }
}

}  // namespace k905
