// The past of an instrument: any moment of its session, on another instrument that is run forward to it. A
// few run along some way behind, so that a step back is short; behind a moment that is shown, too.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
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
    using Lock = std::unique_lock<std::mutex>;
    struct Follower {
        std::size_t run = 0;
        std::unique_ptr<Player> player;
        bool moves = false;  // a thread has it in hand
    };
    using Followers = std::vector<Follower>;  // the place in it tells how far behind

    void MakeMoments();
    void FollowMoments();
    void Make(const Moment& moment);
    void Keep(Follower one);
    void Hold(Lock& guard);
    bool FollowOnce(Lock& guard, Followers& followers, Moment now);
    bool Move(Follower& follower, std::int64_t target);
    void Prepare(Follower& follower);

    std::mutex sessionMutex_;
    SessionFile session_;

    std::mutex mutex_;  // guards what follows; a player that moves is its thread's
    std::condition_variable wake_;
    std::condition_variable done_;
    Followers followers_;
    Followers behindShown_;
    Follower shownPlayer_;
    bool hold_ = false;  // those behind a moment stand still
    std::optional<Moment> wanted_;
    std::optional<std::exception_ptr> result_;  // of what was wanted; null: it is there
    bool leave_ = false;
    bool end_ = false;
    std::optional<Moment> live_;
    std::optional<Moment> coming_;                   // shown, or about to be
    std::chrono::steady_clock::time_point settled_;  // when those behind it may go there
    std::optional<Shown> shown_;

    // A program ends with the thread that started it: these last as long as any.
    std::thread maker_;
    std::thread follower_;
};

}  // namespace k905
