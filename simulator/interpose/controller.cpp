#include "simulator/interpose/controller.h"

#include <algorithm>

#include "simulator/interpose/product_calls.h"
#include "simulator/interpose/real_time.h"
#include "simulator/interpose/signals.h"
#include "simulator/models/framebuffer.h"
#include "simulator/models/host_file.h"
#include "simulator/models/json_values.h"

namespace k905 {

namespace {

// How often `until` looks whether its condition is met, in virtual time.
constexpr Micros kLook = 20'000;
// For a text that it has waited for long, every 200th of that time.
constexpr Micros kLongestLook = 10'000'000;
// A thread that has not entered the system for this long in real time, while a client waits, will not do so.
constexpr std::int64_t kHungSeconds = 30;
constexpr Micros kLongest = 1'000'000'000'000;     // of virtual time that can be asked for at once
constexpr Micros kLatest = 1'000'000'000'000'000;  // since power-on

// So long, in real time, a running thread may take to enter the system.
constexpr std::int64_t kSettleNs = kRealSecond / 2;

// Whether a request is something that the instrument can feel. Asked until the last moment of the process,
// when static objects are gone.
bool IsInput(const std::string& name, const Controller::Json& request) {
    constexpr const char* kInputs[] = {"key",   "knob",      "touch", "set",
                                       "fault", "fail_call", "stop",  "power_cut"};
    return std::any_of(std::begin(kInputs), std::end(kInputs),
                       [&](const char* one) { return name == one; }) ||
           (name == "bench" && (request.contains("set") || request.contains("faults")));
}

// A virtual time of a request, which must be there, in units of so many microseconds.
Micros TimeOf(const Controller::Json& request, const char* name, int unit, Micros longest) {
    const double value = NumberOf(request, name) * unit;
    if (!(value >= 0) || value > static_cast<double>(longest))
        throw std::invalid_argument(std::string(name) + " is out of range");
    return static_cast<Micros>(value);
}

Micros Milliseconds(const Controller::Json& request, const char* name) {
    return TimeOf(request, name, 1000, kLongest);
}

Controller::Json Error(const std::string& text) {
    return {{"ok", false}, {"error", text}};
}

}  // namespace

Controller::Controller(Machine& machine)
    : machine_(machine),
      bench_(machine, machine.Hardware(), machine.Configuration().instrument,
             [&machine] { machine.Running().DevicesChanged(); }),
      progressSince_(RealNow()) {}

std::optional<Controller::Json> Controller::Do(int client, const Json& request) {
    using Handler = std::function<std::optional<Json>()>;
    try {
        if (!request.is_object() || !request.contains("do") || !request["do"].is_string())
            return Error("a request is an object with the member \"do\"");
        const std::map<std::string, Handler> handlers = {
            {"hello", [&] { return Hello(); }},
            {"key", [&] { return Key(request); }},
            {"knob", [&] { return Knob(request); }},
            {"touch", [&] { return Touch(request); }},
            {"advance", [&] { return Advance(client, request); }},
            {"wait", [&] { return Advance(client, request); }},
            {"until", [&] { return Until(client, request); }},
            {"expect", [&] { return Expect(client, request); }},
            {"screenshot", [&] { return Screenshot(request); }},
            {"text", [&] { return Text(request); }},
            {"controls", [&] { return Controls(); }},
            {"samples", [&] { return Samples(request); }},
            {"speed", [&] { return Speed(request); }},
            {"trace", [&] { return Trace(request); }},
            {"history", [&] { return History(); }},
            {"watch", [&] { return Watch(request); }},
            {"threads", [&] { return Threads(); }},
            {"calls", [&] { return Calls(request); }},
            {"fail_call", [&] { return FailCall(request); }},
            {"stop", [&] { return Stop(); }},
            {"power_cut", [&] { return PowerCut(); }},
        };
        const std::string name = request["do"];
        const auto found = handlers.find(name);
        if (found == handlers.end() && !BenchRequests::Knows(name))
            return Error("unknown command \"" + name + "\"");
        const bool input = IsInput(name, request);
        const bool settled = input && Settle();
        std::optional<Json> reply = found != handlers.end() ? found->second() : Bench(request);
        if (reply && !reply->contains("ok"))
            (*reply)["ok"] = true;
        if (input && (*reply)["ok"] == true)
            Record(request, reply->value("control", ""), settled);
        return reply;
    } catch (const std::exception& exception) {
        return Error(ReasonOf(exception));
    }
}

// What comes from outside comes while a stepped instrument stands still: at a moment that a replay finds
// again. False where it cannot, since the product computes without end.
bool Controller::Settle() {
    SteppedExecution* stepped = machine_.SteppedRun();
    if (stepped == nullptr)
        return false;
    const std::int64_t begin = RealNow();
    Guard guard(machine_.lock);
    while (!stepped->Frozen()) {
        if (stepped->Limit() == kNever || RealNow() - begin > kSettleNs)
            return false;
        stepped->Hold();
        guard.unlock();
        still_.TakeFor(kSettleNs / 10);
        guard.lock();
    }
    return true;
}

// Keeps what has come from outside, with its time. A file that is complete at any moment; the world stands
// still, so it may take its time. Where it has not come into the file, the next line that does tells so.
void Controller::Record(const Json& request, const std::string& control, bool settled) {
    Guard guard(machine_.lock);
    const SteppedExecution* stepped = machine_.SteppedRun();
    if (stepped == nullptr || stepped->Limit() == kNever)
        return;  // paced, or about to end by itself: nothing that a replay could find again
    live_.Hurry();
    Json line = {{"at_us", machine_.Now()}, {"request", request}};
    if (!control.empty() && !request.contains("control"))
        line["control"] = control;
    if (!settled)
        line["unsettled"] = true;
    if (!kept_)
        line["lost"] = true;
    const std::string file = machine_.Configuration().instrument.stateDir + "/session.jsonl";
    if (!host::AppendFile(file, line.dump() + "\n") && std::exchange(kept_, false))
        dprintf(STDERR_FILENO, "simulator: %s cannot be written: this run cannot be gone through again\n",
                file.c_str());
}

std::optional<Controller::Json> Controller::Advance(int client, const Json& request) {
    Guard guard(machine_.lock);
    Motion motion;
    motion.client = client;
    progressSince_ = RealNow();
    motion.limit = motion.nextLook = request.contains("to_us") ? TimeOf(request, "to_us", 1, kLatest)
                                                               : machine_.Now() + Milliseconds(request, "ms");
    motions_.push_back(std::move(motion));
    return std::nullopt;
}

std::optional<Controller::Json> Controller::Until(int client, const Json& request) {
    Motion motion;
    motion.client = client;
    if (request.contains("text")) {
        motion.kind = Motion::Kind::kExpect;
        motion.expectation = std::make_shared<Expectation>(Json{{"text", WordOf(request, "text")}});
    } else if (request.contains("idle_ms")) {
        motion.kind = Motion::Kind::kIdle;
        motion.idle = Milliseconds(request, "idle_ms");
        motion.screen = std::exchange(screen_, {});
    } else if (SwitchOf(request, "exit", false)) {
        motion.kind = Motion::Kind::kExit;
    } else {
        return Error("until what? One of \"text\", \"idle_ms\", \"exit\"");
    }
    return Begin(std::move(motion), request);
}

std::optional<Controller::Json> Controller::Expect(int client, const Json& request) {
    Motion motion;
    motion.client = client;
    motion.kind = Motion::Kind::kExpect;
    motion.expectation = std::make_shared<Expectation>(request);
    motion.tells = true;
    return Begin(std::move(motion), request);
}

std::optional<Controller::Json> Controller::Begin(Motion motion, const Json& request) {
    if (motion.expectation && motion.expectation->IsOfTexts())
        Reader();  // tells now if there is no font to read with
    Guard guard(machine_.lock);
    const Micros now = machine_.Now();
    motion.limit = now + (request.contains("limit_ms") ? Milliseconds(request, "limit_ms") : 60'000'000);
    motion.begin = now;
    motion.nextLook = now;
    motion.lastChange = now;
    progressSince_ = RealNow();
    motions_.push_back(std::move(motion));
    return std::nullopt;
}

bool Controller::IsMet(Motion& motion) {
    switch (motion.kind) {
        case Motion::Kind::kAdvance:
        case Motion::Kind::kExit:
            return false;
        case Motion::Kind::kExpect:
            return motion.expectation->IsMet(machine_.Hardware(), TextsFor(*motion.expectation));
        case Motion::Kind::kIdle:
            break;
    }
    if (FollowScreen(motion.screen, machine_.Hardware().Screen()))
        motion.lastChange = machine_.Now();
    return machine_.Now() - motion.lastChange >= motion.idle;
}

// Those on the screen, where it is about them.
Expectation::Texts Controller::TextsFor(const Expectation& expectation) {
    Expectation::Texts texts;
    if (expectation.IsOfTexts())
        for (const TextRun& run : ReadScreen())
            texts.push_back({run.x, run.y, run.text});
    return texts;
}

// Lock held. Which pixels of the text's place have its colour, row by row: "1", else "0". So it is the same
// text whatever lies behind it.
std::string Controller::InkOf(const TextRun& run) const {
    const Framebuffer& screen = machine_.Hardware().Screen();
    const unsigned bytes = screen.Bits() / 8;
    const std::uint32_t c = run.color;
    const std::uint32_t ink =
        bytes == 2 ? (c >> 8 & 0xF800) | (c >> 5 & 0x07E0) | (c >> 3 & 0x001F) : c & 0xFFFFFF;
    std::string mask;
    for (unsigned y = static_cast<unsigned>(run.y);
         y < std::min(static_cast<unsigned>(run.y) + TextRun::kHeight, screen.Height()); ++y)
        for (unsigned x = static_cast<unsigned>(run.x);
             x < std::min(static_cast<unsigned>(run.x + run.width), screen.Width()); ++x) {
            const std::uint8_t* pixel = screen.Pixels() + (std::size_t{y} * screen.Width() + x) * bytes;
            std::uint32_t value = pixel[0] | std::uint32_t{pixel[1]} << 8;
            if (bytes > 2)
                value |= std::uint32_t{pixel[2]} << 16;
            mask += value == ink ? '1' : '0';
        }
    return mask;
}

// Lock held.
void Controller::LookAtWatched() {
    const Micros now = machine_.Now();
    const bool shown = InkOf(watched_->run) == watched_->ink;
    if (shown && !watched_->shown) {
        watched_->since = now;
        watched_->thread = machine_.SteppedRun()->LastRun();
    }
    watched_->shown = shown;
    if (!shown)
        watched_->before = now;
}

// Lock held. The world does not stand still for it.
void Controller::WatchOn() {
    machine_.timers.At(machine_.Now() + watched_->every, [this, number = watches_] {
        if (number != watches_)
            return;
        LookAtWatched();
        WatchOn();
    });
}

Controller::Json Controller::MotionReply(const Motion& motion, bool met) {
    Json reply = {{"ok", true}, {"now_us", machine_.Now()}};
    if (motion.kind != Motion::Kind::kAdvance)
        reply["met"] = met;
    if (motion.tells) {
        reply["expected"] = motion.expectation->Expected();
        reply["found"] = motion.expectation->Found(machine_.Hardware(), TextsFor(*motion.expectation));
    }
    if (SteppedExecution* stepped = machine_.SteppedRun()) {
        reply["quiet"] = stepped->Quiet();
        reply["stuck"] = stepped->Stuck();
    }
    return reply;
}

std::vector<std::pair<int, Controller::Json>> Controller::FinishMotions() {
    std::vector<std::pair<int, Json>> replies;
    const Micros now = machine_.Now();
    for (auto motion = motions_.begin(); motion != motions_.end();) {
        const bool met = now >= motion->nextLook && IsMet(*motion);
        if (met || now >= motion->limit) {
            replies.emplace_back(motion->client, MotionReply(*motion, met));
            if (motion->kind == Motion::Kind::kIdle)
                screen_ = std::move(motion->screen);
            motion = motions_.erase(motion);
            continue;
        }
        if (now >= motion->nextLook) {
            Micros step = motion->kind == Motion::Kind::kExit ? 50 * kLook : kLook;
            if (motion->kind == Motion::Kind::kExpect)
                step = std::clamp((now - motion->begin) / 200, kLook, kLongestLook);
            motion->nextLook = std::min(motion->limit, now + step);
        }
        ++motion;
    }
    return replies;
}

std::vector<std::pair<int, Controller::Json>> Controller::Proceed() {
    Guard guard(machine_.lock);
    while (!machine_.Stepped() && machine_.timers.Next() <= machine_.Now()) {
        machine_.timers.RunFirst();
        machine_.Running().DevicesChanged();
    }
    SteppedExecution* stepped = machine_.SteppedRun();
    std::vector<std::pair<int, Json>> replies;
    if (stepped != nullptr && !stepped->Frozen() && stepped->Limit() != kNever) {
        if (stepped->Progress() != progress_ || motions_.empty()) {
            progress_ = stepped->Progress();
            progressSince_ = RealNow();
        } else if (RealNow() - progressSince_ > kHungSeconds * kRealSecond) {
            for (const Motion& motion : motions_)
                replies.emplace_back(motion.client,
                                     Error("the product runs without entering the system; see threads"));
            motions_.clear();
        }
        return replies;
    }
    replies = FinishMotions();
    const bool live = live_.Factor() != 0;
    if (stepped == nullptr || stepped->Limit() == kNever || (motions_.empty() && !live))
        return replies;
    const Micros now = stepped->Now();
    Micros next = live ? live_.Allowed(*stepped) : kNever;
    if (live && next == now)
        return replies;
    for (const Motion& motion : motions_)
        next = std::min(next, stepped->NothingDue() ? motion.limit : motion.nextLook);
    progressSince_ = RealNow();
    stepped->Grant(std::max(next, now));
    return replies;
}

std::int64_t Controller::Pause() {
    Guard guard(machine_.lock);
    if (SteppedExecution* stepped = machine_.SteppedRun()) {
        if (stepped->Limit() == kNever)
            return motions_.empty() ? kRealSecond : kRealSecond / 50;
        return live_.Factor() != 0 && stepped->Frozen() ? live_.RealPause(*stepped) : kRealSecond;
    }
    Micros next = machine_.timers.Next();
    for (const Motion& motion : motions_)
        next = std::min(next, motion.nextLook);
    const std::int64_t pause = machine_.PacedRun()->Clock().RealUntil(next);
    // Looking at the screen more often than this would only heat the host.
    return motions_.empty() ? pause : std::max(pause, kRealSecond / 100);
}

std::vector<std::pair<int, Controller::Json>> Controller::ProductEnded() {
    Guard guard(machine_.lock);  // other threads of the product may still write registers
    std::vector<std::pair<int, Json>> replies;
    for (const Motion& motion : motions_) {
        if (motion.kind == Motion::Kind::kExit)
            replies.emplace_back(motion.client, Json{{"ok", true},
                                                     {"met", true},
                                                     {"now_us", machine_.Now()},
                                                     {"state", machine_.Hardware().State()},
                                                     {"calls", CallReport()}});
        else
            replies.emplace_back(motion.client, Error("the product has ended"));
    }
    motions_.clear();
    return replies;
}

void Controller::ClientGone(int client) {
    motions_.erase(std::remove_if(motions_.begin(), motions_.end(),
                                  [client](const Motion& motion) { return motion.client == client; }),
                   motions_.end());
}

// From here on the product is to end by itself, so nothing holds its time any more.
void Controller::Terminate(int signal) {
    Guard guard(machine_.lock);
    machine_.SendSignal(signal);
    if (SteppedExecution* stepped = machine_.SteppedRun())
        stepped->Grant(kNever);
}

void Controller::DeliverOutsideSignals() {
    const std::uint64_t signals = TakeOutsideSignals();
    if (signals == 0)
        return;
    for (int signal = 1; signal < 64; ++signal) {
        if ((signals >> signal & 1) == 0)
            continue;
        if (signal == SIGTERM || signal == SIGINT) {
            Record({{"do", "stop"}}, "", Settle());
            Terminate(signal);
        } else {
            Guard guard(machine_.lock);
            machine_.SendSignal(signal);
        }
    }
}

}  // namespace k905
