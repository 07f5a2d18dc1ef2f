#include "screens/wnd_frmdialog.h"

#include <stdlib.h>

#include "gui/guischeduler.h"
#include "screens/wnd_screen.h"

constexpr unsigned DIALOG_WIDTH = 280;
constexpr unsigned DIALOG_HEIGHT = 172;
constexpr COLOR COLOR_PROGRESS = 0xF70808;
constexpr char BMP_WARN_PRESS[] = BITMAP_DIR "warn_btn_press.bmp";
constexpr char BMP_WARN_UNPRESS[] = BITMAP_DIR "warn_btn_unpress.bmp";

// What DialogInit was given, until the next call.
static unsigned iDialogWinX = 0;
static unsigned iDialogWinY = 0;
static GUICHAR* pDialogStrNextTitle =
    nullptr;  // becomes pDialogStrTitle, which the dialog frees, when it is shown
static const GUICHAR* pDialogStr = nullptr;
static int* pResult = nullptr;
static DIALOG_LEAVE_FUNC DialogcallBackFunc = nullptr;
static DIALOG_BUTTON_FUNC OkcallBackFunc = nullptr;
static DIALOG_BUTTON_FUNC CancelcallBackFunc = nullptr;
static const char* pDiologIcoType = nullptr;

static GUIWINDOW* pFrmDialog = nullptr;
static GUIFONT* pDialogFntText = nullptr;
static GUICHAR* pDialogStrTitle = nullptr;
static GUICHAR* pDialogStrInfo = nullptr;
static GUICHAR* pDialogStrOk = nullptr;
static GUICHAR* pDialogStrCancle = nullptr;
static GUIPICTURE* pDialogBarStatus = nullptr;
static GUIPICTURE* pDialogBg = nullptr;
static GUIPICTURE* pDialogIco = nullptr;
static GUIPICTURE* pDialogBtnOk = nullptr;
static GUIPICTURE* pDialogBtnCancle = nullptr;
static GUILABEL* pDialogLblTitle = nullptr;
static GUILABEL* pDialogLblInfo = nullptr;
static GUILABEL* pDialogLblOk = nullptr;
static GUILABEL* pDialogLblCancle = nullptr;
static GUITEXT* pDialogText = nullptr;

// ---- Opening and leaving ----

int DialogInit(unsigned x, unsigned y, GUICHAR* pTitleStr, const GUICHAR* pTextStr, int* result,
               uint8_t ucIcoType, GUIWINDOW* LastWindow, DIALOG_LEAVE_FUNC func, DIALOG_BUTTON_FUNC okfunc,
               DIALOG_BUTTON_FUNC cancelfunc) {
    GUIWINDOW* pWndObj = CreateWindow(x, y, DIALOG_WIDTH, DIALOG_HEIGHT, FrmDialogInit, FrmDialogExit,
                                      FrmDialogPaint, FrmDialogLoop, nullptr);
    if (pWndObj == nullptr) {
        free(pTitleStr);
        return -1;
    }
    iDialogWinX = x;
    iDialogWinY = y;
    free(pDialogStrNextTitle);
    pDialogStrNextTitle = pTitleStr;
    pDialogStr = pTextStr;
    pResult = result;
    DialogcallBackFunc = func;
    OkcallBackFunc = okfunc;
    CancelcallBackFunc = cancelfunc;
    if (ucIcoType == 0)
        pDiologIcoType = BITMAP_DIR "warring.bmp";
    ChangeWindow(LastWindow, pWndObj);
    return 0;
}

int DialogExit() {
    pResult = nullptr;
    GUIWINDOW* pNextWnd = nullptr;
    if (DialogcallBackFunc != nullptr)
        DialogcallBackFunc(&pNextWnd);
    if (ChangeWindow(pFrmDialog, pNextWnd) != -1)
        return 0;
    // No window follows; the dialog takes nothing more.
    DropHandlers();
    SendMsg_ExitWindow(pFrmDialog);
    return 0;
}

int ShowProgress(GUICHAR* info) {
    if (info == nullptr || pDialogLblInfo == nullptr) {
        free(info);
        return -1;
    }
    FillArea(iDialogWinX + 20, iDialogWinY + 50, iDialogWinX + 263, iDialogWinY + 100, COLOR_PROGRESS);
    if (info != pDialogStrInfo)
        free(pDialogStrInfo);
    pDialogStrInfo = info;
    SetLabelText(info, pDialogLblInfo);
    DisplayLabel(pDialogLblInfo);
    return 0;
}

// ---- Buttons ----

int ShowWarnBtn_FuncDown(GUIPICTURE* pBtnFx, GUILABEL* pLblFx) {
    return ShowLook(pBtnFx, pLblFx, BMP_WARN_PRESS, COLOR_CAPTION_PRESSED);
}

int ShowWarnBtn_FuncUp(GUIPICTURE* pBtnFx, GUILABEL* pLblFx) {
    return ShowLook(pBtnFx, pLblFx, BMP_WARN_UNPRESS, COLOR_NONE);
}

static int Answer(DIALOG_BUTTON_FUNC fnCallBack, int iResult) {
    if (fnCallBack != nullptr)
        fnCallBack();
    if (pResult != nullptr)
        *pResult = iResult;
    OkcallBackFunc = CancelcallBackFunc = nullptr;  // one answer, even while the dialog waits to be left
    return DialogExit();
}

static int DialogBtnOk_Down(void*, int, void*, int) {
    return ShowWarnBtn_FuncDown(pDialogBtnOk, pDialogLblOk);
}

static int DialogBtnOk_Up(void*, int, void*, int) {
    ShowWarnBtn_FuncUp(pDialogBtnOk, pDialogLblOk);
    return Answer(OkcallBackFunc, 1);
}

static int DialogBtnCancle_Down(void*, int, void*, int) {
    return ShowWarnBtn_FuncDown(pDialogBtnCancle, pDialogLblCancle);
}

static int DialogBtnCancle_Up(void*, int, void*, int) {
    ShowWarnBtn_FuncUp(pDialogBtnCancle, pDialogLblCancle);
    return Answer(CancelcallBackFunc, 0);
}

constexpr MSGFUNC DialogWndKey_Down = NoAction;
constexpr MSGFUNC DialogWndKey_Up = NoAction;

// ---- Tables ----

static const SCREEN_FONT DialogFonts[] = {
    {&pDialogFntText, 0x000000},
};

static const SCREEN_STRING DialogStrings[] = {
    {&pDialogStrInfo, ""},
    {&pDialogStrOk, "OK"},
    {&pDialogStrCancle, "Cancel"},
    {&pDialogStrTitle, nullptr},
};

// Counted from the dialog's corner, but for the status bar.
static const SCREEN_CONTROL DialogControls[] = {
    StatusBarRow(&pDialogBarStatus),
    PictureRow(&pDialogBg, {0, 0, DIALOG_WIDTH, DIALOG_HEIGHT}, BITMAP_DIR "frm_warn_bg.bmp"),
    PictureRow(&pDialogIco, {20, 60, 32, 32}, nullptr),
    PictureRow(&pDialogBtnOk, {138, 140, 60, 24}, BMP_WARN_UNPRESS, SCREEN_COMPONENT, DialogBtnOk_Down,
               DialogBtnOk_Up),
    PictureRow(&pDialogBtnCancle, {208, 140, 60, 24}, BMP_WARN_UNPRESS, SCREEN_COMPONENT,
               DialogBtnCancle_Down, DialogBtnCancle_Up),
    LabelRow(&pDialogLblTitle, {0, 5, 280, 20}, GUILABEL_CENTRE, nullptr, &pDialogStrTitle),
    LabelRow(&pDialogLblOk, {138, 145, 60, 20}, GUILABEL_CENTRE, nullptr, &pDialogStrOk),
    LabelRow(&pDialogLblCancle, {208, 145, 60, 20}, GUILABEL_CENTRE, nullptr, &pDialogStrCancle),
    LabelRow(&pDialogLblInfo, {20, 65, 240, 50}, GUILABEL_CENTRE, nullptr, &pDialogStrInfo, SCREEN_UNPAINTED),
};

static const SCREEN DialogScreen = {
    &pFrmDialog,           {DialogWndKey_Down, DialogWndKey_Up, nullptr, nullptr, nullptr},
    Table(DialogFonts),    Table(DialogStrings),
    Table(DialogControls),
};

// ---- Entry points ----

int FrmDialogInit(void* pWndObj) {
    pDialogStrTitle = pDialogStrNextTitle;
    pDialogStrNextTitle = nullptr;
    CreateScreen(DialogScreen, static_cast<GUIWINDOW*>(pWndObj), iDialogWinX, iDialogWinY);
    SetPictureBitmap(pDiologIcoType, pDialogIco);
    SetLabelFont(pDialogFntText, pDialogLblTitle);
    pDialogText = CreateText(pDialogStr, iDialogWinX + 65, iDialogWinY + 60);
    SetTextView(200, 100, pDialogText);
    return 0;
}

// The text has the dialog's own font, as the title.
static void PaintText() {
    GUIFONT* pOldFont = GetCurrFont();
    if (pDialogFntText == nullptr || pOldFont == nullptr)
        return;
    const COLOR uiOldFg = pDialogFntText->uiFgColor;
    SetCurrFont(pDialogFntText);
    SetFontColor(COLOR_CAPTION_PRESSED, COLOR_NONE, pDialogFntText);
    DisplayText(pDialogText);
    SetFontColor(uiOldFg, COLOR_NONE, pDialogFntText);
    SetCurrFont(pOldFont);
}

int FrmDialogPaint(void*) {
    PaintScreen(DialogScreen);
    PaintText();
    return 0;
}

int FrmDialogExit(void*) {
    DestroyText(&pDialogText);
    return DestroyScreen(DialogScreen);
}
