// A sample of the sweep of failing calls: of every script a few of its failures, spread evenly over all of
// them.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

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

std::vector<std::size_t> BadScripts() {
    std::vector<std::size_t> bad;
    for (std::size_t i = 0; i < Scripts().size(); ++i)
        if (!Scripts()[i].turnsBad.is_null())
            bad.push_back(i);
    return bad;
}

// What a script of a bad device looks for does come, where it does not turn bad.
class FalseVerdicts : public testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Of, FalseVerdicts, testing::ValuesIn(BadScripts()),
                         [](const auto& one) { return std::string(Scripts()[one.param].name); });

TEST_P(FalseVerdicts, AreSeenOnADeviceThatStaysGood) {
    Script script = Scripts()[GetParam()];
    Session session;
    session.At().Request({{"do", "calls"}, {"action", "start"}});
    script.reach(session);
    script.use(session);
    EXPECT_TRUE(session.Begun());
    for (const char* wrong : std::exchange(script.falseTexts, {})) {
        script.falseTexts = {wrong};
        EXPECT_TRUE(std::any_of(session.Seen().begin(), session.Seen().end(),
                                [&](const std::string& text) { return IsFalse(script, text); }))
            << wrong << "\n"
            << session.At().Describe();
    }
}

}  // namespace
}  // namespace k905::sweeps
