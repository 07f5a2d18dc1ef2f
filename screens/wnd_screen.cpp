#include "screens/wnd_screen.h"

#include <stdio.h>
#include <stdlib.h>

// ---- Create ----

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

static void CreateControl(const SCREEN_CONTROL& Row, unsigned x, unsigned y) {
    if ((Row.uiFlags & SCREEN_ABSOLUTE) != 0)
        x = y = 0;
    const SCREEN_AREA& Area = Row.PictureArea;
    if (Row.ppPicture != nullptr)
        *Row.ppPicture = CreatePicture(x + Area.x, y + Area.y, Area.uiWidth, Area.uiHeight, Row.pBitmap);
    if (Row.ppLabel != nullptr)
        CreateLabels(Row, x, y);
}

static void AddComponents(const SCREEN& Screen, GUIWINDOW* pWndObj) {
    MutexLock(&pWndObj->Mutex);
    AddWindowComp(GUICOMP_WINDOW, sizeof(GUIWINDOW), pWndObj, pWndObj);
    for (const SCREEN_CONTROL& Row : Screen.Controls)
        if ((Row.uiFlags & SCREEN_COMPONENT) != 0)
            AddWindowComp(GUICOMP_PICTURE, sizeof(GUIPICTURE), *Row.ppPicture, pWndObj);
    MutexUnlock(&pWndObj->Mutex);
}

static void Register(int iMsgCode, void* pRecvObj, MSGFUNC fnHandler, GUIMESSAGE* pMsgObj) {
    if (fnHandler != nullptr && pRecvObj != nullptr)
        LoginMessageReg(iMsgCode, pRecvObj, fnHandler, nullptr, 0, pMsgObj);
}

static void RegisterHandlers(const SCREEN& Screen, GUIWINDOW* pWndObj) {
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    if (pMsgObj == nullptr)
        return;
    MutexLock(&pMsgObj->Mutex);
    // Input for the screen before: its controls are gone, and new ones may lie where they lay in memory.
    DropReceiverMessages(pMsgObj);
    Register(GUIMESSAGE_KEY_DOWN, pWndObj, Screen.Handlers.fnKeyDown, pMsgObj);
    Register(GUIMESSAGE_KEY_UP, pWndObj, Screen.Handlers.fnKeyUp, pMsgObj);
    Register(GUIMESSAGE_KNOB_CLOCK, pWndObj, Screen.Handlers.fnKnobClock, pMsgObj);
    Register(GUIMESSAGE_KNOB_ANTI, pWndObj, Screen.Handlers.fnKnobAnti, pMsgObj);
    for (const SCREEN_CONTROL& Row : Screen.Controls) {
        void* pPicture = Row.ppPicture == nullptr ? nullptr : *Row.ppPicture;
        Register(GUIMESSAGE_TCH_DOWN, pPicture, Row.fnDown, pMsgObj);
        Register(GUIMESSAGE_TCH_UP, pPicture, Row.fnUp, pMsgObj);
    }
    Register(GUIMESSAGE_ERR_PROC, pWndObj, Screen.Handlers.fnErrProc, pMsgObj);
    MutexUnlock(&pMsgObj->Mutex);
}

int CreateScreen(const SCREEN& Screen, GUIWINDOW* pWndObj, unsigned x, unsigned y) {
    if (pWndObj == nullptr)
        return 0;
    *Screen.ppWindow = pWndObj;
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

// ---- Information line ----

int ShowInfoLine(const SCREEN_INFO_LINE& Line, const char* pInfo) {
    if (pInfo == nullptr || *Line.ppLabel == nullptr)
        return 0;
    UpdateLabelText(Line.ppString, pInfo, *Line.ppLabel, *Line.ppBar);
    DisplayPicture(*Line.ppBack);
    return 0;
}

// ---- Destroy ----

void DropScreenMessages(const SCREEN& Screen) {
    GUIMESSAGE* pMsgObj = GetCurrMessage();
    if (pMsgObj != nullptr) {
        MutexLock(&pMsgObj->Mutex);
        ClearMessageReg(pMsgObj);
        MutexUnlock(&pMsgObj->Mutex);
    }
    GUIWINDOW* pWndObj = *Screen.ppWindow;
    if (pWndObj != nullptr) {
        MutexLock(&pWndObj->Mutex);
        ClearWindowComp(pWndObj);
        MutexUnlock(&pWndObj->Mutex);
    }
    *Screen.ppWindow = nullptr;
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

void FreeScreenStrings(const SCREEN& Screen) {
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
