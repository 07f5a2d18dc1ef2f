// Pixels as they lie in a framebuffer of each depth: the conversion from a colour, the store of one pixel,
// and the fill of a row. Drawing and images share them.
//
// Bits is the depth: 8, 16, 24 or 32. Rows of 16 and 32 bits start on the pixel's own alignment, as every
// mapping and heap block does. Stores never fall on a worse alignment than their width (ARMv5 has no others),
// and nothing is read back: a framebuffer may be uncached.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "gui/guicolor.h"
#include "gui/guipalette.h"

// The order of bytes within words that a framebuffer holds is the processor's own.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "16- and 32-bit pixels are little-endian words");

template <unsigned Bits>
struct DEPTH {
    static constexpr unsigned BITS = Bits;
    static constexpr size_t BYTES = Bits / 8;
};

// Runs the work with the depth as a type: work(DEPTH<16>()). -1, nothing run, for a depth that no framebuffer
// has.
template <typename Work>
static inline int AtDepth(unsigned uiPixelBits, Work work) {
    switch (uiPixelBits) {
        case 8:
            work(DEPTH<8>());
            return 0;
        case 16:
            work(DEPTH<16>());
            return 0;
        case 24:
            work(DEPTH<24>());
            return 0;
        case 32:
            work(DEPTH<32>());
            return 0;
        default:
            return -1;
    }
}

// ---- From colour to pixel value ----

// Five bits of red, six of green, five of blue, red in the highest.
constexpr uint32_t Rgb565(COLOR uiColor) {
    return (uiColor & 0xF8) >> 3 | (uiColor & 0xFC00) >> 5 | (uiColor & 0xF80000) >> 8;
}

// The palette is for 8 bits only; a colour that it does not hold becomes 0xFF.
template <unsigned Bits>
static inline uint32_t PixelValue(COLOR uiColor, const GUIPALETTE* pPalObj) {
    if constexpr (Bits == 8)
        return static_cast<uint8_t>(MatchPaletteColor(uiColor, pPalObj));
    else if constexpr (Bits == 16)
        return Rgb565(uiColor);
    else if constexpr (Bits == 24)
        return uiColor & 0xFFFFFF;
    else
        return uiColor;
}

// ---- One pixel ----

// A store at an address that the caller knows to be a multiple of the word's size.
template <typename Word>
static inline void StoreAligned(Word word, uint8_t* pDest) {
    memcpy(__builtin_assume_aligned(pDest, sizeof(Word)), &word, sizeof(Word));
}

template <unsigned Bits>
static inline void PutPixel(uint32_t uiPixel, uint8_t* pDest) {
    if constexpr (Bits == 8) {
        *pDest = static_cast<uint8_t>(uiPixel);
    } else if constexpr (Bits == 16) {
        StoreAligned(static_cast<uint16_t>(uiPixel), pDest);
    } else if constexpr (Bits == 24) {
        pDest[0] = static_cast<uint8_t>(uiPixel);
        pDest[1] = static_cast<uint8_t>(uiPixel >> 8);
        pDest[2] = static_cast<uint8_t>(uiPixel >> 16);
    } else {
        StoreAligned(uiPixel, pDest);
    }
}

// ---- Rows ----

// Four pixels of any depth are a whole number of 32-bit words: as many as a pixel has bytes.
constexpr unsigned GROUP_PIXELS = 4;
// A step of a fill, a power of two: at most the 64 bytes that compilers copy in place, with a few of the
// widest moves (vectors, or store-multiple on ARM).
template <unsigned Bits>
constexpr unsigned FILL_PIXELS = Bits == 24 ? 16 : 512 / Bits;

template <unsigned Bits>
struct PIXEL_FILL {
    alignas(uint32_t) uint8_t ucBytes[FILL_PIXELS<Bits> * Bits / 8];
};

// Copies the first uiPixels to an address that is a multiple of 4.
template <unsigned uiPixels, unsigned Bits>
static inline void PutPart(const PIXEL_FILL<Bits>& fill, uint8_t* pDest) {
    static_assert(uiPixels <= FILL_PIXELS<Bits> && uiPixels % GROUP_PIXELS == 0, "whole words of the fill");
    memcpy(__builtin_assume_aligned(pDest, sizeof(uint32_t)), fill.ucBytes, uiPixels * Bits / 8);
}

// The value, which the compiler no longer knows: it is kept in a register instead of being made anew for each
// use, and masks stay on the side of a shift where they were written. What it may point to counts as read.
template <typename Value>
static inline Value InRegister(Value value) {
    asm("" : "+r"(value) : : "memory");
    return value;
}

static inline bool OnWord(const uint8_t* pData) {
    return (reinterpret_cast<uintptr_t>(pData) & (sizeof(uint32_t) - 1)) == 0;
}

template <unsigned Bits>
static inline PIXEL_FILL<Bits> PrepareFill(uint32_t uiPixel) {
    PIXEL_FILL<Bits> fill;
    for (unsigned i = 0; i < FILL_PIXELS<Bits>; ++i)
        PutPixel<Bits>(uiPixel, fill.ucBytes + i * DEPTH<Bits>::BYTES);
    return fill;
}

// Writes the groups that are left of uiCount when steps of 2 * uiPixels have been written, and returns their
// end.
template <unsigned uiPixels, unsigned Bits>
static inline uint8_t* FillGroups(const PIXEL_FILL<Bits>& fill, unsigned uiCount, uint8_t* pDest) {
    if constexpr (uiPixels >= GROUP_PIXELS) {
        if ((uiCount & uiPixels) != 0) {
            PutPart<uiPixels>(fill, pDest);
            pDest += uiPixels * DEPTH<Bits>::BYTES;
        }
        pDest = FillGroups<uiPixels / 2, Bits>(fill, uiCount, pDest);
    }
    return pDest;
}

// Writes uiCount pixels of one value, the one that the fill was prepared with.
template <unsigned Bits>
static inline void FillRow(uint32_t uiPixel, const PIXEL_FILL<Bits>& fill, unsigned uiCount, uint8_t* pDest) {
    constexpr size_t BYTES = DEPTH<Bits>::BYTES;
    constexpr unsigned STEP = FILL_PIXELS<Bits>;
    for (; uiCount > 0 && !OnWord(pDest); --uiCount, pDest += BYTES)
        PutPixel<Bits>(uiPixel, pDest);
    for (; uiCount >= STEP; uiCount -= STEP, pDest += STEP * BYTES)
        PutPart<STEP>(fill, pDest);
    pDest = FillGroups<STEP / 2, Bits>(fill, uiCount, pDest);
    for (uiCount %= GROUP_PIXELS; uiCount > 0; --uiCount, pDest += BYTES)
        PutPixel<Bits>(uiPixel, pDest);
}
