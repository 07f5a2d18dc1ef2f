// face2hex FACE SIZE FIRST-LAST OUT.hex
//
// Draws the glyphs of a scalable font file at SIZE pixels, in one bit a pixel and as its own hinting wants
// them, and writes those of the codes FIRST to LAST (hexadecimal) in the form that hex2fnt reads. They stand
// on Unifont's base line, so that they share a line with its ideographs; one that would reach above or below
// the 16 rows is moved by what is missing. Exit status 0, 1 (refused, nothing written: a code that the face
// does not have, a glyph larger than the matrix, ...) or 2 (wrong call).

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "assets/output_file.h"

namespace {

constexpr int glyphRows = 16, glyphColumns = 16;
constexpr int baseLine = 14;  // rows above it

// Appends the text line of a code's glyph. Returns what is wrong with it, or null.
const char* AppendGlyph(FT_Face face, unsigned code, std::vector<unsigned char>& text) {
    if (FT_Get_Char_Index(face, code) == 0)
        return "is not in the face";
    if (FT_Load_Char(face, code, FT_LOAD_RENDER | FT_LOAD_TARGET_MONO) != 0)
        return "cannot be drawn";
    const FT_Bitmap& bitmap = face->glyph->bitmap;
    const int rows = static_cast<int>(bitmap.rows), columns = static_cast<int>(bitmap.width);
    if (rows > glyphRows || columns > glyphColumns)
        return "is larger than 16 x 16";
    const int top = std::clamp(baseLine - face->glyph->bitmap_top, 0, glyphRows - rows);
    char part[8];
    snprintf(part, sizeof part, "%04X:", code);
    text.insert(text.end(), part, part + strlen(part));
    for (int row = 0; row < glyphRows; row++) {
        unsigned bits = 0;
        for (int column = 0; column < columns && row >= top && row < top + rows; column++) {
            const unsigned char byte = bitmap.buffer[(row - top) * bitmap.pitch + column / 8];
            bits |= (byte >> (7 - column % 8) & 1u) << (glyphColumns - 1 - column);
        }
        snprintf(part, sizeof part, "%04X", bits);
        text.insert(text.end(), part, part + strlen(part));
    }
    text.push_back('\n');
    return nullptr;
}

// FreeType, and whatever it still holds at the end.
struct Library {
    FT_Library handle = nullptr;
    ~Library() { FT_Done_FreeType(handle); }
};

}  // namespace

int main(int argc, char** argv) {
    unsigned size = 0, first = 0, last = 0;
    if (argc != 5 || sscanf(argv[2], "%u", &size) != 1 || sscanf(argv[3], "%4x-%4x", &first, &last) != 2 ||
        size == 0 || first > last) {
        fprintf(stderr, "usage: face2hex FACE SIZE FIRST-LAST OUT.hex\n");
        return 2;
    }
    Library library;
    FT_Face face = nullptr;
    if (FT_Init_FreeType(&library.handle) != 0 || FT_New_Face(library.handle, argv[1], 0, &face) != 0 ||
        FT_Set_Pixel_Sizes(face, 0, size) != 0) {
        fprintf(stderr, "face2hex: %s: not a font of that size\n", argv[1]);
        return 1;
    }
    std::vector<unsigned char> text;
    for (unsigned code = first; code <= last; code++)
        if (const char* fault = AppendGlyph(face, code, text)) {
            fprintf(stderr, "face2hex: %s: %04X %s\n", argv[1], code, fault);
            return 1;
        }
    if (!WriteWholeFile(argv[4], text)) {
        fprintf(stderr, "face2hex: %s: %s\n", argv[4], strerror(errno));
        return 1;
    }
    return 0;
}
