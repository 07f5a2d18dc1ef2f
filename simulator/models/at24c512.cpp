#include "simulator/models/at24c512.h"

#include <nlohmann/json.hpp>

#include "simulator/models/text.h"

namespace k905 {

At24c512::At24c512(World& world, const std::string& imagePath, unsigned seed)
    : world_(world), cells_(imagePath, seed, "module eeprom") {}

void At24c512::Drive(bool scl, bool sda, bool writeProtect) {
    writeProtect_ = writeProtect;
    if (scl_ && !scl) {
        scl_ = false;
        ClockFalls();
    }
    if (sda != masterSda_) {
        const bool before = Sda();
        masterSda_ = sda;
        if (scl_ && Sda() != before)
            before ? Start() : Stop();
    }
    if (!scl_ && scl) {
        scl_ = true;
        ClockRises();
    }
}

void At24c512::Start() {
    FinishTransfer();
    phase_ = Phase::kDevice;
    bit_ = 0;
    shift_ = 0;
    pageBuffer_.clear();
}

// A write cycle starts here, and only if the stop came after whole acknowledged bytes and the pin allows it.
// The stop's own rising clock counted as the first bit of a byte that never came.
void At24c512::Stop() {
    const bool write = phase_ == Phase::kWriteData && bit_ <= 1 && !pageBuffer_.empty();
    FinishTransfer();
    if (write) {
        const bool refused = WriteProtected();
        world_.Trace("i2c", Text("i2c module write 0x%04x %zu bytes%s", transferStart_, pageBuffer_.size(),
                                 refused ? " (protected)" : ""));
        if (!refused) {
            world_.Mark("eeprom");
            cells_.Program(transferStart_, pageBuffer_, world_.Now(), {world_.Now(), world_.Actor()});
        }
    }
    pageBuffer_.clear();
    phase_ = Phase::kIdle;
    pullsLow_ = false;
}

void At24c512::FinishTransfer() {
    if (readCount_ > 0)
        world_.Trace("i2c", Text("i2c module read 0x%04x %zu bytes", transferStart_, readCount_));
    readCount_ = 0;
    pullsLow_ = false;
}

void At24c512::ClockRises() {
    if (phase_ == Phase::kIdle || phase_ == Phase::kIgnore)
        return;
    ++bit_;
    if (bit_ <= 8 && phase_ != Phase::kReadData)
        shift_ = static_cast<std::uint8_t>(shift_ << 1 | (Sda() ? 1 : 0));
    if (bit_ == 9 && phase_ == Phase::kReadData && Sda())
        phase_ = Phase::kIgnore;  // no acknowledge: the master has had enough
}

// The part changes the data line only while the clock is low.
void At24c512::ClockFalls() {
    pullsLow_ = false;
    if (phase_ == Phase::kIdle || phase_ == Phase::kIgnore)
        return;
    if (bit_ == 9) {
        bit_ = 0;
        shift_ = 0;
        if (phase_ == Phase::kReadData) {
            shift_ = cells_.Read(address_++);
            ++readCount_;
        }
    }
    if (phase_ == Phase::kReadData && bit_ < 8) {
        pullsLow_ = (shift_ >> (7 - bit_) & 1) == 0;
    } else if (bit_ == 8 && phase_ != Phase::kReadData) {
        ByteReceived();
        pullsLow_ = acknowledges_;
    }
}

// Eight bits are in; decides what they were and whether the ninth clock is acknowledged.
void At24c512::ByteReceived() {
    acknowledges_ = false;
    switch (phase_) {
        case Phase::kDevice:
            if (silent_ || cells_.Busy(world_.Now()) || (shift_ != kWriteAddress && shift_ != kReadAddress)) {
                phase_ = Phase::kIgnore;
            } else if (shift_ == kWriteAddress) {
                Acknowledge(Phase::kAddressHigh);
            } else {
                transferStart_ = address_;
                Acknowledge(Phase::kReadData);
            }
            break;
        case Phase::kAddressHigh:
            address_ = static_cast<std::uint16_t>(shift_ << 8);
            Acknowledge(Phase::kAddressLow);
            break;
        case Phase::kAddressLow:
            address_ = static_cast<std::uint16_t>(address_ | shift_);
            transferStart_ = address_;
            Acknowledge(Phase::kWriteData);
            break;
        case Phase::kWriteData:
            pageBuffer_.push_back(shift_);
            // Only the seven low address bits count on: the counter stays in the page.
            address_ = static_cast<std::uint16_t>((address_ & 0xFF80) | ((address_ + 1) & 0x7F));
            Acknowledge(Phase::kWriteData);
            break;
        case Phase::kIdle:
        case Phase::kReadData:
        case Phase::kIgnore:
            break;
    }
}

void At24c512::Acknowledge(Phase next) {
    acknowledges_ = true;
    phase_ = next;
}

nlohmann::json At24c512::State() const {
    nlohmann::json state = cells_.State(world_.Now());
    state["scl"] = scl_;
    state["sda"] = Sda();
    state["write_protect"] = WriteProtected();
    state["address_counter"] = address_;
    state["silent"] = silent_;
    return state;
}

}  // namespace k905
