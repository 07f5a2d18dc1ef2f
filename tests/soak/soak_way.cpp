// The way through the screens, and the bench.
#include <algorithm>

#include "tests/soak/soak_run.h"

namespace k905::soak {

namespace {

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

}  // namespace

const ScreenControl* Find(const std::vector<ScreenControl>& controls, const std::string& name) {
    for (const ScreenControl& control : controls)
        if (control.name == name && control.x >= 0)
            return &control;
    return nullptr;
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
            bench_->UntilIdle(250, static_cast<int>((end - Now()) / 1000) + 1);
            if (Where() == to)
                return true;
        }
        return false;
    };
    // The first touch may be lost on what is still running.
    for (int tries = busy_ ? 2 : 1; tries > 0; --tries) {
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
    testLocked_ = linkTouched_ = false;
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
    if (options_.oneProgram && BenchChanges()[row].kind == BenchChange::kCuts)
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

}  // namespace k905::soak
