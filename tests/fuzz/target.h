// A fuzz target takes any bytes as one of the program's inputs, and checks what must hold whatever they are.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace fuzz {

using Run = void (*)(const uint8_t* bytes, size_t size);

// One in each file of targets/; the name is the file's.
struct Target {
    Target(const char* theName, Run theRun) : name(theName), run(theRun), next(First()) { First() = this; }
    // Those of the program, in a list.
    static const Target*& First() {
        static const Target* first = nullptr;
        return first;
    }

    const char* name;
    Run run;
    const Target* next;
};

// What does not hold: fails the test (replay_test.cpp), or ends the fuzzer (fuzzer_main.cpp).
void Failed(const char* what);

inline void Holds(bool condition, const char* what) {
    if (!condition)
        Failed(what);
}

// Takes an input apart. Behind its end everything is 0.
class Input {
  public:
    Input(const uint8_t* bytes, size_t size) : next_(bytes), left_(size) {}

    size_t Left() const { return left_; }
    uint8_t Byte() { return left_ == 0 ? 0 : *Take(1); }
    uint16_t Word() {  // little-endian
        const uint8_t low = Byte();
        return static_cast<uint16_t>(low | Byte() << 8);
    }
    // The next `count` bytes, which must be there.
    const uint8_t* Take(size_t count) {
        const uint8_t* taken = next_;
        next_ += count;
        left_ -= count;
        return taken;
    }

  private:
    const uint8_t* next_;
    size_t left_;
};

}  // namespace fuzz
