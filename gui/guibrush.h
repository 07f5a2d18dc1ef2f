// The brush: a pair of colours that components and screens read; drawing itself uses the pen only.
#pragma once

#include "gui/guicolor.h"

struct GUIBRUSH {
    int iBrushType;
    COLOR uiFgColor;
    COLOR uiBgColor;
};

// New brush without colours (COLOR_NONE), freed by the caller with DestroyBrush. Null when memory is short.
GUIBRUSH* CreateBrush(int iBrushType);
// -1 on null.
int SetBrushColor(COLOR uiFgColor, COLOR uiBgColor, GUIBRUSH* pBrushObj);
// Frees the brush and nulls the caller's pointer. -1, -2 on a null argument or brush.
int DestroyBrush(GUIBRUSH** ppBrushObj);

GUIBRUSH* GetCurrBrush();
// -1 on null, the current brush is kept.
int SetCurrBrush(GUIBRUSH* pBrushObj);
// Leaves no brush current if pBrushObj is.
void DropCurrBrush(GUIBRUSH* pBrushObj);
