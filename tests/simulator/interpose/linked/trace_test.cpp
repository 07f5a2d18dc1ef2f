// The trace's own book-keeping, without a program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/interpose/trace.h"

namespace k905 {
namespace {

using ::testing::ElementsAre;

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

TEST_F(Trace, CountsNoFurtherWhatSomebodyHasRead) {
    Add("poll");
    Add("poll");
    const unsigned long next = log_.Added();
    log_.CloseCounts();
    Add("poll");
    Add("poll");
    EXPECT_THAT(Read(), ElementsAre(std::pair("poll", 2), std::pair("poll", 2)));
    EXPECT_THAT(Read(next), ElementsAre(std::pair("poll", 2)));
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
