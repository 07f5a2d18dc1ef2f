// Where the instrument that this user's last `k905 panel` started keeps its state, so that `k905 ctl` finds
// it.
#pragma once

#include <string>

namespace k905 {

// Both are silent when there is nowhere to remember it.
void RememberPanel(const std::string& stateDir);
// "" when none is known.
std::string RememberedPanel();
// Forgets it, if it still is this one.
void ForgetPanel(const std::string& stateDir);

}  // namespace k905
