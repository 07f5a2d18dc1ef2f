#include "gui/guibrush.h"

#include <stdlib.h>

#include "gui/guiobj.h"

static GUIBRUSH* pCurrBrush = nullptr;

GUIBRUSH* CreateBrush(int iBrushType) {
    GUIBRUSH* pBrushObj = static_cast<GUIBRUSH*>(malloc(sizeof(GUIBRUSH)));
    if (pBrushObj != nullptr)
        *pBrushObj = {iBrushType, COLOR_NONE, COLOR_NONE};
    return pBrushObj;
}

int SetBrushColor(COLOR uiFgColor, COLOR uiBgColor, GUIBRUSH* pBrushObj) {
    if (pBrushObj == nullptr)
        return -1;
    pBrushObj->uiFgColor = uiFgColor;
    pBrushObj->uiBgColor = uiBgColor;
    return 0;
}

int DestroyBrush(GUIBRUSH** ppBrushObj) {
    if (ppBrushObj == nullptr)
        return -1;
    if (*ppBrushObj == nullptr)
        return -2;
    DropCurrBrush(*ppBrushObj);
    free(*ppBrushObj);
    *ppBrushObj = nullptr;
    return 0;
}

GUIBRUSH* GetCurrBrush() {
    return LoadCurr(&pCurrBrush);
}

int SetCurrBrush(GUIBRUSH* pBrushObj) {
    return StoreCurr(&pCurrBrush, pBrushObj);
}

void DropCurrBrush(GUIBRUSH* pBrushObj) {
    DropCurr(&pCurrBrush, pBrushObj);
}
