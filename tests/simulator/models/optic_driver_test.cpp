#include "simulator/models/optic_driver.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>

#include "tests/simulator/models/module_bench.h"

namespace k905 {

using testing::ElementsAre;

using OpticNode = ModuleBench;

TEST_F(OpticNode, TracesEveryAccessAsTheBenchReadsIt) {
    LoadGood();
    world_.Take();
    Write(0x30000014, 0x1b0);
    Read(0x30000014);
    Fetch(2048);
    std::int32_t milli = 0;
    file_->Ioctl(0xC004F003, &milli);
    EXPECT_THAT(world_.Take(), ElementsAre("reg write 0x30000014 0x01b0", "reg read 0x30000014 -> 0x01b0",
                                           "data read 2048", "temp read"));
}

TEST_F(OpticNode, GivesTheTemperatureInThousandths) {
    temperature_ = -12.345;
    std::int32_t milli = 0;
    ASSERT_EQ(file_->Ioctl(OpticDriver::kTemperature, &milli), 0);
    EXPECT_EQ(milli, -12345);
    driver_.SetTemperatureFailing(true);
    EXPECT_EQ(file_->Ioctl(OpticDriver::kTemperature, &milli), -EIO);
    EXPECT_EQ(milli, -12345);
}

TEST_F(OpticNode, WrongSensorIsOffOrAlwaysGivesTheSame) {
    temperature_ = 20;
    const auto read = [&] {
        std::int32_t milli = 0;
        EXPECT_EQ(file_->Ioctl(OpticDriver::kTemperature, &milli), 0);
        return milli;
    };
    driver_.SetTemperatureOffset(-30.5);
    EXPECT_EQ(read(), -10500);
    driver_.SetTemperatureOffset(0);
    driver_.SetTemperatureFrozen(0.0);
    EXPECT_EQ(read(), 0);
    temperature_ = 50;
    EXPECT_EQ(read(), 0);
    driver_.SetTemperatureFrozen(std::nullopt);
    EXPECT_EQ(read(), 50000);
}

TEST_F(OpticNode, RefusesBadRequests) {
    OpticRegister access = {1, 2};
    EXPECT_EQ(file_->Ioctl(0xC004F004, &access), -ENOTTY);
    EXPECT_EQ(file_->Ioctl(0x1234, &access), -ENOTTY);
    EXPECT_EQ(file_->Ioctl(OpticDriver::kReadRegister, nullptr), -EFAULT);
    OpticSamples negative = {-1, nullptr};
    EXPECT_EQ(file_->Ioctl(OpticDriver::kReadSamples, &negative), -EINVAL);
    OpticSamples nowhere = {4, nullptr};
    EXPECT_EQ(file_->Ioctl(OpticDriver::kReadSamples, &nowhere), -EFAULT);
}

TEST_F(OpticNode, FailingDriverRefusesEveryIoctlAndChangesNothing) {
    LoadGood();
    Write(0x3000000e, 1280);
    driver_.SetFailing(true);
    world_.Take();
    OpticRegister access = {7, 1};
    EXPECT_EQ(file_->Ioctl(OpticDriver::kWriteRegister, &access), -EIO);
    EXPECT_EQ(file_->Ioctl(OpticDriver::kReadRegister, &access), -EIO);
    EXPECT_EQ(access.value, 1);
    std::uint16_t sample = 0;
    OpticSamples block = {1, &sample};
    EXPECT_EQ(file_->Ioctl(OpticDriver::kReadSamples, &block), -EIO);
    EXPECT_THAT(world_.Take(), ElementsAre("reg write 0x3000000e 0x0001 failed", "reg read 0x3000000e failed",
                                           "data read 1 failed"));
    driver_.SetFailing(false);
    EXPECT_EQ(Read(0x3000000e), 1280u);
}

TEST_F(OpticNode, UncalibratedModuleHasNoTuningRecord) {
    char record[96] = {1};
    EXPECT_EQ(file_->Seek(0, SEEK_SET), 0);
    EXPECT_EQ(file_->Read(record, sizeof record), 0);
    EXPECT_EQ(record[0], 1);
}

TEST_F(OpticNode, KeepsTheTuningRecordAtOffsetZero) {
    char record[96], back[96] = {};
    for (int i = 0; i < 96; ++i)
        record[i] = static_cast<char>(i);
    EXPECT_EQ(file_->Write(record, sizeof record), 96);
    EXPECT_EQ(file_->Read(back, sizeof back), 0);  // at its end
    EXPECT_EQ(file_->Seek(0, SEEK_SET), 0);
    EXPECT_EQ(file_->Read(back, sizeof back), 96);
    EXPECT_EQ(std::memcmp(record, back, sizeof back), 0);
    EXPECT_THAT(world_.Take(), ElementsAre("tuning write 96", "tuning read 0", "tuning read 96"));

    OpticDriver next(world_, fpga_, *this, folder_.Path() + "/tuning.bin");  // after a restart
    next.SetDriverLoaded(true);
    int error = 0;
    EXPECT_EQ(next.Open(0, error)->Read(back, sizeof back), 96);
    EXPECT_EQ(back[95], 95);
}

TEST_F(OpticNode, TuningRecordEndsAtItsSize) {
    std::vector<char> bytes(200, 7);
    EXPECT_EQ(file_->Write(bytes.data(), bytes.size()), 96);
    EXPECT_EQ(file_->Write(bytes.data(), 1), -ENOSPC);
    EXPECT_EQ(file_->Seek(-6, SEEK_END), 90);
    EXPECT_EQ(file_->Read(bytes.data(), bytes.size()), 6);
    EXPECT_EQ(file_->Seek(97, SEEK_SET), -EINVAL);
    EXPECT_EQ(file_->Seek(-1, SEEK_SET), -EINVAL);
    EXPECT_EQ(file_->Seek(0, 77), -EINVAL);
    driver_.SetTuningFailing(true);
    EXPECT_EQ(file_->Seek(0, SEEK_SET), 0);
    EXPECT_EQ(file_->Read(bytes.data(), 96), -EIO);
    EXPECT_EQ(file_->Write(bytes.data(), 96), -EIO);
}

TEST_F(OpticNode, IsThereOnlyWithItsDriver) {
    driver_.SetDriverLoaded(false);
    int error = 0;
    EXPECT_EQ(driver_.Open(0, error), nullptr);
    EXPECT_EQ(error, ENOENT);
}

}  // namespace k905
