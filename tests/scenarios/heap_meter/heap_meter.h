// What the meter writes down, in a file that a test maps: bytes and blocks that the program itself has from
// malloc.
#pragma once

#include <cstdint>

struct HeapMeter {
    std::uint64_t bytes;   // now
    std::uint64_t blocks;  // now
    std::uint64_t peak;    // most bytes so far
    std::uint64_t lost;    // blocks that the meter had no room to remember: 0, or its figures are worthless
};
