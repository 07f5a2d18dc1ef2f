#include "screens/wnd_screen.h"

#include <stdio.h>
#include <stdlib.h>

#include "gui/guischeduler.h"

// ---- Touches ----

// The screen that is shown, and the picture that took the last press. Only the window thread uses them.
static const SCREEN* pShownScreen = nullptr;
static const GUIPICTURE* pPressed = nullptr;

const SCREEN_CONTROL* TouchedControl() {
    const GUIMESSAGE_ITEM* pMsgItem = GetHandledMessage();
    if (pShownScreen == nullptr || pMsgItem == nullptr)
        return nullptr;
    for (const SCREEN_CONTROL& Row : pShownScreen->Controls)
        if (Row.ppPicture != nullptr && *Row.ppPicture == pMsgItem->pRecvObj)
            return &Row;
    return nullptr;
}

// The same, if it takes input now.
static const SCREEN_CONTROL* EnabledControl() {
    const SCREEN_CONTROL* pRow = TouchedControl();
    return pRow != nullptr && LoadVisibleFlag(&(*pRow->ppPicture)->Visible.iEnable) != 0 ? pRow : nullptr;
}

static int Call(MSGFUNC fnHandler, void* pInArg, int iInLen, void* pOutArg, int iOutLen) {
    return fnHandler == nullptr ? 0 : fnHandler(pInArg, iInLen, pOutArg, iOutLen);
}

// Registered for every picture that takes touches: a release acts only where its press was taken, so that a
// finger that was laid down on a disabled button, or before the screen opened, starts nothing when it lifts.
static int TouchDown(void* pInArg, int iInLen, void* pOutArg, int iOutLen) {
    const SCREEN_CONTROL* pRow = EnabledControl();
    pPressed = pRow == nullptr ? nullptr : *pRow->ppPicture;
    return Call(pPressed == nullptr ? nullptr : pRow->fnDown, pInArg, iInLen, pOutArg, iOutLen);
}

static int TouchUp(void* pInArg, int iInLen, void* pOutArg, int iOutLen) {
    const SCREEN_CONTROL* pRow = EnabledControl();
    const bool bTaken = pRow != nullptr && pPressed == *pRow->ppPicture;
    pPressed = nullptr;
    if (bTaken)
        DropChange();  // what is touched last counts
    return Call(bTaken ? pRow->fnUp : nullptr, pInArg, iInLen, pOutArg, iOutLen);
}

// ---- Create ----

// Does a step until it succeeds or the program ends: memory that is short for a while must not leave a
// control that is shown and does nothing.
template <typename Step>
static void Insist(Step fnStep) {
    constexpr unsigned TRY_MS = 20;
    while (!fnStep() && WaitUnlessExit(TRY_MS) == 0) {
    }
}

static void CreateLabels(const SCREEN_CONTROL& Row, unsigned x, unsigned y) {
    // The label keeps a copy of its text.
    GUICHAR* pCaption = TransString(Row.pText);
    for (unsigned i = 0; i < Row.uiLabels; ++i) {
        const GUICHAR* pText = Row.ppString == nullptr ? pCaption : Row.ppString[i];
        GUILABEL* pLabel = CreateLabel(x + Row.LabelArea.x, y + Row.LabelArea.y + i * Row.uiPitch,
                                       Row.LabelArea.uiWidth, Row.LabelArea.uiHeight, pText);
        SetLabelAlign(Row.iAlign, pLabel);
        if (Row.ppFont != nullptr)
            SetLabelFont(*Row.ppFont, pLabel);
        Row.ppLabel[i] = pLabel;
    }
    free(pCaption);
}

// The look as created, before the first painting.
static void DisableUnpainted(GUIPICTURE* pPicture) {
    SetPictureBitmap(BMP_BTN_DISABLE, pPicture);
    SetPictureEnable(0, pPicture);
}

static void CreateControl(const SCREEN_CONTROL& Row, unsigned x, unsigned y) {
    if ((Row.uiFlags & SCREEN_ABSOLUTE) != 0)
        x = y = 0;
    const SCREEN_AREA& Area = Row.PictureArea;
    if (Row.ppPicture != nullptr)
        Insist([&] {
            *Row.ppPicture = CreatePicture(x + Area.x, y + Area.y, Area.uiWidth, Area.uiHeight, Row.pBitmap);
            return *Row.ppPicture != nullptr;
        });
    if (Row.ppPicture != nullptr && (Row.uiFlags & SCREEN_BOARD) != 0 && !IsBoardConnected())
        DisableUnpainted(*Row.ppPicture);
    if (Row.ppLabel != nullptr)
        CreateLabels(Row, x, y);
}

static void AddComponent(int iType, int iLength, void* pComp, GUIWINDOW* pWndObj) {
    Insist([=] {
        MutexLock(&pWndObj->Mutex);
        const int iResult = AddWindowComp(iType, iLength, pComp, pWndObj);
        MutexUnlock(&pWndObj->Mutex);
        return iResult == 0;
    });
}

static void AddComponents(const SCREEN& Screen, GUIWINDOW* pWndObj) {
    AddComponent(GUICOMP_WINDOW, sizeof(GUIWINDOW), pWndObj, pWndObj);
    for (const SCREEN_CONTROL& Row : Screen.Controls)
        if ((Row.uiFlags & SCREEN_COMPONENT) != 0)
            AddComponent(GUICOMP_PICTURE, sizeof(GUIPICTURE), *Row.ppPicture, pWndObj);
}

static void Register(int iMsgCode, void* pRecvObj, MSGFUNC fnHandler, GUIMESSAGE* pMsgObj) {
    if (fnHandler == nullptr || pRecvObj == nullptr)
        return;
    Insist([=] {
        MutexLock(&pMsgObj->Mutex);
        const int iResult = LoginMessageReg(iMsgCode, pRecvObj, fnHandler, nullptr, 0, pMsgObj);
        MutexUnlock(&pMsgObj->Mutex);
        return iResult == 0;
    });
}

static void RegisterHandlers(const SCREEN& Screen, GUIWINDOW* pWndObj) {
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    if (pMsgObj == nullptr)
        return;
    // Input for the screen before: its controls are gone, and new ones may lie where they lay in memory.
    MutexLock(&pMsgObj->Mutex);
    DropReceiverMessages(pMsgObj);
    MutexUnlock(&pMsgObj->Mutex);
    Register(GUIMESSAGE_KEY_DOWN, pWndObj, Screen.Handlers.fnKeyDown, pMsgObj);
    Register(GUIMESSAGE_KEY_UP, pWndObj, Screen.Handlers.fnKeyUp, pMsgObj);
    Register(GUIMESSAGE_KNOB_CLOCK, pWndObj, Screen.Handlers.fnKnobClock, pMsgObj);
    Register(GUIMESSAGE_KNOB_ANTI, pWndObj, Screen.Handlers.fnKnobAnti, pMsgObj);
    for (const SCREEN_CONTROL& Row : Screen.Controls) {
        void* pPicture = Row.ppPicture == nullptr ? nullptr : *Row.ppPicture;
        if (Row.fnDown != nullptr || Row.fnUp != nullptr) {
            Register(GUIMESSAGE_TCH_DOWN, pPicture, TouchDown, pMsgObj);
            Register(GUIMESSAGE_TCH_UP, pPicture, TouchUp, pMsgObj);
        }
    }
    Register(GUIMESSAGE_ERR_PROC, pWndObj, Screen.Handlers.fnErrProc, pMsgObj);
}

int CreateScreen(const SCREEN& Screen, GUIWINDOW* pWndObj, unsigned x, unsigned y) {
    if (pWndObj == nullptr)
        return 0;
    *Screen.ppWindow = pWndObj;
    pShownScreen = &Screen;
    pPressed = nullptr;
    for (const SCREEN_FONT& Row : Screen.Fonts)
        *Row.ppFont = CreateFont(FONT_FILE, FONT_SIZE, FONT_SIZE, Row.uiColor, COLOR_NONE);
    for (const SCREEN_STRING& Row : Screen.Strings)
        for (unsigned i = 0; i < Row.uiCount && Row.pText != nullptr; ++i)
            Row.ppString[i] = TransString(Row.pText);
    for (const SCREEN_CONTROL& Row : Screen.Controls)
        CreateControl(Row, x, y);
    AddComponents(Screen, pWndObj);
    RegisterHandlers(Screen, pWndObj);
    return 0;
}

// ---- Paint ----

static bool HasBoth(const SCREEN_CONTROL& Row) {
    return Row.ppPicture != nullptr && Row.ppLabel != nullptr;
}

// Progress of one painting, for its trace.
struct PAINTING {
    const char* pTrace;
    int iStep;
    bool bStarted;
    bool bLabels;  // labels are being painted, not pictures
};

static void GoOver(PAINTING* pPainting, bool bLabels) {
    if (pPainting->pTrace != nullptr && pPainting->bStarted && pPainting->bLabels != bLabels)
        printf("%s    %d\n", pPainting->pTrace, ++pPainting->iStep);
    pPainting->bStarted = true;
    pPainting->bLabels = bLabels;
}

static void PaintPicture(const SCREEN_CONTROL& Row, PAINTING* pPainting) {
    if (Row.ppPicture == nullptr || (Row.uiFlags & SCREEN_UNPAINTED) != 0)
        return;
    GoOver(pPainting, false);
    ShowPicture(*Row.ppPicture);
}

static void PaintLabels(const SCREEN_CONTROL& Row, PAINTING* pPainting) {
    if (Row.ppLabel == nullptr || (Row.uiFlags & SCREEN_UNPAINTED) != 0)
        return;
    GoOver(pPainting, true);
    for (unsigned i = 0; i < Row.uiLabels; ++i)
        DisplayLabel(Row.ppLabel[i]);
}

int PaintScreen(const SCREEN& Screen, const char* pTrace) {
    PAINTING painting = {pTrace, 0, false, false};
    for (const SCREEN_CONTROL* pRow = Screen.Controls.begin(); pRow != Screen.Controls.end();) {
        const SCREEN_CONTROL* pGroupEnd = pRow + 1;
        while (HasBoth(*pRow) && pGroupEnd != Screen.Controls.end() && HasBoth(*pGroupEnd))
            ++pGroupEnd;
        for (const SCREEN_CONTROL* pPart = pRow; pPart != pGroupEnd; ++pPart)
            PaintPicture(*pPart, &painting);
        for (const SCREEN_CONTROL* pPart = pRow; pPart != pGroupEnd; ++pPart)
            PaintLabels(*pPart, &painting);
        pRow = pGroupEnd;
    }
    return 0;
}

// ---- Groups of buttons ----

void SetGroupEnable(const SCREEN_GROUP& Group, int iEnable) {
    for (const SCREEN_BUTTON& Button : Group)
        SetPictureEnable(iEnable, *Button.ppPicture);
}

void ShowGroup(const SCREEN_GROUP& Group, const char* pBitmap, const GUIPICTURE* pExcept) {
    for (const SCREEN_BUTTON& Button : Group)
        if (*Button.ppPicture != pExcept)
            ShowLook(*Button.ppPicture, *Button.ppLabel, pBitmap, COLOR_NONE);
}

void SetGroup(const SCREEN_GROUP& Group, bool bEnable) {
    SetGroupEnable(Group, bEnable);
    ShowGroup(Group, bEnable ? BMP_BTN_ENABLE : BMP_BTN_DISABLE);
}

// ---- Handlers of buttons ----

int ScreenBtn_Down(void*, int, void*, int) {
    const SCREEN_CONTROL* pRow = TouchedControl();
    return pRow == nullptr ? 0 : ShowBtn_FuncDown(*pRow->ppPicture, *pRow->ppLabel);
}

int LeaveFor(const SCREEN_ENTRY& Target) {
    if (pShownScreen != nullptr)
        SwitchScreen(*pShownScreen->ppWindow, Target);
    return 0;
}

int RunConnect(const SCREEN_CONNECT& Connect, bool bNever) {
    const bool bConnected = ConnectBoard(Connect.fnToggle);
    SetGroup(Connect.Group, bConnected && !bNever);
    return Connect.fnSetInfo(bConnected ? Connect.pSuccess : Connect.pFailure);
}

// ---- Lines ----

int ShowInfoLine(const SCREEN_INFO_LINE& Line, const char* pInfo) {
    if (pInfo == nullptr || *Line.ppLabel == nullptr)
        return 0;
    UpdateLabelText(Line.ppString, pInfo, *Line.ppLabel, *Line.ppBar);
    DisplayPicture(*Line.ppBack);
    return 0;
}

int TellLink(const GUICHAR* pConnected, GUILABEL* pLblInfo) {
    if (IsBoardConnected())
        SetLabelText(pConnected, pLblInfo);
    return 0;
}

int ShowDataLine(const SCREEN_DATA_LINES& Lines, const char* pInfo, int iLine) {
    if (pInfo != nullptr && iLine >= 1 && iLine <= Lines.iLines)
        UpdateLabelText(&Lines.ppStrings[iLine - 1], pInfo, Lines.ppLabels[iLine - 1], nullptr);
    return 0;
}

// ---- Destroy ----

void DropHandlers() {
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    if (pMsgObj == nullptr)
        return;
    MutexLock(&pMsgObj->Mutex);
    ClearMessageReg(pMsgObj);
    MutexUnlock(&pMsgObj->Mutex);
}

void DropScreenMessages(const SCREEN& Screen) {
    DropHandlers();
    GUIWINDOW* pWndObj = *Screen.ppWindow;
    if (pWndObj != nullptr) {
        MutexLock(&pWndObj->Mutex);
        ClearWindowComp(pWndObj);
        MutexUnlock(&pWndObj->Mutex);
    }
    *Screen.ppWindow = nullptr;
    pShownScreen = nullptr;
}

void DestroyScreenControls(const SCREEN& Screen) {
    for (const SCREEN_CONTROL& Row : Screen.Controls) {
        DestroyPicture(Row.ppPicture);
        for (unsigned i = 0; i < Row.uiLabels; ++i)
            DestroyLabel(&Row.ppLabel[i]);
    }
    for (const SCREEN_FONT& Row : Screen.Fonts)
        DestroyFont(Row.ppFont);
}

static void FreeScreenStrings(const SCREEN& Screen) {
    for (const SCREEN_STRING& Row : Screen.Strings) {
        for (unsigned i = 0; i < Row.uiCount; ++i) {
            free(Row.ppString[i]);
            Row.ppString[i] = nullptr;
        }
    }
}

int DestroyScreen(const SCREEN& Screen) {
    DropScreenMessages(Screen);
    DestroyScreenControls(Screen);
    FreeScreenStrings(Screen);
    return 0;
}
