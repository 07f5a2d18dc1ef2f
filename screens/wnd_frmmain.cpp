#include "screens/wnd_frmmain.h"

#include <stdio.h>
#include <stdlib.h>

#include "screens/wnd_frmmainboard_fct.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_screen.h"

static GUIWINDOW* pFrmMain = nullptr;

static GUICHAR* pMainStrTitle = nullptr;
static GUICHAR* pMainStrWnd2 = nullptr;
static GUICHAR* pMainStrWnd5 = nullptr;
static GUICHAR* pMainStrInfo = nullptr;
static GUICHAR* pMainStrConnect = nullptr;
static GUICHAR* pMainStrDisconnect = nullptr;

static GUIPICTURE* pMainBarStatus = nullptr;
static GUIPICTURE* pMainBgDesk = nullptr;
static GUIPICTURE* pMainBarInfo = nullptr;
static GUIPICTURE* pMainIcoWnd2 = nullptr;
static GUIPICTURE* pMainIcoWnd5 = nullptr;

static GUILABEL* pMainLblTitle = nullptr;
static GUILABEL* pMainLblWnd2 = nullptr;
static GUILABEL* pMainLblWnd5 = nullptr;
static GUILABEL* pMainLblInfo = nullptr;

// ---- Handlers ----

constexpr MSGFUNC MainWndKey_Down = NoAction;
constexpr MSGFUNC MainWndKey_Up = NoAction;
constexpr MSGFUNC MainErrProc_Func = NoAction;

constexpr char BMP_ICO_1[] = BITMAP_DIR "ico_1.bmp";
constexpr char BMP_ICO_1_PRESS[] = BITMAP_DIR "ico_1_press.bmp";
constexpr char BMP_ICO_2[] = BITMAP_DIR "ico_2.bmp";
constexpr char BMP_ICO_2_PRESS[] = BITMAP_DIR "ico_2_press.bmp";

static int MainIcoWnd2_Down(void*, int, void*, int) {
    return ShowLook(pMainIcoWnd2, pMainLblWnd2, BMP_ICO_1_PRESS, COLOR_ORANGE);
}

static int MainIcoWnd2_Up(void*, int, void*, int) {
    ShowLook(pMainIcoWnd2, pMainLblWnd2, BMP_ICO_1, COLOR_NONE);
    // The visible light rewrites the register that the module's EEPROM bus and the optical measurements use.
    FrmMainBoardRelease();
    SwitchScreen(pFrmMain, FrmOpticalMain);
    return 0;
}

static int MainIcoWnd5_Down(void*, int, void*, int) {
    return ShowLook(pMainIcoWnd5, pMainLblWnd5, BMP_ICO_2_PRESS, COLOR_ORANGE);
}

static int MainIcoWnd5_Up(void*, int, void*, int) {
    ShowLook(pMainIcoWnd5, pMainLblWnd5, BMP_ICO_2, COLOR_NONE);
    SwitchScreen(pFrmMain, FrmMainBoard);
    return 0;
}

// ---- Tables ----

static const SCREEN_STRING MainStrings[] = {
    {&pMainStrTitle, "MainBoard  testV20150629"},
    {&pMainStrWnd2, "Opticl_FCT"},
    {&pMainStrWnd5, "MainBoard_FCT"},
    {&pMainStrInfo, "Welcome to K905_FCT !"},
    {&pMainStrConnect, LINK_SUCCESS_TEXT},
    {&pMainStrDisconnect, LINK_FAILURE_TEXT},
};

static const SCREEN_CONTROL MainControls[] = {
    StatusBarRow(&pMainBarStatus),
    BackgroundRow(&pMainBgDesk, BITMAP_DIR "bg_main.bmp"),
    InfoBarRow(&pMainBarInfo),
    TitleRow(&pMainLblTitle, nullptr, &pMainStrTitle),
    TouchRow(&pMainIcoWnd2, {500, 170, 80, 80}, BMP_ICO_1, &pMainLblWnd2, {470, 255, 140, 16}, nullptr,
             &pMainStrWnd2, MainIcoWnd2_Down, MainIcoWnd2_Up),
    TouchRow(&pMainIcoWnd5, {200, 170, 80, 80}, BMP_ICO_2, &pMainLblWnd5, {170, 255, 140, 16}, nullptr,
             &pMainStrWnd5, MainIcoWnd5_Down, MainIcoWnd5_Up),
    InfoLineRow(&pMainLblInfo, &pMainStrInfo),
};

static const SCREEN MainScreen = {
    &pFrmMain,
    {MainWndKey_Down, MainWndKey_Up, nullptr, nullptr, MainErrProc_Func},
    {},
    Table(MainStrings),
    Table(MainControls),
};

// ---- Entry points ----

int FrmMainInit(void* pWndObj) {
    if (pScreenBmpBuff == nullptr)
        pScreenBmpBuff = static_cast<uint16_t*>(malloc(SCREEN_BUFFER_SIZE));
    printf("BmpFileDirectory = %s\n", BITMAP_DIR);
    CreateScreen(MainScreen, static_cast<GUIWINDOW*>(pWndObj));
    return TellLink(pMainStrConnect, pMainLblInfo);
}

int FrmMainPaint(void*) {
    return PaintScreen(MainScreen);
}

int FrmMainExit(void*) {
    return DestroyScreen(MainScreen);
}
