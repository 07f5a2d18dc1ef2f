#include <signal.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <thread>

#include "simulator/panel/commands.h"
#include "simulator/panel/last_panel.h"
#include "simulator/panel/panel_past.h"

namespace k905 {

namespace {

constexpr long kLookNs = 50'000'000;  // how often fct's end and the wish for a restart are looked for

// Lets `k905 ctl` find it from each start to its end, and tells of that.
void Announce(PanelBench& instrument, unsigned& announced) {
    const PanelInstrument::Status status = instrument.GetStatus();
    const unsigned run = status.running ? status.run : 0;
    if (run == announced)
        return;
    announced = run;
    if (run != 0)
        return RememberPanel(instrument.StateDir());
    ForgetPanel(instrument.StateDir());
    std::printf("%s\n", status.how.c_str());
    for (const std::string& line : status.lines)
        std::printf("  %s\n", line.c_str());
    std::fflush(stdout);
}

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
    bench.stateDir = options.state;
    bench.speed = options.speed;
    bench.seed = options.seed;
    bench.bits = options.bits;
    std::unique_ptr<PanelBench> made;
    if (options.at.empty()) {
        made = std::make_unique<PanelBench>(bench);
    } else {
        const MomentOf found = FindMoment(options.at);
        made = std::make_unique<PanelBench>(bench, found.session, found.moment);
    }
    PanelBench& instrument = *made;
    unsigned announced = 0;
    Announce(instrument, announced);
    PanelPast withPast(instrument);
    PanelServer server(withPast);
    const int port = server.Bind(options.port);
    std::printf("The instrument is at http://127.0.0.1:%d/ (Ctrl-C ends it)\n", port);
    std::fflush(stdout);

    std::thread serving([&server] { server.Serve(); });
    const timespec pause = {0, kLookNs};
    while (sigtimedwait(&ends, nullptr, &pause) < 0) {
        instrument.Watch();
        Announce(instrument, announced);
        withPast.Watch();
    }
    withPast.End();
    server.Stop();
    serving.join();
    ForgetPanel(instrument.StateDir());
    instrument.End();
    return 0;
}

}  // namespace k905
