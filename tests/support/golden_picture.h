// Pictures compared to the pixel with the ones in tests/golden.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/picture.h"

namespace test {

// Succeeds when the picture equals tests/golden/NAME.png. When it does not, or there is no such file, the
// picture and, in red on white, the pixels that differ are left in golden-actual/ of the build folder; a
// failure names the files, the count and the first pixel. With K905_UPDATE_GOLDEN=1 in the environment the
// golden is written instead: look at it before it is kept.
::testing::AssertionResult MatchesGolden(const Picture& picture, const std::string& name);

// The same against another folder of goldens and with another place for what a failure leaves.
::testing::AssertionResult MatchesGoldenIn(const Picture& picture, const std::string& name,
                                           const std::string& goldens, const std::string& actuals,
                                           bool update);

}  // namespace test
