#include "simulator/models/framebuffer.h"

#include <gtest/gtest.h>
#include <linux/fb.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace k905 {

namespace {

std::unique_ptr<DeviceFile> Opened(Framebuffer& screen) {
    int error = 0;
    return screen.Open(0, error);
}

}  // namespace

TEST(Framebuffer, AnswersLikeARealDriverAtEachDepth) {
    const struct {
        unsigned bits, redOffset, redLength, greenOffset, greenLength, blueLength;
    } depths[] = {{16, 11, 5, 5, 6, 5}, {24, 16, 8, 8, 8, 8}, {32, 16, 8, 8, 8, 8}};
    for (const auto& depth : depths) {
        Framebuffer screen(800, 480, depth.bits);
        const auto file = Opened(screen);
        fb_fix_screeninfo fixed = {};
        fb_var_screeninfo variable = {};
        ASSERT_EQ(file->Ioctl(FBIOGET_FSCREENINFO, &fixed), 0);
        ASSERT_EQ(file->Ioctl(FBIOGET_VSCREENINFO, &variable), 0);
        EXPECT_EQ(fixed.smem_start % 4096, 0u);
        EXPECT_EQ(fixed.smem_len, 800 * 480 * depth.bits / 8);
        EXPECT_EQ(fixed.line_length, 800 * depth.bits / 8);
        EXPECT_EQ(variable.xres, 800u);
        EXPECT_EQ(variable.yres, 480u);
        EXPECT_EQ(variable.bits_per_pixel, depth.bits);
        EXPECT_EQ(variable.red.offset, depth.redOffset);
        EXPECT_EQ(variable.red.length, depth.redLength);
        EXPECT_EQ(variable.green.offset, depth.greenOffset);
        EXPECT_EQ(variable.green.length, depth.greenLength);
        EXPECT_EQ(variable.blue.offset, 0u);
        EXPECT_EQ(variable.blue.length, depth.blueLength);
    }
}

TEST(Framebuffer, RefusesWhatItDoesNotKnow) {
    Framebuffer screen(800, 480, 16);
    const auto file = Opened(screen);
    EXPECT_EQ(file->Ioctl(0x4611, nullptr), -ENOTTY);
    EXPECT_EQ(file->Ioctl(FBIOGET_FSCREENINFO, nullptr), -EFAULT);
    EXPECT_THROW(Framebuffer(800, 480, 15), std::runtime_error);
    EXPECT_THROW(Framebuffer(0, 480, 16), std::runtime_error);
}

TEST(Framebuffer, ShowsWhatIsWrittenThroughItsDescriptor) {
    Framebuffer screen(800, 480, 16);
    void* mapping = mmap(nullptr, screen.Bytes(), PROT_READ | PROT_WRITE, MAP_SHARED, screen.PixelFd(), 0);
    ASSERT_NE(mapping, MAP_FAILED);
    static_cast<std::uint8_t*>(mapping)[screen.Bytes() - 1] = 0xA5;
    EXPECT_EQ(screen.Pixels()[screen.Bytes() - 1], 0xA5);
    munmap(mapping, screen.Bytes());
}

TEST(Framebuffer, TellsItsShapeInItsMemory) {
    Framebuffer screen(800, 480, 24);
    const auto shape = [&] {
        PanelShape read;
        const auto count = pread(screen.PixelFd(), &read, sizeof read, Framebuffer::kShapeAt);
        EXPECT_EQ(count, static_cast<ssize_t>(sizeof read));
        return read;
    };
    EXPECT_EQ(shape(), (PanelShape{800, 480, 24}));
    EXPECT_EQ(screen.Resize(4096, 4096), "");
    EXPECT_EQ(shape(), (PanelShape{4096, 4096, 24}));
    EXPECT_EQ(shape().Bytes(), 4096u * 4096 * 3);
    EXPECT_NE(screen.Resize(4097, 1), "");
    EXPECT_EQ(shape(), (PanelShape{4096, 4096, 24}));
}

TEST(Framebuffer, ChangesShapeOnlyWhileNobodyHasItOpen) {
    Framebuffer screen(800, 480, 16);
    auto file = Opened(screen);
    EXPECT_EQ(screen.Resize(1024, 600), "") << "is for the next start";
    EXPECT_EQ(screen.SetSwapped(true), "");
    EXPECT_NE(screen.Resize(0, 600), "");
    EXPECT_EQ(screen.State()["width"], 800u);
    EXPECT_EQ(screen.State()["layout"], "rgb565");
    file.reset();
    EXPECT_EQ(screen.Resize(1024, 600), "");
    EXPECT_EQ(screen.SetSwapped(true), "");
    file = Opened(screen);
    fb_var_screeninfo variable = {};
    ASSERT_EQ(file->Ioctl(FBIOGET_VSCREENINFO, &variable), 0);
    EXPECT_EQ(variable.xres, 1024u);
    EXPECT_EQ(variable.red.offset, 0u);
    EXPECT_EQ(variable.blue.offset, 11u);
}

}  // namespace k905
