#include "tests/scenarios/operator.h"

#include <gtest/gtest.h>

namespace k905 {

namespace {

BenchOptions With(const Faults& faults, unsigned seed) {
    BenchOptions options;
    options.seed = seed;
    if (!faults.empty())
        options.start = {{"faults", faults}};
    return options;
}

}  // namespace

Operator::Operator(const Faults& faults, unsigned seed) : bench_(With(faults, seed)) {}

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
