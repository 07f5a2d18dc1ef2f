#include "screens/wnd_frmmainboard_fct.h"

#include "device/serial_link.h"
#include "screens/mainboard_check.h"
#include "screens/wnd_frmkeycheck.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_screen.h"

constexpr COLOR COLOR_PASS = 0x00FF00;
constexpr COLOR COLOR_FAIL = 0xFF0000;

static GUIWINDOW* pFrmMainBoard = nullptr;
static GUIFONT* pMainBoardFntRight = nullptr;
static GUIFONT* pMainBoardFntWrong = nullptr;

static GUICHAR* pMainBoardStrInfo = nullptr;
static GUICHAR* pMainBoardStrResult = nullptr;
static GUICHAR* pMainBoardStrDataLine[MAINBOARD_POINTS] = {};

static GUIPICTURE* pMainBoardShield = nullptr;
static GUIPICTURE* pMainBoardBarStatus = nullptr;
static GUIPICTURE* pMainBoardBgDesk = nullptr;
static GUIPICTURE* pMainBoardBarInfo = nullptr;
static GUIPICTURE* pMainBoardPicDataDispaly = nullptr;
static GUIPICTURE* pMainBoardBtnBack = nullptr;
static GUILABEL* pMainBoardLblTitle = nullptr;
static GUILABEL* pMainBoardLblResult = nullptr;
static GUILABEL* pMainBoardLblDataLine[MAINBOARD_POINTS] = {};
static GUILABEL* pMainBoardLblInfo = nullptr;

constexpr int BUTTONS = 19;
static GUIPICTURE* pMainBoardBtn[BUTTONS] = {};  // in the order of Buttons
static GUILABEL* pMainBoardLbl[BUTTONS] = {};

// ---- Result area ----

static GUIFONT* VerdictFont(bool bPass) {
    return bPass ? pMainBoardFntRight : pMainBoardFntWrong;
}

void MainBoardClearResult() {
    ShowBackground(pMainBoardPicDataDispaly);
}

void MainBoardShowResult(const char* pText, bool bPass) {
    UpdateLabelVerdict(&pMainBoardStrResult, pText, VerdictFont(bPass), pMainBoardLblResult,
                       pMainBoardPicDataDispaly);
}

void MainBoardShowLine(int iLine, const char* pText, bool bPass) {
    if (iLine >= 0 && iLine < MAINBOARD_POINTS)
        UpdateLabelVerdict(&pMainBoardStrDataLine[iLine], pText, VerdictFont(bPass),
                           pMainBoardLblDataLine[iLine], nullptr);
}

int FrmMainBoardSetInfo(const char* pInfo) {
    static const SCREEN_INFO_LINE InfoLine = {&pMainBoardStrInfo, &pMainBoardLblInfo, &pMainBoardBarInfo,
                                              &pMainBoardBtnBack};
    return ShowInfoLine(InfoLine, pInfo);
}

// ---- Buttons ----

struct MAINBOARD_BUTTON {
    unsigned x;
    unsigned y;
    const char* pCaption;
    // Runs under the shield, and in the automatic run in the order of the rows; null: none.
    void (*fnCheck)();
    MSGFUNC fnUp;
    unsigned uiFlags;
};

static int MainBoardBtnF1_Up(void* pInArg, int iInLen, void* pOutArg, int iOutLen);
static int MainBoardBtnF11_Up(void* pInArg, int iInLen, void* pOutArg, int iOutLen);
static int MainBoardBtnF4_Up(void* pInArg, int iInLen, void* pOutArg, int iOutLen);
static int MainBoardBtnF52_Up(void* pInArg, int iInLen, void* pOutArg, int iOutLen);

// clang-format off
static constexpr MAINBOARD_BUTTON Buttons[BUTTONS] = {
    {600,  35, "Voltage Check",   MainBoardFCTShow, MainBoardBtnF1_Up,  SCREEN_BOARD}, // F1
    {600,  95, "ADC",             AdcCheck,         MainBoardBtnF1_Up,  SCREEN_BOARD}, // F2
    {435, 155, "Arm Eeprom",      ArmEepromCheck,   MainBoardBtnF1_Up,  0},            // F3
    {435, 215, "Key Check",       nullptr,          MainBoardBtnF4_Up,  0},            // F4
    {435, 275, "Speaker Check",   SpeakerCheck,     MainBoardBtnF1_Up,  0},            // F5
    {435, 335, "USB Check",       ShowUsbCheck,     MainBoardBtnF1_Up,  0},            // F6
    {435, 395, "",                nullptr,          MainBoardBtnF1_Up,  0},            // F7
    {435,  64, "Connect",         nullptr,          MainBoardBtnF11_Up, 0},            // F11
    {650,  95, "",                nullptr,          MainBoardBtnF1_Up,  0},            // F21
    {555, 155, "FPGA DDR",        FpgaDdrCheck,     MainBoardBtnF1_Up,  0},            // F31
    {555, 215, "Visible Check",   VisibleOnOff,     MainBoardBtnF1_Up,  0},            // F41
    {555, 275, "battery voltage", BatteryCheck,     MainBoardBtnF1_Up,  0},            // F51
    {555, 335, "RTC",             RtcCheck,         MainBoardBtnF1_Up,  0},            // F61
    {555, 395, "SDcard Check",    ShowSDcardCheck,  MainBoardBtnF1_Up,  0},            // F71
    {675, 155, "",                nullptr,          MainBoardBtnF1_Up,  0},            // F12
    {675, 215, "",                nullptr,          MainBoardBtnF1_Up,  0},            // F22
    {675, 275, "",                nullptr,          MainBoardBtnF1_Up,  0},            // F32
    {675, 335, "",                nullptr,          MainBoardBtnF1_Up,  0},            // F42
    {675, 395, "Auto",            nullptr,          MainBoardBtnF52_Up, SCREEN_BOARD}, // F52
};
// clang-format on
constexpr int F1 = 0, F2 = 1, F4 = 3, F11 = 7, F52 = 18;

// Those that need the measurement board.
static const SCREEN_BUTTON BoardButtons[] = {
    {&pMainBoardBtn[F1], &pMainBoardLbl[F1]},
    {&pMainBoardBtn[F2], &pMainBoardLbl[F2]},
    {&pMainBoardBtn[F52], &pMainBoardLbl[F52]},
};

static void RunShielded(void (*fnCheck)()) {
    SetPictureEnable(1, pMainBoardShield);
    fnCheck();
    SetPictureEnable(0, pMainBoardShield);
}

// F1, and all that have no handler of their own.
static int MainBoardBtnF1_Up(void*, int, void*, int) {
    const auto iButton = TouchedControl()->ppPicture - pMainBoardBtn;
    ShowBtn_FuncUp(pMainBoardBtn[iButton], pMainBoardLbl[iButton]);
    if (Buttons[iButton].fnCheck != nullptr)
        RunShielded(Buttons[iButton].fnCheck);
    return 0;
}

static void ConnectCheck() {
    static const SCREEN_CONNECT Connect = {SerialInitThd2, Table(BoardButtons), FrmMainBoardSetInfo,
                                           "Connect success!!!", "Connect fail!!!"};
    RunConnect(Connect);
}

static int MainBoardBtnF11_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pMainBoardBtn[F11], pMainBoardLbl[F11]);
    RunShielded(ConnectCheck);
    return 0;
}

static int MainBoardBtnF4_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pMainBoardBtn[F4], pMainBoardLbl[F4]);
    return LeaveFor(FrmKeyCheck);
}

// ---- Automatic run ----

constexpr unsigned AUTO_PAUSE_MS = 30;

static void RunAutoChecks() {
    for (int i = 0; i < BUTTONS; ++i) {
        if (Buttons[i].fnCheck == nullptr)
            continue;
        ShowBtn_FuncDown(pMainBoardBtn[i], pMainBoardLbl[i]);
        Buttons[i].fnCheck();
        ShowBtn_FuncUp(pMainBoardBtn[i], pMainBoardLbl[i]);
        if (WaitUnlessExit(AUTO_PAUSE_MS) != 0)
            return;
    }
}

static int MainBoardBtnF52_Up(void*, int, void*, int) {
    RunShielded([] {
        RunAutoChecks();
        MainBoardShowSummary();
        ShowBtn_FuncUp(pMainBoardBtn[F52], pMainBoardLbl[F52]);
    });
    return 0;
}

constexpr MSGFUNC MainBoardWndKey_Down = NoAction;
constexpr MSGFUNC MainBoardWndKey_Up = NoAction;
constexpr MSGFUNC MainBoardErrProc_Func = NoAction;

// ---- Tables ----

static const SCREEN_FONT MainBoardFonts[] = {
    {&pMainBoardFntRight, COLOR_PASS},
    {&pMainBoardFntWrong, COLOR_FAIL},
};

static const SCREEN_STRING MainBoardStrings[] = {
    {&pMainBoardStrInfo, ""},
    {&pMainBoardStrResult, ""},
    {pMainBoardStrDataLine, "", MAINBOARD_POINTS},
};

// Frame 30 to 429: thirteen lines of 20 pixels fit at a pitch of 29.
constexpr unsigned LINE_TOP = 46;
constexpr unsigned LINE_PITCH = 29;

// The shield, the standard rows and the frame; one row a button; what lies in the frame and the bottom bar.
constexpr size_t ROWS_BEFORE = 6;
constexpr size_t ROWS_AFTER = 4;
struct MAINBOARD_CONTROLS {
    SCREEN_CONTROL Rows[ROWS_BEFORE + BUTTONS + ROWS_AFTER];
};

static constexpr MAINBOARD_CONTROLS MakeControls() {
    MAINBOARD_CONTROLS Controls = {{
        PictureRow(&pMainBoardShield, {0, 0, SCREEN_WIDTH, SCREEN_HEIGHT}, nullptr,
                   SCREEN_COMPONENT | SCREEN_UNPAINTED),
        StatusBarRow(&pMainBoardBarStatus),
        BackgroundRow(&pMainBoardBgDesk, BITMAP_DIR "bg_desk.bmp"),
        InfoBarRow(&pMainBoardBarInfo),
        TitleRow(&pMainBoardLblTitle, "K905 Mainboard FCT !"),
        PictureRow(&pMainBoardPicDataDispaly, {20, 30, 400, 400}, BITMAP_DIR "frm_dataInfo.bmp"),
    }};
    size_t uiRow = ROWS_BEFORE;
    for (int i = 0; i < BUTTONS; ++i)
        Controls.Rows[uiRow++] =
            ButtonRow(Buttons[i].x, Buttons[i].y, Buttons[i].pCaption, &pMainBoardBtn[i], &pMainBoardLbl[i],
                      ScreenBtn_Down, Buttons[i].fnUp, Buttons[i].uiFlags);
    Controls.Rows[uiRow++] = LabelRow(&pMainBoardLblResult, {60, 220, 300, 100}, GUILABEL_LEFT, nullptr);
    Controls.Rows[uiRow++] =
        LinesRow(pMainBoardLblDataLine, MAINBOARD_POINTS, {25, LINE_TOP, 390, 20}, LINE_PITCH);
    Controls.Rows[uiRow++] = InfoLineRow(&pMainBoardLblInfo, &pMainBoardStrInfo);
    Controls.Rows[uiRow] = BackButtonRow(&pMainBoardBtnBack, BackTo<FrmMain>);
    return Controls;
}

static constexpr MAINBOARD_CONTROLS MainBoardControls = MakeControls();

static const SCREEN MainBoardScreen = {
    &pFrmMainBoard,
    {MainBoardWndKey_Down, MainBoardWndKey_Up, nullptr, nullptr, MainBoardErrProc_Func},
    Table(MainBoardFonts),
    Table(MainBoardStrings),
    Table(MainBoardControls.Rows),
};

// ---- Entry points ----

int FrmMainBoardInit(void* pWndObj) {
    CreateScreen(MainBoardScreen, static_cast<GUIWINDOW*>(pWndObj));
    SetPictureEnable(0, pMainBoardShield);
    return 0;
}

int FrmMainBoardPaint(void*) {
    return PaintScreen(MainBoardScreen);
}

int FrmMainBoardExit(void*) {
    return DestroyScreen(MainBoardScreen);
}

void FrmMainBoardRelease() {
    VisibleClose();
}
