#include "screens/wnd_frmpulsewidth.h"

#include "device/common_opt.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_screen.h"

constexpr int MODES = 6;
constexpr unsigned DATA_LINES = 20;

static GUIWINDOW* pFrmPulseWid = nullptr;
static GUIFONT* pPulseWidFntWrong = nullptr;
static GUIFONT* pPulseWidFntRight = nullptr;

static GUICHAR* pPulseWidStrTitle = nullptr;
static GUICHAR* pPulseWidStrF[MODES] = {};
static GUICHAR* pPulseWidStrData = nullptr;
static GUICHAR* pPulseWidStrInfo = nullptr;

static GUIPICTURE* pPulseWidBarStatus = nullptr;
static GUIPICTURE* pPulseWidBgDesk = nullptr;
static GUIPICTURE* pPulseWidBarInfo = nullptr;
static GUIPICTURE* pPulseWidBtnF[MODES] = {};
static GUIPICTURE* pPulseWidPicData = nullptr;
static GUIPICTURE* pPulseWidBtnBack = nullptr;

static GUILABEL* pPulseWidLblTitle = nullptr;
static GUILABEL* pPulseWidLblF[MODES] = {};
static GUILABEL* pPulseWidLblData = nullptr;
static GUILABEL* pPulseWidLblDataLine[DATA_LINES] = {};
static GUILABEL* pPulseWidLblInfo = nullptr;

// ---- Laser configurations ----

struct PULSE_REG {
    uint32_t uiAddr;
    uint16_t usValue[MODES];  // one a mode
};

static const PULSE_REG PulseRegs[] = {
    {OPM_CTRL0_REG, {0x6307, 0x6300, 0x6300, 0x6307, 0x6303, 0x6301}},
    {OPM_CTRL1_REG, {0x111, 0x171, 0x151, 0x151, 0x151, 0x151}},
    {OPM_ATT0_REG, {0x378, 0x378, 0x378, 0x378, 0x378, 0x378}},
    {OPM_VDD_REG, {0x840, 0x840, 0x840, 0x6C9, 0x840, 0x840}},
    {OPM_APD_REG, {0x7DD, 0x7DD, 0x7DD, 0x7DD, 0x7DD, 0x7DD}},
    {FPGA_CTRLOUT_REG, {0x7F8, 0x7F8, 0x7F8, 0x7F8, 0x7F8, 0x7F8}},
    {OPM_ACQ_18_REG, {4, 0, 0, 4, 4, 4}},
    {OPM_ACQ_1E_REG, {8, 8, 8, 8, 8, 8}},
    {OPM_ACQ_1C_REG, {0, 0, 0, 0, 0, 0}},
    {OPM_ACQ_1A_REG, {0x1000, 0x1000, 0x1000, 0x1000, 0x1000, 0x1000}},
    {OPM_ACQ_20_REG, {0x200, 0x200, 0x200, 0x200, 0x200, 0x200}},
    {OPM_ACQ_CTRL_REG, {ACQ_START, ACQ_START, ACQ_START, ACQ_START, ACQ_START, ACQ_START}},
};
constexpr size_t PULSE_REGS = sizeof(PulseRegs) / sizeof(PulseRegs[0]);
constexpr uint16_t PULSE_STEP_MS = 200;
constexpr uint16_t PULSE_LAST_MS = 2000;

static int PulseMode(int iMode) {
    REG_STEP steps[PULSE_REGS] = {};
    for (size_t i = 0; i < PULSE_REGS; ++i)
        steps[i] = {PulseRegs[i].uiAddr, PulseRegs[i].usValue[iMode], PULSE_STEP_MS};
    steps[PULSE_REGS - 1].usMsec = PULSE_LAST_MS;
    fpga_init(cFpgaFileName);
    MsecSleep(PULSE_STEP_MS);
    RunRegSequence(opticFD, steps);
    return 0;
}

int PulseMode1() {
    return PulseMode(0);
}

int PulseMode2() {
    return PulseMode(1);
}

int PulseMode3() {
    return PulseMode(2);
}

int PulseMode4() {
    return PulseMode(3);
}

int PulseMode5() {
    return PulseMode(4);
}

int PulseMode6() {
    return PulseMode(5);
}

struct PULSE_MODE {
    int (*fnMode)();
    const char* pCaption;
    const char* pResult;
};

static constexpr PULSE_MODE PulseModes[MODES] = {
    {PulseMode1, "1310nm 100ns 6307Chnnel",
     "Pusle Mode1: 1310nm, 6307 Chnnel, APD Voltage = 65v, Pulse 100ns"},
    {PulseMode2, "1550nm 3ns   6300Chnnel", "Pusle Mode2: 1550nm, 6300 Chnnel, APD Voltage = 65v, Pulse 3ns"},
    {PulseMode3, "1550nm 10ns  6300Chnnel",
     "Pusle Mode3: 1550nm, 6300 Chnnel, APD Voltage = 65v, Pulse 10ns"},
    {PulseMode4, "1550nm 100ns 6307Chnnel",
     "Pusle Mode4: 1550nm, 6307 Chnnel, APD Voltage = 65v, Pulse 100ns"},
    {PulseMode5, "1550nm 100ns 6303Chnnel",
     "Pusle Mode5: 1550nm, 6303 Chnnel, APD Voltage = 65v, Pulse 100ns"},
    {PulseMode6, "1550nm 100ns 6301Chnnel",
     "Pusle Mode6 :1550nm, 6301 Chnnel, APD Voltage = 65v, Pulse 100ns"},
};

// ---- Handlers ----

static void ShowData(const char* pText) {
    UpdateLabelVerdict(&pPulseWidStrData, pText, pPulseWidFntWrong, pPulseWidLblData, pPulseWidPicData);
}

void ShowWait() {
    ShowData("Please Wait 5 Seconds......");
}

static int PulseWidBtn_Up(void*, int, void*, int) {
    const auto iMode = TouchedControl()->ppPicture - pPulseWidBtnF;
    ShowBtn_FuncUp(pPulseWidBtnF[iMode], pPulseWidLblF[iMode]);
    ShowWait();
    PulseModes[iMode].fnMode();
    ShowData(PulseModes[iMode].pResult);
    return 0;
}

constexpr MSGFUNC PulseWidBtnF1_Down = ScreenBtn_Down, PulseWidBtnF1_Up = PulseWidBtn_Up;
constexpr MSGFUNC PulseWidBtnF6_Down = ScreenBtn_Down, PulseWidBtnF6_Up = PulseWidBtn_Up;
constexpr MSGFUNC PulseWidBtnBack_Up = BackTo<FrmOpticalMain>;
constexpr MSGFUNC PulseWidBtnBack_Down = NoAction;
constexpr MSGFUNC PulseWidWndKey_Down = NoAction;
constexpr MSGFUNC PulseWidWndKey_Up = NoAction;
constexpr MSGFUNC PulseWidErrProc_Func = NoAction;

// ---- Tables ----

static const SCREEN_FONT PulseWidFonts[] = {
    {&pPulseWidFntWrong, COLOR_ORANGE},
    {&pPulseWidFntRight, COLOR_WHITE},
};

static const SCREEN_STRING PulseWidStrings[] = {
    {&pPulseWidStrTitle, "PulseWid FCT"},
    {&pPulseWidStrF[0], PulseModes[0].pCaption},
    {&pPulseWidStrF[1], PulseModes[1].pCaption},
    {&pPulseWidStrF[2], PulseModes[2].pCaption},
    {&pPulseWidStrF[3], PulseModes[3].pCaption},
    {&pPulseWidStrF[4], PulseModes[4].pCaption},
    {&pPulseWidStrF[5], PulseModes[5].pCaption},
    {&pPulseWidStrData, ""},
    {&pPulseWidStrInfo, ""},
};

static constexpr SCREEN_CONTROL ModeRow(unsigned uiMode, MSGFUNC fnDown = ScreenBtn_Down,
                                        MSGFUNC fnUp = PulseWidBtn_Up) {
    const unsigned y = 35 + 60 * uiMode;
    return TouchRow(&pPulseWidBtnF[uiMode], {650, y, 105, 53}, BMP_BTN_ENABLE, &pPulseWidLblF[uiMode],
                    {655, y + 9, 95, 53}, nullptr, &pPulseWidStrF[uiMode], fnDown, fnUp);
}

static const SCREEN_CONTROL PulseWidControls[] = {
    StatusBarRow(&pPulseWidBarStatus),
    BackgroundRow(&pPulseWidBgDesk, BITMAP_DIR "bg_desk.bmp"),
    InfoBarRow(&pPulseWidBarInfo),
    TitleRow(&pPulseWidLblTitle, nullptr, &pPulseWidStrTitle),
    ModeRow(0, PulseWidBtnF1_Down, PulseWidBtnF1_Up),
    ModeRow(1),
    ModeRow(2),
    ModeRow(3),
    ModeRow(4),
    ModeRow(5, PulseWidBtnF6_Down, PulseWidBtnF6_Up),
    LinesRow(pPulseWidLblDataLine, DATA_LINES, {25, 45, 370, 19}, 19),
    PictureRow(&pPulseWidPicData, {5, 30, 400, 400}, BITMAP_DIR "frm_dataInfo.bmp"),
    LabelRow(&pPulseWidLblData, {5, 220, 400, 100}, GUILABEL_CENTRE, nullptr, &pPulseWidStrData),
    InfoLineRow(&pPulseWidLblInfo, &pPulseWidStrInfo),
    BackButtonRow(&pPulseWidBtnBack, PulseWidBtnBack_Up, PulseWidBtnBack_Down),
};

static const SCREEN PulseWidScreen = {
    &pFrmPulseWid,           {PulseWidWndKey_Down, PulseWidWndKey_Up, nullptr, nullptr, PulseWidErrProc_Func},
    Table(PulseWidFonts),    Table(PulseWidStrings),
    Table(PulseWidControls),
};

// ---- Entry points ----

int FrmPulseWidInit(void* pWndObj) {
    return CreateScreen(PulseWidScreen, static_cast<GUIWINDOW*>(pWndObj));
}

int FrmPulseWidPaint(void*) {
    return PaintScreen(PulseWidScreen);
}

int FrmPulseWidExit(void*) {
    return DestroyScreen(PulseWidScreen);
}
