// `k905 check`: an operator's whole job (main board, then optical module), done by touching the real buttons
// and pressing the real keys of the unmodified fct, and judged by what then stands on the screen.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "simulator/panel/client.h"

namespace k905 {

// What follows a step that passed, beyond reading texts.
enum class Then {
    kNothing,
    kEveryKey,       // every key pressed, the knob turned both ways: their pictures light up and go out
    kCompareRecord,  // the values shown are those of the tuning record that the optic driver holds
};

// One touch of a control, and what a passing instrument then shows. The texts are regular expressions, each
// to be found in one line of text on the screen.
struct CheckStep {
    const char* name;
    const char* control;  // by its name; null: nothing is touched
    std::vector<const char*> shows;

    const char* gone = nullptr;  // plain text that must not be on the screen any more
    std::vector<const char*> hardware =
        {};  // in this order in the hardware trace, for what leaves nothing to read
    std::vector<const char*> bench = {};  // done before the touch: quantity, its value as JSON, ...
    int limitMs = 5000;                   // virtual time
    bool opens = false;                   // another screen: when it does not, the job cannot go on
    Then then = Then::kNothing;

    CheckStep& Gone(const char* text) { return gone = text, *this; }
    CheckStep& Hardware(std::vector<const char*> lines) { return hardware = std::move(lines), *this; }
    CheckStep& With(const char* quantity, const char* value) {
        return bench.insert(bench.end(), {quantity, value}), *this;
    }
    CheckStep& Within(int milliseconds) { return limitMs = milliseconds, *this; }
    CheckStep& Opens() { return opens = true, *this; }
    CheckStep& Followed(Then what) { return then = what, *this; }
};

// The job, from the start screen and back to it; adding a check is adding a row.
enum class CheckJob { kMainBoard, kModule };
const std::vector<CheckStep>& CheckSteps(CheckJob job);

struct CheckResult {
    std::string step;
    std::string seen;    // what was read back
    std::string wrong;   // empty: passed
    double seconds = 0;  // virtual; from the touch until the screen showed it, to 5 % or 0.1 s
    // Where asked for: the texts on the screen then, wrapped ones put together, and what the models held, the
    // JSON that "state" tells.
    std::vector<std::string> texts = {};
    std::string state = {};
    // Of a failed step: where it is looked at again, "SESSION@RUN:SECONDS"; empty: nowhere.
    std::string at = {};
    bool Passed() const { return wrong.empty(); }
};

// Judges a step by the text on the screen and the hardware trace since its control was touched.
CheckResult Judge(const CheckStep& step, const std::vector<TextRun>& runs,
                  const std::vector<std::string>& trace);

struct CheckOptions {
    BenchOptions bench;  // stepped
    std::vector<CheckJob> jobs = {CheckJob::kMainBoard, CheckJob::kModule};
    std::string outDir;      // for the screenshots 01-start.png ...; made if missing; empty: none
    std::string until;       // name of the last step to do; empty: all
    bool withState = false;  // each result with texts and state
};

// Does the job, and calls `report` with each result as it comes. A step that cannot be done at all (a crash,
// a screen that does not open) is a failed result and ends the job. Throws BenchError when the instrument
// cannot be started.
std::vector<CheckResult> RunCheck(const CheckOptions& options,
                                  const std::function<void(const CheckResult&)>& report);

// Whether a step of one of the jobs has this name.
bool IsCheckStep(const std::string& name);

// The texts with those that a label wrapped into several lines put together.
std::vector<TextRun> Paragraphs(const std::vector<TextRun>& runs);

// A result as rows of the table "step | read back from the screen | result", wrapped to its columns.
std::string TableHead(const std::string& step = "step",
                      const std::string& seen = "read back from the screen");
std::string TableRows(const CheckResult& result);
// The same as one line of JSON, for programs: step, passed, seen, wrong, seconds, texts, state.
std::string JsonRow(const CheckResult& result);

}  // namespace k905
