// The tuning record, read from the driver, shown and saved. A stream (input_device.cpp): the first byte
// chooses the line that is shown; then, before each read and write, a byte tells how it comes out, 96 for a
// whole record.
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include "device/Opm.h"
#include "device/opt_access.h"
#include "tests/fuzz/input_device.h"

using fuzz::Holds;

namespace {

constexpr long kWhole = sizeof(OPM_TUNING);

void Load(const fuzz::InputDevice& device) {
    const OPM_TUNING before = *pOpmTunning;
    GetOpmTunning();
    const long count = device.LastCount();
    if (count > 0)
        Holds(memcmp(pOpmTunning, device.LastRead(), static_cast<size_t>(count)) == 0,
              "the record is what was read");
    else
        Holds(memcmp(pOpmTunning, &before, sizeof before) == 0, "a failed read leaves the record");
}

void Show(int line) {
    char text[48] = "";  // shorter than some texts
    const bool there = line < TUNING_LINES;
    Holds(FormatTuningLine(line, text, sizeof text) == (there ? 0 : -1),
          "each line has a text, and no other");
    Holds(!there || strncmp(text, "pOpmTunning->", 13) == 0, "a text names its value");
    Holds(strnlen(text, sizeof text) < sizeof text, "a text ends");
}

void Save(const fuzz::InputDevice& device) {
    const bool takesAll = device.AtEnd();
    SaveOpmTunning();
    const bool whole = device.LastWrittenCount() == kWhole;
    Holds(whole || !takesAll, "the record is written where it can be");
    Holds(!whole || memcmp(pOpmTunning, device.LastWritten(), sizeof *pOpmTunning) == 0,
          "what is written is the record");
}

void Run(const uint8_t* bytes, size_t size) {
    fuzz::InputDevice device(fuzz::InputDevice::kStream, bytes, size);
    const int line = device.Rest().Byte() % (TUNING_LINES + 1);
    *pOpmTunning = {};
    opticFD = open("/dev/optic0", O_RDWR);
    Load(device);
    Show(line);
    Save(device);
    close(opticFD);
    opticFD = -1;
}

const fuzz::Target target("tuning", Run);

}  // namespace
