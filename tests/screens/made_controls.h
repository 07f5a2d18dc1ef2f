// Pictures and labels as the screens make them: the linker sends CreatePicture and CreateLabel through
// made_controls.cpp.
#pragma once

#include <vector>

#include "gui/guilabel.h"
#include "gui/guipicture.h"

namespace test {

// Whether they are still there is for the test to know; the area is that of the picture when it was made.
struct MadePicture {
    const GUIPICTURE* picture;
    GUIVISIBLE visible;
};
// In order, since the last call of ForgetMadeControls.
const std::vector<MadePicture>& MadePictures();
const std::vector<const GUILABEL*>& MadeLabels();
void ForgetMadeControls();

}  // namespace test
