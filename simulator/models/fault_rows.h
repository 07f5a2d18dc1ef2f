// The faults, a row each, in one table a room of the instrument. For instrument_faults*.cpp.
#pragma once

#include <string>

#include "simulator/models/json_values.h"
#include "simulator/models/parts.h"
#include "simulator/models/text.h"

namespace k905 {

struct FaultRow {
    Instrument::FaultInfo info;
    // `on` is false while clearing; `value` is then of no interest. "" or the error text; the fault counts as
    // set (or cleared) in Parts::faults while this runs.
    std::string (*apply)(Instrument::Parts&, bool on, const nlohmann::json& value);
};

struct FaultRows {
    const FaultRow *first, *last;
    const FaultRow* begin() const { return first; }
    const FaultRow* end() const { return last; }
};
FaultRows BoardFaults();
FaultRows ModuleFaults();
FaultRows MemoryFaults();
FaultRows PanelFaults();

inline std::string OnlyTrue(bool on, const nlohmann::json& value) {
    return on && !value.is_boolean() ? "this fault is true or false" : "";
}

// A fault that is one switch of one model.
template <auto Part, auto Switch>
std::string Toggle(Instrument::Parts& parts, bool on, const nlohmann::json& value) {
    std::string problem = OnlyTrue(on, value);
    if (problem.empty())
        ((parts.*Part).*Switch)(on);
    return problem;
}

// A fault that lies over a bench setting of board, card or stick.
inline std::string Media(Instrument::Parts& parts, bool on, const nlohmann::json& value) {
    const std::string problem = OnlyTrue(on, value);
    return problem.empty() ? parts.ApplyMedia() : problem;
}

}  // namespace k905
