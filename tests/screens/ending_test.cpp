// Whatever runs when the program ends, the module is left at rest and its driver closed.
#include "device/common_opt.h"
#include "screens/wnd_frmadjust.h"
#include "screens/wnd_frmapd_adjust.h"
#include "screens/wnd_frmmain.h"
#include "screens/wnd_frmmainboard_fct.h"
#include "screens/wnd_frmopm_fct.h"
#include "screens/wnd_frmoptcheck.h"
#include "tests/screens/screen_fixture.h"

namespace {

// What an operator starts, on a screen, with a touch; and how long it goes on, milliseconds.
struct Work {
    const char* name;
    const SCREEN_ENTRY* screen;
    bool connect;  // the measurement board first
    int x, y;
    unsigned lasts;
};

void PrintTo(const Work& work, std::ostream* out) {
    *out << work.name;
}

}  // namespace

class Ending : public test::ScreenTest, public testing::WithParamInterface<Work> {
  protected:
    void ExpectAtRest(unsigned after) const {
        EXPECT_EQ(0x0800u, Register(OPM_APD_REG)) << "after " << after << " ms";
        EXPECT_EQ(0x0810u, Register(OPM_VDD_REG)) << "after " << after << " ms";
        EXPECT_EQ(0x0040u, Register(OPM_CTRL1_REG)) << "after " << after << " ms";
        EXPECT_EQ(0x07F8u, Register(FPGA_CTRLOUT_REG)) << "after " << after << " ms";
        EXPECT_EQ(-1, opticFD);
    }
};

INSTANTIATE_TEST_SUITE_P(During, Ending,
                         testing::Values(Work{"Nothing", &FrmMain, false, 400, 400, 1000},
                                         Work{"VisibleLight", &FrmMainBoard, false, 580, 240, 1000},
                                         Work{"ApdLoop", &FrmAdjust, true, 620, 90, 4000},
                                         Work{"VddLoop", &FrmAdjust, true, 620, 150, 700},
                                         Work{"SignalChain", &FrmOPM, true, 620, 120, 20000},
                                         Work{"LightPath", &FrmOptcheck, false, 540, 90, 90000},
                                         Work{"Offset", &FrmOptcheck, false, 540, 250, 1500},
                                         Work{"ApdTuning", &FrmAPDAdj, false, 720, 120, 200000}),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(Ending, LeavesTheModuleAtRest) {
    constexpr unsigned kMoments = 8;
    for (unsigned i = 1; i <= kMoments; ++i) {
        if (i > 1)
            PowerOn();
        Start(*GetParam().screen);
        Set("optics.fibre", "1.5 km");
        if (GetParam().connect)
            Tap(470, 75, 2000);  // Connect, on either screen
        const unsigned after = GetParam().lasts * i / kMoments;
        Tap(GetParam().x, GetParam().y, after);
        End();
        ExpectAtRest(after);
    }
}
