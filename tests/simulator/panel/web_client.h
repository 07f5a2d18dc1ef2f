// A plain client of the panel's server: requests as they are told, also malformed ones, and a live
// connection.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

namespace k905 {

struct WebResult {
    int status = 0;  // 0: the connection broke
    std::string type;
    std::string body;
    nlohmann::json Json() const { return nlohmann::json::parse(body, nullptr, false); }
};

class WebClient {
  public:
    using Headers = std::map<std::string, std::string>;

    explicit WebClient(int port) : port_(port) {}

    // Each on a connection of its own. A header given replaces the usual one.
    WebResult Get(const std::string& path, const Headers& headers = {}) const;
    WebResult Post(const std::string& path, const std::string& body, const Headers& headers = {}) const;
    // Sends these bytes and reads the reply.
    WebResult Raw(const std::string& bytes) const;
    // Sends them and goes away.
    void Abandon(const std::string& bytes) const;

  private:
    int port_;
};

// An open page's connection.
class LiveClient {
  public:
    // Throws std::runtime_error with what the server replied when it refuses.
    explicit LiveClient(int port, const WebClient::Headers& headers = {});
    ~LiveClient();

    struct Message {
        bool binary = false;
        std::string bytes;  // empty: none came in time, or the connection has ended
    };
    Message Read(std::chrono::milliseconds limit = std::chrono::seconds(10));
    // The next message of that kind: 'L' screen, 'N' and 'C' output, '{' status.
    std::string ReadKind(char kind, std::chrono::milliseconds limit = std::chrono::seconds(10));
    void Send(const std::string& text);
    // Says that the screen message has been drawn.
    void Seen(const std::string& screenMessage);
    // Whether the server has ended the connection, waiting at most `limit`.
    bool Ended(std::chrono::milliseconds limit);
    // Gone without a farewell.
    void Drop();
    // A small receive buffer, so that a server which sends to a client that never reads soon cannot.
    static constexpr int kSmallBuffer = 4096;

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace k905
