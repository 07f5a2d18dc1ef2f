// The main board's EEPROM on the kernel's I2C adapter /dev/i2c-1: a 24C-type part at address 0x50 with two
// address bytes and 128-byte pages. An ioctl of the adapter drives the write-protect pin.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "simulator/models/device.h"
#include "simulator/models/eeprom_cells.h"

struct i2c_msg;

namespace k905 {

class MainboardEeprom : public DeviceNode {
  public:
    static constexpr unsigned kAddress = 0x50;
    static constexpr unsigned long kSetSlave = 0x0703, kTransfer = 0x0707, kProtect = 0x0709;

    MainboardEeprom(World& world, const std::string& imagePath, unsigned seed);

    std::unique_ptr<DeviceFile> Open(int flags, int& error) override;
    EepromCells& Cells() { return cells_; }

    // Faults: never acknowledges; the protect pin stays high whatever the adapter does.
    void SetSilent(bool silent) { silent_ = silent; }
    void SetProtectStuck(bool stuck) { protectStuck_ = stuck; }
    bool Protected() const { return protect_ || protectStuck_; }

    nlohmann::json State() const;

  private:
    friend class MainboardEepromFile;
    int Transfer(i2c_msg* messages, unsigned count);
    int Write(const i2c_msg& message, bool last);
    int Read(i2c_msg& message);
    void Spend(std::size_t bytes);

    World& world_;
    EepromCells cells_;
    bool silent_ = false, protectStuck_ = false, protect_ = true;
    std::uint16_t address_ = 0;  // the part's address counter
    Micros busTime_ = 0;         // until when the bus is taken
};

}  // namespace k905
