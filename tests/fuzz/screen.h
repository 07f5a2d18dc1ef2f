// A small screen in memory for what the targets draw.
#pragma once

#include <stdint.h>

#include "gui/guifbmap.h"

namespace fuzz {

constexpr unsigned kScreenWidth = 320, kScreenHeight = 200;
inline uint16_t screen[kScreenWidth * kScreenHeight];  // 16-bit pixels, by rows

// Makes it the current one.
inline void UseScreen() {
    static GUIFBMAP map = {};
    map.iDevFd = -1;
    map.iDevType = GUIFBMAP_DIRECT;
    map.uiPixelBits = 16;
    map.uiHorRes = kScreenWidth;
    map.uiVerRes = kScreenHeight;
    map.pMapBuff = reinterpret_cast<uint8_t*>(screen);
    SetCurrFbmap(&map);
}

}  // namespace fuzz
