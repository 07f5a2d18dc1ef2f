#include "simulator/models/power_controller.h"

#include <cerrno>
#include <nlohmann/json.hpp>

#include "simulator/models/text.h"

namespace k905 {

class PowerControllerFile : public DeviceFile {
  public:
    explicit PowerControllerFile(PowerController& controller) : controller_(controller) {}

    ssize_t Read(void* buffer, std::size_t size) override {
        if (buffer == nullptr || size < 2)
            return -EINVAL;
        const PowerController& from = controller_;
        auto* bytes = static_cast<std::uint8_t*>(buffer);
        bytes[0] = static_cast<std::uint8_t>((from.dc_ ? 1 : 0) | (from.battery_ ? 2 : 0) |
                                             (from.full_ ? 4 : 0) | (from.type_ & 3) << 3);
        const ssize_t count = from.short_ ? 1 : 2;
        if (count == 2)
            bytes[1] = from.level_;
        from.world_.Trace("file", Text("power read %zd", count));
        return count;
    }

  private:
    PowerController& controller_;
};

std::unique_ptr<DeviceFile> PowerController::Open(int /*flags*/, int& error) {
    if (missing_) {
        error = ENOENT;
        return nullptr;
    }
    return std::make_unique<PowerControllerFile>(*this);
}

std::string PowerController::Set(const std::string& field, const nlohmann::json& value) {
    bool* flag = field == "dc" ? &dc_ : field == "bat" ? &battery_ : field == "full" ? &full_ : nullptr;
    if (flag != nullptr) {
        if (!value.is_boolean())
            return "power." + field + " is true or false";
        *flag = value.get<bool>();
        return "";
    }
    const int most = field == "type" ? 3 : field == "level" ? 255 : -1;
    if (most < 0)
        return "no such quantity: power." + field;
    if (!value.is_number_integer() || value < 0 || value > most)
        return Text("power.%s is 0 to %d", field.c_str(), most);
    (field == "type" ? type_ : level_) = value.get<std::uint8_t>();
    return "";
}

nlohmann::json PowerController::State() const {
    return {{"present", Present()}, {"dc", dc_},     {"bat", battery_},
            {"full", full_},        {"type", type_}, {"level", level_}};
}

}  // namespace k905
