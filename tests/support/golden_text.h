// Texts compared byte for byte with the ones in tests/golden: hardware traces and printed reports.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace test {

// Succeeds when the text equals tests/golden/NAME.txt. When it does not, or there is no such file, the text
// is left in golden-actual/ of the build folder; a failure names the files and the first line that differs.
// With K905_UPDATE_GOLDEN=1 in the environment the golden is written instead: read it before it is kept.
::testing::AssertionResult MatchesGoldenText(const std::string& text, const std::string& name);

// The same against another folder of goldens and with another place for what a failure leaves.
::testing::AssertionResult MatchesGoldenTextIn(const std::string& text, const std::string& name,
                                               const std::string& goldens, const std::string& actuals,
                                               bool update);

}  // namespace test
