#include "simulator/panel/rewind.h"

#include <algorithm>
#include <utility>

namespace k905 {

namespace {

using Clock = std::chrono::steady_clock;

// How far behind, in virtual time: the instrument itself; a moment that is shown (the first of them).
constexpr std::int64_t kBehindUs[] = {3'000'000, 30'000'000, 300'000'000};
constexpr std::size_t kBehindShown = 2;
constexpr auto kLookEvery = std::chrono::seconds(1);
// Between two goes of those that are not there yet: while the instrument runs, which needs a processor too;
// while it stands still for a moment that is shown.
constexpr auto kPause = std::chrono::milliseconds(200);
constexpr auto kBreath = std::chrono::milliseconds(10);
// Who goes from moment to moment is not held up.
constexpr auto kSettled = std::chrono::milliseconds(400);
// Of real time, at most, for each of them at a time: whoever wants a moment does not wait for longer.
constexpr auto kFollowFor = std::chrono::milliseconds(50);
constexpr std::int64_t kFollowStepUs = 10'000'000;

}  // namespace

Rewind::Rewind(const std::string& stateDir)
    : session_(stateDir + "/" + kSessionFile), followers_(std::size(kBehindUs)), behindShown_(kBehindShown) {
    worker_ = std::thread([this] { Work(); });
}

Rewind::~Rewind() {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        end_ = true;
    }
    wake_.notify_all();
    worker_.join();
}

void Rewind::Show(const Moment& moment) {
    std::unique_lock<std::mutex> guard(mutex_);
    done_.wait(guard, [this] { return !wanted_; });  // one at a time
    wanted_ = moment;
    result_.reset();
    wake_.notify_all();
    done_.wait(guard, [this] { return result_.has_value(); });
    const std::string wrong = *result_;
    wanted_.reset();
    done_.notify_all();
    if (!wrong.empty())
        throw BenchError(wrong);
}

void Rewind::Leave() {
    const std::lock_guard<std::mutex> guard(mutex_);
    shown_.reset();
    leave_ = true;
    wake_.notify_all();
}

void Rewind::Follow(const Moment& now) {
    const std::lock_guard<std::mutex> guard(mutex_);
    live_ = now;
}

std::optional<Rewind::Shown> Rewind::Now() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return shown_;
}

void Rewind::Work() {
    const auto called = [this] { return end_ || leave_ || (wanted_ && !result_); };
    std::unique_lock<std::mutex> guard(mutex_);
    while (!end_) {
        if (wanted_ && !result_) {
            const Moment moment = *wanted_;
            guard.unlock();
            std::string wrong;
            try {
                Make(moment);
            } catch (const std::exception& error) {
                wrong = error.what();
            }
            guard.lock();
            result_ = wrong;
            done_.notify_all();
            wake_.wait_for(guard, kSettled, called);
            continue;
        }
        if (leave_) {
            leave_ = false;
            Keep(std::move(shownPlayer_));
            for (Follower& follower : std::exchange(behindShown_, std::vector<Follower>(kBehindShown)))
                Keep(std::move(follower));
        }
        auto pause = std::chrono::milliseconds(kLookEvery);
        if (shown_ || live_) {
            const Moment now = shown_ ? shown_->moment : *live_;
            std::vector<Follower>& followers = shown_ ? behindShown_ : followers_;
            guard.unlock();
            if (!FollowBehind(now, followers))
                pause = &followers == &followers_ ? kPause : kBreath;
            guard.lock();
        }
        wake_.wait_for(guard, pause, called);
    }
    guard.unlock();
    followers_.clear();
    behindShown_.clear();
    shownPlayer_ = {};
}

const Session::Run& Rewind::RunOf(const Moment& moment) {
    return k905::RunOf(session_.Read(), moment.run);
}

// The one that stands nearest before it goes there; else a new one from the beginning.
void Rewind::Make(const Moment& moment) {
    const Session::Run& run = RunOf(moment);
    MustBeExact(run.exact);
    Follower* nearest = nullptr;
    const auto consider = [&](Follower& follower) {
        if (follower.player && follower.run == moment.run && follower.player->NowUs() <= moment.us &&
            (nearest == nullptr || follower.player->NowUs() > nearest->player->NowUs()))
            nearest = &follower;
    };
    std::for_each(followers_.begin(), followers_.end(), consider);
    std::for_each(behindShown_.begin(), behindShown_.end(), consider);
    consider(shownPlayer_);
    Follower goes =
        nearest != nullptr ? std::move(*nearest) : Follower{moment.run, std::make_unique<Player>(run)};
    if (nearest == &shownPlayer_) {  // until it has arrived it is nowhere
        const std::lock_guard<std::mutex> guard(mutex_);
        shown_.reset();
    }
    goes.player->Learn(run);
    if (!goes.player->GoTo(moment.us))
        throw Refused("the instrument was switched off before that moment");
    Bench& bench = goes.player->Instrument();
    auto screen = std::make_shared<ScreenView>(bench.Pid(), run.bits);
    const std::lock_guard<std::mutex> guard(mutex_);
    shown_ = Shown{moment, bench.StateDir(), std::move(screen)};
    if (live_ && live_->run == moment.run)  // which has been there
        live_->us = std::max(live_->us, moment.us);
    Keep(std::exchange(shownPlayer_, std::move(goes)));
}

// One that is not needed any more follows the instrument, where it stands nearer than who follows so far.
// Lock held.
void Rewind::Keep(Follower one) {
    for (Follower& follower : followers_) {
        if (!one.player || !live_ || one.run != live_->run || one.player->NowUs() > live_->us)
            return;
        if (!follower.player || follower.run != one.run || follower.player->NowUs() < one.player->NowUs())
            std::swap(follower, one);
    }
}

// The nearest first. Whether they are all where they should be.
bool Rewind::FollowBehind(const Moment& now, std::vector<Follower>& followers) {
    bool thereAll = true;
    for (std::size_t i = 0; i < followers.size() && thereAll; ++i)
        try {
            Follower& follower = followers[i];
            // One that has gone too far is of no use any more.
            if (follower.player && (follower.run != now.run || follower.player->NowUs() > now.us))
                follower = {};
            const std::int64_t target = now.us - kBehindUs[i];
            if (target <= 0)
                continue;
            const Session::Run& run = RunOf(now);
            if (!follower.player)
                follower = {now.run, std::make_unique<Player>(run)};
            follower.player->Learn(run);
            const auto until = Clock::now() + kFollowFor;
            while (follower.player->NowUs() < target && Clock::now() < until)
                if (!follower.player->GoTo(std::min(target, follower.player->NowUs() + kFollowStepUs)))
                    break;
            thereAll = follower.player->NowUs() >= target;
        } catch (const std::exception&) {
            followers[i] = {};  // whoever wants a moment of this session is told why there is none
        }
    return thereAll;
}

}  // namespace k905
