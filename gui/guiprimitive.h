// The drawing primitives, one template for each figure over the depth of the framebuffer (Bits: 8, 16, 24 or
// 32).
//
// They take a ready pixel value and check nothing: what they write outside the map's buffer is the caller's
// fault. For guidraw.cpp, which checks, and for tests.
#pragma once

#include <stdint.h>

#include "gui/guifbmap.h"

template <unsigned Bits>
void PaintPixel(uint32_t uiPixel, unsigned uiPixelX, unsigned uiPixelY, GUIFBMAP* pFbmapObj);
// Row from uiStartX to uiEndX inclusive, uiStartX <= uiEndX.
template <unsigned Bits>
void PaintHor(uint32_t uiPixel, unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, GUIFBMAP* pFbmapObj);
// Column from uiStartY to uiEndY inclusive, uiStartY <= uiEndY.
template <unsigned Bits>
void PaintVer(uint32_t uiPixel, unsigned uiStartX, unsigned uiStartY, unsigned uiEndY, GUIFBMAP* pFbmapObj);
// Sloped line (Bresenham), both ends included; the same pixels whichever end comes first.
template <unsigned Bits>
void PaintBias(uint32_t uiPixel, unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
               GUIFBMAP* pFbmapObj);
// Outline of a circle (midpoint).
template <unsigned Bits>
void PaintCircle(uint32_t uiPixel, unsigned uiPointX, unsigned uiPointY, unsigned uiCircleR,
                 GUIFBMAP* pFbmapObj);
// Every pixel of the inclusive rectangle, start <= end in both axes.
template <unsigned Bits>
void PaintBlock(uint32_t uiPixel, unsigned uiStartX, unsigned uiStartY, unsigned uiEndX, unsigned uiEndY,
                GUIFBMAP* pFbmapObj);

constexpr auto* _DrawPixel8 = PaintPixel<8>;
constexpr auto* _DrawPixel16 = PaintPixel<16>;
constexpr auto* _DrawPixel24 = PaintPixel<24>;
constexpr auto* _DrawPixel32 = PaintPixel<32>;

constexpr auto* _DrawHor8 = PaintHor<8>;
constexpr auto* _DrawHor16 = PaintHor<16>;
constexpr auto* _DrawHor24 = PaintHor<24>;
constexpr auto* _DrawHor32 = PaintHor<32>;

constexpr auto* _DrawVer8 = PaintVer<8>;
constexpr auto* _DrawVer16 = PaintVer<16>;
constexpr auto* _DrawVer24 = PaintVer<24>;
constexpr auto* _DrawVer32 = PaintVer<32>;

constexpr auto* _DrawBias8 = PaintBias<8>;
constexpr auto* _DrawBias16 = PaintBias<16>;
constexpr auto* _DrawBias24 = PaintBias<24>;
constexpr auto* _DrawBias32 = PaintBias<32>;

constexpr auto* _DrawCircle8 = PaintCircle<8>;
constexpr auto* _DrawCircle16 = PaintCircle<16>;
constexpr auto* _DrawCircle24 = PaintCircle<24>;
constexpr auto* _DrawCircle32 = PaintCircle<32>;

constexpr auto* _DrawBlock8 = PaintBlock<8>;
constexpr auto* _DrawBlock16 = PaintBlock<16>;
constexpr auto* _DrawBlock24 = PaintBlock<24>;
constexpr auto* _DrawBlock32 = PaintBlock<32>;
