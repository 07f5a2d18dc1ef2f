#include "simulator/models/optic_driver.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "simulator/models/host_file.h"
#include "simulator/models/text.h"

namespace k905 {

class OpticFile : public DeviceFile {
  public:
    explicit OpticFile(OpticDriver& driver) : driver_(driver) {}

    int Ioctl(unsigned long request, void* argument) override;
    ssize_t Read(void* buffer, std::size_t size) override;
    ssize_t Write(const void* buffer, std::size_t size) override;
    off_t Seek(off_t offset, int whence) override;

  private:
    int AccessRegister(void* argument, bool write);
    int ReadSamples(void* argument);
    int ReadTemperature(void* argument);

    OpticDriver& driver_;
    std::size_t offset_ = 0;  // into the tuning record
};

int OpticFile::Ioctl(unsigned long request, void* argument) {
    if (request < OpticDriver::kReadRegister || request > OpticDriver::kTemperature)
        return -ENOTTY;
    if (argument == nullptr)
        return -EFAULT;
    switch (request) {
        case OpticDriver::kReadRegister:
            return AccessRegister(argument, false);
        case OpticDriver::kWriteRegister:
            return AccessRegister(argument, true);
        case OpticDriver::kReadSamples:
            return ReadSamples(argument);
        default:
            return ReadTemperature(argument);
    }
}

// The value written stays in the argument: the driver echoes it.
int OpticFile::AccessRegister(void* argument, bool write) {
    auto* access = static_cast<OpticRegister*>(argument);
    const std::uint32_t address = kRegisterBase + 2u * access->index;
    const bool tracing = driver_.world_.Tracing();
    if (write) {
        // Traced first: what the write sets off (an EEPROM transfer, say) then stands behind it.
        if (tracing)
            driver_.world_.Trace("reg", Text("reg write 0x%08x 0x%04x%s", address, unsigned{access->value},
                                             driver_.failing_ ? " failed" : ""));
        if (driver_.failing_)
            return -EIO;
        driver_.fpga_.Write(access->index, access->value);
        return 0;
    }
    if (driver_.failing_) {
        driver_.world_.Trace("reg", Text("reg read 0x%08x failed", address));
        return -EIO;
    }
    access->value = driver_.fpga_.Read(access->index);
    if (tracing)
        driver_.world_.Trace("reg", Text("reg read 0x%08x -> 0x%04x", address, unsigned{access->value}));
    return 0;
}

int OpticFile::ReadSamples(void* argument) {
    auto* block = static_cast<OpticSamples*>(argument);
    driver_.world_.Trace("data", Text("data read %d%s", block->count, driver_.failing_ ? " failed" : ""));
    if (driver_.failing_)
        return -EIO;
    if (block->count < 0)
        return -EINVAL;
    if (block->samples == nullptr)
        return -EFAULT;
    driver_.fpga_.Fetch(block->samples, static_cast<std::size_t>(block->count));
    return 0;
}

int OpticFile::ReadTemperature(void* argument) {
    const bool failing = driver_.failing_ || driver_.temperatureFailing_;
    driver_.world_.Trace("ioctl", failing ? "temp read failed" : "temp read");
    if (failing)
        return -EIO;
    const double degrees =
        driver_.temperatureFrozen_.value_or(driver_.surroundings_.Temperature() + driver_.temperatureOffset_);
    const auto milli = static_cast<std::int32_t>(std::lround(degrees * 1000));
    std::memcpy(argument, &milli, sizeof milli);
    return 0;
}

ssize_t OpticFile::Read(void* buffer, std::size_t size) {
    if (buffer == nullptr)
        return -EFAULT;
    std::string record;
    if (!driver_.tuningFailing_ && host::ReadFile(driver_.tuningPath_, record))
        record.resize(std::min(record.size(), OpticDriver::kTuningSize));
    const std::size_t count = offset_ < record.size() ? std::min(size, record.size() - offset_) : 0;
    driver_.world_.Trace("file",
                         driver_.tuningFailing_ ? "tuning read failed" : Text("tuning read %zu", count));
    if (driver_.tuningFailing_)
        return -EIO;
    std::memcpy(buffer, record.data() + offset_ * (count > 0), count);
    offset_ += count;
    return static_cast<ssize_t>(count);
}

ssize_t OpticFile::Write(const void* buffer, std::size_t size) {
    if (buffer == nullptr)
        return -EFAULT;
    if (offset_ >= OpticDriver::kTuningSize)
        return -ENOSPC;
    const std::size_t count = std::min(size, OpticDriver::kTuningSize - offset_);
    driver_.world_.Trace("file",
                         driver_.tuningFailing_ ? "tuning write failed" : Text("tuning write %zu", count));
    if (driver_.tuningFailing_)
        return -EIO;
    std::string record;
    host::ReadFile(driver_.tuningPath_, record);
    record.resize(OpticDriver::kTuningSize, '\0');
    std::memcpy(&record[offset_], buffer, count);
    // Whole or not at all, as the driver keeps it: a kill between the two steps leaves the old record.
    const std::string fresh = driver_.tuningPath_ + ".new";
    if (!host::WriteFile(fresh, record) || !host::Rename(fresh, driver_.tuningPath_))
        return -EIO;
    offset_ += count;
    return static_cast<ssize_t>(count);
}

off_t OpticFile::Seek(off_t offset, int whence) {
    off_t base = 0;
    if (whence == SEEK_CUR)
        base = static_cast<off_t>(offset_);
    else if (whence == SEEK_END)
        base = static_cast<off_t>(OpticDriver::kTuningSize);
    else if (whence != SEEK_SET)
        return -EINVAL;
    if (base + offset < 0 || base + offset > static_cast<off_t>(OpticDriver::kTuningSize))
        return -EINVAL;
    offset_ = static_cast<std::size_t>(base + offset);
    return base + offset;
}

OpticDriver::OpticDriver(World& world, Fpga& fpga, const ModuleSurroundings& surroundings,
                         const std::string& tuningPath)
    : world_(world), fpga_(fpga), surroundings_(surroundings), tuningPath_(tuningPath) {}

std::unique_ptr<DeviceFile> OpticDriver::Open(int /*flags*/, int& error) {
    if (!loaded_) {
        error = ENOENT;
        return nullptr;
    }
    return std::make_unique<OpticFile>(*this);
}

nlohmann::json OpticDriver::State() const {
    return {{"present", loaded_},
            {"temperature", surroundings_.Temperature()},
            {"tuning_stored", host::Exists(tuningPath_)}};
}

}  // namespace k905
