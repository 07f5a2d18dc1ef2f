#include "tests/sweeps/session.h"

#include "simulator/panel/control_client.h"

namespace k905::sweeps {

namespace {

constexpr const char* kStartIcon = "MainBoard_FCT";
constexpr int kStartMs = 2500;  // from power-on to the start screen at rest
constexpr int kHeldMs = 120;    // after the touch and before its end
constexpr int kLongestMs = 3'600'000;

}  // namespace

bool Session::Has(const std::string& control) {
    for (const ScreenControl& one : bench_.Controls())
        if (one.name == control && one.x >= 0)
            return true;
    return false;
}

void Session::WaitForStart() {
    bench_.Advance(kStartMs);
    if (!Has(kStartIcon))
        throw BenchError("the start screen does not come");
}

void Session::Open(const std::string& control) {
    bench_.Touch(control);
    bench_.UntilIdle(600, kLongestMs);
}

// The control may come a moment later: a screen change that failed is tried again.
bool Session::Touch(const std::string& control) {
    for (int tries = 0; tries < 5; ++tries) {
        if (Has(control)) {
            bench_.Touch(control);
            return true;
        }
        bench_.Advance(1000);
    }
    return false;
}

// Calls so far, by function and place.
std::map<std::string, unsigned long> Session::Calls() {
    std::map<std::string, unsigned long> calls;
    const nlohmann::json counted = bench_.Request({{"do", "calls"}});
    for (const nlohmann::json& function : counted.at("functions"))
        for (const nlohmann::json& caller : function.at("callers"))
            calls[function.at("function").get<std::string>() + caller.at("caller").get<std::string>()] =
                caller.at("count");
    return calls;
}

void Session::Try(const std::string& control, int idleMs) {
    tried_ = true;
    bench_.Touch(control);
    bench_.Advance(kHeldMs);
    const auto before = Calls();
    bench_.UntilIdle(idleMs, kLongestMs);
    for (const auto& [place, count] : Calls())
        if (before.count(place) == 0)
            work_.insert(place);
}

// Whether more of the calls have been made that only this control's work makes.
bool Session::Worked(const std::map<std::string, unsigned long>& before) {
    for (const auto& [place, count] : Calls()) {
        const auto found = before.find(place);
        if (work_.count(place) != 0 && (found == before.end() || count > found->second))
            return true;
    }
    return false;
}

void Session::Do(const std::string& control, int idleMs) {
    for (int tries = 0; tries < 2; ++tries) {
        const auto calls = work_.empty() ? std::map<std::string, unsigned long>() : Calls();
        const Picture before = bench_.Screen();
        if (!Touch(control)) {
            missed_.push_back(control);
            return;
        }
        bench_.Advance(kHeldMs);
        const Picture held = bench_.Screen();
        bench_.UntilIdle(idleMs, kLongestMs);
        const Picture after = bench_.Screen();
        // What still looks as before, or as under the finger, has not been let go in the program's eyes.
        const bool moved = after.bytes != before.bytes && after.bytes != held.bytes;
        if (work_.empty() ? moved : Worked(calls))
            break;
        if (tried_ && tries == 1) {
            begun_ = false;  // what stands there is of the time before
            return;
        }
    }
    Look();
}

void Session::Look() {
    for (const TextRun& run : bench_.Texts())
        seen_.insert(run.text);
}

bool Session::GoHome() {
    for (int tries = 0; tries < 40; ++tries) {  // a check that still runs holds it up
        if (Has(kStartIcon))
            return true;
        if (Has("Back"))
            bench_.Touch("Back");
        bench_.Advance(2000);
    }
    return false;
}

}  // namespace k905::sweeps
