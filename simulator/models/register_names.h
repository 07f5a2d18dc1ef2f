// The FPGA's registers for people: names, fields, and what a value is worth.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "simulator/models/registers.h"

namespace k905 {

struct RegisterName {
    struct Field {
        std::uint16_t mask = 0;
        const char* name = nullptr;
        const char* values[8] = {};  // what each number in it is called
    };
    std::uint16_t index;
    const char* name;
    Field fields[4] = {};                                 // up to the first without a name
    std::string (*worth)(std::uint16_t value) = nullptr;  // with its unit
    std::uint16_t count = 1;                              // registers in a row
};

// Constant: they are told while the process ends, too.
extern const RegisterName kRegisterNames[21];

// "control_out", "phase[3]"; "" for one without a name.
std::string NameOfRegister(std::uint16_t index);
// Its name, and what the value means there: "vdd 3.000 V", "current0 front_amplifier=6303 resistor=2".
std::string ExplainRegister(std::uint16_t index, std::uint16_t value);
// The register of a name, an address (0x30000084, also as text) or an index; nothing: there is none.
std::optional<std::uint16_t> FindRegister(const nlohmann::json& wanted);
constexpr const char* kNoRegister =
    "\"register\" is a name, or an even address from 0x30000000 to 0x300000fe";

}  // namespace k905
