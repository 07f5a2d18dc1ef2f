// The trace's own book-keeping, without a program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/interpose/trace.h"

namespace k905 {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Trace : public ::testing::Test {
  protected:
    Trace() { log_.Start(); }
    void Add(const char* line, int thread = 0) { log_.Add(now_++, thread, "reg", line); }
    std::vector<std::pair<std::string, unsigned long>> Read(unsigned long from = 0) {
        std::vector<std::pair<std::string, unsigned long>> lines;
        for (const TraceLog::Entry& entry : log_.Select({}, {}, from))
            lines.emplace_back(entry.line, entry.count);
        return lines;
    }

    TraceLog log_;
    Micros now_ = 0;
};

TEST_F(Trace, CountsWhatAThreadRepeats) {
    for (int i = 0; i < 3; ++i) {
        Add("poll", 1);
        Add("poll", 2);
    }
    EXPECT_THAT(Read(), ElementsAre(std::pair("poll", 3), std::pair("poll", 3)));
}

// Who reads in pieces learns that a line of an earlier piece counts further, and the lines stay what they
// are.
TEST_F(Trace, TellsWhatGrowsBehindAReader) {
    Add("poll", 1);
    Add("once", 2);
    Add("poll", 3);
    Add("poll", 3);
    Add("other", 3);
    const unsigned long next = log_.Added();
    EXPECT_THAT(log_.Growing(next), IsEmpty());
    Add("poll", 1);
    Add("new", 4);
    Add("new", 4);
    const auto growing = log_.Growing(next);
    ASSERT_EQ(1u, growing.size());
    EXPECT_EQ(0u, growing[0].number);
    EXPECT_EQ(2u, growing[0].count);
    EXPECT_THAT(Read(next), ElementsAre(std::pair("new", 2)));
    EXPECT_EQ(2u, log_.Growing(log_.Added()).size());
    Add("end", 1);
    EXPECT_THAT(log_.Growing(next), IsEmpty());
    log_.Clear();
    EXPECT_THAT(log_.Growing(log_.Added()), IsEmpty());
}

TEST_F(Trace, FindsTheLineOfAKindBeforeAnother) {
    Add("dropped");
    log_.Clear();
    Add("first");
    log_.Add(now_, 0, "serial", "between");
    Add("last");
    const unsigned long first = log_.Added() - 3;
    EXPECT_EQ("", log_.Before(first, "reg"));
    EXPECT_EQ("first", log_.Before(first + 1, "reg"));
    EXPECT_EQ("first", log_.Before(first + 2, "reg"));
    EXPECT_EQ("between", log_.Before(first + 3, "serial"));
    EXPECT_EQ("last", log_.Before(first + 100, "reg"));
    EXPECT_EQ("", log_.Before(0, "reg"));
}

}  // namespace
}  // namespace k905
