#include "simulator/panel/process.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <fstream>
#include <thread>

#include "simulator/panel/control_client.h"

namespace k905 {

std::string Ending::Describe() const {
    if (running)
        return "still runs";
    if (signal == SIGKILL)
        return "was killed (signal 9)";
    if (signal != 0)
        return std::string("crashed (") + strsignal(signal) + ", signal " + std::to_string(signal) + ")";
    return "ended with exit status " + std::to_string(status);
}

namespace {

std::vector<std::string> ChangedEnvironment(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> entries;
    for (char** entry = environ; *entry != nullptr; ++entry)
        if (changes.count(std::string(*entry, std::strcspn(*entry, "="))) == 0)
            entries.emplace_back(*entry);
    for (const auto& change : changes)
        entries.push_back(change.first + "=" + change.second);
    return entries;
}

// Runs in the child, where only async-signal-safe calls are allowed. Reports a failure's errno through
// `report`.
[[noreturn]] void Become(const char* program, char* const* argv, char* const* envp, int log, pid_t parent,
                         int report) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    signal(SIGINT,
           SIG_IGN);  // Ctrl-C at the terminal is for the launcher, which then ends its child in order
    signal(SIGPIPE, SIG_DFL);
    syscall(SYS_close_range, 3u, ~0u,
            CLOSE_RANGE_CLOEXEC);  // no connection of this process lives on in the child
    const int input = open("/dev/null", O_RDONLY);
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent && input >= 0 &&
        dup2(input, STDIN_FILENO) >= 0 && dup2(log, STDOUT_FILENO) >= 0 && dup2(log, STDERR_FILENO) >= 0)
        execve(program, argv, envp);
    const int error = errno;
    [[maybe_unused]] const ssize_t told = write(report, &error, sizeof error);
    _exit(127);
}

}  // namespace

Process::Process(const std::string& program, const std::string& log,
                 const std::map<std::string, std::string>& environment) {
    std::vector<std::string> entries = ChangedEnvironment(environment);
    std::vector<char*> envp;
    for (std::string& entry : entries)
        envp.push_back(entry.data());
    envp.push_back(nullptr);
    std::string name = program;
    char* argv[] = {name.data(), nullptr};

    const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (output < 0)
        throw BenchError(log + ": cannot be written: " + std::strerror(errno));
    int report[2] = {-1, -1};
    const pid_t parent = getpid();
    pid_ = pipe2(report, O_CLOEXEC) == 0 ? fork() : -1;
    if (pid_ == 0)
        Become(name.c_str(), argv, envp.data(), output, parent, report[1]);

    int error = pid_ < 0 ? errno : 0;
    close(output);
    close(report[1]);
    if (pid_ > 0 && read(report[0], &error, sizeof error) == sizeof error)
        waitpid(pid_, nullptr, 0);
    close(report[0]);
    if (error != 0)
        throw BenchError(program + ": cannot be started: " + std::strerror(error));
}

Process::~Process() {
    Kill();
}

const Ending& Process::Poll() {
    int status = 0;
    if (ending_.running && waitpid(pid_, &status, WNOHANG) == pid_) {
        ending_.running = false;
        ending_.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        ending_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    }
    return ending_;
}

const Ending& Process::Wait(double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (Poll().running && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return ending_;
}

void Process::Kill() {
    if (!Poll().running)
        return;
    kill(pid_, SIGKILL);
    Wait(10);
}

std::vector<std::string> LastLines(const std::string& file, unsigned count) {
    std::ifstream in(file);
    std::deque<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
        if (lines.size() > count)
            lines.pop_front();
    }
    return {lines.begin(), lines.end()};
}

}  // namespace k905
