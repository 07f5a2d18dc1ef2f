#include "screens/wnd_frmkeycheck.h"
#include "tests/screens/screen_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using KeyCheck = test::ScreenTest;

namespace {

constexpr test::Area kKeyArea = {0, 0, 120, 60};

// Name for the instrument, caption, corner and size of the picture.
struct KeyPicture {
    const char* name;
    const char* caption;
    test::Area area;
};
const KeyPicture kKeys[] = {
    {"menu", "Menu", {30, 50, 120, 60}},     {"f1", "F1", {30, 150, 120, 60}},
    {"f2", "F2", {30, 250, 120, 60}},        {"f3", "F3", {30, 350, 120, 60}},
    {"f4", "F4", {140, 50, 120, 60}},        {"f5", "F5", {140, 150, 120, 60}},
    {"esc", "Esc", {140, 250, 120, 60}},     {"file", "File", {140, 350, 120, 60}},
    {"scale", "Scale", {280, 50, 120, 60}},  {"setup", "Setup", {400, 50, 120, 60}},
    {"realt", "Realt", {280, 350, 120, 60}}, {"avg", "Avg", {400, 350, 120, 60}},
    {"up", "Up", {355, 130, 70, 70}},        {"down", "Down", {355, 275, 70, 70}},
    {"left", "Left", {285, 200, 70, 70}},    {"right", "Right", {425, 200, 70, 70}},
    {"enter", "Enter", {355, 200, 70, 70}},  {"knob", "Knob", {620, 200, 70, 70}},
};

}  // namespace

TEST_F(KeyCheck, ShowsEveryKey) {
    Start(FrmKeyCheck);
    EXPECT_TRUE(test::MatchesGolden(Screenshot(), "screens/keycheck"));
}

TEST_F(KeyCheck, PaintingTellsOfEachGroup) {
    Start(FrmKeyCheck);
    FrmKeyCheckPaint(GetCurrWindow());
    EXPECT_EQ("FrmKeyCheckPaint    1\nFrmKeyCheckPaint    2\nFrmKeyCheckPaint    3\nFrmKeyCheckPaint    4\n",
              Printed());
}

TEST_F(KeyCheck, CaptionIsDarkWhileItsKeyIsHeld) {
    Start(FrmKeyCheck);
    for (const KeyPicture& key : kKeys) {
        Key(key.name, true);
        EXPECT_EQ(0x3C3028u, ColorOf(key.caption)) << key.caption;
        Key(key.name, false);
        EXPECT_NE(0x3C3028u, ColorOf(key.caption)) << key.caption;
    }
}

TEST_F(KeyCheck, ListsTheWindowTheKeysInOrderAndTheBackButton) {
    Start(FrmKeyCheck);
    EXPECT_THAT(Components(),
                ElementsAre("0,0", "30,50", "30,150", "30,250", "30,350", "140,50", "140,150", "140,250",
                            "140,350", "280,50", "400,50", "280,350", "400,350", "355,130", "355,275",
                            "285,200", "425,200", "355,200", "620,200", "690,200", "550,200", "650,454"));
    for (const int code : {GUIMESSAGE_KEY_DOWN, GUIMESSAGE_KEY_UP, GUIMESSAGE_KNOB_CLOCK,
                           GUIMESSAGE_KNOB_ANTI, GUIMESSAGE_TCH_DOWN, GUIMESSAGE_TCH_UP, GUIMESSAGE_ERR_PROC})
        EXPECT_EQ(1, Registrations(code)) << code;
}

TEST_F(KeyCheck, HeldKeyIsLitUntilItIsReleased) {
    Start(FrmKeyCheck);
    std::vector<test::Picture> lit;
    for (const KeyPicture& key : kKeys) {
        // Where two pictures overlap, the one drawn last lies on top.
        Key(key.name, true);
        Key(key.name, false);
        const test::Picture idle = Screenshot();
        Key(key.name, true);
        Run(1000);
        test::Area area = kKeyArea;
        area.x = key.area.x;
        area.y = key.area.y;
        lit.push_back(Screenshot(area));
        const test::Picture held = Screenshot();
        Key(key.name, false);
        EXPECT_TRUE(idle.rgb == Screenshot().rgb) << key.name;
        // Nothing but its own picture and caption changes.
        for (size_t i = 0; i < idle.rgb.size(); ++i) {
            const unsigned x = static_cast<unsigned>(i / 3 % 800);
            const unsigned y = static_cast<unsigned>(i / 3 / 800);
            const bool own = x + 20 >= key.area.x && x < key.area.x + key.area.width && y >= key.area.y &&
                             y < key.area.y + key.area.height;
            if (!own && idle.rgb[i] != held.rgb[i]) {
                ADD_FAILURE() << key.name << " changes the screen at " << x << ", " << y;
                break;
            }
        }
    }
    EXPECT_TRUE(test::MatchesGolden(test::Mosaic(lit, 6), "screens/keycheck_lit"));
}

// The knob and its two arrows.
constexpr test::Area kKnob = {535, 200, 225, 70};

TEST_F(KeyCheck, KnobStepFlashesItsArrowForATenthOfASecond) {
    Start(FrmKeyCheck);
    const test::Picture idle = Screenshot();
    const test::Picture released = Screenshot(kKnob);
    for (const bool clockwise : {true, false}) {
        linked_->Hardware().Knob(clockwise);
        test::Picture flash = idle;
        unsigned lit = 0;
        for (unsigned ms = 0; ms < 500; ms += 5) {
            Run(5);
            if (Screenshot(kKnob).rgb == released.rgb)
                continue;
            lit += 5;
            flash = Screenshot();
        }
        EXPECT_NEAR(100, lit, 10);
        EXPECT_TRUE(idle.rgb == Screenshot().rgb);
        // Only the arrow of its direction, never the knob itself.
        const unsigned left = clockwise ? 675 : 535;
        for (size_t i = 0; i < idle.rgb.size(); ++i)
            if (idle.rgb[i] != flash.rgb[i]) {
                const unsigned x = static_cast<unsigned>(i / 3 % 800);
                EXPECT_GE(x, left);
                EXPECT_LT(x, left + 85);
            }
    }
}

TEST_F(KeyCheck, FastKnobTurnsAreShownOneAfterAnother) {
    Start(FrmKeyCheck);
    const test::Picture idle = Screenshot(kKnob);
    for (int i = 0; i < 5; ++i)
        linked_->Hardware().Knob(true);
    unsigned lit = 0;
    for (unsigned ms = 0; ms < 1500; ms += 5) {
        Run(5);
        lit += Screenshot(kKnob).rgb != idle.rgb ? 5 : 0;
    }
    EXPECT_NEAR(500, lit, 25);
}

TEST_F(KeyCheck, UnknownCodesChangeNothing) {
    Start(FrmKeyCheck);
    const test::Picture idle = Screenshot();
    for (const uintptr_t code : {0u, 19u, 255u}) {
        for (const int message : {GUIMESSAGE_KEY_DOWN, GUIMESSAGE_KEY_UP}) {
            SendMessage(GUIMESSAGE_TYP_WND, message, code);
            GUIMESSAGE_ITEM* item = CreateMessageItem(GUIMESSAGE_TYP_WND, message, code, GetCurrWindow());
            ASSERT_EQ(0, PostMessageItem(item, GetCurrMessage()));
            Run(100);
            EXPECT_TRUE(idle.rgb == Screenshot().rgb) << code;
        }
    }
}

TEST_F(KeyCheck, TouchedKeysDoNothing) {
    Start(FrmKeyCheck);
    const test::Picture idle = Screenshot();
    for (const KeyPicture& key : kKeys) {
        Press(static_cast<int>(key.area.x) + 35, static_cast<int>(key.area.y) + 30);
        EXPECT_TRUE(idle.rgb == Screenshot().rgb) << key.name;
        Release();
    }
}

TEST_F(KeyCheck, BackLeadsToTheMainBoardTest) {
    Start(FrmKeyCheck);
    Press(680, 465);
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("Key Check"));
    Release();
    EXPECT_THAT(Texts({0, 0, 800, 30}), ElementsAre("K905 Mainboard FCT !"));
    EXPECT_EQ(0, Registrations(GUIMESSAGE_KNOB_CLOCK));
    EXPECT_THAT(Printed(), HasSubstr("FrmKeyCheckExit    1\nFrmKeyCheckExit    2\n"));
}
