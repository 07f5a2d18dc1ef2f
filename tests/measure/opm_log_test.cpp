#include <fcntl.h>
#include <float.h>
#include <gtest/gtest.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "measure/common_opm.h"
#include "tests/support/failing_calls.h"

namespace {

// While set, system() of the code under test comes here.
std::function<int(const char*)> onSystem;

class OpmLog : public testing::Test {
  protected:
    OpmLog() {
        close(mkstemp(path_));
        onSystem = [this](const char* command) {
            shell_.push_back(std::string(command) + ": " + Content());
            return 0;
        };
    }
    ~OpmLog() override {
        onSystem = nullptr;
        unlink(path_);
    }

    std::string Content() const {
        std::string content;
        FILE* file = fopen(path_, "r");
        for (int c = fgetc(file); c != EOF; c = fgetc(file))
            content += static_cast<char>(c);
        fclose(file);
        return content;
    }

    // The line that row j is written as.
    std::string Row(uint16_t j) {
        const int fd = open(path_, O_WRONLY | O_TRUNC);
        EXPECT_EQ(0, OPMSaveData2File(fd, j));
        close(fd);
        return Content();
    }

    std::vector<std::string> shell_;  // each command, with the file's content when it ran
    char path_[32] = "/tmp/opm_log_XXXXXX";
};

}  // namespace

extern "C" int __real_system(const char* command);
extern "C" int __wrap_system(const char* command) {
    return onSystem ? onSystem(command) : __real_system(command);
}

TEST_F(OpmLog, PrintToFileSyncsBeforeItCloses) {
    printToFile(path_, "one");
    printToFile(path_, "two");
    // What the stream still holds is not in the file yet.
    EXPECT_EQ((std::vector<std::string>{"sync: ", "sync: one"}), shell_);
    EXPECT_EQ("onetwo", Content());
}

TEST_F(OpmLog, PrintToFileAppendsAsItStands) {
    printToFile(path_, "one\n");
    printToFile(path_, "");
    printToFile(path_, "two %s");
    EXPECT_EQ("one\ntwo %s", Content());
}

TEST_F(OpmLog, PrintToFilePassesOverWhatItCannotDo) {
    const int before = test::FailingCalls::OpenDescriptors();
    printToFile(nullptr, "x");
    printToFile(path_, nullptr);
    printToFile("/nowhere/at/all", "x");
    EXPECT_EQ("", Content());
    EXPECT_TRUE(shell_.empty());
    EXPECT_EQ(before, test::FailingCalls::OpenDescriptors());
}

TEST_F(OpmLog, GainRowsAreTextLines) {
    Gain[3][0] = -1.256f;
    Gain[3][1] = 48879.75f;
    EXPECT_EQ("-1.26 beef\n", Row(3));
    Gain[499][0] = 2.0f;
    Gain[499][1] = 0.0f;
    EXPECT_EQ(" 2.00 0\n", Row(499));
}

TEST_F(OpmLog, TheLongestGainRowIsWhole) {
    Gain[0][0] = -FLT_MAX;
    Gain[0][1] = FLT_MAX;
    EXPECT_EQ("-340282346638528859811704183484516925440.00 ffffffff\n", Row(0));
}

TEST_F(OpmLog, GainsThatAreNoUnsignedNumber) {
    Gain[1][0] = 0.0f;
    for (float value : {-5.0f, NAN, -FLT_MAX}) {
        Gain[1][1] = value;
        EXPECT_EQ(" 0.00 0\n", Row(1));
    }
}

TEST_F(OpmLog, RowsOutsideTheTableAndClosedFilesAreHarmless) {
    EXPECT_EQ("", Row(500));
    EXPECT_EQ("", Row(65535));
    EXPECT_EQ(0, OPMSaveData2File(-1, 0));
}

TEST(ApdRecord, IsNullUntilAScreenMakesIt) {
    EXPECT_EQ(nullptr, pApd_Break_Para);
}
