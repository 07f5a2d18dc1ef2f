// Where things stand on the product's screens: what an operator's finger and eye know.
#pragma once

#include <string>
#include <vector>

#include "simulator/panel/screen_view.h"

namespace k905 {

// Something to touch, by a point that belongs to it alone.
struct Control {
    const char* screen;
    const char* name;
    int x, y;
};

// A key and its picture on the key check screen.
struct KeyPicture {
    const char* key;  // name in the control protocol; null for the knob's turns
    int steps;        // of the knob, for its turns
    const char* caption;
    Area picture;
    Area label;
};

const std::vector<Control>& Controls();
const std::vector<KeyPicture>& KeyPictures();

// Throws std::out_of_range that names what is not in the table.
const Control& FindControl(const std::string& screen, const std::string& name);

}  // namespace k905
