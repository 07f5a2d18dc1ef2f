// How the program is to leave the optical module.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace k905 {

// "", or what is not at rest in a state that was left behind (as "state" tells it). Before the optic driver
// is open, nothing has been switched on.
inline std::string ModuleUnrest(const nlohmann::json& leftBehind) {
    if (!leftBehind.is_object())
        return "nothing is known of it";
    const nlohmann::json& registers = leftBehind.at("fpga").at("registers");
    if (registers.at("apd") == "0x0000" && registers.at("vdd") == "0x0000")
        return "";
    std::string wrong;
    for (const auto& [name, rest] : {std::pair<const char*, const char*>{"apd", "0x0800"},
                                     {"vdd", "0x0810"},
                                     {"current1", "0x0040"},
                                     {"control_out", "0x07f8"}})
        if (registers.at(name) != rest)
            wrong += std::string(wrong.empty() ? "" : ", ") + name + " is " +
                     registers.at(name).get<std::string>();
    return wrong;
}

}  // namespace k905
