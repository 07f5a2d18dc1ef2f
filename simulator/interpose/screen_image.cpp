#include "simulator/interpose/screen_image.h"

#include <png.h>
#include <string.h>

#include <memory>

namespace k905 {

namespace {

// One pixel to red, green, blue.
void ToRgb(const std::uint8_t* pixel, unsigned bits, png_byte* rgb) {
    if (bits == 16) {
        const unsigned value = pixel[0] | pixel[1] << 8;
        const unsigned red = value >> 11;
        const unsigned green = value >> 5 & 0x3f;
        const unsigned blue = value & 0x1f;
        rgb[0] = static_cast<png_byte>(red << 3 | red >> 2);
        rgb[1] = static_cast<png_byte>(green << 2 | green >> 4);
        rgb[2] = static_cast<png_byte>(blue << 3 | blue >> 2);
    } else {
        rgb[0] = pixel[2];
        rgb[1] = pixel[1];
        rgb[2] = pixel[0];
    }
}

}  // namespace

bool FollowScreen(ScreenCopy& copy, const Framebuffer& screen) {
    bool changed = false;
    if (copy.width != screen.Width() || copy.height != screen.Height() || copy.bits != screen.Bits()) {
        copy = {screen.Width(), screen.Height(), screen.Bits(), std::vector<std::uint8_t>(screen.Bytes())};
        changed = true;
    }
    const std::size_t rowBytes = std::size_t{copy.width} * (copy.bits / 8);
    for (std::size_t at = 0; at < copy.pixels.size(); at += rowBytes)
        if (memcmp(&copy.pixels[at], screen.Pixels() + at, rowBytes) != 0) {
            memcpy(&copy.pixels[at], screen.Pixels() + at, rowBytes);
            changed = true;
        }
    return changed;
}

std::string WritePng(const ScreenCopy& screen, const std::string& path) {
    const std::size_t count = std::size_t{screen.width} * screen.height;
    std::vector<png_byte> rgb(count * 3);
    for (std::size_t i = 0; i < count; ++i)
        ToRgb(&screen.pixels[i * (screen.bits / 8)], screen.bits, &rgb[i * 3]);
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = screen.width;
    image.height = screen.height;
    image.format = PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    if (png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), 0, nullptr) == 0)
        return "cannot write " + path + ": " + image.message;
    return "";
}

}  // namespace k905
