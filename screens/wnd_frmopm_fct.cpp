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
    UpdateLabelVerdict(ppStr, pText, bPass ? pOPMFntRight : pOPMFntWrong, pLabel, nullptr);
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
    if (bAttenuatorFailed)
        return ShowGroup(TestGroup, BMP_BTN_DISABLE);
    const bool bConnected = IsBoardConnected();
    for (const SCREEN_BUTTON& Button : TestButtons) {
        const bool bNeedsBoard = Button.ppPicture == &pOPMBtnF1 || Button.ppPicture == &pOPMBtnF8;
        SetGroup({&Button, 1}, bConnected || !bNeedsBoard);
    }
}

// ---- Handlers ----

static int OPMBtnConnect_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pOPMBtnConnect, pOPMLblConnect);
    static const SCREEN_CONNECT Connect = {SerialInitThd1, TestGroup, FrmOPMSetInfo, "Connect Success!!!",
                                           "Connect Fail!!!"};
    return RunConnect(Connect, bAttenuatorFailed);
}

// Runs the touched button's test, no test taking input meanwhile.
static int RunTest(void (*fnTest)()) {
    const SCREEN_CONTROL* pRow = TouchedControl();
    ShowBtn_FuncUp(*pRow->ppPicture, *pRow->ppLabel);
    DisableButtons(*pRow->ppPicture);
    fnTest();
    EnableButtons();
    return 0;
}

static int OPMBtnF1_Up(void*, int, void*, int) {
    return RunTest([] {
        FrmOPMSetInfo("");
        OPMFCTShow();
    });
}

// Those of an earlier run would stand there while this one is under way.
static void ClearChannelVerdicts() {
    for (int i = RESULT_6300; i <= RESULT_6307; ++i)
        if (pOPMLblResult[i] != nullptr && pOPMLblResult[i]->pLblText != nullptr)
            OpmShowResult(static_cast<OPM_RESULT_LINE>(i), "", true);
}

static void TestSignalChain() {
    static int32_t (*const Modes[])() = {ChnnelMode1, ChnnelMode2, ChnnelMode3, ChnnelMode4};
    ClearChannelVerdicts();
    for (const auto fnMode : Modes) {
        bAttenuatorFailed = fnMode() != 0;
        if (bAttenuatorFailed)
            return;
    }
}

static int OPMBtnF8_Up(void*, int, void*, int) {
    return RunTest(TestSignalChain);
}

static int OPMBtnF9_Up(void*, int, void*, int) {
    return RunTest(ShowOpmEepromCheck);
}

static int OPMBtnF10_Up(void*, int, void*, int) {
    return RunTest(ShowOpmTemperature);
}

constexpr MSGFUNC OPMBtnConnect_Down = ScreenBtn_Down, OPMBtnF1_Down = ScreenBtn_Down;
constexpr MSGFUNC OPMBtnF8_Down = ScreenBtn_Down, OPMBtnF9_Down = ScreenBtn_Down,
                  OPMBtnF10_Down = ScreenBtn_Down;
constexpr MSGFUNC OPMBtnBack_Up = BackTo<FrmOpticalMain>;
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

// A button with its corner at (x, y); its caption begins at the same x.
static constexpr SCREEN_CONTROL OPMButtonRow(unsigned x, unsigned y, const char* pCaption,
                                             GUIPICTURE** ppPicture, GUILABEL** ppLabel, MSGFUNC fnDown,
                                             MSGFUNC fnUp, unsigned uiFlags = 0) {
    return TouchRow(ppPicture, {x, y, 105, 53}, BMP_BTN_ENABLE, ppLabel, {x, y + 9, 95, 53}, pCaption,
                    nullptr, fnDown, fnUp, SCREEN_COMPONENT | uiFlags);
}

static const SCREEN_CONTROL OPMControls[] = {
    StatusBarRow(&pOPMBarStatus),
    BackgroundRow(&pOPMBgDesk, BITMAP_DIR "bg_desk.bmp"),
    InfoBarRow(&pOPMBarInfo),
    TitleRow(&pOPMLblTitle, "OPM FCT"),
    OPMButtonRow(450, 35, "Connect", &pOPMBtnConnect, &pOPMLblConnect, OPMBtnConnect_Down, OPMBtnConnect_Up),
    OPMButtonRow(600, 35, "Voltage Check", &pOPMBtnF1, &pOPMLblF1, OPMBtnF1_Down, OPMBtnF1_Up, SCREEN_BOARD),
    OPMButtonRow(600, 95, "Signal chain", &pOPMBtnF8, &pOPMLblF8, OPMBtnF8_Down, OPMBtnF8_Up, SCREEN_BOARD),
    OPMButtonRow(600, 155, "Eeprom Check", &pOPMBtnF9, &pOPMLblF9, OPMBtnF9_Down, OPMBtnF9_Up),
    OPMButtonRow(600, 215, "Temperature", &pOPMBtnF10, &pOPMLblF10, OPMBtnF10_Down, OPMBtnF10_Up),
    PictureRow(&pOPMPicData, {5, 30, 400, 400}, BITMAP_DIR "frm_dataInfo.bmp"),
    LinesRow(pOPMLblResult, OPM_RESULT_LINES, {25, 45, 350, 24}, 45),
    LinesRow(pOPMLblDataLine, DATA_LINES_BELOW, {25, 252, 370, 19}, 19),
    LinesRow(pOPMLblDataLine + DATA_LINES_BELOW, OPM_DATA_LINES - DATA_LINES_BELOW, {25, 43, 370, 19}, 19),
    InfoLineRow(&pOPMLblInfo, &pOPMStrInfo),
    BackButtonRow(&pOPMBtnBack, OPMBtnBack_Up),
};

static const SCREEN OPMScreen = {
    &pFrmOPM,           {OPMWndKey_Down, OPMWndKey_Up, nullptr, nullptr, OPMErrProc_Func},
    Table(OPMFonts),    Table(OPMStrings),
    Table(OPMControls),
};

// ---- Entry points ----

int FrmOPMInit(void* pWndObj) {
    bAttenuatorFailed = false;
    return CreateScreen(OPMScreen, static_cast<GUIWINDOW*>(pWndObj));
}

int FrmOPMPaint(void*) {
    return PaintScreen(OPMScreen);
}

int FrmOPMExit(void*) {
    return DestroyScreen(OPMScreen);
}
