// Where the bytes of an EEPROM come from: the write since power-on that gave each its present value. Kept in
// a mapped file like the EEPROM's image, so that it is whole at any moment and outlasts the process.
#pragma once

#include <cstdint>
#include <string>

#include "simulator/models/device.h"
#include "simulator/models/host_file.h"

namespace k905 {

struct CellOrigin {
    enum How : std::uint8_t { kAsFound, kWritten, kTorn };  // torn: by a power cut in the write cycle

    Micros at = 0;
    std::uint16_t first = 0, count = 0;  // address and bytes of the whole transfer
    std::uint8_t before = 0;             // what the cell held until then
    How how = kAsFound;
    char thread[26] = "";
};

class CellOrigins {
  public:
    // Of `size` cells. Throws std::runtime_error when the file cannot be had.
    CellOrigins(const std::string& path, std::size_t size) : file_(path, size * sizeof(CellOrigin), 0) {}

    CellOrigin& At(std::size_t address) { return reinterpret_cast<CellOrigin*>(file_.Data())[address]; }
    // Whether there is room on the disk for those of `count` cells.
    bool Reserve(std::size_t address, std::size_t count) const {
        return file_.Reserve(address * sizeof(CellOrigin), count * sizeof(CellOrigin));
    }
    std::size_t Size() const { return file_.Size() / sizeof(CellOrigin); }

  private:
    host::MappedFile file_;
};

}  // namespace k905
