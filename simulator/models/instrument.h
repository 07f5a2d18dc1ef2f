// The virtual K905: every device model, wired together. This is all that the rest of the simulator talks
// to; how the product's calls get here (interposition, descriptors, threads, sockets) is not known below
// this line.
//
// Every call is made with the instrument's one lock held. Nothing here blocks and nothing reads the machine's
// clock: time comes from the World, chance from the seed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "simulator/models/device.h"

namespace k905 {

class Framebuffer;

class Instrument {
  public:
    struct Options {
        std::string stateDir;  // required; made if missing
        std::string appDir;  // built assets (font/, bitmap/, FPGA images), linked as <stateDir>/root/app/fct
        unsigned seed = 1;   // module and board spread, noise
        unsigned bits = 16;  // framebuffer depth: 16, 24 or 32
        unsigned panelWidth = 800;
        unsigned panelHeight = 480;
        std::int64_t wallClockStart = 1336987800;  // Unix seconds at virtual time 0: 2012-05-14 09:30:00 UTC
        // Called when a fault cuts the power inside an EEPROM write (after the image was left as it is left
        // then). May end the process. Without it the EEPROMs are dead from then on, and PowerLost() tells.
        std::function<void()> onPowerCut;
    };

    // Makes the state folder's trees and images where missing, and opens them. If <stateDir>/start.json
    // exists, its {"set": {name: value}, "faults": {name: value}} are applied first (what matters at
    // start-up); throws std::runtime_error when the folder cannot be made or start.json is wrong.
    Instrument(World& world, const Options& options);
    ~Instrument();
    Instrument(const Instrument&) = delete;
    Instrument& operator=(const Instrument&) = delete;

    // The node of a path ("/dev/optic0"), null when the instrument has no such node. The serial port's far
    // end is "/dev/ttyS0". A node whose kernel module is not inserted refuses to open with ENOENT; Present
    // tells. After an Ioctl the caller is blocked until DrainedAt() (a transfer on the I2C adapter takes
    // its bus time).
    DeviceNode* Node(const std::string& path);
    bool Present(const std::string& path) const;

    // Virtual shell: system() and popen() of the product. Returns the exit status (0..127), fills what it
    // prints on standard output. Knows insmod, echo V > PATH, cat PATH, sync; everything else is 127. Never
    // touches the host.
    int Shell(const std::string& command, std::string& output);

    // Input. `nameOrCode`: a key's name ("menu", "f1", ... "avg") or code "1".."18". "" or the error text.
    std::string Key(const std::string& nameOrCode, bool down);
    void Knob(bool clockwise);  // one step
    struct Point {
        int x, y;  // pixels
    };
    // Fingers now on the panel (0 to 5): the difference to the call before is the press, move or release.
    void Touch(const std::vector<Point>& points);

    // The screen: its pixels live in a memfd that the product maps; the model has it mapped too.
    Framebuffer& Screen();

    // SD card as the file layer must present it: a full card refuses to create or extend files (ENOSPC), a
    // read-only one to open for writing (EROFS). A missing card is simply not there under root/mnt/sdcard.
    bool SdFull() const;
    bool SdReadOnly() const;

    // Wall clock of the instrument now, Unix microseconds (time(), gettimeofday(), CLOCK_REALTIME).
    std::int64_t WallClockMicros() const;

    // The supply goes away now: a write cycle under way is torn as a real part would leave it. Call before
    // ending the process abruptly; killing it without this leaves the write whole.
    void PowerCut();
    bool PowerLost() const;

    nlohmann::json State() const;  // every model, one object each
    // Bench quantity ("board.plugged", "module.temperature"): "" or the error text. See Quantities.
    std::string Set(const std::string& name, const nlohmann::json& value);
    struct QuantityInfo {
        const char* name;
        const char* what;  // with unit
    };
    static const std::vector<QuantityInfo>& Quantities();

    struct FaultInfo {
        const char* name;
        const char* what;          // what is wrong, and what its value means
        const char* operatorSees;  // what the product then shows
    };
    static const std::vector<FaultInfo>& Faults();
    // false, 0 or null clears; true or a value as the table tells sets. "" or the error text.
    std::string SetFault(const std::string& name, const nlohmann::json& value);
    nlohmann::json FaultValue(const std::string& name) const;  // false while clear

    struct Parts;  // the models themselves, see parts.h (for the models' own tests)
    Parts& Inside() { return *parts_; }

  private:
    std::unique_ptr<Parts> parts_;
};

}  // namespace k905
