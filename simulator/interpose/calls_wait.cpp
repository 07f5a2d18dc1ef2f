// Entry points: select and poll, over the instrument's descriptors and the host's together.
#include <string.h>

#include <algorithm>
#include <vector>

#include "simulator/interpose/call.h"
#include "simulator/interpose/device_io.h"

using namespace k905;

namespace {

// While a host descriptor is awaited too, it is looked at this often.
constexpr Micros kHostPoll = 10'000;

using Files = std::vector<std::shared_ptr<OpenFile>>;

// What is ready now, as poll() reports it.
int LookAt(Call& call, std::vector<pollfd>& polls, const Files& files, bool anyHost) {
    if (anyHost) {
        std::vector<pollfd> host = polls;
        for (std::size_t i = 0; i < host.size(); ++i)
            if (files[i] != nullptr)
                host[i].fd = -1;
        if (Real().poll(host.data(), host.size(), 0) < 0)
            return -1;
        for (std::size_t i = 0; i < host.size(); ++i)
            polls[i].revents = host[i].revents;
    }
    int count = 0;
    for (std::size_t i = 0; i < polls.size(); ++i) {
        if (files[i] != nullptr) {
            const bool readable = files[i]->device->ReadableAt() <= call->Now();
            polls[i].revents = static_cast<short>(
                polls[i].events & ((readable ? POLLIN | POLLRDNORM : 0) | POLLOUT | POLLWRNORM));
        }
        count += polls[i].revents != 0 ? 1 : 0;
    }
    return count;
}

// The number of ready descriptors, 0 at the time-out, or -1 with errno.
int WaitForAny(Call& call, std::vector<pollfd>& polls, Micros until) {
    Files files;
    std::string paths;
    bool anyHost = false;
    for (const pollfd& poll : polls) {
        auto file = call->descriptors.Find(poll.fd);
        if (file != nullptr && file->device == nullptr)
            file = nullptr;
        anyHost = anyHost || (file == nullptr && poll.fd >= 0);
        paths += file != nullptr ? (paths.empty() ? "" : ", ") + file->path : "";
        files.push_back(std::move(file));
    }
    const std::function<Micros()> readyAt = [&] {
        Micros earliest = kNever;
        for (std::size_t i = 0; i < files.size(); ++i)
            if (files[i] != nullptr && (polls[i].events & POLLIN) != 0)
                earliest = std::min(earliest, files[i]->device->ReadableAt());
        return earliest;
    };
    for (;;) {
        const int count = LookAt(call, polls, files, anyHost);
        if (count != 0 || call->Now() >= until)
            return count;
        Waiting waiting;
        waiting.reason = "select";
        waiting.path = paths;
        waiting.until = anyHost ? std::min(until, call->Now() + kHostPoll) : until;
        waiting.readyAt = &readyAt;
        if (call.Wait(waiting) == Wake::kInterrupted)
            return Fail(EINTR);
    }
}

std::vector<pollfd> FromSets(int count, const fd_set* reads, const fd_set* writes, const fd_set* excepts) {
    std::vector<pollfd> polls;
    for (int fd = 0; fd < count; ++fd) {
        short events = 0;
        if (reads != nullptr && FD_ISSET(fd, reads))
            events |= POLLIN;
        if (writes != nullptr && FD_ISSET(fd, writes))
            events |= POLLOUT;
        if (excepts != nullptr && FD_ISSET(fd, excepts))
            events |= POLLPRI;
        if (events != 0)
            polls.push_back({fd, events, 0});
    }
    return polls;
}

// Leaves in the set the descriptors for which one of the events came. Their number.
int ToSet(const std::vector<pollfd>& polls, short asked, int events, fd_set* set) {
    int count = 0;
    for (const pollfd& poll : polls) {
        if (set == nullptr || (poll.events & asked) == 0)
            continue;
        if ((poll.revents & events) != 0)
            ++count;
        else
            FD_CLR(poll.fd, set);
    }
    return count;
}

int SelectDescriptors(Call& call, int count, fd_set* reads, fd_set* writes, fd_set* excepts, Micros until) {
    std::vector<pollfd> polls = FromSets(count, reads, writes, excepts);
    const int result = WaitForAny(call, polls, until);
    if (result < 0)
        return result;
    for (const pollfd& poll : polls)
        if ((poll.revents & POLLNVAL) != 0)
            return Fail(EBADF);
    return ToSet(polls, POLLIN, POLLIN | POLLHUP | POLLERR, reads) +
           ToSet(polls, POLLOUT, POLLOUT | POLLERR, writes) + ToSet(polls, POLLPRI, POLLPRI, excepts);
}

}  // namespace

K905_ENTRY(int, select, (int count, fd_set* reads, fd_set* writes, fd_set* excepts, timeval* timeout)) {
    Call call;
    if (!call)
        return Real().select(count, reads, writes, excepts, timeout);
    if (count < 0 || count > FD_SETSIZE ||
        (timeout != nullptr && (timeout->tv_sec < 0 || timeout->tv_usec < 0)))
        return Fail(EINVAL);
    const Micros duration = timeout != nullptr ? timeout->tv_sec * kSecond + timeout->tv_usec : kNever;
    const bool onlySleeps = FromSets(count, reads, writes, excepts).empty();
    if (onlySleeps && timeout != nullptr && call->Tracing())
        call->Trace("sleep", "sleep " + DurationText(duration));
    call.Charge(cost::kSleep);
    const Micros until = timeout != nullptr ? call->Now() + duration : kNever;
    int result = 0;
    if (onlySleeps)
        result = SleepFor(call, duration, "sleep") > 0 ? Fail(EINTR) : 0;
    else
        result = SelectDescriptors(call, count, reads, writes, excepts, until);
    if (timeout != nullptr) {  // as Linux does: what was left of the time
        const Micros left = std::max<Micros>(until - call->Now(), 0);
        timeout->tv_sec = static_cast<time_t>(left / kSecond);
        timeout->tv_usec = static_cast<suseconds_t>(left % kSecond);
    }
    return result;
}

namespace {

int Poll(pollfd* descriptors, nfds_t count, int timeout) {
    Call call;
    if (!call || (descriptors == nullptr && count != 0))
        return Real().poll(descriptors, count, timeout);
    call.Charge(cost::kSleep);
    std::vector<pollfd> polls(descriptors, descriptors + count);
    for (pollfd& poll : polls)
        poll.revents = 0;
    const int result = WaitForAny(call, polls, timeout < 0 ? kNever : call->Now() + timeout * Micros{1000});
    if (result >= 0)
        std::copy(polls.begin(), polls.end(), descriptors);
    return result;
}

}  // namespace

K905_ENTRY(int, poll, (pollfd * descriptors, nfds_t count, int timeout)) {
    return Poll(descriptors, count, timeout);
}

K905_ENTRY(int, __poll_chk, (pollfd * descriptors, nfds_t count, int timeout, size_t room)) {
    if (room / sizeof(pollfd) < count)
        abort();
    return Poll(descriptors, count, timeout);
}
