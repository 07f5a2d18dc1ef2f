#include <signal.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <thread>

#include "simulator/panel/commands.h"
#include "simulator/panel/last_panel.h"
#include "simulator/panel/panel_server.h"

namespace k905 {

namespace {

constexpr double kStopSeconds = 5;
constexpr unsigned kShownLines = 20;
constexpr long kLookNs = 50'000'000;  // how often fct's end and the wish for a restart are looked for

// The instrument behind the page. It is started, watched and restarted by one thread (Look), asked by the
// server's.
class PanelBench final : public PanelInstrument {
  public:
    explicit PanelBench(const BenchOptions& options) : options_(options) { Start(); }

    Status GetStatus() override {
        const std::lock_guard<std::mutex> guard(mutex_);
        return status_;
    }
    void Restart() override {
        const std::lock_guard<std::mutex> guard(mutex_);
        restart_ = true;
    }
    nlohmann::json Ask(const nlohmann::json& request) override {
        std::string socket;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            if (!status_.running)
                throw BenchError(status_.how);
            socket = stateDir_ + "/control.sock";
        }
        return ControlClient(socket).Ask(
            request);  // a connection of its own: a long wait holds up nobody else
    }
    bool Screen(Picture& picture) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!screen_)
            return false;
        picture = screen_->Grab();
        return true;
    }
    std::string StateDir() override {
        const std::lock_guard<std::mutex> guard(mutex_);
        return stateDir_;
    }

    // Sees whether fct has ended, and starts it again when that is wished.
    void Look() {
        bool restart = false;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            std::swap(restart, restart_);
        }
        if (restart) {
            End();
            Start();
        } else if (bench_ && !bench_->Status().running && GetStatus().running) {
            SetEnded("fct " + bench_->Status().Describe());
            std::printf("%s\n", bench_->DescribeEnding().c_str());
            std::fflush(stdout);
        }
    }
    void End() {
        if (!bench_)
            return;
        SetEnded("fct is being ended");
        bench_->Stop(kStopSeconds);
        bench_.reset();
    }

  private:
    void Start() {
        std::unique_ptr<ScreenView> screen;
        try {
            bench_ = std::make_unique<Bench>(options_);
            screen = std::make_unique<ScreenView>(bench_->Pid(), options_.bits);
        } catch (const BenchError& error) {
            if (stateDir_.empty())
                throw;  // never ran: the launcher's problem, not the page's
            SetEnded(error.what());
            return;
        }
        const std::lock_guard<std::mutex> guard(mutex_);
        screen_ = std::move(screen);
        stateDir_ = bench_->StateDir();
        status_ = {true, "", {}};
        RememberPanel(stateDir_);
    }
    void SetEnded(const std::string& how) {
        const std::vector<std::string> lines =
            bench_ ? LastLines(bench_->StateDir() + "/console.log", kShownLines) : std::vector<std::string>();
        const std::lock_guard<std::mutex> guard(mutex_);
        status_ = {false, how, lines};
        ForgetPanel(stateDir_);
    }

    BenchOptions options_;
    std::unique_ptr<Bench> bench_;
    std::mutex mutex_;  // guards what follows
    std::unique_ptr<ScreenView> screen_;
    std::string stateDir_;
    Status status_;
    bool restart_ = false;
};

}  // namespace

int RunPanelCommand(const CommandOptions& options) {
    // Blocked before the first thread exists: from then on only the loop below sees them.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    signal(SIGPIPE, SIG_IGN);

    BenchOptions bench;
    bench.stepped = false;
    bench.stateDir = options.state;
    bench.speed = options.speed;
    bench.seed = options.seed;
    bench.bits = options.bits;
    PanelBench instrument(bench);
    PanelServer server(instrument);
    const int port = server.Bind(options.port);
    std::printf("The instrument is at http://127.0.0.1:%d/ (Ctrl-C ends it)\n", port);
    std::fflush(stdout);

    std::thread serving([&server] { server.Serve(); });
    const timespec pause = {0, kLookNs};
    while (sigtimedwait(&ends, nullptr, &pause) < 0)
        instrument.Look();
    server.Stop();
    serving.join();
    instrument.End();
    return 0;
}

}  // namespace k905
