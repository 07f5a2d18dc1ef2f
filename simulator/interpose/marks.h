// The history of an instrument in a few words: when it took something up, for a person's time line.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "simulator/models/device.h"

namespace k905 {

class Marks {
  public:
    struct Entry {
        std::string kind;
        Micros first = 0;  // of `count` that came one after the other
        Micros last = 0;
        unsigned long count = 1;
    };

    // What follows another of its kind within a second goes with it. Behind the last that there is room for
    // nothing is kept.
    void Add(const char* kind, Micros now) {
        const auto before = newest_.find(kind);
        if (before != newest_.end() && now - entries_[before->second].last <= kTogether) {
            entries_[before->second].last = now;
            ++entries_[before->second].count;
        } else if (entries_.size() < kMost) {
            newest_[kind] = entries_.size();
            entries_.push_back({kind, now, now});
        }
    }
    const std::vector<Entry>& All() const { return entries_; }

  private:
    static constexpr Micros kTogether = 1'000'000;
    static constexpr std::size_t kMost = 10'000;

    std::vector<Entry> entries_;
    std::map<std::string, std::size_t> newest_;  // of each kind
};

}  // namespace k905
