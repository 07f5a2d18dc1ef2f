// Loader, register file, acquisition engine and the lines to the EEPROM.
#include "simulator/models/fpga.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "tests/simulator/models/module_bench.h"

namespace k905 {

using FpgaModel = ModuleBench;

TEST_F(FpgaModel, UnconfiguredBusReadsAllOnes) {
    EXPECT_EQ(Read(0x30000002), 0xFFFFu);
    EXPECT_EQ(Read(0x3000002e), 0xFFFFu);
    EXPECT_THAT(Fetch(3), testing::Each(0xFFFF));
    Write(0x3000000e, 1280);
    LoadGood();
    EXPECT_EQ(Read(0x3000000e), 0u);  // what was written before went nowhere
}

TEST_F(FpgaModel, LoadsAnImageOfTheAnnouncedSize) {
    LoadGood();
    EXPECT_TRUE(fpga_.Configured());
    EXPECT_THAT(world_.Take(), testing::ElementsAre("fpga begin 3000", "fpga data 1024", "fpga data 1024",
                                                    "fpga data 952", "fpga end"));
}

TEST_F(FpgaModel, StaysUnconfiguredAfterAWrongImage) {
    Load(3001, std::vector<std::uint8_t>(3000, 0x5A));
    EXPECT_FALSE(fpga_.Configured());
    Load(3000, std::vector<std::uint8_t>(3000, 0));
    EXPECT_FALSE(fpga_.Configured());
    Load(0, {});
    EXPECT_FALSE(fpga_.Configured());
    LoadGood();
    Load(5, {1});
    EXPECT_FALSE(fpga_.Configured());  // the good configuration went with the new attempt
}

TEST_F(FpgaModel, ImageForAnotherPartIsTakenInAndConfiguresNothing) {
    LoadGood();
    loader_.SetImageWrong(true);
    EXPECT_TRUE(fpga_.Configured());
    LoadGood();
    EXPECT_FALSE(fpga_.Configured());
    EXPECT_EQ(Read(0x3000000e), 0xFFFFu);
    loader_.SetImageWrong(false);
    LoadGood();
    EXPECT_TRUE(fpga_.Configured());
}

TEST_F(FpgaModel, LoaderRefusesWhatIsOutOfOrder) {
    int error = 0;
    const auto file = loader_.Open(0, error);
    EXPECT_EQ(file->Write("x", 1), -EIO);
    EXPECT_EQ(file->Ioctl(FpgaLoader::kEnd, nullptr), -EIO);
    EXPECT_EQ(file->Ioctl(FpgaLoader::kBegin, nullptr), -EFAULT);
    EXPECT_EQ(file->Ioctl(0x6602, nullptr), -ENOTTY);
    loader_.SetFailing(true);
    std::uint32_t size = 1;
    EXPECT_EQ(file->Ioctl(FpgaLoader::kBegin, &size), -EIO);
    loader_.SetDriverLoaded(false);
    EXPECT_EQ(loader_.Open(0, error), nullptr);
    EXPECT_EQ(error, ENOENT);
}

TEST_F(FpgaModel, ReloadingResetsTheRegisters) {
    LoadGood();
    Write(0x30000014, 432);
    EXPECT_EQ(Read(0x30000014), 432u);
    LoadGood();
    EXPECT_EQ(Read(0x30000014), 0u);
}

TEST_F(FpgaModel, UnusedRegistersReadZero) {
    LoadGood();
    Write(0x30000200, 0x1234);
    EXPECT_EQ(Read(0x30000200), 0u);
}

TEST_F(FpgaModel, DataLineReadsWhatTheEepromPulls) {
    LoadGood();
    const unsigned sda = 0x08, scl = 0x10;
    Write(0x30000002, sda | scl);
    EXPECT_EQ(Read(0x30000002), sda | scl);
    Write(0x30000002, scl);  // start
    for (int bit = 7; bit >= 0; --bit) {
        const unsigned data = (0xA2 >> bit & 1) != 0 ? sda : 0;
        Write(0x30000002, 0);
        Write(0x30000002, data);
        Write(0x30000002, data | scl);
    }
    Write(0x30000002, sda);
    EXPECT_EQ(Read(0x30000002), 0u);  // released by the master, held low by the part: acknowledge
    Write(0x30000002, sda | scl);
    EXPECT_EQ(Read(0x30000002), scl);
}

// The bus functions of an application change one line at a time, reading the register first, so an
// acknowledge is written back as a driven low. A page still goes through.
TEST_F(FpgaModel, ReadModifyWriteOfTheLinesCarriesAPage) {
    LoadGood();
    const auto line = [&](unsigned mask, bool level) {
        const unsigned value = Read(0x30000002);
        Write(0x30000002, level ? value | mask : value & ~mask);
    };
    const unsigned sda = 0x08, scl = 0x10, protect = 0x20;
    const auto send = [&](unsigned byte) {
        for (int bit = 7; bit >= 0; --bit) {
            line(scl, false);
            line(sda, (byte >> bit & 1) != 0);
            line(scl, true);
        }
        line(scl, false), line(sda, true), line(scl, true);
    };
    const auto start = [&] { line(scl, false), line(sda, true), line(scl, true), line(sda, false); };
    const auto stop = [&] { line(scl, false), line(sda, false), line(scl, true), line(sda, true); };
    Write(0x30000002, 0x07F8);
    line(protect, false);
    start();
    for (const unsigned byte : {0xA2, 0x00, 0x80})
        send(byte);
    for (unsigned i = 0; i < 128; ++i)
        send(i);
    stop();
    world_.now += 100000;
    for (unsigned i = 0; i < 128; ++i)
        ASSERT_EQ(eeprom_.Cells().Read(128 + i), i);

    start();
    for (const unsigned byte : {0xA2, 0x00, 0x90})
        send(byte);
    start();
    send(0xA3);
    for (unsigned i = 0; i < 16; ++i) {
        unsigned byte = 0;
        for (int bit = 0; bit < 8; ++bit) {
            line(scl, false), line(sda, true), line(scl, true);
            byte = byte << 1 | ((Read(0x30000002) & sda) != 0 ? 1 : 0);
        }
        line(scl, false), line(sda, i == 15), line(scl, true), line(scl, false);
        ASSERT_EQ(byte, 16 + i);
    }
    stop();
}

TEST_F(FpgaModel, AcquisitionTakesTheTimeOfItsSetUp) {
    LoadGood();
    Write(0x3000001a, 2048);
    Write(0x3000001e, 4);
    Write(0x30000020, 1024);
    Write(0x3000002e, 1);
    EXPECT_EQ(Read(0x3000002e) & 0x80, 0u);
    const Micros needed = fpga_.AcquisitionTime();
    EXPECT_GT(needed, 4 * 1024 / 10);
    world_.now += needed - 1;
    EXPECT_EQ(Read(0x3000002e) & 0x80, 0u);
    world_.now += 1;
    EXPECT_EQ(Read(0x3000002e) & 0xA0, 0x80u);
    Write(0x3000002e, 2);
    EXPECT_EQ(Read(0x3000002e) & 0x20, 0u);
    world_.now += fpga_.TransferTime();
    EXPECT_EQ(Read(0x3000002e) & 0xA0, 0xA0u);
    Write(0x3000002e, 0);
    EXPECT_EQ(Read(0x3000002e), 0u);
}

TEST_F(FpgaModel, TransferWithoutAnAcquisitionNeverGetsReady) {
    LoadGood();
    Write(0x3000002e, 2);
    world_.now += 10000000;
    EXPECT_EQ(Read(0x3000002e) & 0xA0, 0u);
}

TEST_F(FpgaModel, NeverReadyAndStuckRegistersCanBeSetAndCleared) {
    LoadGood();
    Write(0x3000001a, 16);
    fpga_.SetNeverReady(true);
    Write(0x3000002e, 1);
    world_.now += 10000000;
    EXPECT_EQ(Read(0x3000002e) & 0x80, 0u);
    fpga_.SetNeverReady(false);
    EXPECT_EQ(Read(0x3000002e) & 0x80, 0x80u);
    fpga_.SetStuck(7, 0x0123);
    EXPECT_EQ(0x0123, fpga_.Values()[7]) << "what hangs on the register sees it";
    Write(0x3000000e, 1280);
    EXPECT_EQ(Read(0x3000000e), 0x0123u);
    fpga_.SetStuck(0, -1);
    EXPECT_EQ(Read(0x3000000e), 1280u);
}

TEST_F(FpgaModel, MemoryStatusStandsInTheLowBits) {
    LoadGood();
    Write(0x30000032, 0x0622);
    EXPECT_EQ(Read(0x30000032), 0x0621u);
    fpga_.SetMemoryStatus(2);
    EXPECT_EQ(Read(0x30000032) & 3, 2u);
}

TEST_F(FpgaModel, DeliversNoMoreThanItsMemory) {
    LoadGood();
    Write(0x3000001c, 2);  // more than the memory: bounded
    Write(0x3000001a, 0);
    Write(0x3000002e, 1);
    std::vector<std::uint16_t> samples(Fpga::kMemorySamples + 10, 0xABCD);
    EXPECT_EQ(fpga_.Fetch(samples.data(), samples.size()), Fpga::kMemorySamples);
    EXPECT_EQ(samples[Fpga::kMemorySamples], 0xABCD);
    EXPECT_NE(samples[100], 0);
}

TEST_F(FpgaModel, KeepsTheWriteThatMadeEachRegister) {
    LoadGood();
    EXPECT_FALSE(fpga_.Origin(kRegVdd));
    const auto write = [&](Micros at, unsigned value) {
        world_.now = at;
        Write(0x30000012, value);
    };
    write(100, 0);
    EXPECT_EQ(100, fpga_.Origin(kRegVdd)->at) << "the first one counts";
    write(200, 5);
    write(300, 5);
    EXPECT_EQ(200, fpga_.Origin(kRegVdd)->at);
    EXPECT_EQ(5, fpga_.Origin(kRegVdd)->value);
    EXPECT_EQ(0, fpga_.Origin(kRegVdd)->before);
    LoadGood();
    EXPECT_FALSE(fpga_.Origin(kRegVdd)) << "gone with the configuration";
}

}  // namespace k905
