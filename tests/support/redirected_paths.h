// Gives the code under test files of the test's own where it opens fixed paths.
#pragma once

#include <map>
#include <string>

namespace test {

// While it lives, this thread's open() of a path in the table opens the path beside it instead. Works in the
// programs that link test_support (see failing_calls.h); one at a time.
class RedirectedPaths {
  public:
    explicit RedirectedPaths(std::map<std::string, std::string> paths);
    ~RedirectedPaths();
    RedirectedPaths(const RedirectedPaths&) = delete;
    RedirectedPaths& operator=(const RedirectedPaths&) = delete;

    // The path that is opened for this one: another, or itself.
    static const char* Of(const char* path);
};

}  // namespace test
