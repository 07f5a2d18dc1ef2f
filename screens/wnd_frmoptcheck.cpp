#include "screens/wnd_frmoptcheck.h"

#include <stdio.h>

#include "measure/apd.h"
#include "measure/fiber_offset.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_screen.h"

constexpr int LINES = 2;

static GUIWINDOW* pFrmOptcheck = nullptr;

static GUICHAR* pOptcheckStrData[LINES] = {};
static GUICHAR* pOptcheckStrInfo = nullptr;

static GUIPICTURE* pOptcheckBarStatus = nullptr;
static GUIPICTURE* pOptcheckBgDesk = nullptr;
static GUIPICTURE* pOptcheckBarInfo = nullptr;
static GUIPICTURE* pOptcheckPicData = nullptr;
static GUIPICTURE* pOptcheckBtnCheck = nullptr;
static GUIPICTURE* pOptcheckBtnDev = nullptr;
static GUIPICTURE* pOptcheckBtnBack = nullptr;

static GUILABEL* pOptcheckLblTitle = nullptr;
static GUILABEL* pOptcheckLblCheck = nullptr;
static GUILABEL* pOptcheckLblDev = nullptr;
static GUILABEL* pOptcheckLblData[LINES] = {};
static GUILABEL* pOptcheckLblInfo = nullptr;

static const SCREEN_BUTTON ActionButtons[] = {
    {&pOptcheckBtnCheck, &pOptcheckLblCheck},
    {&pOptcheckBtnDev, &pOptcheckLblDev},
};

// ---- Texts ----

int FrmOptcheckSetDataInfo(const char* pInfo, int iLine) {
    return ShowDataLine({pOptcheckStrData, pOptcheckLblData, LINES}, pInfo, iLine);
}

int FrmOptcheckSetInfo(const char* pInfo) {
    static const SCREEN_INFO_LINE InfoLine = {&pOptcheckStrInfo, &pOptcheckLblInfo, &pOptcheckBarInfo,
                                              &pOptcheckBtnBack};
    return ShowInfoLine(InfoLine, pInfo);
}

// ---- Light path ----

// Word for a result of LightRoadJust; null for the other results, which have none.
static const char* ResultWord(int32_t iResult) {
    static const char* const Words[] = {"bad", "stop", "good"};
    return iResult >= -1 && iResult <= 1 ? Words[iResult + 1] : nullptr;
}

static void CheckLightPath() {
    char strFirst[40] = "";
    char strLine[100] = "";
    const char* pWord = ResultWord(LightRoadJust(WAVE_LEN_1310));
    if (pWord != nullptr)
        snprintf(strFirst, sizeof(strFirst), "1310 Optical check %s", pWord);
    snprintf(strLine, sizeof(strLine), "%s, checking 1550", strFirst);
    FrmOptcheckSetDataInfo(strLine, 1);
    pWord = ResultWord(LightRoadJust(WAVE_LEN_1550));
    if (pWord == nullptr)
        return;
    snprintf(strLine, sizeof(strLine), "%s     1550 Optical check %s     check over!!!", strFirst, pWord);
    FrmOptcheckSetDataInfo(strLine, 1);
}

static int OptcheckBtnCheck_Down(void*, int, void*, int) {
    ShowBtn_FuncDown(pOptcheckBtnCheck, pOptcheckLblCheck);
    return FrmOptcheckSetInfo("Optical check start,please wait......");
}

static int OptcheckBtnCheck_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pOptcheckBtnCheck, pOptcheckLblCheck);
    if (!IsModuleOpen(FrmOptcheckSetInfo))
        return 0;
    SetGroup(Table(ActionButtons), false);
    CheckLightPath();
    SetGroup(Table(ActionButtons), true);
    return 0;
}

// ---- Fibre-length offset ----

static int OptcheckBtnDev_Down(void*, int, void*, int) {
    ShowBtn_FuncDown(pOptcheckBtnDev, pOptcheckLblDev);
    return FrmOptcheckSetInfo("Deviation adjust start,please wait......");
}

static int OptcheckBtnDev_Up(void*, int, void*, int) {
    char strLine[256] = "";
    char strResult[128] = "";
    ShowBtn_FuncUp(pOptcheckBtnDev, pOptcheckLblDev);
    if (!IsModuleOpen(FrmOptcheckSetInfo))
        return 0;
    const int iOffset = CalExFiberLen(strResult);
    snprintf(strLine, sizeof(strLine), "offset = %d %s", iOffset, strResult);
    return FrmOptcheckSetDataInfo(strLine, 2);
}

// ---- Tables ----

static const SCREEN_STRING OptcheckStrings[] = {
    {&pOptcheckStrData[0], "Please plug in 1KM - 2KM optical fiber before adjust"},
    {&pOptcheckStrData[1], "Please plug in 5 m optical fiber before adjust"},
    {&pOptcheckStrInfo, "infomation eara!"},
};

static constexpr SCREEN_CONTROL ActionRow(unsigned y, const char* pCaption, GUIPICTURE** ppPicture,
                                          GUILABEL** ppLabel, MSGFUNC fnDown, MSGFUNC fnUp) {
    return TouchRow(ppPicture, {500, y, 105, 53}, BMP_BTN_DISABLE, ppLabel, {518, y + 18, 95, 34}, pCaption,
                    nullptr, fnDown, fnUp);
}

static const SCREEN_CONTROL OptcheckControls[] = {
    StatusBarRow(&pOptcheckBarStatus),
    BackgroundRow(&pOptcheckBgDesk, BITMAP_DIR "bg_desk.bmp"),
    InfoBarRow(&pOptcheckBarInfo),
    TitleRow(&pOptcheckLblTitle, "OPM Adjust"),
    PictureRow(&pOptcheckPicData, {5, 30, 400, 400}, BITMAP_DIR "frm_dataInfo.bmp"),
    ActionRow(64, "Opt check", &pOptcheckBtnCheck, &pOptcheckLblCheck, OptcheckBtnCheck_Down,
              OptcheckBtnCheck_Up),
    ActionRow(224, "Dev adjust", &pOptcheckBtnDev, &pOptcheckLblDev, OptcheckBtnDev_Down, OptcheckBtnDev_Up),
    LinesRow(pOptcheckLblData, LINES, {10, 45, 390, 90}, 200, pOptcheckStrData),
    InfoLineRow(&pOptcheckLblInfo, &pOptcheckStrInfo),
    BackButtonRow(&pOptcheckBtnBack, BackTo<FrmOpticalMain>),
};

static const SCREEN OptcheckScreen = {
    &pFrmOptcheck, {}, {}, Table(OptcheckStrings), Table(OptcheckControls),
};

// ---- Entry points ----

int FrmOptcheckInit(void* pWndObj) {
    return CreateScreen(OptcheckScreen, static_cast<GUIWINDOW*>(pWndObj));
}

int FrmOptcheckPaint(void*) {
    return PaintScreen(OptcheckScreen);
}

int FrmOptcheckExit(void*) {
    return DestroyScreen(OptcheckScreen);
}
