#include "gui/guipalette.h"

#include <stdlib.h>

#include "gui/guiobj.h"

// Square of the distance between black and white.
static const int FARTHEST_COLORS = 3 * 255 * 255;

static GUIPALETTE* pCurrPalette = nullptr;

GUIPALETTE* CreatePalette(int iPalLength) {
    if (iPalLength < 1 || iPalLength > GUIPALETTE_LIMIT)
        return nullptr;
    GUIPALETTE* pPalObj = static_cast<GUIPALETTE*>(malloc(sizeof(GUIPALETTE)));
    if (pPalObj == nullptr)
        return nullptr;
    // Cleared: an entry that nobody sets is black.
    uint8_t* pTable = static_cast<uint8_t*>(calloc(3, static_cast<size_t>(iPalLength)));
    if (pTable == nullptr) {
        free(pPalObj);
        return nullptr;
    }
    uint8_t* pGreen = pTable + iPalLength;
    *pPalObj = {iPalLength, pTable, pTable, pGreen, pGreen + iPalLength};
    return pPalObj;
}

int DestroyPalette(GUIPALETTE** ppPalObj) {
    if (ppPalObj == nullptr)
        return -1;
    if (*ppPalObj == nullptr)
        return -2;
    DropCurr(&pCurrPalette, *ppPalObj);
    free((*ppPalObj)->pTabEntry);
    free(*ppPalObj);
    *ppPalObj = nullptr;
    return 0;
}

GUIPALETTE* GetCurrPalette() {
    return LoadCurr(&pCurrPalette);
}

int SetCurrPalette(GUIPALETTE* pPalObj) {
    return StoreCurr(&pCurrPalette, pPalObj);
}

static int Square(int iValue) {
    return iValue * iValue;
}

int MatchPaletteColor(COLOR uiRgbColor, const GUIPALETTE* pPalObj) {
    if (pPalObj == nullptr)
        return -1;
    const int iRed = static_cast<int>(uiRgbColor >> 16 & 0xFF);
    const int iGreen = static_cast<int>(uiRgbColor >> 8 & 0xFF);
    const int iBlue = static_cast<int>(uiRgbColor & 0xFF);
    int iNearest = -1;
    int iBest = FARTHEST_COLORS;
    for (int i = pPalObj->iPalLength - 1; i >= 0; --i) {
        const int iDistance = Square(pPalObj->pRedValue[i] - iRed) +
                              Square(pPalObj->pGreenValue[i] - iGreen) +
                              Square(pPalObj->pBlueValue[i] - iBlue);
        if (iDistance < iBest) {
            iBest = iDistance;
            iNearest = i;
        }
    }
    return iNearest;
}
