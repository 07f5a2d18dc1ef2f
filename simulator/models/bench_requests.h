// The requests about the bench: what a person has set on it and what every model makes of it. Answered here
// whether the product runs on the instrument or its power is off, so that a value is taken or refused in the
// same words.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "simulator/models/instrument.h"

namespace k905 {

class BenchRequests {
  public:
    using Json = nlohmann::json;

    // What the instrument's start.json asked for counts as set. `changed` is called after each change.
    BenchRequests(World& world, Instrument& instrument, const Instrument::Options& options,
                  std::function<void()> changed);

    // set, fault, faults, quantities, bench, state, origin.
    static bool Knows(const std::string& what);
    // The reply to one of them. Throws std::invalid_argument when the request itself is wrong. Lock held.
    Json Do(const Json& request);
    // Keeps the bench as it is now where the next start can find it: <stateDir>/bench.json, a start.json.
    // Done by itself after each change; once more at the end keeps what passed since (a ramp). Lock held.
    void Keep() const;

  private:
    Json Set(const Json& request);
    Json Fault(const Json& request);
    Json Faults() const;
    Json Bench(const Json& request);
    Json BenchNow() const;
    std::string Try(const Json& set, const Json& faults) const;
    void Changed() const;

    World& world_;
    Instrument& instrument_;
    const Instrument::Options options_;
    const std::function<void()> changed_;
    Json settings_ = Json::object();  // quantities that somebody has set, by name
};

}  // namespace k905
