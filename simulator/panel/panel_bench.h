// The instrument behind the page: started, watched and restarted by one thread (Look, End), asked by the
// server's.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

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
    void Restart() override { Wish({"restart", ""}); }
    // Besides the control interface it knows the launcher's own requests: restart (with "fresh" for a
    // factory-new instrument), benches, bench_save, bench_restore, bench_remove (each with "name"). While the
    // power is off it answers what concerns the bench itself; the rest is NotNow.
    nlohmann::json Ask(const nlohmann::json& request) override;
    void Look(FrameLog& frames) override;
    // Gives up what came after that moment of its own session, and goes on from there; returns at once. What
    // was so far is kept as session-1.jsonl, session-2.jsonl ... in the state folder.
    void GoOnFrom(const Moment& moment) { Wish({"moment", "", moment}); }
    std::string StateDir() override { return options_.stateDir; }

    // Sees whether fct has ended, and does what the server's threads wished for.
    void Watch();
    // For good; nobody waits for another start.
    void End();

  private:
    struct WishedFor {
        std::string what;
        std::string name;
        Moment moment = {};
    };
    void Wish(const WishedFor& wish);
    void Prepare();
    void MustRun() const;
    void Start(const std::function<std::unique_ptr<Bench>()>& make);
    void Start();
    void GoOnFromMoment(const Moment& moment);
    void StartAt(const Session& session, const Moment& moment, double speed);
    void Leave() const;
    void SetEnded(const std::string& how);
    nlohmann::json AskInstrument(const nlohmann::json& request);
    bool EndsNow();
    void StopRun();
    void SwitchOff();
    nlohmann::json BenchAsLeft();
    nlohmann::json KeptBench() const;

    BenchOptions options_;  // changed by Watch() only, and the seed under the mutex
    bool removeState_ = false;
    SavedBenches saved_;
    std::unique_ptr<Bench> bench_;
    std::mutex mutex_;                 // guards what follows
    std::condition_variable settled_;  // fct runs, or the models without it
    std::unique_ptr<InstrumentOff> off_;
    bool leaving_ = false;
    std::unique_ptr<ScreenView> screen_;
    Status status_;
    WishedFor wish_;
};

}  // namespace k905
