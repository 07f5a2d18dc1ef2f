// Calls that a function refuses, and how: a table of rows GUARD(result, call).
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace test {

struct Guard {
    const char* call;
    long result;  // of a function that returns an address: 0 for null, else 1
    std::function<long()> fnCall;
};

inline long Outcome(long result) {
    return result;
}
inline long Outcome(const void* result) {
    return result == nullptr ? 0 : 1;
}

inline void ExpectGuards(const std::vector<Guard>& guards) {
    for (const Guard& guard : guards)
        EXPECT_EQ(guard.result, guard.fnCall()) << guard.call;
}

}  // namespace test

// The call may name what lives in the function that holds the table. One that returns nothing is written
// (call, 0).
#define GUARD(result, ...)                                                 \
    test::Guard {                                                          \
#__VA_ARGS__, result, [&] { return test::Outcome((__VA_ARGS__)); } \
    }
