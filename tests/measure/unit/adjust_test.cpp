#include <math.h>

#include "tests/measure/unit/measure_fixture.h"

using test::Printed;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using Adjust = test::MeasureTest;

namespace {
const char* const kVdd = "0x30000012";
const char* const kApd = "0x30000014";
const char* const kBias = "0x30000016";
const char* const kAtt0 = "0x3000000e";
const char* const kAtt1 = "0x30000010";
}  // namespace

// ---- Tables ----

TEST_F(Adjust, TargetsAndStartCodes) {
    EXPECT_THAT(VddObjValue, ElementsAre(3.0f, 2.5f, 2.0f, 1.5f));
    EXPECT_THAT(VddRegObjValue, ElementsAre(2064, 1712, 1376, 1056));
    EXPECT_THAT(ApdObjValue, ElementsAre(45.0f, 40.0f, 35.0f, 30.0f, 25.0f));
    EXPECT_THAT(ApdRegObjValue, ElementsAre(2499, 1979, 1465, 944, 432));
    EXPECT_EQ(1280, Att0RegObjValue);
    EXPECT_EQ(1024, Att1RegObjValue);
    EXPECT_THAT(ApdBiasRegObjValue[0], ElementsAre(1536, 0, 0, 0));
    for (int i = 1; i < 6; ++i)
        EXPECT_THAT(ApdBiasRegObjValue[i], ElementsAre(1536, 959, 965, 1024)) << i;
}

// ---- VDD ----

TEST_F(Adjust, VddTakesAReadingAtTheToleranceAndStepsFromOneBeyondIt) {
    Reply(ADC_CHANEL_TP15, 3.05f);
    Reply(ADC_CHANEL_TP15, 2.551f);  // 2.5: above, down by 16
    Reply(ADC_CHANEL_TP15, 2.449f);  // below, up by 3
    Reply(ADC_CHANEL_TP15, 2.45f);
    Reply(ADC_CHANEL_TP15, 2.0f);
    Reply(ADC_CHANEL_TP15, 1.5f);
    EXPECT_EQ(0, OPMAdjustVdd(WAVE_LEN_1550));
    EXPECT_THAT(Written(kVdd), ElementsAre(2064, 1712, 1696, 1699, 1376, 1056));
    EXPECT_EQ(1699, OpmTuningResult.Vdd_Result[1].reg);
    EXPECT_EQ(2.45f, OpmTuningResult.Vdd_Result[1].adc);
    EXPECT_EQ(1699, OpmRegValue[WAVE_LEN_1550].iVddValue[1]);
    EXPECT_EQ(0, OpmRegValue[WAVE_LEN_1310].iVddValue[1]);
    EXPECT_THAT(operator_.Lines(), ElementsAre("adjust data 2: AD Value :3.05000V, times800 reg:810",
                                               "adjust data 2: AD Value :2.55100V, times800 reg:6b0",
                                               "adjust data 2: AD Value :2.44900V, times799 reg:6a0",
                                               "adjust data 2: AD Value :2.45000V, times798 reg:6a3",
                                               "adjust data 2: AD Value :2.00000V, times800 reg:560",
                                               "adjust data 2: AD Value :1.50000V, times800 reg:420"));
}

TEST_F(Adjust, VddGoesOnAfterATargetItMissed) {
    OpmTuningResult.Vdd_Result[0] = {77, 7.0f};
    Reply(ADC_CHANEL_TP15, 9.0f, 801);
    Reply(ADC_CHANEL_TP15, 2.5f);
    Reply(ADC_CHANEL_TP15, 2.0f);
    Reply(ADC_CHANEL_TP15, 1.5f);
    EXPECT_EQ(0, OPMAdjustVdd(WAVE_LEN_1310));
    EXPECT_EQ(77, OpmTuningResult.Vdd_Result[0].reg);
    EXPECT_EQ(1712, OpmTuningResult.Vdd_Result[1].reg);
    // 2064, and 128 steps down to 16, the last code that is not stepped from.
    const std::vector<int> codes = Written(kVdd);
    EXPECT_EQ(16, codes.at(128));
    EXPECT_EQ(1712, codes.at(129));
}

TEST_F(Adjust, AVddTargetMetWithNoTriesLeftDoesNotCount) {
    Reply(ADC_CHANEL_TP15, 9.0f, 800);
    Reply(ADC_CHANEL_TP15, 3.0f);
    for (const float target : {2.5f, 2.0f, 1.5f})
        Reply(ADC_CHANEL_TP15, target);
    EXPECT_EQ(0, OPMAdjustVdd(WAVE_LEN_1310));
    EXPECT_EQ(0, OpmTuningResult.Vdd_Result[0].reg);
    EXPECT_TRUE(system_.replies.empty());
}

TEST_F(Adjust, VddKeepsACodeThatItMayNotWrite) {
    Reply(ADC_CHANEL_TP15, 0.0f, 801);
    for (const float target : {2.5f, 2.0f, 1.5f})
        Reply(ADC_CHANEL_TP15, target);
    EXPECT_EQ(0, OPMAdjustVdd(WAVE_LEN_1310));
    const std::vector<int> codes = Written(kVdd);
    EXPECT_EQ(4092, codes.at(676)) << "the last below 4093";
    EXPECT_EQ(1712, codes.at(677));
    EXPECT_THAT(operator_.Lines(), Contains(EndsWith("times0 reg:1170"))) << "2064 + 800 * 3";
}

TEST_F(Adjust, FailedReadingsOnlyUseUpTries) {
    Printed([&] { EXPECT_EQ(-8, OPMAdjustVdd(WAVE_LEN_1310)); });
    EXPECT_EQ(4u * 801, operator_.Lines().size());
    EXPECT_THAT(Written(kVdd), ElementsAre(2064, 1712, 1376, 1056));
}

TEST_F(Adjust, AReadingThatIsNoNumberStepsNothingAndUsesUpATry) {
    for (const float none : {NAN, INFINITY, -INFINITY}) {
        system_.Clear();
        Reply(ADC_CHANEL_TP15, none, 801);
        for (const float target : {2.5f, 2.0f, 1.5f})
            Reply(ADC_CHANEL_TP15, target);
        EXPECT_EQ(0, OPMAdjustVdd(WAVE_LEN_1310));
        EXPECT_THAT(Written(kVdd), ElementsAre(2064, 1712, 1376, 1056)) << none;

        Reply(ADC_CHANEL_T70, none, 201);
        EXPECT_EQ(-8, OPMAdjustAPD(0));
        EXPECT_THAT(Written(kApd), ElementsAre(2499)) << none;

        for (int i = 0; i < 1001; ++i) {
            Reply(ADC_CHANEL_TP1, 0.5f);
            Reply(ADC_CHANEL_TP3, none);
        }
        Printed([&] { EXPECT_EQ(-8, OPMAdjustAtt0(WAVE_LEN_1310)); });
        EXPECT_THAT(Written(kAtt0), ElementsAre(1280)) << none;
        EXPECT_TRUE(system_.replies.empty());
    }
}

TEST_F(Adjust, AnUnknownWavelengthTouchesNoHardware) {
    EXPECT_EQ(-1, OPMAdjustVdd(static_cast<OTDRWaveLen>(4)));
    EXPECT_EQ(-1, OPMAdjustAPD(4));
    EXPECT_EQ(-1, OPMAdjustAPD(-1));
    EXPECT_EQ("", system_.Trace());
}

TEST_F(Adjust, WavelengthThreeIsAdjustedWithoutARecord) {
    for (const float target : {3.0f, 2.5f, 2.0f, 1.5f})
        Reply(ADC_CHANEL_TP15, target);
    EXPECT_EQ(0, OPMAdjustVdd(WAVE_LEN_MAX));
    EXPECT_EQ(1056, OpmTuningResult.Vdd_Result[3].reg);
    for (const float target : {45.0f, 40.0f, 35.0f, 30.0f, 25.0f})
        Reply(ADC_CHANEL_T70, target);
    EXPECT_EQ(0, OPMAdjustAPD(WAVE_LEN_MAX));
    EXPECT_EQ(432, OpmTuningResult.Apd_Result[4].reg);
    const OPM_REG_VALUE none[WAVE_LEN_MAX] = {};
    EXPECT_EQ(0, memcmp(none, OpmRegValue, sizeof none));
}

TEST_F(Adjust, StopEndsEveryLoopWithoutAReading) {
    SetStopThreadFlag(0);
    EXPECT_EQ(0, OPMAdjustVdd(WAVE_LEN_1310));
    EXPECT_EQ(0, OPMAdjustAPD(0));
    EXPECT_EQ(0, OPMAdjustAtt0(WAVE_LEN_1310));
    EXPECT_EQ(0, OPMAdjustAtt1(WAVE_LEN_1310));
    EXPECT_EQ(1, OPMFCTAdjustAtt0(WAVE_LEN_1310));
    EXPECT_EQ(1, OPMFCTAdjustAtt1(WAVE_LEN_1310));
    EXPECT_EQ("", system_.Trace());
}

// ---- APD ----

TEST_F(Adjust, ApdStepsAndWaitsAfterEachStep) {
    Reply(ADC_CHANEL_T70, 45.101f);
    Reply(ADC_CHANEL_T70, 44.899f);
    Reply(ADC_CHANEL_T70, 45.1f);
    for (const float target : {40.0f, 35.0f, 30.0f, 25.0f})
        Reply(ADC_CHANEL_T70, target);
    EXPECT_EQ(0, OPMAdjustAPD(0));
    EXPECT_THAT(Written(kApd), ElementsAre(2499, 2478, 2483, 1979, 1465, 944, 432));
    EXPECT_EQ(2483, OpmTuningResult.Apd_Result[0].reg);
    EXPECT_EQ(432, OpmRegValue[0].iApdValue[4]);
    EXPECT_EQ(5, Count(system_.Trace("sleep"), "sleep 500\n"));
    EXPECT_EQ(2, Count(system_.Trace("sleep"), "sleep 100\n"));
}

TEST_F(Adjust, ApdGivesUpAtTheFirstTargetItMisses) {
    Reply(ADC_CHANEL_T70, 0.0f, 201);
    EXPECT_EQ(-8, OPMAdjustAPD(0));
    EXPECT_TRUE(system_.replies.empty());
    const std::vector<int> codes = Written(kApd);
    EXPECT_EQ(2499 + 201 * 5, codes.back());
    EXPECT_EQ(202u, codes.size());
}

// ---- ATT0, ATT1 ----

TEST_F(Adjust, Att0ClampsAtZeroThroughTheBiasRegister) {
    for (int i = 0; i < 81; ++i) {
        Reply(ADC_CHANEL_TP1, 0.5f);
        Reply(ADC_CHANEL_TP3, 1.0f);
    }
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP3, 0.01f);
    Printed([&] { EXPECT_EQ(0, OPMAdjustAtt0(WAVE_LEN_1310)); });
    const std::vector<int> codes = Written(kAtt0);
    EXPECT_EQ(1280, codes.front());
    EXPECT_EQ(16, codes.back());
    EXPECT_EQ(80u, codes.size());
    EXPECT_THAT(Written(kBias), ElementsAre(0, 0));
    EXPECT_EQ(0, OpmTuningResult.Att0_Result[0].reg);
    EXPECT_EQ(0.01f, OpmTuningResult.Att0_Result[0].adc);
    EXPECT_THAT(Written(kApd), ElementsAre(0)) << "the high voltage is off";
}

TEST_F(Adjust, Att0ClampsAtTheTopThroughTheBiasRegister) {
    for (int i = 0; i < 283; ++i) {
        Reply(ADC_CHANEL_TP1, 0.5f);
        Reply(ADC_CHANEL_TP3, -1.0f);
    }
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP3, 0.0f);
    Printed([&] { EXPECT_EQ(0, OPMAdjustAtt0(WAVE_LEN_1310)); });
    EXPECT_EQ(4090, Written(kAtt0).back());  // 1280 + 281 * 10
    EXPECT_THAT(Written(kBias), ElementsAre(4095, 4095));
    EXPECT_EQ(4095, OpmTuningResult.Att0_Result[0].reg);
}

TEST_F(Adjust, Att0ShowsItsProgress) {
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP3, 0.0f);
    Printed([&] { EXPECT_EQ(0, OPMAdjustAtt0(WAVE_LEN_1310)); });
    EXPECT_THAT(operator_.Lines(),
                ElementsAre("adjust data 3: finish fpga init", "adjust data 3: finish FPGA_CTRLOUT_REG",
                            "adjust data 3: AD Value :0.00000V, times1000 reg:500"));
}

TEST_F(Adjust, Att0TakesAThousandFurtherReadings) {
    for (int i = 0; i < 1001; ++i) {
        Reply(ADC_CHANEL_TP1, 0.5f);
        Reply(ADC_CHANEL_TP3, i % 2 == 0 ? 1.0f : -1.0f);
    }
    Printed([&] { EXPECT_EQ(-8, OPMAdjustAtt0(WAVE_LEN_1310)); });
    EXPECT_TRUE(system_.replies.empty());
    EXPECT_THAT(operator_.Lines().back(), HasSubstr("times0 "));
}

TEST_F(Adjust, Att1ShowsEachReadingLateAndWarnsOfTheDarkLevel) {
    OpmTuningResult.Att0_Result[0].reg = 1300;
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP4, 1.0f);
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP4, 0.0f);
    Samples(44999, 0);
    EXPECT_THAT(Printed([&] { EXPECT_EQ(0, OPMAdjustAtt1(WAVE_LEN_1310)); }),
                EndsWith("adcValue1 = 0.500000,BlackLevel= 44999 is out of range!"));
    EXPECT_THAT(Written(kAtt1), ElementsAre(1024, 1008));
    EXPECT_THAT(Written(kAtt0), ElementsAre(1300));
    EXPECT_EQ(44999u, BlackLevelVoltage);
    const std::vector<std::string>& lines = operator_.Lines();
    ASSERT_EQ(5u, lines.size());
    EXPECT_EQ("adjust data 4: AD Value :1.00000V, times1000 reg:400", lines[3]) << "at the second reading";
    EXPECT_EQ("adjust data 4: adcValue1 = 0.500000,BlackLevel= 44999 is out of range!", lines[4]);
    EXPECT_THAT(system_.Trace(), EndsWith("sleep 2000\n"));
}

TEST_F(Adjust, ADarkLevelInItsWindowIsNotTold) {
    for (const int level : {45000, 65000}) {
        operator_.Clear();
        Reply(ADC_CHANEL_TP1, 0.5f);
        Reply(ADC_CHANEL_TP4, 0.0f);
        Samples(level, 0);
        Printed([&] { EXPECT_EQ(0, OPMAdjustAtt1(WAVE_LEN_1310)); });
        EXPECT_EQ(3u, operator_.Lines().size()) << level;
    }
}

TEST_F(Adjust, FctLoopsShowAndStoreNothing) {
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP3, 0.005f);
    Printed([&] { EXPECT_EQ(1, OPMFCTAdjustAtt0(WAVE_LEN_1310)); });
    for (int i = 0; i < 101; ++i) {
        Reply(ADC_CHANEL_TP1, 0.5f);
        Reply(ADC_CHANEL_TP4, 0.5f);
    }
    Printed([&] { EXPECT_EQ(-8, OPMFCTAdjustAtt1(WAVE_LEN_1310)); });
    EXPECT_TRUE(system_.replies.empty());
    EXPECT_THAT(operator_.Lines(), IsEmpty());
    EXPECT_EQ(0, OpmTuningResult.Att0_Result[0].reg);
    EXPECT_EQ(0, OpmTuningResult.Att1_Result[0].reg);
}

// ---- Set-up ----

TEST_F(Adjust, EachOffsetLoopSetsUpInItsOrder) {
    const std::string att0 =
        "reg write 0x30000014 0x0000\nreg write 0x3000000a 0x6000\nsleep 10\n"
        "reg write 0x3000000c 0x0040\nsleep 10\nreg write 0x3000000e 0x0500\nsleep 1\n";
    const std::string att1 =
        "reg write 0x3000000a 0x6000\nsleep 1\nreg write 0x3000000c 0x0040\nsleep 1\n"
        "reg write 0x30000010 0x0400\nsleep 1\nreg write 0x3000000e 0x0514\nsleep 1\n";
    const std::string adjust = "sleep 1000\nreg write 0x30000002 0x07f8\nsleep 1\nsleep 1000\n";
    const std::string fct = "sleep 1000\nreg write 0x30000002 0x07f8\nsleep 100\n";
    const struct {
        const char* what;
        int32_t (*fnAdjust)(OTDRWaveLen wave);
        AdcChanel channel;
        bool loadsFpga;
        std::string setup;
    } cases[] = {
        {"ATT0", OPMAdjustAtt0, ADC_CHANEL_TP3, true, adjust + att0},
        {"ATT1", OPMAdjustAtt1, ADC_CHANEL_TP4, false, adjust + att1},
        {"FCT ATT0", OPMFCTAdjustAtt0, ADC_CHANEL_TP3, true, fct + att0},
        {"FCT ATT1", OPMFCTAdjustAtt1, ADC_CHANEL_TP4, true, fct + att1},
    };
    const char* const fpga = "/root/app/fct.bit";
    strcpy(cFpgaFileName, fpga);
    system_.files[fpga] = "bitstream";
    Samples(50000, 0);
    for (const auto& one : cases) {
        OpmTuningResult.Att0_Result[0].reg = 1300;
        system_.Clear();
        system_.fpga.clear();
        Reply(ADC_CHANEL_TP1, 0.5f);
        Reply(one.channel, 0.0f);
        Printed([&] { one.fnAdjust(WAVE_LEN_1310); });
        EXPECT_EQ(one.loadsFpga ? "bitstream" : "", system_.fpga) << one.what;
        const std::string trace = system_.Trace();
        const size_t reading = trace.find("write ttyS0");
        ASSERT_NE(std::string::npos, reading) << one.what;
        // Behind the load, which has sleeps of its own.
        const size_t load = one.loadsFpga ? trace.rfind("close fpga0\n") + strlen("close fpga0\n") : 0;
        EXPECT_EQ(one.setup, trace.substr(load, trace.rfind('\n', reading) + 1 - load)) << one.what;
    }
}

// ---- Tolerances, steps and tries ----

TEST_F(Adjust, AnOffsetWithinAHundredthIsZero) {
    const struct {
        float volts;
        int next;  // code, 0 when the search has ended
    } cases[] = {{0.01f, 0}, {0.0101f, 1280 - 16}, {-0.01f, 0}, {-0.0101f, 1280 + 10}};
    for (const auto& one : cases) {
        system_.Clear();
        system_.replies.clear();
        for (const float volts : {one.volts, 0.0f}) {
            Reply(ADC_CHANEL_TP1, 0.5f);
            Reply(ADC_CHANEL_TP3, volts);
        }
        Printed([&] { EXPECT_EQ(0, OPMAdjustAtt0(WAVE_LEN_1310)); });
        EXPECT_EQ(one.next != 0 ? one.next : 1280, Written(kAtt0).back()) << one.volts;
        EXPECT_EQ(one.next != 0 ? 1280u + (one.volts > 0 ? -16 : 10) : 1280u,
                  OpmTuningResult.Att0_Result[0].reg);
    }
}

TEST_F(Adjust, ApdStepsDownFromACodeAboveTwentyOneOnly) {
    // 40 V starts at 1979: 16 steps up and 97 down lead to 22, one more to 1.
    Reply(ADC_CHANEL_T70, 45.0f);
    Reply(ADC_CHANEL_T70, 0.0f, 16);
    Reply(ADC_CHANEL_T70, 99.0f, 98);
    Reply(ADC_CHANEL_T70, 40.0f);
    // 35 V starts at 1465: 69 steps down and one up lead to 21, where it stays.
    Reply(ADC_CHANEL_T70, 99.0f, 69);
    Reply(ADC_CHANEL_T70, 0.0f);
    Reply(ADC_CHANEL_T70, 99.0f, 2);
    Reply(ADC_CHANEL_T70, 35.0f);
    Reply(ADC_CHANEL_T70, 30.0f);
    Reply(ADC_CHANEL_T70, 25.0f);
    EXPECT_EQ(0, OPMAdjustAPD(0));
    EXPECT_EQ(1, OpmTuningResult.Apd_Result[1].reg);
    EXPECT_EQ(21, OpmTuningResult.Apd_Result[2].reg);
    EXPECT_EQ(5u + 16 + 98 + 70, Written(kApd).size());
    EXPECT_EQ(16 + 98 + 72, Count(system_.Trace("sleep"), "sleep 100\n")) << "also after a step not taken";
}

TEST_F(Adjust, AFailedApdReadingCountsATryWithoutAPause) {
    Printed([&] { EXPECT_EQ(-8, OPMAdjustAPD(0)); });
    EXPECT_EQ(201u, operator_.Lines().size());
    EXPECT_THAT(Written(kApd), ElementsAre(2499));
    EXPECT_EQ(0, Count(system_.Trace("sleep"), "sleep 100\n"));
    EXPECT_EQ(1, Count(system_.Trace("sleep"), "sleep 500\n"));
}

TEST_F(Adjust, AnApdFailureKeepsTheTargetsBefore) {
    OpmTuningResult.Apd_Result[2] = {77, 7.0f};
    Reply(ADC_CHANEL_T70, 45.0f);
    Reply(ADC_CHANEL_T70, 40.0f);
    Reply(ADC_CHANEL_T70, 99.0f, 201);
    EXPECT_EQ(-8, OPMAdjustAPD(1));
    EXPECT_EQ(1979, OpmTuningResult.Apd_Result[1].reg);
    EXPECT_EQ(1979, OpmRegValue[1].iApdValue[1]);
    EXPECT_EQ(77, OpmTuningResult.Apd_Result[2].reg);
    EXPECT_EQ(0, OpmRegValue[1].iApdValue[2]);
    EXPECT_EQ(3u + 69, Written(kApd).size()) << "1465 is followed down to 16";
}

// ---- Dark level ----

TEST_F(Adjust, TheEndOfTheProgramLeavesTheDarkLevelUnjudged) {
    BlackLevelVoltage = 4711;
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP4, 0.0f);
    Samples(44999, 0);
    EndProgramAt(1);
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(0, OPMAdjustAtt1(WAVE_LEN_1310)); }));
    EXPECT_EQ(4711u, BlackLevelVoltage);
    EXPECT_EQ(3u, operator_.Lines().size());
    EXPECT_EQ(0, Count(system_.Trace(), "sleep 2000\n"));
}

TEST_F(Adjust, ADarkLevelThatIsNeverThereIsToldWithoutAFigure) {
    BlackLevelVoltage = 4711;
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP4, 0.0f);
    system_.fixed[0x2e / 2] = 0;
    const char* const warning = "adcValue1 = 0.500000,BlackLevel not measured, acquisition time out!";
    EXPECT_EQ(warning, Printed([&] { EXPECT_EQ(0, OPMAdjustAtt1(WAVE_LEN_1310)); }));
    EXPECT_EQ(NO_BLACK_LEVEL, BlackLevelVoltage);
    EXPECT_EQ(1024, OpmTuningResult.Att1_Result[0].reg);
    EXPECT_EQ(std::string("adjust data 4: ") + warning, operator_.Lines().back());
    EXPECT_THAT(system_.Trace(), EndsWith("reg write 0x3000002e 0x0000\nsleep 1\nsleep 2000\n"));
}

TEST_F(Adjust, AStopLeavesTheDarkLevelUnjudged) {
    BlackLevelVoltage = 4711;
    Reply(ADC_CHANEL_TP1, 0.5f);
    Reply(ADC_CHANEL_TP4, 0.0f);
    system_.fixed[0x2e / 2] = 0;
    calls_.onStatus = [] { SetStopThreadFlag(0); };
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(0, OPMAdjustAtt1(WAVE_LEN_1310)); }));
    EXPECT_EQ(4711u, BlackLevelVoltage);
    EXPECT_EQ(3u, operator_.Lines().size());
}
