// Drawing on the current framebuffer map with the current pen's colour. Coordinates are pixels from the
// top-left corner of the screen; corners and ends belong to the figure.
//
// All return 0, or, checked in this order and with nothing drawn: -1 no current palette (at every depth), -2
// no current pen, -3 no current framebuffer map, -4 the figure leaves the screen, -5 the depth is not 8, 16,
// 24 or 32 bits.
//
// Nothing here locks: the window thread lock serialises those who draw.
#pragma once

int DrawPixel(unsigned uiPixelX, unsigned uiPixelY);
int DrawLine(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY);
// Outline, one pixel wide.
int DrawRectangle(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY);
// Outline. Radius 0 is the centre alone.
int DrawCircle(unsigned uiPointX, unsigned uiPointY, unsigned uiCircleR);
// Filled rectangle.
int DrawBlock(unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY);
