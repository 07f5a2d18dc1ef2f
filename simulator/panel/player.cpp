#include "simulator/panel/player.h"

namespace k905 {

namespace {

BenchOptions As(const Session::Run& run, BenchOptions options) {
    options.seed = run.seed;
    options.bits = run.bits;
    options.start = run.start;
    options.files = run.files;
    options.stepped = true;
    options.speed = 0;
    return options;
}

}  // namespace

Player::Player(const Session::Run& run, BenchOptions options)
    : inputs_(run.inputs), bench_(std::make_unique<Bench>(As(run, std::move(options)))) {}

void Player::Learn(const Session::Run& run) {
    inputs_.insert(inputs_.end(), run.inputs.begin() + static_cast<std::ptrdiff_t>(inputs_.size()),
                   run.inputs.end());
}

bool Player::GoTo(std::int64_t us) {
    if (us < nowUs_)
        throw BenchError("the instrument has gone beyond that moment");
    for (; done_ < inputs_.size() && inputs_[done_].atUs <= us; ++done_) {
        if (!AdvanceTo(inputs_[done_].atUs))
            return false;
        const std::string what = inputs_[done_].request["do"];
        bench_->Ask(inputs_[done_].request);
        if (what == "stop" || what == "power_cut")
            return false;
    }
    return AdvanceTo(us);
}

bool Player::AdvanceTo(std::int64_t us) {
    if (us > nowUs_) {
        try {
            nowUs_ = bench_->Request({{"do", "advance"}, {"to_us", us}})["now_us"];
        } catch (const BenchError&) {
            if (!bench_->Status().running)
                return false;
            throw;
        }
    }
    return true;
}

}  // namespace k905
