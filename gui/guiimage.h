// An image: a block of pixels in memory with a place on the screen.
#pragma once

#include <stdint.h>

#include "gui/guicolor.h"
#include "gui/guipalette.h"

// Longest side of an image. Twenty times the screen, and small enough that no size or offset within an image
// of any depth exceeds 32 bits.
constexpr unsigned GUIIMAGE_SIDE_LIMIT = 16384;

struct GUIIMAGE {
    unsigned uiImgWidth;  // pixels of the block
    unsigned uiImgHeight;
    unsigned uiImgDepth;  // 1, 8 or 24 bits a pixel
    // Rows of ImageRowBytes bytes, top row first. 1 bit: most significant bit leftmost; 8 bits: palette
    // indices; 24 bits: blue, green, red.
    uint8_t* pImgData;
    unsigned uiDispWidth;  // what is drawn of the block, from its top-left corner
    unsigned uiDispHeight;
    unsigned uiPlaceX;  // where on the screen
    unsigned uiPlaceY;
    COLOR uiFgColor;  // of the set and clear bits of a 1-bit image; COLOR_NONE is transparent
    COLOR uiBgColor;
    GUIPALETTE* pRefPal;  // of an 8-bit image; not owned
};

// Bytes of a row of the block.
static inline unsigned ImageRowBytes(unsigned uiImgWidth, unsigned uiImgDepth) {
    return (uiImgWidth * uiImgDepth + 7) / 8;
}

// New image of uncleared pixels, displayed whole at (0, 0), without colours and palette. Null unless both
// sides are 1 to GUIIMAGE_SIDE_LIMIT and the depth is 1, 8 or 24, or when memory is short. The caller frees
// it with DestroyImage.
GUIIMAGE* CreateImage(unsigned uiImgWidth, unsigned uiImgHeight, unsigned uiImgDepth);
// Frees pixels and image (not the palette) and nulls the caller's pointer. -1, -2 on a null argument or
// image.
int DestroyImage(GUIIMAGE** ppImgObj);

// -1 on null.
int SetImagePlace(unsigned uiPlaceX, unsigned uiPlaceY, GUIIMAGE* pImgObj);
int SetImageColor(COLOR uiFgColor, COLOR uiBgColor, GUIIMAGE* pImgObj);
int SetImagePalette(GUIPALETTE* pPalObj, GUIIMAGE* pImgObj);

// Draws the image on the current framebuffer map, clipped at the right and bottom edge of the screen; the
// clipped display size stays in the image. An 8-bit screen is left as it is. -1 on null; -2 without a current
// map; -3 if the place is off the screen; -4 for another depth of the image or the screen; -5 for an 8-bit
// image without a palette.
int DisplayImage(GUIIMAGE* pImgObj);
