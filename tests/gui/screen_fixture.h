// A framebuffer map over plain memory, with guard zones around it, and what the tests expect that memory to
// hold.
#pragma once

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>

#include <random>
#include <vector>

#include "gui/guifbmap.h"
#include "gui/guipalette.h"
#include "gui/guipen.h"

namespace test {

// Makes a screen of `bits` current, with a palette of 256 distinct colours and a pen. Its memory starts as
// noise, so that a write of any value shows. Tests put the pixels they expect with Put and compare with
// Matches.
class Screen {
  public:
    Screen(unsigned bits, unsigned width, unsigned height) : bits_(bits), width_(width), height_(height) {
        std::mt19937 random(bits);
        memory_.resize(2 * GUARD + size_t{width} * height * (bits / 8));
        for (uint8_t& byte : memory_)
            byte = static_cast<uint8_t>(random());
        expected_ = memory_;
        map_ = static_cast<GUIFBMAP*>(calloc(1, sizeof(GUIFBMAP)));
        map_->iDevFd = -1;
        map_->uiPixelBits = bits;
        map_->uiHorRes = width;
        map_->uiVerRes = height;
        map_->pMapBuff = memory_.data() + GUARD;
        InitMutex(&map_->Mutex);
        SetCurrFbmap(map_);

        palette_ = CreatePalette(256);
        for (int i = 0; i < 256; ++i) {
            palette_->pRedValue[i] = static_cast<uint8_t>(i * 37);
            palette_->pGreenValue[i] = static_cast<uint8_t>(i * 91);
            palette_->pBlueValue[i] = static_cast<uint8_t>(i);
        }
        SetCurrPalette(palette_);
        pen_ = CreatePen(1, 1, 0);
        SetCurrPen(pen_);
    }
    ~Screen() {
        DestroyPen(&pen_);
        DestroyPalette(&palette_);
        DestroyFbmap(&map_);
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    // A colour of the palette, so that an 8-bit screen shows it exactly.
    static uint32_t PaletteColor(uint8_t i) {
        return uint32_t{static_cast<uint8_t>(i * 37)} << 16 | uint32_t{static_cast<uint8_t>(i * 91)} << 8 | i;
    }

    GUIFBMAP* Map() { return map_; }
    GUIPALETTE* Palette() { return palette_; }
    void SetColor(uint32_t color) { pen_->uiPenColor = color; }
    void DropPen() { DropCurrPen(pen_); }

    // The colour at (x, y) becomes part of what is expected; an 8-bit screen takes colours of the palette
    // only.
    void Put(unsigned x, unsigned y, uint32_t color) {
        ASSERT_TRUE(x < width_ && y < height_) << "expected pixel off the screen: " << x << ", " << y;
        PutValue(x, y, Value(color), bits_ / 8);
    }
    // As Put, of which only the colour's three bytes count.
    void PutColorBytes(unsigned x, unsigned y, uint32_t color) {
        PutValue(x, y, Value(color), bits_ == 32 ? 3 : bits_ / 8);
    }

    // True when screen and guard zones hold exactly what is expected.
    ::testing::AssertionResult Matches() const {
        for (size_t i = 0; i < memory_.size(); ++i) {
            if (memory_[i] == expected_[i])
                continue;
            const size_t pixel = (i - GUARD) / (bits_ / 8);
            const bool guard = i < GUARD || i >= memory_.size() - GUARD;
            return ::testing::AssertionFailure()
                   << (guard ? "guard zone written: byte " : "byte ") << i << " at (" << pixel % width_
                   << ", " << pixel / width_ << ") is " << int{memory_[i]} << ", expected "
                   << int{expected_[i]};
        }
        return ::testing::AssertionSuccess();
    }
    // Forgets what was drawn: the screen as it is now is what is expected.
    void Accept() { expected_ = memory_; }
    bool Untouched() const { return memory_ == expected_; }

  private:
    static constexpr size_t GUARD = 4096;

    uint32_t Value(uint32_t color) const {
        if (bits_ == 8)
            return color & 0xFF;  // blue is the index in PaletteColor
        if (bits_ == 16)
            return (color >> 19 & 0x1F) << 11 | (color >> 10 & 0x3F) << 5 | (color >> 3 & 0x1F);
        return bits_ == 24 ? color & 0xFFFFFF : color;
    }
    void PutValue(unsigned x, unsigned y, uint32_t value, unsigned bytes) {
        uint8_t* pixel = expected_.data() + GUARD + (size_t{y} * width_ + x) * (bits_ / 8);
        for (unsigned i = 0; i < bytes; ++i)
            pixel[i] = static_cast<uint8_t>(value >> (8 * i));
    }

    unsigned bits_;
    unsigned width_;
    unsigned height_;
    std::vector<uint8_t> memory_;
    std::vector<uint8_t> expected_;
    GUIFBMAP* map_;
    GUIPALETTE* palette_;
    GUIPEN* pen_;
};

}  // namespace test
