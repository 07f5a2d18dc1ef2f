#include "gui/guifbmap.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fb.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "gui/guischeduler.h"
#include "tests/support/descriptor_zero.h"
#include "tests/support/failing_calls.h"

namespace {

// A file that answers as a framebuffer device does: 800 x 480, RGB565.
class Device {
  public:
    Device() {
        char name[] = "/tmp/fbmap_test_XXXXXX";
        fd_ = mkstemp(name);
        path_ = name;
        fixed.smem_len = 800 * 480 * 2;
        variable.xres = 800;
        variable.yres = 480;
        variable.bits_per_pixel = 16;
        variable.red = {11, 5, 0};
        variable.green = {5, 6, 0};
        variable.blue = {0, 5, 0};
    }
    ~Device() {
        close(fd_);
        unlink(path_.c_str());
    }

    GUIFBMAP* Map(int type = GUIFBMAP_DIRECT, unsigned width = 800, unsigned height = 480) {
        EXPECT_EQ(ftruncate(fd_, fixed.smem_len), 0);
        return CreateFbmap(path_.c_str(), type, width, height, DefaultFbThread);
    }
    bool Accepts(int type = GUIFBMAP_DIRECT) {
        const int before = test::FailingCalls::OpenDescriptors();
        GUIFBMAP* map = Map(type);
        const bool accepted = map != nullptr;
        EXPECT_EQ(DestroyFbmap(&map), accepted ? 0 : -2);
        EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
        return accepted;
    }
    uint8_t Shown(unsigned offset) {
        uint8_t byte = 0;
        EXPECT_EQ(pread(fd_, &byte, 1, offset), 1);
        return byte;
    }
    const char* Path() const { return path_.c_str(); }

    fb_fix_screeninfo fixed = {};
    fb_var_screeninfo variable = {};
    std::vector<unsigned long> requests;

  private:
    int Answer(unsigned long request, void* argument) {
        requests.push_back(request);
        if (request == 0x4602)
            memcpy(argument, &fixed, sizeof(fixed));
        else if (request == 0x4600)
            memcpy(argument, &variable, sizeof(variable));
        else
            return -1;
        return 0;
    }

    int fd_ = -1;
    std::string path_;
    test::IoctlAnswer answer_{
        [this](int, unsigned long request, void* argument) { return Answer(request, argument); }};
};

}  // namespace

TEST(Fbmap, TakesDescriptorZeroAndGivesItBack) {
    Device device;
    const test::DescriptorZero zero;
    GUIFBMAP* map = device.Map();
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->iDevFd, 0);
    EXPECT_EQ(DestroyFbmap(&map), 0);
    EXPECT_TRUE(test::DescriptorZero::IsFree());
}

TEST(Fbmap, RecordsTheDeviceAndTheDisplayArea) {
    Device device;
    device.variable.xres = 1025;
    device.variable.yres = 600;
    device.fixed.smem_len = 1025 * 600 * 2 + 100;
    GUIFBMAP* map = device.Map();
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(device.requests, (std::vector<unsigned long>{0x4602, 0x4600}));
    EXPECT_EQ(map->iDevType, 1);
    EXPECT_EQ(map->uiMapOffset, 0u);
    EXPECT_EQ(map->uiMapLength, device.fixed.smem_len);
    EXPECT_EQ(map->uiBufSize, device.fixed.smem_len);
    EXPECT_EQ(map->uiPixelBits, 16u);
    EXPECT_EQ(map->uiRedBits, 5u);
    EXPECT_EQ(map->uiRedShift, 11u);
    EXPECT_EQ(map->uiGreenBits, 6u);
    EXPECT_EQ(map->uiGreenShift, 5u);
    EXPECT_EQ(map->uiBlueBits, 5u);
    EXPECT_EQ(map->uiBlueShift, 0u);
    EXPECT_EQ(map->uiHorRes, 1025u);
    EXPECT_EQ(map->uiVerRes, 600u);
    EXPECT_EQ(map->uiHorDisp, 800u);
    EXPECT_EQ(map->uiVerDisp, 480u);
    EXPECT_EQ(map->uiHorOff, 112u);
    EXPECT_EQ(map->uiVerOff, 60u);
    EXPECT_EQ(map->iSyncFlag, 0);
    EXPECT_EQ(map->pMapBuff, map->pFbEntry);
    EXPECT_EQ(map->fnFbThread, DefaultFbThread);
    EXPECT_EQ(MutexTrylock(&map->Mutex), 0);
    MutexUnlock(&map->Mutex);
    EXPECT_EQ(DestroyFbmap(&map), 0);
    EXPECT_EQ(map, nullptr);
}

TEST(Fbmap, AddressesPixelsByTheResolutionAlone) {
    Device device;
    device.fixed.line_length = 4096;
    device.variable.xres = 900;
    device.fixed.smem_len = 900 * 480 * 2;
    GUIFBMAP* map = device.Map();
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(FbmapPixel(map, 3, 2), map->pMapBuff + (3 + 2 * 900) * 2);
    EXPECT_EQ(FbmapStride(map), 1800u);
    DestroyFbmap(&map);
}

TEST(Fbmap, RefusesNullNameThreadAndMissingDevice) {
    Device device;
    EXPECT_EQ(CreateFbmap(nullptr, 1, 800, 480, DefaultFbThread), nullptr);
    EXPECT_EQ(CreateFbmap(device.Path(), 1, 800, 480, nullptr), nullptr);
    EXPECT_EQ(CreateFbmap("/nonexistent/fb0", 1, 800, 480, DefaultFbThread), nullptr);
}

TEST(Fbmap, TakesEveryLayoutOfEightTwentyFourAndThirtyTwoBits) {
    for (unsigned bits : {8u, 24u, 32u}) {
        Device device;
        device.variable.bits_per_pixel = bits;
        device.variable.red = {0, 3, 0};
        device.fixed.smem_len = 800 * 480 * bits / 8;
        EXPECT_TRUE(device.Accepts()) << bits;
    }
}

TEST(Fbmap, RefusesOtherDepths) {
    for (unsigned bits : {0u, 1u, 4u, 15u, 18u, 48u}) {
        Device device;
        device.variable.bits_per_pixel = bits;
        device.fixed.smem_len = 800 * 480 * 8;
        EXPECT_FALSE(device.Accepts()) << bits;
    }
}

TEST(Fbmap, TakesSixteenBitsAsRgb565Only) {
    const fb_bitfield layouts[][3] = {
        {{0, 5, 0}, {5, 6, 0}, {11, 5, 0}},  // BGR565
        {{10, 5, 0}, {5, 5, 0}, {0, 5, 0}},  // RGB555
        {{11, 5, 0}, {5, 6, 0}, {0, 4, 0}}, {{11, 5, 0}, {5, 6, 0}, {1, 5, 0}},
        {{11, 5, 0}, {6, 6, 0}, {0, 5, 0}}, {{11, 5, 0}, {5, 5, 0}, {0, 5, 0}},
        {{12, 5, 0}, {5, 6, 0}, {0, 5, 0}}, {{11, 6, 0}, {5, 6, 0}, {0, 5, 0}},
    };
    for (const auto& layout : layouts) {
        Device device;
        device.variable.red = layout[0];
        device.variable.green = layout[1];
        device.variable.blue = layout[2];
        EXPECT_FALSE(device.Accepts());
    }
}

TEST(Fbmap, RefusesADeviceSmallerThanTheDisplayArea) {
    Device narrow;
    narrow.variable.xres = 799;
    EXPECT_FALSE(narrow.Accepts());
    Device low;
    low.variable.yres = 479;
    EXPECT_FALSE(low.Accepts());
}

TEST(Fbmap, RefusesMemoryThatDoesNotHoldTheResolution) {
    Device device;
    device.fixed.smem_len = 800 * 480 * 2 - 1;
    EXPECT_FALSE(device.Accepts());
    Device huge;
    huge.variable.xres = 0x80000000;
    huge.variable.yres = 0x80000000;
    EXPECT_FALSE(huge.Accepts());
}

TEST(Fbmap, MapsAtTheOffsetOfTheBufferWithinItsPage) {
    Device device;
    device.fixed.smem_start = 0x30001000;
    EXPECT_TRUE(device.Accepts());
    // The kernel refuses a file offset within a page.
    device.fixed.smem_start = 0x30001010;
    EXPECT_FALSE(device.Accepts());
    device.fixed.smem_start = 0x30000FFF;
    device.fixed.smem_len = 0xFFFFFFFF;
    GUIFBMAP* map = CreateFbmap(device.Path(), GUIFBMAP_DIRECT, 800, 480, DefaultFbThread);
    EXPECT_EQ(map, nullptr);
}

TEST(Fbmap, KnowsThreeModes) {
    Device device;
    for (int type : {1, 2, 3})
        EXPECT_TRUE(device.Accepts(type)) << type;
    for (int type : {0, 4, -1})
        EXPECT_FALSE(device.Accepts(type)) << type;
}

TEST(Fbmap, FlushCopiesThePrivateBufferOnceForEachRequest) {
    Device device;
    GUIFBMAP* map = device.Map(GUIFBMAP_BUFFERED);
    ASSERT_NE(map, nullptr);
    EXPECT_NE(map->pMapBuff, map->pFbEntry);
    map->pMapBuff[0] = 0x11;
    map->pMapBuff[map->uiBufSize - 1] = 0x22;
    EXPECT_EQ(CustomFbmapFunc(map), 0);
    EXPECT_EQ(device.Shown(0), 0);
    map->iSyncFlag = 1;
    EXPECT_EQ(CustomFbmapFunc(map), 0);
    EXPECT_EQ(map->iSyncFlag, 0);
    EXPECT_EQ(device.Shown(0), 0x11);
    EXPECT_EQ(device.Shown(map->uiBufSize - 1), 0x22);
    map->pMapBuff[0] = 0x33;
    EXPECT_EQ(CustomFbmapFunc(map), 0);
    EXPECT_EQ(device.Shown(0), 0x11);
    EXPECT_EQ(DestroyFbmap(&map), 0);
}

TEST(Fbmap, FlushOfNoMapDoesNothing) {
    EXPECT_EQ(CustomFbmapFunc(nullptr), 0);
}

TEST(Fbmap, ModesHaveTheirNumbers) {
    EXPECT_EQ(GUIFBMAP_DIRECT, 1);
    EXPECT_EQ(GUIFBMAP_BUFFERED, 2);
    EXPECT_EQ(GUIFBMAP_SHARED, 3);
}

TEST(Fbmap, DirectModesDrawOnTheDeviceAndOnlyClearTheRequest) {
    Device device;
    for (int type : {GUIFBMAP_DIRECT, GUIFBMAP_SHARED}) {
        GUIFBMAP* map = device.Map(type);
        ASSERT_NE(map, nullptr);
        map->pMapBuff[5] = static_cast<uint8_t>(0x40 + type);
        EXPECT_EQ(device.Shown(5), 0x40 + type);
        map->iSyncFlag = 1;
        EXPECT_EQ(CustomFbmapFunc(map), 0);
        EXPECT_EQ(map->iSyncFlag, 0);
        DestroyFbmap(&map);
    }
}

TEST(Fbmap, ThreadServesRequestsUntilTheExitFlag) {
    Device device;
    GUIFBMAP* map = device.Map();
    ASSERT_NE(map, nullptr);
    ASSERT_EQ(InitExitFlag(), 0);
    MutexLock(&map->Mutex);
    map->iSyncFlag = 1;
    MutexUnlock(&map->Mutex);
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, DefaultFbThread, map), 0);
    int requested = 1;
    while (requested == 1) {
        MutexLock(&map->Mutex);
        requested = map->iSyncFlag;
        MutexUnlock(&map->Mutex);
    }
    SetExitFlag(1);
    void* result = nullptr;
    EXPECT_EQ(ThreadJoin(thread, &result), 0);
    EXPECT_NE(result, nullptr);
    SetExitFlag(0);
    DestroyFbmap(&map);
}

TEST(Fbmap, CurrentOneIsKeptWhenNullIsSetAndGoneWhenDestroyed) {
    Device device;
    GUIFBMAP* map = device.Map();
    EXPECT_EQ(SetCurrFbmap(map), 0);
    EXPECT_EQ(SetCurrFbmap(nullptr), -1);
    EXPECT_EQ(GetCurrFbmap(), map);
    DestroyFbmap(&map);
    EXPECT_EQ(GetCurrFbmap(), nullptr);
}

TEST(Fbmap, CreationReleasesWhatItMadeWhereverItFails) {
    Device device;
    for (int type : {GUIFBMAP_DIRECT, GUIFBMAP_BUFFERED}) {
        const int before = test::FailingCalls::OpenDescriptors();
        const int runs = test::FailEachCall(
            [&] {
                GUIFBMAP* map = device.Map(type);
                if (map == nullptr)
                    return false;
                return DestroyFbmap(&map) == 0;
            },
            [&](const char* name, bool succeeded) {
                EXPECT_FALSE(succeeded) << name;
                EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before) << name;
            });
        // Record, open, two ioctls, page size, mapping, [buffer,] mutex; and the unmapping and the close at
        // the end.
        EXPECT_EQ(runs, type == GUIFBMAP_DIRECT ? 9 : 10);
    }
}

TEST(Fbmap, DestroyTellsWhatFailedButReleasesEverything) {
    GUIFBMAP* none = nullptr;
    EXPECT_EQ(DestroyFbmap(nullptr), -1);
    EXPECT_EQ(DestroyFbmap(&none), -2);
    const struct {
        int failing;
        const char* name;
        int result;
    } cases[] = {{1, "munmap", -3}, {2, "close", -4}};
    for (const auto& each : cases) {
        Device device;
        GUIFBMAP* map = device.Map(GUIFBMAP_BUFFERED);
        ASSERT_NE(map, nullptr);
        test::FailingCalls failing(each.failing);
        EXPECT_EQ(DestroyFbmap(&map), each.result);
        EXPECT_STREQ(failing.Failed(), each.name);
        EXPECT_EQ(map, nullptr);
    }
}

TEST(Fbmap, DestroyTellsOfTheCloseWhenTheUnmappingFailsToo) {
    Device device;
    GUIFBMAP* map = device.Map();
    ASSERT_NE(map, nullptr);
    close(map->iDevFd);
    const test::FailingCalls failing(1);
    EXPECT_EQ(DestroyFbmap(&map), -4);
    EXPECT_STREQ(failing.Failed(), "munmap");
    EXPECT_EQ(map, nullptr);
}
