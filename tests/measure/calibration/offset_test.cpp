// The fibre-length offset against the delay that the module really has.
#include <cstring>

#include "device/Opm.h"
#include "measure/fiber_offset.h"
#include "tests/measure/calibration/calibration_fixture.h"

namespace {

class Offset : public test::Calibration {
  protected:
    int Calibrate() {
        memset(text_, 0, sizeof(text_));
        return test::Quietly([this] { return CalExFiberLen(text_); });
    }
    char text_[128] = "";
};

}  // namespace

TEST_F(Offset, FiveMetreFibreGivesTheDelayOfEveryModule) {
    test::Errors errors("offset", "samples");
    for (unsigned seed = 0; seed < 4 * kModules; ++seed) {
        Plug(seed);
        Set("optics.fibre", "5 m");
        const int iOffset = Calibrate();
        ASSERT_STREQ("Adjust Success", text_) << seed << ": " << iOffset;
        EXPECT_EQ(iOffset, cOpmTunning.OffsetPoint);
        errors.Add(iOffset - Truth("offset_samples"));
    }
    EXPECT_LT(errors.Largest(), 12);
}

TEST_F(Offset, WithoutTheFibreOrALaserItFails) {
    for (unsigned seed = 0; seed < kModules; ++seed) {
        Plug(seed);
        for (const char* fibre : {"none", "1 km", "1.5 km"}) {
            Set("optics.fibre", fibre);
            EXPECT_EQ(0, Calibrate()) << seed << " " << fibre;
            EXPECT_STREQ("Adjust Error", text_) << seed << " " << fibre;
        }
        Set("optics.fibre", "5 m");
        Fault("optics.laser_off", true);
        EXPECT_EQ(0, Calibrate()) << seed;
        EXPECT_STREQ("Adjust Error", text_) << seed;
        Fault("optics.laser_off", false);
    }
}
