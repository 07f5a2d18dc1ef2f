#include "gui/guibrush.h"

#include <gtest/gtest.h>

#include "tests/support/failing_calls.h"

TEST(Brush, HasNoColoursUntilTheyAreSet) {
    GUIBRUSH* brush = CreateBrush(7);
    ASSERT_NE(brush, nullptr);
    EXPECT_EQ(brush->iBrushType, 7);
    EXPECT_EQ(brush->uiFgColor, 0xFFFFFFFFu);
    EXPECT_EQ(brush->uiBgColor, 0xFFFFFFFFu);
    EXPECT_EQ(SetBrushColor(0x112233, 0x445566, brush), 0);
    EXPECT_EQ(brush->uiFgColor, 0x112233u);
    EXPECT_EQ(brush->uiBgColor, 0x445566u);
    EXPECT_EQ(DestroyBrush(&brush), 0);
    EXPECT_EQ(brush, nullptr);
}

TEST(Brush, RefusesNull) {
    GUIBRUSH* none = nullptr;
    EXPECT_EQ(SetBrushColor(0, 0, nullptr), -1);
    EXPECT_EQ(DestroyBrush(nullptr), -1);
    EXPECT_EQ(DestroyBrush(&none), -2);
}

TEST(Brush, CurrentOneIsKeptWhenNullIsSetAndGoneWhenDestroyed) {
    GUIBRUSH* brush = CreateBrush(1);
    EXPECT_EQ(SetCurrBrush(brush), 0);
    EXPECT_EQ(SetCurrBrush(nullptr), -1);
    EXPECT_EQ(GetCurrBrush(), brush);
    DestroyBrush(&brush);
    EXPECT_EQ(GetCurrBrush(), nullptr);
}

TEST(Brush, CreationFailsWhenMemoryIsShort) {
    const int runs = test::FailEachCall(
        [] {
            GUIBRUSH* brush = CreateBrush(1);
            return DestroyBrush(&brush) == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 1);
}
