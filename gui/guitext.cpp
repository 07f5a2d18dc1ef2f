#include "gui/guitext.h"

#include <stdlib.h>
#include <string.h>

#include "gui/guiimage.h"

static GUICHAR* CopyString(const GUICHAR* pSource, unsigned* pLength) {
    size_t uiLength = 0;
    while (pSource[uiLength] != 0)
        ++uiLength;
    const size_t uiSize = (uiLength + 1) * sizeof(GUICHAR);
    GUICHAR* pCopy = static_cast<GUICHAR*>(malloc(uiSize));
    if (pCopy == nullptr)
        return nullptr;
    memcpy(pCopy, pSource, uiSize);
    *pLength = static_cast<unsigned>(uiLength);
    return pCopy;
}

GUITEXT* CreateText(const GUICHAR* pTextData, unsigned uiPlaceX, unsigned uiPlaceY) {
    if (pTextData == nullptr)
        return nullptr;
    GUITEXT* pTextObj = static_cast<GUITEXT*>(malloc(sizeof(GUITEXT)));
    if (pTextObj == nullptr)
        return nullptr;
    *pTextObj = {0, nullptr, 0, 0, uiPlaceX, uiPlaceY, nullptr};
    pTextObj->pTextData = CopyString(pTextData, &pTextObj->uiTextLength);
    if (pTextObj->pTextData == nullptr) {
        free(pTextObj);
        return nullptr;
    }
    return pTextObj;
}

int SetTextData(const GUICHAR* pTextData, GUITEXT* pTextObj) {
    if (pTextData == nullptr || pTextObj == nullptr)
        return -1;
    if (pTextObj->ppTextMatrix != nullptr && UnloadTextMatrix(pTextObj) != 0)
        return -2;
    unsigned uiLength = 0;
    GUICHAR* pCopy = CopyString(pTextData, &uiLength);
    if (pCopy == nullptr)
        return -3;
    free(pTextObj->pTextData);
    pTextObj->pTextData = pCopy;
    pTextObj->uiTextLength = uiLength;
    return SetTextView(0, 0, pTextObj);
}

int SetTextView(unsigned uiViewWidth, unsigned uiViewHeight, GUITEXT* pTextObj) {
    if (pTextObj == nullptr)
        return -1;
    pTextObj->uiViewWidth = uiViewWidth;
    pTextObj->uiViewHeight = uiViewHeight;
    return 0;
}

int SetTextPlace(unsigned uiPlaceX, unsigned uiPlaceY, GUITEXT* pTextObj) {
    if (pTextObj == nullptr)
        return -1;
    pTextObj->uiPlaceX = uiPlaceX;
    pTextObj->uiPlaceY = uiPlaceY;
    return 0;
}

// ---- Glyphs ----

static unsigned ClampToUnsigned(uint64_t ulValue) {
    return ulValue > UINT32_MAX ? UINT32_MAX : static_cast<unsigned>(ulValue);
}

// Frees the glyphs and leaves the array, empty.
static void FreeGlyphs(GUITEXT* pTextObj) {
    for (unsigned i = 0; i < pTextObj->uiTextLength; ++i) {
        DestroyFontMatrix(pTextObj->ppTextMatrix[i]);
        pTextObj->ppTextMatrix[i] = nullptr;
    }
}

int LoadTextMatrix(GUITEXT* pTextObj) {
    if (pTextObj == nullptr)
        return -1;
    if (pTextObj->ppTextMatrix != nullptr)
        return -2;
    // One entry at least: an array of none may be null, which would mean not loaded.
    const size_t uiEntries = pTextObj->uiTextLength > 0 ? pTextObj->uiTextLength : 1;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): an array of pointers
    void* pArray = calloc(uiEntries, sizeof(GUIFONT_MATRIX*));
    pTextObj->ppTextMatrix = static_cast<GUIFONT_MATRIX**>(pArray);
    if (pTextObj->ppTextMatrix == nullptr)
        return -3;
    GUIFONT* pFont = GetCurrFont();
    if (pFont == nullptr)
        return -4;
    uint64_t ulWidth = 0;
    for (unsigned i = 0; i < pTextObj->uiTextLength; ++i) {
        GUIFONT_MATRIX* pGlyph = ExtractFontMatrix(pTextObj->pTextData[i], pFont);
        if (pGlyph == nullptr) {
            FreeGlyphs(pTextObj);
            return -5;
        }
        pTextObj->ppTextMatrix[i] = pGlyph;
        ulWidth += static_cast<uint64_t>(pFont->uiLeftGap) + pGlyph->uiRealWidth + pFont->uiRightGap;
    }
    if (pTextObj->uiViewWidth == 0 || pTextObj->uiViewWidth > ulWidth)
        pTextObj->uiViewWidth = ClampToUnsigned(ulWidth);
    if (pTextObj->uiViewHeight == 0)
        pTextObj->uiViewHeight = pFont->uiFontHeight;
    return 0;
}

int UnloadTextMatrix(GUITEXT* pTextObj) {
    if (pTextObj == nullptr)
        return -1;
    if (pTextObj->ppTextMatrix == nullptr)
        return -2;
    FreeGlyphs(pTextObj);
    free(pTextObj->ppTextMatrix);
    pTextObj->ppTextMatrix = nullptr;
    return 0;
}

// ---- Display ----

// Shows a glyph through an image of its matrix's size. -6 if the image cannot be displayed.
static int DisplayGlyph(const GUIFONT_MATRIX* pGlyph, uint64_t ulX, uint64_t ulY, GUIIMAGE* pImage) {
    memcpy(pImage->pImgData, pGlyph->pMatrixData,
           static_cast<size_t>(pGlyph->uiRowBytes) * pGlyph->uiRealHeight);
    pImage->uiDispWidth = pGlyph->uiRealWidth;
    pImage->uiDispHeight = pGlyph->uiRealHeight;
    SetImagePlace(ClampToUnsigned(ulX), ClampToUnsigned(ulY), pImage);
    return DisplayImage(pImage) == 0 ? 0 : -6;
}

int DisplayText(GUITEXT* pTextObj) {
    if (pTextObj == nullptr)
        return -1;
    if (pTextObj->ppTextMatrix == nullptr && LoadTextMatrix(pTextObj) != 0)
        return -2;
    if (TextLoadFailed(pTextObj))
        return -2;
    const GUIFONT* pFont = GetCurrFont();
    if (pFont == nullptr)
        return -3;
    // In 64 bits: a place and a view may add up to more than 32.
    const uint64_t ulRight = static_cast<uint64_t>(pTextObj->uiPlaceX) + pTextObj->uiViewWidth;
    const uint64_t ulBottom = static_cast<uint64_t>(pTextObj->uiPlaceY) + pTextObj->uiViewHeight;
    uint64_t ulX = pTextObj->uiPlaceX;
    uint64_t ulY = pTextObj->uiPlaceY;
    // Of the glyphs' own size, one for all of them: a text loaded with one font can be drawn with another.
    GUIIMAGE* pImage = nullptr;
    int iResult = 0;
    for (unsigned i = 0; i < pTextObj->uiTextLength && iResult == 0; ++i) {
        const GUIFONT_MATRIX* pGlyph = pTextObj->ppTextMatrix[i];
        if (ulX + pGlyph->uiRealWidth > ulRight) {
            ulX = pTextObj->uiPlaceX;
            ulY += static_cast<uint64_t>(pGlyph->uiRealHeight) + pFont->uiTopGap + pFont->uiBottomGap;
        }
        if (ulY + pGlyph->uiRealHeight > ulBottom) {
            iResult = -4;
            break;
        }
        if (pImage == nullptr) {
            pImage = CreateImage(8 * pGlyph->uiRowBytes, pGlyph->uiRealHeight, 1);
            if (pImage == nullptr)
                return -5;
            SetImageColor(pFont->uiFgColor, pFont->uiBgColor, pImage);
        }
        iResult = DisplayGlyph(pGlyph, ulX, ulY, pImage);
        ulX += static_cast<uint64_t>(pFont->uiLeftGap) + pGlyph->uiRealWidth + pFont->uiRightGap;
    }
    DestroyImage(&pImage);
    return iResult;
}

int DestroyText(GUITEXT** ppTextObj) {
    if (ppTextObj == nullptr)
        return -1;
    if (*ppTextObj == nullptr)
        return -2;
    if ((*ppTextObj)->ppTextMatrix != nullptr && UnloadTextMatrix(*ppTextObj) != 0)
        return -3;
    free((*ppTextObj)->pTextData);
    free(*ppTextObj);
    *ppTextObj = nullptr;
    return 0;
}
