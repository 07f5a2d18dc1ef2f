#include "simulator/interpose/control_server.h"

#include <fcntl.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <stdexcept>

#include "simulator/interpose/signals.h"

namespace k905 {

ControlServer::ControlServer(Machine& machine)
    : machine_(machine),
      controller_(machine),
      path_(machine.Configuration().instrument.stateDir + "/control.sock"),
      event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    Listen();
}

// A socket's name holds 107 characters; a longer path is reached through a descriptor of its folder.
void ControlServer::Listen() {
    unlink(path_.c_str());
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::string name = path_;
    int folder = -1;
    if (name.size() >= sizeof address.sun_path) {
        folder = Real().open(machine_.Configuration().instrument.stateDir.c_str(),
                             O_PATH | O_DIRECTORY | O_CLOEXEC);
        name = "/proc/self/fd/" + std::to_string(folder) + "/control.sock";
    }
    memcpy(address.sun_path, name.c_str(), name.size() + 1);
    listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool listens = listener_ >= 0 && event_ >= 0 &&
                         bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                         listen(listener_, 16) == 0;
    if (folder >= 0)
        Real().close(folder);
    if (!listens)
        throw std::runtime_error("cannot listen at " + path_ + ": " + strerror(errno));
}

void ControlServer::Start() {
    SetOutsideSignalEvent(event_);
    if (machine_.SteppedRun() != nullptr)
        machine_.SteppedRun()->OnFrozen([this] {
            controller_.StandsStill();
            Poke();
        });
    else
        machine_.onTimerSet = [this] { Poke(); };
    // The product's signals are the product's: this thread takes none.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread = 0;
    const int result = Real().pthread_create(
        &thread, nullptr,
        [](void* server) -> void* {
            static_cast<ControlServer*>(server)->Run();
            return nullptr;
        },
        this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (result != 0)
        throw std::runtime_error("cannot start the control thread");
    Real().pthread_detach(thread);
}

void ControlServer::Poke() const {
    const std::uint64_t one = 1;
    Real().write(event_, &one, sizeof one);
}

void ControlServer::End() {
    __atomic_store_n(&ending_, true, __ATOMIC_RELEASE);
    Poke();
    ended_.TakeFor(1'000'000'000);
}

void ControlServer::Run() {
    Inside inside;
    while (!__atomic_load_n(&ending_, __ATOMIC_ACQUIRE)) {
        Wait();
        controller_.DeliverOutsideSignals();
        ReplyAll(controller_.Proceed());
        DropGone();
    }
    ReplyAll(controller_.ProductEnded());
    Shut();
    ended_.Give();
}

// Until a client, the product or the clock wants something; then serves the clients.
void ControlServer::Wait() {
    std::vector<pollfd> polls = {{listener_, POLLIN, 0}, {event_, POLLIN, 0}};
    std::vector<int> numbers;
    for (const auto& [number, client] : clients_) {
        const bool writes = !client.output.empty();
        polls.push_back({client.fd, static_cast<short>(POLLIN | (writes ? POLLOUT : 0)), 0});
        numbers.push_back(number);
    }
    const std::int64_t pause = controller_.Pause();
    timespec timeout = {};
    timeout.tv_sec = static_cast<time_t>(pause / 1'000'000'000);
    timeout.tv_nsec = static_cast<long>(pause % 1'000'000'000);
    ppoll(polls.data(), polls.size(), &timeout, nullptr);
    std::uint64_t count = 0;
    Real().read(event_, &count, sizeof count);
    if ((polls[0].revents & POLLIN) != 0)
        Accept();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        Client& client = clients_[numbers[i]];
        if ((polls[i + 2].revents & POLLOUT) != 0)
            Send(client);
        if ((polls[i + 2].revents & (POLLIN | POLLHUP | POLLERR)) != 0)
            Receive(numbers[i], client);
    }
}

void ControlServer::Accept() {
    const int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd >= 0)
        clients_[nextClient_++].fd = fd;
}

void ControlServer::Receive(int number, Client& client) {
    char buffer[16 * 1024];
    for (;;) {
        const ssize_t count = Real().read(client.fd, buffer, sizeof buffer);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count <= 0) {
            client.dropped = true;
            client.output.clear();
            return;
        }
        if (client.dropped)
            continue;
        client.input.append(buffer, static_cast<std::size_t>(count));
        for (std::size_t end = 0; (end = client.input.find('\n')) != std::string::npos;) {
            const std::string line = client.input.substr(0, end);
            client.input.erase(0, end + 1);
            DoLine(number, client, line);
        }
        if (client.input.size() > kLongestRequest) {
            Reply(number, {{"ok", false}, {"error", "the request is too long"}});
            client.dropped = true;
        }
    }
}

void ControlServer::DoLine(int number, Client& client, const std::string& line) {
    if (line.find_first_not_of(" \t\r") == std::string::npos)
        return;
    if (line.size() > kLongestRequest) {
        Reply(number, {{"ok", false}, {"error", "the request is too long"}});
        return;
    }
    const Controller::Json request = Controller::Json::parse(line, nullptr, false);
    if (request.is_discarded()) {
        Reply(number, {{"ok", false}, {"error", "the request is not JSON"}});
        return;
    }
    const auto reply = controller_.Do(number, request);
    if (reply)
        Reply(number, *reply);
    const auto after = controller_.TakeAfterReply();
    if (after) {
        Send(client);
        after();
    }
}

void ControlServer::Reply(int number, const Controller::Json& reply) {
    const auto found = clients_.find(number);
    if (found == clients_.end() || found->second.fd < 0)
        return;
    Client& client = found->second;
    client.output += reply.dump(-1, ' ', false, Controller::Json::error_handler_t::replace) + "\n";
    if (client.output.size() > kLongestBacklog) {  // a client that asks and never reads
        client.output.clear();
        client.dropped = true;
    }
    Send(client);
}

void ControlServer::ReplyAll(const std::vector<std::pair<int, Controller::Json>>& replies) {
    for (const auto& [number, reply] : replies)
        Reply(number, reply);
}

void ControlServer::Send(Client& client) {
    while (!client.output.empty()) {
        const ssize_t count = send(client.fd, client.output.data(), client.output.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return;
        if (count <= 0) {
            client.dropped = true;
            client.output.clear();
            return;
        }
        client.output.erase(0, static_cast<std::size_t>(count));
    }
}

void ControlServer::DropGone() {
    for (auto client = clients_.begin(); client != clients_.end();) {
        if (client->second.dropped && client->second.output.empty()) {
            controller_.ClientGone(client->first);
            Real().close(client->second.fd);
            client = clients_.erase(client);
        } else {
            ++client;
        }
    }
}

void ControlServer::Shut() {
    for (auto& [number, client] : clients_) {
        Send(client);
        Real().close(client.fd);
    }
    clients_.clear();
    Real().close(listener_);
    unlink(path_.c_str());
}

}  // namespace k905
