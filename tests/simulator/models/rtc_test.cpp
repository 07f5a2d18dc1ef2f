#include "simulator/models/rtc.h"

#include <gtest/gtest.h>
#include <linux/rtc.h>

#include <cerrno>
#include <ctime>
#include <nlohmann/json.hpp>

#include "tests/simulator/models/bench_world.h"

namespace k905 {

class Clock : public testing::Test {
  protected:
    BenchWorld world_;
    Rtc rtc_{world_, 1336987800};
    std::unique_ptr<DeviceFile> file_;
    rtc_time time_ = {};

    void SetUp() override {
        int error = 0;
        file_ = rtc_.Open(0, error);
    }
};

TEST_F(Clock, RunsWithVirtualTime) {
    ASSERT_EQ(file_->Ioctl(RTC_RD_TIME, &time_), 0);
    EXPECT_EQ(time_.tm_year, 112);
    EXPECT_EQ(time_.tm_mon, 4);
    EXPECT_EQ(time_.tm_mday, 14);
    EXPECT_EQ(time_.tm_hour, 9);
    EXPECT_EQ(time_.tm_min, 30);
    EXPECT_EQ(time_.tm_sec, 0);
    world_.now = 61999999;
    ASSERT_EQ(file_->Ioctl(RTC_RD_TIME, &time_), 0);
    EXPECT_EQ(time_.tm_min, 31);
    EXPECT_EQ(time_.tm_sec, 1);
}

TEST_F(Clock, SplitsEveryDayLikeTheCLibrary) {
    for (std::int64_t day = -40000; day < 60000; day += 37) {
        const std::time_t seconds = static_cast<std::time_t>(day * 86400 + 4711);
        rtc_.Set(seconds);
        ASSERT_EQ(file_->Ioctl(RTC_RD_TIME, &time_), 0);
        std::tm expected = {};
        gmtime_r(&seconds, &expected);
        ASSERT_EQ(time_.tm_year, expected.tm_year) << day;
        ASSERT_EQ(time_.tm_mon, expected.tm_mon) << day;
        ASSERT_EQ(time_.tm_mday, expected.tm_mday) << day;
        ASSERT_EQ(time_.tm_hour, expected.tm_hour) << day;
        ASSERT_EQ(time_.tm_sec, expected.tm_sec) << day;
        ASSERT_EQ(time_.tm_wday, expected.tm_wday) << day;
        ASSERT_EQ(time_.tm_yday, expected.tm_yday) << day;
    }
}

TEST_F(Clock, TakesATimeAndRefusesImpossibleOnes) {
    EXPECT_EQ(rtc_.SetText("2024-02-29 23:59:59"), "");
    world_.now += 1000000;
    EXPECT_EQ(rtc_.State()["time"], "2024-03-01 00:00:00");
    for (const char* wrong :
         {"", "2023-02-29 00:00:00", "2024-13-01 00:00:00", "2024-01-01 24:00:00", "2024-01-01 00:00:00x",
          "99999999999-01-01 00:00:00", "9999-01-01 00:00:00", "2024-01-01"})
        EXPECT_NE(rtc_.SetText(wrong), "") << wrong;
    EXPECT_EQ(rtc_.State()["time"], "2024-03-01 00:00:00");
}

TEST_F(Clock, CanBeSetByTheProductAndCanFail) {
    ASSERT_EQ(file_->Ioctl(RTC_RD_TIME, &time_), 0);
    time_.tm_year = 130;
    ASSERT_EQ(file_->Ioctl(RTC_SET_TIME, &time_), 0);
    EXPECT_EQ(rtc_.State()["time"], "2030-05-14 09:30:00");
    time_.tm_mon = 12;
    EXPECT_EQ(file_->Ioctl(RTC_SET_TIME, &time_), -EINVAL);
    EXPECT_EQ(file_->Ioctl(RTC_RD_TIME, nullptr), -EFAULT);
    EXPECT_EQ(file_->Ioctl(0x7001, nullptr), -ENOTTY);
    rtc_.SetFailing(true);
    EXPECT_EQ(file_->Ioctl(RTC_RD_TIME, &time_), -EIO);
}

TEST_F(Clock, StandsStillWhileItsCrystalDoesAndTheKernelsClockRunsOn) {
    world_.now = 10000000;
    rtc_.SetStopped(true);
    world_.now = 25000000;
    ASSERT_EQ(file_->Ioctl(RTC_RD_TIME, &time_), 0);
    EXPECT_EQ(time_.tm_sec, 10);
    EXPECT_EQ(rtc_.NowMicros(), 1336987825000000);
    EXPECT_EQ(rtc_.SetText("2020-01-02 03:04:05"), "");
    world_.now = 30000000;
    ASSERT_EQ(file_->Ioctl(RTC_RD_TIME, &time_), 0);
    EXPECT_EQ(time_.tm_year, 120);
    EXPECT_EQ(time_.tm_sec, 5);
    rtc_.SetStopped(false);
    world_.now = 31000000;
    const std::int64_t before = rtc_.Now();
    world_.now = 33000000;
    EXPECT_EQ(rtc_.Now(), before + 2);
}

TEST_F(Clock, HasTheTimeAsBeforeOnceItsCrystalIsRepaired) {
    rtc_.SetStopped(true);
    world_.now = 25000000;
    rtc_.SetStopped(false);
    ASSERT_EQ(file_->Ioctl(RTC_RD_TIME, &time_), 0);
    EXPECT_EQ(time_.tm_sec, 25);
}

}  // namespace k905
