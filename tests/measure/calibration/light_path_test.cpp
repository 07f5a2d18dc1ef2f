// The light-path check: good modules with a fibre pass, and each thing that is wrong fails for its own
// reason.
#include <string>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "measure/acquisition.h"
#include "measure/apd.h"
#include "tests/measure/calibration/calibration_fixture.h"

namespace {

class LightPath : public test::Calibration {
  protected:
    // Runs the check and keeps the mean figure that it printed, 0 where it did not come so far.
    int32_t Check(OTDRWaveLen waveLen) {
        testing::internal::CaptureStdout();
        const int32_t iResult = LightRoadJust(waveLen);
        const std::string output = testing::internal::GetCapturedStdout();
        const std::size_t at = output.rfind("\nfMean = ");
        figure_ = at == std::string::npos ? 0 : std::stod(output.substr(at + 9));
        return iResult;
    }
    double figure_ = 0;
};

}  // namespace

TEST_F(LightPath, GoodModulesPassOnBothWavelengths) {
    test::Errors figure1310("figure at 1310 nm", "5 log10"), figure1550("figure at 1550 nm", "5 log10");
    for (unsigned seed = 0; seed < kModules; ++seed) {
        Plug(seed);
        Set("optics.fibre", "1.5 km");
        EXPECT_EQ(1, Check(WAVE_LEN_1310)) << seed << ": " << figure_;
        figure1310.Add(figure_);
        EXPECT_EQ(1, Check(WAVE_LEN_1550)) << seed << ": " << figure_;
        figure1550.Add(figure_);
    }
    EXPECT_GE(figure1310.Least(), 6.0);
    EXPECT_GE(figure1550.Least(), 5.0);
    EXPECT_GT(figure1310.Mean(), figure1550.Mean());  // shorter waves scatter more
}

TEST_F(LightPath, OneKilometreIsEnoughAndFiveMetresOrNoneAreNot) {
    Plug(11);
    const struct {
        const char* fibre;
        int32_t result;
    } cases[] = {{"1 km", 1}, {"5 m", -1}, {"none", -1}};
    for (const auto& entry : cases) {
        Set("optics.fibre", entry.fibre);
        EXPECT_EQ(entry.result, Check(WAVE_LEN_1310)) << entry.fibre << ": " << figure_;
        EXPECT_EQ(entry.result, Check(WAVE_LEN_1550)) << entry.fibre << ": " << figure_;
    }
}

TEST_F(LightPath, BadConnectorAndDarkLaserAreFound) {
    for (unsigned seed = 0; seed < 5; ++seed) {
        Plug(seed);
        Set("optics.fibre", "1.5 km");
        for (const char* fault : {"optics.bad_connector", "optics.laser_off"}) {
            Fault(fault, true);
            EXPECT_EQ(-1, Check(WAVE_LEN_1310)) << seed << " " << fault << ": " << figure_;
            EXPECT_EQ(-1, Check(WAVE_LEN_1550)) << seed << " " << fault << ": " << figure_;
            Fault(fault, false);
        }
        EXPECT_EQ(1, Check(WAVE_LEN_1310)) << seed << ": " << figure_;
    }
}

TEST_F(LightPath, LightOnTheLinkAndADefectivePhotodiodeRunOffTheTop) {
    for (unsigned seed = 0; seed < 5; ++seed) {
        Plug(seed);
        Set("optics.fibre", "1.5 km");
        Set("optics.light_on_link", true);
        EXPECT_EQ(-2, Check(WAVE_LEN_1310)) << seed;
        Set("optics.light_on_link", false);
        Fault("optics.apd_defective", true);
        EXPECT_EQ(-2, Check(WAVE_LEN_1550)) << seed;
        Fault("optics.apd_defective", false);
    }
}

TEST_F(LightPath, AnsweringFromColdToHot) {
    for (const int temperature : {0, 55}) {
        for (unsigned seed = 0; seed < 10; ++seed) {
            Plug(seed);
            Set("module.temperature", temperature);
            Set("optics.fibre", "1.5 km");
            EXPECT_EQ(1, Check(WAVE_LEN_1310)) << seed << " at " << temperature << ": " << figure_;
        }
    }
}
