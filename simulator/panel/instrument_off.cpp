#include "simulator/panel/instrument_off.h"

#include <fstream>

#include "simulator/models/expectation.h"
#include "simulator/models/json_values.h"

namespace k905 {

namespace {

// Of the models; with the start.json that they look for.
Instrument::Options Prepared(const BenchOptions& options, const nlohmann::json& bench) {
    std::ofstream(options.stateDir + "/start.json") << bench.dump(2) << '\n';
    Instrument::Options models;
    models.stateDir = options.stateDir;
    models.appDir = options.build.app;
    models.seed = options.seed;
    models.bits = options.bits;
    return models;
}

}  // namespace

InstrumentOff::InstrumentOff(const BenchOptions& options, const nlohmann::json& bench)
    : options_(Prepared(options, bench)),
      instrument_(world_, options_),
      requests_(world_, instrument_, options_, nullptr) {
    requests_.Keep();
}

bool InstrumentOff::Answers(const nlohmann::json& request) {
    return BenchRequests::Knows(request["do"]) ||
           (request["do"] == "expect" && (request.contains("memory") || request.contains("state")));
}

nlohmann::json InstrumentOff::Ask(const nlohmann::json& request) {
    try {
        if (request["do"] == "expect")
            return Look(Expectation(request), instrument_, {});
        nlohmann::json reply = requests_.Do(request);
        if (!reply.contains("ok"))
            reply["ok"] = true;
        return reply;
    } catch (const std::exception& error) {
        return {{"ok", false}, {"error", ReasonOf(error)}};
    }
}

}  // namespace k905
