// Makes the n-th call of the code under test fail: allocations and system calls. Test programs that link
// test_support have these calls sent through a counter by the linker (see CMakeLists.txt); without a
// FailingCalls object alive, and in every thread but the one that made it, they pass straight through.
#pragma once

#include <functional>

namespace test {

// Counts the wrapped calls made by this thread while it lives and makes the n-th of them (from 1) fail the
// way the real one does: null for an allocation, -1 with errno for a system call, ENOMEM for the thread
// functions. n = 0 only counts.
class FailingCalls {
  public:
    explicit FailingCalls(int n);
    ~FailingCalls();
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;

    // Calls seen so far.
    int Count() const;
    // Name of the call that was made to fail, or "" when the n-th has not been reached.
    const char* Failed() const;
    // Descriptors that the process has open, for a comparison before and after.
    static int OpenDescriptors();
};

// The same for the calls of every thread, of one name (null: any): the n-th and the times - 1 that follow it
// fail.
class FailingCallsOfAllThreads {
  public:
    static constexpr int kForEver = 1'000'000'000;
    FailingCallsOfAllThreads(int n, int times, const char* name = nullptr);
    ~FailingCallsOfAllThreads();
    FailingCallsOfAllThreads(const FailingCallsOfAllThreads&) = delete;
    FailingCallsOfAllThreads& operator=(const FailingCallsOfAllThreads&) = delete;

    // Name of the first call that was made to fail, or "" when the n-th has not been reached.
    const char* Failed() const;
};

// Answers this thread's ioctls while it lives, in the kernel's place: answer(descriptor, request, argument)
// returns what the ioctl returns. A call that FailingCalls makes fail does not get here.
class IoctlAnswer {
  public:
    using Answer = std::function<int(int fd, unsigned long request, void* argument)>;
    explicit IoctlAnswer(Answer answer);
    ~IoctlAnswer();
    IoctlAnswer(const IoctlAnswer&) = delete;
    IoctlAnswer& operator=(const IoctlAnswer&) = delete;
};

// Runs `attempt` once for each wrapped call it makes, that call failing. `attempt` returns true when it
// succeeded. Calls onFailure(name) after every failed run; leaks are found by the address sanitizer's leak
// check and by comparing OpenDescriptors() before and after. Returns the number of runs.
template <typename Attempt, typename OnFailure>
int FailEachCall(Attempt attempt, OnFailure onFailure) {
    for (int n = 1;; ++n) {
        bool reached = false;
        bool succeeded = false;
        const char* name = "";
        {
            FailingCalls failing(n);
            succeeded = attempt();
            name = failing.Failed();
            reached = name[0] != '\0';
        }
        if (!reached)
            return n - 1;
        onFailure(name, succeeded);
    }
}

}  // namespace test
