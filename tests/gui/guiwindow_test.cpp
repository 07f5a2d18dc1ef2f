#include "gui/guiwindow.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/gui/idle_functions.h"
#include "tests/support/failing_calls.h"

namespace {

template <int Name>
int Function(void*) {
    return Name;
}
constexpr WNDFUNC Nothing = Function<0>;

GUIWINDOW* MakeWindow() {
    return CreateWindow(0, 0, 800, 480, Nothing, Nothing, Nothing, nullptr, nullptr);
}

class Window : public testing::Test {
  protected:
    void TearDown() override {
        EXPECT_EQ(ClearWindowComp(window), 0);
        EXPECT_EQ(DestroyWindow(&window), 0);
        EXPECT_EQ(window, nullptr);
    }
    std::vector<void*> Components() const {
        std::vector<void*> components;
        const GUILIST* list = window->pWndComps;
        for (const GUIOBJ* item = FirstObj(list); item != nullptr; item = NextObj(item, list))
            components.push_back(item->pObj);
        return components;
    }

    GUIWINDOW* window = MakeWindow();
    GUIVISIBLE a = {}, b = {}, c = {};
};

TEST_F(Window, IsCreatedEnabledAndEmpty) {
    GUIWINDOW* placed =
        CreateWindow(10, 20, 30, 1, Function<1>, Function<2>, Function<3>, Function<4>, test::NoThread);
    ASSERT_NE(placed, nullptr);
    EXPECT_EQ(placed->Visible.Area.Start.x, 10u);
    EXPECT_EQ(placed->Visible.Area.Start.y, 20u);
    EXPECT_EQ(placed->Visible.Area.End.x, 39u);
    EXPECT_EQ(placed->Visible.Area.End.y, 20u);
    EXPECT_EQ(placed->Visible.iEnable, 1);
    EXPECT_EQ(placed->Visible.iFocus, 0);
    EXPECT_EQ(placed->Visible.iLayer, 0);
    EXPECT_EQ(placed->fnWndInit, Function<1>);
    EXPECT_EQ(placed->fnWndExit, Function<2>);
    EXPECT_EQ(placed->fnWndPaint, Function<3>);
    EXPECT_EQ(placed->fnWndLoop, Function<4>);
    EXPECT_EQ(placed->fnWndThread, test::NoThread);
    EXPECT_EQ(placed->thdWndTid, GUITHREAD_NONE);
    EXPECT_EQ(placed->pWndComps->iLimit, 1000);
    EXPECT_EQ(placed->pWndBrush, nullptr);
    EXPECT_EQ(placed->pWndPen, nullptr);
    EXPECT_EQ(placed->pWndFont, nullptr);
    EXPECT_EQ(DestroyWindow(&placed), 0);
}

TEST_F(Window, CreationRefusesMissingFunctionsAndEmptyAreas) {
    EXPECT_EQ(CreateWindow(0, 0, 8, 8, nullptr, Nothing, Nothing, Nothing, nullptr), nullptr);
    EXPECT_EQ(CreateWindow(0, 0, 8, 8, Nothing, nullptr, Nothing, Nothing, nullptr), nullptr);
    EXPECT_EQ(CreateWindow(0, 0, 8, 8, Nothing, Nothing, nullptr, Nothing, nullptr), nullptr);
    EXPECT_EQ(CreateWindow(0, 0, 0, 8, Nothing, Nothing, Nothing, Nothing, nullptr), nullptr);
    EXPECT_EQ(CreateWindow(0, 0, 8, 0, Nothing, Nothing, Nothing, Nothing, nullptr), nullptr);
    EXPECT_EQ(CreateWindow(0xFFFFFFFF, 0, 2, 8, Nothing, Nothing, Nothing, Nothing, nullptr), nullptr);
    EXPECT_EQ(CreateWindow(0, 0xFFFFFFFF, 8, 2, Nothing, Nothing, Nothing, Nothing, nullptr), nullptr);
}

TEST_F(Window, CreationReleasesWhatItMade) {
    const int runs = test::FailEachCall(
        [] {
            GUIWINDOW* made = MakeWindow();
            const bool succeeded = made != nullptr;
            DestroyWindow(&made);
            return succeeded;
        },
        [](const char* name, bool succeeded) { EXPECT_FALSE(succeeded) << name; });
    EXPECT_EQ(runs, 3) << "record, list, mutex";
}

TEST_F(Window, IsNotDestroyedWhileItListsComponents) {
    ASSERT_EQ(AddWindowComp(GUICOMP_PICTURE, sizeof(a), &a, window), 0);
    GUIWINDOW* same = window;
    EXPECT_EQ(DestroyWindow(&same), -4);
    EXPECT_EQ(same, window);
    EXPECT_EQ(Components(), std::vector<void*>{&a});
    GUIWINDOW* none = nullptr;
    EXPECT_EQ(DestroyWindow(&none), -2);
    EXPECT_EQ(DestroyWindow(nullptr), -1);
}

TEST_F(Window, AreaMustNotEndBeforeItsStart) {
    EXPECT_EQ(SetWindowArea(5, 6, 5, 6, window), 0);
    EXPECT_EQ(SetWindowArea(5, 6, 4, 6, window), -1);
    EXPECT_EQ(SetWindowArea(5, 6, 5, 5, window), -1);
    EXPECT_EQ(SetWindowArea(5, 6, 7, 8, nullptr), -1);
    EXPECT_EQ(window->Visible.Area.Start.x, 5u);
    EXPECT_EQ(window->Visible.Area.End.y, 6u);
}

TEST_F(Window, KeepsDrawingDefaults) {
    // Only the pointers are kept.
    GUIBRUSH* brush = reinterpret_cast<GUIBRUSH*>(&a);
    GUIPEN* pen = reinterpret_cast<GUIPEN*>(&b);
    GUIFONT* font = reinterpret_cast<GUIFONT*>(&c);
    EXPECT_EQ(SetWindowBrush(brush, window), 0);
    EXPECT_EQ(SetWindowPen(pen, window), 0);
    EXPECT_EQ(SetWindowFont(font, window), 0);
    EXPECT_EQ(SetWindowBrush(nullptr, window), -1);
    EXPECT_EQ(SetWindowPen(nullptr, window), -1);
    EXPECT_EQ(SetWindowFont(nullptr, window), -1);
    EXPECT_EQ(SetWindowBrush(brush, nullptr), -1);
    EXPECT_EQ(SetWindowPen(pen, nullptr), -1);
    EXPECT_EQ(SetWindowFont(font, nullptr), -1);
    EXPECT_EQ(window->pWndBrush, brush);
    EXPECT_EQ(window->pWndPen, pen);
    EXPECT_EQ(window->pWndFont, font);
}

TEST_F(Window, ListsComponentsInOrder) {
    EXPECT_EQ(AddWindowComp(GUICOMP_WINDOW, sizeof(*window), window, window), 0);
    EXPECT_EQ(AddWindowComp(GUICOMP_PICTURE, 77, &a, window), 0);
    EXPECT_EQ(Components(), (std::vector<void*>{window, &a}));
    const GUIOBJ* second = NextObj(FirstObj(window->pWndComps), window->pWndComps);
    EXPECT_EQ(second->iType, 5);
    EXPECT_EQ(second->iLength, 77);
    EXPECT_EQ(FirstObj(window->pWndComps)->iType, 8);
}

TEST_F(Window, AddRefusesNullFullListAndShortMemory) {
    EXPECT_EQ(AddWindowComp(GUICOMP_PICTURE, 0, nullptr, window), -1);
    EXPECT_EQ(AddWindowComp(GUICOMP_PICTURE, 0, &a, nullptr), -1);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(AddWindowComp(GUICOMP_PICTURE, 0, &a, window), -3);
    }
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(AddWindowComp(GUICOMP_PICTURE, 0, &a, window), 0);
    EXPECT_EQ(AddWindowComp(GUICOMP_PICTURE, 0, &b, window), -2);
    EXPECT_EQ(window->pWndComps->iCount, 1000);
}

TEST_F(Window, FunctionsAnswerForAMissingComponentList) {
    GUILIST* list = window->pWndComps;
    window->pWndComps = nullptr;
    EXPECT_EQ(AddWindowComp(GUICOMP_PICTURE, 0, &a, window), -2);
    EXPECT_EQ(DelWindowComp(&a, window), -2);
    EXPECT_EQ(ClearWindowComp(window), -2);
    window->pWndComps = list;
}

TEST_F(Window, RemovesTheFirstEntryOfAComponent) {
    EXPECT_EQ(DelWindowComp(&a, window), -2) << "empty list";
    for (GUIVISIBLE* component : {&a, &b, &a})
        ASSERT_EQ(AddWindowComp(GUICOMP_PICTURE, sizeof(a), component, window), 0);
    EXPECT_EQ(DelWindowComp(&a, window), 0);
    EXPECT_EQ(Components(), (std::vector<void*>{&b, &a}));
    EXPECT_EQ(DelWindowComp(&c, window), -4);
    EXPECT_EQ(DelWindowComp(nullptr, window), -1);
    EXPECT_EQ(DelWindowComp(&a, nullptr), -1);
    EXPECT_EQ(ClearWindowComp(window), 0);
    EXPECT_EQ(Components(), std::vector<void*>{});
    EXPECT_EQ(ClearWindowComp(nullptr), -1);
}

TEST_F(Window, ReportsAnEntryThatCannotBeUnlinked) {
    ASSERT_EQ(AddWindowComp(GUICOMP_PICTURE, sizeof(a), &a, window), 0);
    GUIOBJ* entry = FirstObj(window->pWndComps);
    entry->List.pOwner = nullptr;
    EXPECT_EQ(DelWindowComp(&a, window), -3);
    EXPECT_EQ(ClearWindowComp(window), -3);
    entry->List.pOwner = window->pWndComps;
}

TEST_F(Window, CurrentWindowIsSetHeldAndDropped) {
    ASSERT_EQ(InitCurrWindow(), 0);
    EXPECT_EQ(GetCurrWindow(), nullptr);
    EXPECT_EQ(SetCurrWindow(window), 0);
    EXPECT_EQ(SetCurrWindow(nullptr), -1);
    EXPECT_EQ(GetCurrWindow(), window);
    EXPECT_EQ(HoldCurrWindow(), window);
    EXPECT_EQ(UnlockCurrWindow(), 0);
    GUIWINDOW* other = MakeWindow();
    EXPECT_EQ(DropCurrWindow(other), 0);
    EXPECT_EQ(GetCurrWindow(), window);
    EXPECT_EQ(DropCurrWindow(window), 0);
    EXPECT_EQ(GetCurrWindow(), nullptr);
    EXPECT_EQ(SetCurrWindow(window), 0);
    EXPECT_EQ(InitCurrWindow(), 0);
    EXPECT_EQ(GetCurrWindow(), nullptr);
    EXPECT_EQ(DestroyWindow(&other), 0);
}

TEST_F(Window, DestroyingTheCurrentOneLeavesNone) {
    GUIWINDOW* current = MakeWindow();
    ASSERT_EQ(SetCurrWindow(current), 0);
    ASSERT_EQ(AddWindowComp(GUICOMP_PICTURE, sizeof(a), &a, current), 0);
    EXPECT_EQ(DestroyWindow(&current), -4);
    EXPECT_EQ(GetCurrWindow(), current);
    ASSERT_EQ(ClearWindowComp(current), 0);
    EXPECT_EQ(DestroyWindow(&current), 0);
    EXPECT_EQ(GetCurrWindow(), nullptr);
}

TEST_F(Window, HoldKeepsOthersFromChangingTheCurrentWindow) {
    ASSERT_EQ(SetCurrWindow(window), 0);
    ASSERT_EQ(HoldCurrWindow(), window);
    struct Change {
        GUIWINDOW* next;
        bool done;
    } change = {MakeWindow(), false};
    GUITHREAD thread = GUITHREAD_NONE;
    auto body = [](void* argument) -> void* {
        Change* wanted = static_cast<Change*>(argument);
        SetCurrWindow(wanted->next);
        __atomic_store_n(&wanted->done, true, __ATOMIC_RELEASE);
        return nullptr;
    };
    ASSERT_EQ(ThreadCreate(&thread, body, &change), 0);
    MsecSleep(5);
    EXPECT_FALSE(__atomic_load_n(&change.done, __ATOMIC_ACQUIRE));
    EXPECT_EQ(UnlockCurrWindow(), 0);
    EXPECT_EQ(ThreadJoin(thread, nullptr), 0);
    EXPECT_EQ(GetCurrWindow(), change.next);
    DropCurrWindow(change.next);
    EXPECT_EQ(DestroyWindow(&change.next), 0);
}

TEST_F(Window, InitCurrWindowReportsAMutexThatCannotBeHad) {
    test::FailingCalls failing(1);
    EXPECT_EQ(InitCurrWindow(), -1);
}

}  // namespace
