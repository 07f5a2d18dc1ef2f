#include "simulator/models/eeprom_cells.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace k905 {

EepromCells::EepromCells(const std::string& imagePath, unsigned seed, const char* name)
    : file_(imagePath, kSize, 0xFF), name_(name), chance_(seed, name), writes_(kSize / kPage) {}

std::uint8_t EepromCells::Read(std::size_t address) const {
    address %= kSize;
    const auto stuck = stuck_.find(address);
    return stuck != stuck_.end() ? stuck->second : file_.Data()[address];
}

void EepromCells::Program(std::size_t address, const std::vector<std::uint8_t>& bytes, Micros now) {
    if (dead_ || bytes.empty())
        return;
    const std::size_t page = address % kSize / kPage * kPage;
    // The page buffer: of two bytes for one place the later one counts, at the turn of the first.
    cycle_.clear();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const std::size_t at = page + (address + i) % kPage;
        if (i < kPage)
            cycle_.push_back({at, file_.Data()[at], bytes[i]});
        else
            cycle_[i % kPage].after = bytes[i];
    }
    for (const Byte& byte : cycle_)
        file_.Data()[byte.address] = byte.after;
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
