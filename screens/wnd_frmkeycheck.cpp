#include "screens/wnd_frmkeycheck.h"

#include <stdio.h>

#include "gui/guikeypad.h"
#include "screens/wnd_frmmainboard_fct.h"
#include "screens/wnd_screen.h"

static GUIWINDOW* pFrmKeyCheck = nullptr;
static GUIPICTURE* pKeyCheckBarStatus = nullptr;
static GUIPICTURE* pKeyCheckBgDesk = nullptr;
static GUIPICTURE* pKeyCheckBarInfo = nullptr;
static GUILABEL* pKeyCheckLblTitle = nullptr;
static GUIPICTURE* pKeyCheckBtnBack = nullptr;

static GUIPICTURE *pKeyCheckBtnMenu = nullptr, *pKeyCheckBtnF1 = nullptr, *pKeyCheckBtnF2 = nullptr;
static GUIPICTURE *pKeyCheckBtnF3 = nullptr, *pKeyCheckBtnF4 = nullptr, *pKeyCheckBtnF5 = nullptr;
static GUIPICTURE *pKeyCheckBtnEsc = nullptr, *pKeyCheckBtnFile = nullptr, *pKeyCheckBtnScale = nullptr;
static GUIPICTURE *pKeyCheckBtnSetup = nullptr, *pKeyCheckBtnRealt = nullptr, *pKeyCheckBtnAvg = nullptr;
static GUIPICTURE *pKeyCheckBtnUp = nullptr, *pKeyCheckBtnDown = nullptr, *pKeyCheckBtnLeft = nullptr;
static GUIPICTURE *pKeyCheckBtnRight = nullptr, *pKeyCheckBtnEnter = nullptr, *pKeyCheckBtnKnob = nullptr;
static GUIPICTURE *pKeyCheckBtnClock = nullptr, *pKeyCheckBtnAnti = nullptr;

static GUILABEL *pKeyCheckLblMenu = nullptr, *pKeyCheckLblF1 = nullptr, *pKeyCheckLblF2 = nullptr;
static GUILABEL *pKeyCheckLblF3 = nullptr, *pKeyCheckLblF4 = nullptr, *pKeyCheckLblF5 = nullptr;
static GUILABEL *pKeyCheckLblEsc = nullptr, *pKeyCheckLblFile = nullptr, *pKeyCheckLblScale = nullptr;
static GUILABEL *pKeyCheckLblSetup = nullptr, *pKeyCheckLblRealt = nullptr, *pKeyCheckLblAvg = nullptr;
static GUILABEL *pKeyCheckLblUp = nullptr, *pKeyCheckLblDown = nullptr, *pKeyCheckLblLeft = nullptr;
static GUILABEL *pKeyCheckLblRight = nullptr, *pKeyCheckLblEnter = nullptr, *pKeyCheckLblKnob = nullptr;
static GUILABEL *pKeyCheckLblClock = nullptr, *pKeyCheckLblAnti = nullptr;

// ---- Looks ----

struct KEY_LOOK {
    const char* pPressed;
    const char* pReleased;
};

static constexpr KEY_LOOK LookEnter = {BITMAP_DIR "enter_press.bmp", BITMAP_DIR "enter_unpress.bmp"};
static constexpr KEY_LOOK LookKey = {BITMAP_DIR "key_press.bmp", BITMAP_DIR "key_unpress.bmp"};
static constexpr KEY_LOOK LookUp = {BITMAP_DIR "up_press.bmp", BITMAP_DIR "up_unpress.bmp"};
static constexpr KEY_LOOK LookDown = {BITMAP_DIR "down_press.bmp", BITMAP_DIR "down_unpress.bmp"};
static constexpr KEY_LOOK LookLeft = {BITMAP_DIR "left_press.bmp", BITMAP_DIR "left_unpress.bmp"};
static constexpr KEY_LOOK LookRight = {BITMAP_DIR "right_press.bmp", BITMAP_DIR "right_unpress.bmp"};

template <const KEY_LOOK& Look>
static int ShowKeyCheckBtn_FuncDown(GUIPICTURE* pBtnFx, GUILABEL* pLblFx) {
    return ShowLook(pBtnFx, pLblFx, Look.pPressed, COLOR_CAPTION_PRESSED);
}

template <const KEY_LOOK& Look>
static int ShowKeyCheckBtn_FuncUp(GUIPICTURE* pBtnFx, GUILABEL* pLblFx) {
    return ShowLook(pBtnFx, pLblFx, Look.pReleased, COLOR_NONE);
}

typedef int (*LOOK_FUNC)(GUIPICTURE* pBtnFx, GUILABEL* pLblFx);
constexpr LOOK_FUNC ShowKeyCheckBtn_FuncDown_Enter = ShowKeyCheckBtn_FuncDown<LookEnter>;
constexpr LOOK_FUNC ShowKeyCheckBtn_FuncUp_Enter = ShowKeyCheckBtn_FuncUp<LookEnter>;
constexpr LOOK_FUNC ShowKeyCheckBtn_FuncDown_Key = ShowKeyCheckBtn_FuncDown<LookKey>;
constexpr LOOK_FUNC ShowKeyCheckBtn_FuncUp_Key = ShowKeyCheckBtn_FuncUp<LookKey>;
constexpr LOOK_FUNC ShowKeyCheckBtn_FuncDown_Left = ShowKeyCheckBtn_FuncDown<LookLeft>;
constexpr LOOK_FUNC ShowKeyCheckBtn_FuncUp_Left = ShowKeyCheckBtn_FuncUp<LookLeft>;
constexpr LOOK_FUNC ShowKeyCheckBtn_FuncDown_Right = ShowKeyCheckBtn_FuncDown<LookRight>;
constexpr LOOK_FUNC ShowKeyCheckBtn_FuncUp_Right = ShowKeyCheckBtn_FuncUp<LookRight>;

// What a kind of key looks like as created, pressed and released.
struct KEY_STYLE {
    const char* pBitmap;
    LOOK_FUNC fnDown;
    LOOK_FUNC fnUp;
    unsigned uiCaptionWidth;
};

static constexpr KEY_STYLE EnterKey = {LookEnter.pReleased, ShowKeyCheckBtn_FuncDown_Enter,
                                       ShowKeyCheckBtn_FuncUp_Enter, 100};
static constexpr KEY_STYLE PlainKey = {LookKey.pReleased, ShowKeyCheckBtn_FuncDown_Key,
                                       ShowKeyCheckBtn_FuncUp_Key, 80};
static constexpr KEY_STYLE LeftKey = {LookLeft.pReleased, ShowKeyCheckBtn_FuncDown_Left,
                                      ShowKeyCheckBtn_FuncUp_Left, 80};
static constexpr KEY_STYLE RightKey = {LookRight.pReleased, ShowKeyCheckBtn_FuncDown_Right,
                                       ShowKeyCheckBtn_FuncUp_Right, 80};
static constexpr KEY_STYLE UpKey = {LookUp.pReleased, ShowKeyCheckBtn_FuncDown<LookUp>,
                                    ShowKeyCheckBtn_FuncUp<LookUp>, 80};
static constexpr KEY_STYLE DownKey = {LookDown.pReleased, ShowKeyCheckBtn_FuncDown<LookDown>,
                                      ShowKeyCheckBtn_FuncUp<LookDown>, 80};

// ---- Keys ----

constexpr int NOT_A_KEY = 0;  // lit by a knob step

struct KEY_ROW {
    int iCode;
    GUIPICTURE** ppBtn;
    SCREEN_AREA Area;
    const KEY_STYLE* pStyle;
    const char* pCaption;
    GUILABEL** ppLbl;
    unsigned uiCaptionX;
    unsigned uiCaptionY;
};
constexpr unsigned CAPTION_HEIGHT = 50;

// clang-format off
static constexpr KEY_ROW Keys[] = {
    {GUIKEY_MENU,  &pKeyCheckBtnMenu,  {30, 50, 120, 60},   &EnterKey, "Menu",  &pKeyCheckLblMenu,  20, 60},
    {GUIKEY_F1,    &pKeyCheckBtnF1,    {30, 150, 120, 60},  &EnterKey, "F1",    &pKeyCheckLblF1,    20, 160},
    {GUIKEY_F2,    &pKeyCheckBtnF2,    {30, 250, 120, 60},  &EnterKey, "F2",    &pKeyCheckLblF2,    20, 260},
    {GUIKEY_F3,    &pKeyCheckBtnF3,    {30, 350, 120, 60},  &EnterKey, "F3",    &pKeyCheckLblF3,    20, 360},
    {GUIKEY_F4,    &pKeyCheckBtnF4,    {140, 50, 120, 60},  &EnterKey, "F4",    &pKeyCheckLblF4,    130, 60},
    {GUIKEY_F5,    &pKeyCheckBtnF5,    {140, 150, 120, 60}, &EnterKey, "F5",    &pKeyCheckLblF5,    130, 160},
    {GUIKEY_ESC,   &pKeyCheckBtnEsc,   {140, 250, 120, 60}, &EnterKey, "Esc",   &pKeyCheckLblEsc,   130, 260},
    {GUIKEY_FILE,  &pKeyCheckBtnFile,  {140, 350, 120, 60}, &EnterKey, "File",  &pKeyCheckLblFile,  130, 360},
    {GUIKEY_SCALE, &pKeyCheckBtnScale, {280, 50, 120, 60},  &EnterKey, "Scale", &pKeyCheckLblScale, 270, 60},
    {GUIKEY_SETUP, &pKeyCheckBtnSetup, {400, 50, 120, 60},  &EnterKey, "Setup", &pKeyCheckLblSetup, 390, 60},
    {GUIKEY_REALT, &pKeyCheckBtnRealt, {280, 350, 120, 60}, &EnterKey, "Realt", &pKeyCheckLblRealt, 270, 360},
    {GUIKEY_AVG,   &pKeyCheckBtnAvg,   {400, 350, 120, 60}, &EnterKey, "Avg",   &pKeyCheckLblAvg,   390, 360},
    {GUIKEY_UP,    &pKeyCheckBtnUp,    {355, 130, 70, 70},  &UpKey,    "Up",    &pKeyCheckLblUp,    340, 140},
    {GUIKEY_DOWN,  &pKeyCheckBtnDown,  {355, 275, 70, 70},  &DownKey,  "Down",  &pKeyCheckLblDown,  340, 284},
    {GUIKEY_LEFT,  &pKeyCheckBtnLeft,  {285, 200, 70, 70},  &LeftKey,  "Left",  &pKeyCheckLblLeft,  268, 208},
    {GUIKEY_RIGHT, &pKeyCheckBtnRight, {425, 200, 70, 70},  &RightKey, "Right", &pKeyCheckLblRight, 410, 208},
    {GUIKEY_ENTER, &pKeyCheckBtnEnter, {355, 200, 70, 70},  &PlainKey, "Enter", &pKeyCheckLblEnter, 340, 208},
    {GUIKEY_KNOB,  &pKeyCheckBtnKnob,  {620, 200, 70, 70},  &PlainKey, "Knob",  &pKeyCheckLblKnob,  605, 208},
    {NOT_A_KEY,    &pKeyCheckBtnClock, {690, 200, 70, 70},  &RightKey, "Clock", &pKeyCheckLblClock, 675, 208},
    {NOT_A_KEY,    &pKeyCheckBtnAnti,  {550, 200, 70, 70},  &LeftKey,  "Anti",  &pKeyCheckLblAnti,  535, 208},
};
// clang-format on
constexpr size_t KEY_COUNT = sizeof(Keys) / sizeof(Keys[0]);

static const KEY_ROW* FindKey(int iCode) {
    for (const KEY_ROW& Key : Keys)
        if (iCode != NOT_A_KEY && Key.iCode == iCode)
            return &Key;
    return nullptr;
}

static int KeyCheckWndKey_Down(void* pInArg, int, void*, int) {
    const KEY_ROW* pKey = FindKey(static_cast<int>(reinterpret_cast<uintptr_t>(pInArg)));
    return pKey == nullptr ? 0 : pKey->pStyle->fnDown(*pKey->ppBtn, *pKey->ppLbl);
}

static int KeyCheckWndKey_Up(void* pInArg, int, void*, int) {
    const KEY_ROW* pKey = FindKey(static_cast<int>(reinterpret_cast<uintptr_t>(pInArg)));
    return pKey == nullptr ? 0 : pKey->pStyle->fnUp(*pKey->ppBtn, *pKey->ppLbl);
}

// ---- Knob ----

constexpr unsigned KNOB_FLASH_MS = 100;

static int Flash(const KEY_STYLE& Style, GUIPICTURE* pBtn, GUILABEL* pLbl) {
    Style.fnDown(pBtn, pLbl);
    WaitUnlessExit(KNOB_FLASH_MS);
    return Style.fnUp(pBtn, pLbl);
}

static int KeyCheckWndKnob_Clock(void*, int, void*, int) {
    return Flash(RightKey, pKeyCheckBtnClock, pKeyCheckLblClock);
}

static int KeyCheckWndKnob_Anti(void*, int, void*, int) {
    return Flash(LeftKey, pKeyCheckBtnAnti, pKeyCheckLblAnti);
}

// ---- Tables ----

constexpr MSGFUNC KeyCheckBtnBack_Down = NoAction;
constexpr MSGFUNC KeyCheckErrProc_Func = NoAction;
constexpr MSGFUNC KeyCheckBtnBack_Up = BackTo<FrmMainBoard>;

// The standard rows around one row a key.
struct KEYCHECK_CONTROLS {
    SCREEN_CONTROL Rows[4 + KEY_COUNT + 1];
};

static constexpr KEYCHECK_CONTROLS MakeControls() {
    KEYCHECK_CONTROLS Controls = {{
        StatusBarRow(&pKeyCheckBarStatus),
        BackgroundRow(&pKeyCheckBgDesk, BITMAP_DIR "bg_desk.bmp"),
        InfoBarRow(&pKeyCheckBarInfo),
        TitleRow(&pKeyCheckLblTitle, "Key Check"),
    }};
    size_t uiRow = 4;
    for (const KEY_ROW& Key : Keys)
        Controls.Rows[uiRow++] =
            TouchRow(Key.ppBtn, Key.Area, Key.pStyle->pBitmap, Key.ppLbl,
                     {Key.uiCaptionX, Key.uiCaptionY, Key.pStyle->uiCaptionWidth, CAPTION_HEIGHT},
                     Key.pCaption, nullptr, nullptr, nullptr);
    Controls.Rows[uiRow] = BackButtonRow(&pKeyCheckBtnBack, KeyCheckBtnBack_Up, KeyCheckBtnBack_Down);
    return Controls;
}

static constexpr KEYCHECK_CONTROLS KeyCheckControls = MakeControls();

static const SCREEN KeyCheckScreen = {
    &pFrmKeyCheck,
    {KeyCheckWndKey_Down, KeyCheckWndKey_Up, KeyCheckWndKnob_Clock, KeyCheckWndKnob_Anti,
     KeyCheckErrProc_Func},
    {},
    {},
    Table(KeyCheckControls.Rows),
};

// ---- Entry points ----

int FrmKeyCheckInit(void* pWndObj) {
    return CreateScreen(KeyCheckScreen, static_cast<GUIWINDOW*>(pWndObj));
}

int FrmKeyCheckPaint(void*) {
    return PaintScreen(KeyCheckScreen, "FrmKeyCheckPaint");
}

int FrmKeyCheckExit(void*) {
    DropScreenMessages(KeyCheckScreen);
    printf("%s    %d\n", "FrmKeyCheckExit", 1);
    DestroyScreenControls(KeyCheckScreen);
    printf("%s    %d\n", "FrmKeyCheckExit", 2);
    return 0;
}
