// A bitmap: a BMP file that is loaded into an image when it is first displayed.
//
// Read are uncompressed files of 1, 8 or 24 bits with a 40-byte information header and the rows stored
// bottom-up.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "gui/guiimage.h"

// File header: the 14 bytes at the start of the file, after a filler that puts its 32-bit fields on 4-byte
// boundaries.
struct GUIBITMAP_FILEHEADER {
    uint16_t usFillChar;    // not in the file
    uint16_t usFileType;    // GUIBITMAP_FILE_TYPE
    uint32_t uiFileSize;    // not used
    uint16_t usReserved1;   // not used
    uint16_t usReserved2;   // not used
    uint32_t uiDataOffset;  // of the bottom pixel row
};

// Information header, at file offset 14.
struct GUIBITMAP_INFOHEADER {
    uint32_t uiInfoSize;  // 40
    uint32_t uiImgWidth;
    uint32_t uiImgHeight;  // a negative number means rows stored top-down, which are not supported
    uint16_t usDevPlanes;  // not used
    uint16_t usBitCount;
    uint32_t uiCompression;  // 0
    uint32_t uiImgSize;      // not used, as the rest
    uint32_t uiXRes;
    uint32_t uiYRes;
    uint32_t uiClrUsed;
    uint32_t uiClrImportant;
};

// Entry of the colour table, which follows the headers and always has 2 to the power usBitCount entries.
struct GUIBITMAP_RGBQUAD {
    uint8_t ucBlue;
    uint8_t ucGreen;
    uint8_t ucRed;
    uint8_t ucReserved;
};

static_assert(sizeof(GUIBITMAP_FILEHEADER) == 16 && offsetof(GUIBITMAP_FILEHEADER, uiFileSize) == 4 &&
                  offsetof(GUIBITMAP_FILEHEADER, uiDataOffset) == 12,
              "as in the file, after the filler");
static_assert(sizeof(GUIBITMAP_INFOHEADER) == 40 && offsetof(GUIBITMAP_INFOHEADER, usBitCount) == 14 &&
                  offsetof(GUIBITMAP_INFOHEADER, uiCompression) == 16,
              "as in the file");
static_assert(sizeof(GUIBITMAP_RGBQUAD) == 4, "as in the file");

constexpr uint16_t GUIBITMAP_FILE_TYPE = 0x4D42;  // "BM"

struct GUIBITMAP {
    char* strBitmapFile;   // owned copy of the path
    int iBitmapFd;         // open while the file is read, else -1
    unsigned uiViewWidth;  // size to load, from the picture's bottom-left corner; 0: the whole
    unsigned uiViewHeight;
    unsigned uiPlaceX;  // on the screen
    unsigned uiPlaceY;
    GUIIMAGE* pBitmapImg;  // owned, with its palette; null: not loaded
};

// New bitmap with a copy of the path, nothing loaded; the file is not touched. Null on a null path or short
// memory. The caller frees it with DestroyBitmap.
GUIBITMAP* CreateBitmap(const char* strBitmapFile, unsigned uiPlaceX, unsigned uiPlaceY);
// Loads the view of the file. -1 on null; -2 without a path or if loaded already; -3 if the file cannot be
// opened; -4 if its headers cannot be read; -5 if it is none of the BMP files read here or its pixels lie
// outside it; -6, -8 on short memory or an empty or oversized image; -7 if the colour table cannot be read;
// -9 if the seek to the pixels fails. Pixel rows missing at the end of the file are not detected.
int LoadBitmapImage(GUIBITMAP* pBitmapObj);
// New palette with the file's colour table, which the caller frees; null if the file cannot be read or has
// none. Opens the file, and closes it again, unless iBitmapFd is open.
GUIPALETTE* ReadBitmapPalette(GUIBITMAP* pBitmapObj);
// -1 on null, -2 if nothing is loaded.
int UnloadBitmapImage(GUIBITMAP* pBitmapObj);

// Drops a loaded image, so that the next display loads the new view. -1 on null, -2 if the image cannot be
// dropped.
int SetBitmapView(unsigned uiViewWidth, unsigned uiViewHeight, GUIBITMAP* pBitmapObj);
// Moves a loaded image too. -1 on null, -2 if that fails.
int SetBitmapPlace(unsigned uiPlaceX, unsigned uiPlaceY, GUIBITMAP* pBitmapObj);

// Loads the file if need be and draws it. -1 on null, -2 if it cannot be loaded, -3 if it cannot be
// displayed.
int DisplayBitmap(GUIBITMAP* pBitmapObj);
// Frees the bitmap and nulls the caller's pointer. -1, -2 on a null argument or bitmap; -3 if unloading
// fails.
int DestroyBitmap(GUIBITMAP** ppBitmapObj);
