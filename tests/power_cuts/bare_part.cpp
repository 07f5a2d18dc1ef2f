#include "tests/power_cuts/bare_part.h"

#include <stdlib.h>
#include <string.h>

#include <filesystem>

#include "device/eeprom.h"
#include "device/i2c_com.h"

namespace power_cuts {

namespace {

BarePart* current = nullptr;

// In memory where there is such a folder.
std::string MakeFolder() {
    const std::filesystem::path memory = "/dev/shm";
    std::error_code none;
    const auto parent =
        std::filesystem::is_directory(memory, none) ? memory : std::filesystem::temp_directory_path();
    std::string folder = (parent / "k905-cuts-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr)
        throw std::runtime_error("cannot make " + folder);
    return folder;
}

}  // namespace

// The name is the one that the module's part has in the simulator, so that the same bits are damaged.
BarePart::BarePart() : folder_(MakeFolder()), cells_(folder_ + "/image", 1, "module eeprom") {
    std::error_code none;
    std::filesystem::remove_all(folder_, none);  // the map stays
    current = this;
}

BarePart::~BarePart() {
    current = nullptr;
}

void BarePart::PowerOn(unsigned seed) {
    cells_.PowerOn(seed, now_);
    protected_ = true;
}

void BarePart::ResetVariables() {
    I2C_Action = nullptr;
    valid_module = {};
    valid_crc = {};
    buffer_id = 0;
    *pvalid_buffer = {};
}

bool RecoverPending() {
    if (buffer_get_valid_info(pvalid_buffer) != 0 || pvalid_buffer->state != BUFFER_STATE_PENDING)
        return false;
    power_dowm_recovery(pvalid_buffer);
    return true;
}

void BarePart::Open() {
    module_get_valid_info(&valid_module);
    crc_get_valid_info(&valid_crc);
    RecoverPending();
}

std::vector<WriteCycle> BarePart::TakeCycles() {
    std::vector<WriteCycle> cycles;
    cycles.swap(cycles_);
    return cycles;
}

// A part that is busy does not answer, and the released line reads as ones.
void BarePart::Read(uint16_t address, uint8_t* bytes, int count) {
    const bool busy = cells_.Busy(now_);
    for (int i = 0; i < count; ++i)
        bytes[i] = busy ? uint8_t{0xFF} : cells_.Read(static_cast<size_t>(address) + static_cast<size_t>(i));
}

void BarePart::Write(uint16_t address, const uint8_t* bytes, int count) {
    if (protected_ || cells_.Busy(now_))
        return;
    cycles_.push_back({address, {bytes, bytes + count}});
    cells_.Program(address, cycles_.back().bytes, now_);
}

}  // namespace power_cuts

// ---- The program's transfers ----

// NAME(ARGUMENTS) of the program: to the part's method while there is a part, else to the program's own
// function. MANGLED is its name to the linker.
#define TRANSFER(MANGLED, PARAMETERS, ARGUMENTS, METHOD) \
    extern "C" {                                         \
    void __real_##MANGLED PARAMETERS;                    \
    void __wrap_##MANGLED PARAMETERS;                    \
    void __wrap_##MANGLED PARAMETERS {                   \
        if (power_cuts::current != nullptr)              \
            power_cuts::current->METHOD;                 \
        else                                             \
            __real_##MANGLED ARGUMENTS;                  \
    }                                                    \
    }

TRANSFER(_Z11I2C_ReadREGitPhi, (int width, uint16_t address, uint8_t* bytes, int count),
         (width, address, bytes, count), Read(address, bytes, count))
TRANSFER(_Z12I2C_WriteREGitPKhi, (int width, uint16_t address, const uint8_t* bytes, int count),
         (width, address, bytes, count), Write(address, bytes, count))
TRANSFER(_Z16AT24C512_Startupv, (), (), Protect(false))
TRANSFER(_Z21AT24C512_WriteProtectv, (), (), Protect(true))

extern "C" {
int __real__Z14MsecSleepWholem(unsigned long milliseconds);
int __wrap__Z14MsecSleepWholem(unsigned long milliseconds);
int __wrap__Z14MsecSleepWholem(unsigned long milliseconds) {
    if (power_cuts::current == nullptr)
        return __real__Z14MsecSleepWholem(milliseconds);
    power_cuts::current->Pause(milliseconds);
    return 0;
}
}
