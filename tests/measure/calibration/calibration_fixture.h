// The calibrations on simulated modules: what they find against what the module really is.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulator/interpose/linked.h"
#include "tests/support/operator_capture.h"

namespace test {

// Errors of one quantity over many modules; prints mean, standard deviation and the largest when it goes.
class Errors {
  public:
    Errors(const char* what, const char* unit) : what_(what), unit_(unit) {}
    ~Errors();
    Errors(const Errors&) = delete;
    Errors& operator=(const Errors&) = delete;

    void Add(double error) { errors_.push_back(error); }
    std::size_t Count() const { return errors_.size(); }
    double Mean() const;
    double Deviation() const;
    double Largest() const;  // absolute
    double Least() const;    // signed

  private:
    const char* what_;
    const char* unit_;
    std::vector<double> errors_;
};

class Calibration : public testing::Test {
  protected:
    static constexpr unsigned kModules = K905_SANITIZED ? 3 : 50;

    Calibration();
    ~Calibration() override;

    // Plugs module number `seed` in, at 25 degrees and with the initial tuning record.
    void Plug(unsigned seed);
    void Set(const std::string& name, const nlohmann::json& value) {
        EXPECT_EQ("", linked_->Hardware().Set(name, value));
    }
    void Fault(const std::string& name, const nlohmann::json& value) {
        EXPECT_EQ("", linked_->Hardware().SetFault(name, value));
    }
    // A true value of the module ("breakdown_code").
    double Truth(const char* name) const { return Optics().at(name).get<double>(); }
    nlohmann::json Optics() const { return linked_->Hardware().State().at("optics"); }

    std::unique_ptr<k905::LinkedInstrument> linked_;
    OperatorCapture operator_;

  private:
    std::string appDir_;
};

// Runs `action` with its console output dropped.
template <typename Action>
auto Quietly(Action action) {
    struct Capture {
        Capture() { testing::internal::CaptureStdout(); }
        ~Capture() { testing::internal::GetCapturedStdout(); }
    } capture;
    return action();
}

}  // namespace test
