#include "tests/sweeps/failing_calls.h"

#include <signal.h>

#include <algorithm>

#include "simulator/panel/control_client.h"
#include "tests/support/module_rest.h"
#include "tests/sweeps/ending.h"

namespace k905::sweeps {

namespace {

// Not the functions whose failure passes by its nature: a thread that has not ended yet, a lock that is held,
// a signal that has come; sigaction fails by its arguments only.
bool CanLast(const std::string& function) {
    for (const char* passing : {"pthread_tryjoin_np", "pthread_mutex_trylock", "nanosleep", "sigaction"})
        if (function == passing)
            return false;
    return true;
}

// Texts by which the program tells that something went wrong.
bool TellsOfAFailure(const std::string& text) {
    for (const char* word :
         {"rror", "ERROR", "ail", "F.  TP", "not OK", "not measured", "NO SDcard", "Time Out", "time out",
          "times out", "bad", "Can not", "times0", "No PowerDev", "Reopen"})
        if (text.find(word) != std::string::npos)
            return true;
    return false;
}

// A verdict, and not a reading that differs from run to run.
bool IsVerdict(const std::string& text) {
    for (const char* word : {"OK", "uccess", "good", "over"})
        if (text.find(word) != std::string::npos)
            return true;
    return false;
}

// Without its figures, which noise changes.
std::string Plain(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char c) { return isdigit(c) != 0; }),
               text.end());
    return text;
}

// To where a call is to fail.
void Reach(const Script& script, Session& session) {
    script.reach(session);
    if (!script.turnsBad.is_null())
        session.At().Request(script.turnsBad);
}

void Compare(const Script& script, const GoodRun& good, const Session& session, Outcome& outcome) {
    std::set<std::string> plain;
    bool told = false;
    for (const std::string& text : session.Seen()) {
        plain.insert(Plain(text));
        told = told || (good.seen.count(text) == 0 && TellsOfAFailure(text));
        if (IsFalse(script, text))
            outcome.findings.push_back("false verdict: " + text);
    }
    for (const std::string& text : good.seen)
        if (IsVerdict(text) && plain.count(Plain(text)) == 0)
            outcome.lost.push_back(text);
    outcome.kind = told                   ? Outcome::kTold
                   : !session.Begun()     ? Outcome::kUndone
                   : outcome.lost.empty() ? Outcome::kSame
                                          : Outcome::kOther;
    if (told)
        outcome.lost.clear();
}

}  // namespace

std::string Failure::Describe() const {
    return function + " in " + (in.empty() ? "any function" : in + " (" + caller + ")") + ", call " +
           std::to_string(call) + (times == 0 ? " and all later ones" : "");
}

GoodRun RunGood(const Script& script) {
    GoodRun good;
    Session session;
    session.At().Request({{"do", "calls"}, {"action", "start"}});
    Reach(script, session);
    const nlohmann::json before = session.At().Request({{"do", "calls"}});
    std::map<std::string, unsigned long> reached;
    for (const nlohmann::json& function : before.at("functions"))
        for (const nlohmann::json& caller : function.at("callers"))
            reached[function.at("function").get<std::string>() + caller.at("caller").get<std::string>()] =
                caller.at("count");
    script.use(session);
    if (!session.Missed().empty() || !session.GoHome())
        throw BenchError(std::string(script.name) + " cannot be done on a good instrument" +
                         (session.Missed().empty() ? "" : ", for want of " + session.Missed()[0]) + ":\n" +
                         session.At().Describe());
    if (!session.Begun())
        throw BenchError(std::string(script.name) + ": nothing tells that its check was done again");
    double seconds = 0;
    for (const std::string& wrong : End(session.At(), &seconds))
        throw BenchError(std::string(script.name) + ", with all calls good: " + wrong);
    const nlohmann::json& calls = session.At().LastCalls();
    for (const nlohmann::json& function : calls.at("functions")) {
        if (!function.at("can_fail").get<bool>())
            continue;
        for (const nlohmann::json& caller : function.at("callers")) {
            GoodRun::Place place = {function.at("function"), caller.at("caller"), caller.at("in"),
                                    caller.at("count")};
            const auto found = reached.find(place.function + place.caller);
            place.calls -= found == reached.end() ? 0 : found->second;
            if (place.calls > 0)
                good.places.push_back(place);
        }
    }
    good.held = Held(calls);
    good.unrest = ModuleUnrest(session.At().LeftBehind());
    good.seen = session.Seen();
    return good;
}

Outcome RunFailing(const Script& script, const GoodRun& good, const Failure& failure) {
    Outcome outcome;
    Session session;
    Bench& bench = session.At();
    try {
        bench.Request({{"do", "calls"}, {"action", "start"}});
        Reach(script, session);
        bench.Request({{"do", "fail_call"},
                       {"function", failure.function},
                       {"caller", failure.caller},
                       {"call", failure.call},
                       {"times", failure.times}});
        script.use(session);
        const bool home = session.GoHome();
        // A failure that lasts may take away what leaving needs; one that has passed may not, unless the
        // program said at its start that it has no screen, touch panel or window thread.
        const bool dark = bench.Console().find("InitializeGUI failed") != std::string::npos;
        if (failure.times != 0 && !dark && (!home || !session.Missed().empty()))
            outcome.findings.push_back(home ? "missing: " + session.Missed()[0]
                                            : "no way back to the start screen");
    } catch (const BenchError& error) {
        // The program may end by itself, as long as it does so in order and says why.
        if (bench.Status().running) {
            outcome.findings.push_back(error.what());
        } else if (bench.Status().signal != 0 || bench.Console().find("failed") == std::string::npos) {
            outcome.findings.push_back(bench.DescribeEnding());
        }
        outcome.kind = Outcome::kEnded;
        if (!bench.Status().running)
            return outcome;
    }
    std::vector<std::string> ending = End(bench, &outcome.endSeconds);
    // Without its handler the signal itself ends the program.
    if (failure.function == "sigaction" && bench.Status().signal == SIGTERM)
        ending.clear();
    for (std::string& wrong : ending)
        outcome.findings.push_back(std::move(wrong));
    const nlohmann::json& calls = bench.LastCalls();
    if (!calls.is_object())
        return outcome;
    for (const auto& [thing, count] : Held(calls)) {
        const auto found = good.held.find(thing);
        if (count > (found == good.held.end() ? 0 : found->second))
            outcome.findings.push_back("left at the end: " + std::to_string(count) + " " + thing);
    }
    // A driver that refuses everything from now on cannot be put to rest.
    const bool deaf = failure.function == "ioctl" && failure.times == 0;
    const std::string restless = deaf ? "" : ModuleUnrest(bench.LeftBehind());
    if (restless != (restless.empty() ? "" : good.unrest))
        outcome.findings.push_back("module not at rest: " + restless);
    Compare(script, good, session, outcome);
    if (calls.at("failed").is_null())
        outcome.kind = Outcome::kNotReached;
    return outcome;
}

std::vector<Failure> PlanFailures(const GoodRun& good, unsigned long all) {
    std::vector<Failure> plan;
    for (const GoodRun::Place& place : good.places) {
        std::set<unsigned long> chosen = {1, 2, 3, place.calls};
        for (unsigned long i = 0; i < all; ++i)
            chosen.insert(place.calls <= all ? i + 1 : 1 + i * (place.calls - 1) / all);
        for (const unsigned long call : chosen)
            if (call <= place.calls)
                plan.push_back({place.function, place.caller, place.in, call, 1});
        if (CanLast(place.function))
            plan.push_back({place.function, place.caller, place.in, 1, 0});
    }
    return plan;
}

}  // namespace k905::sweeps
