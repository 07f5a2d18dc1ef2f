// The faults by name.
#include <array>

#include "simulator/models/fault_rows.h"

namespace k905 {

namespace {

using nlohmann::json;

const std::array<FaultRows, 4>& Rooms() {
    static const std::array<FaultRows, 4> rooms = {BoardFaults(), ModuleFaults(), MemoryFaults(),
                                                   PanelFaults()};
    return rooms;
}

const FaultRow* Find(const std::string& name) {
    for (const FaultRows& room : Rooms())
        for (const FaultRow& row : room)
            if (name == row.info.name)
                return &row;
    return nullptr;
}

bool Clears(const json& value) {
    return value.is_null() || value == json(false) || (value.is_number() && value == 0);
}

}  // namespace

const std::vector<Instrument::FaultInfo>& Instrument::Faults() {
    static const std::vector<FaultInfo> infos = [] {
        std::vector<FaultInfo> all;
        for (const FaultRows& room : Rooms())
            for (const FaultRow& row : room)
                all.push_back(row.info);
        return all;
    }();
    return infos;
}

std::string Instrument::SetFault(const std::string& name, const nlohmann::json& value) {
    const FaultRow* row = Find(name);
    if (row == nullptr)
        return "no such fault: " + name;
    auto& faults = parts_->faults;
    const auto before = faults;
    const bool on = !Clears(value);
    if (on)
        faults[name] = value;
    else
        faults.erase(name);
    std::string problem = row->apply(*parts_, on, value);
    if (problem.empty())
        return "";
    faults = before;
    if (const std::string own = "this fault"; problem.compare(0, own.size(), own) == 0)
        problem.replace(0, own.size(), name);
    if (problem.find(" takes ") == std::string::npos)
        return problem;  // it names what is wrong itself
    return problem + ", not " + value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

nlohmann::json Instrument::FaultValue(const std::string& name) const {
    const auto set = parts_->faults.find(name);
    return set != parts_->faults.end() ? set->second : nlohmann::json(false);
}

}  // namespace k905
