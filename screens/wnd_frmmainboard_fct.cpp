#include "screens/wnd_frmmainboard_fct.h"

#include "device/serial_link.h"
#include "screens/mainboard_check.h"
#include "screens/wnd_frmkeycheck.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_screen.h"

constexpr COLOR COLOR_PASS = 0x00FF00;
constexpr COLOR COLOR_FAIL = 0xFF0000;

MAINBOARD_RESULT MainBoardResult = {};

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

static GUIPICTURE *pMainBoardBtnF1 = nullptr, *pMainBoardBtnF2 = nullptr, *pMainBoardBtnF3 = nullptr;
static GUIPICTURE *pMainBoardBtnF4 = nullptr, *pMainBoardBtnF5 = nullptr, *pMainBoardBtnF6 = nullptr;
static GUIPICTURE *pMainBoardBtnF7 = nullptr, *pMainBoardBtnF11 = nullptr, *pMainBoardBtnF21 = nullptr;
static GUIPICTURE *pMainBoardBtnF31 = nullptr, *pMainBoardBtnF41 = nullptr, *pMainBoardBtnF51 = nullptr;
static GUIPICTURE *pMainBoardBtnF61 = nullptr, *pMainBoardBtnF71 = nullptr, *pMainBoardBtnF12 = nullptr;
static GUIPICTURE *pMainBoardBtnF22 = nullptr, *pMainBoardBtnF32 = nullptr, *pMainBoardBtnF42 = nullptr;
static GUIPICTURE* pMainBoardBtnF52 = nullptr;

static GUILABEL *pMainBoardLblF1 = nullptr, *pMainBoardLblF2 = nullptr, *pMainBoardLblF3 = nullptr;
static GUILABEL *pMainBoardLblF4 = nullptr, *pMainBoardLblF5 = nullptr, *pMainBoardLblF6 = nullptr;
static GUILABEL *pMainBoardLblF7 = nullptr, *pMainBoardLblF11 = nullptr, *pMainBoardLblF21 = nullptr;
static GUILABEL *pMainBoardLblF31 = nullptr, *pMainBoardLblF41 = nullptr, *pMainBoardLblF51 = nullptr;
static GUILABEL *pMainBoardLblF61 = nullptr, *pMainBoardLblF71 = nullptr, *pMainBoardLblF12 = nullptr;
static GUILABEL *pMainBoardLblF22 = nullptr, *pMainBoardLblF32 = nullptr, *pMainBoardLblF42 = nullptr;
static GUILABEL* pMainBoardLblF52 = nullptr;

// ---- Buttons ----

// Row numbers of Buttons.
enum MAINBOARD_BTN {
    F1,
    F2,
    F3,
    F4,
    F5,
    F6,
    F7,  // first column
    F11,
    F21,
    F31,
    F41,
    F51,
    F61,
    F71,  // second
    F12,
    F22,
    F32,
    F42,
    F52,  // third
    MAINBOARD_BTN_COUNT,
};

template <MAINBOARD_BTN Btn>
static int MainBoardBtn_Down(void* pInArg, int iInLen, void* pOutArg, int iOutLen);
template <MAINBOARD_BTN Btn>
static int MainBoardBtn_Up(void* pInArg, int iInLen, void* pOutArg, int iOutLen);
static int MainBoardBtnF4_Up(void* pInArg, int iInLen, void* pOutArg, int iOutLen);
static int MainBoardBtnF52_Up(void* pInArg, int iInLen, void* pOutArg, int iOutLen);
static void ConnectCheck();

constexpr MSGFUNC MainBoardBtnF1_Down = MainBoardBtn_Down<F1>, MainBoardBtnF1_Up = MainBoardBtn_Up<F1>;
constexpr MSGFUNC MainBoardBtnF2_Down = MainBoardBtn_Down<F2>, MainBoardBtnF2_Up = MainBoardBtn_Up<F2>;
constexpr MSGFUNC MainBoardBtnF3_Down = MainBoardBtn_Down<F3>, MainBoardBtnF3_Up = MainBoardBtn_Up<F3>;
constexpr MSGFUNC MainBoardBtnF4_Down = MainBoardBtn_Down<F4>;
constexpr MSGFUNC MainBoardBtnF5_Down = MainBoardBtn_Down<F5>, MainBoardBtnF5_Up = MainBoardBtn_Up<F5>;
constexpr MSGFUNC MainBoardBtnF6_Down = MainBoardBtn_Down<F6>, MainBoardBtnF6_Up = MainBoardBtn_Up<F6>;
constexpr MSGFUNC MainBoardBtnF7_Down = MainBoardBtn_Down<F7>, MainBoardBtnF7_Up = MainBoardBtn_Up<F7>;
constexpr MSGFUNC MainBoardBtnF11_Down = MainBoardBtn_Down<F11>, MainBoardBtnF11_Up = MainBoardBtn_Up<F11>;
constexpr MSGFUNC MainBoardBtnF21_Down = MainBoardBtn_Down<F21>, MainBoardBtnF21_Up = MainBoardBtn_Up<F21>;
constexpr MSGFUNC MainBoardBtnF31_Down = MainBoardBtn_Down<F31>, MainBoardBtnF31_Up = MainBoardBtn_Up<F31>;
constexpr MSGFUNC MainBoardBtnF41_Down = MainBoardBtn_Down<F41>, MainBoardBtnF41_Up = MainBoardBtn_Up<F41>;
constexpr MSGFUNC MainBoardBtnF51_Down = MainBoardBtn_Down<F51>, MainBoardBtnF51_Up = MainBoardBtn_Up<F51>;
constexpr MSGFUNC MainBoardBtnF61_Down = MainBoardBtn_Down<F61>, MainBoardBtnF61_Up = MainBoardBtn_Up<F61>;
constexpr MSGFUNC MainBoardBtnF71_Down = MainBoardBtn_Down<F71>, MainBoardBtnF71_Up = MainBoardBtn_Up<F71>;
constexpr MSGFUNC MainBoardBtnF12_Down = MainBoardBtn_Down<F12>, MainBoardBtnF12_Up = MainBoardBtn_Up<F12>;
constexpr MSGFUNC MainBoardBtnF22_Down = MainBoardBtn_Down<F22>, MainBoardBtnF22_Up = MainBoardBtn_Up<F22>;
constexpr MSGFUNC MainBoardBtnF32_Down = MainBoardBtn_Down<F32>, MainBoardBtnF32_Up = MainBoardBtn_Up<F32>;
constexpr MSGFUNC MainBoardBtnF42_Down = MainBoardBtn_Down<F42>, MainBoardBtnF42_Up = MainBoardBtn_Up<F42>;
constexpr MSGFUNC MainBoardBtnF52_Down = MainBoardBtn_Down<F52>;

struct MAINBOARD_BUTTON {
    GUIPICTURE** ppBtn;
    GUILABEL** ppLbl;
    unsigned x;
    unsigned y;
    const char* pCaption;
    void (*fnCheck)();  // null: look only
    MSGFUNC fnDown;
    MSGFUNC fnUp;
};

static constexpr MAINBOARD_BUTTON Buttons[] = {
    {&pMainBoardBtnF1, &pMainBoardLblF1, 600, 35, "Voltage Check", MainBoardFCTShow, MainBoardBtnF1_Down,
     MainBoardBtnF1_Up},
    {&pMainBoardBtnF2, &pMainBoardLblF2, 600, 95, "ADC", AdcCheck, MainBoardBtnF2_Down, MainBoardBtnF2_Up},
    {&pMainBoardBtnF3, &pMainBoardLblF3, 435, 155, "Arm Eeprom", ArmEepromCheck, MainBoardBtnF3_Down,
     MainBoardBtnF3_Up},
    {&pMainBoardBtnF4, &pMainBoardLblF4, 435, 215, "Key Check", nullptr, MainBoardBtnF4_Down,
     MainBoardBtnF4_Up},
    {&pMainBoardBtnF5, &pMainBoardLblF5, 435, 275, "Speaker Check", SpeakerCheck, MainBoardBtnF5_Down,
     MainBoardBtnF5_Up},
    {&pMainBoardBtnF6, &pMainBoardLblF6, 435, 335, "USB Check", ShowUsbCheck, MainBoardBtnF6_Down,
     MainBoardBtnF6_Up},
    {&pMainBoardBtnF7, &pMainBoardLblF7, 435, 395, "", nullptr, MainBoardBtnF7_Down, MainBoardBtnF7_Up},
    {&pMainBoardBtnF11, &pMainBoardLblF11, 435, 64, "Connect", ConnectCheck, MainBoardBtnF11_Down,
     MainBoardBtnF11_Up},
    {&pMainBoardBtnF21, &pMainBoardLblF21, 650, 95, "", nullptr, MainBoardBtnF21_Down, MainBoardBtnF21_Up},
    {&pMainBoardBtnF31, &pMainBoardLblF31, 555, 155, "FPGA DDR", FpgaDdrCheck, MainBoardBtnF31_Down,
     MainBoardBtnF31_Up},
    {&pMainBoardBtnF41, &pMainBoardLblF41, 555, 215, "Visible Check", VisibleOnOff, MainBoardBtnF41_Down,
     MainBoardBtnF41_Up},
    {&pMainBoardBtnF51, &pMainBoardLblF51, 555, 275, "battery voltage", BatteryCheck, MainBoardBtnF51_Down,
     MainBoardBtnF51_Up},
    {&pMainBoardBtnF61, &pMainBoardLblF61, 555, 335, "RTC", RtcCheck, MainBoardBtnF61_Down,
     MainBoardBtnF61_Up},
    {&pMainBoardBtnF71, &pMainBoardLblF71, 555, 395, "SDcard Check", ShowSDcardCheck, MainBoardBtnF71_Down,
     MainBoardBtnF71_Up},
    {&pMainBoardBtnF12, &pMainBoardLblF12, 675, 155, "", nullptr, MainBoardBtnF12_Down, MainBoardBtnF12_Up},
    {&pMainBoardBtnF22, &pMainBoardLblF22, 675, 215, "", nullptr, MainBoardBtnF22_Down, MainBoardBtnF22_Up},
    {&pMainBoardBtnF32, &pMainBoardLblF32, 675, 275, "", nullptr, MainBoardBtnF32_Down, MainBoardBtnF32_Up},
    {&pMainBoardBtnF42, &pMainBoardLblF42, 675, 335, "", nullptr, MainBoardBtnF42_Down, MainBoardBtnF42_Up},
    {&pMainBoardBtnF52, &pMainBoardLblF52, 675, 395, "Auto", nullptr, MainBoardBtnF52_Down,
     MainBoardBtnF52_Up},
};
static_assert(sizeof(Buttons) / sizeof(Buttons[0]) == MAINBOARD_BTN_COUNT, "one row a button");

// Those that need the measurement board.
static const MAINBOARD_BTN BoardButtons[] = {F1, F2, F52};

// The auto run, in this order.
static const MAINBOARD_BTN AutoButtons[] = {F1, F2, F3, F5, F6, F31, F41, F51, F61, F71};
constexpr unsigned AUTO_PAUSE_MS = 30;

// ---- Result area ----

static void ShowResultText(GUICHAR** ppStr, GUILABEL* pLabel, const char* pText, bool bPass,
                           GUIPICTURE* pBackGround) {
    UseLabelFont(bPass ? pMainBoardFntRight : pMainBoardFntWrong, pLabel);
    UpdateLabelText(ppStr, pText, pLabel, pBackGround);
}

void MainBoardClearResult() {
    ShowBackground(pMainBoardPicDataDispaly);
}

void MainBoardShowResult(const char* pText, bool bPass) {
    ShowResultText(&pMainBoardStrResult, pMainBoardLblResult, pText, bPass, pMainBoardPicDataDispaly);
}

void MainBoardShowLine(int iLine, const char* pText, bool bPass) {
    if (iLine >= 0 && iLine < MAINBOARD_POINTS)
        ShowResultText(&pMainBoardStrDataLine[iLine], pMainBoardLblDataLine[iLine], pText, bPass, nullptr);
}

int FrmMainBoardSetInfo(const char* pInfo) {
    static const SCREEN_INFO_LINE InfoLine = {&pMainBoardStrInfo, &pMainBoardLblInfo, &pMainBoardBarInfo,
                                              &pMainBoardBtnBack};
    return ShowInfoLine(InfoLine, pInfo);
}

// ---- Enabling ----

int FrmMainBoardSetBtnEnable(GUIPICTURE* pObjBtn, GUILABEL* pObjLbl) {
    return ShowLook(pObjBtn, pObjLbl, BMP_BTN_ENABLE, COLOR_NONE);
}

int FrmMainBoardSetBtnDisable(GUIPICTURE* pObjBtn, GUILABEL* pObjLbl) {
    return ShowLook(pObjBtn, pObjLbl, BMP_BTN_DISABLE, COLOR_NONE);
}

static void ConnectCheck() {
    SerialInitThd2(nullptr);
    const bool bConnected = IsBoardConnected();
    FrmMainBoardSetInfo(bConnected ? "Connect success!!!" : "Connect fail!!!");
    for (const MAINBOARD_BTN Btn : BoardButtons) {
        GUIPICTURE* pBtn = *Buttons[Btn].ppBtn;
        if (bConnected)
            FrmMainBoardSetBtnEnable(pBtn, *Buttons[Btn].ppLbl);
        else
            FrmMainBoardSetBtnDisable(pBtn, *Buttons[Btn].ppLbl);
        SetPictureEnable(bConnected, pBtn);
    }
}

// The look as created, before the first painting.
static void DisableBoardButtons() {
    for (const MAINBOARD_BTN Btn : BoardButtons) {
        SetPictureBitmap(BMP_BTN_DISABLE, *Buttons[Btn].ppBtn);
        SetPictureEnable(0, *Buttons[Btn].ppBtn);
    }
}

// ---- Handlers ----

static int PressButton(const MAINBOARD_BUTTON& Button) {
    return ShowBtn_FuncDown(*Button.ppBtn, *Button.ppLbl);
}

static int ReleaseButton(const MAINBOARD_BUTTON& Button) {
    ShowBtn_FuncUp(*Button.ppBtn, *Button.ppLbl);
    if (Button.fnCheck == nullptr)
        return 0;
    SetPictureEnable(1, pMainBoardShield);
    Button.fnCheck();
    SetPictureEnable(0, pMainBoardShield);
    return 0;
}

template <MAINBOARD_BTN Btn>
static int MainBoardBtn_Down(void*, int, void*, int) {
    return PressButton(Buttons[Btn]);
}

template <MAINBOARD_BTN Btn>
static int MainBoardBtn_Up(void*, int, void*, int) {
    return ReleaseButton(Buttons[Btn]);
}

static int MainBoardBtnF4_Up(void*, int, void*, int) {
    ShowBtn_FuncUp(pMainBoardBtnF4, pMainBoardLblF4);
    SwitchScreen(pFrmMainBoard, FrmKeyCheck);
    return 0;
}

static void RunAutoChecks() {
    for (const MAINBOARD_BTN Btn : AutoButtons) {
        PressButton(Buttons[Btn]);
        Buttons[Btn].fnCheck();
        ShowBtn_FuncUp(*Buttons[Btn].ppBtn, *Buttons[Btn].ppLbl);
        if (WaitUnlessExit(AUTO_PAUSE_MS) != 0)
            return;
    }
}

static void ShowSummary() {
    static const char* const AdcTexts[] = {"ADC Check not OK!", "ADC Check OK!",
                                           "ADC Check ERROR, Maybe not connect!"};
    const MAINBOARD_RESULT& Result = MainBoardResult;
    const struct {
        bool bPass;
        const char* pPassText;
        const char* pFailText;
    } Lines[] = {
        {Result.ValFlag == MAINBOARD_POINTS, "Voltage Check OK!", "Voltage Check ERROR!"},
        {Result.EepromFlag == 1, "Arm Eeprom Check OK!", "Arm Eeprom Check ERROR!"},
        {Result.UsbFlag == 1, "Usb Check OK!", "Usb Check ERROR!"},
        {Result.DdrFlag == 1, "FPGA DDR Check OK!", "FPGA DDR Check ERROR!"},
        {Result.AdcFlag == ADC_FLAG_PASS, AdcTexts[Result.AdcFlag], AdcTexts[Result.AdcFlag]},
        {Result.SDcardFlag == 1, "SDcard Check OK!", "SDcard Check ERROR!"},
    };
    MainBoardClearResult();
    int iLine = 0;
    for (const auto& Line : Lines)
        MainBoardShowLine(iLine++, Line.bPass ? Line.pPassText : Line.pFailText, Line.bPass);
}

static int MainBoardBtnF52_Up(void*, int, void*, int) {
    SetPictureEnable(1, pMainBoardShield);
    RunAutoChecks();
    ShowSummary();
    ShowBtn_FuncUp(pMainBoardBtnF52, pMainBoardLblF52);
    SetPictureEnable(0, pMainBoardShield);
    return 0;
}

static int MainBoardBtnBack_Up(void*, int, void*, int) {
    SwitchScreen(pFrmMainBoard, FrmMain);
    return 0;
}

constexpr MSGFUNC MainBoardBtnBack_Down = NoAction;
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
    SCREEN_CONTROL Rows[ROWS_BEFORE + MAINBOARD_BTN_COUNT + ROWS_AFTER];
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
    for (const MAINBOARD_BUTTON& Button : Buttons)
        Controls.Rows[uiRow++] = ButtonRow(Button.x, Button.y, Button.pCaption, Button.ppBtn, Button.ppLbl,
                                           Button.fnDown, Button.fnUp);
    Controls.Rows[uiRow++] = LabelRow(&pMainBoardLblResult, {60, 220, 300, 100}, GUILABEL_LEFT, nullptr);
    Controls.Rows[uiRow++] =
        LinesRow(pMainBoardLblDataLine, MAINBOARD_POINTS, {25, LINE_TOP, 390, 20}, LINE_PITCH);
    Controls.Rows[uiRow++] = InfoLineRow(&pMainBoardLblInfo, &pMainBoardStrInfo);
    Controls.Rows[uiRow] = BackButtonRow(&pMainBoardBtnBack, MainBoardBtnBack_Down, MainBoardBtnBack_Up);
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
    if (!IsBoardConnected())
        DisableBoardButtons();
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
