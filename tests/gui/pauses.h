// The pauses that the toolkit's threads make, as they ask for them: the linker sends select through
// pauses.cpp.
#pragma once

#include <vector>

namespace test {

// While it lives, a pause of any thread is written down and takes a millisecond only. One at a time.
class Pauses {
  public:
    Pauses();
    ~Pauses();
    Pauses(const Pauses&) = delete;
    Pauses& operator=(const Pauses&) = delete;

    // Milliseconds, in order, of all threads but the one that made this.
    std::vector<long> Of() const;
};

}  // namespace test
