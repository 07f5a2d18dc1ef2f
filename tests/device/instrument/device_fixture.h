// A powered instrument with bitstreams of its own under /app/fct, and the device units as after the program's
// start.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "simulator/interpose/linked.h"
#include "tests/support/operator_capture.h"

namespace test {

class DeviceTest : public testing::Test {
  protected:
    DeviceTest();
    // Closes what the program keeps open for its whole life.
    ~DeviceTest() override;

    // Sets a bench quantity or a fault of the instrument.
    void Set(const std::string& name, const nlohmann::json& value) {
        EXPECT_EQ("", linked_->Hardware().Set(name, value));
    }
    void Fault(const std::string& name, const nlohmann::json& value = true) {
        EXPECT_EQ("", linked_->Hardware().SetFault(name, value));
    }

    // The start-up, its console output dropped into output_.
    int32_t StartUp();
    // Trace lines of these kinds, one a line of text.
    std::string Trace(const std::vector<std::string>& kinds = {}) const;

    std::unique_ptr<k905::LinkedInstrument> linked_;
    OperatorCapture operator_;
    std::string output_;
    std::string appDir_;  // the instrument's /app/fct
};

// Runs `action` and returns what it printed to standard output.
template <typename Action>
std::string Printed(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

}  // namespace test
