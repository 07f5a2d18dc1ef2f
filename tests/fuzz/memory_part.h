// The module's EEPROM in memory: between PowerOn and SetBack of a part the program's transfers
// (device/i2c_com.h) go to its bytes, not bit for bit over the bus, and its pauses there take no time. The
// linker sends the calls here (CMakeLists.txt).
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "device/eeprom.h"

namespace fuzz {

class MemoryPart {
  public:
    // Zeroes, and then what `prepare` makes the program write.
    explicit MemoryPart(void (*prepare)());

    static constexpr size_t kPage = EEPROM_PAGE_SIZE;
    static constexpr size_t kSize = kPage * EEPROM_PAGE_COUNT;

    const uint8_t* Bytes() const { return bytes_; }
    void Change(size_t address, uint8_t byte);
    // Puts the part on the bus, its write protection on.
    void PowerOn();
    // Whether the program has written to a page.
    bool Written(size_t page) const { return pages_[page] == kWritten; }
    // Takes it off the bus, as it was made.
    void SetBack();

    // For the program's transfers. A part that is busy does not answer, and the released line reads as ones.
    void Read(uint16_t address, uint8_t* bytes, int count) const;
    void Write(uint16_t address, const uint8_t* bytes, int count);
    void Protect(bool on) { protected_ = on; }
    void Pause() { busy_ = false; }

  private:
    uint8_t bytes_[kSize] = {};
    uint8_t made_[kSize] = {};
    enum : uint8_t { kAsMade, kChanged, kWritten } pages_[EEPROM_PAGE_COUNT] = {};
    bool protected_ = true;
    bool busy_ = false;  // with a write cycle, until the program's next pause, which is longer
};

}  // namespace fuzz
