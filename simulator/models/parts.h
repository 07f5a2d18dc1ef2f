// The models of one instrument and how they are wired. For instrument*.cpp and the models' own tests.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "simulator/models/at24c512.h"
#include "simulator/models/fpga.h"
#include "simulator/models/fpga_loader.h"
#include "simulator/models/framebuffer.h"
#include "simulator/models/instrument.h"
#include "simulator/models/keypad.h"
#include "simulator/models/mainboard_eeprom.h"
#include "simulator/models/measurement_board.h"
#include "simulator/models/optic_driver.h"
#include "simulator/models/optics.h"
#include "simulator/models/power_controller.h"
#include "simulator/models/rtc.h"
#include "simulator/models/storage.h"
#include "simulator/models/straps.h"
#include "simulator/models/touch_panel.h"
#include "simulator/models/virtual_shell.h"

namespace k905 {

struct Instrument::Parts : ModuleSurroundings {
    Parts(World& world, const Options& options);

    // ModuleSurroundings.
    double Temperature() const override;
    TestSignal InjectedSignal() const override { return board.InjectedSignal(); }
    unsigned InjectedChannel() const override { return board.InjectedChannel(); }

    bool InsertModule(const std::string& name);
    bool Faulty(const char* fault) const { return faults.count(fault) > 0; }
    // What a bench setting and the faults that lie over it come to together. "" or the error text.
    std::string ApplyMedia();

    // Of the EEPROM that the trace calls so: module, mainboard.
    EepromCells& Cells(const std::string& memory) {
        return memory == "module" ? moduleEeprom.Cells() : mainboardEeprom.Cells();
    }

    World& world;
    Storage storage;
    Framebuffer screen;
    Keypad keypad;
    TouchPanel touch;
    Optics optics;
    At24c512 moduleEeprom;
    Fpga fpga;
    FpgaLoader loader;
    OpticDriver optic;
    MeasurementBoard board;
    MainboardEeprom mainboardEeprom;
    Rtc rtc;
    PowerController power;
    Straps straps;
    VirtualShell shell;

    // Module temperature: `temperature` degrees Celsius at `temperatureSince`, then `temperatureRate` degrees
    // a minute towards `temperatureEnd`.
    static constexpr double kColdest = -40, kHottest = 85;
    double temperature = 25.0, temperatureRate = 0.0;
    std::optional<double> temperatureEnd;  // none: the limits
    Micros temperatureSince = 0;
    // The ramp now: 0 once it has come to its end.
    double TemperatureRate() const;
    nlohmann::json TemperatureState() const;

    const unsigned seed;                           // the instrument's own number
    std::optional<unsigned> noiseWanted;           // none: noise by the parts' own numbers
    unsigned panelWidth, panelHeight;              // under "screen.small", and of the next start
    bool boardWanted = true;                       // bench setting under the fault "board.unplugged"
    bool sdWanted = true;                          // under "sd.missing"
    unsigned sticksWanted = 1;                     // under "usb.missing", "usb.two"
    std::map<std::string, nlohmann::json> faults;  // those that are set, by name
};

}  // namespace k905
