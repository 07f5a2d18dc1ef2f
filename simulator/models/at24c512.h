// The optical module's AT24C512: an I2C slave clocked bit by bit over two lines that the FPGA drives.
//
// Address 0xA2 (write), 0xA3 (read); two address bytes; sequential read over the whole memory; page write
// within 128 bytes; a write cycle of 5 ms after the stop, during which it does not acknowledge; write
// protect pin.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "simulator/models/device.h"
#include "simulator/models/eeprom_cells.h"

namespace k905 {

class At24c512 {
  public:
    static constexpr std::uint8_t kWriteAddress = 0xA2, kReadAddress = 0xA3;

    At24c512(World& world, const std::string& imagePath, unsigned seed);

    // The master's side of the lines (true: released or driven high). Where clock and data change in one call
    // the clock falls before, and rises after, the data changes, so that this is never a start or a stop.
    void Drive(bool scl, bool sda, bool writeProtect);
    // The data line as everyone sees it: low when the master or this part pulls it low.
    bool Sda() const { return masterSda_ && !pullsLow_; }
    bool Scl() const { return scl_; }
    bool WriteProtected() const { return writeProtect_ || protectStuck_; }

    EepromCells& Cells() { return cells_; }

    // Faults: the part never acknowledges (broken line); the protect pin is stuck high.
    void SetSilent(bool silent) { silent_ = silent; }
    void SetProtectStuck(bool stuck) { protectStuck_ = stuck; }

    nlohmann::json State() const;

  private:
    enum class Phase { kIdle, kDevice, kAddressHigh, kAddressLow, kWriteData, kReadData, kIgnore };

    void Start();
    void Stop();
    void ClockRises();
    void ClockFalls();
    void ByteReceived();
    void Acknowledge(Phase next);
    void FinishTransfer();

    World& world_;
    EepromCells cells_;
    bool scl_ = true, masterSda_ = true, writeProtect_ = false;
    bool silent_ = false, protectStuck_ = false;

    Phase phase_ = Phase::kIdle;
    unsigned bit_ = 0;           // clocks of this byte so far: 0 to 8 data, the ninth the acknowledge
    std::uint8_t shift_ = 0;     // byte going in or out
    bool acknowledges_ = false;  // this part drives the ninth clock low
    bool pullsLow_ = false;
    std::uint16_t address_ = 0;  // the address counter; survives transfers
    std::uint16_t transferStart_ = 0;
    std::size_t readCount_ = 0;
    std::vector<std::uint8_t> pageBuffer_;
};

}  // namespace k905
