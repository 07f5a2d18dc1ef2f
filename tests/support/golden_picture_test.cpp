#include "tests/support/golden_picture.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

namespace {

using test::MatchesGoldenIn;
using test::Picture;

// Goldens and actual pictures in a folder of their own.
class Golden : public ::testing::Test {
  protected:
    Golden() {
        char name[] = "/tmp/golden_test_XXXXXX";
        folder_ = mkdtemp(name);
        goldens_ = folder_ + "/golden";
        actuals_ = folder_ + "/actual";
    }
    ~Golden() override { std::filesystem::remove_all(folder_); }

    ::testing::AssertionResult Compare(const Picture& actual, bool update = false) const {
        return MatchesGoldenIn(actual, "screen", goldens_, actuals_, update);
    }
    bool Left(const std::string& file) const { return std::filesystem::exists(actuals_ + "/" + file); }

    const Picture picture{3, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18}};

  private:
    std::string folder_;
    std::string goldens_;
    std::string actuals_;
};

TEST_F(Golden, FailsWhenThereIsNone) {
    EXPECT_FALSE(Compare(picture));
    EXPECT_TRUE(Left("screen.png"));
    EXPECT_FALSE(Compare(picture));  // the failure did not make one
}

TEST_F(Golden, MatchesWhatWasKept) {
    EXPECT_TRUE(Compare(picture, true));
    EXPECT_TRUE(Compare(picture));
    EXPECT_FALSE(Left("screen.png"));
}

TEST_F(Golden, FailsWhenOnePixelIsOffByOneAndShowsWhere) {
    EXPECT_TRUE(Compare(picture, true));
    Picture other = picture;
    other.rgb[3 * 4] += 1;
    const ::testing::AssertionResult result = Compare(other);
    EXPECT_FALSE(result);
    EXPECT_NE(std::string(result.message()).find("1 pixels differ, the first at (1, 1)"), std::string::npos)
        << result.message();
    EXPECT_TRUE(Left("screen.png"));
    EXPECT_TRUE(Left("screen-difference.png"));
}

TEST_F(Golden, FailsOnAnotherSize) {
    EXPECT_TRUE(Compare(picture, true));
    EXPECT_FALSE(Compare({2, 3, picture.rgb}));
    EXPECT_FALSE(Compare({3, 3, picture.rgb}));  // not even its own
}

TEST_F(Golden, IsReplacedOnlyWhenAsked) {
    Picture other = picture;
    other.rgb[0] += 1;
    EXPECT_TRUE(Compare(picture, true));
    EXPECT_FALSE(Compare(other));
    EXPECT_TRUE(Compare(other, true));
    EXPECT_TRUE(Compare(other));
}

}  // namespace
