// A whole instrument inside a test program: link sim_linked, and while a LinkedInstrument lives, the calls of
// the thread that made it (and of the threads that it makes) go to a virtual K905 of their own.
//
//     k905::LinkedInstrument linked;
//     linked.StartTrace();
//     ASSERT_EQ(0, OPMTestInit());
//     EXPECT_THAT(linked.TraceLines({"reg"}), ElementsAre(...));
//
// Time is virtual and runs without limit: a sleep of the test takes no real time, and the other threads run
// while it lasts (or while the test joins one, or waits for a mutex). The code of the test itself takes no
// time at all.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "simulator/models/instrument.h"

namespace k905 {

class Machine;

class LinkedInstrument {
  public:
    struct Options {
        unsigned seed = 1;
        unsigned bits = 16;    // framebuffer depth
        std::string appDir;    // default: the built assets, <build>/app/fct
        std::string stateDir;  // default: a fresh temporary folder, removed at the end
    };

    LinkedInstrument() : LinkedInstrument(Options()) {}
    explicit LinkedInstrument(const Options& options);
    // Fails the test when a descriptor of the instrument is still open or a thread has not ended.
    ~LinkedInstrument();
    LinkedInstrument(const LinkedInstrument&) = delete;
    LinkedInstrument& operator=(const LinkedInstrument&) = delete;

    // The models. What is changed here is noticed by waiting threads when time goes on.
    Instrument& Hardware();
    const std::string& StateDir() const { return stateDir_; }
    Micros Now() const;

    void StartTrace();
    void ClearTrace();
    // Lines recorded so far, of the kinds given (empty: all), by every thread; repeated ones as "line x3".
    std::vector<std::string> TraceLines(const std::vector<std::string>& kinds = {}) const;

    // Paths of the instrument that are open now, one for each descriptor.
    std::vector<std::string> OpenPaths() const;

  private:
    std::string stateDir_;
    bool temporary_ = false;
    std::unique_ptr<Machine> machine_;
};

}  // namespace k905
