// Where a value comes from: the write since power-on that made it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "simulator/models/cell_origins.h"

namespace k905 {

class Instrument;

// {"found": whether it has been written since power-on (a register: since the FPGA was configured), "value",
// and of the write "at_us", "what" as in the hardware trace, "thread", "before"}, of {"register": address or
// name} or {"memory": "module" or "mainboard", "at": address}. Throws std::invalid_argument with what is
// wrong with the request.
nlohmann::json OriginOf(Instrument& instrument, const nlohmann::json& request);

// An EEPROM by the name that the trace calls it; its image in the state folder, and where its origins are.
struct NamedMemory {
    const char* name;
    const char* image;
};
constexpr NamedMemory kNamedMemories[] = {{"module", "module.at24c512"}, {"mainboard", "mainboard.eeprom"}};
constexpr const char* kOriginsOf = ".origins";  // behind the image's name

const NamedMemory& MemoryOf(const nlohmann::json& request);
std::size_t CellOf(const nlohmann::json& request);
nlohmann::json DescribeOrigin(const NamedMemory& memory, const CellOrigin& origin, unsigned value);

}  // namespace k905
