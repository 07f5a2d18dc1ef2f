// Checks of the values that bench quantities and faults are given.
#pragma once

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace k905 {

inline bool InRange(const nlohmann::json& value, double low, double high) {
    return value.is_number() && value.get<double>() >= low && value.get<double>() <= high;
}

inline bool WholeInRange(const nlohmann::json& value, std::int64_t low, std::int64_t high) {
    return value.is_number_integer() && InRange(value, static_cast<double>(low), static_cast<double>(high));
}

// A member of a request. What is missing or of another kind is told in words, as std::invalid_argument.
const nlohmann::json& MemberOf(const nlohmann::json& request, const char* name);
std::string WordOf(const nlohmann::json& request, const char* name);
std::string WordOf(const nlohmann::json& request, const char* name, const std::string& otherwise);
double NumberOf(const nlohmann::json& request, const char* name);
bool SwitchOf(const nlohmann::json& request, const char* name, bool otherwise);

// A number from 0 on, as such or as text ("0x3000002e"); nothing: it is none.
std::optional<std::uint64_t> WholeFrom(const nlohmann::json& value);

// What was thrown over a request, for a person: the JSON library's own words are for programmers.
std::string ReasonOf(const std::exception& error);

// A value for one thing, or a list of values for several.
inline nlohmann::json AsList(const nlohmann::json& value) {
    return value.is_array() ? value : nlohmann::json::array({value});
}

// An object of numbers: each member is one of the fields, within its range. False: something else, or
// nothing.
struct NumberField {
    const char* name;
    double low, high;
    std::function<void(double)> take;
};
bool ReadFields(const nlohmann::json& value, const std::vector<NumberField>& fields);

}  // namespace k905
