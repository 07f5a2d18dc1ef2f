// The adjustment loops: every good module comes to its targets, and the codes found are those of the module.
#include "measure/adjust.h"

#include <cmath>

#include "device/Opm.h"
#include "device/opm_status.h"
#include "simulator/models/optics_supply.h"
#include "tests/measure/calibration/calibration_fixture.h"

using AdjustLoops = test::Calibration;

TEST_F(AdjustLoops, SuppliesComeWithinTheirToleranceOnEveryModule) {
    test::Errors vdd("VDD", "V"), apd("APD", "V");
    for (unsigned seed = 0; seed < kModules; ++seed) {
        Plug(seed);
        ASSERT_EQ(0, test::Quietly([] { return OPMAdjustVdd(WAVE_LEN_1310); })) << seed;
        ASSERT_EQ(0, test::Quietly([] { return OPMAdjustAPD(WAVE_LEN_1310); })) << seed;
        for (int i = 0; i < 4; ++i)
            vdd.Add(k905::VddVolts(seed, OpmTuningResult.Vdd_Result[i].reg) -
                    static_cast<double>(VddObjValue[i]));
        for (int i = 0; i < 5; ++i)
            apd.Add(k905::ApdVolts(seed, OpmTuningResult.Apd_Result[i].reg) -
                    static_cast<double>(ApdObjValue[i]));
    }
    EXPECT_EQ(4 * kModules, vdd.Count());
    EXPECT_LT(vdd.Largest(), 0.05 + 0.004);  // the tolerance and the board's reading noise
    EXPECT_LT(apd.Largest(), 0.1 + 0.04);
}

TEST_F(AdjustLoops, AttenuatorsComeToTheirZeroAndLeaveAGoodDarkLevel) {
    test::Errors att0("ATT0", "codes"), att1("ATT1", "codes"), dark("dark level - 48913", "codes");
    for (unsigned seed = 0; seed < kModules; ++seed) {
        Plug(seed);
        ASSERT_EQ(0, test::Quietly([] { return OPMAdjustAtt0(WAVE_LEN_1310); })) << seed;
        ASSERT_EQ(0, test::Quietly([] { return OPMAdjustAtt1(WAVE_LEN_1310); })) << seed;
        att0.Add(OpmTuningResult.Att0_Result[0].reg - Truth("att0_zero_code"));
        att1.Add(OpmTuningResult.Att1_Result[0].reg - Truth("att1_zero_code"));
        dark.Add(static_cast<double>(BlackLevelVoltage) - 48913);
        EXPECT_GE(BlackLevelVoltage, 45000u) << seed;
        EXPECT_LE(BlackLevelVoltage, 65000u) << seed;
    }
    EXPECT_LT(att0.Largest(), 17.5);  // 0.01 V is 16.4 codes
    EXPECT_LT(att1.Largest(), 17.5);
}

TEST_F(AdjustLoops, WithoutTheBoardTheTriesRunOut) {
    Plug(1);
    Fault("board.reply_short", true);
    EXPECT_EQ(OPM_ERR_TRY_TIMEOUT, test::Quietly([] { return OPMFCTAdjustAtt0(WAVE_LEN_1310); }));
}
