#include "tests/support/golden_text.h"

#include <stdlib.h>

#include <filesystem>

namespace {

// Goldens and actual texts in a folder of their own.
class GoldenText : public ::testing::Test {
  protected:
    GoldenText() {
        char name[] = "/tmp/golden_text_test_XXXXXX";
        folder_ = mkdtemp(name);
    }
    ~GoldenText() override { std::filesystem::remove_all(folder_); }

    ::testing::AssertionResult Compare(const std::string& actual, bool update = false) const {
        return test::MatchesGoldenTextIn(actual, "traces/one", folder_ + "/golden", folder_ + "/actual",
                                         update);
    }
    bool LeftActual() const { return std::filesystem::exists(folder_ + "/actual/traces/one.txt"); }
    // The message of a comparison that fails.
    std::string Complaint(const std::string& actual) const {
        const ::testing::AssertionResult result = Compare(actual);
        EXPECT_FALSE(result);
        return result.message();
    }

  private:
    std::string folder_;
};

}  // namespace

TEST_F(GoldenText, FailsWhenThereIsNone) {
    EXPECT_FALSE(Compare("a\n"));
    EXPECT_TRUE(LeftActual());
    EXPECT_FALSE(Compare("a\n"));  // the failure did not make one
}

TEST_F(GoldenText, AnEmptyTextIsNotAMissingOne) {
    EXPECT_FALSE(Compare(""));
    EXPECT_TRUE(Compare("", true));
    EXPECT_TRUE(Compare(""));
    EXPECT_FALSE(Compare("\n"));
}

TEST_F(GoldenText, MatchesWhatWasKept) {
    EXPECT_TRUE(Compare("a\nb\n", true));
    EXPECT_TRUE(Compare("a\nb\n"));
    EXPECT_FALSE(LeftActual());
}

TEST_F(GoldenText, NamesTheFirstLineThatDiffers) {
    EXPECT_TRUE(Compare("one\ntwo\nthree\n", true));
    EXPECT_NE(std::string::npos,
              Complaint("one\ntwx\nthrxx\n").find("line 2 differs\n  golden: two\n  actual: twx\n"));
    EXPECT_TRUE(LeftActual());
    EXPECT_NE(std::string::npos,
              Complaint("one\ntwo\n").find("line 3 differs\n  golden: three\n  actual: (end of the text)\n"));
    EXPECT_NE(std::string::npos, Complaint("one\ntwo\nthree\nfour\n")
                                     .find("line 4 differs\n  golden: (end of the text)\n  actual: four\n"));
    EXPECT_FALSE(Compare("one\ntwo\nthree"));
    EXPECT_FALSE(Compare("one\ntwo\nthree\n "));
}

TEST_F(GoldenText, IsReplacedOnlyWhenAsked) {
    EXPECT_TRUE(Compare("old\n", true));
    EXPECT_FALSE(Compare("new\n"));
    EXPECT_TRUE(Compare("old\n"));
    EXPECT_TRUE(Compare("new\n", true));
    EXPECT_TRUE(Compare("new\n"));
}
