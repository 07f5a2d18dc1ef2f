// Random choices that are the same with every library: std::mt19937 is told bit by bit, the distributions are
// not.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

namespace k905::soak {

class Dice {
  public:
    explicit Dice(unsigned seed) : word_(seed) {}

    unsigned Below(unsigned count) { return static_cast<unsigned>(word_() % count); }
    int Between(int low, int high) {
        return low + static_cast<int>(Below(static_cast<unsigned>(high - low + 1)));
    }
    double Between(double low, double high) { return low + (high - low) * Below(1u << 20) / (1u << 20); }
    bool OneIn(unsigned count) { return Below(count) == 0; }
    template <typename T>
    const T& Of(const std::vector<T>& list) {
        return list[Below(static_cast<unsigned>(list.size()))];
    }

  private:
    std::mt19937 word_;
};

}  // namespace k905::soak
