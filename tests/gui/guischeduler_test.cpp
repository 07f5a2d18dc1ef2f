#include "gui/guischeduler.h"

#include <gtest/gtest.h>
#ifdef K905_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif
#include <stdlib.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/failing_calls.h"

namespace {

// What the screens of a test did, in order: "1.init" for the init function of screen 1.
std::mutex logMutex;
std::vector<std::string> entries;

void Log(const std::string& entry) {
    std::lock_guard<std::mutex> lock(logMutex);
    entries.push_back(entry);
}

std::vector<std::string> Entries() {
    std::lock_guard<std::mutex> lock(logMutex);
    return entries;
}

int CountOf(const std::string& wanted) {
    int count = 0;
    for (const std::string& entry : Entries())
        count += entry == wanted;
    return count;
}

// Polls until the condition holds; false after ten seconds.
bool WaitUntil(const std::function<bool()>& condition) {
    for (int i = 0; i < 10000; ++i) {
        if (condition())
            return true;
        MsecSleep(1);
    }
    return false;
}

bool WaitForEntry(const std::string& entry) {
    return WaitUntil([&] { return CountOf(entry) > 0; });
}

uintptr_t Value(GUIWINDOW* window) {
    return reinterpret_cast<uintptr_t>(window);
}

enum Part { INIT, EXIT, PAINT, LOOP, LOOP_ONCE };
const char* const PART_NAMES[] = {".init", ".exit", ".paint", ".loop", ".loop"};

template <int Screen, Part Which>
int Entry(void* window) {
    if (Which == LOOP_ONCE)  // on its way when the test sees the call
        SendMessage(GUIMESSAGE_TYP_WND, GUIMESSAGE_LOOP_DISABLE, Value(static_cast<GUIWINDOW*>(window)));
    if (Which != LOOP || CountOf(std::to_string(Screen) + ".loop") < 20)
        Log(std::to_string(Screen) + PART_NAMES[Which]);
    return 0;
}

template <int Screen>
GUIWINDOW* MakeScreen(WNDFUNC loop) {
    return CreateWindow(0, 0, 800, 480, Entry<Screen, INIT>, Entry<Screen, EXIT>, Entry<Screen, PAINT>, loop,
                        nullptr);
}

int LogKey(void* in, int, void*, int) {
    Log("key " + std::to_string(reinterpret_cast<uintptr_t>(in)));
    return 0;
}

using Expected = std::vector<std::string>;

class Scheduler : public testing::Test {
  protected:
    void SetUp() override {
        entries.clear();
        ASSERT_EQ(InitExitFlag(), 0);
        ASSERT_EQ(InitThreadLock(), 0);
        ASSERT_EQ(InitCurrWindow(), 0);
        ASSERT_EQ(SetCurrMessage(message), 0);
        ASSERT_EQ(ThreadCreate(&scheduler, WindowSchedulerThread, message), 0);
    }
    void TearDown() override {
        End();
        EXPECT_EQ(DestroyMessage(&message), 0);
    }
    // Ends everything as the program does; no window is current afterwards.
    void End() {
        SetExitFlag(1);
        if (scheduler != GUITHREAD_NONE) {
            EXPECT_EQ(ThreadJoin(scheduler, nullptr), 0);
        }
        scheduler = GUITHREAD_NONE;
        ReleaseWindows(message);
        EXPECT_EQ(GetCurrWindow(), nullptr);
        ClearMessageQueue(message);
        ClearMessageReg(message);
    }
    void Call(GUIWINDOW* window) {
        ASSERT_EQ(SendMessage(GUIMESSAGE_TYP_SCHED, GUIMESSAGE_SCH_CALL, Value(window)), 0);
    }
    void Exit(GUIWINDOW* window) {
        ASSERT_EQ(SendMessage(GUIMESSAGE_TYP_WND, GUIMESSAGE_WND_EXIT, Value(window)), 0);
    }
    void Key(int code, void* receiver) {
        ASSERT_EQ(PostMessageItem(CreateMessageItem(2, GUIMESSAGE_KEY_DOWN, code, receiver), message), 0);
    }
    // Waits until the scheduler has dealt with the end of the screen whose exit entry this is.
    void WaitForDone(const std::string& exit) {
        ASSERT_TRUE(WaitForEntry(exit));
        LockWindowThread();  // free once the window thread has posted its last message
        UnlockWindowThread();
        ASSERT_EQ(SendMessage(GUIMESSAGE_TYP_SCHED, 99, 0), 0);
        ASSERT_TRUE(WaitUntil([this] { return !Queued(GUIMESSAGE_TYP_SCHED); }));
    }
    // A message of that type waits. (One for a window may wait for good once its screen has ended.)
    bool Queued(int type) {
        MutexLock(&message->Mutex);
        const bool queued = FindObj(message->pMsgQueue, [type](const void* item) {
                                return static_cast<const GUIMESSAGE_ITEM*>(item)->iMsgType == type;
                            }) != nullptr;
        MutexUnlock(&message->Mutex);
        return queued;
    }
    bool QueueEmpty() {
        MutexLock(&message->Mutex);
        const bool empty = ListEmpty(message->pMsgQueue);
        MutexUnlock(&message->Mutex);
        return empty;
    }

    GUIMESSAGE* message = CreateMessage(1000, 1000);
    GUITHREAD scheduler = GUITHREAD_NONE;
};

TEST_F(Scheduler, RunsInitPaintThenLoopUntilDisabled) {
    GUIWINDOW* window = MakeScreen<1>(Entry<1, LOOP_ONCE>);
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.loop"));
    EXPECT_EQ(GetCurrWindow(), window);
    EXPECT_EQ(LoadVisibleFlag(&window->Visible.iFocus), 1);
    ASSERT_EQ(LoginMessageReg(GUIMESSAGE_KEY_DOWN, window, LogKey, nullptr, 0, message), 0);
    Key(11, window);  // handled after a call that is under way
    ASSERT_TRUE(WaitForEntry("key 11"));
    ASSERT_TRUE(WaitUntil([this] { return QueueEmpty(); }));
    const int loops = CountOf("1.loop");
    EXPECT_LE(loops, 2) << "at most one more call after the disable message";
    EXPECT_EQ(Entries()[0], "1.init");
    EXPECT_EQ(Entries()[1], "1.paint");
    ASSERT_EQ(SendMessage(2, GUIMESSAGE_LOOP_ENABLE, Value(window)), 0);
    ASSERT_TRUE(WaitUntil([loops] { return CountOf("1.loop") > loops; }));
    ASSERT_TRUE(WaitUntil([this] { return QueueEmpty(); }));
    EXPECT_EQ(CountOf("1.loop"), loops + 1) << "one new loop message, and disabled again by its call";
}

TEST_F(Scheduler, CallsTheLoopAgainAndAgainWhileEnabled) {
    Call(MakeScreen<1>(Entry<1, LOOP>));
    EXPECT_TRUE(WaitUntil([] { return CountOf("1.loop") == 20; }));
}

TEST_F(Scheduler, WithoutLoopFunctionOnlyRunsHandlers) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    ASSERT_EQ(LoginMessageReg(GUIMESSAGE_KEY_DOWN, window, LogKey, nullptr, 0, message), 0);
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.paint"));
    Key(11, nullptr);
    Key(12, window);
    ASSERT_TRUE(WaitForEntry("key 12"));
    EXPECT_EQ(Entries(), (Expected{"1.init", "1.paint", "key 12"}));
}

TEST_F(Scheduler, SwitchesScreensInOrder) {
    GUIWINDOW* first = MakeScreen<1>(Entry<1, LOOP_ONCE>);
    Call(first);
    ASSERT_TRUE(WaitForEntry("1.loop"));
    ASSERT_TRUE(WaitUntil([this] { return QueueEmpty(); }));
    entries.clear();
    GUIWINDOW* second = MakeScreen<2>(nullptr);
    Exit(first);
    Call(second);
    ASSERT_TRUE(WaitForEntry("2.paint"));
    ASSERT_TRUE(WaitUntil([second] { return GetCurrWindow() == second; }));
    EXPECT_EQ(Entries(), (Expected{"1.exit", "2.init", "2.paint"}));
}

TEST_F(Scheduler, KeepsAnEndedWindowWhileItIsCurrent) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    Call(window);
    ASSERT_TRUE(WaitUntil([window] { return GetCurrWindow() == window; }));
    Exit(window);
    WaitForDone("1.exit");
    EXPECT_EQ(GetCurrWindow(), window);
    EXPECT_EQ(__atomic_load_n(&window->thdWndTid, __ATOMIC_ACQUIRE), GUITHREAD_NONE) << "joined";
    EXPECT_EQ(window->pWndComps->iCount, 0) << "still allocated";
}

TEST_F(Scheduler, RunsAnEndedWindowAgainWhenCalled) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    Call(window);
    ASSERT_TRUE(WaitUntil([window] { return GetCurrWindow() == window; }));
    Exit(window);
    WaitForDone("1.exit");
    Call(window);
    EXPECT_TRUE(WaitUntil([] { return CountOf("1.init") == 2; }));
}

TEST_F(Scheduler, IgnoresASecondCallOfARunningWindow) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    Call(window);
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.paint"));
    Exit(window);
    WaitForDone("1.exit");
    EXPECT_EQ(CountOf("1.init"), 1);
}

TEST_F(Scheduler, IgnoresMessagesWithoutAWindowAndUnknownCodes) {
    Call(nullptr);
    ASSERT_EQ(SendMessage(1, GUIMESSAGE_SCH_DONE, 0), 0);
    ASSERT_EQ(SendMessage(1, 99, 1), 0);
    EXPECT_TRUE(WaitUntil([this] { return QueueEmpty(); }));
}

TEST_F(Scheduler, LeavesWindowMessagesAlone) {
    ASSERT_EQ(SendMessage(2, GUIMESSAGE_KEY_DOWN, 1), 0);
    ASSERT_EQ(SendMessage(1, 99, 0), 0);
    ASSERT_TRUE(WaitUntil([this] {
        MutexLock(&message->Mutex);
        const bool one = message->pMsgQueue->iCount == 1;
        MutexUnlock(&message->Mutex);
        return one;
    }));
    GUIMESSAGE_ITEM* item = TakeMessage(2, message);
    ASSERT_NE(item, nullptr);
    free(item);
}

TEST_F(Scheduler, WithoutExitFunctionTheWindowKeepsRunning) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    window->fnWndExit = nullptr;
    ASSERT_EQ(LoginMessageReg(GUIMESSAGE_KEY_DOWN, window, LogKey, nullptr, 0, message), 0);
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.paint"));
    Exit(window);
    Key(3, window);
    EXPECT_TRUE(WaitForEntry("key 3"));
}

TEST_F(Scheduler, StepsWithoutTheirFunctionPostNothing) {
    GUIWINDOW* window = MakeScreen<1>(Entry<1, LOOP>);
    window->fnWndPaint = nullptr;
    ASSERT_EQ(LoginMessageReg(GUIMESSAGE_KEY_DOWN, window, LogKey, nullptr, 0, message), 0);
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.init"));
    Key(3, window);
    ASSERT_TRUE(WaitForEntry("key 3"));
    EXPECT_EQ(Entries(), (Expected{"1.init", "key 3"}));
    EXPECT_EQ(GetCurrWindow(), nullptr);
}

// The step before is taken when the second key is: it was posted as the window's thread began.
TEST_F(Scheduler, WithoutInitFunctionTheWindowIsNeitherPaintedNorEnded) {
    GUIWINDOW* window = MakeScreen<1>(Entry<1, LOOP>);
    window->fnWndInit = nullptr;
    ASSERT_EQ(LoginMessageReg(GUIMESSAGE_KEY_DOWN, window, LogKey, nullptr, 0, message), 0);
    Call(window);
    for (const int key : {3, 4}) {
        Key(key, window);
        ASSERT_TRUE(WaitForEntry("key " + std::to_string(key)));
    }
    End();
    EXPECT_EQ(Entries(), (Expected{"key 3", "key 4"}));
}

TEST_F(Scheduler, AWindowThreadWithoutAWindowEndsAndTakesNoTurn) {
    LockWindowThread();
    GUITHREAD thread = GUITHREAD_NONE;
    ASSERT_EQ(ThreadCreate(&thread, DefaultWindowThread, nullptr), 0);
    EXPECT_EQ(ThreadJoin(thread, nullptr), 0);
    UnlockWindowThread();
}

TEST_F(Scheduler, ALeftoverLoopMessageRunsTheNextScreensLoopBeforeItsInit) {
    ASSERT_EQ(SendMessage(2, GUIMESSAGE_WND_LOOP, 0), 0);
    Call(MakeScreen<2>(Entry<2, LOOP_ONCE>));
    ASSERT_TRUE(WaitForEntry("2.paint"));
    EXPECT_EQ(Entries()[0], "2.loop");
    EXPECT_EQ(Entries()[1], "2.init");
}

TEST_F(Scheduler, ExitMessageSetsTheExitFlag) {
    EXPECT_EQ(GetExitFlag(), 0);
    ASSERT_EQ(SendMessage(1, GUIMESSAGE_SCH_EXIT, 0), 0);
    EXPECT_TRUE(WaitUntil([] { return GetExitFlag() == 1; }));
}

TEST_F(Scheduler, ALeftoverExitMessageEndsTheNextScreenBeforeItsInit) {
    ASSERT_EQ(SendMessage(2, GUIMESSAGE_WND_EXIT, 0), 0);
    Call(MakeScreen<2>(nullptr));
    ASSERT_TRUE(WaitForEntry("2.exit"));
    End();
    EXPECT_EQ(Entries(), Expected{"2.exit"});
}

void* OwnThread(void* window) {
    Log("own thread");
    PostMessageItem(CreateMessageItem(1, GUIMESSAGE_SCH_DONE, reinterpret_cast<uintptr_t>(window), nullptr),
                    GetCurrMessage());
    return nullptr;
}

TEST_F(Scheduler, RunsAWindowsOwnThreadBody) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    window->fnWndThread = OwnThread;
    Call(window);
    ASSERT_TRUE(WaitForEntry("own thread"));
    EXPECT_TRUE(WaitUntil([this] { return QueueEmpty(); }));
    EXPECT_EQ(Entries(), Expected{"own thread"});
}

#ifdef K905_ADDRESS_SANITIZER
TEST_F(Scheduler, FreesAnEndedWindowOnceAnotherIsCurrent) {
    GUIWINDOW* first = MakeScreen<1>(nullptr);
    Call(first);
    ASSERT_TRUE(WaitUntil([first] { return GetCurrWindow() == first; }));
    GUIWINDOW* second = MakeScreen<2>(nullptr);
    Exit(first);
    Call(second);
    ASSERT_TRUE(WaitUntil([second] { return GetCurrWindow() == second; }));
    ASSERT_EQ(SendMessage(1, 99, 0), 0);
    EXPECT_TRUE(WaitUntil([first] { return __asan_address_is_poisoned(first) != 0; }));
    EXPECT_FALSE(__asan_address_is_poisoned(second));
}

TEST_F(Scheduler, FreesAWindowThatNeverBecameCurrent) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    window->fnWndPaint = nullptr;
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.init"));
    Exit(window);
    EXPECT_TRUE(WaitUntil([window] { return __asan_address_is_poisoned(window) != 0; }));
}

TEST_F(Scheduler, FreesAWindowWhoseThreadNeverRanWhenItIsDone) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    ASSERT_EQ(SendMessage(1, GUIMESSAGE_SCH_DONE, Value(window)), 0);
    EXPECT_TRUE(WaitUntil([window] { return __asan_address_is_poisoned(window) != 0; }));
}
#endif

// ---- The end of the program, in every state ----

TEST_F(Scheduler, ProgramEndRunsTheExitFunctionOfTheRunningScreen) {
    Call(MakeScreen<1>(nullptr));
    ASSERT_TRUE(WaitForEntry("1.paint"));
    End();
    EXPECT_EQ(Entries(), (Expected{"1.init", "1.paint", "1.exit"}));
}

TEST_F(Scheduler, ProgramEndStopsALoopingScreen) {
    Call(MakeScreen<1>(Entry<1, LOOP>));
    ASSERT_TRUE(WaitForEntry("1.loop"));
    End();
    EXPECT_EQ(Entries().back(), "1.exit");
    EXPECT_EQ(CountOf("1.exit"), 1);
}

TEST_F(Scheduler, ProgramEndReachesAScreenThatWaitsForTheLock) {
    Call(MakeScreen<1>(nullptr));
    ASSERT_TRUE(WaitForEntry("1.paint"));
    GUIWINDOW* waiting = MakeScreen<2>(nullptr);
    Call(waiting);
    ASSERT_TRUE(WaitUntil(
        [waiting] { return __atomic_load_n(&waiting->thdWndTid, __ATOMIC_ACQUIRE) != GUITHREAD_NONE; }));
    End();
    EXPECT_EQ(Entries(), (Expected{"1.init", "1.paint", "1.exit"})) << "a screen without init needs no exit";
}

int ExitSlowly(void*) {
    MsecSleepWhole(500);
    Log("1.exit");
    return 0;
}

TEST_F(Scheduler, ProgramEndWaitsForAScreenWhoseExitTakesLong) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    window->fnWndExit = ExitSlowly;
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.paint"));
    SetExitFlag(1);
    ASSERT_EQ(ThreadJoin(scheduler, nullptr), 0);
    scheduler = GUITHREAD_NONE;
    EXPECT_EQ(Entries(), (Expected{"1.init", "1.paint", "1.exit"}));
    EXPECT_EQ(__atomic_load_n(&window->thdWndTid, __ATOMIC_ACQUIRE), GUITHREAD_NONE) << "joined";
}

// Waits for a device that says nothing.
int silentDevice = -1;
void* WaitForDevice(void*) {
    char byte = 0;
    Log("waiting");
    while (GetExitFlag() != 1 || read(silentDevice, &byte, 1) >= 0)
        MsecSleep(1);
    Log("woken");
    return nullptr;
}

TEST_F(Scheduler, ProgramEndWakesAScreenWhileAnEarlierOneWaitsForTheLock) {
    int ends[2] = {};
    ASSERT_EQ(pipe(ends), 0);
    silentDevice = ends[0];
    LockWindowThread();
    GUIWINDOW* earlier = MakeScreen<1>(nullptr);
    Call(earlier);
    GUIWINDOW* later = MakeScreen<2>(nullptr);
    later->fnWndThread = WaitForDevice;
    Call(later);
    ASSERT_TRUE(WaitForEntry("waiting"));
    SetExitFlag(1);
    EXPECT_TRUE(WaitForEntry("woken"));
    UnlockWindowThread();
    End();
    for (int fd : ends)
        close(fd);
}

TEST_F(Scheduler, ProgramEndFreesCallsThatWereNeverHandled) {
    SetExitFlag(1);
    ASSERT_EQ(ThreadJoin(scheduler, nullptr), 0);
    scheduler = GUITHREAD_NONE;
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    Call(window);
    Call(window);
    Call(MakeScreen<2>(nullptr));
    Call(nullptr);
    End();
    EXPECT_TRUE(Entries().empty());
}

TEST_F(Scheduler, ProgramEndFreesAWindowThatStillListsComponents) {
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    ASSERT_EQ(AddWindowComp(GUICOMP_WINDOW, sizeof(*window), window, window), 0);
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.paint"));
    End();
    EXPECT_EQ(CountOf("1.exit"), 1);
}

// ---- Changes of windows ----

constexpr int kForEver = test::FailingCallsOfAllThreads::kForEver;

class WindowChange : public Scheduler {
  protected:
    void SetUp() override {
        Scheduler::SetUp();
        shown = MakeScreen<1>(nullptr);
        Call(shown);
        ASSERT_TRUE(WaitForEntry("1.paint"));
        MutexLock(&message->Mutex);
        ASSERT_EQ(LoginMessageReg(GUIMESSAGE_KEY_DOWN, shown, LogKey, nullptr, 0, message), 0);
        MutexUnlock(&message->Mutex);
    }
    // The screen is up and hears its handlers.
    void ExpectWhole() {
        Key(7, shown);
        EXPECT_TRUE(WaitForEntry("key 7"));
        EXPECT_EQ(CountOf("1.exit"), 0);
    }
    void ExpectChanged() {
        EXPECT_TRUE(WaitForEntry("2.paint"));
        EXPECT_EQ(CountOf("1.exit"), 1);
    }

    GUIWINDOW* shown = nullptr;
};

TEST_F(WindowChange, EndsOneScreenAndRunsTheNext) {
    EXPECT_EQ(ChangeWindow(shown, MakeScreen<2>(nullptr)), 0);
    EXPECT_EQ(message->pMsgReg->iCount, 0);
    ExpectChanged();
}

TEST_F(WindowChange, WaitsForRoomInTheQueueWithTheScreenWhole) {
    GUILIST list = {0, INT32_MAX, nullptr, nullptr};
    ASSERT_TRUE(WaitUntil([this] { return QueueEmpty(); }));
    for (int i = 0; i < 999; ++i)
        ASSERT_EQ(PrepareMessage(3, 0, 0, &list), 0);
    MutexLock(&message->Mutex);
    ASSERT_EQ(ListSplice(&list, message->pMsgQueue), 0);
    MutexUnlock(&message->Mutex);
    EXPECT_EQ(ChangeWindow(shown, MakeScreen<2>(nullptr)), 0);
    ExpectWhole();
    MutexLock(&message->Mutex);
    free(RecvSpecialMessage(3, message));
    MutexUnlock(&message->Mutex);
    ExpectChanged();
}

TEST_F(WindowChange, WaitsForTheThreadOfTheNextScreen) {
    {
        test::FailingCallsOfAllThreads failing(1, kForEver, "pthread_create");
        EXPECT_EQ(ChangeWindow(shown, MakeScreen<2>(nullptr)), 0);
        EXPECT_STREQ(failing.Failed(), "pthread_create");
        ExpectWhole();
    }
    ExpectChanged();
}

TEST_F(WindowChange, ALaterOneTakesThePlaceOfOneThatWaits) {
    {
        test::FailingCallsOfAllThreads failing(1, kForEver, "pthread_create");
        EXPECT_EQ(ChangeWindow(shown, MakeScreen<3>(nullptr)), 0);
        EXPECT_EQ(ChangeWindow(shown, MakeScreen<2>(nullptr)), 0);
        ExpectWhole();
    }
    ExpectChanged();
    EXPECT_EQ(CountOf("3.init"), 0);
}

TEST_F(WindowChange, OneThatWaitsIsFreedWhenTheProgramEnds) {
    test::FailingCallsOfAllThreads failing(1, kForEver, "pthread_create");
    EXPECT_EQ(ChangeWindow(shown, MakeScreen<2>(nullptr)), 0);
    ExpectWhole();
    End();
    EXPECT_EQ(CountOf("2.init"), 0);
}

TEST_F(WindowChange, NeedsANextWindow) {
    EXPECT_EQ(ChangeWindow(shown, nullptr), -1);
    ExpectWhole();
}

TEST(WindowChangeWithoutMessages, FreesTheNextWindow) {
    ASSERT_EQ(GetCurrMessage(), nullptr);
    ASSERT_EQ(InitCurrWindow(), 0);
    GUIWINDOW* next = MakeScreen<2>(nullptr);
    ASSERT_EQ(SetCurrWindow(next), 0);  // a freed window is not current any more
    EXPECT_EQ(ChangeWindow(nullptr, next), -2);
    EXPECT_EQ(GetCurrWindow(), nullptr);
}

TEST_F(WindowChange, ComesAboutWhicheverCallFailsOnce) {
    for (int n = 1; n <= 12; ++n) {
        const int before = CountOf("1.paint");
        GUIWINDOW* next = MakeScreen<1>(nullptr);
        test::FailingCallsOfAllThreads failing(n, 1);
        EXPECT_EQ(ChangeWindow(shown, next), 0);
        EXPECT_TRUE(WaitUntil([&] { return CountOf("1.paint") > before; }))
            << n << ", " << failing.Failed() << " failed";
        shown = next;
    }
    End();
    EXPECT_EQ(CountOf("1.exit"), 13);
}

GUIMESSAGE* filled = nullptr;
int ExitIntoAFullQueue(void*) {
    GUILIST list = {0, INT32_MAX, nullptr, nullptr};
    MutexLock(&filled->Mutex);
    while (list.iCount < filled->pMsgQueue->iLimit - filled->pMsgQueue->iCount)
        PrepareMessage(3, 0, 0, &list);
    ListSplice(&list, filled->pMsgQueue);
    MutexUnlock(&filled->Mutex);
    Log("1.exit");
    return 0;
}

// A window whose end is not heard of would never be run again.
TEST_F(Scheduler, TheEndOfAWindowIsToldOnceThereIsRoom) {
    filled = message;
    GUIWINDOW* window = MakeScreen<1>(nullptr);
    window->fnWndExit = ExitIntoAFullQueue;
    Call(window);
    ASSERT_TRUE(WaitForEntry("1.paint"));
    Exit(window);
    ASSERT_TRUE(WaitForEntry("1.exit"));
    LockWindowThread();  // free once the thread has tried to tell
    UnlockWindowThread();
    MutexLock(&message->Mutex);
    while (GUIMESSAGE_ITEM* item = RecvSpecialMessage(3, message))
        free(item);
    MutexUnlock(&message->Mutex);
    ASSERT_TRUE(WaitUntil(
        [window] { return __atomic_load_n(&window->thdWndTid, __ATOMIC_ACQUIRE) == GUITHREAD_NONE; }));
    Call(window);
    EXPECT_TRUE(WaitUntil([] { return CountOf("1.init") == 2; }));
}

TEST_F(Scheduler, ACalledWindowWaitsForItsThread) {
    {
        test::FailingCallsOfAllThreads failing(1, kForEver, "pthread_create");
        Call(MakeScreen<1>(nullptr));
        ASSERT_TRUE(WaitUntil([this, &failing] { return *failing.Failed() != 0 && QueueEmpty(); }));
        EXPECT_TRUE(Entries().empty());
    }
    EXPECT_TRUE(WaitForEntry("1.paint"));
}

TEST_F(Scheduler, ProgramEndFreesAWindowThatWaitsForItsThread) {
    test::FailingCallsOfAllThreads failing(1, kForEver, "pthread_create");
    Call(MakeScreen<1>(nullptr));
    ASSERT_TRUE(WaitUntil([this, &failing] { return *failing.Failed() != 0 && QueueEmpty(); }));
    End();
    EXPECT_TRUE(Entries().empty());
}

TEST_F(Scheduler, SurvivesManyScreenSwitches) {
    GUIWINDOW* shown = MakeScreen<1>(Entry<1, LOOP_ONCE>);
    Call(shown);
    for (int i = 1; i <= 8; ++i) {
        ASSERT_TRUE(WaitUntil([&] { return CountOf("1.paint") == i; }));
        ASSERT_TRUE(WaitUntil([&] { return GetCurrWindow() == shown; }));
        GUIWINDOW* next = MakeScreen<1>(Entry<1, LOOP_ONCE>);
        Exit(shown);
        Call(next);
        shown = next;
    }
    ASSERT_TRUE(WaitUntil([&] { return CountOf("1.paint") == 9; }));
    End();
    EXPECT_EQ(CountOf("1.init"), 9);
    EXPECT_EQ(CountOf("1.exit"), 9);
}

TEST(ExitFlag, IsClearedByInitAndReportsAMissingMutex) {
    EXPECT_EQ(InitExitFlag(), 0);
    EXPECT_EQ(SetExitFlag(1), 0);
    EXPECT_EQ(GetExitFlag(), 1);
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(InitExitFlag(), -1);
    }
    EXPECT_EQ(InitExitFlag(), 0);
    EXPECT_EQ(GetExitFlag(), 0);
}

TEST(ThreadLock, ReportsAMissingMutex) {
    {
        test::FailingCalls failing(1);
        EXPECT_EQ(InitThreadLock(), -1);
    }
    EXPECT_EQ(InitThreadLock(), 0);
    EXPECT_EQ(LockWindowThread(), 0);
    EXPECT_EQ(UnlockWindowThread(), 0);
}

}  // namespace
