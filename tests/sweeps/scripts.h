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
    // What makes the device under test bad before that, null: it stays good; and what would then be a false
    // verdict. A text that begins with | begins its line.
    nlohmann::json turnsBad;
    std::vector<const char*> falseTexts;
};

const std::vector<Script>& Scripts();

bool IsFalse(const Script& script, const std::string& text);

}  // namespace k905::sweeps
