#include "tests/screens/screen_fixture.h"

#include <stdlib.h>
#include <unistd.h>

#include <atomic>

#include "device/common_opt.h"
#include "gui/guifbmap.h"
#include "gui/guiglobal.h"
#include "gui/guikeypad.h"
#include "gui/guimessage.h"
#include "gui/guischeduler.h"
#include "gui/guitouch.h"
#include "measure/adjust.h"
#include "measure/common_opm.h"
#include "screens/wnd_frmmainboard_fct.h"
#include "simulator/models/framebuffer.h"
#include "simulator/models/parts.h"

namespace test {

static std::atomic<int> failedHandlers{0};

ScreenTest::ScreenTest() {
    failedHandlers = 0;
    PowerOn();
    testing::internal::CaptureStdout();
}

void ScreenTest::PowerOn() {
    PowerOff();
    linked_ = std::make_unique<k905::LinkedInstrument>();
    OPMGUIShare.usIsConnect = 0;
}

void ScreenTest::End() {
    if (started_) {
        SetExitFlag(1);
        for (pthread_t& thread : deviceThreads_)
            ThreadEnd(&thread);
        deviceThreads_.clear();
        EXPECT_EQ(0, ReleaseGUI());
        FrmMainBoardRelease();
    }
    started_ = false;
    OPMTestEnd();
    free(pApd_Break_Para);
    pApd_Break_Para = nullptr;
    free(pScreenBmpBuff);
    pScreenBmpBuff = nullptr;
}

void ScreenTest::PowerOff() {
    End();
    if (serialFD >= 0)
        close(serialFD);
    serialFD = -1;
    cOpmTunning = tuning_;
    SetStopThreadFlag(1);
    linked_.reset();
}

ScreenTest::~ScreenTest() {
    PowerOff();
    EXPECT_EQ(failedHandlers_, failedHandlers) << "handlers of messages that tell of a failure";
    // The report of a failure was captured too.
    Printed();
    testing::internal::GetCapturedStdout();
    if (HasFailure())
        fprintf(stderr, "%s", console_.c_str());
}

void ScreenTest::Start(const SCREEN_ENTRY& entry) {
    ASSERT_EQ(0, OPMTestInit());
    started_ = true;
    ASSERT_EQ(0, InitializeGUI());
    const struct {
        THREADFUNC body;
        void* device;
    } threads[] = {{DefaultTouchThread, GetCurrTouch()},
                   {DefaultKeypadThread, GetCurrKeypad()},
                   {DefaultFbThread, GetCurrFbmap()}};
    for (const auto& thread : threads) {
        deviceThreads_.emplace_back();
        ASSERT_EQ(0, ThreadCreate(&deviceThreads_.back(), thread.body, thread.device));
    }
    ASSERT_EQ(0, CallScreen(entry));
    Run(500);
    Printed();
}

void ScreenTest::Run(unsigned milliseconds) {
    MsecSleep(milliseconds);
}

void ScreenTest::Set(const std::string& name, const nlohmann::json& value) {
    EXPECT_EQ("", linked_->Hardware().Set(name, value));
}

void ScreenTest::Fault(const std::string& name, const nlohmann::json& value) {
    EXPECT_EQ("", linked_->Hardware().SetFault(name, value));
}

void ScreenTest::Press(int x, int y) {
    linked_->Hardware().Touch({{x, y}});
    Run(300);
}

void ScreenTest::Release(unsigned milliseconds) {
    linked_->Hardware().Touch({});
    Run(milliseconds);
}

void ScreenTest::Tap(int x, int y, unsigned milliseconds) {
    Press(x, y);
    Release(milliseconds);
}

void ScreenTest::ReleaseUnheard(const SCREEN_ENTRY& entry) {
    GUIMESSAGE* messages = GetCurrMessage();
    MutexLock(&messages->Mutex);
    ClearMessageReg(messages);
    MutexUnlock(&messages->Mutex);
    Release();
    ASSERT_EQ(0, SwitchScreen(GetCurrWindow(), entry));
    Run(400);
}

void ScreenTest::Key(const std::string& name, bool down) {
    EXPECT_EQ("", linked_->Hardware().Key(name, down));
    Run(300);
}

std::vector<k905::TextRun> ScreenTest::Runs() const {
    static k905::ScreenReader reader(K905_BINARY_DIR "/app/fct/font/unicode.fnt");
    const k905::Framebuffer& screen = linked_->Hardware().Screen();
    return reader.Read(screen.Pixels(), screen.Width(), screen.Height(), screen.Bits());
}

std::vector<std::string> ScreenTest::Texts(Area area) const {
    std::vector<std::string> texts;
    for (const k905::TextRun& run : Runs()) {
        const bool inside = run.x >= static_cast<int>(area.x) && run.y >= static_cast<int>(area.y) &&
                            run.x < static_cast<int>(area.x + area.width) &&
                            run.y < static_cast<int>(area.y + area.height);
        if (inside)
            texts.push_back(run.text);
    }
    return texts;
}

std::string ScreenTest::WrappedText(Area area) const {
    std::string text;
    for (const std::string& line : Texts(area))
        text += line;
    return text;
}

uint32_t ScreenTest::ColorOf(const std::string& text) const {
    for (const k905::TextRun& run : Runs())
        if (run.text == text)
            return run.color;
    return COLOR_NONE;
}

Picture ScreenTest::Screenshot(Area area) const {
    const k905::Framebuffer& screen = linked_->Hardware().Screen();
    EXPECT_EQ(16u, screen.Bits());
    Picture picture = {area.width, area.height, {}};
    for (unsigned y = area.y; y < area.y + area.height; ++y)
        for (unsigned x = area.x; x < area.x + area.width; ++x) {
            const uint8_t* bytes = screen.Pixels() + (size_t{y} * screen.Width() + x) * 2;
            const unsigned pixel = bytes[0] | bytes[1] << 8;
            picture.rgb.push_back(static_cast<uint8_t>((pixel >> 8 & 0xF8) | pixel >> 13));
            picture.rgb.push_back(static_cast<uint8_t>((pixel >> 3 & 0xFC) | (pixel >> 9 & 0x03)));
            picture.rgb.push_back(static_cast<uint8_t>((pixel << 3 & 0xF8) | (pixel >> 2 & 0x07)));
        }
    return picture;
}

std::vector<std::string> ScreenTest::Components() {
    std::vector<std::string> places;
    const GUILIST* list = GetCurrWindow()->pWndComps;
    for (const GUIOBJ* item = FirstObj(list); item != nullptr; item = NextObj(item, list)) {
        const GUIPOINT& start = static_cast<GUIVISIBLE*>(item->pObj)->Area.Start;
        places.push_back(std::to_string(start.x) + "," + std::to_string(start.y));
        EXPECT_EQ(item == FirstObj(list) ? GUICOMP_WINDOW : GUICOMP_PICTURE, item->iType);
        EXPECT_EQ(item == FirstObj(list) ? sizeof(GUIWINDOW) : sizeof(GUIPICTURE),
                  static_cast<size_t>(item->iLength));
    }
    return places;
}

int ScreenTest::Registrations(int code) {
    int count = 0;
    const GUILIST* list = GetCurrMessage()->pMsgReg;
    for (const GUIOBJ* item = FirstObj(list); item != nullptr; item = NextObj(item, list)) {
        const GUIMESSAGE_REG* reg = static_cast<const GUIMESSAGE_REG*>(item->pObj);
        count += reg->iMsgCode == code;
        EXPECT_EQ(nullptr, reg->pOutArg);
        EXPECT_EQ(0, reg->iOutLength);
    }
    return count;
}

bool ScreenTest::Enabled(unsigned x, unsigned y) {
    const GUILIST* list = GetCurrWindow()->pWndComps;
    for (const GUIOBJ* item = FirstObj(list); item != nullptr; item = NextObj(item, list)) {
        const GUIVISIBLE* visible = static_cast<GUIVISIBLE*>(item->pObj);
        if (item->iType == GUICOMP_PICTURE && visible->Area.Start.x == x && visible->Area.Start.y == y)
            return visible->iEnable != 0;
    }
    ADD_FAILURE() << "no component at " << x << ", " << y;
    return false;
}

unsigned ScreenTest::Register(uint32_t address) const {
    return linked_->Hardware().Inside().fpga.Values()[address >> 1 & 0xFFFF];
}

std::string ScreenTest::Printed() {
    const std::string text = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    console_ += text;
    return text;
}

Picture Mosaic(const std::vector<Picture>& pictures, unsigned columns) {
    const unsigned width = pictures.front().width;
    const unsigned height = pictures.front().height;
    const unsigned rows = (static_cast<unsigned>(pictures.size()) + columns - 1) / columns;
    Picture whole = {width * columns, height * rows, {}};
    whole.rgb.resize(size_t{3} * whole.width * whole.height);
    for (size_t i = 0; i < pictures.size(); ++i)
        for (unsigned y = 0; y < height; ++y) {
            const size_t to = ((i / columns * height + y) * whole.width + i % columns * width) * 3;
            std::copy_n(pictures[i].rgb.begin() + size_t{y} * width * 3, width * 3, whole.rgb.begin() + to);
        }
    return whole;
}

}  // namespace test

// The linker's names of ExecMessageProc, and of what stands in its place.
extern "C" {
int __real__Z15ExecMessageProcPK15GUIMESSAGE_ITEMP10GUIMESSAGE(const GUIMESSAGE_ITEM*, GUIMESSAGE*);
int __wrap__Z15ExecMessageProcPK15GUIMESSAGE_ITEMP10GUIMESSAGE(const GUIMESSAGE_ITEM*, GUIMESSAGE*);
}

int __wrap__Z15ExecMessageProcPK15GUIMESSAGE_ITEMP10GUIMESSAGE(const GUIMESSAGE_ITEM* item,
                                                               GUIMESSAGE* messages) {
    const int result = __real__Z15ExecMessageProcPK15GUIMESSAGE_ITEMP10GUIMESSAGE(item, messages);
    test::failedHandlers += result == -3;
    return result;
}
