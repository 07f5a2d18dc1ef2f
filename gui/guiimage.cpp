#include "gui/guiimage.h"

#include <stdlib.h>

#include "gui/guiconvert.h"
#include "gui/guiendian.h"
#include "gui/guifbmap.h"
#include "gui/guipixel.h"

// ---- Converters ----

// Runs row(source, destination) for each displayed row.
template <typename Row>
static inline void ForEachRow(const GUIIMAGE* pImgObj, const GUIFBMAP* pFbmapObj, Row row) {
    const size_t uiRowBytes = ImageRowBytes(pImgObj->uiImgWidth, pImgObj->uiImgDepth);
    const size_t uiStride = FbmapStride(pFbmapObj);
    const uint8_t* pSource = pImgObj->pImgData;
    uint8_t* pDest = FbmapPixel(pFbmapObj, pImgObj->uiPlaceX, pImgObj->uiPlaceY);
    for (unsigned i = 0; i < pImgObj->uiDispHeight; ++i, pSource += uiRowBytes, pDest += uiStride)
        row(pSource, pDest);
}

template <unsigned Bits>
static void ConvertBits(const GUIIMAGE* pImgObj, const GUIFBMAP* pFbmapObj) {
    if (pImgObj->uiFgColor == COLOR_NONE)
        return;
    const unsigned uiWidth = pImgObj->uiDispWidth;
    const uint32_t uiForeground = PixelValue<Bits>(pImgObj->uiFgColor, nullptr);
    if (pImgObj->uiBgColor == COLOR_NONE) {
        ForEachRow(pImgObj, pFbmapObj, [=](const uint8_t* pSource, uint8_t* pDest) {
            InkRow<Bits>(uiForeground, pSource, uiWidth, pDest);
        });
        return;
    }
    BIT_PIXELS<Bits> pixels;
    PrepareBitPixels<Bits>(uiForeground, PixelValue<Bits>(pImgObj->uiBgColor, nullptr), &pixels);
    ForEachRow(pImgObj, pFbmapObj, [&](const uint8_t* pSource, uint8_t* pDest) {
        ExpandRow<Bits>(pixels, pSource, uiWidth, pDest);
    });
}

// Writes the pixel of an 8- or 24-bit image. The fourth byte of a 32-bit pixel stays as it is.
template <unsigned Bits>
static inline void PutImagePixel(uint32_t uiPixel, uint8_t* pDest) {
    if constexpr (Bits == 32) {
        StoreAligned(static_cast<uint16_t>(uiPixel), pDest);
        pDest[2] = static_cast<uint8_t>(uiPixel >> 16);
    } else {
        PutPixel<Bits>(uiPixel, pDest);
    }
}

template <unsigned Bits>
static void ConvertIndices(const GUIIMAGE* pImgObj, const GUIFBMAP* pFbmapObj) {
    constexpr size_t BYTES = DEPTH<Bits>::BYTES;
    // Every index has an entry, so that an image cannot reach beyond a short palette: black.
    uint32_t uiPixels[GUIPALETTE_LIMIT] = {};
    const GUIPALETTE* pPalette = pImgObj->pRefPal;
    for (int i = 0; i < pPalette->iPalLength; ++i)
        uiPixels[i] = PixelValue<Bits>(
            MakeColor(pPalette->pRedValue[i], pPalette->pGreenValue[i], pPalette->pBlueValue[i]), nullptr);
    const unsigned uiWidth = pImgObj->uiDispWidth;
    ForEachRow(pImgObj, pFbmapObj, [&](const uint8_t* pSource, uint8_t* pDest) {
        for (unsigned i = 0; i < uiWidth; ++i)
            PutImagePixel<Bits>(uiPixels[pSource[i]], pDest + i * BYTES);
    });
}

// Blue, green, red in memory: a COLOR as a little-endian number.
static inline COLOR ColorAt(const uint8_t* pSource) {
    return MakeColor(pSource[2], pSource[1], pSource[0]);
}

static inline uint32_t Rgb565At(const uint8_t* pSource) {
    return Rgb565(ColorAt(pSource));
}

// Two pixels, the left one in the low half. Where registers have 64 bits one conversion does both, 32 bits
// apart; no shift moves a masked bit from one to the other.
static inline uint32_t Rgb565PairAt(const uint8_t* pSource) {
    if constexpr (sizeof(void*) == 8) {
        const uint64_t ulColors = GetLe32(pSource) | static_cast<uint64_t>(GetLe32(pSource + 2) >> 8) << 32;
        const uint64_t ulPair = (ulColors & 0xF8000000F8) >> 3 | (ulColors & 0xFC000000FC00) >> 5 |
                                (ulColors & 0xF8000000F80000) >> 8;
        return static_cast<uint32_t>(ulPair | ulPair >> 16);
    } else {
        return Rgb565At(pSource) | Rgb565At(pSource + 3) << 16;
    }
}

static inline void ConvertColorsTo16(const uint8_t* pSource, unsigned uiCount, uint8_t* pDest) {
    if (uiCount > 0 && !OnWord(pDest)) {
        PutPixel<16>(Rgb565At(pSource), pDest);
        --uiCount, pSource += 3, pDest += 2;
    }
    for (; uiCount >= 2; uiCount -= 2, pSource += 6, pDest += 4)
        StoreAligned(Rgb565PairAt(pSource), pDest);
    if (uiCount > 0)
        PutPixel<16>(Rgb565At(pSource), pDest);
}

template <unsigned Bits>
static void ConvertColors(const GUIIMAGE* pImgObj, const GUIFBMAP* pFbmapObj) {
    const unsigned uiWidth = pImgObj->uiDispWidth;
    ForEachRow(pImgObj, pFbmapObj, [=](const uint8_t* pSource, uint8_t* pDest) {
        if constexpr (Bits == 16)
            ConvertColorsTo16(pSource, uiWidth, pDest);
        else if constexpr (Bits == 24)
            memcpy(pDest, pSource, static_cast<size_t>(uiWidth) * 3);
        else
            for (unsigned i = 0; i < uiWidth; ++i)
                PutImagePixel<Bits>(ColorAt(pSource + static_cast<size_t>(i) * 3),
                                    pDest + static_cast<size_t>(i) * 4);
    });
}

template <unsigned ImageBits, unsigned Bits>
void ConvertImage(const GUIIMAGE* pImgObj, GUIFBMAP* pFbmapObj) {
    if constexpr (Bits == 8)
        return;
    else if constexpr (ImageBits == 1)
        ConvertBits<Bits>(pImgObj, pFbmapObj);
    else if constexpr (ImageBits == 8)
        ConvertIndices<Bits>(pImgObj, pFbmapObj);
    else
        ConvertColors<Bits>(pImgObj, pFbmapObj);
}

// ---- Images ----

GUIIMAGE* CreateImage(unsigned uiImgWidth, unsigned uiImgHeight, unsigned uiImgDepth) {
    if (uiImgWidth == 0 || uiImgHeight == 0 || uiImgWidth > GUIIMAGE_SIDE_LIMIT ||
        uiImgHeight > GUIIMAGE_SIDE_LIMIT)
        return nullptr;
    if (uiImgDepth != 1 && uiImgDepth != 8 && uiImgDepth != 24)
        return nullptr;
    GUIIMAGE* pImgObj = static_cast<GUIIMAGE*>(malloc(sizeof(GUIIMAGE)));
    if (pImgObj == nullptr)
        return nullptr;
    const size_t uiSize = static_cast<size_t>(ImageRowBytes(uiImgWidth, uiImgDepth)) * uiImgHeight;
    uint8_t* pData = static_cast<uint8_t*>(malloc(uiSize));
    if (pData == nullptr) {
        free(pImgObj);
        return nullptr;
    }
    *pImgObj = {uiImgWidth, uiImgHeight, uiImgDepth, pData,      uiImgWidth, uiImgHeight,
                0,          0,           COLOR_NONE, COLOR_NONE, nullptr};
    return pImgObj;
}

int DestroyImage(GUIIMAGE** ppImgObj) {
    if (ppImgObj == nullptr)
        return -1;
    if (*ppImgObj == nullptr)
        return -2;
    free((*ppImgObj)->pImgData);
    free(*ppImgObj);
    *ppImgObj = nullptr;
    return 0;
}

int SetImagePlace(unsigned uiPlaceX, unsigned uiPlaceY, GUIIMAGE* pImgObj) {
    if (pImgObj == nullptr)
        return -1;
    pImgObj->uiPlaceX = uiPlaceX;
    pImgObj->uiPlaceY = uiPlaceY;
    return 0;
}

int SetImageColor(COLOR uiFgColor, COLOR uiBgColor, GUIIMAGE* pImgObj) {
    if (pImgObj == nullptr)
        return -1;
    pImgObj->uiFgColor = uiFgColor;
    pImgObj->uiBgColor = uiBgColor;
    return 0;
}

int SetImagePalette(GUIPALETTE* pPalObj, GUIIMAGE* pImgObj) {
    if (pPalObj == nullptr || pImgObj == nullptr)
        return -1;
    pImgObj->pRefPal = pPalObj;
    return 0;
}

static unsigned Smallest(unsigned uiFirst, unsigned uiSecond, unsigned uiThird) {
    const unsigned uiSmaller = uiFirst < uiSecond ? uiFirst : uiSecond;
    return uiSmaller < uiThird ? uiSmaller : uiThird;
}

// To the screen, and to the block itself, whatever display size was set. The place is on the screen.
static void ClipImage(const GUIFBMAP* pFbmap, GUIIMAGE* pImgObj) {
    pImgObj->uiDispWidth =
        Smallest(pImgObj->uiDispWidth, pImgObj->uiImgWidth, pFbmap->uiHorRes - pImgObj->uiPlaceX);
    pImgObj->uiDispHeight =
        Smallest(pImgObj->uiDispHeight, pImgObj->uiImgHeight, pFbmap->uiVerRes - pImgObj->uiPlaceY);
}

int DisplayImage(GUIIMAGE* pImgObj) {
    if (pImgObj == nullptr)
        return -1;
    GUIFBMAP* pFbmap = GetCurrFbmap();
    if (pFbmap == nullptr)
        return -2;
    if (pImgObj->uiPlaceX >= pFbmap->uiHorRes || pImgObj->uiPlaceY >= pFbmap->uiVerRes)
        return -3;
    ClipImage(pFbmap, pImgObj);
    if (pFbmap->uiPixelBits == 8)
        return 0;
    if (pImgObj->uiImgDepth != 1 && pImgObj->uiImgDepth != 8 && pImgObj->uiImgDepth != 24)
        return -4;
    if (pImgObj->uiImgDepth == 8 && pImgObj->pRefPal == nullptr)
        return -5;
    const int iResult = AtDepth(pFbmap->uiPixelBits, [=](auto depth) {
        constexpr unsigned BITS = decltype(depth)::BITS;
        if (pImgObj->uiImgDepth == 1)
            ConvertImage<1, BITS>(pImgObj, pFbmap);
        else if (pImgObj->uiImgDepth == 8)
            ConvertImage<8, BITS>(pImgObj, pFbmap);
        else
            ConvertImage<24, BITS>(pImgObj, pFbmap);
    });
    return iResult == 0 ? 0 : -4;
}

// For the names in guiconvert.h.
template void ConvertImage<1, 8>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<1, 16>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<1, 24>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<1, 32>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<8, 8>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<8, 16>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<8, 24>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<8, 32>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<24, 8>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<24, 16>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<24, 24>(const GUIIMAGE*, GUIFBMAP*);
template void ConvertImage<24, 32>(const GUIIMAGE*, GUIFBMAP*);
