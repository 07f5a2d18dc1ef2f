#include "tests/soak/soak.h"

#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>

#include "simulator/panel/check_record.h"
#include "simulator/panel/control_client.h"
#include "simulator/panel/ctl_words.h"
#include "tests/soak/bench_changes.h"
#include "tests/support/module_rest.h"
#include "tests/sweeps/ending.h"

namespace fs = std::filesystem;

namespace k905::soak {

namespace {

using nlohmann::json;

constexpr std::int64_t kHourUs = 3'600'000'000;
constexpr int kStartMs = 2500;             // from power-on to the start screen at rest
constexpr int kChangeMs = 3000;            // a screen that is touched away has gone within this
constexpr int kEndsWithinMs = 30 * 60000;  // the longest work, out of tries, on a board that answers

enum class Expected { kPass, kFail, kFree };

// The way to each screen: the screen before it, and the control that leads on.
struct Way {
    Screen from;
    const char* control;
    const char* marker;  // a control that only this screen has
};
constexpr Way kWays[kScreens] = {
    {Screen::kStart, "", "MainBoard_FCT"},       {Screen::kStart, "MainBoard_FCT", "RTC"},
    {Screen::kMainBoard, "Key Check", "Realt"},  {Screen::kStart, "Opticl_FCT", "APD_Adjust"},
    {Screen::kMenu, "OPM_FCT", "Signal chain"},  {Screen::kMenu, "OPM_Adjust", "Att0"},
    {Screen::kMenu, "OPT_Adjust", "Dev adjust"}, {Screen::kMenu, "APD_Adjust", "Start"},
    {Screen::kMenu, "E2PROM", "Back"},
};
const Way& WayTo(Screen screen) {
    return kWays[static_cast<int>(screen)];
}

// The power cycle cannot go on.
struct CycleOver {};

const ScreenControl* Find(const std::vector<ScreenControl>& controls, const std::string& name) {
    for (const ScreenControl& control : controls)
        if (control.name == name && control.x >= 0)
            return &control;
    return nullptr;
}

bool Has(const std::vector<Check>& checks, Check check) {
    return std::find(checks.begin(), checks.end(), check) != checks.end();
}

class Soak {
  public:
    Soak(const Options& options, const std::function<void(const std::string&)>& tell);
    ~Soak();
    Report Run();

  private:
    // Power.
    void PowerCycle();
    bool PowerOn();
    void WorkThrough();
    void End();
    void PowerCut();
    void WentOff(const std::string& why);
    bool Over() const;
    std::int64_t Now();
    void Pace();

    // The way through the screens.
    std::optional<Screen> Where();
    void Hop(Screen to);
    void GoTo(Screen to);
    Screen StepTowards(Screen to) const;
    void LookAtOpened(Screen screen);
    Screen AnyScreen();

    // The bench.
    void SwitchSomething();
    void SwitchOn(std::size_t row);
    void SwitchOff(std::size_t row);
    void RepairAll();
    void Put(const BenchChange& change, const json& value);
    bool Any(BenchChange::Kind kind) const;
    void SetFibre(const std::string& fibre);

    // What is done on a screen.
    void Visit(Screen screen);
    void DoSomething();
    void Do(const Work& work);
    void Prepare(const Work& work);
    void RunToItsEnd(const Work& work, int quietMs);
    void StopApd();
    void PressKeys();
    void HoldKey();
    void TouchAnywhere();
    void DrawFinger();
    void ReadRecord();

    // Judging.
    Expected Expect(Check check) const;
    bool CanPass(Check check) const;
    void Remember(const Work& work, bool passed);
    void Audit(bool hourly);
    Footprint Holds();

    void Finding(const std::string& what);
    void Say(const std::string& what);
    void Hash(const void* bytes, std::size_t size);
    Row& Counts() { return report_.screens[static_cast<int>(where_)]; }

    const Options options_;
    const std::function<void(const std::string&)> tell_;
    Dice dice_;
    Report report_;
    std::string folder_;
    std::unique_ptr<Bench> bench_;

    // Of the whole run.
    unsigned module_ = 1;
    std::int64_t before_ = 0;  // virtual time of the power cycles before this one
    std::int64_t seen_ = 0;    // and of this one, when it was last asked for
    int nextHour_ = 1;
    std::map<std::size_t, json> on_;  // rows of BenchChanges
    std::set<std::string> stored_;    // calibrations that this module has, found on a good instrument
    std::string fibre_ = "none";
    std::map<std::string, std::uint64_t> looks_;  // of a screen that has just opened
    std::optional<Footprint> first_;
    std::optional<std::map<std::string, unsigned long>> left_;  // at an orderly end

    // Of this power cycle.
    std::vector<const BenchChange*> startedWith_;
    unsigned long cycleEnds_ = 0, moduleFrom_ = 0;  // changes
    Screen where_ = Screen::kStart;
    std::vector<ScreenControl> controls_;  // of this screen
    unsigned long switches_ = 0;           // of the bench
    bool linkOpen_ = false;
    bool moduleMoved_ = false;     // a module's test has moved its attenuators
    bool attenuatorSet_ = false;   // Att0 has passed
    bool testLocked_ = false;      // the OPM test's buttons may be locked
    bool busy_ = false;            // something may run that was not waited for
    std::int64_t lateUntil_ = -1;  // late replies may be on the wire; the link has not been opened anew since
    std::optional<Footprint> baseline_;
};

Soak::Soak(const Options& options, const std::function<void(const std::string&)>& tell)
    : options_(options), tell_(tell), dice_(options.seed), module_(options.seed) {
    folder_ = (fs::temp_directory_path() / "k905-soak-XXXXXX").string();
    if (mkdtemp(folder_.data()) == nullptr)
        throw BenchError(folder_ + ": cannot be made");
}

Soak::~Soak() {
    bench_.reset();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

// ---- Report ----

void Soak::Hash(const void* bytes, std::size_t size) {
    constexpr std::uint64_t kPrime = 0x100000001B3;
    const auto* at = static_cast<const unsigned char*>(bytes);
    for (; size >= sizeof(std::uint64_t); at += sizeof(std::uint64_t), size -= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        memcpy(&word, at, sizeof word);
        report_.hash = (report_.hash ^ word) * kPrime;
        report_.hash ^= report_.hash >> 29;
    }
    for (; size > 0; ++at, --size)
        report_.hash = (report_.hash ^ *at) * kPrime;
}

void Soak::Say(const std::string& what) {
    char time[48] = "";
    const std::int64_t ms = (bench_ ? Now() : before_) / 1000;
    snprintf(time, sizeof time, "%3ld:%02ld:%02ld.%03ld ", static_cast<long>(ms / 3600000),
             static_cast<long>(ms / 60000 % 60), static_cast<long>(ms / 1000 % 60),
             static_cast<long>(ms % 1000));
    const std::string line = time + what;
    Hash(line.data(), line.size());
    if (options_.verbose || options_.stopAt != 0)
        tell_(line);
}

void Soak::Finding(const std::string& what) {
    ++report_.findings;
    ++Counts().findings;
    Say("FINDING " + what);
    char again[160] = "";
    snprintf(again, sizeof again, "  again: k905_soak --seed %u --hours %g --changes %u --stop-at %lu",
             options_.seed, options_.hours, options_.changes, report_.changes);
    const std::int64_t seconds = (before_ + seen_) / 1'000'000;
    tell_("finding: seed " + std::to_string(options_.seed) + ", virtual second " + std::to_string(seconds) +
          ", power cycle " + std::to_string(report_.starts) + ", " + NameOf(where_) + ": " + what + "\n" +
          again);
}

// ---- Power ----

std::int64_t Soak::Now() {
    if (bench_ && bench_->Status().running)
        seen_ = bench_->NowUs();
    return before_ + seen_;
}

bool Soak::Over() const {
    if (options_.stopAt != 0 && report_.changes > options_.stopAt)
        return true;
    return report_.changes >= options_.changes &&
           before_ + seen_ >= static_cast<std::int64_t>(options_.hours * kHourUs);
}

Report Soak::Run() {
    while (!Over())
        PowerCycle();
    report_.virtualUs = before_;
    return report_;
}

void Soak::PowerCycle() {
    try {
        if (PowerOn())
            WorkThrough();
    } catch (const CycleOver&) {
    } catch (const BenchError& error) {
        WentOff(error.what());
    }
    before_ += seen_;
    seen_ = 0;
    if (bench_) {
        const std::string console = bench_->Console();
        Hash(console.data(), console.size());
    }
    bench_.reset();
}

// The supply that a fault cut, or a crash.
void Soak::WentOff(const std::string& why) {
    const Ending& ending = bench_ ? bench_->Status() : Ending();
    const bool cut = bench_ && !ending.running && ending.signal == SIGKILL && Any(BenchChange::kCuts);
    if (!cut)
        Finding(why);
    ++report_.cuts;
    Say("it is off");
}

// What keeps the program from its start, or spoils it, is repaired first, but for what this start is to find.
// Returns whether there is a screen to work at.
bool Soak::PowerOn() {
    startedWith_.clear();
    if (report_.starts > 0 && dice_.OneIn(3))
        startedWith_.push_back(&dice_.Of(StartChanges()));
    for (std::size_t row = 0; row < BenchChanges().size(); ++row) {
        const BenchChange& change = BenchChanges()[row];
        const bool spoils = change.kind == BenchChange::kBlocks || change.kind == BenchChange::kCuts ||
                            change.name == std::string("fpga.load_failing");
        if (spoils && on_.erase(row) > 0)
            ++report_.switched[change.name].second;
    }
    if (report_.starts > 0 && dice_.OneIn(4)) {
        module_ = options_.seed + dice_.Below(100);
        stored_.clear();
    }
    BenchOptions start;
    start.stateDir = folder_;
    start.seed = module_;
    start.start = {{"set", {{"optics.fibre", fibre_}}}, {"faults", json::object()}};
    for (const auto& [row, value] : on_)
        start.start[BenchChanges()[row].quantity ? "set" : "faults"][BenchChanges()[row].name] = value;
    std::string with;
    for (const BenchChange* change : startedWith_) {
        start.start["faults"][change->name] = true;
        with += std::string(" with ") + change->name;
    }
    bench_ = std::make_unique<Bench>(start);
    bench_->Request({{"do", "calls"}, {"action", "start"}});
    ++report_.starts;
    where_ = Screen::kStart;
    linkOpen_ = moduleMoved_ = attenuatorSet_ = testLocked_ = busy_ = false;
    lateUntil_ = -1;
    baseline_.reset();
    Say("power on, module " + std::to_string(module_) + with);
    bench_->Advance(kStartMs);
    const bool dark = !startedWith_.empty() && startedWith_[0]->fails.empty() &&
                      startedWith_[0]->blurs.empty() && startedWith_[0]->kind == BenchChange::kUsual;
    if (dark) {
        if (bench_->Console().find("InitializeGUI failed") == std::string::npos)
            Finding("a start without a screen is not told");
        End();
        return false;
    }
    for (const BenchChange* change : startedWith_)
        if (change->kind == BenchChange::kBlocks)
            bench_->Fault(change->name, false);
    if (Where() != Screen::kStart) {
        Finding("the start screen does not come");
        throw CycleOver();
    }
    const unsigned longest = std::max(60u, options_.changes / 6);
    cycleEnds_ = report_.changes + static_cast<unsigned>(dice_.Between(static_cast<int>(longest / 4),
                                                                       static_cast<int>(longest)));
    // The main board's tests come first, as the module's move what the ADC check looks at.
    moduleFrom_ = report_.changes + (cycleEnds_ - report_.changes) * 2 / 5;
    LookAtOpened(Screen::kStart);
    return true;
}

void Soak::WorkThrough() {
    // A round through all screens, which has everything allocated that is allocated once.
    for (int screen = 0; screen < kScreens; ++screen)
        GoTo(static_cast<Screen>(screen));
    Audit(false);
    while (!Over() && report_.changes < cycleEnds_) {
        for (unsigned i = dice_.Below(3); i > 0; --i)
            SwitchSomething();
        Visit(AnyScreen());
        Pace();
        while (Now() >= nextHour_ * kHourUs) {
            ++nextHour_;
            if (Now() < nextHour_ * kHourUs)
                Audit(true);
        }
    }
    // In the middle of something, or at rest.
    if (dice_.OneIn(2)) {
        std::vector<const Work*> here;
        for (const Work& work : Works())
            if (work.screen == where_ && Find(bench_->Controls(), work.control) != nullptr)
                here.push_back(&work);
        if (!here.empty()) {
            const Work& work = *dice_.Of(here);
            bench_->Touch(work.control);
            bench_->Advance(dice_.Between(0, work.lastsMs + 300));
            Say(std::string("the end comes in ") + work.control);
        }
    }
    if (dice_.OneIn(4))
        PowerCut();
    else
        End();
}

void Soak::PowerCut() {
    ++report_.cuts;
    Say("power cut");
    try {
        bench_->Request({{"do", "power_cut"}});
    } catch (const BenchError&) {
        // It is gone before its answer has been read.
    }
    bench_->Kill();
}

void Soak::End() {
    ++report_.ends;
    Say("SIGTERM");
    double seconds = 0;
    for (const std::string& wrong : sweeps::End(*bench_, &seconds))
        Finding(wrong);
    const std::string restless = ModuleUnrest(bench_->LeftBehind());
    if (!restless.empty() && !Any(BenchChange::kBlocks))
        Finding("module not at rest: " + restless);
    if (!bench_->LastCalls().is_object())
        return;
    auto held = sweeps::Held(bench_->LastCalls());
    held.erase("descriptor of SerialInit");  // an open link ends with the program
    if (!left_ && baseline_)
        left_ = held;
    for (const auto& [thing, count] : left_ ? held : std::map<std::string, unsigned long>())
        if (left_->count(thing) == 0 || count > left_->at(thing))
            Finding("left at the end: " + std::to_string(count) + " " + thing);
}

// As many changes an hour as are wanted of the whole run: what is left over of the time passes idle. (Not on
// the key check, which never rests.)
void Soak::Pace() {
    const double share = std::min(1.0, static_cast<double>(report_.changes) / options_.changes);
    const auto target = static_cast<std::int64_t>(share * options_.hours * kHourUs);
    const std::int64_t ahead = (target - Now()) / 1000;
    if (ahead > 0 && where_ != Screen::kKeys && (dice_.OneIn(8) || report_.changes >= options_.changes)) {
        Say("idle for " + std::to_string(ahead) + " ms");
        bench_->Advance(static_cast<int>(ahead));
        Now();
    }
}

// ---- The way through the screens ----

std::optional<Screen> Soak::Where() {
    controls_ = bench_->Controls();
    for (int screen = 0; screen < kScreens; ++screen)
        for (const ScreenControl& control : controls_)
            if (control.name == kWays[screen].marker)
                return static_cast<Screen>(screen);
    return std::nullopt;
}

Screen Soak::StepTowards(Screen to) const {
    for (Screen step = to; step != Screen::kStart; step = WayTo(step).from)
        if (WayTo(step).from == where_)
            return step;
    return WayTo(where_).from;
}

void Soak::Hop(Screen to) {
    const bool back = to == WayTo(where_).from;
    const std::string control = back ? "Back" : WayTo(to).control;
    const auto there = [&] {
        for (const std::int64_t end = Now() + 1000 * kChangeMs; Now() < end;) {
            bench_->UntilIdle(250, kChangeMs);
            if (Where() == to)
                return true;
        }
        return false;
    };
    for (int tries = 0; tries < 2; ++tries) {
        if (const ScreenControl* way = Find(controls_, control))
            bench_->Tap(way->x, way->y);
        bool arrived = there();
        // A touch may have begun something that goes on for long without the board, and for ever without
        // samples.
        for (int wait = 0; busy_ && !arrived && wait < 2; ++wait) {
            RepairAll();
            bench_->UntilIdle(100000, kEndsWithinMs);
            arrived = there();
        }
        busy_ = false;
        if (arrived) {
            ++report_.changes;
            where_ = to;
            Say(std::string("to ") + NameOf(to));
            LookAtOpened(to);
            return;
        }
        const std::optional<Screen> now = Where();
        if (now && now != where_)
            break;
    }
    Finding("no way to " + std::string(NameOf(to)) + "; the screen shows:\n" + bench_->Describe());
    throw CycleOver();
}

void Soak::GoTo(Screen to) {
    while (where_ != to)
        Hop(StepTowards(to));
}

// A screen that opens looks as it always did with the link like this.
void Soak::LookAtOpened(Screen screen) {
    ++report_.screens[static_cast<int>(screen)].visits;
    testLocked_ = false;
    const Picture picture = bench_->Screen();
    Hash(picture.bytes.data(), picture.bytes.size());
    if (screen == Screen::kRecord || Any(BenchChange::kHides))
        return;
    std::uint64_t look = 0;
    std::swap(look, report_.hash);
    Hash(picture.bytes.data(), picture.bytes.size());
    std::swap(look, report_.hash);
    std::string state = NameOf(screen);
    for (const char* control : {"Voltage Check", "Apd"})
        if (const ScreenControl* board = Find(controls_, control))
            state += (linkOpen_ = board->enabled) ? ", link open" : ", link closed";
    if (screen == Screen::kStart || screen == Screen::kMenu)
        state += Shows(bench_->Texts(), "Connect Success !") ? ", link open" : ", link closed";
    if (looks_.emplace(state, look).first->second != look)
        Finding(state + " looks otherwise than it did; it shows:\n" + bench_->Describe());
}

Screen Soak::AnyScreen() {
    static const std::vector<Screen> board = {Screen::kMainBoard, Screen::kMainBoard, Screen::kMainBoard,
                                              Screen::kMainBoard, Screen::kKeys,      Screen::kMenu,
                                              Screen::kRecord,    Screen::kStart};
    static const std::vector<Screen> module = {Screen::kMainBoard, Screen::kMainBoard, Screen::kKeys,
                                               Screen::kMenu,      Screen::kTest,      Screen::kTest,
                                               Screen::kAdjust,    Screen::kAdjust,    Screen::kOptical,
                                               Screen::kApd,       Screen::kRecord,    Screen::kStart};
    return report_.changes < moduleFrom_ ? dice_.Of(board) : dice_.Of(module);
}

// ---- The bench ----

void Soak::Put(const BenchChange& change, const json& value) {
    ++switches_;
    if (change.quantity)
        bench_->Set(change.name, value);
    else
        bench_->Fault(change.name, value);
}

bool Soak::Any(BenchChange::Kind kind) const {
    for (const auto& [row, value] : on_)
        if (BenchChanges()[row].kind == kind)
            return true;
    for (const BenchChange* change : startedWith_)
        if (change->kind == kind)
            return true;
    return false;
}

void Soak::SwitchOn(std::size_t row) {
    const BenchChange& change = BenchChanges()[row];
    const json value = change.on(dice_);
    Say(std::string("on: ") + change.name + " " + value.dump());
    Put(change, value);
    on_[row] = value;
    ++report_.switched[change.name].first;
    if (change.kind == BenchChange::kLate)
        lateUntil_ = INT64_MAX;
}

void Soak::SwitchOff(std::size_t row) {
    const BenchChange& change = BenchChanges()[row];
    Say(std::string("off: ") + change.name);
    const json value = on_.at(row);
    Put(change, change.off);
    on_.erase(row);
    ++report_.switched[change.name].second;
    if (change.kind == BenchChange::kLate)
        lateUntil_ = Now() + 1000 * (value.get<std::int64_t>() + 5000);
}

// Of a name there is one at a time; few are on together, or nothing would pass any more.
void Soak::SwitchSomething() {
    constexpr std::size_t kTogether = 4;
    if (on_.size() >= kTogether || (!on_.empty() && dice_.OneIn(2))) {
        auto row = on_.begin();
        std::advance(row, dice_.Below(static_cast<unsigned>(on_.size())));
        SwitchOff(row->first);
        return;
    }
    const std::size_t row = dice_.Below(static_cast<unsigned>(BenchChanges().size()));
    for (const auto& [other, value] : on_)
        if (BenchChanges()[other].name == std::string(BenchChanges()[row].name))
            return;
    SwitchOn(row);
}

void Soak::RepairAll() {
    while (!on_.empty())
        SwitchOff(on_.begin()->first);
}

void Soak::SetFibre(const std::string& fibre) {
    fibre_ = fibre;
    bench_->Set("optics.fibre", fibre);
}

// ---- What is done on a screen ----

void Soak::Visit(Screen screen) {
    GoTo(screen);
    if (where_ == Screen::kRecord)
        ReadRecord();
    for (unsigned i = dice_.Below(4); i > 0 && !Over(); --i)
        DoSomething();
    // The visible light makes every second of the program's time long: it stays on now and then only.
    if (where_ == Screen::kMainBoard && !dice_.OneIn(8) &&
        bench_->Request({{"do", "state"}}).at("state").at("fpga").at("visible_light").get<bool>()) {
        bench_->Touch("Visible Check");
        bench_->UntilIdle(300, kChangeMs);
    }
}

void Soak::DoSomething() {
    unsigned sum = 0;
    for (const Work& work : Works())
        sum += work.screen == where_ ? work.weight : 0;
    const unsigned kBesides = 4;
    unsigned chosen = dice_.Below(sum + kBesides + (where_ == Screen::kKeys ? 8 : 0));
    for (const Work& work : Works()) {
        if (work.screen != where_)
            continue;
        if (chosen < work.weight)
            return Do(work);
        chosen -= work.weight;
    }
    if (chosen == 0)
        PressKeys();
    else if (chosen == 1)
        TouchAnywhere();
    else if (chosen == 2)
        DrawFinger();
    else if (chosen == 3)
        bench_->Advance(dice_.Between(0, where_ == Screen::kKeys ? 1000 : 20000));
    else
        HoldKey();
}

// The fibre that the work is told to have, most of the time.
void Soak::Prepare(const Work& work) {
    static const std::vector<std::string> path = {"1.5 km", "1.5 km", "1.5 km", "1 km", "none"};
    static const std::vector<std::string> offset = {"5 m", "5 m", "5 m", "none", "1.5 km"};
    for (const Reading& reading : work.readings) {
        if (reading.check == Check::kLightPath)
            SetFibre(dice_.Of(path));
        else if (reading.check == Check::kOffset)
            SetFibre(dice_.Of(offset));
        else if (reading.check == Check::kApdSearch)
            SetFibre("none");
    }
}

void Soak::Do(const Work& work) {
    controls_ = bench_->Controls();
    const ScreenControl* control = Find(controls_, work.control);
    if (control == nullptr) {
        Finding(std::string("no ") + work.control + " on the screen");
        throw CycleOver();
    }
    const bool connect = work.control == std::string("Connect");
    if (!control->enabled) {
        if (!connect && !linkOpen_ && !dice_.OneIn(4))
            Do(*std::find_if(Works().begin(), Works().end(), [this](const Work& one) {
                return one.screen == where_ && one.control == std::string("Connect");
            }));
        return;
    }
    if (connect) {
        const ScreenControl* board = Find(controls_, where_ == Screen::kAdjust ? "Apd" : "Voltage Check");
        if (!testLocked_ || where_ != Screen::kTest)
            linkOpen_ = board != nullptr && board->enabled;
    }
    const bool closes = connect && linkOpen_;
    // Nothing would tell when it is over.
    if (Any(BenchChange::kHides) && !connect && (where_ == Screen::kAdjust || work.lastsMs >= 2000))
        return;
    Prepare(work);
    // What stood there before could be read as this one's.
    if (where_ == Screen::kOptical || where_ == Screen::kApd) {
        const Screen here = where_;
        GoTo(Screen::kMenu);
        GoTo(here);
    }
    const unsigned long switches = switches_;
    std::vector<Expected> expected;
    for (const Reading& reading : work.readings)
        expected.push_back(Expect(reading.check));
    const bool silentLoop = (Any(BenchChange::kSlow) || Any(BenchChange::kLate)) &&
                            (where_ == Screen::kAdjust || work.control == std::string("Signal chain")) &&
                            !connect;
    const bool disturbed = dice_.OneIn(8);
    bench_->Touch(work.control);
    ++Counts().run;
    if (silentLoop) {
        // Every try takes 5 s then: the plug is put back.
        bench_->Advance(dice_.Between(1000, 60000));
        RepairAll();
    } else if (disturbed) {
        bench_->Advance(dice_.Between(0, work.lastsMs));
        SwitchSomething();
    }
    bool careful = disturbed || silentLoop || Any(BenchChange::kHides) || lateUntil_ >= before_ + seen_;
    for (const Expected one : expected)
        careful = careful || one != Expected::kPass;
    RunToItsEnd(work, silentLoop ? work.worstMs + 60000 : careful ? work.worstMs : work.usualMs);
    const std::vector<TextRun> texts = bench_->Texts();
    std::string all;
    for (const TextRun& run : texts)
        all += run.text + "|";
    Say(std::string(work.control) + ": " + all);
    bool allPassed = !work.readings.empty();
    for (std::size_t i = 0; i < work.readings.size(); ++i) {
        const Reading& reading = work.readings[i];
        const bool passed = Passed(reading, texts);
        allPassed = allPassed && passed && expected[i] == Expected::kPass && switches == switches_;
        if (closes) {
            if (passed)
                Finding("Connect opened a link that was open");
            continue;
        }
        const Expected verdict = switches != switches_ ? Expected::kFree : expected[i];
        ++(verdict == Expected::kFree ? Counts().free : passed ? Counts().passed : Counts().failed);
        if (verdict == Expected::kPass && !passed && !Any(BenchChange::kHides))
            Finding(std::string(work.control) + " must pass (" + reading.pass[0] + "); the screen shows:\n" +
                    bench_->Describe());
        if (verdict == Expected::kFail && passed)
            Finding(std::string(work.control) + " must not pass (" + reading.pass[0] +
                    "); the screen shows:\n" + bench_->Describe());
    }
    if (connect) {
        linkOpen_ = !closes && Passed(work.readings[0], texts);
        if (linkOpen_ && switches == switches_ && lateUntil_ < Now())
            lateUntil_ = -1;
    }
    Remember(work, allPassed);
}

void Soak::RunToItsEnd(const Work& work, int quietMs) {
    const bool apd = where_ == Screen::kApd;
    if (apd && !dice_.OneIn(4)) {
        bench_->Advance(dice_.Between(0, work.lastsMs / 4));  // left in the middle
        ++switches_;
        return StopApd();
    }
    bool ended = false;
    if (apd || work.lastsMs >= 60000) {
        ended = bench_->UntilText(apd ? "APD Tuning Start" : "check over!!!", 2 * work.lastsMs + 30000);
        bench_->UntilIdle(500, 5000);
        if (apd)
            return;  // it waits on until it is stopped; the screen is left for that
    }
    if (!ended)
        ended = bench_->UntilIdle(quietMs, kEndsWithinMs);
    if (!ended && !on_.empty()) {
        RepairAll();
        ended = bench_->UntilIdle(work.worstMs, kEndsWithinMs);
    }
    if (!ended) {
        Finding(std::string(work.control) + " does not end");
        throw CycleOver();
    }
}

// A second start changes nothing.
void Soak::StopApd() {
    bench_->Touch(dice_.OneIn(2) ? "Stop" : "Start");
    bench_->Advance(3000);
}

// What later verdicts rest on.
void Soak::Remember(const Work& work, bool passed) {
    const std::string control = work.control;
    if (where_ == Screen::kOptical) {
        std::error_code ignored;  // another stick: traces grow
        for (const auto& file : fs::directory_iterator(folder_ + "/root/mnt/usb", ignored))
            fs::remove(file.path(), ignored);
    }
    if (control == "Signal chain")
        testLocked_ = testLocked_ || !passed;
    if (where_ == Screen::kMainBoard || control == "Connect" || control == "Temperature")
        return;
    moduleMoved_ = true;
    if (control == "Att0")
        attenuatorSet_ = passed;
    if (where_ == Screen::kAdjust) {
        if (passed)
            stored_.insert(control);
        else
            stored_.erase(control);
    }
}

void Soak::PressKeys() {
    for (unsigned i = 1 + dice_.Below(5); i > 0; --i) {
        ++report_.keys;
        int held = 150;
        if (dice_.OneIn(4)) {
            bench_->Request({{"do", "knob"}, {"steps", dice_.Between(-5, 5)}});
        } else {
            held = dice_.OneIn(4) ? dice_.Between(500, 4000) : held;
            bench_->Request({{"do", "key"}, {"key", dice_.Of(KeyNames())}, {"hold_ms", held}});
        }
        bench_->Advance(held + dice_.Between(20, 600));
    }
}

// A key's picture lights up while it is held, and goes out.
void Soak::HoldKey() {
    const std::string key = dice_.Of(KeyNames());
    const Expected expected = Expect(Check::kKeys);
    ++report_.keys;
    ++Counts().run;
    bench_->UntilIdle(300, 3000);
    const Picture dark = bench_->Screen();
    bench_->Key(key, "down");
    bench_->Advance(dice_.Between(300, 900));
    const bool lit = bench_->Screen().bytes != dark.bytes;
    bench_->Key(key, "up");
    bench_->Advance(500);
    const bool out = bench_->Screen().bytes == dark.bytes;
    Say("key " + key + (lit ? " lit" : " dark") + (out ? "" : ", stays"));
    ++(expected == Expected::kFree ? Counts().free : lit && out ? Counts().passed : Counts().failed);
    if (expected == Expected::kPass && !(lit && out) && !Any(BenchChange::kHides))
        Finding("the picture of key " + key + (lit ? " stays light" : " stays dark"));
    if (expected == Expected::kFail && lit)
        Finding("the picture of key " + key + " lights up without a keypad");
}

// Anything may come of it.
void Soak::TouchAnywhere() {
    if (Any(BenchChange::kHides))
        return;  // nothing would tell when it is over
    const Screen here = where_;
    for (unsigned i = 1 + dice_.Below(4); i > 0; --i) {
        ++report_.touches;
        json touch = {{"do", "touch"}, {"x", dice_.Between(0, 799)}, {"y", dice_.Between(0, 479)}};
        if (dice_.OneIn(4)) {
            touch["x2"] = dice_.Between(0, 799);
            touch["y2"] = dice_.Between(0, 479);
        }
        touch["hold_ms"] = dice_.OneIn(4) ? dice_.Between(200, 3000) : 150;
        Say("touch " + touch.dump());
        bench_->Request(touch);
        bench_->Advance(dice_.Between(50, 4000));
    }
    bench_->UntilIdle(here == Screen::kKeys ? 1000 : 4000, 120000);
    busy_ = true;
    ++switches_;
    std::optional<Screen> now = Where();
    if (now != here && where_ != Screen::kStart) {
        // On the way back.
        bench_->UntilIdle(3000, kEndsWithinMs);
        now = Where();
    }
    if (!now) {
        Finding("no known screen after touches");
        throw CycleOver();
    }
    where_ = *now;
    report_.changes += where_ != here;
    Say(std::string("now on ") + NameOf(where_));
    const auto atBoard = [](Screen screen) {
        return screen == Screen::kStart || screen == Screen::kMainBoard || screen == Screen::kKeys;
    };
    if (!atBoard(here) || !atBoard(where_)) {
        moduleMoved_ = true;
        attenuatorSet_ = false;
        stored_.clear();
    }
    testLocked_ = testLocked_ || here == Screen::kTest;
}

// A finger laid down beside a button, for long, and lifted on it: nothing may start.
void Soak::DrawFinger() {
    ++report_.touches;
    const ScreenControl* back = Find(controls_, "Back");
    const ScreenControl* control = back != nullptr ? back : Find(controls_, "Opticl_FCT");
    if (control == nullptr)
        return;
    const std::string name = control->name;
    bench_->Request({{"do", "touch"}, {"action", "down"}, {"x", 790}, {"y", 470}});
    bench_->Advance(dice_.Between(100, 2000));
    bench_->Request({{"do", "touch"}, {"action", "move"}, {"x", control->x}, {"y", control->y}});
    bench_->Advance(dice_.Between(50, 500));
    bench_->Request({{"do", "touch"}, {"action", "up"}});
    bench_->UntilIdle(500, 10000);
    Say("a finger drawn onto " + name);
    if (Where() != where_) {
        Finding("a finger laid down beside " + name + " and lifted on it starts it");
        throw CycleOver();
    }
}

void Soak::ReadRecord() {
    const std::string file = folder_ + "/tuning.bin";
    if (!fs::exists(file))
        return;
    ++Counts().run;
    const std::vector<TextRun> texts = bench_->Texts();
    const std::vector<std::string> lines = RecordLines(file);
    const bool same =
        std::all_of(lines.begin(), lines.end(), [&](const std::string& line) { return Shows(texts, line); });
    const Expected expected = Any(BenchChange::kHides) ? Expected::kFree : Expect(Check::kRecord);
    ++(expected == Expected::kFree ? Counts().free : same ? Counts().passed : Counts().failed);
    if (expected == Expected::kPass && !same)
        Finding("the values are not the driver's; the screen shows:\n" + bench_->Describe());
}

// ---- Judging ----

// What a check needs besides a bench without faults.
bool Soak::CanPass(Check check) const {
    const bool tuned = stored_.count("Vdd") > 0 && stored_.count("Att0") > 0 && stored_.count("Att1") > 0;
    switch (check) {
        case Check::kConnect:
            return lateUntil_ < 0 || (lateUntil_ < before_ + seen_);
        case Check::kVoltages:
        case Check::kModuleVoltages:
        case Check::kSignalChain:
        case Check::kApd:
        case Check::kVdd:
        case Check::kAtt0:
            return lateUntil_ < 0;
        case Check::kAdc:
            return !moduleMoved_;
        case Check::kAtt1:
            return lateUntil_ < 0 && attenuatorSet_;
        case Check::kLightPath:
            return tuned && fibre_ != "none";
        case Check::kOffset:
            return tuned && fibre_ == "5 m";
        case Check::kApdSearch:
            return tuned;
        default:
            return true;
    }
}

Expected Soak::Expect(Check check) const {
    bool free = !CanPass(check);
    const auto looks = [&](const BenchChange& change) {
        free = free || Has(change.blurs, check);
        return Has(change.fails, check);
    };
    for (const auto& [row, value] : on_)
        if (looks(BenchChanges()[row]))
            return Expected::kFail;
    for (const BenchChange* change : startedWith_)
        if (looks(*change))
            return Expected::kFail;
    if (check == Check::kLightPath && fibre_ == "none")
        return Expected::kFail;
    return free ? Expected::kFree : Expected::kPass;
}

Footprint Soak::Holds() {
    const json calls = bench_->Request({{"do", "calls"}});
    Footprint holds;
    holds.bytes = calls.at("holds").at("bytes");
    holds.blocks = calls.at("holds").at("blocks");
    unsigned long own = 0;
    for (const json& thing : calls.at("holds").at("things")) {
        const std::string what = thing.at("what"), in = thing.at("in");
        const auto count = thing.at("count").get<unsigned long>();
        own += what == "descriptor" ? count : 0;
        // A load of the FPGA that fails leaves the loader open.
        if (what != "block" && !(what == "descriptor" && in == "fpga_init"))
            holds.things[what] += count;
    }
    const std::string process = "/proc/" + std::to_string(bench_->Pid());
    holds.process =
        static_cast<unsigned long>(std::distance(fs::directory_iterator(process + "/fd"), {})) - own;
    holds.tasks = static_cast<unsigned long>(std::distance(fs::directory_iterator(process + "/task"), {}));
    return holds;
}

// At the start screen, all pictures there, the link closed and the visible light off.
void Soak::Audit(bool hourly) {
    for (std::size_t row = 0; row < BenchChanges().size(); ++row)
        if (on_.count(row) > 0 && BenchChanges()[row].kind == BenchChange::kHides)
            SwitchOff(row);
    GoTo(Screen::kMainBoard);
    if (linkOpen_) {
        bench_->Touch("Connect");
        bench_->UntilIdle(500, kChangeMs);
        linkOpen_ = false;
    }
    GoTo(Screen::kMenu);
    GoTo(Screen::kStart);
    bench_->Advance(1500);
    const Footprint holds = Holds();
    Say(holds.Describe());
    if (!baseline_)
        baseline_ = holds;
    if (!first_ && startedWith_.empty())
        first_ = holds;
    if (!(holds == *baseline_))
        Finding("holds " + holds.Describe() + " instead of " + baseline_->Describe());
    else if (startedWith_.empty() && !(holds == *first_))
        Finding("holds " + holds.Describe() + " instead of " + first_->Describe() +
                " in the first power cycle");
    if (!hourly)
        return;
    const double hours = static_cast<double>(Now()) / kHourUs;
    report_.footprints.emplace_back(hours, holds);
    char line[64] = "";
    snprintf(line, sizeof line, "%5.1f h, %6lu changes: ", hours, report_.changes);
    tell_(line + holds.Describe());
}

}  // namespace

std::string Footprint::Describe() const {
    std::string text = std::to_string(bytes) + " bytes in " + std::to_string(blocks) + " blocks";
    for (const auto& [what, count] : things)
        text += ", " + std::to_string(count) + " " + what + "s";
    return text + "; process: " + std::to_string(process) + " descriptors besides, " + std::to_string(tasks) +
           " threads";
}

Report Run(const Options& options, const std::function<void(const std::string&)>& tell) {
    return Soak(options, tell).Run();
}

}  // namespace k905::soak
