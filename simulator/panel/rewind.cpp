#include "simulator/panel/rewind.h"

#include <algorithm>
#include <utility>

namespace k905 {

namespace {

using Clock = std::chrono::steady_clock;

// How far behind the instrument itself, or a moment that is shown, in virtual time.
constexpr std::int64_t kBehindUs[] = {3'000'000, 30'000'000, 300'000'000};
constexpr auto kLookEvery = std::chrono::seconds(1);
// Between two goes behind the instrument itself, which needs a processor too.
constexpr auto kPause = std::chrono::milliseconds(200);
// Who goes from moment to moment at once is not held up by those that go behind each.
constexpr auto kSettles = std::chrono::milliseconds(100);
// Of real time, at most, for each of them at a time: whoever wants a moment does not wait for longer.
constexpr auto kFollowFor = std::chrono::milliseconds(50);
constexpr std::int64_t kFollowStepUs = 10'000'000;

}  // namespace

Rewind::Rewind(const std::string& stateDir)
    : session_(stateDir + "/" + kSessionFile),
      followers_(std::size(kBehindUs)),
      behindShown_(std::size(kBehindUs)) {
    maker_ = std::thread([this] { MakeMoments(); });
    follower_ = std::thread([this] { FollowMoments(); });
}

Rewind::~Rewind() {
    {
        const Lock guard(mutex_);
        end_ = true;
    }
    wake_.notify_all();
    maker_.join();
    follower_.join();
}

void Rewind::Show(const Moment& moment) {
    Lock guard(mutex_);
    done_.wait(guard, [this] { return !wanted_; });  // one at a time
    wanted_ = moment;
    result_.reset();
    wake_.notify_all();
    done_.wait(guard, [this] { return result_.has_value(); });
    const std::exception_ptr wrong = *result_;
    wanted_.reset();
    done_.notify_all();
    if (wrong)
        std::rethrow_exception(wrong);
}

void Rewind::Leave() {
    const Lock guard(mutex_);
    shown_.reset();
    coming_.reset();
    leave_ = true;
    wake_.notify_all();
}

void Rewind::Follow(const Moment& now) {
    const Lock guard(mutex_);
    live_ = now;
}

std::optional<Rewind::Shown> Rewind::Now() {
    const Lock guard(mutex_);
    return shown_;
}

// Moments that are asked for; between them those behind the instrument itself.
void Rewind::MakeMoments() {
    const auto called = [this] { return end_ || leave_ || (wanted_ && !result_); };
    Lock guard(mutex_);
    while (!end_) {
        if (leave_) {
            leave_ = false;
            shown_.reset();  // made since
            coming_.reset();
            Hold(guard);
            Keep(std::exchange(shownPlayer_, {}));
            for (Follower& follower : std::exchange(behindShown_, Followers(std::size(kBehindUs))))
                Keep(std::move(follower));
            hold_ = false;
            continue;
        }
        if (wanted_ && !result_) {
            const Moment moment = *wanted_;
            guard.unlock();
            std::exception_ptr wrong;
            try {
                Make(moment);
            } catch (...) {
                wrong = std::current_exception();
            }
            guard.lock();
            if (wrong)
                coming_ = shown_ ? std::optional(shown_->moment) : std::nullopt;
            result_ = wrong;
            done_.notify_all();
            continue;
        }
        const bool busy = !shown_ && live_ && FollowOnce(guard, followers_, *live_);
        wake_.wait_for(guard, busy ? kPause : kLookEvery, called);
    }
}

// Those behind a moment that is shown, already while it is made.
void Rewind::FollowMoments() {
    Lock guard(mutex_);
    while (!end_)
        if (!hold_ && coming_ && Clock::now() < settled_)
            wake_.wait_until(guard, settled_);
        else if (hold_ || !coming_ || !FollowOnce(guard, behindShown_, *coming_))
            wake_.wait_for(guard, kLookEvery);
}

// It knows the inputs that there are by now; one without a player gets a new one.
void Rewind::Prepare(Follower& follower) {
    const std::lock_guard<std::mutex> guard(sessionMutex_);
    const Session::Run& of = RunOf(session_.Read(), follower.run);
    if (follower.player)
        follower.player->Learn(of);
    else
        follower.player = std::make_unique<Player>(of);
}

// Until nobody moves behind a moment; the caller gives `hold_` back.
void Rewind::Hold(Lock& guard) {
    hold_ = true;
    done_.wait(guard, [this] {
        return std::none_of(behindShown_.begin(), behindShown_.end(),
                            [](const Follower& follower) { return follower.moves; });
    });
}

// The one that stands nearest before it goes there; else a new one from the beginning.
void Rewind::Make(const Moment& moment) {
    {
        const std::lock_guard<std::mutex> guard(sessionMutex_);
        MustBeExact(RunOf(session_.Read(), moment.run).exact);
    }
    Follower goes;
    {
        Lock guard(mutex_);
        Hold(guard);
        Follower* nearest = nullptr;
        const auto consider = [&](Follower& follower) {
            if (follower.player && follower.run == moment.run && follower.player->NowUs() <= moment.us &&
                (nearest == nullptr || follower.player->NowUs() > nearest->player->NowUs()))
                nearest = &follower;
        };
        std::for_each(followers_.begin(), followers_.end(), consider);
        std::for_each(behindShown_.begin(), behindShown_.end(), consider);
        consider(shownPlayer_);
        if (nearest == &shownPlayer_)  // until it has arrived it is nowhere
            shown_.reset();
        if (nearest != nullptr)
            goes = std::exchange(*nearest, {});
        coming_ = moment;
        settled_ = Clock::now() + kSettles;
        hold_ = false;
        wake_.notify_all();
    }
    goes.run = moment.run;
    Prepare(goes);
    if (!goes.player->GoTo(moment.us))
        throw Refused("the instrument was switched off before that moment");
    Bench& bench = goes.player->Instrument();
    auto screen = std::make_shared<ScreenView>(bench.Pid());
    const Lock guard(mutex_);
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

// The nearest that is not where it should be goes on for a while; where there is none, the one from further
// behind does. False: none is left that can.
bool Rewind::FollowOnce(Lock& guard, Followers& followers, Moment now) {
    const auto standsBy = [&](const Follower& follower, std::int64_t us) {
        return follower.player && follower.run == now.run && follower.player->NowUs() <= us;
    };
    for (std::size_t i = 0; i < followers.size(); ++i) {
        Follower& place = followers[i];
        const std::int64_t target = now.us - kBehindUs[i];
        if (target <= 0 || (standsBy(place, now.us) && place.player->NowUs() >= target))
            continue;
        Follower goes = std::exchange(place, {});
        Follower useless;
        if (!standsBy(goes, target)) {  // it has gone too far
            useless = std::exchange(goes, {});
            const auto further =
                std::find_if(followers.begin() + static_cast<std::ptrdiff_t>(i) + 1, followers.end(),
                             [&](const Follower& other) { return standsBy(other, target); });
            if (further != followers.end())
                goes = std::exchange(*further, {});
        }
        goes.run = now.run;
        place.moves = true;
        guard.unlock();
        useless = {};  // its program takes a while to end
        const bool moved = Move(goes, target);
        guard.lock();
        place = std::move(goes);
        done_.notify_all();
        if (moved)
            return true;
        if (hold_)
            return false;
    }
    return false;
}

// Whether it has come nearer. What is wrong with the session is told to whoever wants a moment of it.
bool Rewind::Move(Follower& follower, std::int64_t target) {
    try {
        Prepare(follower);
        const std::int64_t before = follower.player->NowUs();
        const auto until = Clock::now() + kFollowFor;
        while (follower.player->NowUs() < target && Clock::now() < until)
            if (!follower.player->GoTo(std::min(target, follower.player->NowUs() + kFollowStepUs)))
                break;
        return follower.player->NowUs() > before;
    } catch (const std::exception&) {
        follower.player.reset();
        return false;
    }
}

}  // namespace k905
