// Every text of every screen fits where it stands. The linker sends DisplayLabel through here, so each label
// is looked at as it is drawn, in all tests of this program: the captions, titles and fixed texts of the
// screens' tables in those below, what the screens tell while they work in the others.
#include <algorithm>
#include <regex>
#include <set>

#include "device/common_opt.h"
#include "gui/guitext.h"
#include "screens/wnd_frmadjust.h"
#include "screens/wnd_frmapd_adjust.h"
#include "screens/wnd_frmdialog.h"
#include "screens/wnd_frme2prom.h"
#include "screens/wnd_frmkeycheck.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_frmmainboard_fct.h"
#include "screens/wnd_frmopm_fct.h"
#include "screens/wnd_frmoptcheck.h"
#include "screens/wnd_frmopticalmain.h"
#include "screens/wnd_frmpulsewidth.h"
#include "tests/screens/made_controls.h"
#include "tests/screens/screen_fixture.h"

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

// The far corner does not belong to it.
struct Box {
    int left, top, right, bottom;

    int Common(const Box& other) const {
        const int width = std::min(right, other.right) - std::max(left, other.left);
        const int height = std::min(bottom, other.bottom) - std::max(top, other.top);
        return width > 0 && height > 0 ? width * height : 0;
    }
    int Size() const { return Common(*this); }
    bool Holds(const Box& other) const { return Common(other) == other.Size(); }
    Box Within(int margin) const { return {left + margin, top + margin, right - margin, bottom - margin}; }
};

Box BoxOf(const GUIVISIBLE& visible) {
    return {static_cast<int>(visible.Area.Start.x), static_cast<int>(visible.Area.Start.y),
            static_cast<int>(visible.Area.End.x) + 1, static_cast<int>(visible.Area.End.y) + 1};
}

// A pixel of its own stays free between a text and the edge of its button, which is a pixel wide.
constexpr int kButtonEdge = 2;
constexpr int kGap = 2;  // between two glyphs, and between two lines
constexpr int kRows = 16;

// Texts that are longer than their labels are wide, and wrap: readings and results in the panels, and the
// captions of the pulse width screen.
const std::regex kWrapping(
    "Ad: .*|1310 Optical check .*|Pusle Mode.*|[0-9]+: ApdBreakVoltage.*|1(310|550)nm .*Chnnel");

// Of the test that runs.
std::set<std::string> drawn;      // texts of the labels
std::set<std::string> misplaced;  // those that do not fit, and why

std::string Ascii(const GUICHAR* text) {
    std::string ascii;
    for (; *text != 0; ++text)
        ascii += *text < 0x80 ? static_cast<char>(*text) : '?';
    return ascii;
}

// First and last inked row of a glyph; a blank one has neither.
std::pair<int, int> InkedRows(const GUIFONT_MATRIX& glyph) {
    std::pair<int, int> rows = {kRows, -1};
    for (int i = 0; i < kRows * static_cast<int>(glyph.uiRowBytes); ++i) {
        if (glyph.pMatrixData[i] == 0)
            continue;
        const int row = i / static_cast<int>(glyph.uiRowBytes);
        rows = {std::min(rows.first, row), row};
    }
    return rows;
}

// A text laid out by the wrapping rule: a glyph whose columns do not fit begins a new line.
struct Layout {
    int lines = 1;
    std::vector<Box> inks;
};
Layout LayOut(const GUITEXT& text) {
    Layout layout;
    const int place = static_cast<int>(text.uiPlaceX);
    const int right = place + static_cast<int>(text.uiViewWidth);
    int x = place, y = static_cast<int>(text.uiPlaceY);
    for (unsigned i = 0; i < text.uiTextLength; ++i) {
        const GUIFONT_MATRIX& glyph = *text.ppTextMatrix[i];
        const int width = static_cast<int>(glyph.uiRealWidth);
        const auto [first, last] = InkedRows(glyph);
        if (x + width > right) {
            x = place;
            y += kRows + kGap;
            layout.lines++;
        }
        if (last >= 0)
            layout.inks.push_back({x, y + first, x + width, y + last + 1});
        x += width + kGap;
    }
    return layout;
}

// The button, of the screen that was made last, that the label lies on at least with its larger part; one
// without a size if there is none.
Box ButtonOf(const Box& label) {
    constexpr int kBackground = 800 * 420, kLargestButton = 110 * 60;
    Box found = {};
    for (const test::MadePicture& made : test::MadePictures()) {
        const Box box = BoxOf(made.visible);
        if (box.Size() == kBackground)
            found = {};  // another screen
        else if (box.Size() <= kLargestButton && 2 * box.Common(label) >= label.Size() &&
                 box.Common(label) > found.Common(label))
            found = box;
    }
    return found;
}

void LookAt(const GUILABEL& label) {
    if (label.pLblText == nullptr || label.pLblText->ppTextMatrix == nullptr ||
        TextLoadFailed(label.pLblText))
        return;
    const std::string text = Ascii(label.pLblText->pTextData);
    drawn.insert(text);
    const Box area = BoxOf(label.Visible);
    const Box button = ButtonOf(area);
    const Layout layout = LayOut(*label.pLblText);
    if (layout.lines > 1 && !std::regex_match(text, kWrapping))
        misplaced.insert("\"" + text + "\" takes " + std::to_string(layout.lines) + " lines");
    for (const Box& ink : layout.inks) {
        if (!area.Holds(ink))
            misplaced.insert("\"" + text + "\" reaches beyond its label");
        if (button.Size() > 0 && !button.Within(kButtonEdge).Holds(ink))
            misplaced.insert("\"" + text + "\" touches an edge of its button");
    }
}

class Watch : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        test::ForgetMadeControls();
        drawn.clear();
        misplaced.clear();
    }
    void OnTestEnd(const testing::TestInfo&) override { EXPECT_THAT(misplaced, IsEmpty()); }
};
[[maybe_unused]] const bool watching = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new Watch);
    return true;
}();

}  // namespace

// The linker's name of DisplayLabel, and of what stands in its place.
extern "C" {
int __real__Z12DisplayLabelP8GUILABEL(GUILABEL* label);
int __wrap__Z12DisplayLabelP8GUILABEL(GUILABEL* label);
}

int __wrap__Z12DisplayLabelP8GUILABEL(GUILABEL* label) {
    const int result = __real__Z12DisplayLabelP8GUILABEL(label);
    if (label != nullptr)
        LookAt(*label);
    return result;
}

namespace {

struct Screen {
    const char* name;
    const SCREEN_ENTRY& entry;
    std::vector<const char*> texts;  // some of those that it shows when it opens
};

class Captions : public test::ScreenTest, public testing::WithParamInterface<Screen> {};

// With the board pulled out and with it connected, which are two looks and two information lines.
TEST_P(Captions, FitTheirLabelsAndButtons) {
    for (const uint16_t connected : {0, 1}) {
        PowerOn();
        OPMGUIShare.usIsConnect = connected;
        Start(GetParam().entry);
        for (const char* text : GetParam().texts)
            EXPECT_THAT(drawn, Contains(text));
        EXPECT_THAT(misplaced, IsEmpty());
    }
}

const Screen screens[] = {
    {"Start", FrmMain, {"Opticl_FCT", "MainBoard_FCT"}},
    {"MainBoard", FrmMainBoard, {"K905 Mainboard FCT !", "battery voltage", "Speaker Check", "Auto"}},
    {"KeyCheck", FrmKeyCheck, {"Key Check", "Setup", "Enter", "Anti"}},
    {"OpticalMenu", FrmOpticalMain, {"OPM_Adjust", "OPT_Adjust", "APD_Adjust"}},
    {"OpmTest", FrmOPM, {"OPM FCT", "Voltage Check", "Eeprom Check", "Temperature"}},
    {"OpmAdjust", FrmAdjust, {"OPM Adjust", "Connect", "Att1"}},
    {"OpticalCheck", FrmOptcheck, {"Dev adjust", "Please plug in 1KM - 2KM optical fiber before adjust"}},
    {"ApdAdjust", FrmAPDAdj, {"APD Adjust", "E2PROM", "Trace :"}},
    {"E2prom", FrmE2PROM, {}},
    {"PulseWidth", FrmPulseWid, {"PulseWid FCT", "1310nm 100ns 6307Chnnel"}},
};
INSTANTIATE_TEST_SUITE_P(Screens, Captions, testing::ValuesIn(screens),
                         [](const auto& test) { return std::string(test.param.name); });

class CaptionWatch : public test::ScreenTest {
  protected:
    // Draws a caption over a button at (600, 35) as the screen would.
    void Draw(const char* caption, unsigned x, unsigned width, unsigned height) {
        GUICHAR* text = TransString(caption);
        GUILABEL* label = CreateLabel(x, 44, width, height, text);
        DisplayLabel(label);
        DestroyLabel(&label);
        free(text);
    }
    void ExpectOnly(const char* fault) {
        ASSERT_EQ(1u, misplaced.size());
        EXPECT_THAT(*misplaced.begin(), HasSubstr(fault));
        misplaced.clear();
    }
};

TEST_F(CaptionWatch, SeesWhatDoesNotFit) {
    Start(FrmOPM);
    Draw("Voltage Check", 602, 95, 53);
    EXPECT_THAT(misplaced, IsEmpty());
    Draw("Voltage Check Voltage", 605, 95, 53);
    ExpectOnly("takes 2 lines");
    Draw("Ad: a text of two lines", 605, 95, 30);
    ExpectOnly("reaches beyond its label");
    Draw("Voltage Check", 601, 95, 53);
    ExpectOnly("touches an edge");
    Draw("Voltage Check", 616, 95, 53);
    ExpectOnly("touches an edge");
}

}  // namespace
