// A sample of the sweep of failing calls: of every script a few of its failures, spread evenly over all of
// them.
#include <gtest/gtest.h>

#include "tests/sweeps/failing_calls.h"

namespace k905::sweeps {

void PrintTo(const Script& script, std::ostream* out) {
    *out << script.name;
}

namespace {

constexpr std::size_t kOfEach = 3;

class FailingCallsSample : public testing::TestWithParam<Script> {};
INSTANTIATE_TEST_SUITE_P(Of, FailingCallsSample, testing::ValuesIn(Scripts()),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(FailingCallsSample, LeaveNoFalseVerdictNoDeadScreenAndAnOrderlyEnd) {
    const GoodRun good = RunGood(GetParam());
    const std::vector<Failure> plan = PlanFailures(good, 1);
    ASSERT_GT(plan.size(), 50u);
    for (std::size_t i = 0; i < kOfEach; ++i) {
        const Failure& failure = plan[(2 * i + 1) * plan.size() / (2 * kOfEach)];
        const Outcome outcome = RunFailing(GetParam(), good, failure);
        for (const std::string& finding : outcome.findings)
            ADD_FAILURE() << failure.Describe() << ": " << finding;
    }
}

}  // namespace
}  // namespace k905::sweeps
