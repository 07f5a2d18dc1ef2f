// A powered instrument that shows one screen: the program as main() starts it, in the test process and in
// virtual time.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "device/Opm.h"
#include "screens/wnd_global.h"
#include "simulator/interpose/linked.h"
#include "simulator/interpose/screen_text.h"
#include "tests/support/golden_picture.h"

namespace test {

struct Area {
    unsigned x, y, width, height;
};
// The line at the bottom of the checks' screens, and the optical ones' frame for texts.
constexpr Area kInfoLine = {0, 450, 650, 30};
constexpr Area kOpticalFrame = {5, 30, 400, 400};

// A button by its caption, at its upper left corner.
struct Button {
    const char* name;
    unsigned x, y;
};

class ScreenTest : public testing::Test {
  protected:
    ScreenTest();
    ~ScreenTest() override;

    // A fresh instrument in place of this one, which is ended.
    void PowerOn();
    // Starts hardware, GUI and device threads, and shows the screen.
    void Start(const SCREEN_ENTRY& entry);
    void Run(unsigned milliseconds);
    // Ends the program in the order of main(); the instrument stays, to be looked at.
    void End();

    // Sets a bench quantity or a fault of the instrument.
    void Set(const std::string& name, const nlohmann::json& value);
    void Fault(const std::string& name, const nlohmann::json& value = true);

    void Press(int x, int y);
    void Release(unsigned milliseconds = 400);
    void Tap(int x, int y, unsigned milliseconds = 400);
    // Releases where no action waits for the button, and opens the screen anew.
    void ReleaseUnheard(const SCREEN_ENTRY& entry);
    void Key(const std::string& name, bool down);

    // Texts on the screen, "text" of each run from top to bottom; in an area when one is given.
    std::vector<std::string> Texts(Area area = {0, 0, 800, 480}) const;
    // The same as one: a text that wraps.
    std::string WrappedText(Area area) const;
    // Colour of the text, 0xFFFFFFFF when it is not shown.
    uint32_t ColorOf(const std::string& text) const;
    Picture Screenshot(Area area = {0, 0, 800, 480}) const;

    // Start corner of each component of the current window, in order: "x,y".
    static std::vector<std::string> Components();
    // Number of registrations of a message code.
    static int Registrations(int code);
    static bool Enabled(unsigned x, unsigned y);

    // What stands in a register of the FPGA, by its byte address.
    unsigned Register(uint32_t address) const;

    // What was printed since the last call.
    std::string Printed();

    std::unique_ptr<k905::LinkedInstrument> linked_;
    // Handlers of messages that are to tell of a failure: the window thread does not ask, and goes on.
    int failedHandlers_ = 0;

  private:
    void PowerOff();
    std::vector<k905::TextRun> Runs() const;

    std::vector<pthread_t> deviceThreads_;
    OPM_TUNING tuning_ = cOpmTunning;  // of the process, as it was before the test
    std::string console_;
    bool started_ = false;
};

// Pictures of one size side by side, so many a row, as one.
Picture Mosaic(const std::vector<Picture>& pictures, unsigned columns);

}  // namespace test
