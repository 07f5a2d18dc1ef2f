#include "screens/wnd_frmopticalmain.h"

#include "measure/adjust.h"
#include "screens/wnd_frmadjust.h"
#include "screens/wnd_frmapd_adjust.h"
#include "screens/wnd_frme2prom.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_frmopm_fct.h"
#include "screens/wnd_frmoptcheck.h"
#include "screens/wnd_screen.h"

constexpr int ICONS = 6;

static GUIWINDOW* pFrmOpticalMain = nullptr;

static GUICHAR* pOpticalMainStrTitle = nullptr;
static GUICHAR* pOpticalMainStrWnd[ICONS] = {};
static GUICHAR* pOpticalMainStrInfo = nullptr;
static GUICHAR* pOpticalMainStrConnect = nullptr;
static GUICHAR* pOpticalMainStrDisconnect = nullptr;

static GUIPICTURE* pOpticalMainBarStatus = nullptr;
static GUIPICTURE* pOpticalMainBgDesk = nullptr;
static GUIPICTURE* pOpticalMainBarInfo = nullptr;
static GUIPICTURE* pOpticalMainIcoWnd[ICONS] = {};
static GUIPICTURE* pOpticalMainBtnBack = nullptr;

static GUILABEL* pOpticalMainLblTitle = nullptr;
static GUILABEL* pOpticalMainLblWnd[ICONS] = {};
static GUILABEL* pOpticalMainLblInfo = nullptr;

// ---- Icons ----

struct OPTICAL_ICON {
    const char* pBitmap;
    const char* pPressed;
    const SCREEN_ENTRY* pTarget;
};

static constexpr OPTICAL_ICON Icons[] = {
    {BITMAP_DIR "ico_1.bmp", BITMAP_DIR "ico_1_press.bmp", &FrmAdjust},
    {BITMAP_DIR "ico_2.bmp", BITMAP_DIR "ico_2_press.bmp", &FrmOptcheck},
    {BITMAP_DIR "ico_3.bmp", BITMAP_DIR "ico_3_press.bmp", &FrmOPM},
    {BITMAP_DIR "ico_4.bmp", BITMAP_DIR "ico_4_press.bmp", &FrmAPDAdj},
    {BITMAP_DIR "ico_7.bmp", BITMAP_DIR "ico_7_press.bmp", &FrmE2PROM},
};

static int OpticalMainIcoWnd_Down(void*, int, void*, int) {
    const auto iIcon = TouchedControl()->ppPicture - pOpticalMainIcoWnd;
    return ShowLook(pOpticalMainIcoWnd[iIcon], pOpticalMainLblWnd[iIcon], Icons[iIcon].pPressed,
                    COLOR_ORANGE);
}

static int OpticalMainIcoWnd_Up(void*, int, void*, int) {
    const auto iIcon = TouchedControl()->ppPicture - pOpticalMainIcoWnd;
    ShowLook(pOpticalMainIcoWnd[iIcon], pOpticalMainLblWnd[iIcon], Icons[iIcon].pBitmap, COLOR_NONE);
    if (Icons[iIcon].pTarget == &FrmAdjust)
        SetStopThreadFlag(1);
    return LeaveFor(*Icons[iIcon].pTarget);
}

constexpr MSGFUNC OpticalMainIcoWnd1_Down = OpticalMainIcoWnd_Down,
                  OpticalMainIcoWnd1_Up = OpticalMainIcoWnd_Up;
constexpr MSGFUNC OpticalMainIcoWnd2_Down = OpticalMainIcoWnd_Down,
                  OpticalMainIcoWnd2_Up = OpticalMainIcoWnd_Up;
constexpr MSGFUNC OpticalMainIcoWnd3_Down = OpticalMainIcoWnd_Down,
                  OpticalMainIcoWnd3_Up = OpticalMainIcoWnd_Up;
constexpr MSGFUNC OpticalMainIcoWnd4_Down = OpticalMainIcoWnd_Down,
                  OpticalMainIcoWnd4_Up = OpticalMainIcoWnd_Up;
constexpr MSGFUNC OpticalMainIcoWnd5_Down = OpticalMainIcoWnd_Down,
                  OpticalMainIcoWnd5_Up = OpticalMainIcoWnd_Up;

// ---- Handlers ----

constexpr MSGFUNC OpticalMainWndBack_Up = BackTo<FrmMain>;
constexpr MSGFUNC OpticalMainWndBack_Down = NoAction;
constexpr MSGFUNC OpticalMainWndKey_Down = NoAction;
constexpr MSGFUNC OpticalMainWndKey_Up = NoAction;
constexpr MSGFUNC OpticalMainErrProc_Func = NoAction;

// ---- Tables ----

static const SCREEN_STRING OpticalMainStrings[] = {
    {&pOpticalMainStrTitle, "OPM  testV20150629"}, {&pOpticalMainStrWnd[0], "OPM_Adjust"},
    {&pOpticalMainStrWnd[1], "OPT_Adjust"},        {&pOpticalMainStrWnd[2], "OPM_FCT"},
    {&pOpticalMainStrWnd[3], "APD_Adjust"},        {&pOpticalMainStrWnd[4], "E2PROM"},
    {&pOpticalMainStrWnd[5], "Pulse Width"},       {&pOpticalMainStrInfo, "K905 Optical FCT !"},
    {&pOpticalMainStrConnect, LINK_SUCCESS_TEXT},  {&pOpticalMainStrDisconnect, LINK_FAILURE_TEXT},
};

// An icon of 80 x 80 with its corner at (x, y), its caption below.
static constexpr SCREEN_CONTROL IconRow(unsigned x, unsigned y, int iIcon, const char* pBitmap,
                                        MSGFUNC fnDown, MSGFUNC fnUp, unsigned uiFlags = SCREEN_COMPONENT) {
    return TouchRow(&pOpticalMainIcoWnd[iIcon], {x, y, 80, 80}, pBitmap, &pOpticalMainLblWnd[iIcon],
                    {x - 30, y + 85, 140, 16}, nullptr, &pOpticalMainStrWnd[iIcon], fnDown, fnUp, uiFlags);
}

static const SCREEN_CONTROL OpticalMainControls[] = {
    StatusBarRow(&pOpticalMainBarStatus),
    BackgroundRow(&pOpticalMainBgDesk, BITMAP_DIR "bg_main.bmp"),
    InfoBarRow(&pOpticalMainBarInfo),
    TitleRow(&pOpticalMainLblTitle, nullptr, &pOpticalMainStrTitle),
    IconRow(350, 120, 0, Icons[0].pBitmap, OpticalMainIcoWnd1_Down, OpticalMainIcoWnd1_Up),
    IconRow(550, 120, 1, Icons[1].pBitmap, OpticalMainIcoWnd2_Down, OpticalMainIcoWnd2_Up),
    IconRow(150, 120, 2, Icons[2].pBitmap, OpticalMainIcoWnd3_Down, OpticalMainIcoWnd3_Up),
    IconRow(150, 270, 3, Icons[3].pBitmap, OpticalMainIcoWnd4_Down, OpticalMainIcoWnd4_Up),
    IconRow(350, 270, 4, Icons[4].pBitmap, OpticalMainIcoWnd5_Down, OpticalMainIcoWnd5_Up),
    // The pulse width screen is not offered: neither shown nor touchable.
    IconRow(550, 270, 5, BITMAP_DIR "ico_6.bmp", nullptr, nullptr, SCREEN_UNPAINTED),
    InfoLineRow(&pOpticalMainLblInfo, &pOpticalMainStrInfo),
    BackButtonRow(&pOpticalMainBtnBack, OpticalMainWndBack_Up, OpticalMainWndBack_Down),
};

static const SCREEN OpticalMainScreen = {
    &pFrmOpticalMain,
    {OpticalMainWndKey_Down, OpticalMainWndKey_Up, nullptr, nullptr, OpticalMainErrProc_Func},
    {},
    Table(OpticalMainStrings),
    Table(OpticalMainControls),
};

// ---- Entry points ----

int FrmOpticalMainInit(void* pWndObj) {
    CreateScreen(OpticalMainScreen, static_cast<GUIWINDOW*>(pWndObj));
    return TellLink(pOpticalMainStrConnect, pOpticalMainLblInfo);
}

int FrmOpticalMainPaint(void*) {
    return PaintScreen(OpticalMainScreen);
}

int FrmOpticalMainExit(void*) {
    return DestroyScreen(OpticalMainScreen);
}
