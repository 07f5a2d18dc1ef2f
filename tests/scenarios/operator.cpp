#include "tests/scenarios/operator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace k905 {

namespace {

BenchOptions With(const Faults& faults, unsigned seed) {
    BenchOptions options;
    options.seed = seed;
    if (!faults.empty())
        options.start = {{"faults", faults}};
    return options;
}

// Those at work in this test.
std::vector<Operator*>& AtWork() {
    static std::vector<Operator*> persons;
    return persons;
}

// Keeps their sessions as soon as something fails. What GoogleTest calls then holds a lock of its own.
class KeepsSessions : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo& test) override {
        name_ = std::string(test.test_suite_name()) + "." + test.name();
        std::replace(name_.begin(), name_.end(), '/', '-');
    }
    void OnTestPartResult(const ::testing::TestPartResult& result) override {
        if (!result.failed())
            return;
        for (std::size_t i = 0; i < AtWork().size(); ++i) {
            const std::filesystem::path folder = std::filesystem::path(K905_BINARY_DIR) / "sessions" /
                                                 (name_ + (i > 0 ? "-" + std::to_string(i) : ""));
            std::error_code ignored;
            std::filesystem::create_directories(folder, ignored);
            std::cout << WhereItIs(AtWork()[i]->At().KeepSession(folder)) << std::endl;
        }
    }
    std::string name_;
};

[[maybe_unused]] const bool listens = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new KeepsSessions);
    return true;
}();

}  // namespace

std::string WhereItIs(const std::string& at) {
    return at.empty() ? "" : "\nThe instrument at that moment: ./run --at '" + at + "'";
}

Operator::Operator(const Faults& faults, unsigned seed) : Operator(With(faults, seed)) {}

Operator::Operator(const BenchOptions& options) : bench_(options) {
    AtWork().push_back(this);
}

Operator::~Operator() {
    AtWork().erase(std::find(AtWork().begin(), AtWork().end(), this));
}

bool Operator::Sees(const std::string& text, int limitMs) {
    if (bench_.UntilText(text, limitMs))
        return true;
    ADD_FAILURE() << "'" << text << "' is not on the screen within " << limitMs << " ms; it shows:\n"
                  << bench_.Describe();
    return false;
}

bool Operator::Go(const std::string& control, const std::string& text) {
    Press(control);
    if (!Sees(text))
        return false;
    Settle();
    return true;
}

bool Operator::OpenMainBoard() {
    if (!WaitForStart())
        return false;
    Settle();
    return Go("MainBoard_FCT", "K905 Mainboard FCT !");
}

bool Operator::Connect() {
    return Go("Connect", "Connect success!!!");
}

bool Operator::OpenKeyCheck() {
    return Go("Key Check", "Realt");
}

bool Operator::OpenModule(const std::string& icon) {
    static const std::map<std::string, const char*> titles = {{"OPM_FCT", "OPM FCT"},
                                                              {"OPM_Adjust", "Apd"},
                                                              {"OPT_Adjust", "Dev adjust"},
                                                              {"APD_Adjust", "APD Adjust"},
                                                              {"E2PROM", "pOpmTunning->iAtt0"}};
    if (!WaitForStart())
        return false;
    Settle();
    return Go("Opticl_FCT", "K905 Optical FCT !") && Go(icon, titles.at(icon));
}

bool Operator::ConnectModule() {
    return Go("Connect", "Connect Success!!!");
}

}  // namespace k905
