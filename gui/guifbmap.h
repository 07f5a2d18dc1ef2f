// The framebuffer device, mapped into memory. All drawing goes to the current map's buffer.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "gui/guibase.h"

// How the device is mapped.
enum {
    GUIFBMAP_DIRECT = 1,    // drawing writes straight into the mapping
    GUIFBMAP_BUFFERED = 2,  // drawing writes a private buffer that a flush copies to the mapping
    GUIFBMAP_SHARED = 3,    // as GUIFBMAP_DIRECT
};

struct GUIFBMAP {
    int iDevFd;
    int iDevType;          // GUIFBMAP_DIRECT, GUIFBMAP_BUFFERED or GUIFBMAP_SHARED
    unsigned uiMapOffset;  // where the frame buffer starts within its page
    unsigned uiMapLength;  // bytes mapped
    uint8_t* pFbEntry;     // start of the mapping
    unsigned uiBufSize;    // bytes of the drawable buffer
    unsigned uiPixelBits;  // 8, 16, 24 or 32
    unsigned uiRedBits;    // bit fields as the device tells them; the colour conversion does not read them
    unsigned uiRedShift;
    unsigned uiGreenBits;
    unsigned uiGreenShift;
    unsigned uiBlueBits;
    unsigned uiBlueShift;
    unsigned uiHorRes;  // visible pixels of the device; also the length of a line in memory
    unsigned uiVerRes;
    unsigned uiHorDisp;  // display area that the creator asked for
    unsigned uiVerDisp;
    unsigned uiHorOff;  // offsets that would centre the display area; recorded only
    unsigned uiVerOff;
    int iSyncFlag;      // 1: a flush is requested; set under Mutex
    uint8_t* pMapBuff;  // what drawing writes: pFbEntry, or the private buffer of GUIFBMAP_BUFFERED
    THREADFUNC fnFbThread;
    GUIMUTEX Mutex;  // guards iSyncFlag and the flush
};

// Opens and maps a framebuffer device of at least uiHorDisp x uiVerDisp pixels and 8, 16 (RGB565 only), 24 or
// 32 bits. fnFbThread is the body of the flush thread; it is stored, not started. Null, with nothing left
// open, mapped or allocated, on a null name or thread, a device that cannot be opened, read or mapped,
// another pixel format, a device that is too small, an unknown iDevType, or when memory is short. The caller
// frees the map with DestroyFbmap.
GUIFBMAP* CreateFbmap(const char* strDevName, int iDevType, unsigned uiHorDisp, unsigned uiVerDisp,
                      THREADFUNC fnFbThread);
// Unmaps, closes and frees, and nulls the caller's pointer. -1, -2 on a null argument or map. The map is
// gone, but -4 if the device's close failed, else -3 if the unmapping failed.
int DestroyFbmap(GUIFBMAP** ppFbmapObj);

GUIFBMAP* GetCurrFbmap();
// -1 on null, the current map is kept.
int SetCurrFbmap(GUIFBMAP* pFbmapObj);

// One flush step: if a flush is requested, copies the private buffer (GUIFBMAP_BUFFERED) to the screen and
// clears the request. Returns 0.
int CustomFbmapFunc(GUIFBMAP* pFbmapObj);
// Body of the flush thread: a flush step every 50 ms until the exit flag is 1. The argument is the GUIFBMAP.
void* DefaultFbThread(void* pThreadArg);

// Bytes from one line to the next in pMapBuff.
static inline size_t FbmapStride(const GUIFBMAP* pFbmapObj) {
    return static_cast<size_t>(pFbmapObj->uiHorRes) * (pFbmapObj->uiPixelBits / 8);
}
// Where the pixel (x, y) lies in pMapBuff.
static inline uint8_t* FbmapPixel(const GUIFBMAP* pFbmapObj, unsigned uiPixelX, unsigned uiPixelY) {
    return pFbmapObj->pMapBuff + uiPixelY * FbmapStride(pFbmapObj) +
           static_cast<size_t>(uiPixelX) * (pFbmapObj->uiPixelBits / 8);
}
