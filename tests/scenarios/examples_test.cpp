// The example scripts do what they say.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "simulator/panel/replay.h"
#include "tests/scenarios/operator.h"

namespace fs = std::filesystem;

namespace k905 {
namespace {

std::vector<std::string> Scripts() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(std::string(K905_SOURCE_DIR) + "/examples"))
        if (entry.path().extension() == ".jsonl")
            names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

class Example : public ::testing::TestWithParam<std::string> {};
INSTANTIATE_TEST_SUITE_P(Scripts, Example, ::testing::ValuesIn(Scripts()),
                         [](const auto& one) { return one.param; });

TEST_P(Example, DoesWhatItSays) {
    ReplayOptions options;
    options.script = std::string(K905_SOURCE_DIR) + "/examples/" + GetParam() + ".jsonl";
    options.outDir = std::string(K905_BINARY_DIR) + "/scenarios/" + GetParam();
    for (const CheckResult& result : RunReplay(options, [](const CheckResult&) {}))
        EXPECT_TRUE(result.Passed()) << result.wrong << WhereItIs(result.at);
}

}  // namespace
}  // namespace k905
