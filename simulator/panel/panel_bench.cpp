#include "simulator/panel/panel_bench.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "simulator/panel/last_panel.h"

namespace fs = std::filesystem;

namespace k905 {

namespace {

constexpr double kStopSeconds = 5;
constexpr auto kSettle = std::chrono::seconds(3);  // of an instrument that is being switched on or off
constexpr auto kNoticed = std::chrono::milliseconds(500);  // until an end is seen
constexpr int kAskSeconds = 5;
constexpr unsigned kShownLines = 20;

nlohmann::json NameOf(const nlohmann::json& request) {
    if (!request.contains("name") || !request["name"].is_string())
        throw Refused("\"name\" is missing in the request");
    return request["name"];
}

}  // namespace

PanelBench::PanelBench(const BenchOptions& options) : options_(options) {
    Prepare();
    Start();
    MustRun();
}

PanelBench::PanelBench(const BenchOptions& options, const Session& session, const Moment& moment)
    : options_(options) {
    Prepare();
    StartAt(session, moment, 0);
    MustRun();
}

void PanelBench::Prepare() {
    if (options_.stateDir.empty()) {
        std::string folder = (fs::temp_directory_path() / "k905-panel-XXXXXX").string();
        if (mkdtemp(folder.data()) == nullptr)
            throw BenchError(folder + ": cannot be made");
        options_.stateDir = folder;
        removeState_ = true;
    }
    std::error_code ignored;
    fs::remove(options_.stateDir + "/bench.json", ignored);
}

// What never ran is the launcher's problem, not the page's.
void PanelBench::MustRun() const {
    if (bench_)
        return;
    Leave();
    throw BenchError(status_.how);
}

PanelBench::~PanelBench() {
    try {
        End();
    } catch (...) {
        // what is left of it ends with the launcher
    }
    Leave();
}

void PanelBench::Leave() const {
    std::error_code ignored;
    if (removeState_)
        fs::remove_all(options_.stateDir, ignored);
}

PanelInstrument::Status PanelBench::GetStatus() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return status_;
}

void PanelBench::Wish(const WishedFor& wish) {
    const std::lock_guard<std::mutex> guard(mutex_);
    wish_ = wish;
}

nlohmann::json PanelBench::Ask(const nlohmann::json& request) {
    const std::string what = request["do"];
    nlohmann::json done = {{"ok", true}};
    if (what == "restart") {
        Wish({request.value("fresh", nlohmann::json(false)) == true ? "fresh" : "restart", ""});
        return done;
    }
    if (what == "benches")
        return {{"ok", true}, {"names", saved_.Names()}};
    if (what == "bench_restore") {
        const std::string name = NameOf(request);
        if (!saved_.Has(name))
            throw Refused("no bench is kept under the name \"" + name + "\"");
        Wish({"restore", name});
        return done;
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
    try {
        return AskInstrument(request);
    } catch (const NotNow&) {
        throw;
    } catch (const BenchError&) {
        if (!EndsNow())
            throw;
        return AskInstrument(request);
    }
}

nlohmann::json PanelBench::AskInstrument(const nlohmann::json& request) {
    std::unique_lock<std::mutex> guard(mutex_);
    settled_.wait_for(guard, kSettle, [this] { return status_.running || off_ || leaving_; });
    if (!status_.running) {
        if (off_ && BenchRequests::Knows(request["do"]))
            return off_->Ask(request);
        throw NotNow("the instrument does not run: " + status_.how);
    }
    guard.unlock();
    // A connection of its own: a long wait holds up nobody else.
    return ControlClient(options_.stateDir + "/control.sock").Ask(request);
}

// Whether it ends this moment, which the watching thread is about to see.
bool PanelBench::EndsNow() {
    std::unique_lock<std::mutex> guard(mutex_);
    const unsigned run = status_.run;
    return settled_.wait_for(guard, kNoticed, [&] { return !status_.running || status_.run != run; });
}

void PanelBench::Look(FrameLog& frames) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (screen_)
        frames.Update(screen_->Pixels(), screen_->Bits());
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
    if (!wish.what.empty()) {
        const nlohmann::json left = BenchAsLeft();
        StopRun();
        SwitchOff();
        if (wish.what == "moment") {
            GoOnFromMoment(wish.moment);
            return;
        }
        try {
            if (wish.what == "fresh")
                SavedBenches::Blank(options_.stateDir);
            options_.start = wish.what == "fresh"     ? nlohmann::json()
                             : wish.what == "restore" ? saved_.Restore(wish.name, options_.stateDir)
                                                      : left;
            if (options_.start.is_object() &&
                options_.start.value("seed", nlohmann::json()).is_number_unsigned()) {
                const std::lock_guard<std::mutex> guard(mutex_);
                options_.seed = options_.start["seed"];
                options_.start.erase("seed");
            }
            std::error_code ignored;
            fs::remove(options_.stateDir + "/bench.json", ignored);
            Start();
        } catch (const BenchError& error) {
            SetEnded(error.what());
        }
    } else if (bench_ && !bench_->Status().running && GetStatus().running) {
        SetEnded("fct " + bench_->Status().Describe());
        std::printf("%s\n", bench_->DescribeEnding().c_str());
        std::fflush(stdout);
    }
}

void PanelBench::GoOnFromMoment(const Moment& moment) {
    const std::string file = options_.stateDir + "/" + kSessionFile;
    try {
        const Session session = ReadSession(file);
        std::string kept;
        for (int number = 1; kept.empty() || fs::exists(kept); ++number)
            kept = options_.stateDir + "/session-" + std::to_string(number) + ".jsonl";
        fs::rename(file, kept);
        StartAt(session, moment, options_.speed);
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
    bench_.reset();
}

void PanelBench::Start() {
    Start([this] { return std::make_unique<Bench>(options_); });
}

// Runs an instrument forward to that moment, on which it then goes on.
void PanelBench::StartAt(const Session& session, const Moment& moment, double speed) {
    Start([&] {
        const Session::Run& run = session.runs.at(moment.run);
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            options_.seed = run.seed;
        }
        options_.bits = run.bits;
        options_.start = run.start;
        WriteSession(options_.stateDir + "/" + kSessionFile, session, moment.run);
        options_.sameSession = moment.run > 0;
        Player player(run, options_);
        if (!player.GoTo(moment.us))
            throw BenchError("the instrument was switched off before that moment");
        player.Instrument().Request({{"do", "speed"}, {"factor", speed}});
        return player.Take();
    });
}

void PanelBench::Start(const std::function<std::unique_ptr<Bench>()>& make) {
    std::unique_ptr<ScreenView> screen;
    try {
        bench_ = make();
        options_.sameSession = true;
        screen = std::make_unique<ScreenView>(bench_->Pid(), options_.bits);
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
    RememberPanel(options_.stateDir);
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
    status_.lines = lines;
    if (!alive && !off_) {
        nlohmann::json bench = KeptBench();
        if (bench.contains("faults") && bench["faults"].is_object())
            for (const char* cut : {"module.eeprom_cut", "mainboard.eeprom_cut"})
                bench["faults"].erase(cut);  // what has happened has happened
        try {
            off_ = std::make_unique<InstrumentOff>(options_, bench);
        } catch (const std::exception& error) {
            status_.how += "; " + std::string(error.what());
        }
    }
    settled_.notify_all();
    ForgetPanel(options_.stateDir);
}

}  // namespace k905
