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
        enum class Kind { kAdvance, kText, kIdle, kExit } kind = Kind::kAdvance;
        Micros begin = 0;
        Micros limit = 0;
        Micros nextLook = 0;
        std::string text;
        Micros idle = 0;
        Micros lastChange = 0;
        ScreenCopy screen;  // as it was at the last look (kIdle)
    };

    Json Hello();
    Json Key(const Json& request);
    Json Knob(const Json& request);
    Json Touch(const Json& request);
    std::optional<Json> Advance(int client, const Json& request);
    std::optional<Json> Until(int client, const Json& request);
    Json Screenshot(const Json& request);
    Json Text(const Json& request);
    Json Controls();
    Json Bench(const Json& request);
    Json Samples();
    Json Speed(const Json& request);
    Json Trace(const Json& request);
    Json History();
    Json Threads();
    Json Calls(const Json& request);
    Json FailCall(const Json& request);
    Json Stop();
    Json PowerCut();

    bool Settle();
    void Record(const Json& request, bool settled);

    bool IsMet(Motion& motion);
    bool Shows(const std::string& text);
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
    LiveTime live_;  // stepped only
    ParkingPlace still_;
    ScreenCopy screen_;  // of a look that is over: the next one copies only what differs
    std::function<void()> afterReply_;
    std::uint64_t progress_ = 0;
    std::int64_t progressSince_ = 0;
};

}  // namespace k905
