// A label: a text in a rectangle of the screen.
#pragma once

#include "gui/guibase.h"
#include "gui/guibrush.h"
#include "gui/guifont.h"
#include "gui/guiobj.h"
#include "gui/guipen.h"
#include "gui/guitext.h"

// Where a text narrower than its label stands.
enum {
    GUILABEL_LEFT = 0,
    GUILABEL_RIGHT = 1,
    GUILABEL_CENTRE = 2,
};

struct GUILABEL {
    GUIVISIBLE Visible;
    int iLblAlign;        // GUILABEL_LEFT, GUILABEL_RIGHT or GUILABEL_CENTRE
    GUITEXT* pLblText;    // owned; null: none
    GUIBRUSH* pLblBrush;  // borrowed; null: the current one
    GUIPEN* pLblPen;
    GUIFONT* pLblFont;
};

// New label, enabled, without focus, on layer 0, left aligned; pTextData may be null. Null if width or height
// is 0, the area leaves the range of coordinates, or memory is short. The caller frees it with DestroyLabel.
GUILABEL* CreateLabel(unsigned uiPlaceX, unsigned uiPlaceY, unsigned uiLblWidth, unsigned uiLblHeight,
                      const GUICHAR* pTextData);
// -1 on null; -2 if the text cannot be replaced.
int SetLabelText(const GUICHAR* pTextData, GUILABEL* pLblObj);
// Sets the area, corners included; the text is loaded again at the next display. -1 on null or when the end
// lies left of or above the start.
int SetLabelArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY, GUILABEL* pLblObj);
// -1 on null or above GUILABEL_CENTRE; a negative value is taken and makes DisplayLabel return -4.
int SetLabelAlign(int iLblAlign, GUILABEL* pLblObj);
// What replaces the current brush, pen or font while the label is drawn. -1 on null.
int SetLabelBrush(GUIBRUSH* pBrushObj, GUILABEL* pLblObj);
int SetLabelPen(GUIPEN* pPenObj, GUILABEL* pLblObj);
int SetLabelFont(GUIFONT* pFontObj, GUILABEL* pLblObj);
// -1 on null.
int SetLabelEnable(int iEnable, GUILABEL* pLblObj);

// Draws the text over whatever the screen holds; the glyphs are those of the current font, colours and gaps
// those of the label's own font if it has one. -1 on null; -2 if the label is disabled or has no text; -3 if
// the text cannot be loaded; -4 on an unknown alignment; -5 if the text cannot be displayed.
int DisplayLabel(GUILABEL* pLblObj);
// Frees label and text and nulls the caller's pointer. -1, -2 on a null argument or label; -3 if the text
// cannot be freed.
int DestroyLabel(GUILABEL** ppLblObj);
