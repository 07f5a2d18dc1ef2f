#include "simulator/models/measurement_board.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "simulator/models/board_frames.h"
#include "simulator/models/text.h"

namespace k905 {

namespace {

constexpr Micros kCharacterTime =
    10 * 1000000 / MeasurementBoard::kBaud + 1;  // 86.8 microseconds, rounded up
constexpr Micros kByteGap = 20000;               // longer inside a frame: the board gives the frame up
constexpr Micros kConversionTime = 12000;        // sixteen conversions averaged
constexpr Micros kPulseTime = 20000;
constexpr Micros kCommandTime = 500;
constexpr std::size_t kLongestFrame = 16;  // bytes after N that the board has room for

constexpr double kRailSpread = 0.012;     // half range, of the nominal: regulators and dividers
constexpr double kReadingNoise = 0.0002;  // RMS, of the reading, plus the floor below
constexpr double kNoiseFloor = 0.00005;   // volts

constexpr double kPulseNominal = 20, kPulseSpread = 4;  // counts
constexpr double kPulseVolts = 0.35;                    // mean level of the pulse monitor

// Front amplifier codes of the channels 6300, 6301, 6303, 6307.
constexpr unsigned kAmplifierCodes[] = {0, 1, 3, 7};

void PutBigEndian(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t FloatBits(double value) {
    const auto single = static_cast<float>(value);
    std::uint32_t bits = 0;
    std::memcpy(&bits, &single, sizeof bits);
    return bits;
}

std::string Hex(const char* head, const std::vector<std::uint8_t>& bytes) {
    std::string line = head;
    for (const std::uint8_t byte : bytes)
        line += Text(" %02x", unsigned{byte});
    return line;
}

std::size_t FindRail(const std::string& nameOrChannel) {
    for (std::size_t i = 0; i < kBoardRailCount; ++i)
        if (nameOrChannel == kBoardRails[i].name || nameOrChannel == std::to_string(kBoardRails[i].channel))
            return i;
    return kBoardRailCount;
}

}  // namespace

class MeasurementBoardFile : public DeviceFile {
  public:
    explicit MeasurementBoardFile(MeasurementBoard& board) : board_(board) { board_.DropArrived(); }

    ssize_t Read(void* buffer, std::size_t size) override {
        if (buffer == nullptr)
            return -EFAULT;
        const Micros now = board_.world_.Now();
        std::size_t done = 0;
        auto* bytes = static_cast<std::uint8_t*>(buffer);
        for (; done < size && !board_.output_.empty() && board_.output_.front().at <= now; ++done) {
            bytes[done] = board_.output_.front().value;
            board_.output_.pop_front();
        }
        return done > 0 || size == 0 ? static_cast<ssize_t>(done) : -EAGAIN;
    }

    ssize_t Write(const void* buffer, std::size_t size) override {
        if (buffer == nullptr)
            return -EFAULT;
        const auto* bytes = static_cast<const std::uint8_t*>(buffer);
        if (size > 0)
            board_.world_.Trace("serial", Hex("serial tx", {bytes, bytes + size}));
        for (std::size_t i = 0; i < size; ++i) {
            board_.sentUntil_ = std::max(board_.sentUntil_, board_.world_.Now()) + kCharacterTime;
            board_.Receive(bytes[i], board_.sentUntil_);
        }
        return static_cast<ssize_t>(size);
    }

    Micros ReadableAt() override { return board_.output_.empty() ? kNever : board_.output_.front().at; }
    Micros DrainedAt() override { return board_.sentUntil_; }
    void FlushInput() override { board_.DropArrived(); }

  private:
    MeasurementBoard& board_;
};

MeasurementBoard::MeasurementBoard(World& world, unsigned seed, const Registers& registers,
                                   const Optics& module)
    : world_(world),
      registers_(registers),
      module_(module),
      noise_(seed, "board noise"),
      garbage_(seed, "garbage") {
    Chance spread(seed, "rails");
    for (const BoardRail& rail : kBoardRails)
        rails_.push_back(rail.nominal * (1.0 + spread.Spread(kRailSpread)));
}

void MeasurementBoard::SetNoise(unsigned seed) {
    noise_ = Chance(seed, "board noise");
}

std::unique_ptr<DeviceFile> MeasurementBoard::Open(int /*flags*/, int& error) {
    if (portMissing_) {
        error = ENOENT;
        return nullptr;
    }
    return std::make_unique<MeasurementBoardFile>(*this);
}

void MeasurementBoard::SetPlugged(bool plugged) {
    if (plugged_ == plugged)
        return;
    plugged_ = plugged;
    input_.clear();  // a board that is plugged in starts afresh
    signal_ = TestSignal::kOpen;
    signalChannel_ = 0;
    // What has arrived has arrived.
    while (!plugged && !output_.empty() && output_.back().at > world_.Now())
        output_.pop_back();
}

std::string MeasurementBoard::SetRail(const std::string& nameOrChannel, double volts) {
    const std::size_t rail = FindRail(nameOrChannel);
    if (rail == kBoardRailCount)
        return "no such rail: " + nameOrChannel;
    if (!std::isfinite(volts))
        return "a rail's voltage must be a number";
    held_[rail] = volts;
    return "";
}

std::string MeasurementBoard::FreeRail(const std::string& nameOrChannel) {
    const std::size_t rail = FindRail(nameOrChannel);
    if (rail == kBoardRailCount)
        return "no such rail: " + nameOrChannel;
    held_.erase(rail);
    return "";
}

double MeasurementBoard::Volts(std::uint8_t channel) const {
    const unsigned seed = module_.Seed();
    switch (channel) {
        case kChannelVdd:
            return VddVolts(seed, module_.Code(Dac::kVdd, registers_[kRegVdd]));
        case kChannelApd:
            return ApdVolts(seed, module_.Code(Dac::kApd, registers_[kRegApd]));
        case kChannelAtt0:
            return DacVolts(module_.Code(Dac::kAtt0, registers_[kRegAtt0])) - module_.Spread().att0Zero;
        case kChannelAtt1:
            return DacVolts(module_.Code(Dac::kAtt1, registers_[kRegAtt1])) - module_.Spread().att1Zero;
        default:
            break;
    }
    if (channel >= kChannelPulseFirst && channel <= kChannelPulseLast)
        return PulseWidth(channel) > 0 ? kPulseVolts * SupplyFactor(seed, channel) : 0;
    for (std::size_t i = 0; i < kBoardRailCount; ++i) {
        const auto held = held_.find(i);
        if (kBoardRails[i].channel == channel)
            return held != held_.end() ? held->second : rails_[i];
    }
    return 0;  // nothing connected
}

// The monitor sees pulses only while the laser driver is enabled.
std::uint32_t MeasurementBoard::PulseWidth(std::uint8_t channel) const {
    const bool enabled = (registers_[kRegCurrent1] & 1) != 0;
    if (channel < kChannelPulseFirst || channel > kChannelPulseLast || !enabled)
        return 0;
    Chance chance(Mix(module_.Seed(), channel), "pulse");
    return static_cast<std::uint32_t>(std::lround(kPulseNominal + chance.Spread(kPulseSpread)));
}

// Collects a frame: N, then N bytes of which the last is the terminator. What does not fit that is given up
// byte by byte until a frame can begin.
void MeasurementBoard::Receive(std::uint8_t byte, Micros at) {
    if (!input_.empty() && at - lastInput_ > kByteGap)
        input_.clear();
    lastInput_ = at;
    input_.push_back(byte);
    Resynchronise();
    if (input_.empty() || input_.size() < input_.front() + 1u)
        return;
    const std::vector<std::uint8_t> frame(input_.begin(), input_.begin() + input_.front() + 1);
    input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(frame.size()));
    Frame(frame, at);
}

void MeasurementBoard::Resynchronise() {
    while (!input_.empty()) {
        const std::size_t length = input_.front();
        const bool possible = length >= 2 && length <= kLongestFrame;
        if (possible && (input_.size() <= length || input_[length] == kTerminator))
            return;
        input_.pop_front();
    }
}

void MeasurementBoard::Frame(const std::vector<std::uint8_t>& frame, Micros at) {
    const std::uint8_t command = frame[1];
    ++frames_;  // whether anybody hears it or not
    if (!plugged_)
        return;
    if (frame.size() == 3 && command == kConnect) {
        Reply({kShortReply, kConnect, 0, 0, 0, 0, 0}, std::max(at, busyUntil_) + kCommandTime);
    } else if (frame.size() == 4 && command >= kVoltage1 && command <= kChannel6307) {
        busyUntil_ = std::max(at, busyUntil_) + kCommandTime;
        Switch(command);
    } else if (frame.size() == 5 &&
               (command == kGetAdc || command == kGetFixtureAdc || command == kGetPulseWidth)) {
        const std::uint8_t channel = frame[2];
        const double volts = Volts(channel);
        std::vector<std::uint8_t> reply = {kShortReply, channel};
        const double noise = (volts * kReadingNoise + kNoiseFloor) * noise_.Normal() * readingError_.noise;
        PutBigEndian(reply, FloatBits(volts * readingError_.gain + readingError_.offset + noise));
        if (command == kGetPulseWidth) {
            reply[0] = kLongReply;
            PutBigEndian(reply, PulseWidth(channel));
        }
        reply.push_back(0);
        Reply(reply, std::max(at, busyUntil_) + (command == kGetPulseWidth ? kPulseTime : kConversionTime));
    }
}

void MeasurementBoard::Switch(std::uint8_t command) {
    if (command == kVoltage1 || command == kVoltage0)
        signal_ = command == kVoltage1 ? TestSignal::kVoltage1 : TestSignal::kVoltage0;
    else
        signalChannel_ = kAmplifierCodes[command - kChannel6300];
}

// The reply's first byte is complete one byte time after `at`. Faults spoil it on its way.
void MeasurementBoard::Reply(std::vector<std::uint8_t> reply, Micros at) {
    if (replyWrongChannel_)
        ++reply[1];
    if (replyGarbage_)
        for (std::uint8_t& byte : reply)
            byte = static_cast<std::uint8_t>(garbage_.Word());
    if (replyGarbage_)
        reply.resize(1 + garbage_.Word() % (reply.size() + 4), 0x55);
    if (replyShort_)
        reply.pop_back();
    busyUntil_ = at + static_cast<Micros>(reply.size()) * kCharacterTime;
    at += replyDelay_;
    if (!output_.empty())
        at = std::max(at, output_.back().at);
    for (const std::uint8_t byte : reply)
        output_.push_back({at += kCharacterTime, byte});
    ++replies_;
    world_.Trace("serial", Hex("serial rx", reply));
}

// The port was closed or flushed: what had arrived by now is gone, what is still on the wire is not.
void MeasurementBoard::DropArrived() {
    while (!output_.empty() && output_.front().at <= world_.Now())
        output_.pop_front();
}

nlohmann::json MeasurementBoard::State() const {
    nlohmann::json rails = nlohmann::json::object();
    for (const BoardRail& rail : kBoardRails)
        rails[rail.name] = Volts(rail.channel);
    nlohmann::json held = nlohmann::json::array();
    for (const auto& [rail, volts] : held_)
        held.push_back(kBoardRails[rail].name);
    static constexpr const char* kSignals[] = {"open", "voltage 0", "voltage 1"};
    return {{"plugged", plugged_},
            {"frames", frames_},
            {"replies", replies_},
            {"signal", kSignals[static_cast<int>(InjectedSignal())]},
            {"signal_channel", signalChannel_},
            {"rails", rails},
            {"held", held},
            {"vdd", Volts(kChannelVdd)},
            {"apd", Volts(kChannelApd)},
            {"att0", Volts(kChannelAtt0)},
            {"att1", Volts(kChannelAtt1)}};
}

}  // namespace k905
