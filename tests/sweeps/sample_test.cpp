// A sample of the sweep of failing calls: of every script a few of its failures, spread evenly over all of
// them.
#include <gtest/gtest.h>

#include "tests/sweeps/failing_calls.h"

namespace k905::sweeps {

namespace {

class FailingCallsSample : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Of, FailingCallsSample, testing::Range(std::size_t{0}, Scripts().size()),
                         [](const auto& one) { return std::string(Scripts()[one.param].name); });

TEST_P(FailingCallsSample, LeaveNoFalseVerdictNoDeadScreenAndAnOrderlyEnd) {
    const Script& script = Scripts()[GetParam()];
    const GoodRun good = RunGood(script);
    const std::vector<Failure> plan = PlanFailures(good, 1);
    ASSERT_GT(plan.size(), 50u);
    const Failure& failure = plan[(2 * GetParam() + 1) * plan.size() / (2 * Scripts().size())];
    for (const std::string& finding : RunFailing(script, good, failure).findings)
        ADD_FAILURE() << failure.Describe() << ": " << finding;
}

}  // namespace
}  // namespace k905::sweeps
