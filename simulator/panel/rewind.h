// The past of an instrument: any moment of its session, on another instrument that is run forward to it. A
// few run along some way behind, so that a step back is short; behind a moment that is shown, too.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "simulator/panel/player.h"

namespace k905 {

class Rewind {
  public:
    // Of the session in `stateDir`.
    explicit Rewind(const std::string& stateDir);
    ~Rewind();
    Rewind(const Rewind&) = delete;
    Rewind& operator=(const Rewind&) = delete;

    // Makes that moment, and returns when it stands there; what was shown before goes. Throws BenchError.
    void Show(const Moment& moment);
    // Nobody looks at the past any more.
    void Leave();
    // The instrument itself has come so far: those that follow may go on.
    void Follow(const Moment& now);

    // What is shown; nothing before Show and after Leave.
    struct Shown {
        Moment moment;
        std::string stateDir;
        std::shared_ptr<const ScreenView> screen;
    };
    std::optional<Shown> Now();

  private:
    struct Follower {
        std::size_t run;
        std::unique_ptr<Player> player;
    };

    void Work();
    void Make(const Moment& moment);
    void Keep(Follower one);
    bool FollowBehind(const Moment& now, std::vector<Follower>& followers);
    const Session::Run& RunOf(const Moment& moment);

    // The worker's: a program ends with the thread that started it.
    SessionFile session_;
    std::vector<Follower> followers_;  // the place in it tells how far behind
    std::vector<Follower> behindShown_;
    Follower shownPlayer_;

    std::mutex mutex_;  // guards what follows
    std::condition_variable wake_;
    std::condition_variable done_;
    std::optional<Moment> wanted_;
    std::optional<std::string> result_;  // of what was wanted: "" or what is wrong
    bool leave_ = false;
    bool end_ = false;
    std::optional<Moment> live_;
    std::optional<Shown> shown_;
    std::thread worker_;
};

}  // namespace k905
