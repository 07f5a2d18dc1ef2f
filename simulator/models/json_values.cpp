#include "simulator/models/json_values.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

namespace k905 {

namespace {

[[noreturn]] void Refuse(const char* name, const char* what) {
    throw std::invalid_argument(std::string("\"") + name + "\" " + what);
}

}  // namespace

const nlohmann::json& MemberOf(const nlohmann::json& request, const char* name) {
    const auto member = request.find(name);
    if (member == request.end())
        Refuse(name, "is missing in the request");
    return *member;
}

std::string WordOf(const nlohmann::json& request, const char* name) {
    const nlohmann::json& member = MemberOf(request, name);
    if (!member.is_string())
        Refuse(name, "must be a text");
    return member.get<std::string>();
}

std::string WordOf(const nlohmann::json& request, const char* name, const std::string& otherwise) {
    return request.contains(name) ? WordOf(request, name) : otherwise;
}

double NumberOf(const nlohmann::json& request, const char* name) {
    const nlohmann::json& member = MemberOf(request, name);
    if (!member.is_number())
        Refuse(name, "must be a number");
    return member.get<double>();
}

bool SwitchOf(const nlohmann::json& request, const char* name, bool otherwise) {
    if (!request.contains(name))
        return otherwise;
    if (!request[name].is_boolean())
        Refuse(name, "must be true or false");
    return request[name].get<bool>();
}

std::optional<std::uint64_t> WholeFrom(const nlohmann::json& value) {
    if (value.is_number_integer())
        return value < 0 ? std::nullopt : std::optional(value.get<std::uint64_t>());
    if (!value.is_string())
        return std::nullopt;
    const std::string text = value.get<std::string>();
    if (text.empty() || std::isdigit(static_cast<unsigned char>(text[0])) == 0)
        return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const std::uint64_t number = std::strtoull(text.c_str(), &end, 0);
    return *end != '\0' || errno != 0 ? std::nullopt : std::optional(number);
}

std::string ReasonOf(const std::exception& error) {
    return dynamic_cast<const nlohmann::json::exception*>(&error) != nullptr
               ? "a member of the request is of the wrong kind"
               : error.what();
}

bool ReadFields(const nlohmann::json& value, const std::vector<NumberField>& fields) {
    if (!value.is_object() || value.empty())
        return false;
    for (const auto& [name, number] : value.items()) {
        const auto field = std::find_if(fields.begin(), fields.end(),
                                        [&name = name](const NumberField& one) { return name == one.name; });
        if (field == fields.end() || !InRange(number, field->low, field->high))
            return false;
        field->take(number.get<double>());
    }
    return true;
}

}  // namespace k905
