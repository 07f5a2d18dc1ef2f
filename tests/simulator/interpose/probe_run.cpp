#include "tests/simulator/interpose/probe_run.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace test {

namespace {

constexpr auto kPatience = std::chrono::seconds(60);

int Connect(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return fd;
    close(fd);
    return -1;
}

std::string WholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

TemporaryFolder::TemporaryFolder()
    : path_((std::filesystem::temp_directory_path() / "k905-probe-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary folder");
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Control::Control(const std::string& stateDir) : fd_(Connect(stateDir + "/control.sock")) {}

Control::~Control() {
    if (fd_ >= 0)
        close(fd_);
}

void Control::Send(const std::string& bytes) {
    std::size_t at = 0;
    while (at < bytes.size()) {
        const ssize_t count = send(fd_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
        if (count <= 0)
            return;
        at += static_cast<std::size_t>(count);
    }
}

Json Control::Receive() {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        const std::size_t line = input_.find('\n');
        if (line != std::string::npos) {
            const Json reply = Json::parse(input_.substr(0, line));
            input_.erase(0, line + 1);
            return reply;
        }
        pollfd poll = {fd_, POLLIN, 0};
        if (::poll(&poll, 1, 1000) < 0 || std::chrono::steady_clock::now() > end)
            return Json::object();
        if (poll.revents == 0)
            continue;
        char buffer[4096];
        const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
        if (count <= 0)
            return Json::object();
        input_.append(buffer, static_cast<std::size_t>(count));
    }
}

Json Control::AskLine(const std::string& line) {
    Send(line + "\n");
    return Receive();
}

ProbeRun::ProbeRun(const std::string& name, const std::string& mode, const Options& options)
    : stateDir_(options.stateDir) {
    if (stateDir_.empty())
        stateDir_ = temporary_.emplace().Path();
    const std::string program = std::string(K905_BINARY_DIR) + "/bin/probe_" + name;
    const std::string output = stateDir_ + "/console.log";
    std::vector<std::string> words = {program};
    words.insert(words.end(), options.arguments.begin(), options.arguments.end());
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setenv("LD_PRELOAD", K905_PRELOAD, 1);
        setenv("K905_STATE", stateDir_.c_str(), 1);
        setenv("K905_MODE", mode.c_str(), 1);
        setenv("K905_APP", K905_BINARY_DIR "/app/fct", 1);
        // The sanitizer's library comes after this one; it is all the same to both.
        setenv("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0", 1);
        for (const auto& [key, value] : options.environment)
            setenv(key.c_str(), value.c_str(), 1);
        const int fd = open(output.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
        dup2(fd, STDOUT_FILENO);
        dup2(fd, STDERR_FILENO);
        execv(program.c_str(), arguments.data());
        _exit(127);
    }
    const auto end = std::chrono::steady_clock::now() + kPatience;
    do {
        control_ = std::make_unique<Control>(stateDir_);
        if (control_->Connected() || waitpid(pid_, &status_, WNOHANG) == pid_)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    } while (std::chrono::steady_clock::now() < end);
    if (!control_->Connected())
        throw std::runtime_error("the probe did not start: " + WholeFile(output));
}

ProbeRun::~ProbeRun() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

int ProbeRun::Wait() {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (pid_ > 0 && std::chrono::steady_clock::now() < end) {
        if (waitpid(pid_, &status_, WNOHANG) == pid_) {
            pid_ = -1;
            return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return -1;
}

int ProbeRun::Finish() {
    Ask({{"do", "until"}, {"exit", true}, {"limit_ms", 10'000'000}});
    return Wait();
}

std::vector<std::string> ProbeRun::Lines() const {
    std::istringstream text(WholeFile(stateDir_ + "/console.log"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> ProbeRun::LinesWhenThereAre(std::size_t count) const {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (Lines().size() < count && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return Lines();
}

std::string ProbeRun::ReadFile(const std::string& pathInState) const {
    return WholeFile(stateDir_ + "/" + pathInState);
}

LoadGenerator::LoadGenerator() {
    for (unsigned i = 0; i < std::max(2u, std::thread::hardware_concurrency()) * 2; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (volatile unsigned long spin = 0;; spin = spin + 1) {
            }
        }
        children_.push_back(child);
    }
}

LoadGenerator::~LoadGenerator() {
    for (const pid_t child : children_) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

}  // namespace test
