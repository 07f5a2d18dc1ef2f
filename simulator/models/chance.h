// Chance that is the same on every machine and in every run: a pure function of a seed and a counter.
#pragma once

#include <cstdint>

namespace k905 {

// Mixes two numbers into one in which every bit depends on every bit (the finaliser of SplitMix64).
constexpr std::uint64_t Mix(std::uint64_t seed, std::uint64_t counter) {
    std::uint64_t z = seed + (counter + 1) * 0x9E3779B97F4A7C15u;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
}

// A stream of draws. Streams of different names drawn from one seed are independent.
class Chance {
  public:
    Chance(std::uint64_t seed, const char* name) : key_(seed) {
        for (; *name != '\0'; ++name)
            key_ = Mix(key_, static_cast<unsigned char>(*name));
    }

    std::uint64_t Word() { return Mix(key_, counter_++); }
    // In [0, 1).
    double Uniform() { return static_cast<double>(Word() >> 11) * (1.0 / 9007199254740992.0); }
    // In [-half, half).
    double Spread(double half) { return (2.0 * Uniform() - 1.0) * half; }
    // Mean 0, deviation 1, at most 6 away from 0: the sum of twelve 16-bit uniform draws. Integer arithmetic
    // only, so it does not depend on the maths library.
    double Normal() {
        std::int64_t sum = 0;
        for (int i = 0; i < 3; ++i)
            for (std::uint64_t word = Word(), piece = 0; piece < 4; ++piece, word >>= 16)
                sum += static_cast<std::int64_t>(word & 0xFFFF);
        return static_cast<double>(sum - 6 * 65535) / 65536.0;
    }

  private:
    std::uint64_t key_;
    std::uint64_t counter_ = 0;
};

}  // namespace k905
