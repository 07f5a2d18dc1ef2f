#include "gui/guiimage.h"

#include <stdlib.h>
#include <string.h>

#include "gui/guiconvert.h"
#include "gui/guifbmap.h"
#include "gui/guipixel.h"
#include "gui/guiprimitive.h"

// ---- Converters ----

// Runs row(source, destination) for each displayed row, from a column on that begins a byte.
template <typename Row>
static inline void ForEachRow(const GUIIMAGE* pImgObj, const GUIFBMAP* pFbmapObj, unsigned uiLeft, Row row) {
    const size_t uiRowBytes = ImageRowBytes(pImgObj->uiImgWidth, pImgObj->uiImgDepth);
    const size_t uiStride = FbmapStride(pFbmapObj);
    const uint8_t* pSource = pImgObj->pImgData + ImageRowBytes(uiLeft, pImgObj->uiImgDepth);
    uint8_t* pDest = FbmapPixel(pFbmapObj, pImgObj->uiPlaceX + uiLeft, pImgObj->uiPlaceY);
    for (unsigned uiRows = pImgObj->uiDispHeight; uiRows > 0;
         --uiRows, pSource += uiRowBytes, pDest += uiStride)
        row(pSource, pDest);
}

// The background, if any, as a block, then the ink over it: the work is in proportion to the ink, of which
// letters have little. (Written once each, from a table of bit groups, an opaque letter takes twice as long.)
template <unsigned Bits>
static void ConvertBits(const GUIIMAGE* pImgObj, GUIFBMAP* pFbmapObj) {
    constexpr unsigned STEP = 16;  // columns that are gone down at a time
    const unsigned uiWidth = pImgObj->uiDispWidth, uiHeight = pImgObj->uiDispHeight;
    if (pImgObj->uiFgColor == COLOR_NONE)
        return;
    if (pImgObj->uiBgColor != COLOR_NONE)
        PaintBlock<Bits>(PixelValue<Bits>(pImgObj->uiBgColor, nullptr), pImgObj->uiPlaceX, pImgObj->uiPlaceY,
                         pImgObj->uiPlaceX + uiWidth - 1, pImgObj->uiPlaceY + uiHeight - 1, pFbmapObj);
    const uint32_t uiForeground = PixelValue<Bits>(pImgObj->uiFgColor, nullptr);
    const uint32_t uiTop = InRegister(0x80000000U);
    for (unsigned uiLeft = 0; uiLeft < uiWidth; uiLeft += STEP) {
        const unsigned uiColumns = uiWidth - uiLeft < STEP ? uiWidth - uiLeft : STEP;
        const uint32_t uiShown = 0xFFFF0000U >> uiColumns;
        const size_t uiSecond = uiColumns > 8 ? 1 : 0;  // a row may end with the first byte
        ForEachRow(pImgObj, pFbmapObj, uiLeft, [=](const uint8_t* pSource, uint8_t* pDest) {
            uint32_t uiInk = (static_cast<uint32_t>(pSource[0]) << 8 | pSource[uiSecond]) & uiShown;
            while (uiInk != 0) {
                const unsigned uiFirst = static_cast<unsigned>(__builtin_clz(uiInk));
                PutPixel<Bits>(uiForeground, pDest + (uiFirst - STEP) * DEPTH<Bits>::BYTES);
                uiInk &= ~(uiTop >> uiFirst);
            }
        });
    }
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

// The pixel of a colour of an 8- or 24-bit image.
template <unsigned Bits>
static inline uint32_t ColorPixel(uint8_t ucRed, uint8_t ucGreen, uint8_t ucBlue) {
    if constexpr (Bits == 16)
        return static_cast<uint32_t>(ucRed >> 3 << 11 | ucGreen >> 2 << 5 | ucBlue >> 3);
    else
        return MakeColor(ucRed, ucGreen, ucBlue);
}

// Four 16-bit pixels, two in each word, the left one lower, to a multiple of 4 (bOnWord) or an odd one of 2.
template <bool bOnWord>
static inline void PutFour(uint32_t uiLeft, uint32_t uiRight, uint8_t* pDest) {
    if constexpr (bOnWord) {
        StoreAligned(uiLeft, pDest);
        StoreAligned(uiRight, pDest + 4);
    } else {
        PutPixel<16>(uiLeft, pDest);
        StoreAligned(uiLeft >> 16 | uiRight << 16, pDest + 2);
        PutPixel<16>(uiRight >> 16, pDest + 6);
    }
}

constexpr unsigned INDEX_STEP = 8;

template <bool bOnWord>
static inline void ConvertIndexSteps(const uint8_t* pSource, const uint32_t* pPixels, unsigned uiSteps,
                                     uint8_t* pDest) {
    for (; uiSteps > 0; --uiSteps)
        for (unsigned i = 0; i < INDEX_STEP / GROUP_PIXELS;
             ++i, pSource += GROUP_PIXELS, pDest += GROUP_PIXELS * 2)
            PutFour<bOnWord>(pPixels[pSource[0]] | pPixels[pSource[1]] << 16,
                             pPixels[pSource[2]] | pPixels[pSource[3]] << 16, pDest);
}

template <unsigned Bits>
static void ConvertIndices(const GUIIMAGE* pImgObj, const GUIFBMAP* pFbmapObj) {
    constexpr size_t BYTES = DEPTH<Bits>::BYTES;
    // Every index has an entry, so that an image cannot reach beyond a short palette: black.
    uint32_t uiPixels[GUIPALETTE_LIMIT];
    const GUIPALETTE* pPalette = pImgObj->pRefPal;
    for (int i = 0; i < pPalette->iPalLength; ++i)
        uiPixels[i] =
            ColorPixel<Bits>(pPalette->pRedValue[i], pPalette->pGreenValue[i], pPalette->pBlueValue[i]);
    for (int i = pPalette->iPalLength; i < GUIPALETTE_LIMIT; ++i)
        uiPixels[i] = 0;
    const uint32_t* pPixels = InRegister(&uiPixels[0]);
    ForEachRow(pImgObj, pFbmapObj, 0, [=](const uint8_t* pSource, uint8_t* pDest) {
        unsigned uiCount = pImgObj->uiDispWidth;
        if constexpr (Bits == 16) {
            const unsigned uiSteps = uiCount / INDEX_STEP;
            if (OnWord(pDest))
                ConvertIndexSteps<true>(pSource, pPixels, uiSteps, pDest);
            else
                ConvertIndexSteps<false>(pSource, pPixels, uiSteps, pDest);
            pSource += uiSteps * INDEX_STEP, pDest += uiSteps * INDEX_STEP * 2, uiCount %= INDEX_STEP;
        }
        for (; uiCount > 0; --uiCount, pDest += BYTES)
            PutImagePixel<Bits>(pPixels[*pSource++], pDest);
    });
}

// Colours become 16-bit pixels four at a time, from three words on their own alignment; where words may lie
// anywhere, eight at a time in a form that the compiler makes vectors of.
constexpr bool WORDS_ANYWHERE = sizeof(void*) == 8;
constexpr unsigned COLOR_STEP = WORDS_ANYWHERE ? 8 : 4;

template <size_t uiAlign>
static inline uint32_t LoadWord(const uint8_t* pSource) {
    uint32_t uiWord = 0;
    memcpy(&uiWord, __builtin_assume_aligned(pSource, uiAlign), sizeof(uiWord));
    return uiWord;
}

template <bool bOnWord>
static inline void ConvertColorSteps(const uint8_t* pSource, unsigned uiSteps, uint8_t* pDest) {
    // Where the parts lie in two pixels, the left one lower; its blue and the right one's red need no mask.
    const uint32_t uiGreen = InRegister<uint32_t>(0x7E0), uiRed = InRegister<uint32_t>(0xF800);
    const uint32_t uiBlue2 = InRegister<uint32_t>(0x1F0000), uiGreen2 = InRegister<uint32_t>(0x7E00000);
    for (; uiSteps > 0; --uiSteps, pSource += COLOR_STEP * 3, pDest += COLOR_STEP * 2) {
        if constexpr (WORDS_ANYWHERE) {
            uint32_t uiLeft[COLOR_STEP / 2];   // a colour in the low three bytes
            uint32_t uiRight[COLOR_STEP / 2];  // in the high three
            for (unsigned i = 0; i < COLOR_STEP / 2; ++i) {
                uiLeft[i] = LoadWord<1>(pSource + 6 * i);
                uiRight[i] = LoadWord<1>(pSource + 6 * i + 2);
            }
            for (unsigned i = 0; i < COLOR_STEP / 2; ++i)
                uiLeft[i] = (uiLeft[i] >> 3 & 0x1F) | (uiLeft[i] >> 5 & uiGreen) | (uiLeft[i] >> 8 & uiRed) |
                            (uiRight[i] << 5 & uiBlue2) | (uiRight[i] << 3 & uiGreen2) |
                            (uiRight[i] & 0xF8000000);
            memcpy(pDest, uiLeft, sizeof(uiLeft));
        } else {
            const uint32_t uiFirst = LoadWord<4>(pSource), uiSecond = LoadWord<4>(pSource + 4),
                           uiThird = LoadWord<4>(pSource + 8);
            PutFour<bOnWord>(
                (uiFirst >> 3 & 0x1F) | (uiFirst >> 5 & uiGreen) | (uiFirst >> 8 & uiRed) |
                    (uiFirst >> 11 & uiBlue2) | (uiSecond << 19 & uiGreen2) | uiSecond >> 11 << 27,
                (uiSecond >> 19 & 0x1F) | (uiSecond >> 21 & uiGreen) | (uiThird << 8 & uiRed) |
                    (uiThird << 5 & uiBlue2) | (uiThird << 3 & uiGreen2) | (uiThird & 0xF8000000),
                pDest);
        }
    }
}

static inline void ConvertColorsTo16(const uint8_t* pSource, unsigned uiCount, uint8_t* pDest) {
    const auto convertOne = [&] {
        PutPixel<16>(ColorPixel<16>(pSource[2], pSource[1], pSource[0]), pDest);
        --uiCount, pSource += 3, pDest += 2;
    };
    // Reached after three pixels at most, as 3 and 4 have no common factor.
    while (!WORDS_ANYWHERE && uiCount > 0 && !OnWord(pSource))
        convertOne();
    const unsigned uiSteps = uiCount / COLOR_STEP;
    if (OnWord(pDest))
        ConvertColorSteps<true>(pSource, uiSteps, pDest);
    else
        ConvertColorSteps<false>(pSource, uiSteps, pDest);
    pSource += uiSteps * COLOR_STEP * 3, pDest += uiSteps * COLOR_STEP * 2, uiCount %= COLOR_STEP;
    while (uiCount > 0)
        convertOne();
}

template <unsigned Bits>
static void ConvertColors(const GUIIMAGE* pImgObj, const GUIFBMAP* pFbmapObj) {
    const unsigned uiWidth = pImgObj->uiDispWidth;
    ForEachRow(pImgObj, pFbmapObj, 0, [=](const uint8_t* pSource, uint8_t* pDest) {
        if constexpr (Bits == 16)
            ConvertColorsTo16(pSource, uiWidth, pDest);
        else if constexpr (Bits == 24)
            memcpy(pDest, pSource, static_cast<size_t>(uiWidth) * 3);
        else
            for (size_t i = 0; i < uiWidth; ++i)
                PutImagePixel<Bits>(ColorPixel<Bits>(pSource[3 * i + 2], pSource[3 * i + 1], pSource[3 * i]),
                                    pDest + 4 * i);
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
    if (pImgObj->uiImgDepth == 8 && pImgObj->pRefPal == nullptr)
        return -5;
    int iResult = -4;
    AtDepth(pFbmap->uiPixelBits, [&](auto depth) {
        constexpr unsigned BITS = decltype(depth)::BITS;
        iResult = 0;
        if (pImgObj->uiImgDepth == 1)
            ConvertImage<1, BITS>(pImgObj, pFbmap);
        else if (pImgObj->uiImgDepth == 8)
            ConvertImage<8, BITS>(pImgObj, pFbmap);
        else if (pImgObj->uiImgDepth == 24)
            ConvertImage<24, BITS>(pImgObj, pFbmap);
        else
            iResult = -4;
    });
    return iResult;
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
