#include "gui/guiglobal.h"

#include <gtest/gtest.h>
#include <linux/fb.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "gui/guibrush.h"
#include "gui/guievent.h"
#include "gui/guifbmap.h"
#include "gui/guifont.h"
#include "gui/guikeypad.h"
#include "gui/guimessage.h"
#include "gui/guipalette.h"
#include "gui/guipen.h"
#include "gui/guischeduler.h"
#include "gui/guitouch.h"
#include "gui/guiwindow.h"
#include "tests/gui/files_fixture.h"
#include "tests/gui/input_device.h"
#include "tests/support/failing_calls.h"
#include "tests/support/redirected_paths.h"
#include "tests/support/refusing.h"

namespace {

const char* const FRAMEBUFFER = "/dev/fb0";
const char* const KEYPAD = "/dev/keyb0";
const char* const TOUCH = "/dev/event2";
const char* const FONT = "/app/fct/font/unicode.fnt";

int AnswerScreen(int, unsigned long request, void* argument) {
    if (request == FBIOGET_FSCREENINFO) {
        static_cast<fb_fix_screeninfo*>(argument)->smem_len = 800 * 480 * 2;
        return 0;
    }
    if (request != FBIOGET_VSCREENINFO)
        return -1;
    fb_var_screeninfo* screen = static_cast<fb_var_screeninfo*>(argument);
    screen->xres = 800;
    screen->yres = 480;
    screen->bits_per_pixel = 16;
    screen->red = {11, 5, 0};
    screen->green = {5, 6, 0};
    screen->blue = {0, 5, 0};
    return 0;
}

// The paths that start-up opens lead to files and FIFOs of the test; one that is taken away leads nowhere.
class Environment : public testing::Test {
  protected:
    Environment() {
        EXPECT_EQ(truncate(screen.Path(), 800 * 480 * 2), 0);
        test::FontFile content;
        content.Add({});
        font.Write(content.Content());
    }
    // InitializeGUI with these paths missing.
    int Start(const std::vector<std::string>& missing = {}) {
        std::map<std::string, std::string> paths = {{FRAMEBUFFER, screen.Path()},
                                                    {KEYPAD, keypad.Path()},
                                                    {TOUCH, touch.Path()},
                                                    {FONT, font.Path()}};
        for (const std::string& path : missing)
            paths[path] = "/nonexistent" + path;
        test::RedirectedPaths redirected(paths);
        test::IoctlAnswer answer(AnswerScreen);
        return InitializeGUI();
    }
    bool Polls(const std::function<bool()>& condition) {
        for (int i = 0; i < 10000 && !condition(); ++i)
            MsecSleep(1);
        return condition();
    }
    void ExpectNothingCurrent() {
        EXPECT_EQ(GetCurrFbmap(), nullptr);
        EXPECT_EQ(GetCurrKeypad(), nullptr);
        EXPECT_EQ(GetCurrTouch(), nullptr);
        EXPECT_EQ(GetCurrEvent(), nullptr);
        EXPECT_EQ(GetCurrMessage(), nullptr);
        EXPECT_EQ(GetCurrPalette(), nullptr);
        EXPECT_EQ(GetCurrPen(), nullptr);
        EXPECT_EQ(GetCurrBrush(), nullptr);
        EXPECT_EQ(GetCurrFont(), nullptr);
        EXPECT_EQ(GetCurrWindow(), nullptr);
    }

    test::TempFile screen, font;
    test::InputDevice keypad, touch;
};

TEST_F(Environment, MakesEveryObjectCurrent) {
    ASSERT_EQ(Start(), 0);
    EXPECT_EQ(GetExitFlag(), 0);
    EXPECT_EQ(GetCurrFbmap()->iDevType, 1);
    EXPECT_EQ(GetCurrFbmap()->uiHorDisp, 800u);
    EXPECT_EQ(GetCurrFbmap()->uiVerDisp, 480u);
    EXPECT_EQ(GetCurrFbmap()->fnFbThread, DefaultFbThread);
    EXPECT_EQ(GetCurrKeypad()->iDevType, 2);
    EXPECT_EQ(GetCurrKeypad()->fnKeypadThread, DefaultKeypadThread);
    EXPECT_EQ(GetCurrTouch()->iDevType, 1);
    EXPECT_EQ(GetCurrTouch()->fnTouchThread, DefaultTouchThread);
    EXPECT_EQ(GetCurrEvent()->pEventQueue->iLimit, 1000);
    EXPECT_EQ(GetCurrEvent()->fnEventThread, EventPacketThread);
    EXPECT_EQ(GetCurrMessage()->pMsgQueue->iLimit, 1000);
    EXPECT_EQ(GetCurrMessage()->pMsgReg->iLimit, 1000);
    EXPECT_EQ(GetCurrPalette()->iPalLength, 256);
    EXPECT_EQ(GetCurrPen()->iPenType, 1);
    EXPECT_EQ(GetCurrPen()->iPenWidth, 1);
    EXPECT_EQ(GetCurrPen()->uiPenColor, 0u);
    EXPECT_EQ(GetCurrBrush()->iBrushType, 1);
    EXPECT_EQ(GetCurrFont()->uiFontWidth, 16u);
    EXPECT_EQ(GetCurrFont()->uiFontHeight, 16u);
    EXPECT_EQ(GetCurrFont()->uiFgColor, 0xFFFFFFu);
    EXPECT_EQ(GetCurrFont()->uiBgColor, 0xFFFFFFFFu);
    EXPECT_EQ(GetCurrWindow(), nullptr);
    SetExitFlag(1);
    EXPECT_EQ(ReleaseGUI(), 0);
    ExpectNothingCurrent();
}

TEST_F(Environment, RunsTheSchedulerAndTheEventThread) {
    ASSERT_EQ(Start(), 0);
    ASSERT_EQ(PostEvent(GUIEVENT_KEY_DOWN, GUIKEY_MENU), 0);
    EXPECT_TRUE(Polls([] {
        GUIEVENT* event = GetCurrEvent();
        MutexLock(&event->Mutex);
        const bool empty = ListEmpty(event->pEventQueue);
        MutexUnlock(&event->Mutex);
        return empty;
    }));
    ASSERT_EQ(SendMessage(GUIMESSAGE_TYP_SCHED, GUIMESSAGE_SCH_EXIT, 0), 0);
    EXPECT_TRUE(Polls([] { return GetExitFlag() == 1; }));
    EXPECT_EQ(ReleaseGUI(), 0);
}

TEST_F(Environment, DoesNotStartTheDeviceThreads) {
    ASSERT_EQ(Start(), 0);
    const uint32_t word = 0x00010001;
    keypad.Send(&word, sizeof(word));
    MsecSleep(20);
    pollfd pending = {GetCurrKeypad()->iDevFd, POLLIN, 0};
    EXPECT_EQ(poll(&pending, 1, 0), 1) << "somebody has read it";
    SetExitFlag(1);
    EXPECT_EQ(ReleaseGUI(), 0);
}

TEST_F(Environment, ReleaseFreesQueuedMessagesEventsAndRegistrations) {
    ASSERT_EQ(Start(), 0);
    ASSERT_EQ(SendMessage(GUIMESSAGE_TYP_WND, GUIMESSAGE_KEY_DOWN, 1), 0);
    MutexLock(&GetCurrMessage()->Mutex);
    EXPECT_EQ(LoginMessageReg(GUIMESSAGE_KEY_DOWN, this, nullptr, nullptr, 0, GetCurrMessage()), 0);
    MutexUnlock(&GetCurrMessage()->Mutex);
    SetExitFlag(1);
    ASSERT_EQ(PostEvent(GUIEVENT_KEY_DOWN, 1), 0);
    EXPECT_EQ(ReleaseGUI(), 0);
    ExpectNothingCurrent();
}

// What start-up returns when each of its calls fails in turn, in the order of its steps.
TEST_F(Environment, EachStepThatFailsIsReportedAndReleased) {
    const int before = test::FailingCalls::OpenDescriptors();
    std::vector<std::string> results;
    int result = 0;
    auto release = [&] {
        SetExitFlag(1);
        ReleaseGUI();
        ExpectNothingCurrent();
        EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
    };
    test::FailEachCall(
        [&] {
            result = Start();
            return result == 0;
        },
        [&](const char* name, bool) {
            results.push_back(name + (" " + std::to_string(result)));
            release();
        });
    EXPECT_EQ(result, 0);
    release();

    const std::vector<std::string> expected = {
        "pthread_mutex_init -1",  // exit flag
        "calloc -2",
        "open -2",
        "ioctl -2",
        "ioctl -2",
        "sysconf -2",
        "mmap -2",
        "pthread_mutex_init -2",  // framebuffer
        "malloc 0",
        "open 0",  // keypad
        "calloc -2",
        "open -2",
        "pthread_mutex_init -2",  // touch
        "calloc -3",
        "malloc -3",
        "pthread_mutex_init -3",  // event
        "calloc -3",
        "malloc -3",
        "malloc -3",
        "pthread_mutex_init -3",  // message
        "pthread_mutex_init -3",  // thread lock
        "pthread_create -3",      // scheduler
        "pthread_mutex_init -3",  // current window
        "pthread_create -3",      // event thread
    };
    ASSERT_GT(results.size(), expected.size());
    for (size_t i = 0; i < results.size(); ++i) {
        if (i < expected.size())
            EXPECT_EQ(results[i], expected[i]) << i;
        else
            EXPECT_EQ(results[i].substr(results[i].find(' ')), " -4") << results[i];
    }
}

// What the end returns when each of its calls fails in turn; what comes after is released all the same.
TEST_F(Environment, ReleaseReportsADeviceThatCannotBeClosed) {
    const int before = test::FailingCalls::OpenDescriptors();
    std::vector<std::string> results;
    for (int n = 1;; ++n) {
        ASSERT_EQ(Start(), 0);
        SetExitFlag(1);
        test::FailingCalls failing(n);
        const int result = ReleaseGUI();
        if (failing.Failed()[0] == '\0') {
            EXPECT_EQ(result, 0);
            break;
        }
        results.push_back(failing.Failed() + (" " + std::to_string(result)));
        ExpectNothingCurrent();
    }
    EXPECT_EQ(results, (std::vector<std::string>{
                           "close 0",               // font
                           "close -3",              // touch
                           "close 0",               // keypad
                           "munmap -3", "close -3"  // framebuffer
                       }));
    EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
}

TEST_F(Environment, MissingFilesAreToldApart) {
    const struct {
        std::vector<std::string> missing;
        int started;
        int released;
    } rows[] = {
        {{KEYPAD}, 0, 0}, {{FRAMEBUFFER}, -2, -1}, {{TOUCH}, -2, -1}, {{FRAMEBUFFER, TOUCH}, -2, -1},
        {{FONT}, -4, -1},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Start(row.missing), row.started) << row.missing[0];
        EXPECT_EQ(GetCurrKeypad() == nullptr, row.missing[0] == KEYPAD) << row.missing[0];
        SetExitFlag(1);
        EXPECT_EQ(ReleaseGUI(), row.released) << row.missing[0];
        ExpectNothingCurrent();
    }
}

// The devices are released all the same.
TEST_F(Environment, AMessageObjectThatCannotBeDestroyedIsTold) {
    const int before = test::FailingCalls::OpenDescriptors();
    ASSERT_EQ(Start(), 0);
    SetExitFlag(1);
    {
        const test::Refusing refusing("DestroyMessage", -3);
        EXPECT_EQ(ReleaseGUI(), -2);
    }
    EXPECT_EQ(test::FailingCalls::OpenDescriptors(), before);
    GUIMESSAGE* left = GetCurrMessage();
    EXPECT_EQ(DestroyMessage(&left), 0);
    ExpectNothingCurrent();
    ASSERT_EQ(Start(), 0);
    SetExitFlag(1);
    EXPECT_EQ(ReleaseGUI(), 0);
}

TEST_F(Environment, ReleaseWithoutStartIsHarmless) {
    EXPECT_EQ(ReleaseGUI(), -1);
    EXPECT_EQ(ReleaseGUI(), -1);
    EXPECT_EQ(GetExitFlag(), 1);
}

}  // namespace
