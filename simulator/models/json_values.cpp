#include "simulator/models/json_values.h"

#include <algorithm>

namespace k905 {

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
