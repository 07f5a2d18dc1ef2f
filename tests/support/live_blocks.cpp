#include "tests/support/live_blocks.h"

#include <gtest/gtest.h>

#if K905_SANITIZED

int test::LiveBlocks() {
    return 0;
}
void test::LeavesBlocks(int) {}

#else

#include <stdint.h>
#include <string.h>

#include <mutex>
#include <string>

#include "tests/support/program_range.h"
#include "tests/support/spin_lock.h"

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
}

namespace {

// Chained by the block's address; nodes come from the C library itself.
struct Block {
    Block* next;
    const void* at;
    size_t size;
    uint64_t number;  // of the allocation
};
constexpr size_t kChains = 1 << 12;

Block* chains[kChains];
int count = 0;
uint64_t allocations = 0;
test::SpinLock lock;
using Guard = std::lock_guard<test::SpinLock>;

Block** ChainOf(const void* at) {
    return &chains[(reinterpret_cast<uintptr_t>(at) >> 4) % kChains];
}

void* Keep(void* at, size_t size, void* caller) {
    if (at == nullptr || !test::OfProgram(caller))
        return at;
    Block* block = static_cast<Block*>(__libc_malloc(sizeof(Block)));
    const Guard guard(lock);
    Block** chain = ChainOf(at);
    *block = {*chain, at, size, ++allocations};
    *chain = block;
    ++count;
    return at;
}

// True when it was one of the program's.
bool Drop(const void* at) {
    Block* found = nullptr;
    {
        const Guard guard(lock);
        Block** link = ChainOf(at);
        while (*link != nullptr && (*link)->at != at)
            link = &(*link)->next;
        found = *link;
        if (found != nullptr) {
            *link = found->next;
            --count;
        }
    }
    __libc_free(found);
    return found != nullptr;
}

// Sizes of the blocks that are younger than an allocation, the first few. Put into words without the lock: a
// string that grows frees.
std::string Younger(uint64_t number) {
    size_t sizes[16];
    int found = 0;
    {
        const Guard guard(lock);
        for (const Block* chain : chains)
            for (const Block* block = chain; block != nullptr && found < 16; block = block->next)
                if (block->number > number)
                    sizes[found++] = block->size;
    }
    std::string text;
    for (int i = 0; i < found; ++i)
        text += " " + std::to_string(sizes[i]);
    return text;
}

class Watch : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        before_ = count;
        number_ = allocations;
        byDesign_ = 0;
    }
    void OnTestEnd(const testing::TestInfo& info) override {
        if (info.result()->Passed()) {
            EXPECT_EQ(before_ + byDesign_, count)
                << "blocks that live; bytes of those of this test:" << Younger(number_);
        }
    }

    int before_ = 0;
    uint64_t number_ = 0;

  public:
    int byDesign_ = 0;  // by LeavesBlocks
};
Watch* const watch = [] {
    Watch* one = new Watch;
    testing::UnitTest::GetInstance()->listeners().Append(one);
    return one;
}();

}  // namespace

int test::LiveBlocks() {
    const Guard guard(lock);
    return count;
}

void test::LeavesBlocks(int number) {
    watch->byDesign_ = number;
}

extern "C" {

void* malloc(size_t size) {
    return Keep(__libc_malloc(size), size, __builtin_return_address(0));
}

void* calloc(size_t number, size_t size) {
    return Keep(__libc_calloc(number, size), number * size, __builtin_return_address(0));
}

void* realloc(void* old, size_t size) {
    void* caller = __builtin_return_address(0);
    return Drop(old) || old == nullptr ? Keep(__libc_realloc(old, size), size, caller)
                                       : __libc_realloc(old, size);
}

char* strdup(const char* text) {
    const size_t size = strlen(text) + 1;
    void* copy = Keep(__libc_malloc(size), size, __builtin_return_address(0));
    return copy == nullptr ? nullptr : static_cast<char*>(memcpy(copy, text, size));
}

void free(void* at) {
    Drop(at);
    __libc_free(at);
}

}  // extern "C"

#endif
