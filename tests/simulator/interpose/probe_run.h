// A probe program under the preload library: starts it, talks to its control socket, and waits for its end.
#pragma once

#include <sys/types.h>

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace test {

using Json = nlohmann::json;

// A fresh folder, removed with all that is in it.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return path_; }

  private:
    std::string path_;
};

// A connection to a control socket. Every reply is awaited for 60 s of real time at most; an empty object
// means that the other side has closed, or that the time was up.
class Control {
  public:
    explicit Control(const std::string& stateDir);
    ~Control();
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    bool Connected() const { return fd_ >= 0; }
    Json Ask(const Json& request) { return AskLine(request.dump()); }
    Json AskLine(const std::string& line);
    void Send(const std::string& bytes);
    Json Receive();

  private:
    int fd_ = -1;
    std::string input_;
};

class ProbeRun {
  public:
    struct Options {
        std::vector<std::string> arguments;
        std::map<std::string, std::string> environment;
        std::string stateDir;  // default: fresh, removed at the end
    };

    // Starts bin/probe_<name>. `mode` is "paced" or "stepped".
    ProbeRun(const std::string& name, const std::string& mode) : ProbeRun(name, mode, Options()) {}
    ProbeRun(const std::string& name, const std::string& mode, const Options& options);
    ~ProbeRun();
    ProbeRun(const ProbeRun&) = delete;
    ProbeRun& operator=(const ProbeRun&) = delete;

    const std::string& StateDir() const { return stateDir_; }
    pid_t Pid() const { return pid_; }
    Control& Client() { return *control_; }
    Json Ask(const Json& request) { return control_->Ask(request); }

    // Lets the probe run to its end (stepped) and waits for it, for 60 s of real time at most. Its exit
    // status, 128 + the signal that ended it, or -1 when it still runs.
    int Finish();
    int Wait();
    // What it has written to standard output so far, line by line.
    std::vector<std::string> Lines() const;
    // The same once there are as many as that, or after 60 s of real time (paced: threads run when the host
    // lets them).
    std::vector<std::string> LinesWhenThereAre(std::size_t count) const;
    std::string ReadFile(const std::string& pathInState) const;

  private:
    std::string stateDir_;
    std::optional<TemporaryFolder> temporary_;
    pid_t pid_ = -1;
    int status_ = -1;
    std::unique_ptr<Control> control_;
};

// Keeps every core of the machine busy while it lives.
class LoadGenerator {
  public:
    LoadGenerator();
    ~LoadGenerator();
    LoadGenerator(const LoadGenerator&) = delete;
    LoadGenerator& operator=(const LoadGenerator&) = delete;

  private:
    std::vector<pid_t> children_;
};

}  // namespace test
