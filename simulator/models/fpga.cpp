#include "simulator/models/fpga.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "simulator/models/register_names.h"
#include "simulator/models/text.h"

namespace k905 {

namespace {

constexpr std::uint16_t kFloating = 0xFFFF;  // what the bus reads when nothing answers
constexpr unsigned kPhases = 32;             // shots that interleave into one trace of the full resolution

}  // namespace

Fpga::Fpga(World& world, Optics& optics, At24c512& eeprom, const ModuleSurroundings& surroundings)
    : world_(world), optics_(optics), eeprom_(eeprom), surroundings_(surroundings), memory_(kMemorySamples) {
    DriveLines();
}

void Fpga::BeginConfiguration() {
    configured_ = false;
    Clear();
}

void Fpga::Configure() {
    configured_ = true;
    std::fill(memory_.begin(), memory_.end(), std::uint16_t{0});
    Clear();
}

void Fpga::Clear() {
    registers_ = {};
    origins_ = {};
    acquisition_ = Acquisition::kIdle;
    HoldStuck();
}

void Fpga::DriveLines() {
    const std::uint16_t out = configured_ ? registers_[kRegControlOut] : kFloating;
    eeprom_.Drive((out & kOutScl) != 0, (out & kOutSda) != 0, (out & kOutProtect) != 0);
}

std::uint16_t Fpga::Read(std::uint16_t index) {
    if (!configured_)
        return kFloating;
    if (index >= kRegisterCount)
        return 0;
    if (stuckValue_ >= 0 && index == stuckIndex_)
        return static_cast<std::uint16_t>(stuckValue_);
    std::uint16_t value = registers_[index];
    if (index == kRegControlOut) {
        // The data line is open drain: it reads what is on the wire, not what was written.
        value = static_cast<std::uint16_t>((value & ~kOutSda) | (eeprom_.Sda() ? kOutSda : 0));
    } else if (index == kRegMemory) {
        value = static_cast<std::uint16_t>((value & ~(kMemoryReady | kMemoryError)) | memoryStatus_);
    } else if (index == kRegAcquire) {
        const Micros now = world_.Now();
        if (acquisition_ != Acquisition::kIdle && now >= finishedAt_ && !neverReady_)
            value |= kAcquireFinished;
        if (acquisition_ == Acquisition::kTransferring && now >= readyAt_ && !neverReady_)
            value |= kAcquireReady;
    }
    return value;
}

void Fpga::SetStuck(std::uint16_t index, int value) {
    if (stuckValue_ >= 0)
        registers_[stuckIndex_] = underStuck_;
    stuckIndex_ = index;
    stuckValue_ = value;
    HoldStuck();
}

void Fpga::HoldStuck() {
    if (stuckValue_ >= 0) {
        underStuck_ = registers_[stuckIndex_];
        registers_[stuckIndex_] = static_cast<std::uint16_t>(stuckValue_);
    }
    DriveLines();
}

void Fpga::Write(std::uint16_t index, std::uint16_t value) {
    if (!configured_ || index >= kRegisterCount)
        return;
    const bool stuck = stuckValue_ >= 0 && index == stuckIndex_;
    std::uint16_t& held = stuck ? underStuck_ : registers_[index];
    if (!origins_[index] || held != value)
        origins_[index] = Written{world_.Now(), value, held, world_.Actor()};
    held = value;
    if (stuck)
        return;
    if (index == kRegControlOut)
        DriveLines();
    if (index != kRegAcquire)
        return;
    const Micros now = world_.Now();
    if (value == kAcquireStart) {
        acquisition_ = Acquisition::kRunning;
        finishedAt_ = now + AcquisitionTime();
        ++acquisitions_;
        world_.Mark("acquisition");
        const OpticsInput input =
            OpticsInputFrom(registers_, surroundings_.Temperature(), surroundings_.InjectedSignal(),
                            surroundings_.InjectedChannel());
        lastLit_ = optics_.Lit(input);
        Acquired& acquired = acquired_[static_cast<std::size_t>(lastLit_)];
        acquired = {acquisitions_, input, optics_.Acquire(input, SampleCount())};
        std::copy(acquired.samples.begin(), acquired.samples.end(), memory_.begin());
    } else if (value == kAcquireTransfer && acquisition_ != Acquisition::kIdle) {
        acquisition_ = Acquisition::kTransferring;
        readyAt_ = std::max(now, finishedAt_) + TransferTime();
    } else if (value == 0) {
        acquisition_ = Acquisition::kIdle;
    }
}

std::size_t Fpga::SampleCount() const {
    const std::size_t count =
        std::size_t{registers_[kRegSampleCountHigh]} << 16 | registers_[kRegSampleCount];
    return std::min(count, kMemorySamples);
}

// Each average is one trace of interleaved shots, a repetition period (0.1 microseconds a count) apart.
Micros Fpga::AcquisitionTime() const {
    const Micros shots = Micros{std::max<std::uint16_t>(registers_[kRegAverages], 1)} * kPhases;
    return shots * std::max<Micros>(registers_[kRegPeriod], 1) / 10 + 1;
}

// The sample memory delivers ten samples a microsecond.
Micros Fpga::TransferTime() const {
    return static_cast<Micros>(SampleCount() / 10) + 1;
}

std::size_t Fpga::Fetch(std::uint16_t* samples, std::size_t count) const {
    count = std::min(count, kMemorySamples);
    if (configured_)
        std::copy_n(memory_.begin(), count, samples);
    else
        std::fill_n(samples, count, kFloating);
    return count;
}

nlohmann::json Fpga::State() const {
    nlohmann::json values = nlohmann::json::object();
    for (const RegisterName& one : kRegisterNames)
        if (one.count == 1)
            values[one.name] = Text("0x%04x", static_cast<unsigned>(registers_[one.index]));
    static constexpr const char* kPhaseNames[] = {"idle", "running", "transferring"};
    nlohmann::json last = nlohmann::json::object();
    for (std::size_t lit = 0; lit < kWavelengths; ++lit)
        if (acquired_[lit].number > 0)
            last[kWavelengthNames[lit]] = acquired_[lit].number;
    return {{"configured", configured_},
            {"registers", values},
            {"acquisition", kPhaseNames[static_cast<int>(acquisition_)]},
            {"acquisitions", acquisitions_},
            {"last_acquisitions", last},
            {"visible_light", (registers_[kRegControlOut] & kOutVisibleLight) != 0},
            {"speaker", registers_[kRegSpeakerOn] != 0},
            {"speaker_tone", registers_[kRegSpeakerTone]}};
}

}  // namespace k905
