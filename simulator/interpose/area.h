// A rectangle of the LCD.
#pragma once

namespace k905 {

struct Area {
    int x = 0, y = 0, width = 0, height = 0;
    bool Contains(int px, int py) const { return px >= x && py >= y && px < x + width && py < y + height; }
};

}  // namespace k905
