// An operator in front of a stepped instrument: finds controls by name, waits for what the screen must show.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "simulator/panel/client.h"

namespace k905 {

using Faults = std::map<std::string, nlohmann::json>;

// For the message of a test that has failed: the command that looks at that moment again.
std::string WhereItIs(const std::string& at);

// When a test fails while it is there, the message tells the moment, and the session is kept in
// build/.../sessions.
class Operator {
  public:
    // A fresh instrument at power-on, with these faults from the start.
    explicit Operator(const Faults& faults = {}, unsigned seed = 1);
    explicit Operator(const BenchOptions& options);
    ~Operator();
    Operator(const Operator&) = delete;
    Operator& operator=(const Operator&) = delete;

    Bench& At() { return bench_; }

    // Waits until the text is on the screen; fails the test, with what the screen shows instead, when it is
    // not there within the limit (virtual milliseconds). Returns whether it is.
    bool Sees(const std::string& text, int limitMs = 5000);
    bool SeesNow(const std::string& text) { return Shows(bench_.Texts(), text); }
    // Touches a control and lets go.
    void Press(const std::string& control) { bench_.Touch(control); }
    // Touches a control, waits for the text that it brings, and for rest. Fails the test like Sees.
    bool Go(const std::string& control, const std::string& text);
    // Until the screen has come to rest.
    void Settle() { bench_.UntilIdle(300, 5000); }

    // The ways to where the work is. Each fails the test when it does not get there.
    bool WaitForStart() { return Sees("Welcome to K905_FCT !"); }
    bool OpenMainBoard();
    bool Connect();
    bool OpenKeyCheck();
    // From power-on by way of the optical menu to one of its screens, named by its icon.
    bool OpenModule(const std::string& icon);
    // On the OPM test and OPM adjust screens.
    bool ConnectModule();

  private:
    Bench bench_;
};

}  // namespace k905
