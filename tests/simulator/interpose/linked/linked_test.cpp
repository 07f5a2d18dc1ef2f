// The instrument inside the test program.
#include "simulator/interpose/linked.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "tests/support/failing_calls.h"

using k905::LinkedInstrument;
using testing::ElementsAre;

namespace {

struct Access {
    unsigned short index;
    unsigned short value;
};

void SleepMs(int milliseconds) {
    timeval time = {milliseconds / 1000, milliseconds % 1000 * 1000};
    select(0, nullptr, nullptr, nullptr, &time);
}

TEST(Linked, TheTestsOwnCallsReachTheInstrument) {
    LinkedInstrument linked;
    linked.StartTrace();
    EXPECT_EQ(0, system("insmod /lib/modules/2.6.30/drv_optic.ko"));
    const int optic = open("/dev/optic0", O_RDWR);
    ASSERT_GE(optic, 0);
    Access access = {3, 0x1234};
    EXPECT_EQ(0, ioctl(optic, 0xc004f001, &access));
    EXPECT_EQ(0, ioctl(optic, 0xc004f000, &access));
    EXPECT_THAT(linked.OpenPaths(), ElementsAre("/dev/optic0"));
    EXPECT_EQ(0, close(optic));
    EXPECT_THAT(linked.TraceLines({"file"}), ElementsAre("file open /dev/optic0", "file close /dev/optic0"));
    EXPECT_THAT(linked.TraceLines({"reg"}),
                ElementsAre("reg write 0x30000006 0x1234", testing::StartsWith("reg read 0x30000006")));
}

TEST(Linked, SleepingTakesNoRealTime) {
    LinkedInstrument linked;
    const k905::Micros before = linked.Now();
    SleepMs(3'600'000);
    EXPECT_GE(linked.Now() - before, 3'600'000'000);
    EXPECT_LE(linked.Now() - before, 3'600'000'100);
}

int turns[3];

void* TakeTurns(void* argument) {
    int& count = *static_cast<int*>(argument);
    for (; count < 100; ++count)
        SleepMs(10);
    return argument;
}

TEST(Linked, OtherThreadsRunWhileTheTestWaits) {
    LinkedInstrument linked;
    pthread_t threads[3];
    for (int i = 0; i < 3; ++i) {
        turns[i] = 0;
        ASSERT_EQ(0, pthread_create(&threads[i], nullptr, TakeTurns, &turns[i]));
    }
    EXPECT_EQ(0, turns[0]);
    SleepMs(505);
    for (const int count : turns)
        EXPECT_EQ(50, count);
    for (int i = 0; i < 3; ++i) {
        void* result = nullptr;
        EXPECT_EQ(0, pthread_join(threads[i], &result));
        EXPECT_EQ(&turns[i], result);
    }
}

TEST(Linked, EachInstrumentIsAFreshOne) {
    std::string first;
    for (int i = 0; i < 3; ++i) {
        LinkedInstrument linked;
        EXPECT_NE(first, linked.StateDir());
        first = linked.StateDir();
        EXPECT_EQ(0, linked.Now());
        const int fd = open("/mnt/sdcard/file", O_CREAT | O_EXCL | O_RDWR, 0644);
        EXPECT_GE(fd, 0);
        close(fd);
        EXPECT_TRUE(std::filesystem::exists(linked.StateDir() + "/root/mnt/sdcard/file"));
    }
    EXPECT_FALSE(std::filesystem::exists(first));
}

TEST(Linked, WithoutAnInstrumentCallsGoToTheHost) {
    EXPECT_LT(open("/mnt/sdcard/none/such", O_RDONLY), 0);
    const auto before = std::chrono::steady_clock::now();
    SleepMs(5);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(5));
}

TEST(Linked, ADescriptorLeftOpenFailsTheTest) {
    int fd = -1;
    EXPECT_NONFATAL_FAILURE(
        {
            LinkedInstrument linked;
            fd = open("/dev/rtc0", O_RDONLY);
        },
        "left open at the end: /dev/rtc0");
    close(fd);
}

TEST(Linked, CallsMadeToFailFailAsTheyDoOnTheHost) {
    LinkedInstrument linked;
    const int before = test::FailingCalls::OpenDescriptors();
    const int runs = test::FailEachCall(
        [] {
            const int fd = open("/dev/rtc0", O_RDONLY);
            if (fd < 0)
                return false;
            void* block = malloc(16);
            free(block);
            close(fd);
            return block != nullptr;
        },
        [](const char* name, bool succeeded) { EXPECT_EQ(std::string(name) == "close", succeeded) << name; });
    EXPECT_GE(runs, 3);
    EXPECT_EQ(before, test::FailingCalls::OpenDescriptors());
    EXPECT_TRUE(linked.OpenPaths().empty());
}

void LockTwice() {
    LinkedInstrument linked;
    pthread_mutex_t mutex;
    pthread_mutex_init(&mutex, nullptr);
    pthread_mutex_lock(&mutex);
    pthread_mutex_lock(&mutex);
}

TEST(LinkedDeathTest, ADeadlockEndsTheTestAndTellsWhoWaits) {
    EXPECT_DEATH(LockTwice(), "thread 0 \\(main\\): mutex 1 held by 0 \\(main\\)");
}

}  // namespace
