// What the clients of the control socket can ask for, and how it is done.
#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "simulator/interpose/live_time.h"
#include "simulator/interpose/machine.h"
#include "simulator/interpose/parking_place.h"
#include "simulator/interpose/screen_image.h"
#include "simulator/interpose/screen_text.h"
#include "simulator/models/bench_requests.h"
#include "simulator/models/expectation.h"

namespace k905 {

class Controller {
  public:
    using Json = nlohmann::json;

    explicit Controller(Machine& machine);

    // Does one request of a client (a number of the server's own). The reply, or nothing when it comes later,
    // from Proceed. Never throws: what is wrong with a request is told in its reply.
    std::optional<Json> Do(int client, const Json& request);

    // The world has come to stand still. From any thread, with the lock held; then call Proceed.
    void StandsStill() { still_.Give(); }
    // Goes on with requests that take time, and with time itself while it is live; call when the world has
    // come to stand still, and as often as Pause tells. Replies that are now due, with the client each is
    // for.
    std::vector<std::pair<int, Json>> Proceed();
    // Real nanoseconds after which Proceed is to be called again, at most one second.
    std::int64_t Pause();

    // Replies to all who still wait when the product has ended.
    std::vector<std::pair<int, Json>> ProductEnded();
    // Forgets what a client waits for.
    void ClientGone(int client);

    // To be done once the reply to the request before has been sent; null: nothing.
    std::function<void()> TakeAfterReply() { return std::exchange(afterReply_, nullptr); }

    // SIGTERM or another signal has come from outside the simulator.
    void DeliverOutsideSignals();

  private:
    // A request under way: time passes until its condition is met or its limit is reached.
    struct Motion {
        int client = -1;
        enum class Kind { kAdvance, kExpect, kIdle, kExit } kind = Kind::kAdvance;
        Micros begin = 0;
        Micros limit = 0;
        Micros nextLook = 0;
        std::shared_ptr<const Expectation> expectation;
        bool tells = false;  // what was expected and found
        Micros idle = 0;
        Micros lastChange = 0;
        ScreenCopy screen;  // as it was at the last look (kIdle)
    };

    // A text that is looked for again and again, whatever else goes on: since when it stands on the screen.
    struct Watched {
        TextRun run;
        std::string ink;  // as InkOf tells it
        Micros every = 0;
        bool shown = false;
        Micros since = 0, before = -1;  // first look that saw it, last one that did not (-1: none)
        int thread = -1;                // that ran before it was seen
    };

    Json Hello();
    Json Key(const Json& request);
    Json Knob(const Json& request);
    Json Touch(const Json& request);
    std::optional<Json> Advance(int client, const Json& request);
    std::optional<Json> Until(int client, const Json& request);
    std::optional<Json> Expect(int client, const Json& request);
    Json Screenshot(const Json& request);
    Json Text(const Json& request);
    Json Controls();
    Json Bench(const Json& request);
    Json Samples(const Json& request);
    Json Speed(const Json& request);
    Json Trace(const Json& request);
    Json History();
    Json Watch(const Json& request);
    void LookAtWatched();
    void WatchOn();
    std::string InkOf(const TextRun& run) const;
    Json Threads();
    Json Calls(const Json& request);
    Json FailCall(const Json& request);
    Json Stop();
    Json PowerCut();

    bool Settle();
    void Record(const Json& request, const std::string& control, bool settled);

    bool IsMet(Motion& motion);
    std::optional<Json> Begin(Motion motion, const Json& request);
    Expectation::Texts TextsFor(const Expectation& expectation);
    ScreenReader& Reader();
    std::vector<TextRun> ReadScreen();
    Json MotionReply(const Motion& motion, bool met);
    std::vector<std::pair<int, Json>> FinishMotions();
    std::set<int> TraceThreads(const Json& wanted) const;
    void Terminate(int signal);

    Machine& machine_;
    BenchRequests bench_;
    std::unique_ptr<ScreenReader> reader_;
    std::vector<Motion> motions_;
    std::optional<Watched> watched_;  // stepped only
    unsigned watches_ = 0;            // begun and ended: an older one's timer does nothing
    LiveTime live_;                   // stepped only
    ParkingPlace still_;
    ScreenCopy screen_;  // of a look that is over: the next one copies only what differs
    std::function<void()> afterReply_;
    bool kept_ = true;  // every input is in the session's file
    std::uint64_t progress_ = 0;
    std::int64_t progressSince_ = 0;
};

}  // namespace k905
