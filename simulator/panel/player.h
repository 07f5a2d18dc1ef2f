// An instrument of its own, run forward along a session to any moment of it.
#pragma once

#include "simulator/panel/client.h"
#include "simulator/panel/session.h"

namespace k905 {

class Player {
  public:
    // Switches on as that run of a session began; of `options` it takes where and under what name. What the
    // state folder holds is replaced. Throws BenchError.
    explicit Player(const Session::Run& run, BenchOptions options = BenchOptions());

    // Goes forward to a virtual time since power-on, in microseconds, with all that came until then; inputs
    // of that very microsecond are done. False when the program has ended before it (a power cut, a crash).
    // Throws BenchError for a time that lies behind.
    bool GoTo(std::int64_t us);
    std::int64_t NowUs() const { return nowUs_; }
    // More inputs of the same run: those after the ones that it knows. Throws BenchError if it has fewer.
    void Learn(const Session::Run& run);

    Bench& Instrument() { return *bench_; }
    // The instrument as it stands, for somebody else; the player is of no use then.
    std::unique_ptr<Bench> Take() { return std::move(bench_); }

  private:
    bool AdvanceTo(std::int64_t us);

    std::vector<Session::Input> inputs_;
    std::size_t done_ = 0;
    std::int64_t nowUs_ = 0;
    std::unique_ptr<Bench> bench_;
};

}  // namespace k905
