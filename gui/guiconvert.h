// The image converters, one template over the depths of image (1, 8, 24) and framebuffer (8, 16, 24, 32).
// They draw the image's display area at its place and check nothing: for guiimage.cpp, which clips, and for
// tests. They stay functions of their own: within the choice of one the compiler makes slower loops of them.
#pragma once

#include "gui/guifbmap.h"
#include "gui/guiimage.h"

template <unsigned ImageBits, unsigned Bits>
__attribute__((noinline)) void ConvertImage(const GUIIMAGE* pImgObj, GUIFBMAP* pFbmapObj);

// An 8-bit framebuffer is left as it is.
constexpr auto* _Image1Fb8 = ConvertImage<1, 8>;
constexpr auto* _Image1Fb16 = ConvertImage<1, 16>;
constexpr auto* _Image1Fb24 = ConvertImage<1, 24>;
constexpr auto* _Image1Fb32 = ConvertImage<1, 32>;

constexpr auto* _Image8Fb8 = ConvertImage<8, 8>;
constexpr auto* _Image8Fb16 = ConvertImage<8, 16>;
constexpr auto* _Image8Fb24 = ConvertImage<8, 24>;
constexpr auto* _Image8Fb32 = ConvertImage<8, 32>;

constexpr auto* _Image24Fb8 = ConvertImage<24, 8>;
constexpr auto* _Image24Fb16 = ConvertImage<24, 16>;
constexpr auto* _Image24Fb24 = ConvertImage<24, 24>;
constexpr auto* _Image24Fb32 = ConvertImage<24, 32>;
