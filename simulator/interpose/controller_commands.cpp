// The requests that are done at once.
#include <signal.h>
#include <unistd.h>

#include "simulator/interpose/controller.h"
#include "simulator/interpose/product_calls.h"
#include "simulator/interpose/screen_controls.h"
#include "simulator/interpose/signals.h"
#include "simulator/models/explain.h"
#include "simulator/models/framebuffer.h"
#include "simulator/models/json_values.h"

namespace k905 {

namespace {

constexpr int kHoldMs = 150;  // of a key or a finger, when the request does not tell

using Json = Controller::Json;

// {"ok":true}, or the error that a model told.
Json Result(const std::string& error) {
    return error.empty() ? Json{{"ok", true}} : Json{{"ok", false}, {"error", error}};
}

// The number of that name, cut to a whole one. Throws for one that is beyond all that is meant anywhere.
int Whole(const Json& request, const char* name) {
    constexpr double kLargest = 1e9;
    const double number = NumberOf(request, name);
    if (!(number >= -kLargest && number <= kLargest))
        throw std::invalid_argument(std::string(name) + " is out of range");
    return static_cast<int>(number);
}

int Whole(const Json& request, const char* name, int otherwise) {
    return request.contains(name) ? Whole(request, name) : otherwise;
}

// The same of what is counted.
unsigned Count(const Json& request, const char* name, int otherwise) {
    const int number = Whole(request, name, otherwise);
    if (number < 0)
        throw std::invalid_argument(std::string(name) + " is out of range");
    return static_cast<unsigned>(number);
}

Micros HoldTime(const Json& request) {
    const int milliseconds = Whole(request, "hold_ms", kHoldMs);
    if (milliseconds < 0 || milliseconds > 3'600'000)
        throw std::invalid_argument("hold_ms is out of range");
    return milliseconds * Micros{1000};
}

// Where a finger touches the control of that name. Throws when the shown screen has none.
Instrument::Point PointOf(const std::string& name) {
    std::string known;
    for (const ScreenControl& control : ScreenControls()) {
        if (control.x < 0 || control.name.empty())
            continue;  // nothing to touch, nothing to call it by, or covered by others
        if (control.name == name)
            return {control.x, control.y};
        known += (known.empty() ? "" : ", ") + control.name;
    }
    throw std::invalid_argument("no control \"" + name + "\" on the screen" +
                                (known.empty() ? "" : "; it has " + known));
}

// "" also where the program does not tell.
std::string NameAt(const Instrument::Point& point) {
    try {
        return ControlAt(point.x, point.y);
    } catch (const std::runtime_error&) {
        return "";
    }
}

Json Rectangle(const Area& area) {
    return {{"x", area.x}, {"y", area.y}, {"w", area.width}, {"h", area.height}};
}

Json SpeedOf(double factor) {
    return factor == LiveTime::kAsFastAsPossible ? Json("max") : Json(factor);
}

std::string TimeText(Micros time) {
    char text[32];
    snprintf(text, sizeof text, "%10.6f", static_cast<double>(time) / 1e6);
    return text;
}

}  // namespace

Json Controller::Hello() {
    Guard guard(machine_.lock);
    const Machine::Options& options = machine_.Configuration();
    Json reply = {{"mode", machine_.Stepped() ? "stepped" : "paced"},
                  {"now_us", machine_.Now()},
                  {"kept", kept_},
                  {"seed", options.instrument.seed},
                  {"bits", options.instrument.bits},
                  {"pid", getpid()}};
    const PacedExecution* paced = machine_.PacedRun();
    const double factor = paced != nullptr ? paced->Clock().Factor() : live_.Factor();
    reply["paused"] = factor == 0 && (paced != nullptr || machine_.SteppedRun()->Frozen());
    reply["speed"] = paced != nullptr && factor == 0 ? Json(options.speed) : SpeedOf(factor);
    return reply;
}

Json Controller::Key(const Json& request) {
    const std::string name = MemberOf(request, "key").is_number_integer()
                                 ? std::to_string(request["key"].get<long>())
                                 : WordOf(request, "key");
    const std::string action = WordOf(request, "action", "press");
    if (action != "down" && action != "up" && action != "press")
        return Result("a key's action is down, up or press");
    const Micros hold = HoldTime(request);
    Guard guard(machine_.lock);
    const std::string error = machine_.Hardware().Key(name, action != "up");
    if (error.empty() && action == "press")
        machine_.timers.At(machine_.Now() + hold, [this, name] { machine_.Hardware().Key(name, false); });
    machine_.Running().DevicesChanged();
    return Result(error);
}

Json Controller::Knob(const Json& request) {
    const int steps = Whole(request, "steps", 1);
    if (steps < -1000 || steps > 1000)
        return Result("steps is out of range");
    Guard guard(machine_.lock);
    for (int i = 0; i < std::abs(steps); ++i)
        machine_.Hardware().Knob(steps > 0);
    machine_.Running().DevicesChanged();
    return Json::object();
}

Json Controller::Touch(const Json& request) {
    const std::string action = WordOf(request, "action", "tap");
    const Micros hold = HoldTime(request);
    Guard guard(machine_.lock);
    std::vector<Instrument::Point> points;
    if (request.contains("control")) {
        if (action != "down" && action != "tap")
            return Result("a control's action is down or tap");
        if (!request["control"].is_string() || request.contains("x") || request.contains("y"))
            return Result("a control is touched by its name alone");
        points.push_back(PointOf(request["control"].get<std::string>()));
    } else if (action == "down" || action == "move" || action == "tap") {
        points.push_back({Whole(request, "x"), Whole(request, "y")});
        if (request.contains("x2") || request.contains("y2"))
            points.push_back({Whole(request, "x2"), Whole(request, "y2")});
    } else if (action != "up") {
        return Result("a touch's action is down, move, up or tap");
    }
    const Framebuffer& screen = machine_.Hardware().Screen();
    const int width = static_cast<int>(screen.Width()), height = static_cast<int>(screen.Height());
    for (const Instrument::Point& point : points)
        if (point.x < 0 || point.x >= width || point.y < 0 || point.y >= height)
            return Result("a finger touches the panel from 0, 0 to " + std::to_string(width - 1) + ", " +
                          std::to_string(height - 1));
    // What a person has touched. Paced, the product may just be changing its screen.
    Json reply = Json::object();
    if ((action == "down" || action == "tap") && points.size() == 1 && machine_.Stepped())
        if (const std::string name = NameAt(points[0]); !name.empty())
            reply["control"] = name;
    machine_.Hardware().Touch(points);
    if (action == "tap")
        machine_.timers.At(machine_.Now() + hold, [this] { machine_.Hardware().Touch({}); });
    machine_.Running().DevicesChanged();
    return reply;
}

Json Controller::Screenshot(const Json& request) {
    const std::string path = WordOf(request, "path");
    Guard guard(machine_.lock);
    FollowScreen(screen_, machine_.Hardware().Screen());
    guard.unlock();
    const std::string error = WritePng(screen_, path);
    Json reply = Result(error);
    if (error.empty()) {
        reply["width"] = screen_.width;
        reply["height"] = screen_.height;
    }
    return reply;
}

ScreenReader& Controller::Reader() {
    if (!reader_)
        reader_ =
            std::make_unique<ScreenReader>(machine_.Configuration().instrument.appDir + "/font/unicode.fnt");
    return *reader_;
}

// Lock held.
std::vector<TextRun> Controller::ReadScreen() {
    const Framebuffer& screen = machine_.Hardware().Screen();
    return Reader().Read(screen.Pixels(), screen.Width(), screen.Height(), screen.Bits());
}

Json Controller::Text(const Json& request) {
    const int x = Whole(request, "x", 0);
    const int y = Whole(request, "y", 0);
    Reader();  // its font is read before the world has to wait
    Guard guard(machine_.lock);
    const std::vector<TextRun> all = ReadScreen();
    std::vector<std::string> inks;
    if (SwitchOf(request, "ink", false))
        for (const TextRun& run : all)
            inks.push_back(InkOf(run));
    const int width = Whole(request, "w", static_cast<int>(machine_.Hardware().Screen().Width()));
    const int height = Whole(request, "h", static_cast<int>(machine_.Hardware().Screen().Height()));
    guard.unlock();
    Json runs = Json::array();
    for (std::size_t i = 0; i < all.size(); ++i) {
        const TextRun& run = all[i];
        if (run.x < x || run.x - x >= width || run.y < y || run.y - y >= height)
            continue;
        char color[16];
        snprintf(color, sizeof color, "%06X", run.color & 0xFFFFFFu);
        runs.push_back({{"x", run.x}, {"y", run.y}, {"w", run.width}, {"color", color}, {"text", run.text}});
        if (!inks.empty())
            runs.back()["ink"] = inks[i];
    }
    return {{"runs", runs}};
}

Json Controller::Controls() {
    Guard guard(machine_.lock);
    const std::vector<ScreenControl> controls = ScreenControls();
    guard.unlock();
    Json list = Json::array();
    for (const ScreenControl& control : controls) {
        Json entry = {{"name", control.name}, {"picture", Rectangle(control.picture)}};
        if (control.caption.width > 0)
            entry["caption"] = Rectangle(control.caption);
        if (control.touchable)
            entry["enabled"] = control.enabled;
        if (control.x >= 0)
            entry["at"] = {control.x, control.y};
        list.push_back(std::move(entry));
    }
    return {{"controls", list}};
}

Json Controller::Speed(const Json& request) {
    PacedExecution* paced = machine_.PacedRun();
    const bool fast = paced == nullptr && request.value("factor", Json()) == "max";
    const double factor = fast ? LiveTime::kAsFastAsPossible : NumberOf(request, "factor");
    if (!fast && factor != 0 && !(factor >= 0.01 && factor <= 1000))
        return Result(std::string("factor is 0 (hold), 0.01 to 1000") +
                      (paced == nullptr ? " or \"max\" (as fast as possible)" : ""));
    Settle();
    Guard guard(machine_.lock);
    if (paced != nullptr)
        paced->SetFactor(factor);
    else
        live_.SetFactor(factor, machine_.Now());
    return {{"speed", SpeedOf(factor)}, {"now_us", machine_.Now()}};
}

std::set<int> Controller::TraceThreads(const Json& wanted) const {
    if (wanted.is_number_integer())
        return {Whole(Json{{"thread", wanted}}, "thread")};
    // "window": the threads that run the screens, one after the other.
    const std::string label = wanted == "window" ? kScreenThread : wanted.get<std::string>();
    std::set<int> threads = machine_.threads.WithLabel(label);
    if (threads.empty())
        threads.insert(-2);  // no such thread, no lines
    return threads;
}

Json Controller::Trace(const Json& request) {
    const std::string action = WordOf(request, "action");
    Guard guard(machine_.lock);
    TraceLog& trace = machine_.trace;
    if (action == "start") {
        trace.Start();
    } else if (action == "stop") {
        trace.Stop();
    } else if (action == "clear") {
        trace.Clear();
    } else if (action == "read") {
        const std::set<int> threads =
            request.contains("thread") ? TraceThreads(request["thread"]) : std::set<int>();
        const auto kinds = request.value("kinds", std::set<std::string>());
        const bool plain = SwitchOf(request, "plain", false);
        const bool explain = SwitchOf(request, "explain", false);
        Json lines = Json::array();
        const std::size_t most = Count(request, "limit", 0);
        const unsigned long from = Count(request, "from", 0);
        const auto told = [&](const TraceLog::Entry& entry) {
            std::string behind = entry.count > 1 ? " x" + std::to_string(entry.count) : "";
            if (explain) {
                const std::string asked =
                    entry.kind == "serial" ? trace.Before(entry.number, entry.kind) : "";
                const std::string means = ExplainTrace(entry.line, asked);
                behind += (means.empty() ? "" : "   ") + means;
            }
            return (plain ? "" : TimeText(entry.time) + " " + machine_.threads.Label(entry.thread) + " ") +
                   entry.line + behind;
        };
        for (const TraceLog::Entry& entry : trace.Select(kinds, threads, from, most))
            lines.push_back(told(entry));
        Json grown = Json::array();
        for (const TraceLog::Entry& entry : trace.Growing(from))
            grown.push_back({{"number", entry.number}, {"line", told(entry)}});
        return {{"lines", lines},
                {"grown", grown},
                {"dropped", trace.Dropped()},
                {"next", trace.Added()},
                {"recording", trace.Recording()}};
    } else {
        return Result("a trace's action is start, stop, clear or read");
    }
    return {{"recording", trace.Recording()}};
}

Json Controller::History() {
    Guard guard(machine_.lock);
    Json list = Json::array();
    for (const Marks::Entry& mark : machine_.marks.All())
        list.push_back(
            {{"kind", mark.kind}, {"first_us", mark.first}, {"last_us", mark.last}, {"count", mark.count}});
    return {{"marks", list}};
}

Json Controller::Watch(const Json& request) {
    if (!machine_.Stepped())
        return Result("only a stepped instrument watches");
    Watched watched;
    const bool begins = request.contains("ink");
    const bool ends = !begins && request.contains("every_us");
    if (ends && request["every_us"] != 0)
        return Result("\"every_us\" 0 ends it");
    if (begins) {
        watched.ink = WordOf(request, "ink");
        watched.run.x = Whole(request, "x");
        watched.run.y = Whole(request, "y");
        watched.run.width = Whole(request, "w");
        const auto color = WholeFrom("0x" + WordOf(request, "color"));
        watched.run.color = static_cast<std::uint32_t>(color.value_or(0));
        watched.every = Whole(request, "every_us", 20'000);
        if (!color || *color > 0xFFFFFF || watched.every < 1 || watched.run.x < 0 || watched.run.y < 0 ||
            watched.run.width < 0 || watched.ink.find('1') == std::string::npos)
            return Result("what is watched is a run of the reply to text with ink");
    }
    Guard guard(machine_.lock);
    if (begins || ends)
        ++watches_;
    if (begins) {
        watched_ = std::move(watched);
        WatchOn();
    }
    if (!watched_)
        return Result("no text is watched");
    LookAtWatched();
    Json reply = {{"shown", watched_->shown},
                  {"since_us", watched_->since},
                  {"before_us", watched_->before},
                  {"thread", machine_.threads.Label(watched_->thread)}};
    if (ends)
        watched_.reset();
    return reply;
}

Json Controller::Threads() {
    Guard guard(machine_.lock);
    Json list = Json::array();
    for (const auto& thread : machine_.threads.All())
        list.push_back({{"thread", thread->ordinal},
                        {"label", thread->label},
                        {"waits_for", machine_.DescribeWait(*thread)}});
    return {{"threads", list}};
}

Json Controller::Calls(const Json& request) {
    const std::string action = WordOf(request, "action", "read");
    Guard guard(machine_.lock);
    if (action == "start")
        StartCountingCalls();
    else if (action == "stop")
        return StopCountingCalls(), Json::object();
    else if (action != "read")
        return Result("the action for calls is start, read or stop");
    Json reply = CallReport();
    if (reply.is_null())
        return Result("no calls are counted");
    return reply;
}

Json Controller::FailCall(const Json& request) {
    CallFailure failure;
    failure.function = WordOf(request, "function");
    failure.caller = WordOf(request, "caller", "");
    failure.call = Count(request, "call", 1);
    failure.times = Count(request, "times", 1);
    failure.error = Whole(request, "errno", 0);
    Guard guard(machine_.lock);
    return Result(FailCalls(failure));
}

Json Controller::Stop() {
    afterReply_ = [this] { Terminate(SIGTERM); };
    return Json::object();
}

Json Controller::PowerCut() {
    afterReply_ = [this] {
        Guard guard(machine_.lock);
        machine_.Hardware().PowerCut();
        bench_.Keep();
        unlink((machine_.Configuration().instrument.stateDir + "/control.sock").c_str());
        kill(getpid(), SIGKILL);
    };
    return Json::object();
}

}  // namespace k905
