// What every screen shares: window messages, the looks of buttons, texts written over their background,
// saving and restoring a rectangle of the screen, and waits that end with the program.
#pragma once

#include "gui/guicolor.h"
#include "gui/guilabel.h"
#include "gui/guimessage.h"
#include "gui/guipicture.h"
#include "gui/guiwindow.h"

constexpr unsigned SCREEN_WIDTH = 800;
constexpr unsigned SCREEN_HEIGHT = 480;

#define BITMAP_DIR "/app/fct/bitmap/"

constexpr char BMP_BTN_ENABLE[] = BITMAP_DIR "btn_enable.bmp";
constexpr char BMP_BTN_ACTIVE[] = BITMAP_DIR "btn_active.bmp";
constexpr char BMP_BTN_DISABLE[] = BITMAP_DIR "btn_disable.bmp";
constexpr char FONT_FILE[] = "/app/fct/font/unicode.fnt";
constexpr unsigned FONT_SIZE = 16;

constexpr COLOR COLOR_CAPTION_PRESSED = 0x3C3028;  // caption of a pressed button
constexpr COLOR COLOR_ORANGE = 0xF8A800;           // caption of a pressed icon, values
constexpr COLOR COLOR_WHITE = 0xFFFFFF;

// Pixels of one 16-bit screen, shared by all screens: allocated by the start screen's first init, freed by
// the application entry at the end.
constexpr size_t SCREEN_BUFFER_SIZE = sizeof(uint16_t) * SCREEN_WIDTH * SCREEN_HEIGHT;
extern uint16_t* pScreenBmpBuff;

// ---- Window messages ----

// Hands the window to the scheduler, which owns it from here on; one that cannot be posted is freed. Returns
// 0.
int SendMsg_CallWindow(GUIWINDOW* pWndObj);
// Tell the running screen to exit, or to start or stop calling its loop function. Return 0.
int SendMsg_ExitWindow(GUIWINDOW* pWndObj);
int SendMsg_EnableLoop(GUIWINDOW* pWndObj);
int SendMsg_DisableLoop(GUIWINDOW* pWndObj);

// The functions of one screen's window; fnLoop may be null.
struct SCREEN_ENTRY {
    WNDFUNC fnInit;
    WNDFUNC fnExit;
    WNDFUNC fnPaint;
    WNDFUNC fnLoop;
};

// Creates the target's full-screen window and calls it. -1, nothing sent, if there is no memory for it.
int CallScreen(const SCREEN_ENTRY& Target);
// The same, leaving the current screen first: every move from one screen to another. From here on none of its
// handlers is called, so that a second touch that waits behind a long check cannot end the screen that
// follows. What the move needs and cannot be had for the moment is tried again (ChangeWindow). -1 if there is
// no memory for the window, -2 without a current message object; the current screen is then left as it is.
int SwitchScreen(GUIWINDOW* pCurrent, const SCREEN_ENTRY& Target);

// ---- Entry points and handlers that many screens share ----

// Does nothing. Returns 0.
int ScreenIdle(void* pWndObj);
// Stops the loop calls of the window after this one. Returns 0.
int ScreenLoopOnce(void* pWndObj);
// Handler that does nothing. Returns 0.
int NoAction(void* pInArg, int iInLen, void* pOutArg, int iOutLen);

// ---- Buttons ----

// Draws the picture whether it takes input or not. Codes of DisplayPicture.
int ShowPicture(GUIPICTURE* pPicObj);
// Draws the label in a colour, or with COLOR_NONE in the current colours. Codes of DisplayLabel.
int ShowLabel(GUILABEL* pLblObj, COLOR uiColor);
// Gives the picture a bitmap and draws it, then its caption in a colour (COLOR_NONE: the current ones).
// Returns 0.
int ShowLook(GUIPICTURE* pPicObj, GUILABEL* pLblObj, const char* pBitmap, COLOR uiCaption);

typedef int (*BTN_LOOK_FUNC)(GUIPICTURE* pBtn, GUILABEL* pLbl);

// Looks of a button that can be touched and of one that cannot. Return 0.
int ShowBtn_Enable(GUIPICTURE* pBtn, GUILABEL* pLbl);
int ShowBtn_Disable(GUIPICTURE* pBtn, GUILABEL* pLbl);

// Pressed and released look of a function button. Return 0.
int ShowBtn_FuncDown(GUIPICTURE* pBtnFx, GUILABEL* pLblFx);
int ShowBtn_FuncUp(GUIPICTURE* pBtnFx, GUILABEL* pLblFx);

// ---- Texts ----

// Fills a rectangle, corners included, with a colour; the pen keeps its own. Codes of DrawBlock.
int FillArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY, COLOR uiColor);
// Draws a background picture, or, where it cannot be drawn, fills its area with black: what stood there is
// gone either way. Returns 0.
int ShowBackground(GUIPICTURE* pBackGround);
// Draws the label with a new text over its background, or, when pBackGround is null, over a black fill of its
// area. -1 if text or label is null; -2 if the label is disabled (the background is drawn, the text not); -3
// if memory for the text is short: the background is drawn, and the label has no text any more; 0.
int UpdateLabelRes(const GUICHAR* pTargetStr, GUILABEL* pTargetLbl, GUIPICTURE* pBackGround);
// Replaces the string *ppStr (freeing the old one) by a text and shows it with UpdateLabelRes, whose codes it
// returns; -3, with no string, also if there is no memory for the string.
int UpdateLabelText(GUICHAR** ppStr, const char* pText, GUILABEL* pTargetLbl, GUIPICTURE* pBackGround);
// Gives the label a font of its own, or with null none: then it is drawn in the default one.
void UseLabelFont(GUIFONT* pFont, GUILABEL* pLabel);
// UpdateLabelText in a font of the text's own: a verdict in its colour.
int UpdateLabelVerdict(GUICHAR** ppStr, const char* pText, GUIFONT* pFont, GUILABEL* pTargetLbl,
                       GUIPICTURE* pBackGround);

// ---- Screen rectangle ----

// Copy a rectangle of the drawing buffer into pScreenBmpBuff, and back; what lies outside the screen, or does
// not fit the buffer at more than 16 bits a pixel, is left out. The area of pExBmpRes, when given, replaces
// the four numbers. Note: height before width. Return 0.
int SaveExBmpCoverRes(const GUIPICTURE* pExBmpRes, int iStartX, int iStartY, int iHeight, int iWidth);
int ReplaceExBmpCoverRes(const GUIPICTURE* pExBmpRes, int iStartX, int iStartY, int iHeight, int iWidth);

// ---- Status bar ----

// Not shown on these screens. Return 0.
int ShowSta_CurrDate(GUILABEL* pLblDate);
int ShowSta_CurrTime(GUILABEL* pLblTime);
int ShowSta_LcdLight(GUILABEL* pLblLight);
int ShowSta_PowerInfo(GUIPICTURE* pIcoPower);

// ---- Measurement board ----

// Whether the measurement board is connected.
bool IsBoardConnected();
// Runs a connect toggle (device/serial_link.h) and tells whether the board is connected then; a failure
// clears usDoneFlag of the share.
bool ConnectBoard(THREADFUNC fnToggle);

// ---- Optical module ----

// Whether the optic driver is open, without which no measurement of the module can come to an end; if it is
// not, fnSetInfo shows so.
bool IsModuleOpen(int (*fnSetInfo)(const char* pInfo));

// Shown where the thread that a control needs cannot be had.
constexpr char NO_THREAD_TEXT[] = "Can not start, please try again!";

// ---- Waits ----

// Sleeps on the window thread. -1 as soon as the program is ending, which the caller takes as the order to
// break off.
int WaitUnlessExit(unsigned uiMsec);
