#include "simulator/models/measurement_board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "tests/simulator/models/bench_world.h"

namespace k905 {

using testing::ElementsAre;
using testing::IsEmpty;

class Board : public testing::Test {
  protected:
    using Bytes = std::vector<std::uint8_t>;
    BenchWorld world_;
    Registers registers_ = {};
    Optics module_{1};
    MeasurementBoard board_{world_, 1, registers_, module_};
    std::unique_ptr<DeviceFile> file_;

    void SetUp() override {
        int error = 0;
        file_ = board_.Open(0, error);
        ASSERT_NE(file_, nullptr);
    }
    void Send(const Bytes& bytes) {
        ASSERT_EQ(file_->Write(bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    // Everything that arrives within the time given.
    Bytes Receive(Micros wait = 5000000) {
        world_.now += wait;
        Bytes bytes(100);
        const ssize_t count = file_->Read(bytes.data(), bytes.size());
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }
    static double Volts(const Bytes& reply) {
        const std::uint32_t bits = std::uint32_t{reply[2]} << 24 | reply[3] << 16 | reply[4] << 8 | reply[5];
        float volts = 0;
        std::memcpy(&volts, &bits, sizeof volts);
        return volts;
    }
    double Measure(std::uint8_t channel, std::uint8_t command = 2) {
        Send({4, command, channel, 7, 0x23});
        const Bytes reply = Receive(100000);
        EXPECT_EQ(reply.size(), 7u);
        return reply.size() == 7 && reply[0] == 6 && reply[1] == channel ? Volts(reply) : NAN;
    }
};

TEST_F(Board, AnswersTheConnectFrame) {
    Send({2, 7, 0x23});
    const Bytes reply = Receive();
    ASSERT_EQ(reply.size(), 7u);
    EXPECT_EQ(reply[0], 6);
    EXPECT_EQ(reply[1], 7);
    EXPECT_THAT(world_.Take(), ElementsAre("serial tx 02 07 23", "serial rx 06 07 00 00 00 00 00"));
}

TEST_F(Board, BytesTakeTheirTimeOnTheWire) {
    EXPECT_EQ(file_->ReadableAt(), kNever);
    Send({2, 7, 0x23});
    const Micros sent = file_->DrainedAt(), first = file_->ReadableAt();
    EXPECT_NEAR(static_cast<double>(sent), 3 * 86.8, 2);
    EXPECT_GT(first, sent + 80);
    EXPECT_LT(first, sent + 20000);
    std::uint8_t bytes[20] = {};
    world_.now = first - 1;
    EXPECT_EQ(file_->Read(bytes, sizeof bytes), -EAGAIN);
    world_.now = first;
    EXPECT_EQ(file_->Read(bytes, sizeof bytes), 1);
    world_.now = first + 25000;
    EXPECT_EQ(file_->Read(bytes, sizeof bytes), 6);
}

TEST_F(Board, RailsOfEveryGoodBoardLieInTheirBands) {
    const struct {
        std::uint8_t channel;
        double low, high;
    } bands[] = {{12, 1.01909, 1.12636}, {13, 0.97251, 1.07488}, {14, 1.00235, 1.10786},
                 {15, 0.95, 1.05},       {16, 0.98315, 1.08664}, {17, 0.98315, 1.08664},
                 {18, 0.95311, 1.05344}, {19, 0.96259, 1.06391}, {20, 1.00235, 1.10786},
                 {21, 0.98561, 1.08935}, {22, 1.00235, 1.10786}, {24, 0.93373, 1.14123},
                 {26, 0.93373, 1.14123}, {28, 0.98561, 1.08935}};
    for (unsigned seed = 0; seed < 50; ++seed) {
        MeasurementBoard board(world_, seed, registers_, module_);
        for (const auto& band : bands) {
            const double margin = (band.high - band.low) / 8;
            ASSERT_GT(board.Volts(band.channel), band.low + margin) << unsigned{band.channel};
            ASSERT_LT(board.Volts(band.channel), band.high - margin) << unsigned{band.channel};
        }
    }
}

TEST_F(Board, ReadingsCarryALittleNoise) {
    const double first = Measure(12, 8), second = Measure(12, 8);
    EXPECT_NE(first, second);
    EXPECT_NEAR(first, board_.Volts(12), 0.003);
    EXPECT_NEAR(second, board_.Volts(12), 0.003);
}

TEST_F(Board, ReadsAllChannelsWithItsErrorUntilItHasNone) {
    const double rail = board_.Volts(12);
    board_.SetReadingError({1.5, -0.25, 0});
    for (int i = 0; i < 3; ++i)
        EXPECT_FLOAT_EQ(static_cast<float>(rail * 1.5 - 0.25), static_cast<float>(Measure(12, 8)));
    board_.SetReadingError({});
    EXPECT_NE(Measure(12, 8), Measure(12, 8));
    EXPECT_NEAR(Measure(12, 8), rail, 0.003);
}

TEST_F(Board, NoiseTenfoldIsTheSameNoiseTenTimes) {
    const double rail = board_.Volts(12);
    std::vector<double> usual, loud;
    for (std::vector<double>* readings : {&usual, &loud}) {
        board_.SetNoise(7);
        board_.SetReadingError({1, 0, readings == &loud ? 10.0 : 1.0});
        for (int i = 0; i < 20; ++i)
            readings->push_back(Measure(12, 8) - rail);
    }
    for (std::size_t i = 0; i < usual.size(); ++i)
        EXPECT_NEAR(usual[i] * 10, loud[i], 1e-5) << i;
}

TEST_F(Board, SupplyChannelsFollowTheDacCodes) {
    registers_[kRegVdd] = 2064;
    EXPECT_NEAR(Measure(2), 3.0, 0.05);
    registers_[kRegVdd] = 1056;
    EXPECT_NEAR(Measure(2), 1.5, 0.05);
    const struct {
        std::uint16_t code;
        double volts;
    } apd[] = {{2499, 45}, {1979, 40}, {1465, 35}, {944, 30}, {432, 25}};
    for (const auto& point : apd) {
        registers_[kRegApd] = point.code;
        EXPECT_NEAR(Measure(3), point.volts, 0.6) << point.code;
    }
}

TEST_F(Board, AttenuatorTestPointsCrossZeroNearTheirStartCodes) {
    const struct {
        std::uint8_t channel;
        Register index;
        int start;
    } points[] = {{8, kRegAtt0, 1280}, {9, kRegAtt1, 1024}};
    for (const auto& point : points) {
        registers_[point.index] = static_cast<std::uint16_t>(point.start - 80);
        EXPECT_LT(Measure(point.channel), -0.005);
        registers_[point.index] = static_cast<std::uint16_t>(point.start + 80);
        EXPECT_GT(Measure(point.channel), 0.005);
    }
}

TEST_F(Board, PulseWidthRepliesAreLongAndNeedTheLaser) {
    registers_[kRegCurrent1] = 0x40;
    Send({4, 9, 36, 7, 0x23});
    Bytes reply = Receive();
    ASSERT_EQ(reply.size(), 11u);
    EXPECT_EQ(reply[0], 10);
    EXPECT_EQ(reply[1], 36);
    EXPECT_EQ(reply[9], 0);
    registers_[kRegCurrent1] = 0x151;
    for (std::uint8_t channel = 36; channel <= 39; ++channel) {
        Send({4, 9, channel, 7, 0x23});
        reply = Receive();
        ASSERT_EQ(reply.size(), 11u);
        EXPECT_GE(reply[9], 11);
        EXPECT_LE(reply[9], 29);
        EXPECT_EQ(reply[6] | reply[7] | reply[8], 0);
    }
}

TEST_F(Board, SwitchesItsTestSignalWithoutAReply) {
    Send({3, 18, 7, 0x23});
    Send({3, 13, 7, 0x23});
    EXPECT_EQ(board_.InjectedSignal(), TestSignal::kVoltage1);
    EXPECT_EQ(board_.InjectedChannel(), 7u);
    Send({3, 14, 7, 0x23});
    EXPECT_EQ(board_.InjectedSignal(), TestSignal::kVoltage0);
    Send({3, 16, 7, 0x23});
    EXPECT_EQ(board_.InjectedChannel(), 1u);
    EXPECT_THAT(Receive(), IsEmpty());
    board_.SetPlugged(false);
    EXPECT_EQ(board_.InjectedSignal(), TestSignal::kOpen);
}

TEST_F(Board, FindsItsFramesAgainInGarbage) {
    Send({0x00, 0xFF, 0x01, 4, 2, 6, 7, 0x24});  // noise, then a frame with a wrong terminator
    EXPECT_THAT(Receive(), IsEmpty());
    Send({2, 7, 0x23});
    EXPECT_EQ(Receive().size(), 7u);
    Send({9, 2, 7, 0x23});  // the connect frame is inside what looks like the head of a longer one
    EXPECT_THAT(Receive(), IsEmpty());
    Send({2, 7, 0x23});  // the gap gave the head up
    EXPECT_EQ(Receive().size(), 7u);
}

TEST_F(Board, IgnoresFramesItDoesNotKnow) {
    Send({4, 3, 6, 7, 0x23});
    Send({3, 7, 7, 0x23});
    Send({2, 2, 0x23});
    Send({3, 19, 7, 0x23});
    EXPECT_THAT(Receive(), IsEmpty());
}

TEST_F(Board, UnpluggedBoardIsSilent) {
    Send({2, 7, 0x23});
    board_.SetPlugged(false);
    EXPECT_THAT(Receive(), IsEmpty());
    Send({2, 7, 0x23});
    EXPECT_THAT(Receive(), IsEmpty());
    EXPECT_EQ(board_.State()["frames"], 2) << "requests, also those that nobody heard";
    EXPECT_EQ(board_.State()["replies"], 1);
    board_.SetPlugged(true);
    Send({2, 7, 0x23});
    EXPECT_EQ(Receive().size(), 7u);
}

TEST_F(Board, FaultsSpoilReplies) {
    board_.SetReplyShort(true);
    Send({2, 7, 0x23});
    EXPECT_EQ(Receive().size(), 6u);
    board_.SetReplyShort(false);

    board_.SetReplyWrongChannel(true);
    Send({4, 2, 6, 7, 0x23});
    EXPECT_EQ(Receive()[1], 7);
    board_.SetReplyWrongChannel(false);

    board_.SetReplyDelay(6000000);
    Send({2, 7, 0x23});
    EXPECT_THAT(Receive(5900000), IsEmpty());
    EXPECT_EQ(Receive(200000).size(), 7u);
    board_.SetReplyDelay(0);

    board_.SetReplyGarbage(true);
    Send({2, 7, 0x23});
    const Bytes garbage = Receive();
    EXPECT_THAT(garbage, testing::Not(IsEmpty()));
    EXPECT_NE(garbage, (Bytes{6, 7, 0, 0, 0, 0, 0}));
}

// A board that is slow to answer is not slower the more it is asked.
TEST_F(Board, EveryReplyIsLateByTheSame) {
    board_.SetReplyDelay(6000000);
    for (int i = 0; i < 3; ++i)
        Send({2, 7, 0x23});
    EXPECT_THAT(Receive(5999000), IsEmpty());
    EXPECT_EQ(21u, Receive(50000).size());
}

TEST_F(Board, FlushAndReopenDropWhatHasArrivedOnly) {
    Send({2, 7, 0x23});
    world_.now = file_->ReadableAt() + 100;  // two bytes are here
    file_->FlushInput();
    EXPECT_EQ(Receive().size(), 5u);
    Send({2, 7, 0x23});
    world_.now += 1000000;
    int error = 0;
    file_ = board_.Open(0, error);
    EXPECT_THAT(Receive(), IsEmpty());
}

TEST_F(Board, RailsCanBeHeldByNameAndChannel) {
    EXPECT_EQ(board_.SetRail("TP97", 0.5), "");
    EXPECT_NEAR(Measure(12, 8), 0.5, 0.002);
    EXPECT_EQ(board_.SetRail("12", 0.6), "");
    EXPECT_NEAR(Measure(12, 8), 0.6, 0.002);
    EXPECT_EQ(board_.FreeRail("TP97"), "");
    EXPECT_NEAR(Measure(12, 8), 1.0727, 0.02);
    EXPECT_NE(board_.SetRail("TP1000", 1), "");
    EXPECT_NE(board_.FreeRail(""), "");
    EXPECT_NE(board_.SetRail("TP97", INFINITY), "");
}

}  // namespace k905
