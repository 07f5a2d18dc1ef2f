// Every module that a seed makes can be adjusted by closed-loop search: the steps that an adjuster takes
// reach the target because the supplies and test points behave as they do, with their spread and their noise.
#include <gtest/gtest.h>

#include <cmath>

#include "simulator/models/measurement_board.h"
#include "tests/simulator/models/module_bench.h"

namespace k905 {

class Adjustable : public ModuleBench {
  protected:
    static constexpr unsigned kModules = 40;
    MeasurementBoard board_{world_, 1, fpga_.Values(), optics_};
    std::unique_ptr<DeviceFile> port_;

    void SetUp() override {
        ModuleBench::SetUp();
        LoadGood();
        int error = 0;
        port_ = board_.Open(0, error);
    }

    double Measure(std::uint8_t channel) {
        const std::uint8_t request[] = {4, 2, channel, 7, 0x23};
        port_->Write(request, sizeof request);
        world_.now += 50000;
        std::uint8_t reply[20] = {};
        EXPECT_EQ(port_->Read(reply, sizeof reply), 7);
        const std::uint32_t bits = std::uint32_t{reply[2]} << 24 | reply[3] << 16 | reply[4] << 8 | reply[5];
        float volts = 0;
        std::memcpy(&volts, &bits, sizeof volts);
        return volts;
    }

    // Steps the DAC behind `address` down by `down` while the reading is above the target and up by `up`
    // while it is below; the code found, or -1 after `tries`.
    int Search(std::uint32_t address, std::uint8_t channel, int code, double target, double tolerance,
               int down, int up, int tries) {
        for (; tries > 0; --tries) {
            Write(address, static_cast<unsigned>(code));
            const double volts = Measure(channel);
            if (std::fabs(volts - target) <= tolerance)
                return code;
            code += volts > target ? -down : up;
            if (code < 0 || code > 4095)
                return -1;
        }
        return -1;
    }
};

TEST_F(Adjustable, SuppliesReachTheirTargets) {
    const struct {
        double target;
        int code;
    } vdd[] = {{3.0, 2064}, {2.5, 1712}, {2.0, 1376}, {1.5, 1056}},
      apd[] = {{45, 2499}, {40, 1979}, {35, 1465}, {30, 944}, {25, 432}};
    for (unsigned seed = 0; seed < kModules; ++seed) {
        optics_.SetSeed(seed);
        for (const auto& point : vdd)
            EXPECT_GE(Search(0x30000012, 2, point.code, point.target, 0.05, 16, 3, 800), 0) << seed;
        for (const auto& point : apd)
            EXPECT_GE(Search(0x30000014, 3, point.code, point.target, 0.1, 21, 5, 200), 0) << seed;
    }
}

TEST_F(Adjustable, AttenuatorsComeToZeroAndLeaveTheDarkLevelInItsWindow) {
    for (unsigned seed = 0; seed < kModules; ++seed) {
        optics_.SetSeed(seed);
        const int att0 = Search(0x3000000e, 8, 1280, 0, 0.01, 16, 10, 100);
        const int att1 = Search(0x30000010, 9, 1024, 0, 0.01, 16, 10, 100);
        ASSERT_GE(att0, 0) << seed;
        ASSERT_GE(att1, 0) << seed;
        Write(0x3000000a, 0x2001);
        Write(0x3000000c, 0x0041);
        Write(0x3000001a, 1024);
        Write(0x3000001e, 1);
        Write(0x30000020, 1024);
        const double dark = Mean(Acquire(1024), 1, 512);
        EXPECT_GT(dark, 45000) << seed;
        EXPECT_LT(dark, 65000) << seed;
    }
}

TEST_F(Adjustable, AttenuatorBringsTheMeanIntoTheMeasuringWindow) {
    for (unsigned seed = 0; seed < kModules; ++seed) {
        optics_.SetSeed(seed);
        Write(0x3000000a, 0x6300);
        Write(0x3000000c, 0x0151);
        Write(0x30000010, 896);
        Write(0x3000001a, 512);
        Write(0x3000001e, 1);
        Write(0x30000020, 1024);
        for (const int start : {800, 1280, 300}) {
            int code = start, tries = 200;
            double mean = 0;
            for (; tries > 0; --tries) {
                Write(0x3000000e, static_cast<unsigned>(code));
                mean = Mean(Acquire(512), 1, 512);
                if (mean >= 58000 && mean <= 63000)
                    break;
                code += mean > 63000 ? 10 : -10;
            }
            EXPECT_GT(tries, 0) << "module " << seed << " from " << start << ": " << mean;
        }
    }
}

}  // namespace k905
