// A library to preload: counts what the program asks of malloc, and not what other libraries ask in the same
// process. K905_HEAP_METER names the file for the figures.
#include "tests/scenarios/heap_meter/heap_meter.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "tests/scenarios/program_range.h"

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
}

namespace {

constexpr std::size_t kPlaces =
    1 << 16;  // of the table, a power of two; the program has a few thousand blocks

struct Block {
    void* at;
    std::size_t size;
};

Block table[kPlaces];
HeapMeter nowhere;
HeapMeter* meter = &nowhere;
std::atomic_flag busy = ATOMIC_FLAG_INIT;

class Guard {
  public:
    Guard() {
        while (busy.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~Guard() { busy.clear(std::memory_order_release); }
};

__attribute__((constructor)) void Open() {
    const char* path = std::getenv("K905_HEAP_METER");
    const int fd = path == nullptr ? -1 : open(path, O_RDWR);
    if (fd < 0)
        return;
    void* shared = mmap(nullptr, sizeof(HeapMeter), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (shared != MAP_FAILED)
        meter = static_cast<HeapMeter*>(shared);
}

std::size_t Place(const void* at) {
    return (reinterpret_cast<std::uintptr_t>(at) >> 4) * 0x9e3779b97f4a7c15u >> 48 & (kPlaces - 1);
}

void Remember(void* at, std::size_t size) {
    if (at == nullptr)
        return;
    Guard guard;
    std::size_t place = Place(at);
    std::size_t tries = 0;
    while (table[place].at != nullptr && ++tries < kPlaces)
        place = (place + 1) % kPlaces;
    if (table[place].at != nullptr) {
        ++meter->lost;
        return;
    }
    table[place] = {at, size};
    ++meter->blocks;
    meter->bytes += size;
    if (meter->bytes > meter->peak)
        meter->peak = meter->bytes;
}

// True when it was one of the program's.
bool Forget(void* at) {
    if (at == nullptr)
        return false;
    Guard guard;
    std::size_t place = Place(at);
    while (table[place].at != at) {
        if (table[place].at == nullptr)
            return false;
        place = (place + 1) % kPlaces;
    }
    --meter->blocks;
    meter->bytes -= table[place].size;
    table[place] = {};
    // What had moved on because of it moves back.
    for (std::size_t next = (place + 1) % kPlaces; table[next].at != nullptr; next = (next + 1) % kPlaces) {
        const Block block = table[next];
        table[next] = {};
        std::size_t home = Place(block.at);
        while (table[home].at != nullptr)
            home = (home + 1) % kPlaces;
        table[home] = block;
    }
    return true;
}

}  // namespace

extern "C" {

void* malloc(size_t size) {
    void* at = __libc_malloc(size);
    if (k905::OfProgram(__builtin_return_address(0)))
        Remember(at, size);
    return at;
}

void* calloc(size_t count, size_t size) {
    void* at = __libc_calloc(count, size);
    if (k905::OfProgram(__builtin_return_address(0)))
        Remember(at, count * size);
    return at;
}

void* realloc(void* old, size_t size) {
    const bool ours = Forget(old) || (old == nullptr && k905::OfProgram(__builtin_return_address(0)));
    void* at = __libc_realloc(old, size);
    if (ours)
        Remember(at, size);
    return at;
}

void free(void* at) {
    Forget(at);
    __libc_free(at);
}
}
