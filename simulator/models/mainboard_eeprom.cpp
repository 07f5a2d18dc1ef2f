#include "simulator/models/mainboard_eeprom.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <vector>

#include "simulator/models/text.h"

namespace k905 {

namespace {

constexpr Micros kByteTime = 90;        // nine clocks at 100 kHz
constexpr Micros kRefusedTime = 450;    // an address that nobody acknowledges, the adapter's retries included
constexpr unsigned kMostMessages = 42;  // what the kernel accepts in one transfer
constexpr unsigned kLongestMessage = 8192;

}  // namespace

class MainboardEepromFile : public DeviceFile {
  public:
    explicit MainboardEepromFile(MainboardEeprom& eeprom) : eeprom_(eeprom) {}

    int Ioctl(unsigned long request, void* argument) override {
        const auto number = reinterpret_cast<std::uintptr_t>(argument);
        switch (request) {
            case MainboardEeprom::kSetSlave:
                return number > 0x7F ? -EINVAL : 0;
            case MainboardEeprom::kProtect:
                if (number > 1)
                    return -EINVAL;
                eeprom_.protect_ = number == 1;
                eeprom_.world_.Trace("i2c",
                                     number == 1 ? "i2c mainboard protect" : "i2c mainboard unprotect");
                return 0;
            case MainboardEeprom::kTransfer: {
                auto* transfer = static_cast<i2c_rdwr_ioctl_data*>(argument);
                if (transfer == nullptr || (transfer->msgs == nullptr && transfer->nmsgs > 0))
                    return -EFAULT;
                return eeprom_.Transfer(transfer->msgs, transfer->nmsgs);
            }
            default:
                return -ENOTTY;
        }
    }

    Micros DrainedAt() override { return eeprom_.busTime_; }

  private:
    MainboardEeprom& eeprom_;
};

MainboardEeprom::MainboardEeprom(World& world, const std::string& imagePath, unsigned seed)
    : world_(world), cells_(imagePath, seed, "mainboard eeprom") {}

std::unique_ptr<DeviceFile> MainboardEeprom::Open(int /*flags*/, int& /*error*/) {
    return std::make_unique<MainboardEepromFile>(*this);
}

// The number of messages done, or a negative errno: nothing of a transfer that a message cannot begin is
// reported done.
int MainboardEeprom::Transfer(i2c_msg* messages, unsigned count) {
    if (count > kMostMessages)
        return -EINVAL;
    for (unsigned i = 0; i < count; ++i) {
        if (messages[i].len > kLongestMessage)
            return -EINVAL;
        if (messages[i].buf == nullptr && messages[i].len > 0)
            return -EFAULT;
    }
    busTime_ = std::max(busTime_, world_.Now());
    for (unsigned i = 0; i < count; ++i) {
        const bool there = messages[i].addr == kAddress && !silent_ && !cells_.Busy(busTime_);
        if (!there) {
            busTime_ += kRefusedTime;
            world_.Trace("i2c", Text("i2c mainboard 0x%02x no acknowledge", unsigned{messages[i].addr}));
            return -EREMOTEIO;
        }
        Spend(messages[i].len + 1u);
        const int result =
            (messages[i].flags & I2C_M_RD) != 0 ? Read(messages[i]) : Write(messages[i], i + 1 == count);
        if (result != 0)
            return result;
    }
    return static_cast<int>(count);
}

void MainboardEeprom::Spend(std::size_t bytes) {
    busTime_ += static_cast<Micros>(bytes) * kByteTime;
}

// The first two bytes set the address counter; what follows goes into the page if a stop comes behind it
// (`last`). A repeated start instead drops it.
int MainboardEeprom::Write(const i2c_msg& message, bool last) {
    if (message.len >= 1)
        address_ = static_cast<std::uint16_t>(message.buf[0] << 8 | (message.len >= 2 ? message.buf[1] : 0));
    if (message.len <= 2 || !last)
        return 0;
    const std::vector<std::uint8_t> bytes(message.buf + 2, message.buf + message.len);
    world_.Trace("i2c", Text("i2c mainboard write 0x%04x %zu bytes%s", unsigned{address_}, bytes.size(),
                             Protected() ? " (protected)" : ""));
    if (!Protected()) {
        world_.Mark("eeprom");
        cells_.Program(address_, bytes, busTime_, {world_.Now(), world_.Actor()});
    }
    const std::size_t page = address_ / EepromCells::kPage * EepromCells::kPage;
    address_ = static_cast<std::uint16_t>(page + (address_ + bytes.size()) % EepromCells::kPage);
    return 0;
}

int MainboardEeprom::Read(i2c_msg& message) {
    const std::uint16_t start = address_;
    for (unsigned i = 0; i < message.len; ++i)
        message.buf[i] = cells_.Read(address_++);
    world_.Trace("i2c", Text("i2c mainboard read 0x%04x %u bytes", unsigned{start}, unsigned{message.len}));
    return 0;
}

nlohmann::json MainboardEeprom::State() const {
    nlohmann::json state = cells_.State(std::max(busTime_, world_.Now()));
    state["write_protect"] = Protected();
    state["address_counter"] = address_;
    state["silent"] = silent_;
    return state;
}

}  // namespace k905
