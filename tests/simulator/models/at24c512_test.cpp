// The AT24C512 against its data sheet, clocked line by line.
#include "simulator/models/at24c512.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/models/bench_world.h"

namespace k905 {

using testing::ElementsAre;

class Eeprom : public testing::Test {
  protected:
    BenchWorld world_;
    TemporaryFolder folder_;
    At24c512 part_{world_, folder_.Path() + "/module.at24c512", 1};
    bool scl_ = true, sda_ = true, protect_ = false;

    void Lines() { part_.Drive(scl_, sda_, protect_); }
    void Scl(bool level) { scl_ = level, Lines(); }
    void Sda(bool level) { sda_ = level, Lines(); }

    void Start() { Scl(false), Sda(true), Scl(true), Sda(false); }
    void Stop() { Scl(false), Sda(false), Scl(true), Sda(true); }
    // True when acknowledged.
    bool Send(unsigned byte) {
        for (int bit = 7; bit >= 0; --bit)
            Scl(false), Sda((byte >> bit & 1) != 0), Scl(true);
        Scl(false), Sda(true), Scl(true);
        return !part_.Sda();
    }
    unsigned Receive(bool acknowledge) {
        unsigned byte = 0;
        for (int bit = 0; bit < 8; ++bit) {
            Scl(false), Sda(true), Scl(true);
            byte = byte << 1 | (part_.Sda() ? 1 : 0);
        }
        Scl(false), Sda(!acknowledge), Scl(true), Scl(false);
        return byte;
    }
    bool Address(unsigned address) { return Send(0xA2) && Send(address >> 8) && Send(address & 0xFF); }
    void Write(unsigned address, const std::vector<std::uint8_t>& bytes) {
        Start();
        EXPECT_TRUE(Address(address));
        for (const std::uint8_t byte : bytes)
            EXPECT_TRUE(Send(byte));
        Stop();
    }
    std::vector<unsigned> Read(unsigned address, std::size_t count) {
        Start();
        EXPECT_TRUE(Address(address));
        Start();
        EXPECT_TRUE(Send(0xA3));
        std::vector<unsigned> bytes;
        for (std::size_t i = 0; i < count; ++i)
            bytes.push_back(Receive(i + 1 < count));
        Stop();
        return bytes;
    }
    void WaitCycle() { world_.now += 5000; }
};

TEST_F(Eeprom, StoresAndReadsBackAPage) {
    std::vector<std::uint8_t> page;
    for (unsigned i = 0; i < 128; ++i)
        page.push_back(static_cast<std::uint8_t>(i ^ 0x5A));
    Write(0x1280, page);
    WaitCycle();
    const auto back = Read(0x1280, 128);
    EXPECT_TRUE(std::equal(page.begin(), page.end(), back.begin()));
    EXPECT_THAT(world_.Take(),
                ElementsAre("i2c module write 0x1280 128 bytes", "i2c module read 0x1280 128 bytes"));
}

TEST_F(Eeprom, AnswersItsOwnAddressOnly) {
    for (const unsigned address : {0xA0u, 0xA1u, 0xA4u, 0xA6u, 0x22u}) {
        Start();
        EXPECT_FALSE(Send(address)) << address;
        EXPECT_FALSE(Send(0));
        Stop();
    }
    Start();
    EXPECT_TRUE(Send(0xA3));
}

TEST_F(Eeprom, DoesNotAcknowledgeDuringItsWriteCycle) {
    Write(0, {1});
    world_.now += 4999;
    Start();
    EXPECT_FALSE(Send(0xA2));
    Stop();
    world_.now += 1;
    Start();
    EXPECT_TRUE(Send(0xA2));
    Stop();
}

TEST_F(Eeprom, WrapsAPageWriteWithinItsPage) {
    Write(0x00FE, {1, 2, 3});
    WaitCycle();
    EXPECT_THAT(Read(0x00FE, 2), ElementsAre(1u, 2u));
    EXPECT_THAT(Read(0x0080, 2), ElementsAre(3u, 0xFFu));
    EXPECT_THAT(Read(0x0100, 1), ElementsAre(0xFFu));
}

TEST_F(Eeprom, ReadsOnAcrossPagesAndAroundTheEnd) {
    Write(0x007F, {7});
    WaitCycle();
    Write(0x0080, {8});
    WaitCycle();
    EXPECT_THAT(Read(0x007F, 2), ElementsAre(7u, 8u));
    Write(0xFFFF, {9});
    WaitCycle();
    Write(0x0000, {10});
    WaitCycle();
    EXPECT_THAT(Read(0xFFFF, 2), ElementsAre(9u, 10u));
}

TEST_F(Eeprom, CurrentAddressReadGoesOnBehindTheLastByte) {
    Write(0x0200, {21, 22, 23});
    WaitCycle();
    Read(0x0200, 1);
    Start();
    ASSERT_TRUE(Send(0xA3));
    EXPECT_EQ(Receive(false), 22u);
    Stop();
}

TEST_F(Eeprom, ProtectedPartAcknowledgesButStoresNothing) {
    protect_ = true;
    Write(0x0300, {1, 2});
    EXPECT_THAT(world_.Take(), ElementsAre("i2c module write 0x0300 2 bytes (protected)"));
    EXPECT_THAT(Read(0x0300, 1), ElementsAre(0xFFu));  // at once: no write cycle began
    protect_ = false;
    part_.SetProtectStuck(true);
    Write(0x0300, {1, 2});
    EXPECT_THAT(Read(0x0300, 1), ElementsAre(0xFFu));
}

TEST_F(Eeprom, WritesNothingWithoutAStopBehindAWholeByte) {
    Start();
    ASSERT_TRUE(Address(0x0400));
    ASSERT_TRUE(Send(0x11));
    for (int bit = 0; bit < 3; ++bit)  // three bits of the next byte, then a stop
        Scl(false), Sda(false), Scl(true);
    Stop();
    EXPECT_THAT(Read(0x0400, 1), ElementsAre(0xFFu));

    Start();
    ASSERT_TRUE(Address(0x0400));
    ASSERT_TRUE(Send(0x22));
    EXPECT_THAT(Read(0x0400, 1), ElementsAre(0xFFu));  // a repeated start drops the page buffer
}

TEST_F(Eeprom, AddressOnlyWriteStartsNoCycle) {
    Write(0x0500, {});
    Start();
    EXPECT_TRUE(Send(0xA2));
}

TEST_F(Eeprom, ChangesOfBothLinesInOneStepAreNeitherStartNorStop) {
    Start();
    ASSERT_TRUE(Send(0xA2));
    scl_ = sda_ = false;
    Lines();
    scl_ = sda_ = true;
    Lines();  // would be a stop or a bit: it is a bit
    Scl(false);
    for (int bit = 0; bit < 7; ++bit)
        Sda(false), Scl(true), Scl(false);
    Sda(true), Scl(true);
    EXPECT_FALSE(part_.Sda());  // acknowledge of address byte 0x80
}

TEST_F(Eeprom, SilentPartLeavesTheLineHigh) {
    part_.SetSilent(true);
    Start();
    EXPECT_FALSE(Send(0xA2));
    Start();
    EXPECT_FALSE(Send(0xA3));
    EXPECT_EQ(Receive(false), 0xFFu);
}

TEST_F(Eeprom, CutInTheWriteCycleTearsThePage) {
    Write(0x0000, std::vector<std::uint8_t>(128, 0));
    world_.now += 1250;
    part_.Cells().Cut(world_.now);
    EXPECT_EQ(part_.Cells().Image()[31], 0);
    EXPECT_EQ(part_.Cells().Image()[32], 0xFF);
    Start();
    EXPECT_FALSE(Send(0xA2));
}

}  // namespace k905
