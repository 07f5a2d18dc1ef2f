#include "gui/guicomp.h"

bool PlaceVisible(unsigned uiPlaceX, unsigned uiPlaceY, unsigned uiWidth, unsigned uiHeight,
                  GUIVISIBLE* pVisible) {
    if (uiWidth == 0 || uiHeight == 0 || uiPlaceX > UINT32_MAX - (uiWidth - 1) ||
        uiPlaceY > UINT32_MAX - (uiHeight - 1))
        return false;
    *pVisible = {{{uiPlaceX, uiPlaceY}, {uiPlaceX + (uiWidth - 1), uiPlaceY + (uiHeight - 1)}}, 1, 0, 0};
    return true;
}

int SetVisibleArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
                   GUIVISIBLE* pVisible) {
    if (uiEndX < uiStartX || uiEndY < uiStartY)
        return -1;
    pVisible->Area = {{uiStartX, uiStartY}, {uiEndX, uiEndY}};
    return 0;
}

GUISTYLE SwapStyle(const GUISTYLE& own) {
    const GUISTYLE previous = {GetCurrBrush(), GetCurrPen(), GetCurrFont()};
    // Setting null keeps what is current.
    SetCurrBrush(own.pBrush);
    SetCurrPen(own.pPen);
    SetCurrFont(own.pFont);
    return previous;
}

// Puts back what a part replaced, which may be nothing.
template <typename Object>
static void RestorePart(Object* pOwn, Object* pPrevious, int (*fnSetCurr)(Object*),
                        void (*fnDropCurr)(Object*)) {
    if (pOwn != nullptr && fnSetCurr(pPrevious) != 0)
        fnDropCurr(pOwn);
}

void RestoreStyle(const GUISTYLE& own, const GUISTYLE& previous) {
    RestorePart(own.pBrush, previous.pBrush, SetCurrBrush, DropCurrBrush);
    RestorePart(own.pPen, previous.pPen, SetCurrPen, DropCurrPen);
    RestorePart(own.pFont, previous.pFont, SetCurrFont, DropCurrFont);
}
