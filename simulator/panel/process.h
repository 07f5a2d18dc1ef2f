// A program started on behalf of this one: never outlives it, its output kept in a file, its end explained.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace k905 {

// How a process ended, or that it has not.
struct Ending {
    bool running = true;
    int status = 0;  // exit status, while `signal` is 0
    int signal = 0;  // the signal that ended it
    // "still runs", "ended with exit status 0", "crashed (Segmentation fault, signal 11)".
    std::string Describe() const;
};

class Process {
  public:
    // Starts `program` without arguments, standard output and error appended to `log`, standard input empty,
    // with this process's environment changed by `environment`. The kernel kills it when the thread that
    // called this ends, so call from a thread that lives as long as the process is wanted. Throws BenchError.
    Process(const std::string& program, const std::string& log,
            const std::map<std::string, std::string>& environment);
    // Kills what still runs.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t Pid() const { return pid_; }
    // Never blocks.
    const Ending& Poll();
    // Waits up to `seconds` of real time.
    const Ending& Wait(double seconds);
    void Kill();

  private:
    pid_t pid_ = -1;
    Ending ending_;
};

// The last lines of a text file, at most `count`; none when it cannot be read.
std::vector<std::string> LastLines(const std::string& file, unsigned count);

}  // namespace k905
