// The pen: the colour of everything that guidraw.h draws.
#pragma once

#include "gui/guicolor.h"

struct GUIPEN {
    int iPenType;   // carried only: every line is solid
    int iPenWidth;  // carried only: every line is one pixel wide
    COLOR uiPenColor;
};

// New pen, freed by the caller with DestroyPen. Null when memory is short.
GUIPEN* CreatePen(int iPenType, int iPenWidth, COLOR uiPenColor);
// Frees the pen and nulls the caller's pointer. -1, -2 on a null argument or pen.
int DestroyPen(GUIPEN** ppPenObj);

GUIPEN* GetCurrPen();
// -1 on null, the current pen is kept.
int SetCurrPen(GUIPEN* pPenObj);
// Leaves no pen current if pPenObj is.
void DropCurrPen(GUIPEN* pPenObj);
