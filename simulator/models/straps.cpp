#include "simulator/models/straps.h"

#include <nlohmann/json.hpp>

namespace k905 {

bool Straps::Set(const std::string& name, bool level) {
    for (Pin& pin : pins_)
        if (name == pin.name) {
            pin.level = level;
            return true;
        }
    return false;
}

// The exported pin whose `file` ("value") the path names; null when there is none.
const Straps::Pin* Straps::Find(const std::string& path, const char* file) const {
    for (const Pin& pin : pins_)
        if (pin.exported && path == kFolder + ("gpio" + std::to_string(pin.gpio)) + "/" + file)
            return &pin;
    return nullptr;
}

bool Straps::Write(const std::string& path, const std::string& text) {
    const bool exporting = path == std::string(kFolder) + "export";
    if (exporting || path == std::string(kFolder) + "unexport") {
        for (Pin& pin : pins_)
            if (text == std::to_string(pin.gpio) && pin.exported != exporting) {
                pin.exported = exporting;
                pin.output = false;
                return true;
            }
        return false;  // no such pin, or already so
    }
    if (const Pin* pin = Find(path, "direction")) {
        if (text != "in" && text != "out")
            return false;
        const_cast<Pin*>(pin)->output = text == "out";
        return true;
    }
    const Pin* pin = Find(path, "value");
    return pin != nullptr && pin->output &&
           (text == "0" || text == "1");  // the strap's resistor wins all the same
}

bool Straps::Read(const std::string& path, std::string& text) const {
    if (const Pin* pin = Find(path, "value")) {
        text = (unknown_ ? pin->unknownLevel : pin->level) ? "1\n" : "0\n";
        return true;
    }
    if (const Pin* pin = Find(path, "direction")) {
        text = pin->output ? "out\n" : "in\n";
        return true;
    }
    return false;
}

bool Straps::Exists(const std::string& path) const {
    return path == std::string(kFolder) + "export" || path == std::string(kFolder) + "unexport" ||
           Find(path, "value") != nullptr || Find(path, "direction") != nullptr;
}

nlohmann::json Straps::State() const {
    nlohmann::json state = nlohmann::json::object();
    for (const Pin& pin : pins_)
        state[pin.name] = {{"level", (unknown_ ? pin.unknownLevel : pin.level) ? 1 : 0},
                           {"exported", pin.exported}};
    return state;
}

}  // namespace k905
