#include "gui/guilabel.h"

#include <stdlib.h>

#include "gui/guicomp.h"

// New text that lies in the area. Null on short memory.
static GUITEXT* CreateTextIn(const GUICHAR* pTextData, const GUIVISIBLE* pVisible) {
    GUITEXT* pText = CreateText(pTextData, pVisible->Area.Start.x, pVisible->Area.Start.y);
    if (pText != nullptr)
        SetTextView(VisibleWidth(pVisible), VisibleHeight(pVisible), pText);
    return pText;
}

GUILABEL* CreateLabel(unsigned uiPlaceX, unsigned uiPlaceY, unsigned uiLblWidth, unsigned uiLblHeight,
                      const GUICHAR* pTextData) {
    GUIVISIBLE visible = {};
    if (!PlaceVisible(uiPlaceX, uiPlaceY, uiLblWidth, uiLblHeight, &visible))
        return nullptr;
    GUILABEL* pLblObj = static_cast<GUILABEL*>(malloc(sizeof(GUILABEL)));
    if (pLblObj == nullptr)
        return nullptr;
    *pLblObj = {visible, GUILABEL_LEFT, nullptr, nullptr, nullptr, nullptr};
    if (pTextData == nullptr)
        return pLblObj;
    pLblObj->pLblText = CreateTextIn(pTextData, &visible);
    if (pLblObj->pLblText == nullptr) {
        free(pLblObj);
        return nullptr;
    }
    return pLblObj;
}

int SetLabelText(const GUICHAR* pTextData, GUILABEL* pLblObj) {
    if (pTextData == nullptr || pLblObj == nullptr)
        return -1;
    const GUIVISIBLE* pVisible = &pLblObj->Visible;
    if (pLblObj->pLblText == nullptr) {
        pLblObj->pLblText = CreateTextIn(pTextData, pVisible);
        return pLblObj->pLblText != nullptr ? 0 : -2;
    }
    if (SetTextData(pTextData, pLblObj->pLblText) != 0)
        return -2;
    return SetTextView(VisibleWidth(pVisible), VisibleHeight(pVisible), pLblObj->pLblText);
}

int SetLabelArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY, GUILABEL* pLblObj) {
    if (pLblObj == nullptr || SetVisibleArea(uiStartX, uiStartY, uiEndX, uiEndY, &pLblObj->Visible) != 0)
        return -1;
    GUITEXT* pText = pLblObj->pLblText;
    if (pText != nullptr) {
        // Loading again finds the natural width, which the alignment needs and the new view hides.
        if (pText->ppTextMatrix != nullptr)
            UnloadTextMatrix(pText);
        SetTextView(VisibleWidth(&pLblObj->Visible), VisibleHeight(&pLblObj->Visible), pText);
        SetTextPlace(uiStartX, uiStartY, pText);
    }
    return 0;
}

int SetLabelAlign(int iLblAlign, GUILABEL* pLblObj) {
    if (pLblObj == nullptr || iLblAlign > GUILABEL_CENTRE)
        return -1;
    pLblObj->iLblAlign = iLblAlign;
    return 0;
}

int SetLabelBrush(GUIBRUSH* pBrushObj, GUILABEL* pLblObj) {
    return SetStylePart(pBrushObj, pLblObj, &GUILABEL::pLblBrush);
}

int SetLabelPen(GUIPEN* pPenObj, GUILABEL* pLblObj) {
    return SetStylePart(pPenObj, pLblObj, &GUILABEL::pLblPen);
}

int SetLabelFont(GUIFONT* pFontObj, GUILABEL* pLblObj) {
    return SetStylePart(pFontObj, pLblObj, &GUILABEL::pLblFont);
}

int SetLabelEnable(int iEnable, GUILABEL* pLblObj) {
    if (pLblObj == nullptr)
        return -1;
    StoreVisibleFlag(&pLblObj->Visible.iEnable, iEnable);
    return 0;
}

// Places the loaded text by the label's alignment. -1 if there is no such alignment.
static int AlignText(const GUILABEL* pLblObj) {
    const GUIPOINT& start = pLblObj->Visible.Area.Start;
    const unsigned uiWidth = VisibleWidth(&pLblObj->Visible);
    const unsigned uiView = pLblObj->pLblText->uiViewWidth;
    const unsigned uiRest = uiWidth > uiView ? uiWidth - uiView : 0;
    switch (pLblObj->iLblAlign) {
        case GUILABEL_LEFT:
            return SetTextPlace(start.x, start.y, pLblObj->pLblText);
        case GUILABEL_RIGHT:
            return SetTextPlace(start.x + uiRest, start.y, pLblObj->pLblText);
        case GUILABEL_CENTRE:
            return SetTextPlace(start.x + uiRest / 2, start.y, pLblObj->pLblText);
        default:
            return -1;
    }
}

int DisplayLabel(GUILABEL* pLblObj) {
    if (pLblObj == nullptr)
        return -1;
    if (LoadVisibleFlag(&pLblObj->Visible.iEnable) == 0 || pLblObj->pLblText == nullptr)
        return -2;
    GUITEXT* pText = pLblObj->pLblText;
    if (pText->ppTextMatrix == nullptr && LoadTextMatrix(pText) != 0)
        return -3;
    if (TextLoadFailed(pText))
        return -3;
    if (AlignText(pLblObj) != 0)
        return -4;
    const GUISTYLE own = {pLblObj->pLblBrush, pLblObj->pLblPen, pLblObj->pLblFont};
    const GUISTYLE previous = SwapStyle(own);
    const int iResult = DisplayText(pText);
    RestoreStyle(own, previous);
    return iResult == 0 ? 0 : -5;
}

int DestroyLabel(GUILABEL** ppLblObj) {
    if (ppLblObj == nullptr)
        return -1;
    if (*ppLblObj == nullptr)
        return -2;
    if ((*ppLblObj)->pLblText != nullptr && DestroyText(&(*ppLblObj)->pLblText) != 0)
        return -3;
    free(*ppLblObj);
    *ppLblObj = nullptr;
    return 0;
}
