#include "tests/screens/made_controls.h"

namespace test {

static std::vector<MadePicture> pictures;
static std::vector<const GUILABEL*> labels;

const std::vector<MadePicture>& MadePictures() {
    return pictures;
}

const std::vector<const GUILABEL*>& MadeLabels() {
    return labels;
}

void ForgetMadeControls() {
    pictures.clear();
    labels.clear();
}

}  // namespace test

// The linker's names of CreatePicture and CreateLabel, and of what stands in their place.
extern "C" {
GUIPICTURE* __real__Z13CreatePicturejjjjPKc(unsigned, unsigned, unsigned, unsigned, const char*);
GUIPICTURE* __wrap__Z13CreatePicturejjjjPKc(unsigned, unsigned, unsigned, unsigned, const char*);
GUILABEL* __real__Z11CreateLabeljjjjPKt(unsigned, unsigned, unsigned, unsigned, const GUICHAR*);
GUILABEL* __wrap__Z11CreateLabeljjjjPKt(unsigned, unsigned, unsigned, unsigned, const GUICHAR*);
}

GUIPICTURE* __wrap__Z13CreatePicturejjjjPKc(unsigned x, unsigned y, unsigned width, unsigned height,
                                            const char* file) {
    GUIPICTURE* picture = __real__Z13CreatePicturejjjjPKc(x, y, width, height, file);
    if (picture != nullptr)
        test::pictures.push_back({picture, picture->Visible});
    return picture;
}

GUILABEL* __wrap__Z11CreateLabeljjjjPKt(unsigned x, unsigned y, unsigned width, unsigned height,
                                        const GUICHAR* text) {
    GUILABEL* label = __real__Z11CreateLabeljjjjPKt(x, y, width, height, text);
    if (label != nullptr)
        test::labels.push_back(label);
    return label;
}
