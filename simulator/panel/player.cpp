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
    if (run.inputs.size() < inputs_.size())
        throw BenchError("the session is another one by now");
    inputs_.insert(inputs_.end(), run.inputs.begin() + static_cast<std::ptrdiff_t>(inputs_.size()),
                   run.inputs.end());
}

bool Player::GoTo(std::int64_t us) {
    if (us < nowUs_)
        throw BenchError("the instrument has gone beyond that moment");
    for (; done_ < inputs_.size() && inputs_[done_].atUs <= us; ++done_) {
        const Session::Input& input = inputs_[done_];
        const std::string what = input.request["do"];
        const bool last = what == "stop" || what == "power_cut";
        if (last && input.atUs == us)
            break;  // there is still something to be seen
        if (!AdvanceTo(input.atUs))
            return false;
        bench_->Ask(input.request);
        if (last)
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
