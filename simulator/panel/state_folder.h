// The folder in which an instrument keeps its state: one that somebody named, or one for a while.
#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>

namespace k905 {

class StateFolder {
  public:
    // `wanted`, made if missing; empty: a temporary one that goes away with this object, unless it is to be
    // kept. Throws BenchError.
    explicit StateFolder(const std::string& wanted, bool keep = false);
    ~StateFolder();
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    const std::string& Path() const { return path_; }
    // To be held while files are made in any folder, up to RunBy.
    [[nodiscard]] static std::unique_lock<std::recursive_mutex> Fill();
    // Who runs there; 0: nobody. Of a temporary folder any object with its path may tell.
    void RunBy(pid_t pid) const;

  private:
    std::string path_;
    bool temporary_;
};

// From here on SIGINT, SIGTERM and SIGHUP end the program with nothing left behind: what runs in temporary
// state folders is killed, the folders removed. To be called before the first thread is started.
void LeaveNothingBehindOnSignals();

}  // namespace k905
