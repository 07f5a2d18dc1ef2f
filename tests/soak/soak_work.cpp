// What is done on a screen.
#include <algorithm>
#include <filesystem>

#include "simulator/panel/check_record.h"
#include "simulator/panel/ctl_words.h"
#include "tests/soak/soak_run.h"

namespace fs = std::filesystem;

namespace k905::soak {

// Null: the screen has no such control.
static const Work* WorkOf(Screen screen, const std::string& control) {
    for (const Work& work : Works())
        if (work.screen == screen && work.control == control)
            return &work;
    return nullptr;
}

void Soak::Visit(Screen screen) {
    const bool calibrated = (screen == Screen::kOptical || screen == Screen::kApd) && dice_.OneIn(2);
    if (calibrated)
        Calibrate();
    GoTo(screen);
    if (calibrated)
        for (const Work& work : Works())
            if (work.screen == screen)
                Do(work);
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

// What the optical checks build on, on a bench without faults.
void Soak::Calibrate() {
    RepairAll();
    GoTo(Screen::kAdjust);
    if (lateUntil_ >= Now())
        bench_->Advance(static_cast<int>((lateUntil_ - Now()) / 1000) + 1);
    if (linkOpen_ && lateUntil_ >= 0)
        Do(*WorkOf(Screen::kAdjust, "Connect"));  // late replies go with the link
    if (!linkOpen_)
        Do(*WorkOf(Screen::kAdjust, "Connect"));
    for (const char* control : {"Vdd", "Att0", "Att1"})
        Do(*WorkOf(Screen::kAdjust, control));
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
        const Work* opening = WorkOf(where_, "Connect");
        if (opening != nullptr && !connect && !linkOpen_ && !dice_.OneIn(4))
            Do(*opening);
        return;
    }
    if (connect) {
        const ScreenControl* board = Find(controls_, where_ == Screen::kAdjust ? "Apd" : "Voltage Check");
        if (!testLocked_ || where_ != Screen::kTest)
            linkOpen_ = board != nullptr && board->enabled;
    }
    // A touch anywhere may have hit Connect, and a locked test screen does not show what the link is like.
    const bool guessed = connect && linkTouched_ && testLocked_ && where_ == Screen::kTest;
    const bool closes = connect && linkOpen_ && !guessed;
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
    const bool loop = (where_ == Screen::kAdjust || work.control == std::string("Signal chain")) && !connect;
    const bool disturbed = dice_.OneIn(8);
    bench_->Touch(work.control);
    ++Counts().run;
    if (disturbed) {
        bench_->Advance(dice_.Between(0, work.lastsMs));
        SwitchSomething();
    }
    const bool slow = loop && (Any(BenchChange::kSlow) || Any(BenchChange::kLate));
    if (slow) {
        // Every try takes seconds then: the plug is put back.
        bench_->Advance(dice_.Between(1000, 60000));
        RepairAll();
    }
    bool careful = disturbed || slow || Any(BenchChange::kHides) || lateUntil_ >= before_ + seen_;
    for (const Expected one : expected)
        careful = careful || one != Expected::kPass;
    RunToItsEnd(work, slow ? work.worstMs + 60000 : careful ? work.worstMs : work.usualMs);
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
        const bool illegible = expected[i] == Expected::kPass && Any(BenchChange::kHides);
        const bool free = switches != switches_ || illegible || guessed;
        const Expected verdict = free ? Expected::kFree : expected[i];
        ++(verdict == Expected::kFree ? Counts().free : passed ? Counts().passed : Counts().failed);
        if (verdict == Expected::kPass && !passed)
            Finding(std::string(work.control) + " must pass (" + reading.pass[0] + "); the screen shows:\n" +
                    bench_->Describe());
        if (verdict == Expected::kFail && passed)
            Finding(std::string(work.control) + " must not pass (" + reading.pass[0] +
                    "); the screen shows:\n" + bench_->Describe());
    }
    if (connect) {
        linkOpen_ = !closes && Passed(work.readings[0], texts);
        linkTouched_ = false;
        controls_ = bench_->Controls();
        const ScreenControl* board = Find(controls_, where_ == Screen::kAdjust ? "Apd" : "Voltage Check");
        if (linkOpen_ && !testLocked_ && (board == nullptr || !board->enabled))
            Finding("the link is open, and what needs it stays locked");
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
    if (!ended && (Any(BenchChange::kBlocks) || Any(BenchChange::kSlow) || Any(BenchChange::kLate))) {
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

// A key's on Key Check, where it has the key's name; empty: there is none.
static Area PictureOf(std::string key, const std::vector<ScreenControl>& controls) {
    key[0] = static_cast<char>(toupper(key[0]));
    for (const ScreenControl& control : controls)
        if (control.name == key)
            return control.picture;
    return {};
}

// Whether something differs, and all of it in the area.
static bool DifferOnlyIn(const Area& area, const Picture& one, const Picture& other) {
    bool differ = false;
    for (int y = 0; y < static_cast<int>(one.shape.height); ++y)
        for (int x = 0; x < static_cast<int>(one.shape.width); ++x) {
            if (one.SamePixel(other, x, y))
                continue;
            if (!area.Contains(x, y))
                return false;
            differ = true;
        }
    return differ;
}

// Those that the faults that are on name.
std::vector<std::string> Soak::BadKeys() const {
    std::vector<std::string> bad;
    for (const auto& [row, value] : on_)
        if (BenchChanges()[row].kind == BenchChange::kKeys)
            for (const json& key : value.is_array() ? value : json::array({value}))
                bad.push_back(key);
    return bad;
}

// A key's own picture lights up while it is held, and goes out.
void Soak::HoldKey() {
    // Five turns of the knob by five steps may still be lit, one arrow for 100 ms after the other.
    constexpr int kArrowsMs = 2000;
    const std::vector<std::string> bad = BadKeys();
    const std::string key = dice_.Of(bad.empty() || dice_.OneIn(2) ? KeyNames() : bad);
    const bool isBad = std::find(bad.begin(), bad.end(), key) != bad.end();
    const Expected looked = isBad ? Expected::kFail : Expect(Check::kKeys);
    const bool illegible = looked == Expected::kPass && Any(BenchChange::kHides);
    const Expected expected = illegible ? Expected::kFree : looked;
    ++report_.keys;
    ++Counts().run;
    bench_->UntilIdle(kArrowsMs, 10000);
    const Picture dark = bench_->Screen();
    bench_->Key(key, "down");
    bench_->Advance(dice_.Between(300, 900));
    const Picture held = bench_->Screen();
    const bool lit = held.bytes != dark.bytes;
    const bool own = DifferOnlyIn(PictureOf(key, bench_->Controls()), dark, held);
    bench_->Key(key, "up");
    bench_->Advance(500);
    const bool out = bench_->Screen().bytes == dark.bytes;
    Say("key " + key + (lit ? " lit" : " dark") + (out ? "" : ", stays"));
    ++(expected == Expected::kFree ? Counts().free : own && out ? Counts().passed : Counts().failed);
    if (expected == Expected::kPass && !(own && out))
        Finding("the picture of key " + key +
                (!lit   ? " stays dark"
                 : !own ? " is not the one that lights up"
                        : " stays light"));
    if (expected == Expected::kFail && own)
        Finding("the picture of key " + key + " lights up, though the key is bad");
}

// Anything may come of it.
void Soak::TouchAnywhere() {
    constexpr int kLongestHoldMs = 3000;
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
        touch["hold_ms"] = dice_.OneIn(4) ? dice_.Between(200, kLongestHoldMs) : 150;
        Say("touch " + touch.dump());
        bench_->Request(touch);
        bench_->Advance(dice_.Between(50, 4000));
    }
    bench_->Advance(kLongestHoldMs);  // the last finger is up, too
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
    linkTouched_ = linkTouched_ || here == Screen::kTest;
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

}  // namespace k905::soak
