// One run of the soak: what the person knows, and does. Its parts: power and report (soak.cpp), the way
// through the screens and the bench (soak_way.cpp), the work on a screen (soak_work.cpp), verdicts
// (soak_verdicts.cpp).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>

#include "simulator/panel/client.h"
#include "tests/soak/bench_changes.h"
#include "tests/soak/soak.h"

namespace k905::soak {

constexpr std::int64_t kHourUs = 3'600'000'000;
constexpr int kChangeMs = 3000;            // a screen that is touched away has gone within this
constexpr int kEndsWithinMs = 30 * 60000;  // the longest work, out of tries, on a board that answers

using nlohmann::json;

enum class Expected { kPass, kFail, kFree };

// The power cycle cannot go on.
struct CycleOver {};

// A control of the screen that can be touched; null: none.
const ScreenControl* Find(const std::vector<ScreenControl>& controls, const std::string& name);

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
    void Calibrate();
    void DoSomething();
    void Do(const Work& work);
    void Prepare(const Work& work);
    void RunToItsEnd(const Work& work, int quietMs);
    void StopApd();
    void PressKeys();
    std::vector<std::string> BadKeys() const;
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
    bool linkTouched_ = false;     // a touch on the OPM test may have opened or closed the link
    bool busy_ = false;            // something may run that was not waited for
    std::int64_t lateUntil_ = -1;  // late replies may be on the wire; the link has not been opened anew since
    std::optional<Footprint> baseline_;
};

}  // namespace k905::soak
