// One connection to a running instrument's control socket: a JSON object a line in each direction.
#pragma once

#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace k905 {

// What went wrong, in words for the person at the bench.
struct BenchError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Asked wrongly; and asked rightly, but at a wrong moment.
struct Refused : BenchError {
    using BenchError::BenchError;
};
struct NotNow : BenchError {
    using BenchError::BenchError;
};
// By whoever was asked, who may have ended.
struct ConnectionClosed : BenchError {
    using BenchError::BenchError;
};

// Whether an instrument listens at the unix socket `path`.
bool SomebodyAnswers(const std::string& path);

class ControlClient {
  public:
    // Connects to the unix socket at `path`. Throws BenchError when nobody listens there.
    explicit ControlClient(const std::string& path);
    ~ControlClient();
    ControlClient(const ControlClient&) = delete;
    ControlClient& operator=(const ControlClient&) = delete;

    // One request, one reply, whatever it says. Throws BenchError when the connection breaks, when no reply
    // comes within `timeoutSeconds` of real time (the connection is of no use then), or when the reply is not
    // a JSON object with a true or false "ok". Callable from several threads, one request at a time.
    nlohmann::json Ask(const nlohmann::json& request, int timeoutSeconds = 300);
    // The same, but a refused request throws too.
    nlohmann::json Request(const nlohmann::json& request, int timeoutSeconds = 300);
    // Several requests sent at once, so that nothing comes between them; their replies in the same order.
    std::vector<nlohmann::json> AskAll(const std::vector<nlohmann::json>& requests, int timeoutSeconds = 300);

  private:
    void Send(const std::string& line);
    std::string Receive(int timeoutSeconds);
    template <typename Error = BenchError>
    [[noreturn]] void Fail(const std::string& what);

    std::mutex mutex_;
    int fd_ = -1;
    std::string path_;
    std::string received_;
};

}  // namespace k905
