// The memory array of a serial EEPROM: what its cells hold, its page write cycle, and what goes wrong with
// cells. Used by the optical module's AT24C512 and the main board's EEPROM, which are reached differently.
//
// The image is a mapped file. A page is in it from the moment its write cycle starts, so killing the
// process leaves the page whole; Cut() is the supply going away at a known instant and tears the cycle that
// is under way.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "simulator/models/cell_origins.h"
#include "simulator/models/chance.h"
#include "simulator/models/device.h"
#include "simulator/models/host_file.h"

namespace k905 {

class EepromCells {
  public:
    static constexpr std::size_t kSize = 65536;  // bytes
    static constexpr std::size_t kPage = 128;    // bytes a write cycle can program
    static constexpr Micros kWriteCycle = 5000;  // data sheet's maximum, microseconds

    // What a cut leaves of the byte it hits and of the rest of its page.
    enum class Damage { kPrefix, kHalfByte, kPage };

    // `name`, a literal, keys the chance of damaged bits. A fresh part holds 0xFF everywhere.
    EepromCells(const std::string& imagePath, unsigned seed, const char* name);

    // From here on it is kept in that file which write each cell's value comes from.
    void KeepOrigins(const std::string& path) { origins_ = std::make_unique<CellOrigins>(path, kSize); }
    CellOrigins* Origins() { return origins_.get(); }

    // Who has the cells written, and when it began to.
    struct Writer {
        Micros at;
        std::string thread;
    };
    std::uint8_t Read(std::size_t address) const;
    // Starts a write cycle at time `now`: bytes in the order they arrived, the first at `address`, wrapping
    // within the page. More bytes than a page overwrite the first ones in the page buffer. Nothing happens
    // without bytes.
    void Program(std::size_t address, const std::vector<std::uint8_t>& bytes, Micros now,
                 const Writer& writer = {});
    bool Busy(Micros now) const { return dead_ || now < cycleEnd_; }

    // The supply goes away now. Of a cycle under way the share of bytes is programmed that its time allowed.
    void Cut(Micros now);
    // The supply is back: no cycle is under way, no cut is set. `seed` of what the next cut damages.
    void PowerOn(unsigned seed, Micros now);
    bool Dead() const { return dead_; }

    // Faults.
    void SetStuck(std::size_t address, int value) {
        stuck_[address % kSize] = static_cast<std::uint8_t>(value);
    }
    void ClearStuck() { stuck_.clear(); }
    // A line inside the part that always has this level: bit 0 to 15 of the address decoder, which then
    // reaches other cells, or bit 0 to 7 of the data that are read.
    void SetAddressLine(unsigned bit, bool level);
    void SetDataLine(unsigned bit, bool level);
    void ClearLines() { addressLines_ = dataLines_ = {}; }
    // Pages hold what is written for so many write cycles since power-on (negative: for ever). Behind that
    // one cell in four has a bit that reads as erased.
    void SetEndurance(std::int64_t cycles) { endurance_ = cycles; }
    // Cuts the power once `bytes` more bytes have been programmed (negative: never), then calls `onCut`.
    void CutAfter(std::int64_t bytes, Damage damage) { cutAfter_ = bytes, cutDamage_ = damage; }
    void OnCut(std::function<void()> onCut) { onCut_ = std::move(onCut); }

    std::uint64_t BytesProgrammed() const { return programmed_; }
    std::uint32_t PageWrites(std::size_t page) const { return writes_[page % (kSize / kPage)]; }
    const std::uint8_t* Image() const { return file_.Data(); }
    std::uint8_t* Image() { return file_.Data(); }
    nlohmann::json State(Micros now) const;

  private:
    struct Byte {
        std::size_t address;
        std::uint8_t before, after;
        CellOrigin origin = {};  // of `before`
    };
    struct Lines {
        unsigned low = 0, high = 0;  // bits stuck at each level
        std::size_t Carry(std::size_t value) const { return (value & ~std::size_t{low}) | high; }
    };
    std::uint8_t WornBits(std::size_t address) const;
    void NoteOrigins(const CellOrigin& origin);
    void Tear(std::size_t programmed, Damage damage);

    host::MappedFile file_;
    std::unique_ptr<CellOrigins> origins_;
    bool noted_ = false;  // those of the cycle
    const char* name_;
    Chance chance_;
    std::uint64_t wornKey_;
    std::map<std::size_t, std::uint8_t> stuck_;
    Lines addressLines_, dataLines_;
    std::int64_t endurance_ = -1;
    std::vector<std::uint32_t> writes_;  // write cycles a page, since power-on
    std::vector<Byte> cycle_;            // the cycle under way, in programming order
    Micros cycleStart_ = 0, cycleEnd_ = 0;
    std::uint64_t programmed_ = 0;
    std::int64_t cutAfter_ = -1;
    Damage cutDamage_ = Damage::kPrefix;
    std::function<void()> onCut_;
    bool dead_ = false;
};

}  // namespace k905
