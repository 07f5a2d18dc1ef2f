#include "tests/soak/soak.h"

#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "tests/soak/soak_run.h"
#include "tests/support/module_rest.h"
#include "tests/sweeps/ending.h"

namespace fs = std::filesystem;

namespace k905::soak {

namespace {

constexpr int kStartMs = 2500;  // from power-on to the start screen at rest

}  // namespace

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
    snprintf(again, sizeof again, "  again: k905_soak --seed %u --hours %g --changes %u --stop-at %lu%s",
             options_.seed, options_.hours, options_.changes, report_.changes,
             options_.oneProgram ? " --one-program" : "");
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
    if (cut)
        ++report_.cuts;
    else
        Finding(why);
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
    if (options_.oneProgram)
        cycleEnds_ = report_.changes + options_.changes;
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
    Audit(false);
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
    for (const auto& [thing, count] : held)
        if (thing.rfind("mutex of ", 0) != 0)  // those of static objects
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

Report Run(const Options& options, const std::function<void(const std::string&)>& tell) {
    return Soak(options, tell).Run();
}

}  // namespace k905::soak
