// What the product's screen offers to the finger, as the product's own tables tell it.
#pragma once

#include <string>
#include <vector>

#include "simulator/interpose/area.h"

namespace k905 {

// A picture of the shown screen that has a caption or takes touches.
struct ScreenControl {
    std::string name;       // its caption; without one, what its bitmap is called: "Back"
    Area picture, caption;  // on the LCD; a caption of width 0: none
    bool touchable = false;
    bool enabled = false;
    // The point that lies deepest in what belongs to it alone; -1: it takes no touches, or others cover it.
    int x = -1, y = -1;
};

// In the order of the screen's table; none while no screen is shown. The caller sees to it that the product
// stands still; else a screen that is just being taken down may be told in part. Throws std::runtime_error if
// the program's symbol table does not tell where its screen is.
std::vector<ScreenControl> ScreenControls();
// The name of the control that takes a touch at that point; "" where there is none, several do, or another
// one of the screen has the name too. Otherwise as above.
std::string ControlAt(int x, int y);

}  // namespace k905
