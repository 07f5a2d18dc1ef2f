// The hardware trace: what the product did to the instrument, one line each, with time and thread.
#pragma once

#include <cstddef>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "simulator/models/device.h"

namespace k905 {

class TraceLog {
  public:
    struct Entry {
        Micros time = 0;  // of the first of `count` equal lines
        int thread = -1;  // ordinal; -1: not a thread of the product
        std::string kind;
        std::string line;
        unsigned long count = 1;
        unsigned long number = 0;  // of all that were recorded
    };

    void Start() { recording_ = true; }
    void Stop() { recording_ = false; }
    void Clear();
    bool Recording() const { return recording_; }
    void Add(Micros time, int thread, const char* kind, const std::string& line);
    // Lines that had to make room for later ones since the last Clear.
    unsigned long Dropped() const { return dropped_; }

    // Lines recorded so far, the number of the next one.
    unsigned long Added() const { return added_; }

    // Lines before number `before` that may still be counted further: the last one of each thread, where it
    // is one of them and stands for several.
    std::vector<Entry> Growing(unsigned long before) const;

    // The line of that kind before line `number`; "" when there is none.
    std::string Before(unsigned long number, const std::string& kind) const;

    // Entries in order of their beginning; those of the kinds (empty: all) and of the threads (empty: all)
    // given, from number `from` on, the last `most` of them (0: all).
    std::vector<Entry> Select(const std::set<std::string>& kinds, const std::set<int>& threads,
                              unsigned long from = 0, std::size_t most = 0) const;

  private:
    static constexpr std::size_t kLimit = 500'000;

    bool recording_ = false;
    std::deque<Entry> entries_;
    unsigned long dropped_ = 0;
    unsigned long added_ = 0;
    std::vector<unsigned long> last_;  // number + 1 of each thread's last entry; index is the ordinal + 1
};

}  // namespace k905
