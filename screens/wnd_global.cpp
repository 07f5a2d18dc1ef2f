#include "screens/wnd_global.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "device/common_opt.h"
#include "gui/guidraw.h"
#include "gui/guifbmap.h"
#include "gui/guischeduler.h"
#include "measure/common_opm.h"

uint16_t* pScreenBmpBuff = nullptr;

// ---- Window messages ----

static int SendWindowMessage(int iMsgType, int iMsgCode, GUIWINDOW* pWndObj) {
    return SendMessage(iMsgType, iMsgCode, reinterpret_cast<uintptr_t>(pWndObj));
}

// -1, the window freed, if it cannot be posted.
static int PostCall(GUIWINDOW* pWndObj) {
    if (SendWindowMessage(GUIMESSAGE_TYP_SCHED, GUIMESSAGE_SCH_CALL, pWndObj) == 0)
        return 0;
    DestroyWindow(&pWndObj);
    return -1;
}

int SendMsg_CallWindow(GUIWINDOW* pWndObj) {
    PostCall(pWndObj);
    return 0;
}

int SendMsg_ExitWindow(GUIWINDOW* pWndObj) {
    SendWindowMessage(GUIMESSAGE_TYP_WND, GUIMESSAGE_WND_EXIT, pWndObj);
    return 0;
}

int SendMsg_EnableLoop(GUIWINDOW* pWndObj) {
    SendWindowMessage(GUIMESSAGE_TYP_WND, GUIMESSAGE_LOOP_ENABLE, pWndObj);
    return 0;
}

int SendMsg_DisableLoop(GUIWINDOW* pWndObj) {
    SendWindowMessage(GUIMESSAGE_TYP_WND, GUIMESSAGE_LOOP_DISABLE, pWndObj);
    return 0;
}

static GUIWINDOW* CreateScreenWindow(const SCREEN_ENTRY& Target) {
    return CreateWindow(0, 0, SCREEN_WIDTH, SCREEN_HEIGHT, Target.fnInit, Target.fnExit, Target.fnPaint,
                        Target.fnLoop, nullptr);
}

int CallScreen(const SCREEN_ENTRY& Target) {
    GUIWINDOW* pWndObj = CreateScreenWindow(Target);
    return pWndObj == nullptr ? -1 : PostCall(pWndObj);
}

int SwitchScreen(GUIWINDOW* pCurrent, const SCREEN_ENTRY& Target) {
    return ChangeWindow(pCurrent, CreateScreenWindow(Target));
}

// ---- Entry points and handlers that many screens share ----

int ScreenIdle(void*) {
    return 0;
}

int ScreenLoopOnce(void* pWndObj) {
    return SendMsg_DisableLoop(static_cast<GUIWINDOW*>(pWndObj));
}

int NoAction(void*, int, void*, int) {
    return 0;
}

// ---- Buttons ----

int ShowPicture(GUIPICTURE* pPicObj) {
    if (pPicObj == nullptr)
        return -1;
    if (LoadVisibleFlag(&pPicObj->Visible.iEnable) != 0)
        return DisplayPicture(pPicObj);
    // Enabling it for the moment would let a touch through.
    if (pPicObj->pPicBitmap == nullptr)
        return -2;
    return DisplayBitmap(pPicObj->pPicBitmap) == 0 ? 0 : -3;
}

int ShowLabel(GUILABEL* pLblObj, COLOR uiColor) {
    GUIFONT* pFont = GetCurrFont();
    if (uiColor == COLOR_NONE || pFont == nullptr)
        return DisplayLabel(pLblObj);
    const COLOR uiOldFg = pFont->uiFgColor;
    const COLOR uiOldBg = pFont->uiBgColor;
    SetFontColor(uiColor, COLOR_NONE, pFont);
    const int iResult = DisplayLabel(pLblObj);
    SetFontColor(uiOldFg, uiOldBg, pFont);
    return iResult;
}

int ShowLook(GUIPICTURE* pPicObj, GUILABEL* pLblObj, const char* pBitmap, COLOR uiCaption) {
    SetPictureBitmap(pBitmap, pPicObj);
    ShowPicture(pPicObj);
    ShowLabel(pLblObj, uiCaption);
    return 0;
}

int ShowBtn_Enable(GUIPICTURE* pBtn, GUILABEL* pLbl) {
    return ShowLook(pBtn, pLbl, BMP_BTN_ENABLE, COLOR_NONE);
}

int ShowBtn_Disable(GUIPICTURE* pBtn, GUILABEL* pLbl) {
    return ShowLook(pBtn, pLbl, BMP_BTN_DISABLE, COLOR_NONE);
}

int ShowBtn_FuncDown(GUIPICTURE* pBtnFx, GUILABEL* pLblFx) {
    return ShowLook(pBtnFx, pLblFx, BMP_BTN_ACTIVE, COLOR_CAPTION_PRESSED);
}

int ShowBtn_FuncUp(GUIPICTURE* pBtnFx, GUILABEL* pLblFx) {
    printf("%s    %d\n", "ShowBtn_FuncUp", 203);
    ShowBtn_Enable(pBtnFx, pLblFx);
    printf("%s    %d\n", "ShowBtn_FuncUp", 208);
    return 0;
}

// ---- Texts ----

int FillArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY, COLOR uiColor) {
    GUIPEN* pPen = GetCurrPen();
    if (pPen == nullptr)
        return DrawBlock(uiStartX, uiStartY, uiEndX, uiEndY);  // says which of the drawing objects is missing
    const COLOR uiOldColor = pPen->uiPenColor;
    pPen->uiPenColor = uiColor;
    const int iResult = DrawBlock(uiStartX, uiStartY, uiEndX, uiEndY);
    pPen->uiPenColor = uiOldColor;
    return iResult;
}

static int FillBlack(const GUIRECTANGLE& Area) {
    return FillArea(Area.Start.x, Area.Start.y, Area.End.x, Area.End.y, 0);
}

int ShowBackground(GUIPICTURE* pBackGround) {
    if (pBackGround != nullptr && DisplayPicture(pBackGround) != 0)
        FillBlack(pBackGround->Visible.Area);
    return 0;
}

static void WipeLabel(const GUILABEL* pLabel, GUIPICTURE* pBackGround) {
    if (pBackGround == nullptr)
        FillBlack(pLabel->Visible.Area);
    else
        ShowBackground(pBackGround);
}

int UpdateLabelRes(const GUICHAR* pTargetStr, GUILABEL* pTargetLbl, GUIPICTURE* pBackGround) {
    if (pTargetStr == nullptr || pTargetLbl == nullptr)
        return -1;
    WipeLabel(pTargetLbl, pBackGround);
    if (LoadVisibleFlag(&pTargetLbl->Visible.iEnable) == 0)
        return -2;
    // The text from before would be taken for this one's.
    if (SetLabelText(pTargetStr, pTargetLbl) != 0) {
        DestroyText(&pTargetLbl->pLblText);
        return -3;
    }
    DisplayLabel(pTargetLbl);
    return 0;
}

int UpdateLabelText(GUICHAR** ppStr, const char* pText, GUILABEL* pTargetLbl, GUIPICTURE* pBackGround) {
    if (ppStr == nullptr || pText == nullptr || pTargetLbl == nullptr)
        return -1;
    free(*ppStr);
    *ppStr = TransString(pText);
    if (*ppStr != nullptr)
        return UpdateLabelRes(*ppStr, pTargetLbl, pBackGround);
    WipeLabel(pTargetLbl, pBackGround);
    DestroyText(&pTargetLbl->pLblText);
    return -3;
}

void UseLabelFont(GUIFONT* pFont, GUILABEL* pLabel) {
    if (pLabel != nullptr)
        pLabel->pLblFont = pFont;
}

int UpdateLabelVerdict(GUICHAR** ppStr, const char* pText, GUIFONT* pFont, GUILABEL* pTargetLbl,
                       GUIPICTURE* pBackGround) {
    UseLabelFont(pFont, pTargetLbl);
    return UpdateLabelText(ppStr, pText, pTargetLbl, pBackGround);
}

// ---- Screen rectangle ----

enum COPY_DIRECTION { COPY_SAVE, COPY_RESTORE };

// First pixel and number of pixels, of a stretch of iCount pixels at iStart, that lie within 0 to uiLimit
// - 1.
struct STRETCH {
    unsigned uiStart;
    unsigned uiCount;
};

static STRETCH ClipStretch(int64_t iStart, int64_t iCount, unsigned uiLimit) {
    const int64_t iFirst = iStart > 0 ? iStart : 0;
    const int64_t iEnd = iStart + iCount < uiLimit ? iStart + iCount : uiLimit;
    if (iEnd <= iFirst)
        return {0, 0};
    return {static_cast<unsigned>(iFirst), static_cast<unsigned>(iEnd - iFirst)};
}

// The rows lie one after the other in pScreenBmpBuff.
static void CopyRectangle(COPY_DIRECTION Direction, int iX, int iY, int iWidth, int iHeight) {
    const GUIFBMAP* pFbmap = GetCurrFbmap();
    if (pFbmap == nullptr || pScreenBmpBuff == nullptr)
        return;
    const STRETCH Columns = ClipStretch(iX, iWidth, pFbmap->uiHorRes);
    const STRETCH Rows = ClipStretch(iY, iHeight, pFbmap->uiVerRes);
    const size_t uiRowSize = static_cast<size_t>(Columns.uiCount) * (pFbmap->uiPixelBits / 8);
    uint8_t* pSaved = reinterpret_cast<uint8_t*>(pScreenBmpBuff);
    const uint8_t* pSavedEnd = pSaved + SCREEN_BUFFER_SIZE;
    for (unsigned uiRow = 0; uiRow < Rows.uiCount && uiRowSize <= size_t(pSavedEnd - pSaved); ++uiRow) {
        uint8_t* pScreen = FbmapPixel(pFbmap, Columns.uiStart, Rows.uiStart + uiRow);
        if (Direction == COPY_SAVE)
            memcpy(pSaved, pScreen, uiRowSize);
        else
            memcpy(pScreen, pSaved, uiRowSize);
        pSaved += uiRowSize;
    }
}

static int CopyCoverRes(COPY_DIRECTION Direction, const GUIPICTURE* pExBmpRes, int iStartX, int iStartY,
                        int iHeight, int iWidth) {
    if (pExBmpRes != nullptr) {
        const GUIRECTANGLE& Area = pExBmpRes->Visible.Area;
        iStartX = static_cast<int>(Area.Start.x);
        iStartY = static_cast<int>(Area.Start.y);
        iWidth = static_cast<int>(Area.End.x + 1 - Area.Start.x);
        iHeight = static_cast<int>(Area.End.y + 1 - Area.Start.y);
    }
    printf("-%d-----x = %d, y = %d, w = %d, h = %d \n", Direction == COPY_SAVE ? 1 : 2, iStartX, iStartY,
           iWidth, iHeight);
    CopyRectangle(Direction, iStartX, iStartY, iWidth, iHeight);
    return 0;
}

int SaveExBmpCoverRes(const GUIPICTURE* pExBmpRes, int iStartX, int iStartY, int iHeight, int iWidth) {
    return CopyCoverRes(COPY_SAVE, pExBmpRes, iStartX, iStartY, iHeight, iWidth);
}

int ReplaceExBmpCoverRes(const GUIPICTURE* pExBmpRes, int iStartX, int iStartY, int iHeight, int iWidth) {
    return CopyCoverRes(COPY_RESTORE, pExBmpRes, iStartX, iStartY, iHeight, iWidth);
}

// ---- Status bar ----

int ShowSta_CurrDate(GUILABEL*) {
    return 0;
}

int ShowSta_CurrTime(GUILABEL*) {
    return 0;
}

int ShowSta_LcdLight(GUILABEL*) {
    return 0;
}

int ShowSta_PowerInfo(GUIPICTURE*) {
    return 0;
}

// ---- Measurement board ----

bool IsBoardConnected() {
    MutexLock(&OPMGUIShare.mutex);
    const bool bConnected = OPMGUIShare.usIsConnect != 0;
    MutexUnlock(&OPMGUIShare.mutex);
    return bConnected;
}

bool ConnectBoard(THREADFUNC fnToggle) {
    fnToggle(nullptr);
    MutexLock(&OPMGUIShare.mutex);
    const bool bConnected = OPMGUIShare.usIsConnect == 1;
    if (!bConnected)
        OPMGUIShare.usDoneFlag = 0;
    MutexUnlock(&OPMGUIShare.mutex);
    return bConnected;
}

// ---- Optical module ----

bool IsModuleOpen(int (*fnSetInfo)(const char* pInfo)) {
    if (opticFD >= 0)
        return true;
    fnSetInfo(OpmErrorText(OPM_ERR_DEV_OPEN));
    return false;
}

// ---- Waits ----

int WaitUnlessExit(unsigned uiMsec) {
    constexpr unsigned STEP_MS = 100;
    for (; uiMsec > 0 && GetExitFlag() != 1; uiMsec -= uiMsec < STEP_MS ? uiMsec : STEP_MS)
        MsecSleep(uiMsec < STEP_MS ? uiMsec : STEP_MS);
    return GetExitFlag() == 1 ? -1 : 0;
}
