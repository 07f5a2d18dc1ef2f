// The instrument while its power is off: its models on the state folder, with nothing that runs on them. What
// the bench is told meanwhile is in force at the next start.
#pragma once

#include "simulator/models/bench_requests.h"
#include "simulator/models/still_world.h"
#include "simulator/panel/client.h"

namespace k905 {

class InstrumentOff {
  public:
    // `bench`: {"set": {...}, "faults": {...}} as it was left. Nothing else may have the state folder's
    // memories open. Throws std::runtime_error when the folder cannot be had or `bench` is not taken.
    InstrumentOff(const BenchOptions& options, const nlohmann::json& bench);

    // What needs no power: the bench itself, and an expectation of memories and models, which is looked at
    // once.
    static bool Answers(const nlohmann::json& request);
    // One of these, refused in the words of a running instrument.
    nlohmann::json Ask(const nlohmann::json& request);

  private:
    StillWorld world_;
    const Instrument::Options options_;
    Instrument instrument_;
    BenchRequests requests_;
};

}  // namespace k905
