#include "screens/wnd_frme2prom.h"

#include <stdio.h>
#include <unistd.h>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_screen.h"

constexpr unsigned COLUMN_LINES = TUNING_LINES / 2;
constexpr unsigned LINE_PITCH = 20;

static GUIWINDOW* pFrmE2PROM = nullptr;
static GUIFONT* pE2PROMFntPoint = nullptr;

static GUICHAR* pE2PROMStrTitle = nullptr;
static GUICHAR* pE2PROMStr[TUNING_LINES] = {};

static GUIPICTURE* pE2PROMBarStatus = nullptr;
static GUIPICTURE* pE2PROMBgDesk = nullptr;
static GUIPICTURE* pE2PROMBarInfo = nullptr;
static GUIPICTURE* pE2PROMBtnBack = nullptr;

static GUILABEL* pE2PROMLblTitle = nullptr;
static GUILABEL* pE2PROMLbl[TUNING_LINES] = {};
static GUILABEL* pE2PROMLblInfo = nullptr;

// ---- Handlers ----

constexpr MSGFUNC E2PROMBtnBack_Up = BackTo<FrmOpticalMain>;

constexpr MSGFUNC E2PROMBtnBack_Down = NoAction;
constexpr MSGFUNC E2PROMWndKey_Down = NoAction;
constexpr MSGFUNC E2PROMWndKey_Up = NoAction;
constexpr MSGFUNC E2PROMErrProc_Func = NoAction;

// ---- Tables ----

static const SCREEN_FONT E2PROMFonts[] = {{&pE2PROMFntPoint, COLOR_ORANGE}};

static const SCREEN_STRING E2PROMStrings[] = {
    {&pE2PROMStrTitle, "E2PROM"},
    {pE2PROMStr, nullptr, TUNING_LINES},
};

static constexpr SCREEN_CONTROL ColumnRow(unsigned x, unsigned uiFirst) {
    return LinesRow(pE2PROMLbl + uiFirst, COLUMN_LINES, {x, 40, 380, 30}, LINE_PITCH, pE2PROMStr + uiFirst,
                    &pE2PROMFntPoint);
}

static const SCREEN_CONTROL E2PROMControls[] = {
    StatusBarRow(&pE2PROMBarStatus),
    BackgroundRow(&pE2PROMBgDesk, BITMAP_DIR "bg_desk.bmp"),
    InfoBarRow(&pE2PROMBarInfo),
    TitleRow(&pE2PROMLblTitle, nullptr, &pE2PROMStrTitle),
    ColumnRow(20, 0),
    ColumnRow(420, COLUMN_LINES),
    InfoLineRow(&pE2PROMLblInfo),
    BackButtonRow(&pE2PROMBtnBack, E2PROMBtnBack_Up, E2PROMBtnBack_Down),
};

static const SCREEN E2PROMScreen = {
    &pFrmE2PROM,           {E2PROMWndKey_Down, E2PROMWndKey_Up, nullptr, nullptr, E2PROMErrProc_Func},
    Table(E2PROMFonts),    Table(E2PROMStrings),
    Table(E2PROMControls),
};

// ---- Entry points ----

// The record as the driver holds it; a failed read leaves the values of memory.
static void ReadRecord() {
    lseek(opticFD, 0, SEEK_SET);
    (void)!read(opticFD, pOpmTunning, sizeof(*pOpmTunning));
    printf("-------pOpmTunning->iAtt0 = %d------\n", static_cast<int>(pOpmTunning->iAtt0));
}

int FrmE2PROMInit(void* pWndObj) {
    ReadRecord();
    for (int i = 0; i < TUNING_LINES; ++i) {
        char strText[64] = "";
        FormatTuningLine(i, strText, sizeof(strText));
        pE2PROMStr[i] = TransString(strText);
    }
    return CreateScreen(E2PROMScreen, static_cast<GUIWINDOW*>(pWndObj));
}

int FrmE2PROMPaint(void*) {
    return PaintScreen(E2PROMScreen);
}

int FrmE2PROMExit(void*) {
    return DestroyScreen(E2PROMScreen);
}
