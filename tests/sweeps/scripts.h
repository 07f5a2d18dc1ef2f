// What is done on each screen while calls fail.
#pragma once

#include <functional>
#include <vector>

#include "tests/sweeps/session.h"

namespace k905::sweeps {

struct Script {
    const char* name;
    // To the screen, with all calls good.
    std::function<void(Session&)> reach;
    // The work during which a call fails; the way back to the start screen and the end follow.
    std::function<void(Session&)> use;
    // Where the device under test is bad: texts (their beginnings) that would be a false verdict.
    std::vector<const char*> falseTexts;
};

const std::vector<Script>& Scripts();

}  // namespace k905::sweeps
