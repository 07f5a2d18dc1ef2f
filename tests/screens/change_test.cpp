// Moves from screen to screen while memory or threads are short: some screen is always shown and heard.
#include <optional>

#include "screens/wnd_frmadjust.h"
#include "screens/wnd_frmapd_adjust.h"
#include "screens/wnd_frme2prom.h"
#include "screens/wnd_frmkeycheck.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_frmmainboard_fct.h"
#include "screens/wnd_frmopm_fct.h"
#include "screens/wnd_frmoptcheck.h"
#include "screens/wnd_frmopticalmain.h"
#include "tests/screens/screen_fixture.h"
#include "tests/support/failing_calls.h"

namespace {

constexpr int kForEver = test::FailingCallsOfAllThreads::kForEver;

// A control that leads from one screen to another, by a point on it.
struct Move {
    const char* name;
    const SCREEN_ENTRY* from;
    const SCREEN_ENTRY* to;
    int x, y;
};

void PrintTo(const Move& move, std::ostream* out) {
    *out << move.name;
}

const Move kMoves[] = {
    {"StartToMainBoard", &FrmMain, &FrmMainBoard, 240, 210},
    {"StartToMenu", &FrmMain, &FrmOpticalMain, 540, 210},
    {"MainBoardToKeyCheck", &FrmMainBoard, &FrmKeyCheck, 480, 240},
    {"MainBoardToStart", &FrmMainBoard, &FrmMain, 660, 465},
    {"KeyCheckToMainBoard", &FrmKeyCheck, &FrmMainBoard, 660, 465},
    {"MenuToAdjust", &FrmOpticalMain, &FrmAdjust, 390, 160},
    {"MenuToOptcheck", &FrmOpticalMain, &FrmOptcheck, 590, 160},
    {"MenuToOpmTest", &FrmOpticalMain, &FrmOPM, 190, 160},
    {"MenuToApdAdjust", &FrmOpticalMain, &FrmAPDAdj, 190, 310},
    {"MenuToE2prom", &FrmOpticalMain, &FrmE2PROM, 390, 310},
    {"MenuToStart", &FrmOpticalMain, &FrmMain, 660, 465},
    {"AdjustToMenu", &FrmAdjust, &FrmOpticalMain, 660, 465},
    {"OptcheckToMenu", &FrmOptcheck, &FrmOpticalMain, 660, 465},
    {"OpmTestToMenu", &FrmOPM, &FrmOpticalMain, 660, 465},
    {"ApdAdjustToE2prom", &FrmAPDAdj, &FrmE2PROM, 710, 240},
    {"ApdAdjustToMenu", &FrmAPDAdj, &FrmOpticalMain, 660, 465},
    {"E2promToMenu", &FrmE2PROM, &FrmOpticalMain, 660, 465},
};

// While it lives, the handler of the next release makes calls of one name fail, of all threads: the n-th from
// its beginning on and all that follow.
class FailingFromARelease {
  public:
    FailingFromARelease(int n, const char* name) {
        first_ = n;
        name_ = name;
        ForEachRegistration([](GUIMESSAGE_REG* reg) {
            if (reg->iMsgCode != GUIMESSAGE_TCH_UP)
                return;
            reg->pOutArg = reinterpret_cast<void*>(reg->fnMsgFunc);
            reg->fnMsgFunc = Begin;
        });
    }
    ~FailingFromARelease() {
        failing_.reset();
        ForEachRegistration([](GUIMESSAGE_REG* reg) {
            if (reg->fnMsgFunc != Begin)
                return;
            reg->fnMsgFunc = reinterpret_cast<MSGFUNC>(reg->pOutArg);
            reg->pOutArg = nullptr;
        });
    }
    FailingFromARelease(const FailingFromARelease&) = delete;
    FailingFromARelease& operator=(const FailingFromARelease&) = delete;

    // As FailingCallsOfAllThreads; "" when no handler has run.
    const char* Failed() const { return failing_ ? failing_->Failed() : ""; }

  private:
    static void ForEachRegistration(void (*change)(GUIMESSAGE_REG*)) {
        GUIMESSAGE* messages = GetCurrMessage();
        MutexLock(&messages->Mutex);
        for (const GUIOBJ* item = FirstObj(messages->pMsgReg); item != nullptr;
             item = NextObj(item, messages->pMsgReg))
            change(static_cast<GUIMESSAGE_REG*>(item->pObj));
        MutexUnlock(&messages->Mutex);
    }
    static int Begin(void* in, int inLength, void* handler, int outLength) {
        failing_.emplace(first_, kForEver, name_);
        return reinterpret_cast<MSGFUNC>(handler)(in, inLength, nullptr, outLength);
    }

    static int first_;
    static const char* name_;
    static std::optional<test::FailingCallsOfAllThreads> failing_;
};

int FailingFromARelease::first_ = 0;
const char* FailingFromARelease::name_ = nullptr;
std::optional<test::FailingCallsOfAllThreads> FailingFromARelease::failing_;

}  // namespace

class ScreenChange : public test::ScreenTest, public testing::WithParamInterface<Move> {
  protected:
    static WNDFUNC Shown() {
        const GUIWINDOW* window = GetCurrWindow();
        return window == nullptr ? nullptr : window->fnWndInit;
    }
    // Whatever screen is shown, its first move in the table is made when it is touched.
    void ExpectUsable(const std::string& what) {
        for (const Move& move : kMoves) {
            if (move.from->fnInit != Shown())
                continue;
            Tap(move.x, move.y, 600);
            EXPECT_EQ(move.to->fnInit, Shown()) << what << ": " << move.name << " is not heard";
            return;
        }
        ADD_FAILURE() << what << ": no screen is shown";
    }
};

using ScreenTouch = test::ScreenTest;

INSTANTIATE_TEST_SUITE_P(Moves, ScreenChange, testing::ValuesIn(kMoves),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(ScreenChange, WithoutAThreadTheScreenStaysUntilThereIsOne) {
    Start(*GetParam().from);
    {
        test::FailingCallsOfAllThreads failing(1, kForEver, "pthread_create");
        Tap(GetParam().x, GetParam().y, 2000);
        EXPECT_EQ(GetParam().from->fnInit, Shown());
        EXPECT_STREQ("pthread_create", failing.Failed());
    }
    Run(600);
    EXPECT_EQ(GetParam().to->fnInit, Shown());
    ExpectUsable("with threads again");
}

// The touch itself comes through. Where the next window cannot be had, another touch is needed; where only
// the messages of the change cannot, it is made as soon as there is memory.
TEST_P(ScreenChange, WithoutMemoryFromTheHandlerOnTheScreenStaysWhole) {
    constexpr int kMost = 200;
    const Move& move = GetParam();
    Start(*move.from);
    const std::vector<std::string> components = Components();
    const int registered = GetCurrMessage()->pMsgReg->iCount;
    int lost = 0;
    while (Shown() == move.from->fnInit && lost < kMost) {
        {
            const FailingFromARelease failing(lost + 1, "malloc");
            Tap(move.x, move.y, 1000);
            ASSERT_STREQ("malloc", failing.Failed()) << lost;
            ASSERT_EQ(move.from->fnInit, Shown()) << lost;
            ASSERT_EQ(components, Components()) << lost;
            ASSERT_EQ(registered, GetCurrMessage()->pMsgReg->iCount) << lost;
        }
        Run(600);
        if (Shown() == move.from->fnInit)
            ++lost;
    }
    EXPECT_GT(lost, 0) << "a change was made to a window that could not be had";
    EXPECT_EQ(move.to->fnInit, Shown());
    ExpectUsable("with memory again");
}

TEST_P(ScreenChange, WithoutMemoryForTheNextWindowAnotherTouchIsHeard) {
    Start(*GetParam().from);
    {
        const FailingFromARelease failing(1, "calloc");
        Tap(GetParam().x, GetParam().y, 2000);
        EXPECT_STREQ("calloc", failing.Failed());
    }
    Run(600);
    ASSERT_EQ(GetParam().from->fnInit, Shown());
    Tap(GetParam().x, GetParam().y, 600);
    EXPECT_EQ(GetParam().to->fnInit, Shown());
    ExpectUsable("with memory again");
}

// One call that fails, at each of the first places from the touch on, where the change itself is made.
TEST_P(ScreenChange, SurvivesAnyOneCallThatFails) {
    constexpr int kFirst = 14;
    Start(*GetParam().from);
    for (int n = 1; n <= kFirst; ++n) {
        std::string failed;
        for (const Move& move : kMoves) {
            if (move.from->fnInit != Shown())
                continue;
            test::FailingCallsOfAllThreads failing(n, 1);
            Tap(move.x, move.y, 600);
            failed = std::string(move.name) + ", call " + std::to_string(n) + " (" + failing.Failed() + ")";
            break;
        }
        ExpectUsable(failed);
        if (HasFailure())
            return;
    }
}

// A full queue: the messages of the move have no room until somebody takes one out.
TEST_P(ScreenChange, WithAFullQueueTheScreenStaysWhole) {
    Start(*GetParam().from);
    linked_->Hardware().Touch({{GetParam().x, GetParam().y}});
    Run(300);
    GUIMESSAGE* messages = GetCurrMessage();
    GUILIST list = {0, INT32_MAX, nullptr, nullptr};
    MutexLock(&messages->Mutex);
    // Of a type that nobody reads; one place is left for the release.
    const int room = messages->pMsgQueue->iLimit - messages->pMsgQueue->iCount - 1;
    for (int i = 0; i < room; ++i)
        ASSERT_EQ(0, PrepareMessage(3, 0, 0, &list));
    ASSERT_EQ(0, ListSplice(&list, messages->pMsgQueue));
    MutexUnlock(&messages->Mutex);
    Release(1000);
    EXPECT_EQ(GetParam().from->fnInit, Shown());
    EXPECT_GT(Registrations(GUIMESSAGE_TCH_UP), 0);
    for (int i = 0; i < room; ++i)
        free(TakeMessage(3, messages));
    Run(1000);
    EXPECT_EQ(GetParam().to->fnInit, Shown());
    ExpectUsable("with room again");
}

// Memory that is short for seconds while the next screen is being made: it has all its controls afterwards.
TEST_P(ScreenChange, AShortageWhileTheScreenIsMadeLeavesItWhole) {
    Start(*GetParam().to);
    const size_t components = Components().size();
    const int releases = Registrations(GUIMESSAGE_TCH_UP);
    for (int n = 8; n <= 80; n += 24) {
        PowerOn();
        Start(*GetParam().from);
        {
            test::FailingCallsOfAllThreads failing(n, kForEver, "malloc");
            Tap(GetParam().x, GetParam().y, 3000);
        }
        Run(1000);
        if (Shown() == GetParam().to->fnInit) {
            EXPECT_EQ(components, Components().size()) << n;
            EXPECT_EQ(releases, Registrations(GUIMESSAGE_TCH_UP)) << n;
        }
        ExpectUsable("memory short from call " + std::to_string(n));
    }
}

// The operator has turned to something else while a change could not be made: the screen stays.
TEST_F(ScreenTouch, ElsewhereGivesUpAChangeThatWaits) {
    Start(FrmMainBoard);
    {
        test::FailingCallsOfAllThreads failing(1, kForEver, "pthread_create");
        Tap(660, 465);  // Back
        Tap(600, 360);  // RTC
    }
    Run(2000);
    EXPECT_EQ(FrmMainBoard.fnInit, GetCurrWindow()->fnWndInit);
    EXPECT_THAT(Texts({20, 30, 400, 400}), testing::ElementsAre(testing::StartsWith("RTC  ")));
    Tap(660, 465, 600);
    EXPECT_EQ(FrmMain.fnInit, GetCurrWindow()->fnWndInit);
}
