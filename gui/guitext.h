// A text: a string, its glyphs once loaded, and the box of the screen that it is laid out in.
#pragma once

#include "gui/guibase.h"
#include "gui/guifont.h"

struct GUITEXT {
    unsigned uiTextLength;  // characters, without the terminator
    GUICHAR* pTextData;     // owned copy, with the terminator
    unsigned uiViewWidth;   // the box, pixels; 0: not yet set
    unsigned uiViewHeight;
    unsigned uiPlaceX;  // its top-left corner on the screen
    unsigned uiPlaceY;
    GUIFONT_MATRIX** ppTextMatrix;  // uiTextLength glyphs; null: not loaded
};

// New text with a copy of the string, a view of 0 x 0 and nothing loaded. Null on a null string or short
// memory. The caller frees it with DestroyText.
GUITEXT* CreateText(const GUICHAR* pTextData, unsigned uiPlaceX, unsigned uiPlaceY);
// Replaces the string, drops loaded glyphs and resets the view to 0 x 0. -1 on null; -2 if the glyphs cannot
// be dropped; -3 on short memory, the old string kept.
int SetTextData(const GUICHAR* pTextData, GUITEXT* pTextObj);
// -1 on null.
int SetTextView(unsigned uiViewWidth, unsigned uiViewHeight, GUITEXT* pTextObj);
int SetTextPlace(unsigned uiPlaceX, unsigned uiPlaceY, GUITEXT* pTextObj);

// Loads every glyph with the current font. A view width that is unset or wider than the text becomes the
// text's natural width, an unset view height the font's height. -1 on null; -2 if glyphs are loaded already;
// -3 on short memory; -4 without a current font; -5 if a glyph cannot be had. After -4 and -5 the text counts
// as loaded, with no glyphs: see TextLoadFailed.
int LoadTextMatrix(GUITEXT* pTextObj);
// -1 on null, -2 if nothing is loaded.
int UnloadTextMatrix(GUITEXT* pTextObj);
// True from a load that failed with -4 or -5 until the next unload: the text cannot be drawn. False for an
// empty text, which has nothing to draw.
static inline bool TextLoadFailed(const GUITEXT* pTextObj) {
    return pTextObj->ppTextMatrix != nullptr && pTextObj->uiTextLength > 0 &&
           pTextObj->ppTextMatrix[0] == nullptr;
}

// Draws the text with the current font's colours and gaps, loading it if need be; a glyph that would cross
// the right edge of the view starts a new line. -1 on null; -2 if the text cannot be, or could not be,
// loaded; -3 without a current font; -4 where the view has no room for another line, -5 if memory is short
// and -6 if a glyph cannot be displayed: glyphs before it stay drawn.
int DisplayText(GUITEXT* pTextObj);
// Frees the text and nulls the caller's pointer. -1, -2 on a null argument or text; -3 if unloading fails.
int DestroyText(GUITEXT** ppTextObj);
