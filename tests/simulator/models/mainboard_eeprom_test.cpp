#include "simulator/models/mainboard_eeprom.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <cerrno>

#include "tests/simulator/models/bench_world.h"

namespace k905 {

class Mainboard : public testing::Test {
  protected:
    using Bytes = std::vector<std::uint8_t>;
    BenchWorld world_;
    TemporaryFolder folder_;
    MainboardEeprom eeprom_{world_, folder_.Path() + "/mainboard.eeprom", 1};
    std::unique_ptr<DeviceFile> file_;

    void SetUp() override {
        int error = 0;
        file_ = eeprom_.Open(0, error);
        ASSERT_NE(file_, nullptr);
    }
    void Protect(bool on) {
        ASSERT_EQ(file_->Ioctl(0x0709, reinterpret_cast<void*>(static_cast<std::uintptr_t>(on ? 1 : 0))), 0);
    }
    int Transfer(std::vector<i2c_msg> messages) {
        i2c_rdwr_ioctl_data data = {messages.data(), static_cast<std::uint32_t>(messages.size())};
        return file_->Ioctl(0x0707, &data);
    }
    int Write(unsigned address, const Bytes& bytes, std::uint16_t device = 0x50) {
        Bytes message = {static_cast<std::uint8_t>(address >> 8), static_cast<std::uint8_t>(address)};
        message.insert(message.end(), bytes.begin(), bytes.end());
        return Transfer({{device, 0, static_cast<std::uint16_t>(message.size()), message.data()}});
    }
    int Read(unsigned address, Bytes& bytes) {
        Bytes at = {static_cast<std::uint8_t>(address >> 8), static_cast<std::uint8_t>(address)};
        return Transfer({{0x50, 0, 2, at.data()},
                         {0x50, I2C_M_RD, static_cast<std::uint16_t>(bytes.size()), bytes.data()}});
    }
    int Poll() {
        std::uint8_t byte = 0;
        return Transfer({{0x50, I2C_M_RD, 1, &byte}});
    }
    void WaitCycle() { world_.now = file_->DrainedAt() + 5000; }
};

TEST_F(Mainboard, StoresAndReadsBackAPage) {
    Bytes page(128), back(128);
    for (unsigned i = 0; i < 128; ++i)
        page[i] = static_cast<std::uint8_t>(200 - i);
    Protect(false);
    EXPECT_EQ(Write(84 * 128, page), 1);
    WaitCycle();
    EXPECT_EQ(Read(84 * 128, back), 2);
    EXPECT_EQ(page, back);
    EXPECT_THAT(world_.Take(),
                testing::ElementsAre("i2c mainboard unprotect", "i2c mainboard write 0x2a00 128 bytes",
                                     "i2c mainboard read 0x2a00 128 bytes"));
}

TEST_F(Mainboard, StoresNothingWhileProtected) {
    Bytes back(2);
    EXPECT_EQ(Write(0, {1, 2}), 1);  // protected from power-on
    EXPECT_EQ(Read(0, back), 2);     // no cycle began
    EXPECT_EQ(back, (Bytes{0xFF, 0xFF}));
    Protect(false);
    Write(0, {1, 2});
    WaitCycle();
    Protect(true);
    Write(0, {3, 4});
    EXPECT_EQ(Read(0, back), 2);
    EXPECT_EQ(back, (Bytes{1, 2}));
    Protect(false);
    eeprom_.SetProtectStuck(true);
    Write(0, {5, 6});
    EXPECT_EQ(Read(0, back), 2);
    EXPECT_EQ(back, (Bytes{1, 2}));
}

TEST_F(Mainboard, RefusesTheWholeTransferDuringItsWriteCycle) {
    Protect(false);
    ASSERT_EQ(Write(0, {1}), 1);
    Bytes back(1, 0x77);
    EXPECT_EQ(Read(0, back), -EREMOTEIO);
    EXPECT_EQ(back[0], 0x77);
    EXPECT_EQ(Poll(), -EREMOTEIO);
    WaitCycle();
    EXPECT_EQ(Poll(), 1);
}

// Each refused address takes its time on the bus, so a caller that polls without a pause gets through.
TEST_F(Mainboard, PollingOutlastsTheWriteCycle) {
    Protect(false);
    ASSERT_EQ(Write(0, Bytes(128, 1)), 1);
    int polls = 1;
    while (Poll() < 0 && polls < 100)
        ++polls;
    EXPECT_GT(polls, 1);
    EXPECT_LE(polls, 21);
}

TEST_F(Mainboard, TransfersTakeTheirTimeOnTheBus) {
    world_.now = 1000;
    Bytes back(128);
    ASSERT_EQ(Read(0, back), 2);
    EXPECT_GT(file_->DrainedAt(), 1000 + 130 * 80);
    EXPECT_LT(file_->DrainedAt(), 1000 + 140 * 100);
}

TEST_F(Mainboard, AnswersItsOwnAddressOnly) {
    Protect(false);
    EXPECT_EQ(Write(0, {1}, 0x51), -EREMOTEIO);
    eeprom_.SetSilent(true);
    EXPECT_EQ(Write(0, {1}), -EREMOTEIO);
    eeprom_.SetSilent(false);
    EXPECT_EQ(Write(0, {1}), 1);
}

TEST_F(Mainboard, WrapsInThePageAndDropsWritesThatARepeatedStartCutsOff) {
    Protect(false);
    Write(126, {1, 2, 3});
    WaitCycle();
    Bytes back(2);
    Read(126, back);
    EXPECT_EQ(back, (Bytes{1, 2}));
    Read(0, back);
    EXPECT_EQ(back, (Bytes{3, 0xFF}));
    Bytes message = {0, 0, 9};
    std::uint8_t byte = 0;
    EXPECT_EQ(Transfer({{0x50, 0, 3, message.data()}, {0x50, I2C_M_RD, 1, &byte}}), 2);
    Read(0, back);
    EXPECT_EQ(back[0], 3);
}

TEST_F(Mainboard, RefusesBadRequests) {
    EXPECT_EQ(file_->Ioctl(0x0703, reinterpret_cast<void*>(std::uintptr_t{0x50})), 0);
    EXPECT_EQ(file_->Ioctl(0x0703, reinterpret_cast<void*>(std::uintptr_t{0x80})), -EINVAL);
    EXPECT_EQ(file_->Ioctl(0x0709, reinterpret_cast<void*>(std::uintptr_t{2})), -EINVAL);
    EXPECT_EQ(file_->Ioctl(0x0707, nullptr), -EFAULT);
    EXPECT_EQ(file_->Ioctl(0x0701, nullptr), -ENOTTY);
    EXPECT_EQ(Transfer({{0x50, 0, 5, nullptr}}), -EFAULT);
    std::uint8_t byte = 0;
    EXPECT_EQ(Transfer(std::vector<i2c_msg>(43, i2c_msg{0x50, I2C_M_RD, 1, &byte})), -EINVAL);
}

}  // namespace k905
