// The instrument behind the page: started, watched and restarted by one thread (Look, End), asked by the
// server's.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "simulator/panel/client.h"
#include "simulator/panel/instrument_off.h"
#include "simulator/panel/panel_server.h"
#include "simulator/panel/player.h"
#include "simulator/panel/saved_benches.h"

namespace k905 {

class PanelBench final : public PanelInstrument {
  public:
    // Starts fct. Without a state folder in `options` it makes one, which lasts as long as this object: a
    // restart finds the instrument as it was left.
    explicit PanelBench(const BenchOptions& options);
    // The same, at a moment of a session that has been: held there.
    PanelBench(const BenchOptions& options, const Session& session, const Moment& moment);
    ~PanelBench() override;

    Status GetStatus() override;
    // Besides the control interface it knows the launcher's own requests: restart (with "fresh" for a
    // factory-new instrument, "all": with empty cards, on the bench of "set" and "faults"), benches,
    // bench_save, bench_restore, bench_remove (each with "name"), and the expectation that the power is off.
    // With "wait" a request is answered when all is done that follows from it. While the power is off it
    // answers what concerns the bench itself; the rest is NotNow.
    nlohmann::json Ask(const nlohmann::json& request) override;
    void Look(FrameLog& frames) override;
    // Gives up what came after that moment of its own session, and goes on from there; returns at once. What
    // was held down then is let go of; time goes at that speed (null: as before). What was so far is
    // kept as session-1.jsonl, session-2.jsonl ... in the state folder; so is that of a launcher before this
    // one.
    void GoOnFrom(const Moment& moment, const nlohmann::json& speed) {
        WishedFor wish = {"moment", "", moment};
        wish.speed = speed;
        Wish(std::move(wish));
    }
    std::string StateDir() override { return options_.stateDir; }

    // Until the start screen stands still, as fast as the instrument may run.
    void UntilStarted();
    // Whether fct has ended otherwise than by a power cut or in order.
    bool Crashed();
    // As Bench::KeepSession; from the thread that watches.
    std::string KeepSession(const std::string& folder);
    // Sees whether fct has ended, and does what the server's threads wished for.
    void Watch();
    // For good; nobody waits for another start.
    void End();

  private:
    struct WishedFor {  // NOLINT(bugprone-exception-escape): making a null JSON value throws nothing
        std::string what;
        std::string name;
        Moment moment = {};
        nlohmann::json start = {};  // bench instead of the one that there is
        bool held = false;          // time then moves as it is asked for
        nlohmann::json speed = {};  // null: as before
        unsigned number = 0;
    };
    unsigned Wish(WishedFor wish);
    nlohmann::json StartAgain(WishedFor wish, bool wait);
    bool WaitFor(std::unique_lock<std::mutex>& guard, std::chrono::milliseconds limit,
                 const std::function<bool()>& met);
    void UntilEnded();
    nlohmann::json ExpectOff(const nlohmann::json& request);
    void FulfilWish(const WishedFor& wish);
    void Prepare();
    void MustRun() const;
    void Start(const std::function<std::unique_ptr<Bench>()>& make);
    void Start(bool held = false);
    void GoOnFromMoment(const WishedFor& wish);
    void StartAt(const Session& session, const Moment& moment, const nlohmann::json& speed, bool goesOn);
    void SetEnded(const std::string& how);
    void KeepSpeed(const nlohmann::json& speed);
    nlohmann::json AskInstrument(const nlohmann::json& request);
    bool EndsNow();
    void StopRun();
    void SwitchOff();
    nlohmann::json BenchAsLeft();
    nlohmann::json KeptBench() const;

    std::atomic<int> waits_{0};  // requests that are answered after some virtual time
    const StateFolder folder_;
    BenchOptions options_;  // changed by Watch() only, and the seed under the mutex
    SavedBenches saved_;
    std::unique_ptr<Bench> bench_;
    const std::thread::id watcher_ = std::this_thread::get_id();
    bool watching_ = false;
    std::mutex mutex_;                 // guards what follows
    std::condition_variable settled_;  // fct runs, or the models without it
    std::unique_ptr<InstrumentOff> off_;
    bool leaving_ = false;
    std::unique_ptr<ScreenView> screen_;
    Status status_;
    Ending ending_;
    nlohmann::json speed_;  // as last asked for, or as it was started with
    nlohmann::json going_;  // the same, when it was last not 0: a start goes on with it
    WishedFor wish_;
    unsigned wishes_ = 0, fulfilled_ = 0;
};

}  // namespace k905
