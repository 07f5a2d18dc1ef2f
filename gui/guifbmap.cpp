#include "gui/guifbmap.h"

#include <fcntl.h>
#include <linux/fb.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "gui/guiobj.h"
#include "gui/guischeduler.h"

static_assert(FBIOGET_FSCREENINFO == 0x4602 && FBIOGET_VSCREENINFO == 0x4600, "as the driver knows them");

static const unsigned long FLUSH_PERIOD_MS = 50;

static GUIFBMAP* pCurrFbmap = nullptr;

// Releases whatever the map holds, made whole or in part. -4 if the close failed, else -3 if the unmapping
// failed.
static int ReleaseFbmap(GUIFBMAP* pFbmapObj) {
    if (pFbmapObj->iDevType == GUIFBMAP_BUFFERED)
        free(pFbmapObj->pMapBuff);
    const bool bMapped = pFbmapObj->pFbEntry != nullptr;
    const bool bUnmapped = !bMapped || munmap(pFbmapObj->pFbEntry, pFbmapObj->uiMapLength) == 0;
    const bool bClosed = pFbmapObj->iDevFd < 0 || close(pFbmapObj->iDevFd) == 0;
    free(pFbmapObj);
    if (!bClosed)
        return -4;
    return bUnmapped ? 0 : -3;
}

static bool MapDevice(const fb_fix_screeninfo& fixed, GUIFBMAP* pFbmapObj) {
    const long iPage = sysconf(_SC_PAGESIZE);
    if (iPage <= 0)
        return false;
    pFbmapObj->uiMapOffset = static_cast<unsigned>(fixed.smem_start & static_cast<unsigned long>(iPage - 1));
    if (fixed.smem_len > UINT32_MAX - pFbmapObj->uiMapOffset)
        return false;
    pFbmapObj->uiMapLength = pFbmapObj->uiMapOffset + fixed.smem_len;
    void* pEntry = mmap(nullptr, pFbmapObj->uiMapLength, PROT_READ | PROT_WRITE, MAP_SHARED,
                        pFbmapObj->iDevFd, static_cast<off_t>(pFbmapObj->uiMapOffset));
    if (pEntry == MAP_FAILED)
        return false;
    pFbmapObj->pFbEntry = static_cast<uint8_t*>(pEntry);
    return true;
}

static bool IsField(const fb_bitfield& field, unsigned uiShift, unsigned uiBits) {
    return field.offset == uiShift && field.length == uiBits;
}

static bool IsDrawableFormat(const fb_var_screeninfo& variable) {
    if (variable.bits_per_pixel == 16)
        return IsField(variable.red, 11, 5) && IsField(variable.green, 5, 6) && IsField(variable.blue, 0, 5);
    return variable.bits_per_pixel == 8 || variable.bits_per_pixel == 24 || variable.bits_per_pixel == 32;
}

// A device whose memory does not hold its own resolution would have drawing write outside the mapping.
static bool IsLargeEnough(const fb_fix_screeninfo& fixed, const fb_var_screeninfo& variable,
                          unsigned uiHorDisp, unsigned uiVerDisp) {
    if (variable.xres < uiHorDisp || variable.yres < uiVerDisp)
        return false;
    const uint64_t ulPixels = static_cast<uint64_t>(variable.xres) * variable.yres;
    return ulPixels <= fixed.smem_len / (variable.bits_per_pixel / 8);
}

static void StoreScreen(const fb_fix_screeninfo& fixed, const fb_var_screeninfo& variable, unsigned uiHorDisp,
                        unsigned uiVerDisp, GUIFBMAP* pFbmapObj) {
    pFbmapObj->uiBufSize = fixed.smem_len;
    pFbmapObj->uiPixelBits = variable.bits_per_pixel;
    pFbmapObj->uiRedBits = variable.red.length;
    pFbmapObj->uiRedShift = variable.red.offset;
    pFbmapObj->uiGreenBits = variable.green.length;
    pFbmapObj->uiGreenShift = variable.green.offset;
    pFbmapObj->uiBlueBits = variable.blue.length;
    pFbmapObj->uiBlueShift = variable.blue.offset;
    pFbmapObj->uiHorRes = variable.xres;
    pFbmapObj->uiVerRes = variable.yres;
    pFbmapObj->uiHorDisp = uiHorDisp;
    pFbmapObj->uiVerDisp = uiVerDisp;
    pFbmapObj->uiHorOff = (variable.xres - uiHorDisp) / 2;
    pFbmapObj->uiVerOff = (variable.yres - uiVerDisp) / 2;
    pFbmapObj->iSyncFlag = 0;
}

static bool ChooseBuffer(GUIFBMAP* pFbmapObj) {
    switch (pFbmapObj->iDevType) {
        case GUIFBMAP_DIRECT:
        case GUIFBMAP_SHARED:
            pFbmapObj->pMapBuff = pFbmapObj->pFbEntry;
            return true;
        case GUIFBMAP_BUFFERED:
            // Cleared: the first flush shows the parts that nobody drew as well.
            pFbmapObj->pMapBuff = static_cast<uint8_t*>(calloc(pFbmapObj->uiBufSize, 1));
            return pFbmapObj->pMapBuff != nullptr;
        default:
            return false;
    }
}

static bool OpenFbmap(const char* strDevName, unsigned uiHorDisp, unsigned uiVerDisp, GUIFBMAP* pFbmapObj) {
    pFbmapObj->iDevFd = open(strDevName, O_RDWR | O_CLOEXEC);
    if (pFbmapObj->iDevFd < 0)
        return false;
    fb_fix_screeninfo fixed = {};
    fb_var_screeninfo variable = {};
    if (ioctl(pFbmapObj->iDevFd, FBIOGET_FSCREENINFO, &fixed) < 0 ||
        ioctl(pFbmapObj->iDevFd, FBIOGET_VSCREENINFO, &variable) < 0)
        return false;
    if (!MapDevice(fixed, pFbmapObj) || !IsDrawableFormat(variable) ||
        !IsLargeEnough(fixed, variable, uiHorDisp, uiVerDisp))
        return false;
    StoreScreen(fixed, variable, uiHorDisp, uiVerDisp, pFbmapObj);
    return ChooseBuffer(pFbmapObj) && InitMutex(&pFbmapObj->Mutex) == 0;
}

GUIFBMAP* CreateFbmap(const char* strDevName, int iDevType, unsigned uiHorDisp, unsigned uiVerDisp,
                      THREADFUNC fnFbThread) {
    if (strDevName == nullptr || fnFbThread == nullptr)
        return nullptr;
    GUIFBMAP* pFbmapObj = static_cast<GUIFBMAP*>(calloc(1, sizeof(GUIFBMAP)));
    if (pFbmapObj == nullptr)
        return nullptr;
    pFbmapObj->iDevFd = -1;
    pFbmapObj->iDevType = iDevType;
    pFbmapObj->fnFbThread = fnFbThread;
    if (!OpenFbmap(strDevName, uiHorDisp, uiVerDisp, pFbmapObj)) {
        ReleaseFbmap(pFbmapObj);
        return nullptr;
    }
    return pFbmapObj;
}

int DestroyFbmap(GUIFBMAP** ppFbmapObj) {
    if (ppFbmapObj == nullptr)
        return -1;
    if (*ppFbmapObj == nullptr)
        return -2;
    DropCurr(&pCurrFbmap, *ppFbmapObj);
    DestroyMutex(&(*ppFbmapObj)->Mutex);
    const int iResult = ReleaseFbmap(*ppFbmapObj);
    *ppFbmapObj = nullptr;
    return iResult;
}

GUIFBMAP* GetCurrFbmap() {
    return LoadCurr(&pCurrFbmap);
}

int SetCurrFbmap(GUIFBMAP* pFbmapObj) {
    return StoreCurr(&pCurrFbmap, pFbmapObj);
}

int CustomFbmapFunc(GUIFBMAP* pFbmapObj) {
    if (pFbmapObj == nullptr)
        return 0;
    MutexLock(&pFbmapObj->Mutex);
    if (pFbmapObj->iSyncFlag == 1) {
        if (pFbmapObj->iDevType == GUIFBMAP_BUFFERED)
            memcpy(pFbmapObj->pFbEntry, pFbmapObj->pMapBuff, pFbmapObj->uiBufSize);
        pFbmapObj->iSyncFlag = 0;
    }
    MutexUnlock(&pFbmapObj->Mutex);
    return 0;
}

void* DefaultFbThread(void* pThreadArg) {
    static int iThreadReturn = 0;
    while (GetExitFlag() != 1) {
        CustomFbmapFunc(static_cast<GUIFBMAP*>(pThreadArg));
        MsecSleep(FLUSH_PERIOD_MS);
    }
    ThreadExit(&iThreadReturn);
}
