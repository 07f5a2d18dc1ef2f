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

bool Operator::OpenMainBoard() {
    if (!WaitForStart())
        return false;
    Settle();
    Press("start", "MainBoard_FCT");
    if (!Sees("K905 Mainboard FCT !"))
        return false;
    Settle();
    return true;
}

bool Operator::Connect() {
    Press("mainboard", "Connect");
    if (!Sees("Connect success!!!"))
        return false;
    Settle();
    return true;
}

bool Operator::OpenKeyCheck() {
    Press("mainboard", "Key Check");
    if (!Sees("Realt"))
        return false;
    Settle();
    return true;
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
    Press("start", "Opticl_FCT");
    if (!Sees("K905 Optical FCT !"))
        return false;
    Settle();
    Press("menu", icon);
    if (!Sees(titles.at(icon)))
        return false;
    Settle();
    return true;
}

bool Operator::ConnectModule(const std::string& screen) {
    Press(screen, "Connect");
    if (!Sees("Connect Success!!!"))
        return false;
    Settle();
    return true;
}

}  // namespace k905
