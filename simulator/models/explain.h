// What a line of the hardware trace means: registers with their fields, the serial protocol.
#pragma once

#include <string>

namespace k905 {

// "" when there is nothing to add. `asked`: the serial line before it, where that is a reply's request.
std::string ExplainTrace(const std::string& line, const std::string& asked);

}  // namespace k905
