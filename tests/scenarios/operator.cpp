#include "tests/scenarios/operator.h"

#include <gtest/gtest.h>

#include "simulator/panel/screens_map.h"

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

void Operator::Press(const std::string& screen, const std::string& control) {
    const Control& place = FindControl(screen, control);
    bench_.Tap(place.x, place.y);
}

bool Operator::Go(const std::string& screen, const std::string& control, const std::string& text) {
    Press(screen, control);
    if (!Sees(text))
        return false;
    Settle();
    return true;
}

bool Operator::OpenMainBoard() {
    if (!WaitForStart())
        return false;
    Settle();
    return Go("start", "MainBoard_FCT", "K905 Mainboard FCT !");
}

bool Operator::Connect() {
    return Go("mainboard", "Connect", "Connect success!!!");
}

bool Operator::OpenKeyCheck() {
    return Go("mainboard", "Key Check", "Realt");
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
    return Go("start", "Opticl_FCT", "K905 Optical FCT !") && Go("menu", icon, titles.at(icon));
}

bool Operator::ConnectModule(const std::string& screen) {
    return Go(screen, "Connect", "Connect Success!!!");
}

}  // namespace k905
