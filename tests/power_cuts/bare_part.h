// The store's EEPROM without its bus: while a BarePart lives, the program's transfers (device/i2c_com.h) go
// to the part's array byte for byte, not bit for bit, and its pauses cost no time. The store and the array
// are the ones that everything else uses.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "simulator/models/eeprom_cells.h"

namespace power_cuts {

using Bytes = std::vector<uint8_t>;
using Damage = k905::EepromCells::Damage;

constexpr uint32_t kPageSize = k905::EepromCells::kPage;

// A write cycle of the part: these bytes from this address on, all in one page.
struct WriteCycle {
    uint32_t address;
    Bytes bytes;
};

// The last step of an opening. True when a journalled page was written to its place.
bool RecoverPending();

class BarePart {
  public:
    // One at a time; the linker sends the program's transfers here (CMakeLists.txt).
    BarePart();
    ~BarePart();
    BarePart(const BarePart&) = delete;
    BarePart& operator=(const BarePart&) = delete;

    uint8_t* Image() { return cells_.Image(); }
    k905::EepromCells& Cells() { return cells_; }
    // Power for the part alone, its write protection on, as the FPGA's output register starts.
    void PowerOn(unsigned seed = 1);
    // The program's variables as they start.
    static void ResetVariables();
    // Opens the store as its user does.
    static void Open();

    // The write cycles since the last call.
    std::vector<WriteCycle> TakeCycles();

    // For the program's transfers.
    void Read(uint16_t address, uint8_t* bytes, int count);
    void Write(uint16_t address, const uint8_t* bytes, int count);
    void Protect(bool on) { protected_ = on; }
    void Pause(unsigned long milliseconds) { now_ += static_cast<k905::Micros>(milliseconds) * 1000; }

  private:
    std::string folder_;
    k905::EepromCells cells_;
    k905::Micros now_ = 0;
    bool protected_ = true;
    std::vector<WriteCycle> cycles_;
};

}  // namespace power_cuts
