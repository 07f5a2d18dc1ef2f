#include "simulator/panel/state_folder.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <thread>

#include "simulator/panel/control_client.h"

namespace fs = std::filesystem;

namespace k905 {

namespace {

// Held while somebody makes files in a folder, so that they are all there when it is removed, and for good by
// who ends the program. What it guards: temporary folders, and who runs in each.
std::recursive_mutex temporaryLock;
std::map<std::string, pid_t>& Temporary() {
    static std::map<std::string, pid_t> folders;
    return folders;
}

}  // namespace

StateFolder::StateFolder(const std::string& wanted, bool keep)
    : path_(wanted), temporary_(wanted.empty() && !keep) {
    if (path_.empty()) {
        path_ = fs::absolute(fs::temp_directory_path() / "k905-XXXXXX").string();
        if (mkdtemp(path_.data()) == nullptr)
            throw BenchError(path_ + ": cannot be made: " + std::strerror(errno));
        if (temporary_) {
            const std::lock_guard<std::recursive_mutex> guard(temporaryLock);
            Temporary()[path_] = 0;
        }
        return;
    }
    path_ = fs::absolute(path_);
    std::error_code error;
    fs::create_directories(path_, error);
    if (error)
        throw BenchError(path_ + ": cannot be made: " + error.message());
}

StateFolder::~StateFolder() {
    if (!temporary_)
        return;
    const std::lock_guard<std::recursive_mutex> guard(temporaryLock);
    Temporary().erase(path_);
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::unique_lock<std::recursive_mutex> StateFolder::Fill() {
    return std::unique_lock<std::recursive_mutex>(temporaryLock);
}

void StateFolder::RunBy(pid_t pid) const {
    const std::lock_guard<std::recursive_mutex> guard(temporaryLock);
    const auto found = Temporary().find(path_);
    if (found != Temporary().end())
        found->second = pid;
}

void LeaveNothingBehindOnSignals() {
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ends, signal);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    std::thread([ends] {
        int signal = 0;
        sigwait(&ends, &signal);
        temporaryLock.lock();  // nobody else begins or ends an instrument any more
        for (const auto& [folder, pid] : Temporary()) {
            siginfo_t gone = {};
            if (pid != 0 && kill(pid, SIGKILL) == 0)
                waitid(P_PID, static_cast<id_t>(pid), &gone, WEXITED | WNOWAIT);
            std::error_code ignored;
            fs::remove_all(folder, ignored);
        }
        ::signal(signal, SIG_DFL);
        pthread_sigmask(SIG_UNBLOCK, &ends, nullptr);
        raise(signal);
    }).detach();
}

}  // namespace k905
