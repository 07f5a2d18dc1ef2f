// A person's work on a stepped instrument on which one call fails: everything is tried as a person would, and
// what does not come about is written down instead of ending the test.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "simulator/panel/client.h"

namespace k905::sweeps {

class Session {
  public:
    explicit Session(const BenchOptions& options = {}) : bench_(options) {}

    Bench& At() { return bench_; }

    // The way to where the work begins, before any call fails. Throws BenchError when it is not found.
    void WaitForStart();
    void Open(const std::string& control);

    // The same, remembering the calls that are made for this control only, after it was let go: they tell
    // later whether its work has begun.
    void Try(const std::string& control, int idleMs);

    // Touches a control and waits until the screen has been still for so long; when nothing came of the
    // touch, as a failed call may have swallowed it, once more. Then looks at the screen, where the work has
    // begun.
    void Do(const std::string& control, int idleMs = 8000);
    void Look();
    // From wherever the person is now, by way of Back. False when the start screen cannot be reached.
    bool GoHome();

    // Of all looks: what was on the screen.
    const std::set<std::string>& Seen() const { return seen_; }
    // What could not be done: a control that was wanted is not there.
    const std::vector<std::string>& Missed() const { return missed_; }
    // Whether all of the work was begun: no control was missing, the one of Try has worked again.
    bool Begun() const { return missed_.empty() && begun_; }

  private:
    bool Has(const std::string& control);
    bool Touch(const std::string& control);
    std::map<std::string, unsigned long> Calls();
    bool Worked(const std::map<std::string, unsigned long>& before);

    Bench bench_;
    std::set<std::string> seen_;
    std::vector<std::string> missed_;
    bool tried_ = false, begun_ = true;
    std::set<std::string> work_;  // places that only the control of Try makes call; none: its looks must tell
};

}  // namespace k905::sweeps
