#include "screens/wnd_frmadjust.h"

#include "device/serial_link.h"
#include "gui/guischeduler.h"
#include "measure/adjust.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_screen.h"

// Captions. Only the first four are on buttons.
const char strApd[] = "Apd";
const char strVdd[] = "Vdd";
const char strAtt0[] = "Att0";
const char strAtt1[] = "Att1";
const char strAuto[] = "Auto";
const char strTest[] = "AutoTu";
const char strStart[] = "Start";
const char strSave[] = "Save";
const char strStop[] = "Stop";
const char strShow[] = "Show";

constexpr int LOOPS = 4;  // buttons and data lines: APD, VDD, ATT0, ATT1
constexpr int CAPTIONS = 10;

static const THREADFUNC AdjustAnalogFnc[] = {OPMAdjustAPDThd, OPMAdjustVddThd, OPMAdjustAtt0Thd,
                                             OPMAdjustAtt1Thd, OPMAdjustAutoThd};
constexpr size_t ANALOG_FUNCTIONS = sizeof(AdjustAnalogFnc) / sizeof(AdjustAnalogFnc[0]);
static GUITHREAD thdAdjustAnalog = GUITHREAD_NONE;

static GUIWINDOW* pFrmAdjust = nullptr;

static GUICHAR* pAdjustStrTitle = nullptr;
static GUICHAR* pAdjustStrCaption[CAPTIONS] = {};
static GUICHAR* pAdjustStrConnect = nullptr;
static GUICHAR* pAdjustStrFailure = nullptr;
static GUICHAR* pAdjustStrSuccess = nullptr;
static GUICHAR* pAdjustStrInfo = nullptr;
static GUICHAR* pAdjustStrData[LOOPS] = {};

static GUIPICTURE* pAdjustBarStatus = nullptr;
static GUIPICTURE* pAdjustBgDesk = nullptr;
static GUIPICTURE* pAdjustBarInfo = nullptr;
static GUIPICTURE* pAdjustPicData = nullptr;
static GUIPICTURE* pAdjustBtnConnect = nullptr;
static GUIPICTURE* pAdjustBtnLoop[LOOPS] = {};
static GUIPICTURE* pAdjustBtnBack = nullptr;

static GUILABEL* pAdjustLblTitle = nullptr;
static GUILABEL* pAdjustLblConnect = nullptr;
static GUILABEL* pAdjustLblLoop[LOOPS] = {};
static GUILABEL* pAdjustLblData[LOOPS] = {};
static GUILABEL* pAdjustLblInfo = nullptr;

static const SCREEN_BUTTON LoopButtons[] = {
    {&pAdjustBtnLoop[0], &pAdjustLblLoop[0]},
    {&pAdjustBtnLoop[1], &pAdjustLblLoop[1]},
    {&pAdjustBtnLoop[2], &pAdjustLblLoop[2]},
    {&pAdjustBtnLoop[3], &pAdjustLblLoop[3]},
};
static const SCREEN_GROUP LoopGroup = Table(LoopButtons);

// ---- Texts ----

int FrmAdjustSetInfo(const char* pInfo) {
    static const SCREEN_INFO_LINE InfoLine = {&pAdjustStrInfo, &pAdjustLblInfo, &pAdjustBarInfo,
                                              &pAdjustBtnBack};
    return ShowInfoLine(InfoLine, pInfo);
}

int FrmAdjustSetDataInfo(const char* pInfo, int iBtnNo) {
    return ShowDataLine({pAdjustStrData, pAdjustLblData, LOOPS}, pInfo, iBtnNo);
}

// ---- Looks ----

int FrmAdjustSetBtnActive(GUIPICTURE* pObjBtn, GUILABEL* pObjLbl) {
    return ShowLook(pObjBtn, pObjLbl, BMP_BTN_ACTIVE, COLOR_ORANGE);
}

int FrmAdjustSetAllBtnEnable(int iEnable) {
    SetGroupEnable(LoopGroup, iEnable);
    return 0;
}

// ---- Connect ----

static int AdjustBtnConnect_Down(void*, int, void*, int) {
    return FrmAdjustSetBtnActive(pAdjustBtnConnect, pAdjustLblConnect);
}

static int AdjustBtnConnect_Up(void*, int, void*, int) {
    static const SCREEN_CONNECT Connect = {SerialInitThd, LoopGroup, FrmAdjustSetInfo, "Connect Success!!!",
                                           "Connect Fail!!!"};
    RunConnect(Connect);
    return FrmAdjustSetBtnEnable(pAdjustBtnConnect, pAdjustLblConnect);
}

// ---- Loops ----

static int TouchedLoop() {
    return static_cast<int>(TouchedControl()->ppPicture - pAdjustBtnLoop);
}

static int AdjustBtnLoop_Down(void*, int, void*, int) {
    const int iLoop = TouchedLoop();
    FrmAdjustSetBtnActive(pAdjustBtnLoop[iLoop], pAdjustLblLoop[iLoop]);
    MutexLock(&OPMGUIShare.mutex);
    OPMGUIShare.usCurrAnalog = static_cast<uint16_t>(iLoop);
    OPMGUIShare.usStart = 1;
    MutexUnlock(&OPMGUIShare.mutex);
    return 0;
}

// Runs the selected loop and waits for it. Returns the result of the thread's creation.
static int RunSelectedLoop() {
    MutexLock(&OPMGUIShare.mutex);
    const uint16_t usAnalog = OPMGUIShare.usCurrAnalog;
    const uint16_t usWaveLen = OPMGUIShare.usCurrWaveLen;
    MutexUnlock(&OPMGUIShare.mutex);
    if (usAnalog >= ANALOG_FUNCTIONS)
        return -1;
    void* pArg = reinterpret_cast<void*>(static_cast<intptr_t>(usWaveLen));
    const int iResult = ThreadCreate(&thdAdjustAnalog, AdjustAnalogFnc[usAnalog], pArg);
    if (iResult == 0) {
        JoinWorker(&thdAdjustAnalog);
    } else {
        FrmAdjustSetDataInfo("", usAnalog + 1);  // no reading of an earlier run beside it
        FrmAdjustSetInfo(NO_THREAD_TEXT);
    }
    return iResult;
}

static int AdjustBtnLoop_Up(void*, int, void*, int) {
    ShowGroup(LoopGroup, BMP_BTN_DISABLE, pAdjustBtnLoop[TouchedLoop()]);
    FrmAdjustSetInfo("");
    FrmAdjustSetAllBtnEnable(0);
    const int iResult = RunSelectedLoop();
    SetGroup(LoopGroup, true);
    return iResult;
}

// ---- Tables ----

static const SCREEN_STRING AdjustStrings[] = {
    {&pAdjustStrTitle, "OPM Adjust"},        {&pAdjustStrCaption[0], strApd},
    {&pAdjustStrCaption[1], strVdd},         {&pAdjustStrCaption[2], strAtt0},
    {&pAdjustStrCaption[3], strAtt1},        {&pAdjustStrCaption[4], strAuto},
    {&pAdjustStrCaption[5], strTest},        {&pAdjustStrCaption[6], strStart},
    {&pAdjustStrCaption[7], strSave},        {&pAdjustStrCaption[8], strStop},
    {&pAdjustStrCaption[9], strShow},        {&pAdjustStrInfo, "infomation eara!"},
    {&pAdjustStrConnect, "Connect"},         {&pAdjustStrFailure, LINK_FAILURE_TEXT},
    {&pAdjustStrSuccess, LINK_SUCCESS_TEXT}, {pAdjustStrData, "", LOOPS},
};

// A button with its corner at (x, y); its caption stands lower than on the other screens.
static constexpr SCREEN_CONTROL AdjustButtonRow(unsigned x, unsigned y, GUIPICTURE** ppPicture,
                                                GUILABEL** ppLabel, GUICHAR** ppString, MSGFUNC fnDown,
                                                MSGFUNC fnUp, unsigned uiFlags = SCREEN_COMPONENT) {
    return TouchRow(ppPicture, {x, y, 105, 53}, BMP_BTN_ENABLE, ppLabel, {x + 15, y + 18, 95, 34}, nullptr,
                    ppString, fnDown, fnUp, uiFlags);
}

static constexpr SCREEN_CONTROL LoopButtonRow(unsigned y, int iLoop) {
    return AdjustButtonRow(600, y, &pAdjustBtnLoop[iLoop], &pAdjustLblLoop[iLoop], &pAdjustStrCaption[iLoop],
                           AdjustBtnLoop_Down, AdjustBtnLoop_Up, SCREEN_COMPONENT | SCREEN_BOARD);
}

static const SCREEN_CONTROL AdjustControls[] = {
    StatusBarRow(&pAdjustBarStatus),
    BackgroundRow(&pAdjustBgDesk, BITMAP_DIR "bg_desk.bmp"),
    InfoBarRow(&pAdjustBarInfo),
    TitleRow(&pAdjustLblTitle, nullptr, &pAdjustStrTitle),
    PictureRow(&pAdjustPicData, {5, 30, 400, 400}, BITMAP_DIR "frm_dataInfo.bmp"),
    AdjustButtonRow(450, 64, &pAdjustBtnConnect, &pAdjustLblConnect, &pAdjustStrConnect,
                    AdjustBtnConnect_Down, AdjustBtnConnect_Up),
    LoopButtonRow(64, 0),
    LoopButtonRow(124, 1),
    LoopButtonRow(184, 2),
    LoopButtonRow(244, 3),
    LinesRow(pAdjustLblData, LOOPS, {10, 45, 390, 90}, 100, pAdjustStrData),
    InfoLineRow(&pAdjustLblInfo, &pAdjustStrInfo),
    BackButtonRow(&pAdjustBtnBack, BackTo<FrmOpticalMain>),
};

static const SCREEN AdjustScreen = {
    &pFrmAdjust, {}, {}, Table(AdjustStrings), Table(AdjustControls),
};

// ---- Entry points ----

// A fresh mutex at every opening; no other thread uses the share while a screen opens. One that cannot be
// made leaves the share with a usable mutex all the same.
static int RenewShareMutex() {
    DestroyMutex(&OPMGUIShare.mutex);
    if (InitMutex(&OPMGUIShare.mutex) == 0)
        return 0;
    OPMGUIShare.mutex = PTHREAD_MUTEX_INITIALIZER;
    return -1;
}

int FrmAdjustInit(void* pWndObj) {
    SetStopThreadFlag(1);
    CreateScreen(AdjustScreen, static_cast<GUIWINDOW*>(pWndObj));
    if (RenewShareMutex() != 0)
        return -1;
    MutexLock(&OPMGUIShare.mutex);
    OPMGUIShare.usCurrAnalog = 0;
    OPMGUIShare.usCurrWaveLen = 0;
    OPMGUIShare.usStart = 0;
    MutexUnlock(&OPMGUIShare.mutex);
    return 0;
}

int FrmAdjustPaint(void*) {
    return PaintScreen(AdjustScreen);
}

int FrmAdjustExit(void*) {
    return DestroyScreen(AdjustScreen);
}
