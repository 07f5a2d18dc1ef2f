// png2bmp IN.png OUT.bmp WIDTH HEIGHT
//
// Turns an opaque PNG into the plain BMP that the instrument loads: 40-byte information header, 24 bits a
// pixel, no compression, bottom row first. Refuses a picture of another size, one with transparent pixels,
// and one that holds a colour reserved for text. Exit status 0, 1 (refused, nothing written) or 2 (wrong
// call).

#include <png.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "assets/output_file.h"

namespace {

struct Picture {
    unsigned width = 0, height = 0;
    std::vector<unsigned char> pixels;  // blue, green, red, alpha; top row first

    const unsigned char* Pixel(unsigned x, unsigned y) const { return &pixels[4 * (size_t{y} * width + x)]; }
};

constexpr uint16_t Rgb565(unsigned red, unsigned green, unsigned blue) {
    return static_cast<uint16_t>((red & 0xF8) << 8 | (green & 0xFC) << 3 | blue >> 3);
}

// The colours in which the screens write. A picture that keeps clear of them, also on the 16-bit display,
// lets text be told from its background pixel by pixel on any screenshot.
constexpr uint32_t inkColours[] = {0xFFFFFF, 0x3C3028, 0xF8A800, 0x000000, 0x00FF00, 0xFF0000};

constexpr uint16_t Rgb565(uint32_t colour) {
    return Rgb565(colour >> 16 & 0xFF, colour >> 8 & 0xFF, colour & 0xFF);
}

bool ReadPng(const char* path, Picture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path)) {
        fprintf(stderr, "png2bmp: %s: %s\n", path, image.message);
        return false;
    }
    image.format = PNG_FORMAT_BGRA;
    picture.width = image.width;
    picture.height = image.height;
    picture.pixels.resize(PNG_IMAGE_SIZE(image));
    // A damaged file may also end in a warning and rows of guesses: take nothing but a clean read.
    if (!png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) ||
        image.warning_or_error != 0) {
        fprintf(stderr, "png2bmp: %s: %s\n", path, image.message);
        png_image_free(&image);
        return false;
    }
    return true;
}

// Names the first pixel that may not be in a picture of the instrument.
bool CheckPixels(const char* path, const Picture& picture) {
    for (unsigned y = 0; y < picture.height; y++) {
        for (unsigned x = 0; x < picture.width; x++) {
            const unsigned char* pixel = picture.Pixel(x, y);
            if (pixel[3] != 0xFF) {
                fprintf(stderr, "png2bmp: %s: pixel %u,%u is transparent\n", path, x, y);
                return false;
            }
            for (uint32_t ink : inkColours) {
                if (Rgb565(pixel[2], pixel[1], pixel[0]) != Rgb565(ink))
                    continue;
                fprintf(stderr, "png2bmp: %s: pixel %u,%u (0x%02X%02X%02X) shows as text colour 0x%06X\n",
                        path, x, y, pixel[2], pixel[1], pixel[0], static_cast<unsigned>(ink));
                return false;
            }
        }
    }
    return true;
}

std::vector<unsigned char> EncodeBmp(const Picture& picture) {
    constexpr unsigned headerSize = 14 + 40;
    const unsigned rowSize = (picture.width * 24 + 31) / 32 * 4;
    const unsigned long dataSize = static_cast<unsigned long>(rowSize) * picture.height;
    std::vector<unsigned char> bmp{'B', 'M'};
    AppendLittleEndian(bmp, headerSize + dataSize, 4);
    AppendLittleEndian(bmp, 0, 4);  // reserved
    AppendLittleEndian(bmp, headerSize, 4);
    AppendLittleEndian(bmp, 40, 4);
    AppendLittleEndian(bmp, picture.width, 4);
    AppendLittleEndian(bmp, picture.height, 4);  // positive: bottom row first
    AppendLittleEndian(bmp, 1, 2);               // planes
    AppendLittleEndian(bmp, 24, 2);
    AppendLittleEndian(bmp, 0, 4);  // no compression
    AppendLittleEndian(bmp, dataSize, 4);
    for (int unused = 0; unused < 4; unused++)  // resolution and colour table
        AppendLittleEndian(bmp, 0, 4);
    for (unsigned y = picture.height; y-- > 0;) {
        for (unsigned x = 0; x < picture.width; x++)
            bmp.insert(bmp.end(), picture.Pixel(x, y), picture.Pixel(x, y) + 3);
        bmp.insert(bmp.end(), rowSize - 3 * picture.width, 0);
    }
    return bmp;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        fprintf(stderr, "usage: png2bmp IN.png OUT.bmp WIDTH HEIGHT\n");
        return 2;
    }
    const char* input = argv[1];
    const char* output = argv[2];
    Picture picture;
    if (!ReadPng(input, picture))
        return 1;
    if (picture.width != strtoul(argv[3], nullptr, 10) || picture.height != strtoul(argv[4], nullptr, 10)) {
        fprintf(stderr, "png2bmp: %s: is %u x %u, not %s x %s\n", input, picture.width, picture.height,
                argv[3], argv[4]);
        return 1;
    }
    if (!CheckPixels(input, picture))
        return 1;
    if (!WriteWholeFile(output, EncodeBmp(picture))) {
        fprintf(stderr, "png2bmp: %s: %s\n", output, strerror(errno));
        return 1;
    }
    return 0;
}
