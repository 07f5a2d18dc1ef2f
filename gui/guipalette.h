// The palette: the colour table of 8-bit screens and 8-bit images.
#pragma once

#include <stdint.h>

#include "gui/guicolor.h"

// Most entries of a palette: what one byte can index.
constexpr int GUIPALETTE_LIMIT = 256;

struct GUIPALETTE {
    int iPalLength;      // entries, 1 to GUIPALETTE_LIMIT
    uint8_t* pTabEntry;  // one block of three planes of iPalLength bytes
    uint8_t* pRedValue;  // the planes within it
    uint8_t* pGreenValue;
    uint8_t* pBlueValue;
};

// New palette whose entries the caller fills, freed with DestroyPalette. Null unless 1 <= iPalLength <=
// GUIPALETTE_LIMIT, or when memory is short.
GUIPALETTE* CreatePalette(int iPalLength);
// Frees the palette and nulls the caller's pointer. -1, -2 on a null argument or palette.
int DestroyPalette(GUIPALETTE** ppPalObj);

GUIPALETTE* GetCurrPalette();
// -1 on null, the current palette is kept.
int SetCurrPalette(GUIPALETTE* pPalObj);

// Index of the entry nearest to the colour, the highest of equally near ones. -1 on a null palette, or when
// every entry is as far away as two colours can be (black and white).
int MatchPaletteColor(COLOR uiRgbColor, const GUIPALETTE* pPalObj);
