// What the screens' functions refuse: each argument alone, while no screen is shown and, for the lines that
// others write into, while theirs is.
#include "tests/support/guards.h"

#include "device/common_opt.h"
#include "device/operator_report.h"
#include "gui/guifbmap.h"
#include "measure/common_opm.h"
#include "screens/apd_curve.h"
#include "screens/mainboard_check.h"
#include "screens/opm_check.h"
#include "screens/wnd_frmadjust.h"
#include "screens/wnd_frmapd_adjust.h"
#include "screens/wnd_frmdialog.h"
#include "screens/wnd_frmmainboard_fct.h"
#include "screens/wnd_frmopm_fct.h"
#include "screens/wnd_frmoptcheck.h"
#include "screens/wnd_screen.h"
#include "tests/screens/screen_fixture.h"

using test::ExpectGuards;
using testing::Contains;
using testing::Not;

namespace {

int Idle(void*) {
    return 0;
}
constexpr SCREEN_ENTRY kWhole = {Idle, Idle, Idle, nullptr};
constexpr SCREEN_ENTRY kWithoutPaint = {Idle, Idle, nullptr, nullptr};

std::string told;
int Tell(const char* text) {
    told = text;
    return 0;
}

class ScreenGuards : public test::ScreenTest {};

}  // namespace

TEST_F(ScreenGuards, WithoutAScreen) {
    // Idle of the toolkit is there: no queue, no screen.
    ASSERT_EQ(nullptr, GetCurrMessage());
    GUIWINDOW* window = CreateWindow(0, 0, 1, 1, Idle, Idle, Idle, nullptr, nullptr);
    GUIPICTURE* bare = CreatePicture(0, 0, 10, 10, nullptr);
    GUIPICTURE* missing = CreatePicture(0, 0, 10, 10, "/nowhere.bmp");
    GUILABEL* label = CreateLabel(0, 0, 10, 10, nullptr);
    GUILABEL* none = nullptr;
    GUICHAR* string = nullptr;
    const SCREEN_DATA_LINES lines = {&string, &label, 1};
    const SCREEN_INFO_LINE info = {&string, &label, &bare, &bare};
    const SCREEN_INFO_LINE noInfo = {&string, &none, &bare, &bare};
    GUIFONT font = {};
    ExpectGuards({
        GUARD(0, SendMsg_CallWindow(CreateWindow(0, 0, 1, 1, Idle, Idle, Idle, nullptr, nullptr))),
        GUARD(0, SendMsg_ExitWindow(window)),
        GUARD(0, SendMsg_EnableLoop(window)),
        GUARD(0, SendMsg_DisableLoop(window)),
        GUARD(-1, CallScreen(kWhole)),
        GUARD(-1, CallScreen(kWithoutPaint)),
        GUARD(-1, SwitchScreen(window, kWithoutPaint)),
        GUARD(-2, SwitchScreen(window, kWhole)),
        GUARD(0, ScreenIdle(nullptr)),
        GUARD(0, NoAction(nullptr, 0, nullptr, 0)),
        GUARD(0, TouchedControl()),
        GUARD(0, ScreenBtn_Down(nullptr, 0, nullptr, 0)),
        GUARD(0, LeaveFor(kWhole)),
        GUARD(0, DropHandlers(), 0),

        GUARD(-1, ShowPicture(nullptr)),
        GUARD(-2, ShowPicture(bare)),
        GUARD(-3, ShowPicture(missing)),
        GUARD(0, SetPictureEnable(0, bare)),
        GUARD(0, SetPictureEnable(0, missing)),
        GUARD(-2, ShowPicture(bare)),
        GUARD(-3, ShowPicture(missing)),
        GUARD(-1, ShowLabel(nullptr, COLOR_NONE)),
        GUARD(-1, ShowLabel(nullptr, COLOR_WHITE)),
        GUARD(-2, ShowLabel(label, COLOR_WHITE)),
        GUARD(0, ShowBackground(nullptr)),
        GUARD(-1, FillArea(0, 0, 1, 1, COLOR_WHITE)),
        GUARD(-1, UpdateLabelVerdict(nullptr, "a", &font, label, nullptr)),
        GUARD(-1, UpdateLabelVerdict(&string, nullptr, &font, label, nullptr)),
        GUARD(-1, UpdateLabelVerdict(&string, "a", &font, nullptr, nullptr)),
        GUARD(0, ShowInfoLine(info, nullptr)),
        GUARD(0, ShowInfoLine(noInfo, "a")),
        GUARD(0, ShowDataLine(lines, nullptr, 1)),
        GUARD(0, ShowDataLine(lines, "a", 0)),
        GUARD(0, ShowDataLine(lines, "a", 2)),
        GUARD(0, TellLink(nullptr, label)),
        GUARD(-1, ShowProgress(nullptr)),
        GUARD(-1, ShowProgress(TransString("no dialog"))),

        GUARD(0, FrmAdjustSetInfo("a")),
        GUARD(0, FrmAdjustSetDataInfo("a", 1)),
        GUARD(0, FrmOPMSetInfo("a")),
        GUARD(0, FrmMainBoardSetInfo("a")),
        GUARD(0, FrmApdAdjSetInfo1("a")),
        GUARD(0, FrmApdAdjSetInfo2("a")),
        GUARD(0, FrmOptcheckSetInfo("a")),
        GUARD(0, FrmOptcheckSetDataInfo("a", 1)),
        GUARD(0, initTraceArea(), 0),
        GUARD(0, DrawCurve(), 0),
    });
    EXPECT_EQ(nullptr, string);
    EXPECT_EQ(nullptr, label->pLblText);
    DestroyWindow(&window);
    DestroyPicture(&bare);
    DestroyPicture(&missing);
    DestroyLabel(&label);
}

TEST_F(ScreenGuards, LinesTakeNeitherNullNorAnotherNumber) {
    Start(FrmAdjust);
    const std::vector<std::string> adjust = Texts();
    ExpectGuards({
        GUARD(0, FrmAdjustSetInfo(nullptr)),
        GUARD(0, FrmAdjustSetDataInfo(nullptr, 1)),
        GUARD(0, FrmAdjustSetDataInfo("wrong", 0)),
        GUARD(0, FrmAdjustSetDataInfo("wrong", 5)),
        GUARD(0, FrmAdjustSetDataInfo("wrong", -1)),
    });
    EXPECT_EQ(adjust, Texts());
    for (int line = 1; line <= 4; ++line)
        FrmAdjustSetDataInfo(("line " + std::to_string(line)).c_str(), line);
    for (const char* text : {"line 1", "line 2", "line 3", "line 4"})
        EXPECT_THAT(Texts(), Contains(text));

    PowerOn();
    Start(FrmOptcheck);
    const std::vector<std::string> optcheck = Texts();
    ExpectGuards({
        GUARD(0, FrmOptcheckSetInfo(nullptr)),
        GUARD(0, FrmOptcheckSetDataInfo(nullptr, 1)),
        GUARD(0, FrmOptcheckSetDataInfo("wrong", 0)),
        GUARD(0, FrmOptcheckSetDataInfo("wrong", 3)),
    });
    EXPECT_EQ(optcheck, Texts());

    PowerOn();
    Start(FrmOPM);
    const std::vector<std::string> opm = Texts();
    ExpectGuards({
        GUARD(0, FrmOPMSetInfo(nullptr)),
        GUARD(0, OpmShowData(0, "wrong", true), 0),
        GUARD(0, OpmShowData(21, "wrong", true), 0),
    });
    EXPECT_EQ(opm, Texts());
    OpmShowData(1, "first", true);
    OpmShowData(20, "last", false);
    for (const char* text : {"first", "last"})
        EXPECT_THAT(Texts(), Contains(text));

    PowerOn();
    Start(FrmMainBoard);
    const std::vector<std::string> mainBoard = Texts();
    ExpectGuards({
        GUARD(0, FrmMainBoardSetInfo(nullptr)),
        GUARD(0, MainBoardShowLine(-1, "wrong", true), 0),
        GUARD(0, MainBoardShowLine(13, "wrong", true), 0),
    });
    EXPECT_EQ(mainBoard, Texts());
    MainBoardShowLine(0, "first", true);
    MainBoardShowLine(12, "last", false);
    for (const char* text : {"first", "last"})
        EXPECT_THAT(Texts(), Contains(text));
}

TEST_F(ScreenGuards, AModuleOfDescriptorZeroIsOpen) {
    const int kept = opticFD;
    opticFD = 0;
    told.clear();
    EXPECT_TRUE(IsModuleOpen(Tell));
    EXPECT_EQ("", told);
    opticFD = -1;
    EXPECT_FALSE(IsModuleOpen(Tell));
    EXPECT_EQ("Open OPM Device Failed.", told);
    opticFD = kept;
}

TEST_F(ScreenGuards, VerdictsAtTheirLimits) {
    ExpectGuards({
        GUARD(0, OpmPulseWidthPasses(10)),
        GUARD(1, OpmPulseWidthPasses(11)),
        GUARD(1, OpmPulseWidthPasses(29)),
        GUARD(0, OpmPulseWidthPasses(30)),
        GUARD(1, ChannelRoundPasses(0, 50000)),
        GUARD(0, ChannelRoundPasses(0, 50001)),
        GUARD(1, ChannelRoundPasses(1, 50000)),
        GUARD(0, ChannelRoundPasses(1, 49999)),
        GUARD(0, MainBoardAdcPasses(0.2)),
        GUARD(1, MainBoardAdcPasses(0.2000001)),
        GUARD(1, MainBoardAdcPasses(0.2999999)),
        GUARD(0, MainBoardAdcPasses(0.3)),
    });
}
