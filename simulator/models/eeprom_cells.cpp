#include "simulator/models/eeprom_cells.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <nlohmann/json.hpp>

namespace k905 {

EepromCells::EepromCells(const std::string& imagePath, unsigned seed, const char* name)
    : file_(imagePath, kSize, 0xFF),
      name_(name),
      chance_(seed, name),
      wornKey_(Chance(Mix(seed, 1), name).Word()),
      writes_(kSize / kPage) {}

void EepromCells::SetAddressLine(unsigned bit, bool level) {
    (level ? addressLines_.high : addressLines_.low) |= 1u << bit;
}

void EepromCells::SetDataLine(unsigned bit, bool level) {
    (level ? dataLines_.high : dataLines_.low) |= 1u << bit;
}

// A charge that leaks away leaves the cell erased, which reads 1.
std::uint8_t EepromCells::WornBits(std::size_t address) const {
    if (endurance_ < 0 || writes_[address / kPage] <= endurance_)
        return 0;
    const std::uint64_t word = Mix(wornKey_, address);
    return (word & 3) == 0 ? static_cast<std::uint8_t>(1u << (word >> 2 & 7)) : 0;
}

std::uint8_t EepromCells::Read(std::size_t address) const {
    address = addressLines_.Carry(address % kSize);
    const auto stuck = stuck_.find(address);
    const unsigned held = unsigned{file_.Data()[address]} | WornBits(address);
    return static_cast<std::uint8_t>(dataLines_.Carry(stuck != stuck_.end() ? stuck->second : held));
}

void EepromCells::Program(std::size_t address, const std::vector<std::uint8_t>& bytes, Micros now,
                          const Writer& writer) {
    if (dead_ || bytes.empty())
        return;
    const std::size_t first = address % kSize / kPage * kPage;
    // The page buffer: of two bytes for one place the later one counts, at the turn of the first.
    cycle_.clear();
    std::array<Byte*, kPage> taken = {};
    cycle_.reserve(kPage);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const std::size_t at = addressLines_.Carry(first + (address + i) % kPage);
        Byte*& place = taken[at % kPage];
        if (place == nullptr)
            place = &cycle_.emplace_back(Byte{at, file_.Data()[at], bytes[i], {}});
        else
            place->after = bytes[i];
    }
    const std::size_t page = cycle_.front().address / kPage * kPage;
    for (const Byte& byte : cycle_)
        file_.Data()[byte.address] = byte.after;
    noted_ = origins_ && origins_->Reserve(page, kPage);
    if (noted_) {
        CellOrigin origin;
        origin.at = writer.at;
        origin.first = static_cast<std::uint16_t>(address);
        origin.count = static_cast<std::uint16_t>(bytes.size());
        origin.how = CellOrigin::kWritten;
        std::strncpy(origin.thread, writer.thread.c_str(), sizeof origin.thread - 1);
        NoteOrigins(origin);
    }
    ++writes_[page / kPage];
    cycleStart_ = now;
    cycleEnd_ = now + kWriteCycle;

    const auto count = static_cast<std::int64_t>(cycle_.size());
    if (cutAfter_ >= 0 && cutAfter_ <= count) {
        dead_ = true;
        programmed_ += static_cast<std::uint64_t>(cutAfter_);
        Tear(static_cast<std::size_t>(cutAfter_), cutDamage_);
        cutAfter_ = -1;
        if (onCut_)
            onCut_();
        return;
    }
    programmed_ += static_cast<std::uint64_t>(count);
    if (cutAfter_ >= 0)
        cutAfter_ -= count;
}

// A byte that is given the value that it has comes from where it came from.
void EepromCells::NoteOrigins(const CellOrigin& origin) {
    for (Byte& byte : cycle_) {
        CellOrigin& kept = origins_->At(byte.address);
        byte.origin = kept;
        if (kept.how != CellOrigin::kAsFound && byte.before == byte.after)
            continue;
        kept = origin;
        kept.before = byte.before;
    }
}

void EepromCells::Cut(Micros now) {
    if (dead_)
        return;
    dead_ = true;
    if (now >= cycleEnd_ || cycle_.empty())
        return;
    const Micros elapsed = std::max<Micros>(now - cycleStart_, 0);
    const auto done =
        cycle_.size() * static_cast<std::size_t>(elapsed) / static_cast<std::size_t>(kWriteCycle);
    Tear(done, Damage::kPrefix);
}

void EepromCells::PowerOn(unsigned seed, Micros now) {
    chance_ = Chance(seed, name_);
    cycle_.clear();
    cycleEnd_ = now;
    cutAfter_ = -1;
    dead_ = false;
}

// Takes back what the cycle had not programmed when the power went, after its first `programmed` bytes. What
// is left of a byte is a matter of the seed and of its place in the cycle, not of the others.
void EepromCells::Tear(std::size_t programmed, Damage damage) {
    for (std::size_t i = 0; i < cycle_.size(); ++i) {
        const Byte& byte = cycle_[i];
        const auto mask = static_cast<std::uint8_t>(chance_.Word());
        if (i < programmed)
            continue;
        std::uint8_t left = byte.before;
        if (damage == Damage::kPage)
            left = mask;  // erased or half erased cells read as anything
        else if (damage == Damage::kHalfByte && i == programmed)
            left = static_cast<std::uint8_t>((byte.before & mask) | (byte.after & ~mask));
        file_.Data()[byte.address] = left;
        if (!noted_ || left == byte.after)
            continue;
        if (left == byte.before)
            origins_->At(byte.address) = byte.origin;
        else
            origins_->At(byte.address).how = CellOrigin::kTorn;
    }
    cycle_.clear();
}

nlohmann::json EepromCells::State(Micros now) const {
    nlohmann::json stuck = nlohmann::json::array();
    for (const auto& [address, value] : stuck_)
        stuck.push_back({{"address", address}, {"value", value}});
    return {{"busy", Busy(now)},
            {"dead", dead_},
            {"bytes_programmed", programmed_},
            {"most_written_page", *std::max_element(writes_.begin(), writes_.end())},
            {"stuck", stuck}};
}

}  // namespace k905
