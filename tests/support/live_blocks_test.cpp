#include "tests/support/live_blocks.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#if !K905_SANITIZED

TEST(LiveBlocks, AreCountedFromTheirAllocationToTheirEnd) {
    const int before = test::LiveBlocks();
    void* volatile block = malloc(10);
    void* volatile cleared = calloc(2, 10);
    char* volatile copy = strdup("copy");
    EXPECT_EQ(before + 3, test::LiveBlocks());
    EXPECT_STREQ("copy", copy);
    block = realloc(block, 100000);
    EXPECT_EQ(before + 3, test::LiveBlocks());
    free(block);
    free(cleared);
    EXPECT_EQ(before + 1, test::LiveBlocks());
    free(copy);
    free(nullptr);
    EXPECT_EQ(before, test::LiveBlocks());
}

TEST(LiveBlocks, OfLibrariesAreNot) {
    const int before = test::LiveBlocks();
    const std::string text(100000, 'x');
    EXPECT_EQ(before, test::LiveBlocks()) << text.size();
}

TEST(LiveBlocks, ThatATestLeavesByDesignAreNoFailure) {
    static void* left = nullptr;
    left = malloc(10);
    EXPECT_NE(nullptr, left);
    test::LeavesBlocks(1);
}

#endif
