// The bench: the unmodified `fct` started on a virtual instrument, and everything a person or a test does
// with it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "simulator/interpose/screen_controls.h"
#include "simulator/interpose/screen_text.h"
#include "simulator/panel/control_client.h"
#include "simulator/panel/process.h"
#include "simulator/panel/screen_view.h"
#include "simulator/panel/session.h"
#include "simulator/panel/state_folder.h"

namespace k905 {

// What a build folder holds for the simulator.
struct BuildFolder {
    std::string program;  // fct
    std::string preload;  // libk905.so
    std::string app;      // font, bitmaps and FPGA images
    // The build folder that the running program lies in (its bin/ is beside lib/ and app/fct).
    static BuildFolder OfThisProgram();
};

struct BenchOptions {
    std::string stateDir;  // empty: a temporary folder, removed at the end
    bool keepState = false;
    bool stepped = true;  // else paced
    double speed = 0;  // live: virtual seconds in a real one; 0, stepped only: time moves as it is asked for
    unsigned seed = 1;
    unsigned bits = 16;    // framebuffer depth: 16, 24 or 32
    nlohmann::json start;  // {"set": {...}, "faults": {...}} in force before the product's first instruction
    std::optional<StateFiles> files;  // memories and media in place of those in the state folder
    bool sameSession = false;         // stepped: goes on with the session in the state folder
    BuildFolder build = BuildFolder::OfThisProgram();
    std::map<std::string, std::string> environment;  // more of it
};

class Bench {
  public:
    // Starts fct and connects. In stepped mode the product then stands at its first instruction. Throws
    // BenchError that tells what is missing, or how fct ended with the last lines it wrote. The thread that
    // makes a Bench must live as long as it does.
    explicit Bench(const BenchOptions& options = BenchOptions());
    // Kills what still runs; removes the state folder when it is a temporary one that nobody asked to keep.
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    const std::string& StateDir() const { return folder_.Path(); }
    std::string ControlSocket() const { return StateDir() + "/control.sock"; }
    pid_t Pid() const { return process_->Pid(); }

    // One request of the control protocol. A connection that breaks is reported as what it means: how fct
    // ended, and its last lines. Request also throws when the instrument refuses.
    nlohmann::json Ask(const nlohmann::json& request);
    nlohmann::json Request(const nlohmann::json& request);

    // Shorthands. Times are virtual milliseconds; the Until functions return whether it came about within the
    // limit.
    std::int64_t NowUs();
    void Advance(int ms);
    bool UntilText(const std::string& text, int limitMs);
    bool UntilIdle(int idleMs, int limitMs);
    bool UntilExit(int limitMs);
    void Tap(int x, int y);  // press and release 150 ms later; returns at once
    // The same on a control of the shown screen, by its name. Throws BenchError that names those it has.
    void Touch(const std::string& control);
    void Key(const std::string& name, const std::string& action);
    void Set(const std::string& quantity, const nlohmann::json& value);
    void Fault(const std::string& name, const nlohmann::json& value);

    // What the screen shows now: text runs; controls; the texts as lines "x,y text" for messages to people;
    // its pixels; a PNG file.
    std::vector<TextRun> Texts();
    std::vector<ScreenControl> Controls();
    std::string Describe();
    Picture Screen();
    void Screenshot(const std::string& path);
    // Standard output and error of fct so far.
    std::string Console() const;

    const Ending& Status() { return process_->Poll(); }
    // SIGTERM, then the product runs to its end; killed when it has not ended after `seconds` of real time.
    // Where asked for, *tookUs is the virtual time from the signal to the end, -1 when that cannot be told.
    const Ending& Stop(double seconds = 20, std::int64_t* tookUs = nullptr);
    // What Stop left of the hardware, as "state" tells it; null when it could not be told any more.
    const nlohmann::json& LeftBehind() const { return leftBehind_; }
    // The calls that were counted up to that end, as "calls" tells them; null when none were.
    const nlohmann::json& LastCalls() const { return lastCalls_; }
    void Kill() { process_->Kill(); }
    // Copies the session so far into that folder. Returns its present moment as `k905 panel --at` takes it;
    // "" when there is none to be had.
    std::string KeepSession(const std::string& folder);
    // "fct crashed (...); its last lines: ...".
    std::string DescribeEnding();

  private:
    void PrepareState(const BenchOptions& options);
    void Connect(const BenchOptions& options);
    bool Until(nlohmann::json condition, int limitMs);

    StateFolder folder_;
    nlohmann::json leftBehind_;
    nlohmann::json lastCalls_;
    std::unique_ptr<Process> process_;
    std::unique_ptr<ControlClient> control_;
    std::unique_ptr<ScreenView> screen_;
};

// Whether `text` stands in one of the runs.
bool Shows(const std::vector<TextRun>& runs, const std::string& text);

}  // namespace k905
