#include "gui/guitext.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/gui/screen_fixture.h"
#include "tests/gui/text_fixture.h"
#include "tests/support/failing_calls.h"

using test::Screen;
using test::String;
using test::TextFont;

namespace {

struct Text {
    explicit Text(const char* text, unsigned x = 0, unsigned y = 0)
        : object(CreateText(String(text).data(), x, y)) {}
    ~Text() { DestroyText(&object); }
    GUITEXT* operator->() const { return object; }
    GUITEXT* object;
};

}  // namespace

TEST(Text, CopiesItsStringAndHasNoViewYet) {
    const std::vector<GUICHAR> string = String("AB");
    GUITEXT* text = CreateText(string.data(), 7, 9);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text->uiTextLength, 2u);
    EXPECT_NE(text->pTextData, string.data());
    EXPECT_EQ(text->pTextData[1], 'B');
    EXPECT_EQ(text->pTextData[2], 0);
    EXPECT_EQ(text->uiViewWidth, 0u);
    EXPECT_EQ(text->uiViewHeight, 0u);
    EXPECT_EQ(text->uiPlaceX, 7u);
    EXPECT_EQ(text->uiPlaceY, 9u);
    EXPECT_EQ(text->ppTextMatrix, nullptr);
    EXPECT_EQ(DestroyText(&text), 0);
    EXPECT_EQ(text, nullptr);
}

TEST(Text, RefusesNull) {
    const std::vector<GUICHAR> string = String("A");
    const Text text("A");
    GUITEXT* none = nullptr;
    EXPECT_EQ(CreateText(nullptr, 0, 0), nullptr);
    EXPECT_EQ(SetTextData(nullptr, text.object), -1);
    EXPECT_EQ(SetTextData(string.data(), nullptr), -1);
    EXPECT_EQ(SetTextView(1, 1, nullptr), -1);
    EXPECT_EQ(SetTextPlace(1, 1, nullptr), -1);
    EXPECT_EQ(LoadTextMatrix(nullptr), -1);
    EXPECT_EQ(UnloadTextMatrix(nullptr), -1);
    EXPECT_EQ(DisplayText(nullptr), -1);
    EXPECT_EQ(DestroyText(nullptr), -1);
    EXPECT_EQ(DestroyText(&none), -2);
}

TEST(Text, LoadsAndUnloadsOnce) {
    const TextFont font;
    const Text text("AB");
    EXPECT_EQ(UnloadTextMatrix(text.object), -2);
    EXPECT_EQ(LoadTextMatrix(text.object), 0);
    EXPECT_EQ(LoadTextMatrix(text.object), -2);
    EXPECT_EQ(UnloadTextMatrix(text.object), 0);
    EXPECT_EQ(text->ppTextMatrix, nullptr);
    EXPECT_EQ(UnloadTextMatrix(text.object), -2);
}

TEST(Text, TakesItsNaturalWidthUnlessItsViewIsNarrower) {
    const TextFont font;
    const struct { unsigned set, loaded; } views[] = {{0, 26}, {80, 26}, {26, 26}, {25, 25}, {1, 1}};
    for (const auto& view : views) {
        const Text text("A B");  // 1 + 4 + 1, 1 + 6 + 1, 1 + 10 + 1
        SetTextView(view.set, 0, text.object);
        EXPECT_EQ(LoadTextMatrix(text.object), 0);
        EXPECT_EQ(text->uiViewWidth, view.loaded) << "view " << view.set;
        EXPECT_EQ(text->uiViewHeight, 16u);
    }
}

TEST(Text, KeepsAViewHeightThatIsSet) {
    const TextFont font;
    const Text text("A");
    SetTextView(0, 5, text.object);
    EXPECT_EQ(LoadTextMatrix(text.object), 0);
    EXPECT_EQ(text->uiViewHeight, 5u);
}

TEST(Text, EmptyLoadsAndDisplaysNothing) {
    Screen screen(16, 40, 40);
    const TextFont font;
    const Text text("");
    EXPECT_EQ(DisplayText(text.object), 0);
    EXPECT_NE(text->ppTextMatrix, nullptr);
    EXPECT_EQ(text->uiViewWidth, 0u);
    EXPECT_EQ(text->uiViewHeight, 16u);
    EXPECT_EQ(UnloadTextMatrix(text.object), 0);
    EXPECT_TRUE(screen.Untouched());
}

TEST(Text, EmptyNeedsAFontToo) {
    const Text text("");
    EXPECT_EQ(DisplayText(text.object), -2);
    EXPECT_NE(text->ppTextMatrix, nullptr);  // counts as loaded
    EXPECT_EQ(DisplayText(text.object), -3);
    const TextFont font;
    EXPECT_EQ(DisplayText(text.object), 0);
}

TEST(Text, NewDataDropGlyphsAndViewButNotThePlace) {
    const TextFont font;
    const Text text("AB", 3, 4);
    LoadTextMatrix(text.object);
    EXPECT_EQ(SetTextData(String("A").data(), text.object), 0);
    EXPECT_EQ(text->ppTextMatrix, nullptr);
    EXPECT_EQ(text->uiTextLength, 1u);
    EXPECT_EQ(text->uiViewWidth, 0u);
    EXPECT_EQ(text->uiViewHeight, 0u);
    EXPECT_EQ(text->uiPlaceX, 3u);
    EXPECT_EQ(text->uiPlaceY, 4u);
    EXPECT_EQ(SetTextData(text->pTextData, text.object), 0);  // its own string
    EXPECT_EQ(text->pTextData[0], 'A');
}

TEST(Text, KeepsItsStringWhenMemoryIsShort) {
    const Text text("AB");
    {
        const test::FailingCalls failing(1);
        EXPECT_EQ(SetTextData(String("XYZ").data(), text.object), -3);
    }
    EXPECT_EQ(text->uiTextLength, 2u);
    EXPECT_EQ(text->pTextData[0], 'A');
}

TEST(Text, ShowsGlyphsOneAfterTheOther) {
    for (unsigned bits : {16u, 24u, 32u}) {
        Screen screen(bits, 101, 40);
        const TextFont font;
        const Text text("A BA", 5, 7);
        EXPECT_EQ(DisplayText(text.object), 0);
        font.Expect(&screen, 'A', 5, 7);  // no gap before the first
        font.Expect(&screen, 'B', 5 + 6 + 8, 7);
        font.Expect(&screen, 'A', 5 + 6 + 8 + 12, 7);
        EXPECT_TRUE(screen.Matches()) << bits << " bits";
    }
}

TEST(Text, PaintsTheGlyphBoxInTheBackgroundColour) {
    for (unsigned bits : {16u, 24u, 32u}) {
        Screen screen(bits, 101, 40);
        const TextFont font;
        SetFontColor(0x00FF00, 0x0000FF, font.object);
        SetFontGap(2, 3, 1, 1, font.object);
        const Text text("AB", 3, 2);
        EXPECT_EQ(DisplayText(text.object), 0);
        font.Expect(&screen, 'A', 3, 2);
        font.Expect(&screen, 'B', 3 + 4 + 5, 2);  // the gap between stays as it was
        EXPECT_TRUE(screen.Matches()) << bits << " bits";
    }
}

TEST(Text, WrapsAtTheViewsRightEdge) {
    Screen screen(16, 101, 101);
    const TextFont font;
    const Text text("AAB", 10, 10);
    SetTextView(10, 60, text.object);  // the second A ends at 6 + 4
    EXPECT_EQ(DisplayText(text.object), 0);
    font.Expect(&screen, 'A', 10, 10);
    font.Expect(&screen, 'A', 16, 10);
    font.Expect(&screen, 'B', 10, 28);
    EXPECT_TRUE(screen.Matches());
}

TEST(Text, WrapsByTheGlyphsWidthWithoutItsGaps) {
    Screen screen(16, 101, 101);
    const TextFont font;
    const Text text("AA", 10, 10);
    SetTextView(9, 60, text.object);
    EXPECT_EQ(DisplayText(text.object), 0);
    font.Expect(&screen, 'A', 10, 10);
    font.Expect(&screen, 'A', 10, 28);
    EXPECT_TRUE(screen.Matches());
}

TEST(Text, PutsAGlyphWiderThanTheViewOnALineOfItsOwn) {
    Screen screen(16, 101, 101);
    const TextFont font;
    const Text text("BA", 10, 10);
    SetTextView(5, 90, text.object);
    EXPECT_EQ(DisplayText(text.object), 0);
    font.Expect(&screen, 'B', 10, 28);  // wraps at once
    font.Expect(&screen, 'A', 10, 46);
    EXPECT_TRUE(screen.Matches());
}

TEST(Text, StopsWhereTheViewEndsAndKeepsWhatItDrew) {
    Screen screen(16, 101, 101);
    const TextFont font;
    const Text text("AAA", 10, 10);
    SetTextView(5, 33, text.object);  // the second line would end at 34
    EXPECT_EQ(DisplayText(text.object), -4);
    font.Expect(&screen, 'A', 10, 10);
    EXPECT_TRUE(screen.Matches());
}

TEST(Text, DrawsNothingInAViewLowerThanAGlyph) {
    Screen screen(16, 101, 101);
    const TextFont font;
    const Text text("A", 10, 10);
    SetTextView(0, 15, text.object);
    EXPECT_EQ(DisplayText(text.object), -4);
    EXPECT_TRUE(screen.Untouched());
}

TEST(Text, IsClippedAtTheScreensEdges) {
    Screen screen(16, 101, 40);
    const TextFont font;
    const Text text("B", 95, 30);
    EXPECT_EQ(DisplayText(text.object), 0);
    font.Expect(&screen, 'B', 95, 30, 6, 10);
    EXPECT_TRUE(screen.Matches());
}

TEST(Text, OffTheScreenIsAFailure) {
    Screen screen(16, 40, 40);
    const TextFont font;
    const unsigned places[][2] = {
        {40, 0}, {0, 40}, {0xFFFFFFFF, 0}, {0, 0xFFFFFFFF}, {0xFFFFFFF0, 0xFFFFFFF0}};
    for (const auto& place : places) {
        const Text text("ABAB", place[0], place[1]);
        EXPECT_EQ(DisplayText(text.object), -6);
        SetTextView(5, 0xFFFFFFFF, text.object);
        EXPECT_EQ(DisplayText(text.object), -6);
    }
    EXPECT_TRUE(screen.Untouched());
}

TEST(Text, ReportsAMissingFontAgainAndAgain) {
    Screen screen(16, 40, 40);
    const Text text("A");
    EXPECT_EQ(LoadTextMatrix(text.object), -4);
    EXPECT_NE(text->ppTextMatrix, nullptr);
    EXPECT_EQ(LoadTextMatrix(text.object), -2);  // counts as loaded
    EXPECT_EQ(DisplayText(text.object), -2);
    const TextFont font;
    EXPECT_EQ(DisplayText(text.object), -2);
    EXPECT_TRUE(screen.Untouched());
    EXPECT_EQ(UnloadTextMatrix(text.object), 0);
    EXPECT_EQ(DisplayText(text.object), 0);
}

TEST(Text, ReportsAMissingGlyphAgainAndAgain) {
    Screen screen(16, 40, 40);
    const TextFont font;
    const Text text("AB\x7F");
    EXPECT_EQ(LoadTextMatrix(text.object), -5);
    EXPECT_EQ(DisplayText(text.object), -2);
    EXPECT_EQ(DisplayText(text.object), -2);
    EXPECT_TRUE(screen.Untouched());
    EXPECT_EQ(SetTextData(String("A").data(), text.object), 0);
    EXPECT_EQ(DisplayText(text.object), 0);
}

TEST(Text, LoadedNeedsAFontToBeDrawn) {
    Screen screen(16, 40, 40);
    const Text text("A");
    {
        const TextFont font;
        EXPECT_EQ(LoadTextMatrix(text.object), 0);
    }
    EXPECT_EQ(DisplayText(text.object), -3);
    EXPECT_TRUE(screen.Untouched());
}

TEST(Text, LoadedWithOneFontIsDrawnWholeWithAnotherOfAnySize) {
    Screen screen(16, 101, 40);
    const TextFont font;
    const Text text("AB", 4, 4);
    EXPECT_EQ(LoadTextMatrix(text.object), 0);
    for (unsigned size : {8u, 32u}) {
        test::FontFile content;
        content.width = size;
        content.height = size;
        const test::TempFile file(content.Content());
        GUIFONT* other = CreateFont(file.Path(), size, size, 0x00FF00, 0xFFFFFFFF);
        SetCurrFont(other);
        EXPECT_EQ(DisplayText(text.object), 0);
        SetFontColor(0x00FF00, 0xFFFFFFFF, font.object);
        font.Expect(&screen, 'A', 4, 4);
        font.Expect(&screen, 'B', 10, 4);
        EXPECT_TRUE(screen.Matches()) << size;
        DestroyFont(&other);
    }
}

TEST(Text, DisplayReadsTheFontOnlyOnce) {
    Screen screen(16, 101, 40);
    const TextFont font;
    const Text text("ABA");
    EXPECT_EQ(DisplayText(text.object), 0);
    const test::FailingCalls calls(0);
    EXPECT_EQ(DisplayText(text.object), 0);
    EXPECT_EQ(calls.Count(), 2);  // for the image that shows one glyph after the other
}

TEST(Text, CreationReleasesWhatItMadeWhereverItFails) {
    const int runs = test::FailEachCall(
        [] {
            GUITEXT* text = CreateText(String("AB").data(), 0, 0);
            return DestroyText(&text) == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 2);
}

TEST(Text, LoadingAndDisplayingReleaseWhatTheyMadeWhereverTheyFail) {
    Screen screen(16, 101, 40);
    const TextFont font;
    const int runs = test::FailEachCall(
        [&] {
            const Text text("AB");
            if (text.object == nullptr)
                return false;
            const int result = DisplayText(text.object);
            EXPECT_TRUE(result == 0 || result == -2 || result == -5) << result;
            return result == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 2 + 1 + 2 * 6 + 2);  // text; array; glyphs; image
}
