// The transport of the front panel: HTTP and WebSocket at the loopback address, nothing of the instrument.
// One thread moves all bytes and never waits for anybody; requests are answered by worker threads.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace k905 {

struct WebRequest {
    std::string method;  // "GET", "POST"
    std::string path;    // with what follows it
    std::string type;    // Content-Type
    std::string body;
};

struct WebRefusal {
    int status = 0;  // of HTTP; 0: nothing is refused
    std::string error;
};

struct WebReply {
    int status = 200;
    std::string type = "application/json";
    std::string body;
};

// What one open page is sent. Called by the serving thread only.
class LiveFeed {
  public:
    virtual ~LiveFeed() = default;
    // The next message; false: nothing now. Asked for only when the one before has gone out, so nothing piles
    // up for a page that does not read.
    virtual bool Next(std::string& message, bool& binary) = 0;
    // A message from the page. False: it is none of ours, and the page is cut off.
    virtual bool Received(const std::string& message) = 0;
};

// What is served.
class WebSite {
  public:
    virtual ~WebSite() = default;
    // Called by worker threads, several at a time; may take long.
    virtual WebReply Serve(const WebRequest& request) = 0;
    // The reply to what the transport refuses by itself.
    virtual WebReply Refuse(int status, const std::string& error) = 0;
    // The rest by the serving thread: a page has come; and, while there is one, every few milliseconds
    // (kLookMs).
    virtual std::unique_ptr<LiveFeed> Open() = 0;
    virtual void Look() = 0;
};

class WebServer {
  public:
    static constexpr std::size_t kLargestBody = 64 * 1024;
    static constexpr std::size_t kLargestHeader = 8 * 1024;
    static constexpr std::size_t kLargestLiveMessage = 4 * 1024;
    static constexpr int kMostConnections = 96, kMostLive = 24;
    static constexpr int kLookMs = 8;  // the screen is looked at twice a frame
    static constexpr const char* kLivePath = "/live";

    // `silence`: a page that does not even answer pings for so long is cut off.
    explicit WebServer(WebSite& site, std::chrono::milliseconds silence);
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    // Binds 127.0.0.1, `port` or the next free one of `attempts`; 0: any. Returns the port, 0 when there is
    // none.
    int Bind(int port, int attempts);
    // Serves until Stop, which another thread calls once, at any time. Replies under way are dropped then;
    // the destructor waits for the worker threads.
    void Serve();
    void Stop();
    // Has a worker thread do it, unless the server stops. For the serving thread, which must not wait.
    void Work(std::function<void()> work);

    struct Parts;

  private:
    std::unique_ptr<Parts> parts_;
};

// What becomes of the first request of a client that sends these bytes and nothing more: the server at `port`
// comes to the same, piece by piece.
struct WebDecision {
    bool taken = false;  // else refused, or, with a refusal of status 0, left alone
    bool live = false;   // taken as an open page
    WebRefusal refusal;
    WebRequest request;
};
WebDecision DecideOn(const std::string& bytes, int port);

}  // namespace k905
