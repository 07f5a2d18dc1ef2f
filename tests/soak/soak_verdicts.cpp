// Which verdicts are right, and what the program holds.
#include <algorithm>
#include <filesystem>

#include "tests/soak/soak_run.h"

namespace fs = std::filesystem;

namespace k905::soak {

namespace {

bool Has(const std::vector<Check>& checks, Check check) {
    return std::find(checks.begin(), checks.end(), check) != checks.end();
}

}  // namespace

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
    controls_ = bench_->Controls();
    const ScreenControl* board = Find(controls_, "Voltage Check");
    if (board != nullptr && board->enabled) {  // without a font no text tells that the link is open
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

std::string Footprint::Describe() const {
    std::string text = std::to_string(bytes) + " bytes in " + std::to_string(blocks) + " blocks";
    for (const auto& [what, count] : things)
        text += ", " + what + " " + std::to_string(count);
    return text + "; process: " + std::to_string(process) + " descriptors besides, " + std::to_string(tasks) +
           " threads";
}

}  // namespace k905::soak
