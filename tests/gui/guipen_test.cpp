#include "gui/guipen.h"

#include <gtest/gtest.h>

#include "tests/support/failing_calls.h"

TEST(Pen, CarriesWhatItWasCreatedWith) {
    GUIPEN* pen = CreatePen(3, 5, 0x123456);
    ASSERT_NE(pen, nullptr);
    EXPECT_EQ(pen->iPenType, 3);
    EXPECT_EQ(pen->iPenWidth, 5);
    EXPECT_EQ(pen->uiPenColor, 0x123456u);
    EXPECT_EQ(DestroyPen(&pen), 0);
    EXPECT_EQ(pen, nullptr);
}

TEST(Pen, DestroyRefusesNull) {
    GUIPEN* none = nullptr;
    EXPECT_EQ(DestroyPen(nullptr), -1);
    EXPECT_EQ(DestroyPen(&none), -2);
}

TEST(Pen, CurrentOneIsKeptWhenNullIsSetAndGoneWhenDestroyed) {
    GUIPEN* pen = CreatePen(1, 1, 0);
    EXPECT_EQ(SetCurrPen(pen), 0);
    EXPECT_EQ(SetCurrPen(nullptr), -1);
    EXPECT_EQ(GetCurrPen(), pen);
    GUIPEN* other = CreatePen(1, 1, 0);
    DestroyPen(&other);
    EXPECT_EQ(GetCurrPen(), pen);
    DestroyPen(&pen);
    EXPECT_EQ(GetCurrPen(), nullptr);
}

TEST(Pen, CreationFailsWhenMemoryIsShort) {
    const int runs = test::FailEachCall(
        [] {
            GUIPEN* pen = CreatePen(1, 1, 0);
            return DestroyPen(&pen) == 0;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 1);
}
