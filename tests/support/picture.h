// A picture, and how it is read from a file.
#pragma once

#include <png.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace test {

struct Picture {
    unsigned width;
    unsigned height;
    std::vector<uint8_t> rgb;  // red, green, blue of every pixel, rows packed, top row first
};

// Without pixels where the file cannot be read.
inline Picture ReadPng(const std::string& path) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0)
        return {};
    image.format = PNG_FORMAT_RGB;
    Picture picture = {image.width, image.height, std::vector<uint8_t>(PNG_IMAGE_SIZE(image))};
    if (png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr) == 0)
        return {};
    return picture;
}

}  // namespace test
