#include "gui/guidraw.h"

#include "gui/guipalette.h"
#include "gui/guipen.h"
#include "gui/guipixel.h"
#include "gui/guiprimitive.h"

// ---- Primitives ----

template <unsigned Bits>
void PaintPixel(uint32_t uiPixel, unsigned uiPixelX, unsigned uiPixelY, GUIFBMAP* pFbmapObj) {
    PutPixel<Bits>(uiPixel, FbmapPixel(pFbmapObj, uiPixelX, uiPixelY));
}

template <unsigned Bits>
void PaintHor(uint32_t uiPixel, unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, GUIFBMAP* pFbmapObj) {
    FillRow<Bits>(uiPixel, PrepareFill<Bits>(uiPixel), uiEndX - uiStartX + 1,
                  FbmapPixel(pFbmapObj, uiStartX, uiStartY));
}

template <unsigned Bits>
void PaintVer(uint32_t uiPixel, unsigned uiStartX, unsigned uiStartY, unsigned uiEndY, GUIFBMAP* pFbmapObj) {
    const size_t uiStride = FbmapStride(pFbmapObj);
    uint8_t* pDest = FbmapPixel(pFbmapObj, uiStartX, uiStartY);
    for (unsigned uiRows = uiEndY - uiStartY + 1; uiRows > 0; --uiRows, pDest += uiStride)
        PutPixel<Bits>(uiPixel, pDest);
}

template <unsigned Bits>
void PaintBias(uint32_t uiPixel, unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
               GUIFBMAP* pFbmapObj) {
    // Walked downwards from the upper end, so that both directions give the same pixels.
    const bool bStartIsUpper = uiEndY > uiStartY;
    const bool bStartIsLeft = uiEndX > uiStartX;
    const int iHeight = static_cast<int>(bStartIsUpper ? uiEndY - uiStartY : uiStartY - uiEndY);
    const int iWidth = static_cast<int>(bStartIsLeft ? uiEndX - uiStartX : uiStartX - uiEndX);

    constexpr ptrdiff_t BYTES = DEPTH<Bits>::BYTES;
    const ptrdiff_t iAcross = bStartIsLeft == bStartIsUpper ? BYTES : -BYTES;
    const ptrdiff_t iDown = static_cast<ptrdiff_t>(FbmapStride(pFbmapObj));
    const bool bFlat = iWidth > iHeight;
    const ptrdiff_t iMainStep = bFlat ? iAcross : iDown;
    const ptrdiff_t iSideStep = bFlat ? iDown : iAcross;
    const int iLong = bFlat ? iWidth : iHeight;
    const int iShort = bFlat ? iHeight : iWidth;

    uint8_t* pDest =
        bStartIsUpper ? FbmapPixel(pFbmapObj, uiStartX, uiStartY) : FbmapPixel(pFbmapObj, uiEndX, uiEndY);
    PutPixel<Bits>(uiPixel, pDest);
    int iError = 2 * iShort - iLong;
    for (int i = 0; i < iLong; ++i) {
        pDest += iMainStep;
        if (iError >= 0) {
            pDest += iSideStep;
            iError -= 2 * iLong;
        }
        iError += 2 * iShort;
        PutPixel<Bits>(uiPixel, pDest);
    }
}

template <unsigned Bits>
void PaintCircle(uint32_t uiPixel, unsigned uiPointX, unsigned uiPointY, unsigned uiCircleR,
                 GUIFBMAP* pFbmapObj) {
    constexpr ptrdiff_t BYTES = DEPTH<Bits>::BYTES;
    const ptrdiff_t iStride = static_cast<ptrdiff_t>(FbmapStride(pFbmapObj));
    const ptrdiff_t iRadius = static_cast<ptrdiff_t>(uiCircleR);
    uint8_t* pCentre = FbmapPixel(pFbmapObj, uiPointX, uiPointY);
    auto putMirrored = [=](ptrdiff_t iRow, ptrdiff_t iColumn) {
        PutPixel<Bits>(uiPixel, pCentre - iRow - iColumn);
        PutPixel<Bits>(uiPixel, pCentre - iRow + iColumn);
        PutPixel<Bits>(uiPixel, pCentre + iRow - iColumn);
        PutPixel<Bits>(uiPixel, pCentre + iRow + iColumn);
    };
    // One eighth of the circle, from its top to the diagonal; x and y also as distances in bytes along and
    // across the lines. The midpoint's start value is 1.25 - r: as everything added to it is whole, the
    // quarter never decides.
    ptrdiff_t x = 0, y = iRadius;
    ptrdiff_t iColumnX = 0, iColumnY = y * BYTES;
    ptrdiff_t iRowX = 0, iRowY = y * iStride;
    ptrdiff_t iMidpoint = 1 - iRadius;
    while (x <= y) {
        putMirrored(iRowY, iColumnX);
        putMirrored(iRowX, iColumnY);
        if (iMidpoint >= 0) {
            iMidpoint += 2 * (x - y) + 5;
            --y;
            iColumnY -= BYTES;
            iRowY -= iStride;
        } else {
            iMidpoint += 2 * x + 3;
        }
        ++x;
        iColumnX += BYTES;
        iRowX += iStride;
    }
}

template <unsigned Bits>
void PaintBlock(uint32_t uiPixel, unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
                GUIFBMAP* pFbmapObj) {
    const size_t uiStride = FbmapStride(pFbmapObj);
    unsigned uiWidth = uiEndX - uiStartX + 1, uiRows = uiEndY - uiStartY + 1;
    if (uiWidth == pFbmapObj->uiHorRes) {  // nothing between the rows: they are one
        uiWidth *= uiRows;
        uiRows = 1;
    }
    const PIXEL_FILL<Bits> fill = PrepareFill<Bits>(uiPixel);
    uint8_t* pDest = FbmapPixel(pFbmapObj, uiStartX, uiStartY);
    for (; uiRows > 0; --uiRows, pDest += uiStride)
        FillRow<Bits>(uiPixel, fill, uiWidth, pDest);
}

#define INSTANTIATE_PRIMITIVES(BITS)                                                            \
    template void PaintPixel<BITS>(uint32_t, unsigned, unsigned, GUIFBMAP*);                    \
    template void PaintHor<BITS>(uint32_t, unsigned, unsigned, unsigned, GUIFBMAP*);            \
    template void PaintVer<BITS>(uint32_t, unsigned, unsigned, unsigned, GUIFBMAP*);            \
    template void PaintBias<BITS>(uint32_t, unsigned, unsigned, unsigned, unsigned, GUIFBMAP*); \
    template void PaintCircle<BITS>(uint32_t, unsigned, unsigned, unsigned, GUIFBMAP*);         \
    template void PaintBlock<BITS>(uint32_t, unsigned, unsigned, unsigned, unsigned, GUIFBMAP*);

INSTANTIATE_PRIMITIVES(8)
INSTANTIATE_PRIMITIVES(16)
INSTANTIATE_PRIMITIVES(24)
INSTANTIATE_PRIMITIVES(32)

// ---- Public operations ----

// What the current objects say about the drawing to be done.
struct CANVAS {
    GUIFBMAP* pFbmap;
    const GUIPALETTE* pPalette;
    COLOR uiColor;
};

static int TakeCanvas(CANVAS* pCanvas) {
    const GUIPALETTE* pPalette = GetCurrPalette();
    if (pPalette == nullptr)
        return -1;
    const GUIPEN* pPen = GetCurrPen();
    if (pPen == nullptr)
        return -2;
    GUIFBMAP* pFbmap = GetCurrFbmap();
    if (pFbmap == nullptr)
        return -3;
    *pCanvas = {pFbmap, pPalette, pPen->uiPenColor};
    return 0;
}

static bool OnScreen(unsigned uiPixelX, unsigned uiPixelY, const CANVAS& canvas) {
    return uiPixelX < canvas.pFbmap->uiHorRes && uiPixelY < canvas.pFbmap->uiVerRes;
}

// Runs paint(depth, pixel value) for the map's depth. -5 if there is no such depth.
template <typename Paint>
static int PaintOn(const CANVAS& canvas, Paint paint) {
    const int iResult = AtDepth(canvas.pFbmap->uiPixelBits, [&](auto depth) {
        paint(depth, PixelValue<decltype(depth)::BITS>(canvas.uiColor, canvas.pPalette));
    });
    return iResult == 0 ? 0 : -5;
}

static void SortPair(unsigned* pLow, unsigned* pHigh) {
    if (*pLow > *pHigh) {
        const unsigned uiLow = *pHigh;
        *pHigh = *pLow;
        *pLow = uiLow;
    }
}

int DrawPixel(unsigned uiPixelX, unsigned uiPixelY) {
    CANVAS canvas = {};
    const int iResult = TakeCanvas(&canvas);
    if (iResult != 0)
        return iResult;
    if (!OnScreen(uiPixelX, uiPixelY, canvas))
        return -4;
    return PaintOn(canvas, [=](auto depth, uint32_t uiPixel) {
        PaintPixel<decltype(depth)::BITS>(uiPixel, uiPixelX, uiPixelY, canvas.pFbmap);
    });
}

int DrawLine(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY) {
    CANVAS canvas = {};
    const int iResult = TakeCanvas(&canvas);
    if (iResult != 0)
        return iResult;
    if (!OnScreen(uiStartX, uiStartY, canvas) || !OnScreen(uiEndX, uiEndY, canvas))
        return -4;
    if (uiStartY == uiEndY)
        SortPair(&uiStartX, &uiEndX);
    else if (uiStartX == uiEndX)
        SortPair(&uiStartY, &uiEndY);
    return PaintOn(canvas, [=](auto depth, uint32_t uiPixel) {
        constexpr unsigned BITS = decltype(depth)::BITS;
        if (uiStartY == uiEndY)
            PaintHor<BITS>(uiPixel, uiStartX, uiStartY, uiEndX, canvas.pFbmap);
        else if (uiStartX == uiEndX)
            PaintVer<BITS>(uiPixel, uiStartX, uiStartY, uiEndY, canvas.pFbmap);
        else
            PaintBias<BITS>(uiPixel, uiStartX, uiStartY, uiEndX, uiEndY, canvas.pFbmap);
    });
}

// The canvas for an area, whose corners are put in order. -4 if one lies off the screen, else as TakeCanvas.
static int TakeArea(CANVAS* pCanvas, unsigned* pStartX, unsigned* pStartY, unsigned* pEndX, unsigned* pEndY) {
    const int iResult = TakeCanvas(pCanvas);
    if (iResult != 0)
        return iResult;
    if (!OnScreen(*pStartX, *pStartY, *pCanvas) || !OnScreen(*pEndX, *pEndY, *pCanvas))
        return -4;
    SortPair(pStartX, pEndX);
    SortPair(pStartY, pEndY);
    return 0;
}

int DrawRectangle(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY) {
    CANVAS canvas = {};
    const int iResult = TakeArea(&canvas, &uiStartX, &uiStartY, &uiEndX, &uiEndY);
    if (iResult != 0)
        return iResult;
    return PaintOn(canvas, [=](auto depth, uint32_t uiPixel) {
        constexpr unsigned BITS = decltype(depth)::BITS;
        PaintHor<BITS>(uiPixel, uiStartX, uiStartY, uiEndX, canvas.pFbmap);
        PaintHor<BITS>(uiPixel, uiStartX, uiEndY, uiEndX, canvas.pFbmap);
        PaintVer<BITS>(uiPixel, uiStartX, uiStartY, uiEndY, canvas.pFbmap);
        PaintVer<BITS>(uiPixel, uiEndX, uiStartY, uiEndY, canvas.pFbmap);
    });
}

int DrawCircle(unsigned uiPointX, unsigned uiPointY, unsigned uiCircleR) {
    CANVAS canvas = {};
    const int iResult = TakeCanvas(&canvas);
    if (iResult != 0)
        return iResult;
    // Without sums, which could overflow.
    if (!OnScreen(uiPointX, uiPointY, canvas) || uiCircleR > uiPointX || uiCircleR > uiPointY ||
        uiCircleR >= canvas.pFbmap->uiHorRes - uiPointX || uiCircleR >= canvas.pFbmap->uiVerRes - uiPointY)
        return -4;
    return PaintOn(canvas, [=](auto depth, uint32_t uiPixel) {
        PaintCircle<decltype(depth)::BITS>(uiPixel, uiPointX, uiPointY, uiCircleR, canvas.pFbmap);
    });
}

int DrawBlock(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY) {
    CANVAS canvas = {};
    const int iResult = TakeArea(&canvas, &uiStartX, &uiStartY, &uiEndX, &uiEndY);
    if (iResult != 0)
        return iResult;
    return PaintOn(canvas, [=](auto depth, uint32_t uiPixel) {
        PaintBlock<decltype(depth)::BITS>(uiPixel, uiStartX, uiStartY, uiEndX, uiEndY, canvas.pFbmap);
    });
}
