// A screen as tables: its fonts, strings and controls, and the one piece of code that creates, lists,
// registers, paints and destroys what the tables name.
//
// The order of the control rows is the order in which controls are created, listed as components, registered,
// painted and destroyed. Rows with both a picture and a caption that follow each other are painted as one
// group: all their pictures, then all their captions.
#pragma once

#include <stddef.h>

#include "gui/guifont.h"
#include "screens/wnd_global.h"

struct SCREEN_AREA {
    unsigned x;
    unsigned y;
    unsigned uiWidth;
    unsigned uiHeight;
};

enum {
    SCREEN_COMPONENT = 1,  // the picture is one of the window's components
    SCREEN_UNPAINTED = 2,  // created, never painted by PaintScreen
    SCREEN_ABSOLUTE = 4,   // the areas do not move with the screen's corner
    SCREEN_BOARD =
        8,  // needs the measurement board: created disabled, and so looking, while the link is down
};

// A picture, a label, or a picture with its caption.
struct SCREEN_CONTROL {
    unsigned uiFlags;
    int iAlign;              // of the label
    GUIPICTURE** ppPicture;  // variable that holds the picture; null: no picture
    SCREEN_AREA PictureArea;
    const char* pBitmap;  // path, null: none
    // Called for a press of the picture, and for the release if the same picture took the press while it was
    // enabled. Both null: it takes no touches.
    MSGFUNC fnDown;
    MSGFUNC fnUp;
    GUILABEL** ppLabel;     // variable, or first of uiLabels variables, that holds the label; null: no label
    SCREEN_AREA LabelArea;  // of the first label
    unsigned uiLabels;
    unsigned uiPitch;    // pixels from one label down to the next
    GUIFONT** ppFont;    // the label's own font; null: the current one
    const char* pText;   // the label's text; null: that of *ppString
    GUICHAR** ppString;  // string, or first of uiLabels strings, of SCREEN_STRING; null: none
};

// A string that lives as long as the screen: made from pText, or, when that is null, by somebody else before
// CreateScreen. Freed with the screen.
struct SCREEN_STRING {
    GUICHAR** ppString;  // variable, or first of uiCount variables, that holds the string
    const char* pText;
    unsigned uiCount = 1;
};

// A 16 x 16 font of its own colour on a transparent background.
struct SCREEN_FONT {
    GUIFONT** ppFont;
    COLOR uiColor;
};

// What the window itself takes, registered before (keys, knob) and after (error procedure) the touches; null:
// nothing.
struct SCREEN_HANDLERS {
    MSGFUNC fnKeyDown;
    MSGFUNC fnKeyUp;
    MSGFUNC fnKnobClock;
    MSGFUNC fnKnobAnti;
    MSGFUNC fnErrProc;
};

template <typename Row>
struct SCREEN_TABLE {
    const Row* pRows;
    size_t uiCount;

    const Row* begin() const { return pRows; }
    const Row* end() const { return pRows + uiCount; }
};

template <typename Row, size_t N>
constexpr SCREEN_TABLE<Row> Table(const Row (&Rows)[N]) {
    return {Rows, N};
}

struct SCREEN {
    GUIWINDOW** ppWindow;  // variable that holds the screen's window
    SCREEN_HANDLERS Handlers;
    SCREEN_TABLE<SCREEN_FONT> Fonts;
    SCREEN_TABLE<SCREEN_STRING> Strings;
    SCREEN_TABLE<SCREEN_CONTROL> Controls;
};

// Stores the window; makes fonts, strings and controls, with their areas counted from the screen's corner (x,
// y); lists the window and the components; registers the handlers. What cannot be made is left out. Returns
// 0.
int CreateScreen(const SCREEN& Screen, GUIWINDOW* pWndObj, unsigned x = 0, unsigned y = 0);
// Draws every control in its state, disabled ones too. With pTrace, the line "<pTrace>    <number>" is
// printed wherever painting goes over from pictures to labels or back. Returns 0.
int PaintScreen(const SCREEN& Screen, const char* pTrace = nullptr);
// Drops every registration and the window's components, destroys controls and fonts, frees the strings, and
// sets the variables to null. Returns 0.
int DestroyScreen(const SCREEN& Screen);

// ---- Groups of buttons ----

// One of the buttons that a screen enables and disables together.
struct SCREEN_BUTTON {
    GUIPICTURE** ppPicture;
    GUILABEL** ppLabel;
};
using SCREEN_GROUP = SCREEN_TABLE<SCREEN_BUTTON>;

// Whether the buttons take input; their look stays.
void SetGroupEnable(const SCREEN_GROUP& Group, int iEnable);
// Gives the buttons a bitmap and draws them, but for pExcept (may be null).
void ShowGroup(const SCREEN_GROUP& Group, const char* pBitmap, const GUIPICTURE* pExcept = nullptr);
// Both: enabled with its look, or disabled with its look.
void SetGroup(const SCREEN_GROUP& Group, bool bEnable);

// ---- Handlers of buttons ----

// Row of the picture whose touch is being handled; null outside of such a handler.
const SCREEN_CONTROL* TouchedControl();
// Press handler: shows the touched button pressed. Returns 0.
int ScreenBtn_Down(void* pInArg, int iInLen, void* pOutArg, int iOutLen);
// Goes from the shown screen to another. Returns 0.
int LeaveFor(const SCREEN_ENTRY& Target);
// Release handler of a control that does only this.
template <const SCREEN_ENTRY& Target>
int BackTo(void*, int, void*, int) {
    return LeaveFor(Target);
}

// A Connect button: the toggle that it runs, the buttons that need the link, and what the information line
// then says.
struct SCREEN_CONNECT {
    THREADFUNC fnToggle;
    SCREEN_GROUP Group;
    int (*fnSetInfo)(const char* pInfo);
    const char* pSuccess;
    const char* pFailure;
};
// Runs the toggle, enables or disables the buttons (all disabled where bNever is set), and tells. Returns 0.
int RunConnect(const SCREEN_CONNECT& Connect, bool bNever = false);

// ---- Information line ----

// The information line of a screen with a Back button: the string that holds its text, and the controls that
// are drawn anew with it.
struct SCREEN_INFO_LINE {
    GUICHAR** ppString;
    GUILABEL** ppLabel;
    GUIPICTURE** ppBar;
    GUIPICTURE** ppBack;
};

// Shows a text in the line. Null, or a screen that is not shown, changes nothing. Returns 0.
int ShowInfoLine(const SCREEN_INFO_LINE& Line, const char* pInfo);

// What the information line tells of the link to the measurement board.
constexpr char LINK_SUCCESS_TEXT[] = "Connect Success !";
constexpr char LINK_FAILURE_TEXT[] = "Connect Failure !";
// For a menu that opens: gives its information line the text if the board is connected. Returns 0.
int TellLink(const GUICHAR* pConnected, GUILABEL* pLblInfo);

// The data lines of a screen, numbered from 1: iLines strings, and the labels that show them.
struct SCREEN_DATA_LINES {
    GUICHAR** ppStrings;
    GUILABEL** ppLabels;
    int iLines;
};
// Shows a text in a line. Null, or another line number, changes nothing. Returns 0.
int ShowDataLine(const SCREEN_DATA_LINES& Lines, const char* pInfo, int iLine);

// ---- Steps of DestroyScreen ----

// For a screen that tells of them, or has a wait between them.
void DropHandlers();  // every registration
void DropScreenMessages(const SCREEN& Screen);
void DestroyScreenControls(const SCREEN& Screen);

// ---- Rows ----

constexpr SCREEN_CONTROL PictureRow(GUIPICTURE** ppPicture, SCREEN_AREA Area, const char* pBitmap,
                                    unsigned uiFlags = 0, MSGFUNC fnDown = nullptr, MSGFUNC fnUp = nullptr) {
    return {uiFlags, GUILABEL_LEFT, ppPicture, Area,   pBitmap, fnDown, fnUp, nullptr, {}, 0,
            0,       nullptr,       nullptr,   nullptr};
}

constexpr SCREEN_CONTROL LabelRow(GUILABEL** ppLabel, SCREEN_AREA Area, int iAlign, const char* pText,
                                  GUICHAR** ppString = nullptr, unsigned uiFlags = 0,
                                  GUIFONT** ppFont = nullptr) {
    return {uiFlags, iAlign, nullptr, {}, nullptr, nullptr, nullptr,
            ppLabel, Area,   1,       0,  ppFont,  pText,   ppString};
}

// uiLabels labels, one below the other, each with its string or without a text.
constexpr SCREEN_CONTROL LinesRow(GUILABEL** ppLabels, unsigned uiLabels, SCREEN_AREA First, unsigned uiPitch,
                                  GUICHAR** ppStrings = nullptr, GUIFONT** ppFont = nullptr) {
    return {0,        GUILABEL_LEFT, nullptr,  {},      nullptr, nullptr, nullptr,
            ppLabels, First,         uiLabels, uiPitch, ppFont,  nullptr, ppStrings};
}

// A touchable picture with a centred caption.
constexpr SCREEN_CONTROL TouchRow(GUIPICTURE** ppPicture, SCREEN_AREA Area, const char* pBitmap,
                                  GUILABEL** ppLabel, SCREEN_AREA LabelArea, const char* pText,
                                  GUICHAR** ppString, MSGFUNC fnDown, MSGFUNC fnUp,
                                  unsigned uiFlags = SCREEN_COMPONENT) {
    return {uiFlags, GUILABEL_CENTRE, ppPicture, Area, pBitmap, fnDown, fnUp,
            ppLabel, LabelArea,       1,         0,    nullptr, pText,  ppString};
}

// The parts of the standard layout.
constexpr SCREEN_CONTROL StatusBarRow(GUIPICTURE** ppPicture) {
    return PictureRow(ppPicture, {0, 0, 800, 30}, BITMAP_DIR "bar_status.bmp", SCREEN_ABSOLUTE);
}
constexpr SCREEN_CONTROL BackgroundRow(GUIPICTURE** ppPicture, const char* pBitmap) {
    return PictureRow(ppPicture, {0, 30, 800, 420}, pBitmap);
}
constexpr SCREEN_CONTROL InfoBarRow(GUIPICTURE** ppPicture) {
    return PictureRow(ppPicture, {0, 450, 800, 30}, BITMAP_DIR "bar_info.bmp");
}
constexpr SCREEN_CONTROL TitleRow(GUILABEL** ppLabel, const char* pText, GUICHAR** ppString = nullptr) {
    return LabelRow(ppLabel, {0, 5, 800, 30}, GUILABEL_CENTRE, pText, ppString);
}
constexpr SCREEN_CONTROL InfoLineRow(GUILABEL** ppLabel, GUICHAR** ppString = nullptr) {
    return LabelRow(ppLabel, {20, 458, 630, 16}, GUILABEL_LEFT, nullptr, ppString);
}
constexpr SCREEN_CONTROL BackButtonRow(GUIPICTURE** ppPicture, MSGFUNC fnUp, MSGFUNC fnDown = NoAction) {
    return PictureRow(ppPicture, {650, 454, 60, 25}, BITMAP_DIR "btn_back.bmp", SCREEN_COMPONENT, fnDown,
                      fnUp);
}
// A function button with its corner at (x, y).
constexpr SCREEN_CONTROL ButtonRow(unsigned x, unsigned y, const char* pCaption, GUIPICTURE** ppPicture,
                                   GUILABEL** ppLabel, MSGFUNC fnDown, MSGFUNC fnUp, unsigned uiFlags = 0) {
    return TouchRow(ppPicture, {x, y, 105, 53}, BMP_BTN_ENABLE, ppLabel, {x + 5, y + 9, 95, 53}, pCaption,
                    nullptr, fnDown, fnUp, SCREEN_COMPONENT | uiFlags);
}
