// What labels and pictures have in common: their area, and the brush, pen and font that replace the current
// ones while they are drawn. For guilabel.cpp and guipicture.cpp.
#pragma once

#include "gui/guibrush.h"
#include "gui/guifont.h"
#include "gui/guiobj.h"
#include "gui/guipen.h"

// A new component's visible part: enabled, without focus, on layer 0. False if a side is 0 or the area leaves
// the range of coordinates.
bool PlaceVisible(unsigned uiPlaceX, unsigned uiPlaceY, unsigned uiWidth, unsigned uiHeight,
                  GUIVISIBLE* pVisible);
// -1 when the end lies left of or above the start.
int SetVisibleArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
                   GUIVISIBLE* pVisible);

static inline unsigned VisibleWidth(const GUIVISIBLE* pVisible) {
    return pVisible->Area.End.x - pVisible->Area.Start.x + 1;
}
static inline unsigned VisibleHeight(const GUIVISIBLE* pVisible) {
    return pVisible->Area.End.y - pVisible->Area.Start.y + 1;
}

// Stores a borrowed brush, pen or font in a component's field. -1 if it or the component is null.
template <typename Component, typename Object>
int SetStylePart(Object* pObj, Component* pComp, Object* Component::*pField) {
    if (pObj == nullptr || pComp == nullptr)
        return -1;
    pComp->*pField = pObj;
    return 0;
}

// Null: none of the component's own.
struct GUISTYLE {
    GUIBRUSH* pBrush;
    GUIPEN* pPen;
    GUIFONT* pFont;
};

// Makes the parts that the style has current and returns what was current; RestoreStyle puts that back.
GUISTYLE SwapStyle(const GUISTYLE& own);
void RestoreStyle(const GUISTYLE& own, const GUISTYLE& previous);
