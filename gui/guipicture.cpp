#include "gui/guipicture.h"

#include <stdlib.h>

#include "gui/guicomp.h"

// New bitmap that lies in the area. Null on short memory.
static GUIBITMAP* CreateBitmapIn(const char* strBitmapFile, const GUIVISIBLE* pVisible) {
    GUIBITMAP* pBitmap = CreateBitmap(strBitmapFile, pVisible->Area.Start.x, pVisible->Area.Start.y);
    if (pBitmap != nullptr)
        SetBitmapView(VisibleWidth(pVisible), VisibleHeight(pVisible), pBitmap);
    return pBitmap;
}

GUIPICTURE* CreatePicture(unsigned uiPlaceX, unsigned uiPlaceY, unsigned uiPicWidth, unsigned uiPicHeight,
                          const char* strBitmapFile) {
    GUIVISIBLE visible = {};
    if (!PlaceVisible(uiPlaceX, uiPlaceY, uiPicWidth, uiPicHeight, &visible))
        return nullptr;
    GUIPICTURE* pPicObj = static_cast<GUIPICTURE*>(malloc(sizeof(GUIPICTURE)));
    if (pPicObj == nullptr)
        return nullptr;
    *pPicObj = {visible, nullptr, nullptr, nullptr, nullptr};
    if (strBitmapFile == nullptr)
        return pPicObj;
    pPicObj->pPicBitmap = CreateBitmapIn(strBitmapFile, &visible);
    if (pPicObj->pPicBitmap == nullptr) {
        free(pPicObj);
        return nullptr;
    }
    return pPicObj;
}

int SetPictureBitmap(const char* strBitmapFile, GUIPICTURE* pPicObj) {
    if (strBitmapFile == nullptr || pPicObj == nullptr)
        return -1;
    // Made before the old one goes: the path may be the old one's own.
    GUIBITMAP* pBitmap = CreateBitmapIn(strBitmapFile, &pPicObj->Visible);
    if (pPicObj->pPicBitmap != nullptr && DestroyBitmap(&pPicObj->pPicBitmap) != 0) {
        DestroyBitmap(&pBitmap);
        return -2;
    }
    pPicObj->pPicBitmap = pBitmap;
    return pBitmap != nullptr ? 0 : -3;
}

int SetPictureArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
                   GUIPICTURE* pPicObj) {
    if (pPicObj == nullptr || SetVisibleArea(uiStartX, uiStartY, uiEndX, uiEndY, &pPicObj->Visible) != 0)
        return -1;
    if (pPicObj->pPicBitmap != nullptr) {
        SetBitmapView(VisibleWidth(&pPicObj->Visible), VisibleHeight(&pPicObj->Visible), pPicObj->pPicBitmap);
        SetBitmapPlace(uiStartX, uiStartY, pPicObj->pPicBitmap);
    }
    return 0;
}

int SetPictureBrush(GUIBRUSH* pBrushObj, GUIPICTURE* pPicObj) {
    return SetStylePart(pBrushObj, pPicObj, &GUIPICTURE::pPicBrush);
}

int SetPicturePen(GUIPEN* pPenObj, GUIPICTURE* pPicObj) {
    return SetStylePart(pPenObj, pPicObj, &GUIPICTURE::pPicPen);
}

int SetPictureFont(GUIFONT* pFontObj, GUIPICTURE* pPicObj) {
    return SetStylePart(pFontObj, pPicObj, &GUIPICTURE::pPicFont);
}

int SetPictureEnable(int iEnable, GUIPICTURE* pPicObj) {
    if (pPicObj == nullptr)
        return -1;
    StoreVisibleFlag(&pPicObj->Visible.iEnable, iEnable);
    return 0;
}

int DisplayPicture(GUIPICTURE* pPicObj) {
    if (pPicObj == nullptr)
        return -1;
    if (LoadVisibleFlag(&pPicObj->Visible.iEnable) == 0 || pPicObj->pPicBitmap == nullptr)
        return -2;
    const GUISTYLE own = {pPicObj->pPicBrush, pPicObj->pPicPen, pPicObj->pPicFont};
    const GUISTYLE previous = SwapStyle(own);
    const int iResult = DisplayBitmap(pPicObj->pPicBitmap);
    RestoreStyle(own, previous);
    return iResult == 0 ? 0 : -3;
}

int DestroyPicture(GUIPICTURE** ppPicObj) {
    if (ppPicObj == nullptr)
        return -1;
    if (*ppPicObj == nullptr)
        return -2;
    if ((*ppPicObj)->pPicBitmap != nullptr && DestroyBitmap(&(*ppPicObj)->pPicBitmap) != 0)
        return -3;
    free(*ppPicObj);
    *ppPicObj = nullptr;
    return 0;
}
