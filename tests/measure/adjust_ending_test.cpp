// The end of the program while all four loops run: on real threads, with no hardware to answer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "device/common_opt.h"
#include "gui/guischeduler.h"
#include "measure/adjust.h"
#include "tests/support/operator_capture.h"

TEST(AdjustAuto, TheEndOfTheProgramWakesTheLoopThatSleeps) {
    using Clock = std::chrono::steady_clock;
    test::OperatorCapture lines;
    Clock::time_point ending;
    opticFD = -1;
    serialFD = -1;
    SetStopThreadFlag(1);
    // Two sleeps of a second follow this line.
    lines.onLine = [&](const std::string& line) {
        if (line != "adjust data 3: finish fpga init")
            return;
        ending = Clock::now();
        SetExitFlag(1);
    };
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    OPMAdjustAuto();
    const auto took = Clock::now() - ending;
    SetExitFlag(0);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(took).count(), 1000);
    EXPECT_EQ("adjust data 4: Stop", lines.Lines().back());
    EXPECT_THAT(lines.Lines(), testing::Contains("adjust data 3: Stop"));
}
