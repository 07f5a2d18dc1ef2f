// The front panel's web server: the page, the live screen, and the control protocol over HTTP. Serves this
// machine only.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulator/panel/screen_view.h"

namespace httplib {
class Server;
struct Request;
struct Response;
class ContentReader;
}  // namespace httplib

namespace k905 {

// What the server shows and drives. Called from several threads.
class PanelInstrument {
  public:
    struct Status {
        bool running = false;
        std::string how;                 // how fct ended, in words; empty while it runs
        std::vector<std::string> lines;  // the last lines that it wrote
    };
    virtual ~PanelInstrument() = default;
    virtual Status GetStatus() = 0;
    // Asks for a fresh start; returns at once, GetStatus tells when it has come about.
    virtual void Restart() = 0;
    // One request of the control protocol and its reply. Throws BenchError.
    virtual nlohmann::json Ask(const nlohmann::json& request) = 0;
    // The screen now; false when there is none.
    virtual bool Screen(Picture& picture) = 0;
    // Where screenshots may be put.
    virtual std::string StateDir() = 0;
};

// Numbers the pictures that the LCD has shown and knows which rows changed since each.
class FrameLog {
  public:
    FrameLog();
    // Takes the picture that is on the screen now.
    void Update(const Picture& picture);
    std::uint64_t Number() const { return number_; }
    struct Change {
        int top = 0, rows = 0;
        std::vector<std::uint8_t> rgba;
    };
    // The rows that differ from frame `since`; all of them when that frame is not known.
    Change Since(std::uint64_t since) const;

  private:
    Picture last_;
    std::uint64_t number_, first_;
    std::vector<std::uint64_t> changedAt_;  // by row
};

class PanelServer {
  public:
    static constexpr std::size_t kLargestBody = 64 * 1024;

    explicit PanelServer(PanelInstrument& instrument);
    ~PanelServer();
    PanelServer(const PanelServer&) = delete;
    PanelServer& operator=(const PanelServer&) = delete;

    // Binds 127.0.0.1, `port` or the next free one of `attempts`; 0: any. Returns the port. Throws
    // BenchError.
    int Bind(int port, int attempts = 20);
    // Serves until Stop, which another thread calls once, at any time from here on.
    void Serve();
    void Stop();

  private:
    bool FromHere(const httplib::Request& request, httplib::Response& response) const;
    void ServePage();
    void ServeScreen(const httplib::Request& request, httplib::Response& response);
    void ServeStatus(httplib::Response& response);
    void ServeApi(const std::string& body, httplib::Response& response);

    PanelInstrument& instrument_;
    std::unique_ptr<httplib::Server> server_;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> served_{false};
    std::mutex framesMutex_;
    FrameLog frames_;
};

}  // namespace k905
