// What every device unit test starts from: the recorder in place, the optic driver open, nothing left of
// other tests.
#pragma once

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "tests/device/unit/system_recorder.h"
#include "tests/support/operator_capture.h"

namespace test {

// Runs `action` and returns what it printed to standard output, or to standard error.
template <typename Action>
std::string Printed(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}
template <typename Action>
std::string PrintedErrors(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

class InstrumentTest : public testing::Test {
  protected:
    InstrumentTest() {
        memset(cFpgaFileName, 0, sizeof(cFpgaFileName));
        CurrCtrl0 = 0;
        CurrCtrl1 = 0;
        adcValue1 = 0.0f;
        cOpmTunning = initialTuning_;
        OPMGUIShare.usIsConnect = 0;
        serialFD = -1;
        opticFD = system_.OpenNode("/dev/optic0");
    }
    ~InstrumentTest() override {
        opticFD = -1;
        serialFD = -1;
    }

    // Registers written so far, without the pauses.
    std::string Writes() const { return system_.Trace("reg write"); }

    SystemRecorder system_;
    OperatorCapture operator_;

  private:
    static const OPM_TUNING initialTuning_;
};

inline const OPM_TUNING InstrumentTest::initialTuning_ = cOpmTunning;

}  // namespace test
