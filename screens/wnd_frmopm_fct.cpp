#include "screens/wnd_frmopm_fct.h"

#include "device/serial_link.h"
#include "screens/opm_check.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_screen.h"

static GUIWINDOW* pFrmOPM = nullptr;
static GUIFONT* pOPMFntWrong = nullptr;
static GUIFONT* pOPMFntRight = nullptr;

static GUICHAR* pOPMStrInfo = nullptr;
static GUICHAR* pOPMStrResult[OPM_RESULT_LINES] = {};
static GUICHAR* pOPMStrDataLine[OPM_DATA_LINES] = {};

static GUIPICTURE* pOPMBarStatus = nullptr;
static GUIPICTURE* pOPMBgDesk = nullptr;
static GUIPICTURE* pOPMBarInfo = nullptr;
static GUIPICTURE* pOPMPicData = nullptr;
static GUIPICTURE* pOPMBtnConnect = nullptr;
static GUIPICTURE *pOPMBtnF1 = nullptr, *pOPMBtnF8 = nullptr, *pOPMBtnF9 = nullptr, *pOPMBtnF10 = nullptr;
static GUIPICTURE* pOPMBtnBack = nullptr;

static GUILABEL* pOPMLblTitle = nullptr;
static GUILABEL* pOPMLblConnect = nullptr;
static GUILABEL *pOPMLblF1 = nullptr, *pOPMLblF8 = nullptr, *pOPMLblF9 = nullptr, *pOPMLblF10 = nullptr;
static GUILABEL* pOPMLblResult[OPM_RESULT_LINES] = {};
static GUILABEL* pOPMLblDataLine[OPM_DATA_LINES] = {};
static GUILABEL* pOPMLblInfo = nullptr;

static const SCREEN_BUTTON TestButtons[] = {
    {&pOPMBtnF1, &pOPMLblF1},
    {&pOPMBtnF8, &pOPMLblF8},
    {&pOPMBtnF9, &pOPMLblF9},
    {&pOPMBtnF10, &pOPMLblF10},
};
static const SCREEN_GROUP TestGroup = Table(TestButtons);

// ---- Texts ----

int FrmOPMSetInfo(const char* pInfo) {
    static const SCREEN_INFO_LINE InfoLine = {&pOPMStrInfo, &pOPMLblInfo, &pOPMBarInfo, &pOPMBtnBack};
    return ShowInfoLine(InfoLine, pInfo);
}

static void ShowLine(GUICHAR** ppStr, GUILABEL* pLabel, const char* pText, bool bPass) {
    UseLabelFont(bPass ? pOPMFntRight : pOPMFntWrong, pLabel);
    UpdateLabelText(ppStr, pText, pLabel, nullptr);
}

void OpmShowResult(OPM_RESULT_LINE Line, const char* pText, bool bPass) {
    ShowLine(&pOPMStrResult[Line], pOPMLblResult[Line], pText, bPass);
}

void OpmShowData(int iLine, const char* pText, bool bPass) {
    if (iLine >= 1 && iLine <= OPM_DATA_LINES)
        ShowLine(&pOPMStrDataLine[iLine - 1], pOPMLblDataLine[iLine - 1], pText, bPass);
}

void OpmResetDataFonts() {
    for (GUILABEL* pLabel : pOPMLblDataLine)
        UseLabelFont(pOPMFntRight, pLabel);
}

// ---- Looks ----

int FrmOPMSetBtnEnable(GUIPICTURE* pObjBtn, GUILABEL* pObjLbl) {
    return ShowLook(pObjBtn, pObjLbl, BMP_BTN_ENABLE, COLOR_NONE);
}

int FrmOPMSetBtnDisable(GUIPICTURE* pObjBtn, GUILABEL* pObjLbl) {
    return ShowLook(pObjBtn, pObjLbl, BMP_BTN_DISABLE, COLOR_NONE);
}

int FrmOPMSetAllBtnEnable(int iEnable) {
    SetGroupEnable(TestGroup, iEnable);
    return 0;
}

// After a failed attenuator adjustment the four tests stay disabled until the screen is left, whatever is
// connected.
static bool bAttenuatorFailed = false;

// Before a test: no button takes input, and all but its own show it.
static void DisableButtons(const GUIPICTURE* pOwn) {
    ShowGroup(TestGroup, BMP_BTN_DISABLE, pOwn);
    FrmOPMSetAllBtnEnable(0);
}

// After it: those that may be started, two of them only with the board.
static void EnableButtons() {
    const bool bConnected = IsBoardConnected();
    for (const SCREEN_BUTTON& Button : TestButtons) {
        const bool bNeedsBoard = Button.ppPicture == &pOPMBtnF1 || Button.ppPicture == &pOPMBtnF8;
        SetGroup({&Button, 1}, bConnected || !bNeedsBoard);
    }
}

// ---- Handlers ----

static int OPMBtnConnect_Down(void*, int, void*, int) {
    return ShowBtn_FuncDown(pOPMBtnConnect, pOPMLblConnect);
}

static int OPMBtnConnect_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pOPMBtnConnect, pOPMLblConnect);
    const bool bConnected = ConnectBoard(SerialInitThd1);
    SetGroup(TestGroup, bConnected && !bAttenuatorFailed);
    return FrmOPMSetInfo(bConnected ? "Connect Success!!!" : "Connect Fail!!!");
}

static int OPMBtnF1_Down(void*, int, void*, int) {
    return ShowBtn_FuncDown(pOPMBtnF1, pOPMLblF1);
}

static int OPMBtnF1_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pOPMBtnF1, pOPMLblF1);
    DisableButtons(pOPMBtnF1);
    FrmOPMSetInfo("");
    OPMFCTShow();
    EnableButtons();
    return 0;
}

static int OPMBtnF8_Down(void*, int, void*, int) {
    return ShowBtn_FuncDown(pOPMBtnF8, pOPMLblF8);
}

// Those of an earlier run would stand there while this one is under way.
static void ClearChannelVerdicts() {
    for (int i = RESULT_6300; i <= RESULT_6307; ++i)
        if (pOPMLblResult[i] != nullptr && pOPMLblResult[i]->pLblText != nullptr)
            OpmShowResult(static_cast<OPM_RESULT_LINE>(i), "", true);
}

static int OPMBtnF8_Up(void*, int, void*, int) {
    static int32_t (*const Modes[])() = {ChnnelMode1, ChnnelMode2, ChnnelMode3, ChnnelMode4};
    ShowBtn_FuncUp(pOPMBtnF8, pOPMLblF8);
    DisableButtons(pOPMBtnF8);
    ClearChannelVerdicts();
    for (const auto fnMode : Modes) {
        bAttenuatorFailed = fnMode() != 0;
        if (bAttenuatorFailed) {
            ShowGroup(TestGroup, BMP_BTN_DISABLE);
            return 0;
        }
    }
    EnableButtons();
    return 0;
}

static int OPMBtnF9_Down(void*, int, void*, int) {
    return ShowBtn_FuncDown(pOPMBtnF9, pOPMLblF9);
}

static int OPMBtnF9_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pOPMBtnF9, pOPMLblF9);
    DisableButtons(pOPMBtnF9);
    ShowOpmEepromCheck();
    EnableButtons();
    return 0;
}

static int OPMBtnF10_Down(void*, int, void*, int) {
    return ShowBtn_FuncDown(pOPMBtnF10, pOPMLblF10);
}

static int OPMBtnF10_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pOPMBtnF10, pOPMLblF10);
    DisableButtons(pOPMBtnF10);
    ShowOpmTemperature();
    EnableButtons();
    return 0;
}

static int OPMBtnBack_Up(void*, int, void*, int) {
    SwitchScreen(pFrmOPM, FrmOpticalMain);
    return 0;
}

constexpr MSGFUNC OPMBtnBack_Down = NoAction;
constexpr MSGFUNC OPMWndKey_Down = NoAction;
constexpr MSGFUNC OPMWndKey_Up = NoAction;
constexpr MSGFUNC OPMErrProc_Func = NoAction;

// ---- Tables ----

static const SCREEN_FONT OPMFonts[] = {
    {&pOPMFntWrong, COLOR_ORANGE},
    {&pOPMFntRight, COLOR_WHITE},
};

static const SCREEN_STRING OPMStrings[] = {
    {&pOPMStrInfo, ""},
    {pOPMStrResult, "", OPM_RESULT_LINES},
    {pOPMStrDataLine, "", OPM_DATA_LINES},
};

// Data lines 1 to 9 stand below the result lines; the others, which no test uses, between them.
constexpr unsigned DATA_LINES_BELOW = 9;

static const SCREEN_CONTROL OPMControls[] = {
    StatusBarRow(&pOPMBarStatus),
    BackgroundRow(&pOPMBgDesk, BITMAP_DIR "bg_desk.bmp"),
    InfoBarRow(&pOPMBarInfo),
    TitleRow(&pOPMLblTitle, "OPM FCT"),
    TouchRow(&pOPMBtnConnect, {450, 35, 105, 53}, BMP_BTN_ENABLE, &pOPMLblConnect, {450, 44, 95, 53},
             "Connect", nullptr, OPMBtnConnect_Down, OPMBtnConnect_Up),
    TouchRow(&pOPMBtnF1, {600, 35, 105, 53}, BMP_BTN_ENABLE, &pOPMLblF1, {600, 44, 95, 53}, "Voltage Check",
             nullptr, OPMBtnF1_Down, OPMBtnF1_Up),
    TouchRow(&pOPMBtnF8, {600, 95, 105, 53}, BMP_BTN_ENABLE, &pOPMLblF8, {600, 104, 95, 53}, "Signal chain",
             nullptr, OPMBtnF8_Down, OPMBtnF8_Up),
    TouchRow(&pOPMBtnF9, {600, 155, 105, 53}, BMP_BTN_ENABLE, &pOPMLblF9, {600, 164, 95, 53}, "Eeprom Check",
             nullptr, OPMBtnF9_Down, OPMBtnF9_Up),
    TouchRow(&pOPMBtnF10, {600, 215, 105, 53}, BMP_BTN_ENABLE, &pOPMLblF10, {600, 224, 95, 53}, "Temperature",
             nullptr, OPMBtnF10_Down, OPMBtnF10_Up),
    PictureRow(&pOPMPicData, {5, 30, 400, 400}, BITMAP_DIR "frm_dataInfo.bmp"),
    LinesRow(pOPMLblResult, OPM_RESULT_LINES, {25, 45, 350, 24}, 45),
    LinesRow(pOPMLblDataLine, DATA_LINES_BELOW, {25, 252, 370, 19}, 19),
    LinesRow(pOPMLblDataLine + DATA_LINES_BELOW, OPM_DATA_LINES - DATA_LINES_BELOW, {25, 43, 370, 19}, 19),
    InfoLineRow(&pOPMLblInfo, &pOPMStrInfo),
    BackButtonRow(&pOPMBtnBack, OPMBtnBack_Down, OPMBtnBack_Up),
};

static const SCREEN OPMScreen = {
    &pFrmOPM,           {OPMWndKey_Down, OPMWndKey_Up, nullptr, nullptr, OPMErrProc_Func},
    Table(OPMFonts),    Table(OPMStrings),
    Table(OPMControls),
};

// ---- Entry points ----

// Until the board is connected, the two tests that need it are disabled.
static void DisableBoardTests() {
    GUIPICTURE* const pButtons[] = {pOPMBtnF1, pOPMBtnF8};
    for (GUIPICTURE* pButton : pButtons) {
        SetPictureBitmap(BMP_BTN_DISABLE, pButton);
        SetPictureEnable(0, pButton);
    }
}

int FrmOPMInit(void* pWndObj) {
    bAttenuatorFailed = false;
    CreateScreen(OPMScreen, static_cast<GUIWINDOW*>(pWndObj));
    if (!IsBoardConnected())
        DisableBoardTests();
    return 0;
}

int FrmOPMPaint(void*) {
    return PaintScreen(OPMScreen);
}

int FrmOPMExit(void*) {
    return DestroyScreen(OPMScreen);
}
