#include "gui/guifont.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "gui/guiendian.h"
#include "gui/guiobj.h"

// Longest side of a glyph matrix: more than the screen's. Keeps every size and offset below within its type
// when the file lies.
static const unsigned MATRIX_SIDE_LIMIT = 1024;

static GUIFONT* pCurrFont = nullptr;

// ---- The file ----

// Reads uiLength bytes at an offset of the file. False unless all of them are there.
static bool ReadAt(int iFd, uint64_t ulOffset, uint8_t* pData, size_t uiLength) {
    // What a 32-bit file offset can reach.
    if (ulOffset > INT32_MAX || lseek(iFd, static_cast<off_t>(ulOffset), SEEK_SET) < 0)
        return false;
    return read(iFd, pData, uiLength) == static_cast<ssize_t>(uiLength);
}

static bool ReadFontHeader(int iFd, GUIFONT_FILEHEADER* pHeader) {
    uint8_t ucData[sizeof(GUIFONT_FILEHEADER)] = {};
    if (!ReadAt(iFd, 0, ucData, sizeof(ucData)))
        return false;
    pHeader->uiFileType = GetLe32(ucData);
    pHeader->uiFileSize = GetLe32(ucData + 4);
    pHeader->uiFileFormat = GetLe32(ucData + 8);
    pHeader->usSegmentFlag = GetLe16(ucData + 12);
    pHeader->usSegmentCount = GetLe16(ucData + 14);
    pHeader->uiMatrixWidth = GetLe32(ucData + 16);
    pHeader->uiMatrixHeight = GetLe32(ucData + 20);
    pHeader->uiMatrixCount = GetLe32(ucData + 24);
    pHeader->uiDataOffset = GetLe32(ucData + 28);
    return true;
}

// ---- Fonts ----

GUIFONT* CreateFont(const char* strFontFile, unsigned uiFontWidth, unsigned uiFontHeight, COLOR uiFgColor,
                    COLOR uiBgColor) {
    if (strFontFile == nullptr || uiFontWidth == 0 || uiFontHeight == 0)
        return nullptr;
    GUIFONT* pFontObj = static_cast<GUIFONT*>(malloc(sizeof(GUIFONT)));
    if (pFontObj == nullptr)
        return nullptr;
    *pFontObj = {strdup(strFontFile), -1, uiFontWidth, uiFontHeight, 1, 1, 1, 1, uiFgColor, uiBgColor};
    if (pFontObj->strFontFile != nullptr)
        pFontObj->iFontFd = open(strFontFile, O_RDONLY | O_CLOEXEC);
    GUIFONT_FILEHEADER header = {};
    if (pFontObj->iFontFd < 0 || !ReadFontHeader(pFontObj->iFontFd, &header) ||
        header.uiFileType != GUIFONT_FILE_TYPE || header.uiFileFormat != GUIFONT_FILE_FORMAT ||
        header.usSegmentFlag != 0)
        DestroyFont(&pFontObj);
    return pFontObj;
}

int DestroyFont(GUIFONT** ppFontObj) {
    if (ppFontObj == nullptr)
        return -1;
    if (*ppFontObj == nullptr)
        return -2;
    DropCurrFont(*ppFontObj);
    if ((*ppFontObj)->iFontFd >= 0)
        close((*ppFontObj)->iFontFd);
    free((*ppFontObj)->strFontFile);
    free(*ppFontObj);
    *ppFontObj = nullptr;
    return 0;
}

int SetFontGap(unsigned uiLeftGap, unsigned uiRightGap, unsigned uiTopGap, unsigned uiBottomGap,
               GUIFONT* pFontObj) {
    if (pFontObj == nullptr)
        return -1;
    const unsigned uiSideLimit = pFontObj->uiFontWidth / 2;
    const unsigned uiLineLimit = pFontObj->uiFontHeight / 2;
    if (uiLeftGap > uiSideLimit || uiRightGap > uiSideLimit || uiTopGap > uiLineLimit ||
        uiBottomGap > uiLineLimit)
        return -2;
    pFontObj->uiLeftGap = uiLeftGap;
    pFontObj->uiRightGap = uiRightGap;
    pFontObj->uiTopGap = uiTopGap;
    pFontObj->uiBottomGap = uiBottomGap;
    return 0;
}

int SetFontColor(COLOR uiFgColor, COLOR uiBgColor, GUIFONT* pFontObj) {
    if (pFontObj == nullptr)
        return -1;
    pFontObj->uiFgColor = uiFgColor;
    pFontObj->uiBgColor = uiBgColor;
    return 0;
}

GUIFONT* GetCurrFont() {
    return LoadCurr(&pCurrFont);
}

int SetCurrFont(GUIFONT* pFontObj) {
    return StoreCurr(&pCurrFont, pFontObj);
}

void DropCurrFont(GUIFONT* pFontObj) {
    DropCurr(&pCurrFont, pFontObj);
}

// ---- Glyphs ----

// Reads the glyph as it stands in the file. False, with nothing but the record to free, if it cannot be had.
static bool ReadMatrix(unsigned uiFontCode, const GUIFONT* pFontObj, GUIFONT_MATRIX* pMatrix) {
    GUIFONT_FILEHEADER header = {};
    if (!ReadFontHeader(pFontObj->iFontFd, &header))
        return false;
    if (uiFontCode >= header.uiMatrixCount || pFontObj->uiFontWidth != header.uiMatrixWidth ||
        pFontObj->uiFontHeight != header.uiMatrixHeight)
        return false;
    if (header.uiMatrixWidth > MATRIX_SIDE_LIMIT || header.uiMatrixHeight > MATRIX_SIDE_LIMIT)
        return false;
    pMatrix->uiRealHeight = header.uiMatrixHeight;
    pMatrix->uiRowBytes = (header.uiMatrixWidth + 7) / 8;
    const size_t uiSize = static_cast<size_t>(pMatrix->uiRowBytes) * pMatrix->uiRealHeight;
    pMatrix->pMatrixData = static_cast<uint8_t*>(malloc(uiSize));
    if (pMatrix->pMatrixData == nullptr)
        return false;
    const uint64_t ulOffset = header.uiDataOffset + static_cast<uint64_t>(uiFontCode) * uiSize;
    return ReadAt(pFontObj->iFontFd, ulOffset, pMatrix->pMatrixData, uiSize);
}

// Blank columns left and right of the ink, counted over all bits of the rows: the right ones include the
// padding of the last byte.
static void MeasureBlank(const GUIFONT_MATRIX* pMatrix, unsigned* pLeft, unsigned* pRight) {
    const unsigned uiBytes = pMatrix->uiRowBytes;
    *pLeft = 8 * uiBytes;
    *pRight = 8 * uiBytes;
    for (unsigned j = 0; j < uiBytes; ++j) {
        unsigned uiMask = 0;
        for (unsigned uiRow = 0; uiRow < pMatrix->uiRealHeight; ++uiRow)
            uiMask |= pMatrix->pMatrixData[uiRow * uiBytes + j];
        if (uiMask == 0)
            continue;
        if (*pLeft == 8 * uiBytes)
            *pLeft = 8 * j + static_cast<unsigned>(__builtin_clz(uiMask << 24));
        *pRight = 8 * (uiBytes - 1 - j) + static_cast<unsigned>(__builtin_ctz(uiMask));
    }
}

static void ShiftRowsLeft(unsigned uiColumns, GUIFONT_MATRIX* pMatrix) {
    const unsigned uiBytes = pMatrix->uiRowBytes;
    const unsigned uiSkip = uiColumns / 8;
    const unsigned uiShift = uiColumns % 8;
    for (unsigned uiRow = 0; uiRow < pMatrix->uiRealHeight; ++uiRow) {
        uint8_t* pRow = pMatrix->pMatrixData + static_cast<size_t>(uiRow) * uiBytes;
        for (unsigned j = 0; uiSkip + j < uiBytes; ++j) {
            const unsigned uiNext = uiSkip + j + 1 < uiBytes ? pRow[uiSkip + j + 1] : 0;
            pRow[j] = static_cast<uint8_t>(pRow[uiSkip + j] << uiShift | uiNext >> (8 - uiShift));
        }
    }
}

static void TrimMatrix(unsigned uiMatrixWidth, GUIFONT_MATRIX* pMatrix) {
    unsigned uiLeft = 0;
    unsigned uiRight = 0;
    MeasureBlank(pMatrix, &uiLeft, &uiRight);
    if (uiLeft >= uiMatrixWidth && uiRight >= uiMatrixWidth) {
        pMatrix->uiRealWidth = uiMatrixWidth * 3 / 8;  // a space
        return;
    }
    ShiftRowsLeft(uiLeft, pMatrix);
    // In a width that is no multiple of 8 the padding can outweigh a narrow glyph.
    pMatrix->uiRealWidth = uiLeft + uiRight < uiMatrixWidth ? uiMatrixWidth - uiLeft - uiRight : 0;
}

GUIFONT_MATRIX* ExtractFontMatrix(unsigned uiFontCode, GUIFONT* pFontObj) {
    if (pFontObj == nullptr)
        return nullptr;
    GUIFONT_MATRIX* pMatrix = static_cast<GUIFONT_MATRIX*>(malloc(sizeof(GUIFONT_MATRIX)));
    if (pMatrix == nullptr)
        return nullptr;
    *pMatrix = {0, 0, nullptr, 0};
    if (!ReadMatrix(uiFontCode, pFontObj, pMatrix)) {
        DestroyFontMatrix(pMatrix);
        return nullptr;
    }
    TrimMatrix(pFontObj->uiFontWidth, pMatrix);
    return pMatrix;
}

void DestroyFontMatrix(GUIFONT_MATRIX* pMatrix) {
    if (pMatrix == nullptr)
        return;
    free(pMatrix->pMatrixData);
    free(pMatrix);
}
