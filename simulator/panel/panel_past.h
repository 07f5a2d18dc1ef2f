// The instrument behind the page with its past: what is shown is the instrument itself, or a moment that it
// has been at.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "simulator/panel/panel_bench.h"
#include "simulator/panel/rewind.h"

namespace k905 {

class PanelPast final : public PanelInstrument {
  public:
    explicit PanelPast(PanelBench& live);

    Status GetStatus() override;
    // Besides what the instrument knows: session, origin, rewind, now, branch. While a moment of the past is
    // shown, what looks is asked there, and what would change it is refused.
    nlohmann::json Ask(const nlohmann::json& request) override;
    void Look(FrameLog& frames) override;
    std::string StateDir() override;

    // Lets those that run along behind follow; now and then, from the thread that watches the instrument.
    void Watch();
    // Searches under way are broken off.
    void End() { ended_ = true; }

  private:
    std::shared_ptr<Rewind> Past();
    nlohmann::json TellSession(const nlohmann::json& request);
    nlohmann::json TellOrigin(const nlohmann::json& request);
    nlohmann::json ShowMoment(const nlohmann::json& request);
    void Return();

    Session SessionNow();
    std::size_t Starts();

    PanelBench& live_;
    std::mutex sessionMutex_;
    SessionFile session_;
    std::atomic<bool> ended_{false};
    std::atomic<bool> stopSearch_{false};
    std::mutex originMutex_;  // one search at a time
    std::mutex mutex_;        // guards what follows
    std::shared_ptr<Rewind> rewind_;
    nlohmann::json heldAt_;  // speed to go on with, back from the past; null: it is not held for it
    unsigned watches_ = 0;   // this and what follows: the watching thread's
    unsigned run_ = 0;
};

}  // namespace k905
