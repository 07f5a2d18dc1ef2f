// The optical module on a bench of its own: FPGA with its two drivers, receiver and EEPROM, in surroundings
// that the test sets.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

#include "simulator/models/fpga_loader.h"
#include "simulator/models/optic_driver.h"
#include "tests/simulator/models/bench_world.h"

namespace k905 {

class ModuleBench : public testing::Test, public ModuleSurroundings {
  protected:
    BenchWorld world_;
    TemporaryFolder folder_;
    double temperature_ = 25.0;
    TestSignal signal_ = TestSignal::kOpen;
    unsigned channel_ = 0;

    Optics optics_{1};
    At24c512 eeprom_{world_, folder_.Path() + "/module.at24c512", 1};
    Fpga fpga_{world_, optics_, eeprom_, *this};
    FpgaLoader loader_{world_, fpga_};
    OpticDriver driver_{world_, fpga_, *this, folder_.Path() + "/tuning.bin"};
    std::unique_ptr<DeviceFile> file_;

    double Temperature() const override { return temperature_; }
    TestSignal InjectedSignal() const override { return signal_; }
    unsigned InjectedChannel() const override { return channel_; }

    void SetUp() override {
        loader_.SetDriverLoaded(true);
        driver_.SetDriverLoaded(true);
        int error = 0;
        file_ = driver_.Open(0, error);
        ASSERT_NE(file_, nullptr);
    }

    // Loads an image of so many bytes while announcing `announced`.
    void Load(std::uint32_t announced, const std::vector<std::uint8_t>& image) {
        int error = 0;
        const auto file = loader_.Open(0, error);
        ASSERT_NE(file, nullptr);
        ASSERT_EQ(file->Ioctl(FpgaLoader::kBegin, &announced), 0);
        for (std::size_t at = 0; at < image.size(); at += 1024) {
            const std::size_t count = std::min<std::size_t>(1024, image.size() - at);
            ASSERT_EQ(file->Write(image.data() + at, count), static_cast<ssize_t>(count));
        }
        ASSERT_EQ(file->Ioctl(FpgaLoader::kEnd, nullptr), 0);
    }
    void LoadGood() { Load(3000, std::vector<std::uint8_t>(3000, 0x5A)); }

    void Write(std::uint32_t address, unsigned value) {
        OpticRegister access = {static_cast<std::uint16_t>(address >> 1), static_cast<std::uint16_t>(value)};
        ASSERT_EQ(file_->Ioctl(OpticDriver::kWriteRegister, &access), 0);
        EXPECT_EQ(access.value, value);  // the echo
    }
    unsigned Read(std::uint32_t address) {
        OpticRegister access = {static_cast<std::uint16_t>(address >> 1), 0xBEEF};
        EXPECT_EQ(file_->Ioctl(OpticDriver::kReadRegister, &access), 0);
        return access.value;
    }
    std::vector<std::uint16_t> Fetch(int count) {
        std::vector<std::uint16_t> samples(static_cast<std::size_t>(count));
        OpticSamples block = {count, samples.data()};
        EXPECT_EQ(file_->Ioctl(OpticDriver::kReadSamples, &block), 0);
        return samples;
    }
    // A whole acquisition of the registers set up before.
    std::vector<std::uint16_t> Acquire(int count) {
        Write(0x3000002e, 1);
        for (int i = 0; i < 1000 && (Read(0x3000002e) & 0x80) == 0; ++i)
            world_.now += 1000;
        Write(0x3000002e, 2);
        for (int i = 0; i < 1000 && (Read(0x3000002e) & 0x20) == 0; ++i)
            world_.now += 10;
        EXPECT_NE(Read(0x3000002e) & 0x20, 0u);
        auto samples = Fetch(count);
        Write(0x3000002e, 0);
        return samples;
    }
    static double Mean(const std::vector<std::uint16_t>& samples, std::size_t from, std::size_t to) {
        return std::accumulate(samples.begin() + static_cast<std::ptrdiff_t>(from),
                               samples.begin() + static_cast<std::ptrdiff_t>(to), 0.0) /
               static_cast<double>(to - from);
    }
};

}  // namespace k905
