// What the front panel's web server serves: the page, the live screen and console, the control interface over
// HTTP, and the files of the instrument. Serves this machine only.
#pragma once

#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "simulator/panel/frame_log.h"
#include "simulator/panel/page_holds.h"
#include "simulator/panel/session.h"
#include "simulator/panel/web_server.h"

namespace k905 {

// What the server shows and drives. Called from several threads.
class PanelInstrument {
  public:
    struct Status {
        unsigned run = 0;  // how often fct has been started
        bool running = false;
        std::string how;                  // how fct ended, in words; empty while it runs
        std::vector<std::string> lines;   // the last lines that it wrote
        std::optional<Moment> past = {};  // what is shown instead of it
        bool operator==(const Status& other) const {
            return run == other.run && running == other.running && how == other.how && lines == other.lines &&
                   past == other.past;
        }
    };
    virtual ~PanelInstrument() = default;
    virtual Status GetStatus() = 0;
    // One request of the control interface and its reply. Throws BenchError, Refused, NotNow.
    virtual nlohmann::json Ask(const nlohmann::json& request) = 0;
    // Lets `frames` take the screen as it is now; nothing when there is none. Quick.
    virtual void Look(FrameLog& frames) = 0;
    // The folder of the instrument that runs or ran last.
    virtual std::string StateDir() = 0;
};

class PanelServer final : private WebSite {
  public:
    static constexpr std::size_t kLargestBody = WebServer::kLargestBody;

    static constexpr std::chrono::milliseconds kSilence = std::chrono::seconds(20);

    // A page that gives no sign of life for `silence` is cut off.
    explicit PanelServer(PanelInstrument& instrument, std::chrono::milliseconds silence = kSilence);

    // Binds 127.0.0.1, `port` or the next free one of `attempts`; 0: any. Returns the port. Throws
    // BenchError.
    int Bind(int port, int attempts = 20);
    // Serves until Stop, which another thread calls once, at any time from here on.
    void Serve() { server_.Serve(); }
    void Stop() { server_.Stop(); }

  private:
    friend class PageFeed;

    WebReply Serve(const WebRequest& request) override;
    WebReply Refuse(int status, const std::string& error) override;
    std::unique_ptr<LiveFeed> Open() override;
    void Look() override;

    WebReply ServeApi(const WebRequest& request);
    void UpdateStatus();
    void PageGone(unsigned page);
    void LetGo(const std::vector<nlohmann::json>& releases);

    PanelInstrument& instrument_;
    PageHolds holds_;
    FrameLog frames_;  // this and what follows: the serving thread's
    PanelInstrument::Status status_;
    std::string stateDir_;
    unsigned statusNumber_ = 0;
    unsigned looks_ = 0;
    WebServer server_;
};

}  // namespace k905
