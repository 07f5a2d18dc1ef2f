#include "simulator/interpose/screen_image.h"

#include <png.h>
#include <string.h>

#include <optional>
#include <unordered_map>

namespace k905 {

namespace {

// One pixel to red, green, blue.
void ToRgb(std::uint32_t pixel, unsigned bits, png_byte* rgb) {
    if (bits == 16) {
        const unsigned red = pixel >> 11;
        const unsigned green = pixel >> 5 & 0x3f;
        const unsigned blue = pixel & 0x1f;
        rgb[0] = static_cast<png_byte>(red << 3 | red >> 2);
        rgb[1] = static_cast<png_byte>(green << 2 | green >> 4);
        rgb[2] = static_cast<png_byte>(blue << 3 | blue >> 2);
    } else {
        rgb[0] = static_cast<png_byte>(pixel >> 16);
        rgb[1] = static_cast<png_byte>(pixel >> 8);
        rgb[2] = static_cast<png_byte>(pixel);
    }
}

std::uint32_t PixelAt(const ScreenCopy& screen, std::size_t i) {
    const std::uint8_t* pixel = &screen.pixels[i * (screen.bits / 8)];
    const std::uint32_t low = pixel[0] | pixel[1] << 8;
    return screen.bits == 16 ? low : low | pixel[2] << 16;
}

struct Indexed {
    std::vector<png_byte> pixels;  // numbers of colours
    std::vector<png_byte> colors;  // red, green, blue
};

// The picture with a byte a pixel: a third to compress. Nothing where it has more colours than a byte tells.
std::optional<Indexed> ToIndexed(const ScreenCopy& screen) {
    Indexed picture;
    picture.pixels.resize(std::size_t{screen.width} * screen.height);
    std::unordered_map<std::uint32_t, png_byte> numbers;
    std::uint32_t last = 0;
    png_byte number = 0;
    for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
        const std::uint32_t pixel = PixelAt(screen, i);
        if (pixel != last || i == 0) {
            if (numbers.size() == 256 && numbers.count(pixel) == 0)
                return std::nullopt;
            last = pixel;
            const auto [place, isNew] = numbers.emplace(pixel, static_cast<png_byte>(numbers.size()));
            number = place->second;
            if (isNew) {
                picture.colors.resize(picture.colors.size() + 3);
                ToRgb(pixel, screen.bits, &picture.colors[picture.colors.size() - 3]);
            }
        }
        picture.pixels[i] = number;
    }
    return picture;
}

std::vector<png_byte> ToRgb(const ScreenCopy& screen) {
    std::vector<png_byte> rgb(std::size_t{screen.width} * screen.height * 3);
    for (std::size_t i = 0; i < rgb.size() / 3; ++i)
        ToRgb(PixelAt(screen, i), screen.bits, &rgb[i * 3]);
    return rgb;
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
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = screen.width;
    image.height = screen.height;
    image.flags = PNG_IMAGE_FLAG_FAST;
    int written = 0;
    if (const auto indexed = ToIndexed(screen)) {
        image.format = PNG_FORMAT_RGB_COLORMAP;
        image.colormap_entries = static_cast<png_uint_32>(indexed->colors.size() / 3);
        written = png_image_write_to_file(&image, path.c_str(), 0, indexed->pixels.data(), 0,
                                          indexed->colors.data());
    } else {
        image.format = PNG_FORMAT_RGB;
        written = png_image_write_to_file(&image, path.c_str(), 0, ToRgb(screen).data(), 0, nullptr);
    }
    return written != 0 ? "" : "cannot write " + path + ": " + image.message;
}

}  // namespace k905
