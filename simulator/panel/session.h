// A session: how an instrument was at each power-on, and everything that then came from outside with its
// virtual time. Run again it does the same to the last byte, so every moment of it can be reached.
//
// The file has one JSON object a line: {"power_on": {"seed", "bits", "start", "files", "gone"}} for each
// start, written by the bench, then {"at_us", "request"} for each input, written by the instrument as it
// takes effect; "control" tells people what of the screen a touch met.
#pragma once

#include <cstdint>
#include <ios>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace k905 {

// The files of an instrument that outlive a power-off: path in the state folder, content.
using StateFiles = std::map<std::string, std::string>;

struct Session {
    struct Input {
        std::int64_t atUs = 0;
        nlohmann::json request;
        std::string control;  // "": none, or it is in the request
    };
    // From a power-on to its end.
    struct Run {  // NOLINT(bugprone-exception-escape): making a null JSON value throws nothing
        unsigned seed = 1;
        unsigned bits = 16;
        nlohmann::json start;  // bench and faults then, or null
        StateFiles files;      // as they were then
        std::vector<Input> inputs;
        bool exact = true;  // false: an input came at a moment that cannot be found again, or was not kept
    };
    std::vector<Run> runs;
};

// Which power-on of a session (0: the first), and microseconds of virtual time since then.
struct Moment {
    std::size_t run = 0;
    std::int64_t us = 0;
    bool operator==(const Moment& other) const { return run == other.run && us == other.us; }
};

// The session in a file that grows: of what was read before only what is new is read.
class SessionFile {
  public:
    explicit SessionFile(std::string path) : path_(std::move(path)) {}

    // As it is now. Throws BenchError that names file and line. A last line without its end was never whole
    // and counts as not written.
    const Session& Read();

  private:
    std::string path_;
    Session session_;
    std::streamoff end_ = 0;  // of the last whole line that was read
    std::string last_;        // that line
    int lines_ = 0;
};

// Throws BenchError when the session has no such run; when a run that is not exact is to be gone through
// again.
const Session::Run& RunOf(const Session& session, std::size_t run);
void MustBeExact(bool exact);

// "SESSION@RUN:SECONDS", runs counted from 1; and back, where the run may be left out (the last) and the
// time, too (the end of what is known). Throws BenchError with what is wrong.
std::string DescribeMoment(const std::string& file, const Moment& moment);
struct MomentOf {
    Session session;
    Moment moment;
};
MomentOf FindMoment(const std::string& text);

constexpr const char* kSessionFile = "session.jsonl";  // in the state folder

// The whole of it, as SessionFile reads it.
Session ReadSession(const std::string& file);

// {"at_us", "request", "control"}, as the file and the page have it.
nlohmann::json Tell(const Session::Input& input);

// The power-on of an instrument in `stateDir`: goes on with the session there, or begins one. Throws
// BenchError when it cannot be written.
void KeepPowerOn(const std::string& stateDir, unsigned seed, unsigned bits, const nlohmann::json& start,
                 bool goOn);

// The session in that folder, if there is one, gives way: it gets the next free name, session-1.jsonl and so
// on. Throws std::filesystem::filesystem_error.
void KeepAside(const std::string& stateDir);

// The first so many runs of the session as a file of their own; with none there is no such file.
void WriteSession(const std::string& file, const Session& session, std::size_t count);

// Puts these files, and none but them, in the place of those in the state folder. Throws BenchError.
void LayOut(const StateFiles& files, const std::string& stateDir);

}  // namespace k905
