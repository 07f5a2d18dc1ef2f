#include "simulator/interpose/trace.h"

#include <algorithm>

namespace k905 {

void TraceLog::Clear() {
    entries_.clear();
    last_.clear();
    dropped_ = 0;
}

void TraceLog::Add(Micros time, int thread, const char* kind, const std::string& line) {
    if (!recording_)
        return;
    const std::size_t slot = static_cast<std::size_t>(thread) + 1;
    if (last_.size() <= slot)
        last_.resize(slot + 1, 0);
    // A line that the thread repeats, as a polling loop does, is counted and not stored again.
    const unsigned long first = entries_.empty() ? 0 : entries_.front().number;
    if (last_[slot] > first && !entries_.empty()) {
        Entry& last = entries_[last_[slot] - 1 - first];
        if (last.line == line && last.kind == kind) {
            ++last.count;
            return;
        }
    }
    if (entries_.size() == kLimit) {
        entries_.pop_front();
        ++dropped_;
    }
    Entry entry;
    entry.time = time;
    entry.thread = thread;
    entry.kind = kind;
    entry.line = line;
    entry.number = added_++;
    entries_.push_back(entry);
    last_[slot] = entry.number + 1;
}

std::vector<TraceLog::Entry> TraceLog::Select(const std::set<std::string>& kinds,
                                              const std::set<int>& threads, unsigned long from,
                                              std::size_t most) const {
    std::vector<Entry> selected;
    for (auto entry = entries_.rbegin(); entry != entries_.rend() && entry->number >= from; ++entry) {
        if ((kinds.empty() || kinds.count(entry->kind) != 0) &&
            (threads.empty() || threads.count(entry->thread) != 0))
            selected.push_back(*entry);
        if (most != 0 && selected.size() == most)
            break;
    }
    std::reverse(selected.begin(), selected.end());
    return selected;
}

std::vector<TraceLog::Entry> TraceLog::Growing(unsigned long before) const {
    const unsigned long first = entries_.empty() ? 0 : entries_.front().number;
    std::vector<Entry> growing;
    for (const unsigned long last : last_)
        if (last > first && last <= before && entries_[last - 1 - first].count > 1)
            growing.push_back(entries_[last - 1 - first]);
    return growing;
}

std::string TraceLog::Before(unsigned long number, const std::string& kind) const {
    const unsigned long first = entries_.empty() ? number : entries_.front().number;  // one a number
    for (unsigned long at = std::min<unsigned long>(number, first + entries_.size()); at > first; --at)
        if (const Entry& entry = entries_[at - 1 - first]; entry.kind == kind)
            return entry.line;
    return "";
}

}  // namespace k905
