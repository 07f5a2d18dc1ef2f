// The breakdown search and its fit over temperature against the photodiode's real breakdown.
#include <cmath>
#include <vector>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "measure/apd.h"
#include "tests/measure/calibration/calibration_fixture.h"

namespace {

class Breakdown : public test::Calibration {
  protected:
    static int Search(APD_BREAK_PARA& para) {
        return test::Quietly([&] { return GetBreakVoltage(&para); });
    }
    unsigned ApdCode() const {
        uint32_t uiCode = 0;
        EXPECT_EQ(0, read_opt_reg(opticFD, 0x30000014, &uiCode));
        return uiCode;
    }
};

}  // namespace

TEST_F(Breakdown, SearchEndsShortlyBelowOrAtTheBreakdownOfEveryModule) {
    test::Errors errors("breakdown at 25 degrees", "codes");
    for (unsigned seed = 0; seed < kModules; ++seed) {
        Plug(seed);
        APD_BREAK_PARA para = {};
        ASSERT_EQ(0, Search(para)) << seed;
        errors.Add(para.iVolt[0] - Truth("breakdown_code"));
        EXPECT_EQ(2048u, ApdCode());
    }
    EXPECT_LT(errors.Largest(), 32);
}

TEST_F(Breakdown, FitOverARampGivesTheModulesLine) {
    test::Errors slope("breakdown slope", "codes/degree"), intercept("breakdown at 0 degrees", "codes");
    test::Errors hot("fitted line at 55 deg.", "codes");
    for (unsigned seed = 0; seed < kModules; ++seed) {
        Plug(seed);
        APD_BREAK_PARA para = {};
        for (int i = 0; i < 18; ++i) {
            Set("module.temperature", 4 + 3 * i + 0.13 * (i % 5));
            Set("module.temperature_rate", 0.5);
            ASSERT_EQ(0, Search(para)) << seed;
        }
        float k = 0.0F;
        float b = 0.0F;
        test::Quietly([&] {
            GetApdCoefficient(&k, &b, &para);
            return 0;
        });
        EXPECT_THAT(operator_.Lines().back(), testing::EndsWith("GetApdCoefficient Success!")) << seed;
        const double truth = Truth("breakdown_codes_per_degree"), atZero = Truth("breakdown_code_at_zero");
        slope.Add(static_cast<double>(k) - truth);
        intercept.Add(static_cast<double>(b) - atZero);
        hot.Add(static_cast<double>(b) + 55 * static_cast<double>(k) - atZero - 55 * truth);
        EXPECT_EQ(static_cast<uint16_t>(b) - 15u, cOpmTunning.iApdVoltageSet[0]);
    }
    EXPECT_LT(slope.Largest(), 0.5);
    EXPECT_LT(intercept.Largest(), 20);
    EXPECT_LT(hot.Largest(), 20);
}

TEST_F(Breakdown, RunsOffTheTopWithLightOnTheLink) {
    for (const double dbm : {-10.0, -20.0}) {
        for (unsigned seed = 0; seed < 5; ++seed) {
            Plug(seed);
            Set("optics.light_on_link", dbm);
            APD_BREAK_PARA para = {};
            EXPECT_EQ(-1, Search(para)) << seed << " at " << dbm << " dBm: " << para.iVolt[0];
            EXPECT_EQ(2048u, ApdCode());
        }
    }
}

TEST_F(Breakdown, RunsOffTheTopWithADefectivePhotodiode) {
    Plug(3);
    Fault("optics.apd_defective", true);
    APD_BREAK_PARA para = {};
    EXPECT_EQ(-1, Search(para));
    EXPECT_EQ(0, para.iNum);
    Fault("optics.apd_defective", false);
    EXPECT_EQ(0, Search(para));
}

TEST_F(Breakdown, TimedTuningCollectsOneSampleADegreeUntilTheModuleIsHot) {
    Plug(7);
    Set("module.temperature", 30);
    Set("module.temperature_rate", 0.2);
    APD_BREAK_PARA para = {};
    test::Quietly([&] {
        APDTuning(&para, 1);
        return 0;
    });
    EXPECT_EQ("apd 1: APDTuning over!", operator_.Lines().back());
    EXPECT_GE(para.iNum, 16);
    for (int i = 0; i < para.iNum; ++i) {
        const double truth = Truth("breakdown_code_at_zero") +
                             Truth("breakdown_codes_per_degree") * static_cast<double>(para.fTemp[i]);
        EXPECT_NEAR(truth, para.iVolt[i], 32) << i;
    }
    EXPECT_GE(para.fTemp[para.iNum - 1], 55.0F);
    EXPECT_NEAR(Truth("breakdown_codes_per_degree"), static_cast<double>(cOpmTunning.fTempCoefficient[0]),
                1.0);
}
