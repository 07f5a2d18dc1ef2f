// A picture: a BMP file in a rectangle of the screen, as of a button, an icon or a background.
#pragma once

#include "gui/guibitmap.h"
#include "gui/guibrush.h"
#include "gui/guifont.h"
#include "gui/guiobj.h"
#include "gui/guipen.h"

struct GUIPICTURE {
    GUIVISIBLE Visible;
    GUIBITMAP* pPicBitmap;  // owned; null: none
    GUIBRUSH* pPicBrush;    // borrowed; null: the current one
    GUIPEN* pPicPen;
    GUIFONT* pPicFont;
};

// New picture, enabled, without focus, on layer 0; strBitmapFile may be null and is read at the first
// display. Null if width or height is 0, the area leaves the range of coordinates, or memory is short. The
// caller frees it with DestroyPicture.
GUIPICTURE* CreatePicture(unsigned uiPlaceX, unsigned uiPlaceY, unsigned uiPicWidth, unsigned uiPicHeight,
                          const char* strBitmapFile);
// Another file, read at the next display. -1 on null; -2 if the old bitmap cannot be freed; -3 on short
// memory, which leaves the picture without a bitmap.
int SetPictureBitmap(const char* strBitmapFile, GUIPICTURE* pPicObj);
// Sets the area, corners included; a loaded image is read again at the next display. -1 on null or when the
// end lies left of or above the start.
int SetPictureArea(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
                   GUIPICTURE* pPicObj);
// What replaces the current brush, pen or font while the picture is drawn. -1 on null.
int SetPictureBrush(GUIBRUSH* pBrushObj, GUIPICTURE* pPicObj);
int SetPicturePen(GUIPEN* pPenObj, GUIPICTURE* pPicObj);
int SetPictureFont(GUIFONT* pFontObj, GUIPICTURE* pPicObj);
// -1 on null.
int SetPictureEnable(int iEnable, GUIPICTURE* pPicObj);

// Draws the bitmap. -1 on null; -2 if the picture is disabled or has no bitmap; -3 if the bitmap cannot be
// displayed.
int DisplayPicture(GUIPICTURE* pPicObj);
// Frees picture and bitmap and nulls the caller's pointer. -1, -2 on a null argument or picture; -3 if the
// bitmap cannot be freed.
int DestroyPicture(GUIPICTURE** ppPicObj);
