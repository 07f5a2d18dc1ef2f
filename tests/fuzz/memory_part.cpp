#include "tests/fuzz/memory_part.h"

#include <string.h>

namespace fuzz {

static MemoryPart* onBus = nullptr;

MemoryPart::MemoryPart(void (*prepare)()) {
    PowerOn();
    prepare();
    memcpy(made_, bytes_, kSize);
    SetBack();
}

void MemoryPart::Change(size_t address, uint8_t byte) {
    pages_[address / kPage] = kChanged;
    bytes_[address] = byte;
}

void MemoryPart::PowerOn() {
    onBus = this;
    protected_ = true;
    busy_ = false;
}

void MemoryPart::SetBack() {
    onBus = nullptr;
    for (size_t page = 0; page < EEPROM_PAGE_COUNT; ++page)
        if (pages_[page] != kAsMade)
            memcpy(bytes_ + page * kPage, made_ + page * kPage, kPage);
    memset(pages_, kAsMade, sizeof pages_);
}

void MemoryPart::Read(uint16_t address, uint8_t* bytes, int count) const {
    const size_t size = static_cast<size_t>(count), first = size < kSize - address ? size : kSize - address;
    if (busy_) {
        memset(bytes, 0xFF, size);
        return;
    }
    memcpy(bytes, bytes_ + address, first);
    memcpy(bytes + first, bytes_, size - first);
}

// At most a page, within which it wraps.
void MemoryPart::Write(uint16_t address, const uint8_t* bytes, int count) {
    if (protected_ || busy_)
        return;
    const size_t page = address / kPage, offset = address % kPage, size = static_cast<size_t>(count);
    const size_t first = size < kPage - offset ? size : kPage - offset;
    memcpy(bytes_ + address, bytes, first);
    memcpy(bytes_ + page * kPage, bytes + first, size - first);
    pages_[page] = kWritten;
    busy_ = true;
}

}  // namespace fuzz

// NAME(ARGUMENTS) of the program: to the part's method while there is a part, else to the program's own
// function. MANGLED is its name to the linker.
#define TRANSFER(RESULT, MANGLED, PARAMETERS, ARGUMENTS, METHOD) \
    extern "C" {                                                 \
    RESULT __real_##MANGLED PARAMETERS;                          \
    RESULT __wrap_##MANGLED PARAMETERS;                          \
    RESULT __wrap_##MANGLED PARAMETERS {                         \
        if (fuzz::onBus == nullptr)                              \
            return __real_##MANGLED ARGUMENTS;                   \
        fuzz::onBus->METHOD;                                     \
        return RESULT();                                         \
    }                                                            \
    }

TRANSFER(void, _Z11I2C_ReadREGitPhi, (int width, uint16_t address, uint8_t* bytes, int count),
         (width, address, bytes, count), Read(address, bytes, count))
TRANSFER(void, _Z12I2C_WriteREGitPKhi, (int width, uint16_t address, const uint8_t* bytes, int count),
         (width, address, bytes, count), Write(address, bytes, count))
TRANSFER(void, _Z16AT24C512_Startupv, (), (), Protect(false))
TRANSFER(void, _Z21AT24C512_WriteProtectv, (), (), Protect(true))
TRANSFER(int, _Z14MsecSleepWholem, (unsigned long milliseconds), (milliseconds), Pause())
