// A BMP file, loaded and drawn. Fields of its header that the program does not use tell the rest: bytes 6 and
// 7 the size of the view modulo 49 (0: the whole picture, or 48), bytes 8 and 9 half of its place on the
// screen.
#include "gui/guibitmap.h"

#include <string.h>

#include "gui/guiendian.h"
#include "tests/fuzz/input_device.h"
#include "tests/fuzz/screen.h"

using fuzz::Holds;

namespace {

constexpr size_t kHeaders = 54;
constexpr unsigned kMostSide = 48;  // of a view: a larger one has more of the same

// Of the picture and of the byte that asks for a view.
unsigned View(unsigned side, unsigned asked) {
    const unsigned view = asked % (kMostSide + 1);
    return view == 0 && side > kMostSide ? kMostSide : view;
}

unsigned Shown(unsigned side, unsigned view) {
    return view == 0 || view > side ? side : view;
}

void CheckColors(const GUIIMAGE& image, const uint8_t* table) {
    const auto color = [table](int i) { return MakeColor(table[4 * i + 2], table[4 * i + 1], table[4 * i]); };
    if (image.uiImgDepth == 1) {
        Holds(image.uiBgColor == color(0) && image.uiFgColor == color(1), "the two colours are the table's");
        return;
    }
    const GUIPALETTE* palette = image.pRefPal;
    Holds(palette != nullptr && palette->iPalLength == GUIPALETTE_LIMIT, "a palette for every index");
    for (int i = 0; palette != nullptr && i < palette->iPalLength; ++i)
        Holds(MakeColor(palette->pRedValue[i], palette->pGreenValue[i], palette->pBlueValue[i]) == color(i),
              "the palette is the table");
}

// The rows that are whole in the file, the bottom one first there.
void CheckRows(const GUIIMAGE& image, unsigned width, const uint8_t* bytes, size_t size) {
    const size_t fileRow = (static_cast<size_t>(image.uiImgDepth) * width + 31) / 32 * 4;
    const size_t row = ImageRowBytes(image.uiImgWidth, image.uiImgDepth);
    size_t at = GetLe32(bytes + 10);
    for (unsigned y = image.uiImgHeight; y > 0 && at + fileRow <= size; --y, at += fileRow)
        Holds(memcmp(image.pImgData + (y - 1) * row, bytes + at, row) == 0, "a row is that of the file");
}

void CheckImage(const GUIIMAGE& image, const unsigned view[2], const uint8_t* bytes, size_t size) {
    const unsigned width = GetLe32(bytes + 18), height = GetLe32(bytes + 22);
    Holds(image.uiImgWidth == Shown(width, view[0]) && image.uiImgHeight == Shown(height, view[1]),
          "the image is the view");
    Holds(image.uiImgDepth == GetLe16(bytes + 28), "the image's depth is the file's");
    if (image.uiImgDepth <= 8)
        CheckColors(image, bytes + kHeaders);
    CheckRows(image, width, bytes, size);
}

void Run(const uint8_t* bytes, size_t size) {
    uint8_t header[kHeaders] = {};
    memcpy(header, bytes, size < kHeaders ? size : kHeaders);
    const unsigned view[] = {View(GetLe32(header + 18), header[6]), View(GetLe32(header + 22), header[7])};
    const unsigned x = header[8] * 2U, y = header[9] * 2U;

    fuzz::InputDevice device(fuzz::InputDevice::kFile, bytes, size);
    fuzz::UseScreen();
    GUIBITMAP* bitmap = CreateBitmap("file", x, y);
    SetBitmapView(view[0], view[1], bitmap);
    const int result = LoadBitmapImage(bitmap);
    Holds((result == 0) == (bitmap->pBitmapImg != nullptr), "an image if and only if it is good");
    Holds(result == 0 || (result <= -4 && result >= -9), "a failure is one of a file");
    Holds(device.Open() == 0 && bitmap->iBitmapFd == -1, "the file is closed");
    if (bitmap->pBitmapImg != nullptr) {
        CheckImage(*bitmap->pBitmapImg, view, bytes, size);
        const bool onScreen = x < fuzz::kScreenWidth && y < fuzz::kScreenHeight;
        Holds(DisplayBitmap(bitmap) == (onScreen ? 0 : -3), "a place on the screen is drawn");
    }
    DestroyBitmap(&bitmap);
}

const fuzz::Target target("bitmap", Run);

}  // namespace
