// Bitmap fonts of fixed-size glyph matrices. Glyphs are read from the file one at a time and trimmed of their
// blank left and right columns, so that text is proportionally spaced.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "gui/guicolor.h"

// Header at offset 0 of a font file; every number is little-endian. A table of uiMatrixCount glyphs follows
// at uiDataOffset, the glyph of character code c being number c: uiMatrixHeight rows, top row first, of
// (uiMatrixWidth + 7) / 8 bytes, the leftmost pixel in the most significant bit, a set bit being ink.
struct GUIFONT_FILEHEADER {
    uint32_t uiFileType;      // GUIFONT_FILE_TYPE
    uint32_t uiFileSize;      // not used
    uint32_t uiFileFormat;    // GUIFONT_FILE_FORMAT
    uint16_t usSegmentFlag;   // 0: one table, indexed by character code
    uint16_t usSegmentCount;  // not used
    uint32_t uiMatrixWidth;   // pixels
    uint32_t uiMatrixHeight;
    uint32_t uiMatrixCount;
    uint32_t uiDataOffset;
};

static_assert(sizeof(GUIFONT_FILEHEADER) == 32, "as in the file");
static_assert(offsetof(GUIFONT_FILEHEADER, usSegmentFlag) == 12, "as in the file");
static_assert(offsetof(GUIFONT_FILEHEADER, uiMatrixWidth) == 16, "as in the file");
static_assert(offsetof(GUIFONT_FILEHEADER, uiDataOffset) == 28, "as in the file");

constexpr uint32_t GUIFONT_FILE_TYPE = 0x544E462E;  // ".FNT"
constexpr uint32_t GUIFONT_FILE_FORMAT = 1;

struct GUIFONT {
    char* strFontFile;     // owned copy of the path
    int iFontFd;           // open for the font's lifetime
    unsigned uiFontWidth;  // matrix size; a file of another size gives no glyphs
    unsigned uiFontHeight;
    unsigned uiLeftGap;  // pixels before and after each glyph
    unsigned uiRightGap;
    unsigned uiTopGap;  // pixels added to the line height where a text wraps
    unsigned uiBottomGap;
    COLOR uiFgColor;  // of ink
    COLOR uiBgColor;  // of blank pixels; COLOR_NONE leaves the screen as it is
};

// One glyph, moved left so that its first inked column is the leftmost one.
struct GUIFONT_MATRIX {
    unsigned uiRealWidth;   // pixels of the trimmed glyph
    unsigned uiRealHeight;  // height of the matrix
    uint8_t* pMatrixData;   // uiRealHeight rows of uiRowBytes bytes
    unsigned uiRowBytes;    // of the font that the glyph came from; a text may be drawn with another
};

// Opens a font file. All gaps are 1. Null on a null name, a size of 0, a file that cannot be read or is no
// font, or when memory is short. The caller frees the font with DestroyFont.
GUIFONT* CreateFont(const char* strFontFile, unsigned uiFontWidth, unsigned uiFontHeight, COLOR uiFgColor,
                    COLOR uiBgColor);
// Closes the file, frees the font and nulls the caller's pointer. -1, -2 on a null argument or font.
int DestroyFont(GUIFONT** ppFontObj);

// -1 on null; -2, nothing changed, if a gap exceeds half the font's width (left, right) or height (top,
// bottom).
int SetFontGap(unsigned uiLeftGap, unsigned uiRightGap, unsigned uiTopGap, unsigned uiBottomGap,
               GUIFONT* pFontObj);
// -1 on null.
int SetFontColor(COLOR uiFgColor, COLOR uiBgColor, GUIFONT* pFontObj);

GUIFONT* GetCurrFont();
// -1 on null, the current font is kept.
int SetCurrFont(GUIFONT* pFontObj);
// Leaves no font current if pFontObj is.
void DropCurrFont(GUIFONT* pFontObj);

// Reads and trims the glyph of a character. Null on a null font, a code beyond the file's table, a file whose
// matrix size is not the font's, a short file, or when memory is short. The caller frees it with
// DestroyFontMatrix.
GUIFONT_MATRIX* ExtractFontMatrix(unsigned uiFontCode, GUIFONT* pFontObj);
// Null is let through.
void DestroyFontMatrix(GUIFONT_MATRIX* pMatrix);
