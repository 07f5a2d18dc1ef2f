#include "gui/guipen.h"

#include <stdlib.h>

#include "gui/guiobj.h"

static GUIPEN* pCurrPen = nullptr;

GUIPEN* CreatePen(int iPenType, int iPenWidth, COLOR uiPenColor) {
    GUIPEN* pPenObj = static_cast<GUIPEN*>(malloc(sizeof(GUIPEN)));
    if (pPenObj != nullptr)
        *pPenObj = {iPenType, iPenWidth, uiPenColor};
    return pPenObj;
}

int DestroyPen(GUIPEN** ppPenObj) {
    if (ppPenObj == nullptr)
        return -1;
    if (*ppPenObj == nullptr)
        return -2;
    DropCurrPen(*ppPenObj);
    free(*ppPenObj);
    *ppPenObj = nullptr;
    return 0;
}

GUIPEN* GetCurrPen() {
    return LoadCurr(&pCurrPen);
}

int SetCurrPen(GUIPEN* pPenObj) {
    return StoreCurr(&pCurrPen, pPenObj);
}

void DropCurrPen(GUIPEN* pPenObj) {
    DropCurr(&pCurrPen, pPenObj);
}
