// Board straps on GPIOs 72 (PB8), 73 (PB9) and 91 (PB27), as /sys/class/gpio shows them: a pin has files only
// after its number was written to "export".
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace k905 {

class Straps {
  public:
    static constexpr const char* kFolder = "/sys/class/gpio/";

    // Level of a pin by its board name "pb8", "pb9", "pb27"; false when there is no such pin.
    bool Set(const std::string& name, bool level);
    // Fault: levels that stand for no board.
    void SetUnknown(bool unknown) { unknown_ = unknown; }

    // The files below kFolder, by their full path. False: no such file, or it refuses what is written.
    bool Write(const std::string& path, const std::string& text);
    bool Read(const std::string& path, std::string& text) const;
    bool Exists(const std::string& path) const;

    nlohmann::json State() const;

  private:
    struct Pin {
        const char* name;
        unsigned gpio;
        bool level;         // as strapped
        bool unknownLevel;  // while the fault is on
        bool exported, output;
    };
    const Pin* Find(const std::string& path, const char* file) const;

    // The Lattice board.
    Pin pins_[3] = {{"pb8", 72, false, true, false, false},
                    {"pb9", 73, false, false, false, false},
                    {"pb27", 91, true, true, false, false}};
    bool unknown_ = false;
};

}  // namespace k905
