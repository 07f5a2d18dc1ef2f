#include "simulator/panel/panel_bench.h"

#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace k905 {

namespace {

constexpr double kStopSeconds = 5;
constexpr auto kSettle = std::chrono::seconds(3);  // of an instrument that is being switched on or off
constexpr auto kNoticed = std::chrono::milliseconds(500);  // until an end is seen
constexpr auto kEnds = std::chrono::seconds(20);           // of a program that is to end or to start
constexpr auto kWatched = std::chrono::milliseconds(1);
constexpr int kAskSeconds = 5;
constexpr int kLongestWait = 24 * 3600;  // seconds: virtual time may pass as slowly as real time
constexpr int kMostWaits = 12;           // at a time, of the server's workers
constexpr unsigned kShownLines = 20;

constexpr const char* kStarted = "MainBoard_FCT";  // on the start screen
constexpr int kStartMs = 10'000;                   // for it to come; with some faults it never does
constexpr int kStillMs = 500;                      // from then on

// Requests that are answered after some virtual time.
bool TakesTime(const nlohmann::json& request) {
    constexpr const char* kSuch[] = {"advance", "wait", "until", "expect"};
    return std::any_of(std::begin(kSuch), std::end(kSuch),
                       [&](const char* one) { return request["do"] == one; });
}

// One of `all` requests that wait, as long as it lives.
struct Waiting {
    explicit Waiting(std::atomic<int>& those) : all(those), number(++all) {}
    ~Waiting() { --all; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    std::atomic<int>& all;
    const int number;
};

// Takes the member "wait" out.
bool TakeWait(nlohmann::json& request) {
    const nlohmann::json wait = request.value("wait", nlohmann::json(false));
    if (!wait.is_boolean())
        throw Refused("\"wait\" is true or false");
    request.erase("wait");
    return wait;
}

// Of hands that are not there any more.
void LetGo(Bench& instrument) {
    const nlohmann::json state = instrument.Request({{"do", "state"}})["state"];
    for (const nlohmann::json& key : state["keypad"]["down"])
        instrument.Request({{"do", "key"}, {"key", key}, {"action", "up"}});
    if (!state["touch"]["fingers"].empty())
        instrument.Request({{"do", "touch"}, {"action", "up"}});
}

nlohmann::json NameOf(const nlohmann::json& request) {
    if (!request.contains("name") || !request["name"].is_string())
        throw Refused("\"name\" is missing in the request");
    return request["name"];
}

}  // namespace

PanelBench::PanelBench(const BenchOptions& options)
    : folder_(options.stateDir, options.keepState),
      options_(options),
      speed_(options.speed),
      going_(options.speed) {
    Prepare();
    Start();
    MustRun();
}

PanelBench::PanelBench(const BenchOptions& options, const Session& session, const Moment& moment)
    : folder_(options.stateDir, options.keepState), options_(options), speed_(0), going_(options.speed) {
    Prepare();
    StartAt(session, moment, 0, false);
    MustRun();
}

void PanelBench::Prepare() {
    options_.stateDir = folder_.Path();
    std::error_code ignored;
    fs::remove(options_.stateDir + "/bench.json", ignored);
    // That of the launcher before, which may have been killed.
    if (!options_.sameSession && !SomebodyAnswers(options_.stateDir + "/control.sock"))
        KeepAside(options_.stateDir);
}

// What never ran is the launcher's problem, not the page's.
void PanelBench::MustRun() const {
    if (!bench_)
        throw BenchError(status_.how);
}

PanelBench::~PanelBench() {
    try {
        End();
    } catch (...) {
        // what is left of it ends with the launcher
    }
}

PanelInstrument::Status PanelBench::GetStatus() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return status_;
}

unsigned PanelBench::Wish(WishedFor wish) {
    const std::lock_guard<std::mutex> guard(mutex_);
    wish.number = ++wishes_;
    wish_ = std::move(wish);
    return wishes_;
}

// Until that has come about, with the mutex held when it is asked. The thread that watches the instrument
// watches meanwhile.
bool PanelBench::WaitFor(std::unique_lock<std::mutex>& guard, std::chrono::milliseconds limit,
                         const std::function<bool()>& met) {
    if (std::this_thread::get_id() != watcher_ || watching_)
        return settled_.wait_for(guard, limit, met);
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!met()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        guard.unlock();
        Watch();
        std::this_thread::sleep_for(kWatched);
        guard.lock();
    }
    return true;
}

nlohmann::json PanelBench::Ask(const nlohmann::json& asked) {
    nlohmann::json request = asked;
    const bool wait = TakeWait(request);
    const std::string what = request["do"];
    nlohmann::json done = {{"ok", true}};
    if (what == "restart") {
        const nlohmann::json fresh = request.value("fresh", nlohmann::json(false));
        WishedFor wish = {fresh == "all" ? "empty" : fresh == true ? "fresh" : "restart", ""};
        if (request.contains("set") || request.contains("faults")) {
            const auto part = [&](const char* name) { return request.value(name, nlohmann::json::object()); };
            wish.start = {{"set", part("set")}, {"faults", part("faults")}};
            nlohmann::json bench = wish.start;
            bench["do"] = "bench";
            nlohmann::json reply = Ask(bench);  // it takes all of it or refuses
            if (reply["ok"] != true)
                return reply;
        }
        return StartAgain(wish, wait);
    }
    if (what == "benches")
        return {{"ok", true}, {"names", saved_.Names()}};
    if (what == "bench_restore") {
        const std::string name = NameOf(request);
        if (!saved_.Has(name))
            throw Refused("no bench is kept under the name \"" + name + "\"");
        return StartAgain({"restore", name}, wait);
    }
    if (what == "bench_remove") {
        saved_.Remove(NameOf(request));
        return done;
    }
    if (what == "bench_save") {
        nlohmann::json bench = BenchAsLeft();
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            bench["seed"] = options_.seed;
        }
        saved_.Save(NameOf(request), bench, options_.stateDir);
        return done;
    }
    if (what == "expect" && request.contains("power"))
        return ExpectOff(request);
    nlohmann::json reply;
    try {
        reply = AskInstrument(request);
    } catch (const NotNow&) {
        throw;
    } catch (const BenchError&) {
        if (!EndsNow())
            throw;
        reply = AskInstrument(request);
    }
    if (what == "speed" && reply["ok"] == true)
        KeepSpeed(request["factor"]);
    if (wait && (what == "stop" || what == "power_cut") && reply["ok"] == true)
        UntilEnded();
    return reply;
}

// Starts fct again. Where asked for, waits until its start screen stands still: that takes the same virtual
// time whatever the speed, which then is what it was.
nlohmann::json PanelBench::StartAgain(WishedFor wish, bool wait) {
    wish.held = wait && options_.stepped;
    const unsigned number = Wish(wish);
    if (!wait)
        return {{"ok", true}};
    std::unique_lock<std::mutex> guard(mutex_);
    if (!WaitFor(guard, 2 * kEnds, [&] { return fulfilled_ >= number || leaving_; }) || !status_.running)
        throw BenchError("the instrument does not run: " + status_.how);
    const nlohmann::json speed = speed_;
    guard.unlock();
    UntilStarted();
    if (wish.held && speed != 0)
        AskInstrument({{"do", "speed"}, {"factor", speed}});
    return {{"ok", true}};
}

void PanelBench::UntilStarted() {
    if (AskInstrument({{"do", "until"}, {"text", kStarted}, {"limit_ms", kStartMs}}).value("met", false))
        AskInstrument({{"do", "until"}, {"idle_ms", kStillMs}, {"limit_ms", kStartMs}});
}

std::string PanelBench::KeepSession(const std::string& folder) {
    return bench_ ? bench_->KeepSession(folder) : "";
}

void PanelBench::UntilEnded() {
    std::unique_lock<std::mutex> guard(mutex_);
    const unsigned run = status_.run;
    if (!WaitFor(guard, kEnds, [&] { return !status_.running || status_.run != run; }))
        throw BenchError("fct does not end");
}

bool PanelBench::Crashed() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return !status_.running && ending_.signal != SIGKILL && (ending_.signal != 0 || ending_.status != 0);
}

// The power has been cut, or the program has ended in order.
nlohmann::json PanelBench::ExpectOff(const nlohmann::json& request) {
    if (request["power"] != "off")
        throw Refused("\"power\" is \"off\"");
    for (const auto& [name, value] : request.items())
        if (name != "do" && name != "power" && name != "limit_ms")
            throw Refused('"' + name + "\" means nothing here");
    nlohmann::json until = {{"do", "until"}, {"exit", true}};
    if (request.contains("limit_ms"))
        until["limit_ms"] = request["limit_ms"];
    try {
        nlohmann::json reply = AskInstrument(until);
        if (reply["ok"] != true)
            return reply;
        if (reply["met"] == true)
            UntilEnded();
    } catch (const BenchError&) {
        EndsNow();
    }
    const bool crashed = Crashed();
    const std::lock_guard<std::mutex> guard(mutex_);
    return {{"ok", true},
            {"met", !status_.running && !crashed},
            {"expected", "the power is off"},
            {"found", status_.running ? "the instrument runs" : status_.how}};
}

nlohmann::json PanelBench::AskInstrument(const nlohmann::json& request) {
    std::unique_lock<std::mutex> guard(mutex_);
    WaitFor(guard, kSettle, [this] { return status_.running || off_ || leaving_; });
    if (!status_.running) {
        if (off_ && InstrumentOff::Answers(request))
            return off_->Ask(request);
        throw NotNow("the instrument does not run: " + status_.how);
    }
    guard.unlock();
    // A connection of its own: a long wait holds up nobody else.
    ControlClient instrument(options_.stateDir + "/control.sock");
    if (!TakesTime(request))
        return instrument.Ask(request);
    const Waiting waiting(waits_);
    if (waiting.number > kMostWaits)
        throw NotNow("others wait for " + std::to_string(kMostWaits) + " things of the instrument already");
    return instrument.Ask(request, kLongestWait);
}

// Whether it ends this moment, which the watching thread is about to see.
bool PanelBench::EndsNow() {
    std::unique_lock<std::mutex> guard(mutex_);
    const unsigned run = status_.run;
    return WaitFor(guard, kNoticed, [&] { return !status_.running || status_.run != run; });
}

void PanelBench::Look(FrameLog& frames) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (screen_)
        frames.Update(screen_->Shape(), screen_->Pixels());
}

// As it is now; of an instrument that has just ended, as it was kept from change to change.
nlohmann::json PanelBench::BenchAsLeft() {
    try {
        nlohmann::json bench =
            GetStatus().running
                ? ControlClient(options_.stateDir + "/control.sock").Ask({{"do", "bench"}}, kAskSeconds)
                : Ask({{"do", "bench"}});
        return {{"set", bench.at("set")}, {"faults", bench.at("faults")}};
    } catch (const std::exception&) {
        return KeptBench();
    }
}

nlohmann::json PanelBench::KeptBench() const {
    std::ifstream in(options_.stateDir + "/bench.json");
    nlohmann::json bench = nlohmann::json::parse(in, nullptr, false);
    if (!bench.is_object())
        bench = {{"set", nlohmann::json::object()}, {"faults", nlohmann::json::object()}};  // untouched
    return bench;
}

void PanelBench::Watch() {
    WishedFor wish;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        std::swap(wish, wish_);
    }
    watching_ = true;
    if (!wish.what.empty()) {
        FulfilWish(wish);
        const std::lock_guard<std::mutex> guard(mutex_);
        fulfilled_ = wish.number;
        settled_.notify_all();
    } else if (bench_ && !bench_->Status().running && GetStatus().running) {
        SetEnded("fct " + bench_->Status().Describe());
    }
    watching_ = false;
}

void PanelBench::FulfilWish(const WishedFor& wish) {
    const nlohmann::json left = BenchAsLeft();
    StopRun();
    SwitchOff();
    if (wish.what == "moment") {
        GoOnFromMoment(wish);
        return;
    }
    try {
        const bool fresh = wish.what == "fresh" || wish.what == "empty";
        if (wish.what == "empty")
            LayOut({}, options_.stateDir);
        else if (fresh)
            SavedBenches::Blank(options_.stateDir);
        options_.start = wish.what == "restore"  ? saved_.Restore(wish.name, options_.stateDir)
                         : !wish.start.is_null() ? wish.start
                         : fresh                 ? nlohmann::json()
                                                 : left;
        if (options_.start.is_object() &&
            options_.start.value("seed", nlohmann::json()).is_number_unsigned()) {
            const std::lock_guard<std::mutex> guard(mutex_);
            options_.seed = options_.start["seed"];
            options_.start.erase("seed");
        }
        std::error_code ignored;
        fs::remove(options_.stateDir + "/bench.json", ignored);
        Start(wish.held);
    } catch (const BenchError& error) {
        SetEnded(error.what());
    }
}

void PanelBench::GoOnFromMoment(const WishedFor& wish) {
    const std::string file = options_.stateDir + "/" + kSessionFile;
    try {
        const Session session = ReadSession(file);
        KeepAside(options_.stateDir);
        nlohmann::json speed = wish.speed;
        if (speed.is_null()) {
            const std::lock_guard<std::mutex> guard(mutex_);
            speed = going_;
        }
        StartAt(session, wish.moment, speed, true);
    } catch (const std::exception& error) {
        SetEnded(error.what());
    }
}

void PanelBench::End() {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        leaving_ = true;
    }
    settled_.notify_all();
    StopRun();
}

void PanelBench::StopRun() {
    if (!bench_)
        return;
    SetEnded("fct is being ended");
    bench_->Stop(kStopSeconds);
    folder_.RunBy(0);
    bench_.reset();
}

void PanelBench::Start(bool held) {
    nlohmann::json going;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        going = going_;
        if (!held)
            speed_ = going;
    }
    Start([&] {
        BenchOptions options = options_;
        options.speed = held ? 0 : options.speed;
        auto bench = std::make_unique<Bench>(options);
        if (!held && going != options.speed)
            bench->Request({{"do", "speed"}, {"factor", going}});
        return bench;
    });
}

void PanelBench::KeepSpeed(const nlohmann::json& speed) {
    const std::lock_guard<std::mutex> guard(mutex_);
    speed_ = speed;
    if (speed != 0)
        going_ = speed;
}

// Runs an instrument forward to that moment, on which it then goes on, with nothing held down, or stands.
void PanelBench::StartAt(const Session& session, const Moment& moment, const nlohmann::json& speed,
                         bool goesOn) {
    Start([&] {
        const Session::Run& run = session.runs.at(moment.run);
        MustBeExact(run.exact);
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            options_.seed = run.seed;
        }
        KeepSpeed(speed);
        options_.bits = run.bits;
        options_.start = run.start;
        WriteSession(options_.stateDir + "/" + kSessionFile, session, moment.run);
        options_.sameSession = moment.run > 0;
        Player player(run, options_);
        if (!player.GoTo(moment.us))
            throw BenchError("the instrument was switched off before that moment");
        if (goesOn)
            LetGo(player.Instrument());
        player.Instrument().Request({{"do", "speed"}, {"factor", speed}});
        return player.Take();
    });
}

void PanelBench::Start(const std::function<std::unique_ptr<Bench>()>& make) {
    std::unique_ptr<ScreenView> screen;
    try {
        bench_ = make();
        options_.sameSession = true;
        screen = std::make_unique<ScreenView>(bench_->Pid());
        if (!options_.start.is_null())
            std::ofstream(options_.stateDir + "/bench.json") << options_.start.dump(2) << '\n';
    } catch (const BenchError& error) {
        bench_.reset();
        SetEnded(error.what());
        return;
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    screen_ = std::move(screen);
    status_ = {status_.run + 1, true, "", {}};
    settled_.notify_all();
}

// The memories are fct's again.
void PanelBench::SwitchOff() {
    const std::lock_guard<std::mutex> guard(mutex_);
    off_.reset();
}

void PanelBench::SetEnded(const std::string& how) {
    const std::vector<std::string> lines = LastLines(options_.stateDir + "/console.log", kShownLines);
    const bool alive = bench_ && bench_->Status().running;
    const std::lock_guard<std::mutex> guard(mutex_);
    status_.running = false;
    status_.how = how;
    if (bench_)
        ending_ = bench_->Status();
    status_.lines = lines;
    if (!alive && !off_) {
        nlohmann::json bench = KeptBench();
        if (bench.contains("faults") && bench["faults"].is_object())
            for (const char* cut : {"module.eeprom_cut", "mainboard.eeprom_cut"})
                bench["faults"].erase(cut);  // what has happened has happened
        try {
            const auto filling = StateFolder::Fill();
            off_ = std::make_unique<InstrumentOff>(options_, bench);
        } catch (const std::exception& error) {
            status_.how += "; " + std::string(error.what());
        }
    }
    settled_.notify_all();
}

}  // namespace k905
