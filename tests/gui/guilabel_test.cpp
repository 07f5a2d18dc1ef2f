#include "gui/guilabel.h"

#include <gtest/gtest.h>

#include "tests/gui/screen_fixture.h"
#include "tests/gui/text_fixture.h"
#include "tests/support/failing_calls.h"

using test::Screen;
using test::String;
using test::TextFont;

namespace {

struct Label {
    Label(unsigned x, unsigned y, unsigned width, unsigned height, const char* text)
        : object(text == nullptr ? CreateLabel(x, y, width, height, nullptr)
                                 : CreateLabel(x, y, width, height, String(text).data())) {}
    ~Label() { DestroyLabel(&object); }
    GUILABEL* operator->() const { return object; }
    GUILABEL* object;
};

}  // namespace

TEST(Label, LiesInItsAreaWithItsText) {
    const Label label(10, 20, 100, 30, "AB");
    ASSERT_NE(label.object, nullptr);
    EXPECT_EQ(label->Visible.Area.Start.x, 10u);
    EXPECT_EQ(label->Visible.Area.Start.y, 20u);
    EXPECT_EQ(label->Visible.Area.End.x, 109u);
    EXPECT_EQ(label->Visible.Area.End.y, 49u);
    EXPECT_EQ(label->Visible.iEnable, 1);
    EXPECT_EQ(label->Visible.iFocus, 0);
    EXPECT_EQ(label->Visible.iLayer, 0);
    EXPECT_EQ(label->iLblAlign, 0);
    EXPECT_EQ(label->pLblBrush, nullptr);
    EXPECT_EQ(label->pLblPen, nullptr);
    EXPECT_EQ(label->pLblFont, nullptr);
    ASSERT_NE(label->pLblText, nullptr);
    EXPECT_EQ(label->pLblText->uiTextLength, 2u);
    EXPECT_EQ(label->pLblText->uiPlaceX, 10u);
    EXPECT_EQ(label->pLblText->uiPlaceY, 20u);
    EXPECT_EQ(label->pLblText->uiViewWidth, 100u);
    EXPECT_EQ(label->pLblText->uiViewHeight, 30u);
}

TEST(Label, RefusesEmptyAndOverflowingAreas) {
    EXPECT_EQ(Label(0, 0, 0, 1, "A").object, nullptr);
    EXPECT_EQ(Label(0, 0, 1, 0, "A").object, nullptr);
    EXPECT_EQ(Label(0xFFFFFFFF, 0, 2, 1, "A").object, nullptr);
    EXPECT_EQ(Label(0, 2, 1, 0xFFFFFFFF, "A").object, nullptr);
    EXPECT_NE(Label(0xFFFFFFFF, 0xFFFFFFFF, 1, 1, "A").object, nullptr);
}

TEST(Label, RefusesNull) {
    GUILABEL* none = nullptr;
    const Label label(0, 0, 1, 1, nullptr);
    EXPECT_EQ(SetLabelText(nullptr, label.object), -1);
    EXPECT_EQ(SetLabelText(String("A").data(), nullptr), -1);
    EXPECT_EQ(SetLabelArea(0, 0, 1, 1, nullptr), -1);
    EXPECT_EQ(SetLabelAlign(0, nullptr), -1);
    EXPECT_EQ(SetLabelBrush(nullptr, label.object), -1);
    EXPECT_EQ(SetLabelPen(nullptr, label.object), -1);
    EXPECT_EQ(SetLabelFont(nullptr, label.object), -1);
    EXPECT_EQ(SetLabelEnable(1, nullptr), -1);
    EXPECT_EQ(DisplayLabel(nullptr), -1);
    EXPECT_EQ(DestroyLabel(nullptr), -1);
    EXPECT_EQ(DestroyLabel(&none), -2);
}

TEST(Label, WithoutTextGetsOneInItsArea) {
    const Label label(10, 20, 100, 30, nullptr);
    EXPECT_EQ(label->pLblText, nullptr);
    EXPECT_EQ(DisplayLabel(label.object), -2);
    EXPECT_EQ(SetLabelText(String("A").data(), label.object), 0);
    ASSERT_NE(label->pLblText, nullptr);
    EXPECT_EQ(label->pLblText->uiPlaceX, 10u);
    EXPECT_EQ(label->pLblText->uiPlaceY, 20u);
    EXPECT_EQ(label->pLblText->uiViewWidth, 100u);
    EXPECT_EQ(label->pLblText->uiViewHeight, 30u);
}

TEST(Label, ANewTextGetsTheWholeAreaAgain) {
    Screen screen(16, 201, 101);
    const TextFont font;
    const Label label(10, 20, 100, 30, "AB");
    EXPECT_EQ(DisplayLabel(label.object), 0);
    EXPECT_EQ(label->pLblText->uiViewWidth, 18u);
    EXPECT_EQ(SetLabelText(String("A").data(), label.object), 0);
    EXPECT_EQ(label->pLblText->uiViewWidth, 100u);
    EXPECT_EQ(label->pLblText->uiViewHeight, 30u);
    EXPECT_EQ(label->pLblText->ppTextMatrix, nullptr);
}

TEST(Label, StandsLeftRightOrCentred) {
    const TextFont font;
    const struct {
        int align;
        unsigned x;
    } places[] = {{0, 30}, {1, 30 + 82}, {2, 30 + 41}};  // "AB" is 18 wide
    for (const auto& place : places) {
        Screen screen(16, 201, 101);
        const Label label(30, 20, 100, 30, "AB");
        EXPECT_EQ(SetLabelAlign(place.align, label.object), 0);
        EXPECT_EQ(DisplayLabel(label.object), 0);
        font.Expect(&screen, 'A', place.x, 20);
        font.Expect(&screen, 'B', place.x + 6, 20);
        EXPECT_TRUE(screen.Matches()) << place.align;
        EXPECT_EQ(DisplayLabel(label.object), 0);
        EXPECT_TRUE(screen.Matches()) << place.align;
    }
}

TEST(Label, RoundsTheCentreDownAndFollowsANewText) {
    Screen screen(16, 201, 101);
    const TextFont font;
    const Label label(30, 20, 101, 30, "AB");
    SetLabelAlign(GUILABEL_CENTRE, label.object);
    EXPECT_EQ(DisplayLabel(label.object), 0);
    EXPECT_EQ(label->pLblText->uiPlaceX, 30u + 41);
    SetLabelText(String("A").data(), label.object);
    EXPECT_EQ(DisplayLabel(label.object), 0);
    EXPECT_EQ(label->pLblText->uiPlaceX, 30u + 47);
}

TEST(Label, ATextWiderThanItsAreaStartsLeftAndWraps) {
    const TextFont font;
    for (int align : {0, 1, 2}) {
        Screen screen(16, 201, 101);
        const Label label(30, 20, 17, 60, "AB");
        SetLabelAlign(align, label.object);
        SetFontGap(2, 0, 1, 1, font.object);  // A ends at 4, B at 16 of 17; the width with gaps is 18
        EXPECT_EQ(DisplayLabel(label.object), 0);
        font.Expect(&screen, 'A', 30, 20);
        font.Expect(&screen, 'B', 36, 20);
        EXPECT_TRUE(screen.Matches()) << align;
        const Label narrow(100, 20, 12, 60, "AB");
        SetLabelAlign(align, narrow.object);
        EXPECT_EQ(DisplayLabel(narrow.object), 0);
        font.Expect(&screen, 'A', 100, 20);
        font.Expect(&screen, 'B', 100, 38);
        EXPECT_TRUE(screen.Matches()) << align;
    }
}

TEST(Label, TakesANegativeAlignmentButCannotDrawWithIt) {
    Screen screen(16, 201, 101);
    const TextFont font;
    const Label label(0, 0, 100, 30, "A");
    EXPECT_EQ(SetLabelAlign(3, label.object), -1);
    EXPECT_EQ(label->iLblAlign, 0);
    EXPECT_EQ(SetLabelAlign(-1, label.object), 0);
    EXPECT_EQ(DisplayLabel(label.object), -4);
    EXPECT_TRUE(screen.Untouched());
}

TEST(Label, DisabledDrawsNothing) {
    Screen screen(16, 201, 101);
    const TextFont font;
    const Label label(0, 0, 100, 30, "A");
    EXPECT_EQ(SetLabelEnable(0, label.object), 0);
    EXPECT_EQ(DisplayLabel(label.object), -2);
    EXPECT_TRUE(screen.Untouched());
    EXPECT_EQ(SetLabelEnable(1, label.object), 0);
    EXPECT_EQ(DisplayLabel(label.object), 0);
}

TEST(Label, WithACharacterOutsideTheFontFailsToLoadEveryTime) {
    Screen screen(16, 201, 101);
    const TextFont font;
    const Label label(0, 0, 100, 30, "AZ");
    EXPECT_EQ(DisplayLabel(label.object), -3);
    EXPECT_EQ(DisplayLabel(label.object), -3);
    EXPECT_TRUE(screen.Untouched());
    EXPECT_EQ(SetLabelText(String("A").data(), label.object), 0);
    EXPECT_EQ(DisplayLabel(label.object), 0);
}

TEST(Label, WithoutACurrentFontFailsToLoadEvenIfItHasItsOwnOrNoCharacters) {
    Screen screen(16, 201, 101);
    const TextFont font;
    DropCurrFont(font.object);
    for (const char* text : {"A", ""}) {
        const Label label(0, 0, 100, 30, text);
        EXPECT_EQ(SetLabelFont(font.object, label.object), 0);
        EXPECT_EQ(DisplayLabel(label.object), -3) << '"' << text << '"';
    }
    EXPECT_TRUE(screen.Untouched());
}

TEST(Label, TakesItsGlyphsFromTheCurrentFontAndTheirColoursFromItsOwn) {
    Screen screen(16, 201, 101);
    const TextFont font;
    const test::TempFile file(test::FontFile().Content());
    GUIFONT* own = CreateFont(file.Path(), 16, 16, 0x00FF00, 0xFFFFFFFF);  // without a glyph
    const Label label(10, 10, 50, 20, "A");
    EXPECT_EQ(SetLabelFont(own, label.object), 0);
    EXPECT_EQ(DisplayLabel(label.object), 0);
    SetFontColor(0x00FF00, 0xFFFFFFFF, font.object);
    font.Expect(&screen, 'A', 10, 10);
    EXPECT_TRUE(screen.Matches());
    DestroyFont(&own);
}

TEST(Label, TooLowForItsTextFailsToDisplay) {
    Screen screen(16, 201, 101);
    const TextFont font;
    EXPECT_EQ(DisplayLabel(Label(0, 0, 100, 15, "A").object), -5);
}

TEST(Label, ANewAreaMovesTheText) {
    Screen screen(16, 201, 101);
    const TextFont font;
    const Label label(0, 0, 100, 30, "A");
    EXPECT_EQ(SetLabelArea(50, 40, 89, 69, label.object), 0);
    EXPECT_EQ(label->pLblText->uiViewWidth, 40u);
    EXPECT_EQ(label->pLblText->uiViewHeight, 30u);
    SetLabelAlign(GUILABEL_RIGHT, label.object);
    EXPECT_EQ(DisplayLabel(label.object), 0);
    font.Expect(&screen, 'A', 50 + 34, 40);
    EXPECT_TRUE(screen.Matches());
}

TEST(Label, KeepsItsAlignmentInANewAreaOnceDisplayed) {
    const TextFont font;
    const struct {
        int align;
        unsigned x;
    } places[] = {{0, 50}, {1, 50 + 34}, {2, 50 + 17}};  // "A" is 6 wide
    for (const auto& place : places) {
        Screen screen(16, 201, 101);
        const Label label(0, 0, 100, 30, "A");
        SetLabelAlign(place.align, label.object);
        EXPECT_EQ(DisplayLabel(label.object), 0);
        screen.Accept();
        EXPECT_EQ(SetLabelArea(50, 40, 89, 69, label.object), 0);
        EXPECT_EQ(label->pLblText->uiViewWidth, 40u);
        EXPECT_EQ(label->pLblText->uiViewHeight, 30u);
        EXPECT_EQ(label->pLblText->uiPlaceX, 50u);
        EXPECT_EQ(label->pLblText->uiPlaceY, 40u);
        EXPECT_EQ(DisplayLabel(label.object), 0);
        font.Expect(&screen, 'A', place.x, 40);
        EXPECT_TRUE(screen.Matches()) << place.align;
    }
}

TEST(Label, RefusesAnAreaThatEndsBeforeItStarts) {
    const Label label(1, 2, 3, 4, "A");
    EXPECT_EQ(SetLabelArea(10, 10, 9, 20, label.object), -1);
    EXPECT_EQ(SetLabelArea(10, 10, 20, 9, label.object), -1);
    EXPECT_EQ(label->Visible.Area.Start.x, 1u);
    EXPECT_EQ(label->Visible.Area.End.x, 3u);
    EXPECT_EQ(label->pLblText->uiViewWidth, 3u);
    EXPECT_EQ(SetLabelArea(10, 10, 10, 10, label.object), 0);
}

TEST(Label, DrawsWithItsOwnStyleAndPutsTheCurrentOneBack) {
    Screen screen(16, 201, 101);
    const TextFont current;
    GUIFONT* const currentFont = GetCurrFont();
    GUIPEN* const currentPen = GetCurrPen();
    GUIBRUSH* brush = CreateBrush(1);
    SetCurrBrush(brush);
    {
        const TextFont own;
        SetFontColor(0xFF0000, 0x00FF00, own.object);
        GUIPEN* ownPen = CreatePen(1, 1, 0);
        GUIBRUSH* ownBrush = CreateBrush(1);
        SetCurrFont(currentFont);
        const Label label(10, 10, 50, 20, "A");
        EXPECT_EQ(SetLabelFont(own.object, label.object), 0);
        EXPECT_EQ(SetLabelPen(ownPen, label.object), 0);
        EXPECT_EQ(SetLabelBrush(ownBrush, label.object), 0);
        EXPECT_EQ(DisplayLabel(label.object), 0);
        own.Expect(&screen, 'A', 10, 10);
        EXPECT_TRUE(screen.Matches());
        EXPECT_EQ(GetCurrFont(), currentFont);
        EXPECT_EQ(GetCurrPen(), currentPen);
        EXPECT_EQ(GetCurrBrush(), brush);
        SetLabelArea(10, 10, 20, 12, label.object);
        EXPECT_EQ(DisplayLabel(label.object), -5);
        EXPECT_EQ(GetCurrFont(), currentFont);
        DestroyBrush(&brush);
        EXPECT_EQ(DisplayLabel(label.object), -5);
        EXPECT_EQ(GetCurrBrush(), nullptr);  // none before, none after
        DestroyPen(&ownPen);
        DestroyBrush(&ownBrush);
    }
}

TEST(Label, CreationReleasesWhatItMadeWhereverItFails) {
    const int runs = test::FailEachCall(
        [] {
            GUILABEL* label = CreateLabel(0, 0, 10, 10, String("AB").data());
            return DestroyLabel(&label) == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 3);
}

TEST(Label, KeepsItsTextWhenMemoryIsShort) {
    const Label empty(0, 0, 10, 10, nullptr);
    const Label label(0, 0, 10, 10, "AB");
    const std::vector<GUICHAR> string = String("XYZ");
    for (const Label* each : {&empty, &label}) {
        const test::FailingCalls failing(1);
        EXPECT_EQ(SetLabelText(string.data(), each->object), -2);
    }
    EXPECT_EQ(empty->pLblText, nullptr);
    EXPECT_EQ(label->pLblText->uiTextLength, 2u);
}
