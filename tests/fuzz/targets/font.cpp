// A font file: glyphs, and a text in it. A field of its header that the program does not use tells the rest:
// of uiFileSize (bytes 4 to 7) the low half is the first character; the high one, unless 0, asks for glyphs
// of another size than the file's.
#include "gui/guifont.h"

#include <string.h>

#include "gui/guiendian.h"
#include "gui/guitext.h"
#include "tests/fuzz/input_device.h"
#include "tests/fuzz/screen.h"

using fuzz::Holds;

namespace {

constexpr unsigned kCharacters = 3;

// The bits of a row of at most 8 bytes, the first column uppermost.
uint64_t RowBits(const uint8_t* row, size_t count) {
    uint64_t bits = 0;
    for (size_t i = 0; i < count; ++i)
        bits |= uint64_t{row[i]} << (56 - 8 * i);
    return bits;
}

// Against the glyph in the file, which begins at `stored`.
void CheckInk(const GUIFONT_MATRIX& matrix, unsigned width, const uint8_t* stored) {
    const size_t count = matrix.uiRowBytes;
    uint64_t columns = 0;
    for (unsigned row = 0; row < matrix.uiRealHeight; ++row)
        columns |= RowBits(stored + row * count, count);
    if (columns == 0) {
        Holds(matrix.uiRealWidth == width * 3 / 8, "a glyph without ink is a space");
        return;
    }
    const int left = __builtin_clzll(columns), right = __builtin_ctzll(columns);
    Holds(matrix.uiRealWidth == 64U - static_cast<unsigned>(left + right), "a glyph is as wide as its ink");
    for (unsigned row = 0; row < matrix.uiRealHeight; ++row)
        Holds((RowBits(matrix.pMatrixData + row * count, count) ^ RowBits(stored + row * count, count)
                                                                      << left) >>
                      (left + right) ==
                  0,
              "the ink is the file's, moved to the left edge");
}

void CheckMatrix(const GUIFONT_MATRIX& matrix, const GUIFONT& font, const uint8_t* stored) {
    Holds(matrix.uiRealHeight == font.uiFontHeight, "a glyph is as high as the font");
    Holds(matrix.uiRealWidth <= font.uiFontWidth, "a glyph is no wider than the font");
    Holds(matrix.uiRowBytes == (font.uiFontWidth + 7) / 8, "a row has all of its columns");
    // In other widths the bits behind the last column count as well.
    if (font.uiFontWidth % 8 == 0 && matrix.uiRowBytes <= sizeof(uint64_t))
        CheckInk(matrix, font.uiFontWidth, stored);
}

void DrawText(GUICHAR first, GUIFONT* font) {
    const GUICHAR characters[kCharacters + 1] = {first, static_cast<GUICHAR>(first + 1),
                                                 static_cast<GUICHAR>(first + 2), 0};
    fuzz::UseScreen();
    SetCurrFont(font);
    GUITEXT* text = CreateText(characters, 7, 5);
    SetTextView(60, 40, text);
    const int result = DisplayText(text);
    Holds(result == 0 || result == -2 || result == -4, "a text is drawn, cannot be loaded, or has no room");
    DestroyText(&text);
}

// Where a glyph lies in the file.
size_t GlyphAt(const uint8_t* header, unsigned code) {
    const size_t row = (size_t{GetLe32(header + 16)} + 7) / 8;
    return GetLe32(header + 28) + code * row * GetLe32(header + 20);
}

void Run(const uint8_t* bytes, size_t size) {
    uint8_t header[sizeof(GUIFONT_FILEHEADER)] = {};
    memcpy(header, bytes, size < sizeof header ? size : sizeof header);
    const GUICHAR first = GetLe16(header + 4);
    const unsigned wider = GetLe16(header + 6);
    const unsigned width = GetLe32(header + 16) + wider, height = GetLe32(header + 20);

    fuzz::InputDevice device(fuzz::InputDevice::kFile, bytes, size);
    GUIFONT* font = CreateFont("file", width, height, 0x123456, 0xABCDEF);
    const bool good = size >= sizeof header && GetLe32(header) == GUIFONT_FILE_TYPE &&
                      GetLe32(header + 8) == GUIFONT_FILE_FORMAT && GetLe16(header + 12) == 0 && width != 0 &&
                      height != 0;
    Holds((font != nullptr) == good, "a font if and only if its file is good");
    if (font != nullptr) {
        for (unsigned i = 0; i < kCharacters; ++i) {
            GUIFONT_MATRIX* matrix = ExtractFontMatrix(first + i, font);
            Holds(matrix == nullptr || (wider == 0 && first + i < GetLe32(header + 24)),
                  "no glyph beyond the table, or of another size");
            if (matrix != nullptr)
                CheckMatrix(*matrix, *font, bytes + GlyphAt(header, first + i));
            DestroyFontMatrix(matrix);
        }
        DrawText(first, font);
        DestroyFont(&font);
    }
    Holds(device.Open() == 0, "the file is closed");
}

const fuzz::Target target("font", Run);

}  // namespace
