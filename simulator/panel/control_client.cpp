#include "simulator/panel/control_client.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <nlohmann/json.hpp>

namespace k905 {

namespace {

// A reply longer than this is not one: the largest, a read trace, stays far below.
constexpr std::size_t kLongestReply = std::size_t{1} << 30;

}  // namespace

bool SomebodyAnswers(const std::string& path) {
    try {
        ControlClient probe(path);
        return true;
    } catch (const BenchError&) {
        return false;
    }
}

ControlClient::ControlClient(const std::string& path) : path_(path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw BenchError(path + ": the path is too long for a socket (" + std::to_string(path.size()) +
                         " of " + std::to_string(sizeof address.sun_path - 1) + " bytes)");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0)
        throw BenchError(std::string("no socket: ") + std::strerror(errno));
    if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        close(fd_);
        throw BenchError(path + ": no instrument answers here (its power is off, or there is none): " +
                         std::strerror(error));
    }
}

ControlClient::~ControlClient() {
    if (fd_ >= 0)
        close(fd_);
}

template <typename Error>
void ControlClient::Fail(const std::string& what) {
    close(fd_);
    fd_ = -1;
    throw Error(path_ + ": " + what);
}

void ControlClient::Send(const std::string& line) {
    for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t n = send(fd_, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            Fail<ConnectionClosed>(std::string("the instrument has closed the connection: ") +
                                   std::strerror(errno));
        sent += static_cast<std::size_t>(n);
    }
}

std::string ControlClient::Receive(int timeoutSeconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    std::size_t searched = 0;
    for (;;) {
        const std::size_t end = received_.find('\n', searched);
        if (end != std::string::npos) {
            std::string line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return line;
        }
        searched = received_.size();
        if (searched > kLongestReply)
            Fail("the reply has no end");

        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd waiting = {fd_, POLLIN, 0};
        const int ready = left.count() > 0 ? poll(&waiting, 1, static_cast<int>(left.count())) : 0;
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            Fail("no reply within " + std::to_string(timeoutSeconds) + " s");
        char block[65536];
        const ssize_t n = recv(fd_, block, sizeof block, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            Fail<ConnectionClosed>("the instrument has closed the connection");
        received_.append(block, static_cast<std::size_t>(n));
    }
}

std::vector<nlohmann::json> ControlClient::AskAll(const std::vector<nlohmann::json>& requests,
                                                  int timeoutSeconds) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (fd_ < 0)
        throw ConnectionClosed(path_ + ": the connection has been lost");
    std::string lines;
    for (const nlohmann::json& request : requests)
        lines += request.dump() + '\n';
    Send(lines);
    std::vector<nlohmann::json> replies;
    while (replies.size() < requests.size()) {
        const std::string line = Receive(timeoutSeconds);
        const nlohmann::json reply = nlohmann::json::parse(line, nullptr, false);
        if (!reply.is_object() || !reply.contains("ok") || !reply["ok"].is_boolean())
            Fail("not a reply: " + line.substr(0, 200));
        replies.push_back(reply);
    }
    return replies;
}

nlohmann::json ControlClient::Ask(const nlohmann::json& request, int timeoutSeconds) {
    return AskAll({request}, timeoutSeconds)[0];
}

nlohmann::json ControlClient::Request(const nlohmann::json& request, int timeoutSeconds) {
    nlohmann::json reply = Ask(request, timeoutSeconds);
    if (!reply["ok"].get<bool>())
        throw BenchError(request.dump() +
                         " was refused: " + reply.value("error", std::string("no reason given")));
    return reply;
}

}  // namespace k905
