#include "gui/guibitmap.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "gui/guiendian.h"

// Sizes and places in the file.
static const unsigned FILE_HEADER_SIZE = 14;
static const unsigned INFO_HEADER_SIZE = 40;
static const off_t COLOR_TABLE_OFFSET = 54;

// ---- The file ----

static bool ReadExactly(int iFd, uint8_t* pData, size_t uiLength) {
    return read(iFd, pData, uiLength) == static_cast<ssize_t>(uiLength);
}

static bool ReadHeaders(int iFd, GUIBITMAP_FILEHEADER* pFile, GUIBITMAP_INFOHEADER* pInfo) {
    uint8_t ucFile[FILE_HEADER_SIZE] = {};
    uint8_t ucInfo[INFO_HEADER_SIZE] = {};
    if (lseek(iFd, 0, SEEK_SET) < 0 || !ReadExactly(iFd, ucFile, sizeof(ucFile)) ||
        !ReadExactly(iFd, ucInfo, sizeof(ucInfo)))
        return false;
    *pFile = {0,
              GetLe16(ucFile),
              GetLe32(ucFile + 2),
              GetLe16(ucFile + 6),
              GetLe16(ucFile + 8),
              GetLe32(ucFile + 10)};
    *pInfo = {GetLe32(ucInfo),      GetLe32(ucInfo + 4),  GetLe32(ucInfo + 8),  GetLe16(ucInfo + 12),
              GetLe16(ucInfo + 14), GetLe32(ucInfo + 16), GetLe32(ucInfo + 20), GetLe32(ucInfo + 24),
              GetLe32(ucInfo + 28), GetLe32(ucInfo + 32), GetLe32(ucInfo + 36)};
    return true;
}

static bool IsPlainBmp(const GUIBITMAP_FILEHEADER& file, const GUIBITMAP_INFOHEADER& info) {
    return file.usFileType == GUIBITMAP_FILE_TYPE && info.uiInfoSize == INFO_HEADER_SIZE &&
           info.uiCompression == 0;
}

// The limit on the width keeps the length of a row within 32 bits; a height beyond 31 bits is a negative one.
static bool IsLoadable(const GUIBITMAP_FILEHEADER& file, const GUIBITMAP_INFOHEADER& info) {
    return IsPlainBmp(file, info) &&
           (info.usBitCount == 1 || info.usBitCount == 8 || info.usBitCount == 24) &&
           info.uiImgWidth <= GUIIMAGE_SIDE_LIMIT && info.uiImgHeight <= INT32_MAX;
}

// False for the end of the file and beyond.
static bool IsInFile(int iFd, uint32_t uiOffset) {
    const off_t iEnd = lseek(iFd, 0, SEEK_END);
    return iEnd > 0 && uiOffset < static_cast<uint64_t>(iEnd);
}

// ---- Colour table ----

static GUIPALETTE* ReadColorTable(int iFd) {
    GUIBITMAP_FILEHEADER file = {};
    GUIBITMAP_INFOHEADER info = {};
    if (!ReadHeaders(iFd, &file, &info) || !IsPlainBmp(file, info) || info.usBitCount > 8)
        return nullptr;
    GUIPALETTE* pPalette = CreatePalette(1 << info.usBitCount);
    if (pPalette == nullptr)
        return nullptr;
    GUIBITMAP_RGBQUAD table[GUIPALETTE_LIMIT] = {};
    const size_t uiSize = static_cast<size_t>(pPalette->iPalLength) * sizeof(GUIBITMAP_RGBQUAD);
    if (lseek(iFd, COLOR_TABLE_OFFSET, SEEK_SET) < 0 ||
        !ReadExactly(iFd, reinterpret_cast<uint8_t*>(table), uiSize)) {
        DestroyPalette(&pPalette);
        return nullptr;
    }
    for (int i = 0; i < pPalette->iPalLength; ++i) {
        pPalette->pRedValue[i] = table[i].ucRed;
        pPalette->pGreenValue[i] = table[i].ucGreen;
        pPalette->pBlueValue[i] = table[i].ucBlue;
    }
    return pPalette;
}

static int OpenBitmap(GUIBITMAP* pBitmapObj) {
    pBitmapObj->iBitmapFd = open(pBitmapObj->strBitmapFile, O_RDONLY | O_CLOEXEC);
    return pBitmapObj->iBitmapFd;
}

static void CloseBitmap(GUIBITMAP* pBitmapObj) {
    close(pBitmapObj->iBitmapFd);
    pBitmapObj->iBitmapFd = -1;
}

GUIPALETTE* ReadBitmapPalette(GUIBITMAP* pBitmapObj) {
    if (pBitmapObj == nullptr || pBitmapObj->strBitmapFile == nullptr)
        return nullptr;
    if (pBitmapObj->iBitmapFd >= 0)
        return ReadColorTable(pBitmapObj->iBitmapFd);
    if (OpenBitmap(pBitmapObj) < 0)
        return nullptr;
    GUIPALETTE* pPalette = ReadColorTable(pBitmapObj->iBitmapFd);
    CloseBitmap(pBitmapObj);
    return pPalette;
}

// ---- Loading ----

static void FitView(unsigned uiSide, unsigned* pView) {
    if (*pView == 0 || *pView > uiSide)
        *pView = uiSide;
}

static COLOR PaletteColor(const GUIPALETTE* pPalette, int iEntry) {
    return MakeColor(pPalette->pRedValue[iEntry], pPalette->pGreenValue[iEntry],
                     pPalette->pBlueValue[iEntry]);
}

// Gives an image of 1 or 8 bits the colours of the file. -7 if they cannot be read.
static int LoadColors(GUIBITMAP* pBitmapObj, GUIIMAGE* pImage) {
    GUIPALETTE* pPalette = ReadBitmapPalette(pBitmapObj);
    if (pPalette == nullptr)
        return -7;
    if (pImage->uiImgDepth == 8) {
        pImage->pRefPal = pPalette;
        return 0;
    }
    SetImageColor(PaletteColor(pPalette, 1), PaletteColor(pPalette, 0), pImage);
    DestroyPalette(&pPalette);
    return 0;
}

// Turns the rows, bottom first in the file, top first in the image; of a taller picture the first ones are
// kept. The first one starts within the file.
static int LoadRows(int iFd, const GUIBITMAP_INFOHEADER& info, uint32_t uiDataOffset, GUIIMAGE* pImage) {
    const unsigned uiFileRow = (info.usBitCount * info.uiImgWidth + 31) / 32 * 4;
    const unsigned uiImageRow = ImageRowBytes(pImage->uiImgWidth, pImage->uiImgDepth);
    // A file that ends early is not detected: a row keeps what the buffer held, which is the row before, or
    // zeros.
    uint8_t* pRow = static_cast<uint8_t*>(calloc(uiFileRow, 1));
    if (pRow == nullptr)
        return -8;
    const bool bReached = lseek(iFd, static_cast<off_t>(uiDataOffset), SEEK_SET) >= 0;
    if (bReached) {
        for (unsigned i = pImage->uiImgHeight; i > 0; --i) {
            [[maybe_unused]] const ssize_t iRead = read(iFd, pRow, uiFileRow);
            memcpy(pImage->pImgData + static_cast<size_t>(i - 1) * uiImageRow, pRow, uiImageRow);
        }
    }
    free(pRow);
    return bReached ? 0 : -9;
}

static void ReleaseImage(GUIIMAGE** ppImage) {
    DestroyPalette(&(*ppImage)->pRefPal);
    DestroyImage(ppImage);
}

// Loads the opened file into a new image.
static int LoadImage(GUIBITMAP* pBitmapObj, GUIIMAGE** ppImage) {
    GUIBITMAP_FILEHEADER file = {};
    GUIBITMAP_INFOHEADER info = {};
    if (!ReadHeaders(pBitmapObj->iBitmapFd, &file, &info))
        return -4;
    if (!IsLoadable(file, info))
        return -5;
    FitView(info.uiImgWidth, &pBitmapObj->uiViewWidth);
    FitView(info.uiImgHeight, &pBitmapObj->uiViewHeight);
    GUIIMAGE* pImage = CreateImage(pBitmapObj->uiViewWidth, pBitmapObj->uiViewHeight, info.usBitCount);
    if (pImage == nullptr)
        return -6;
    SetImagePlace(pBitmapObj->uiPlaceX, pBitmapObj->uiPlaceY, pImage);
    int iResult = info.usBitCount <= 8 ? LoadColors(pBitmapObj, pImage) : 0;
    // Not before the colour table: a file that is cut within it lacks the table first.
    if (iResult == 0 && !IsInFile(pBitmapObj->iBitmapFd, file.uiDataOffset))
        iResult = -5;
    if (iResult == 0)
        iResult = LoadRows(pBitmapObj->iBitmapFd, info, file.uiDataOffset, pImage);
    if (iResult != 0)
        ReleaseImage(&pImage);
    *ppImage = pImage;
    return iResult;
}

int LoadBitmapImage(GUIBITMAP* pBitmapObj) {
    if (pBitmapObj == nullptr)
        return -1;
    if (pBitmapObj->strBitmapFile == nullptr || pBitmapObj->pBitmapImg != nullptr)
        return -2;
    if (OpenBitmap(pBitmapObj) < 0)
        return -3;
    const int iResult = LoadImage(pBitmapObj, &pBitmapObj->pBitmapImg);
    CloseBitmap(pBitmapObj);
    return iResult;
}

int UnloadBitmapImage(GUIBITMAP* pBitmapObj) {
    if (pBitmapObj == nullptr)
        return -1;
    if (pBitmapObj->pBitmapImg == nullptr)
        return -2;
    ReleaseImage(&pBitmapObj->pBitmapImg);
    return 0;
}

// ---- Bitmaps ----

GUIBITMAP* CreateBitmap(const char* strBitmapFile, unsigned uiPlaceX, unsigned uiPlaceY) {
    if (strBitmapFile == nullptr)
        return nullptr;
    GUIBITMAP* pBitmapObj = static_cast<GUIBITMAP*>(malloc(sizeof(GUIBITMAP)));
    if (pBitmapObj == nullptr)
        return nullptr;
    *pBitmapObj = {strdup(strBitmapFile), -1, 0, 0, uiPlaceX, uiPlaceY, nullptr};
    if (pBitmapObj->strBitmapFile == nullptr) {
        free(pBitmapObj);
        return nullptr;
    }
    return pBitmapObj;
}

int SetBitmapView(unsigned uiViewWidth, unsigned uiViewHeight, GUIBITMAP* pBitmapObj) {
    if (pBitmapObj == nullptr)
        return -1;
    if (pBitmapObj->pBitmapImg != nullptr && UnloadBitmapImage(pBitmapObj) != 0)
        return -2;
    pBitmapObj->uiViewWidth = uiViewWidth;
    pBitmapObj->uiViewHeight = uiViewHeight;
    return 0;
}

int SetBitmapPlace(unsigned uiPlaceX, unsigned uiPlaceY, GUIBITMAP* pBitmapObj) {
    if (pBitmapObj == nullptr)
        return -1;
    pBitmapObj->uiPlaceX = uiPlaceX;
    pBitmapObj->uiPlaceY = uiPlaceY;
    if (pBitmapObj->pBitmapImg != nullptr && SetImagePlace(uiPlaceX, uiPlaceY, pBitmapObj->pBitmapImg) != 0)
        return -2;
    return 0;
}

int DisplayBitmap(GUIBITMAP* pBitmapObj) {
    if (pBitmapObj == nullptr)
        return -1;
    if (pBitmapObj->pBitmapImg == nullptr && LoadBitmapImage(pBitmapObj) != 0)
        return -2;
    return DisplayImage(pBitmapObj->pBitmapImg) == 0 ? 0 : -3;
}

int DestroyBitmap(GUIBITMAP** ppBitmapObj) {
    if (ppBitmapObj == nullptr)
        return -1;
    if (*ppBitmapObj == nullptr)
        return -2;
    if ((*ppBitmapObj)->pBitmapImg != nullptr && UnloadBitmapImage(*ppBitmapObj) != 0)
        return -3;
    free((*ppBitmapObj)->strBitmapFile);
    free(*ppBitmapObj);
    *ppBitmapObj = nullptr;
    return 0;
}
