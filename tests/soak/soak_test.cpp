// A short soak, twice.
#include <gtest/gtest.h>

#include "tests/soak/soak.h"

namespace k905::soak {
namespace {

TEST(AShortSoak, FindsNothingAndIsTheSameEveryTime) {
    Options options;
    options.seed = 905;
    options.hours = 0.5;
    options.changes = 200;
    const auto told = [](const std::string& line) {
        if (line.rfind("finding", 0) == 0)
            ADD_FAILURE() << line;
    };
    const Report first = soak::Run(options, told);
    EXPECT_EQ(0u, first.findings);
    EXPECT_GE(first.changes, 200u);
    EXPECT_GE(first.virtualUs, 1'800'000'000);
    EXPECT_GT(first.screens[static_cast<int>(Screen::kMainBoard)].passed, 0u);
    if (K905_SANITIZED)
        return;  // a sanitizer has seen all of it once
    const Report second = soak::Run(options, told);
    EXPECT_EQ(first.hash, second.hash);
    options.seed = 906;
    options.changes = 20;
    EXPECT_NE(first.hash, soak::Run(options, told).hash);
}

}  // namespace
}  // namespace k905::soak
