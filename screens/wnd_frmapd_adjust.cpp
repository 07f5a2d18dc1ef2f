#include "screens/wnd_frmapd_adjust.h"

#include <stdlib.h>

#include "gui/guischeduler.h"
#include "measure/adjust.h"
#include "measure/apd.h"
#include "measure/common_opm.h"
#include "screens/apd_curve.h"
#include "screens/wnd_frme2prom.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_screen.h"

int iCreateThreadSuccessFlag = 0;

static GUITHREAD thdAPDAdjustAnalog = GUITHREAD_NONE;
static int iRunning = 0;  // 1 from the start of the calibration thread to the end of its work

// The calibration thread draws while the screen takes touches: whoever draws holds this.
static GUIMUTEX mutexDraw = PTHREAD_MUTEX_INITIALIZER;

static GUIWINDOW* pFrmAPDAdj = nullptr;
static GUIFONT* pAPDAdjFntAxis = nullptr;

static GUICHAR* pAPDAdjStrInfo = nullptr;
static GUICHAR* pAPDAdjStrData1 = nullptr;
static GUICHAR* pAPDAdjStrData2 = nullptr;

static GUIPICTURE* pAPDAdjBarStatus = nullptr;
static GUIPICTURE* pAPDAdjBgDesk = nullptr;
static GUIPICTURE* pAPDAdjBarInfo = nullptr;
static GUIPICTURE *pAPDAdjBtnF1 = nullptr, *pAPDAdjBtnF2 = nullptr, *pAPDAdjBtnF3 = nullptr;
static GUIPICTURE* pAPDAdjBtnF3Disable = nullptr;
static GUIPICTURE* pAPDAdjBgTrace = nullptr;
static GUIPICTURE* pAPDAdjFrmData1 = nullptr;
static GUIPICTURE* pAPDAdjFrmData2 = nullptr;
static GUIPICTURE* pAPDAdjBtnBack = nullptr;

constexpr int Y_LABELS = 3;
constexpr int X_LABELS = 5;
static GUILABEL* pAPDAdjLblTitle = nullptr;
static GUILABEL *pAPDAdjLblF1 = nullptr, *pAPDAdjLblF2 = nullptr, *pAPDAdjLblF3 = nullptr;
static GUILABEL* pAPDAdjLblTrace = nullptr;
static GUILABEL* pAPDAdjLblY[Y_LABELS] = {};
static GUILABEL* pAPDAdjLblX[X_LABELS] = {};
static GUILABEL* pAPDAdjLblData1 = nullptr;
static GUILABEL* pAPDAdjLblData2 = nullptr;
static GUILABEL* pAPDAdjLblInfo = nullptr;

template <typename Action>
static void Draw(Action fnAction) {
    MutexLock(&mutexDraw);
    fnAction();
    MutexUnlock(&mutexDraw);
}

// ---- Data panels ----

static int ShowPanel(GUICHAR** ppStr, const char* pInfo, GUILABEL* pLabel, GUIPICTURE* pPanel) {
    if (pInfo != nullptr && pLabel != nullptr)
        Draw([=] { UpdateLabelText(ppStr, pInfo, pLabel, pPanel); });
    return 0;
}

int FrmApdAdjSetInfo1(const char* pInfo) {
    return ShowPanel(&pAPDAdjStrData1, pInfo, pAPDAdjLblData1, pAPDAdjFrmData1);
}

int FrmApdAdjSetInfo2(const char* pInfo) {
    return ShowPanel(&pAPDAdjStrData2, pInfo, pAPDAdjLblData2, pAPDAdjFrmData2);
}

// ---- Trace ----

void initTraceArea() {
    Draw([] { ShowPicture(pAPDAdjBgTrace); });
}

void DrawCurve() {
    GUIPEN* pPen = GetCurrPen();
    if (pAPDAdjBgTrace == nullptr || pApd_Break_Para == nullptr || pPen == nullptr)
        return;
    Draw([pPen] {
        const COLOR uiOldColor = pPen->uiPenColor;
        pPen->uiPenColor = COLOR_WHITE;
        DrawApdCurve(*pApd_Break_Para);
        pPen->uiPenColor = uiOldColor;
    });
}

// ---- Calibration thread ----

void SetBtnF3Able() {
    SetPictureEnable(0, pAPDAdjBtnF2);
    SetPictureEnable(1, pAPDAdjBtnF3);
    Draw([] {
        ShowPicture(pAPDAdjBtnF3);
        ShowLabel(pAPDAdjLblF3, COLOR_NONE);
    });
}

void* APDAdjustThd(void*) {
    if (GetAPDAdjStopFlag() != 0)
        OPMAutoTuning();
    SetBtnF3Able();
    __atomic_store_n(&iRunning, 0, __ATOMIC_RELEASE);
    ThreadExit(nullptr);
}

// Waits for the calibration thread, if there is one to wait for.
static void JoinCalibration() {
    iCreateThreadSuccessFlag = 0;
    JoinWorker(&thdAPDAdjustAnalog);
}

static void StartCalibration() {
    JoinCalibration();  // one that has ended by itself
    const int iStopEnabled = LoadVisibleFlag(&pAPDAdjBtnF2->Visible.iEnable);
    SetPictureEnable(1, pAPDAdjBtnF2);
    SetPictureEnable(0, pAPDAdjBtnF3);
    Draw([] {
        ShowPicture(pAPDAdjBtnF3Disable);
        ShowLabel(pAPDAdjLblF3, COLOR_NONE);
        ShowPicture(pAPDAdjBtnF2);
        ShowLabel(pAPDAdjLblF2, COLOR_NONE);
        ShowBtn_FuncUp(pAPDAdjBtnF1, pAPDAdjLblF1);
    });
    __atomic_store_n(&iRunning, 1, __ATOMIC_RELEASE);
    iCreateThreadSuccessFlag = ThreadCreate(&thdAPDAdjustAnalog, APDAdjustThd, nullptr) == 0;
    if (iCreateThreadSuccessFlag == 0) {
        thdAPDAdjustAnalog = GUITHREAD_NONE;
        __atomic_store_n(&iRunning, 0, __ATOMIC_RELEASE);
        SetBtnF3Able();
        SetPictureEnable(iStopEnabled, pAPDAdjBtnF2);
        FrmApdAdjSetInfo1(NO_THREAD_TEXT);
    }
}

// ---- Handlers ----

static int APDAdjBtn_Down(void* pInArg, int iInLen, void* pOutArg, int iOutLen) {
    Draw([=] { ScreenBtn_Down(pInArg, iInLen, pOutArg, iOutLen); });
    return 0;
}

static int ReleaseButton(GUIPICTURE* pButton, GUILABEL* pLabel) {
    Draw([=] { ShowBtn_FuncUp(pButton, pLabel); });
    return 0;
}

// A second start during a calibration changes nothing; without the optic driver there is nothing to start.
static int APDAdjBtnF1_Up(void*, int, void*, int) {
    if (__atomic_load_n(&iRunning, __ATOMIC_ACQUIRE) != 0 || !IsModuleOpen(FrmApdAdjSetInfo1))
        return ReleaseButton(pAPDAdjBtnF1, pAPDAdjLblF1);
    StartCalibration();
    return 0;
}

static int APDAdjBtnF2_Up(void*, int, void*, int) {
    if (iCreateThreadSuccessFlag != 0 && GetAPDAdjStopFlag() != 0) {
        SetAPDAdjStopFlag(0);
        JoinCalibration();
        SetBtnF3Able();
        SetAPDAdjStopFlag(1);
    }
    return ReleaseButton(pAPDAdjBtnF2, pAPDAdjLblF2);
}

static int APDAdjBtnF3_Up(void*, int, void*, int) {
    ReleaseButton(pAPDAdjBtnF3, pAPDAdjLblF3);
    return LeaveFor(FrmE2PROM);
}

constexpr MSGFUNC APDAdjWndKey_Down = NoAction;
constexpr MSGFUNC APDAdjWndKey_Up = NoAction;
constexpr MSGFUNC APDAdjErrProc_Func = NoAction;

// ---- Tables ----

static const SCREEN_FONT APDAdjFonts[] = {{&pAPDAdjFntAxis, COLOR_ORANGE}};

static const SCREEN_STRING APDAdjStrings[] = {
    {&pAPDAdjStrInfo, ""},
    {&pAPDAdjStrData1, "data area"},
    {&pAPDAdjStrData2, "info area"},
};

static constexpr SCREEN_CONTROL AxisRow(GUILABEL** ppLabel, SCREEN_AREA Area, const char* pText) {
    return LabelRow(ppLabel, Area, GUILABEL_LEFT, pText, nullptr, 0, &pAPDAdjFntAxis);
}

static const SCREEN_CONTROL APDAdjControls[] = {
    StatusBarRow(&pAPDAdjBarStatus),
    BackgroundRow(&pAPDAdjBgDesk, BITMAP_DIR "bg_desk.bmp"),
    InfoBarRow(&pAPDAdjBarInfo),
    TitleRow(&pAPDAdjLblTitle, "APD Adjust"),
    // The disabled look of E2PROM; shown instead of its button while a calibration runs.
    PictureRow(&pAPDAdjBtnF3Disable, {690, 215, 105, 53}, BMP_BTN_DISABLE, SCREEN_UNPAINTED),
    ButtonRow(690, 95, "Start", &pAPDAdjBtnF1, &pAPDAdjLblF1, APDAdjBtn_Down, APDAdjBtnF1_Up),
    ButtonRow(690, 155, "Stop", &pAPDAdjBtnF2, &pAPDAdjLblF2, APDAdjBtn_Down, APDAdjBtnF2_Up),
    ButtonRow(690, 215, "E2PROM", &pAPDAdjBtnF3, &pAPDAdjLblF3, APDAdjBtn_Down, APDAdjBtnF3_Up),
    LabelRow(&pAPDAdjLblTrace, {40, 35, 50, 20}, GUILABEL_LEFT, "Trace :"),
    PictureRow(&pAPDAdjBgTrace, {40, 55, 635, 230}, BITMAP_DIR "bg_main_trace.bmp"),
    AxisRow(&pAPDAdjLblY[0], {0, 45, 40, 20}, "4000"),
    AxisRow(&pAPDAdjLblY[1], {0, 160, 40, 20}, "3000"),
    AxisRow(&pAPDAdjLblY[2], {0, 270, 40, 20}, "2000"),
    AxisRow(&pAPDAdjLblX[0], {40, 285, 70, 20}, "0"),
    AxisRow(&pAPDAdjLblX[1], {195, 285, 70, 20}, "20"),
    AxisRow(&pAPDAdjLblX[2], {350, 285, 70, 20}, "40"),
    AxisRow(&pAPDAdjLblX[3], {505, 285, 70, 20}, "60"),
    AxisRow(&pAPDAdjLblX[4], {660, 285, 70, 20}, "80 C"),
    PictureRow(&pAPDAdjFrmData1, {40, 315, 340, 120}, BITMAP_DIR "frm_data.bmp"),
    LabelRow(&pAPDAdjLblData1, {45, 320, 330, 110}, GUILABEL_LEFT, nullptr, &pAPDAdjStrData1),
    PictureRow(&pAPDAdjFrmData2, {380, 315, 295, 120}, BITMAP_DIR "frm_cond.bmp"),
    LabelRow(&pAPDAdjLblData2, {385, 320, 285, 110}, GUILABEL_LEFT, nullptr, &pAPDAdjStrData2),
    InfoLineRow(&pAPDAdjLblInfo, &pAPDAdjStrInfo),
    BackButtonRow(&pAPDAdjBtnBack, BackTo<FrmOpticalMain>),
};

static const SCREEN APDAdjScreen = {
    &pFrmAPDAdj,           {APDAdjWndKey_Down, APDAdjWndKey_Up, nullptr, nullptr, APDAdjErrProc_Func},
    Table(APDAdjFonts),    Table(APDAdjStrings),
    Table(APDAdjControls),
};

// ---- Entry points ----

int FrmAPDAdjInit(void* pWndObj) {
    SetAPDAdjStopFlag(1);
    if (pApd_Break_Para == nullptr)
        pApd_Break_Para = static_cast<APD_BREAK_PARA*>(calloc(1, sizeof(APD_BREAK_PARA)));
    return CreateScreen(APDAdjScreen, static_cast<GUIWINDOW*>(pWndObj));
}

int FrmAPDAdjPaint(void*) {
    PaintScreen(APDAdjScreen);
    DrawCurve();
    return 0;
}

// The calibration thread draws into the screen's controls until it has ended.
int FrmAPDAdjExit(void*) {
    if (iCreateThreadSuccessFlag != 0) {
        SetAPDAdjStopFlag(0);
        JoinCalibration();
    }
    return DestroyScreen(APDAdjScreen);
}
