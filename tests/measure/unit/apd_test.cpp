#include "tests/measure/unit/measure_fixture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {
const char* const kApd = "0x30000014";
}

class Apd : public test::MeasureTest {
  protected:
    // iCount samples on the line 3000 + 4 codes a degree, around zero degrees.
    static APD_BREAK_PARA Flat(int count) {
        APD_BREAK_PARA para = {};
        for (int i = 0; i < count; ++i) {
            para.fTemp[i] = static_cast<float>(i) - static_cast<float>(count - 1) / 2;
            para.iVolt[i] = 3000;
        }
        para.iNum = count;
        return para;
    }
    std::string Fit(APD_BREAK_PARA& para) {
        return test::Printed([&] { GetApdCoefficient(&k_, &b_, &para); });
    }
    bool Saved() const { return !system_.Trace("write optic0").empty(); }
    float k_ = -1, b_ = -1;
};

// ---- Settings ----

TEST_F(Apd, SettingsLieBelowTheBreakdown) {
    test::Printed([] { ChangeOpmTunning(1700, 25.5f, 4.25f); });
    EXPECT_THAT(cOpmTunning.iApdVoltageSet, ElementsAre(1685, 1655, 1555, 1245, 100, 0));
    EXPECT_THAT(cOpmTunning.fTempCoefficient, testing::Each(4.25f));
    EXPECT_EQ(25.5f, cOpmTunning.iTemperatureSet);
}

TEST_F(Apd, ABreakdownBelow1600IsRefused) {
    const OPM_TUNING before = cOpmTunning;
    EXPECT_EQ("BreakVoltage is too small\xa3\xacSet Apd Failed! \r\n ",
              test::Printed([] { ChangeOpmTunning(1599, 1, 1); }));
    EXPECT_EQ(0, memcmp(&before, &cOpmTunning, sizeof before));
    test::Printed([] { ChangeOpmTunning(1600, 0, 1); });
    EXPECT_EQ(0u, cOpmTunning.iApdVoltageSet[4]);
}

// ---- Fit ----

TEST_F(Apd, NineSamplesAreNotFitted) {
    APD_BREAK_PARA para = Flat(9);
    EXPECT_EQ("Num = 9, GetApdCoefficient Failed!\r\n", Fit(para));
    EXPECT_THAT(operator_.Lines(), ElementsAre("apd 1: Num = 9, GetApdCoefficient Failed!"));
    EXPECT_FALSE(Saved());
    EXPECT_EQ(-1, k_);
}

TEST_F(Apd, TenSamplesFailButAreSaved) {
    APD_BREAK_PARA para = Flat(10);
    EXPECT_THAT(Fit(para), HasSubstr("TempNum = 10, DelNum = 0, GetApdCoefficient Failed!\r\n"));
    EXPECT_TRUE(Saved());
    EXPECT_EQ(2985u, cOpmTunning.iApdVoltageSet[0]);
    EXPECT_THAT(operator_.Lines().back(),
                EndsWith("b = 3000.000000,  SaveOpmTunning Over!  GetApdCoefficient Failed!"));
}

TEST_F(Apd, SixteenSamplesSucceed) {
    APD_BREAK_PARA para = Flat(16);
    const std::string printed = Fit(para);
    EXPECT_THAT(printed, EndsWith("k = 0.000000, b = 3000.000000\n---------free pApd_Para-----------"));
    EXPECT_THAT(operator_.Lines(),
                ElementsAre("apd 1: TempNum = 16, DelNum = 0 , k = 0.000000, b = 3000.000000,  "
                            "SaveOpmTunning Over!   GetApdCoefficient Success!"));
    EXPECT_EQ(0.0f, cOpmTunning.iTemperatureSet);
    APD_BREAK_PARA fifteen = Flat(15);
    EXPECT_THAT(Fit(fifteen), Not(HasSubstr("free pApd_Para")));
}

TEST_F(Apd, ASampleEightCodesOffIsDeleted) {
    // Two samples 9 codes above eighteen: the line runs through 3001, they lie 8.0 above it.
    APD_BREAK_PARA para = Flat(18);
    para.iVolt[4] = para.iVolt[13] = 3009;
    EXPECT_THAT(Fit(para), HasSubstr("max_delta = -8.000000 \r\n"));
    EXPECT_EQ(3000.0f, b_);
    EXPECT_THAT(operator_.Lines().back(), HasSubstr("TempNum = 18, DelNum = 2 "));
    EXPECT_EQ(18, para.iNum) << "the caller keeps its samples";
}

TEST_F(Apd, ASampleSlightlyLessThanEightCodesOffIsKept) {
    APD_BREAK_PARA para = Flat(40);  // line through 3000.2125
    para.iVolt[19] = 3008;
    EXPECT_THAT(Fit(para), HasSubstr("max_delta = -7.7995"));
    EXPECT_THAT(operator_.Lines().back(), HasSubstr("DelNum = 0 "));
}

TEST_F(Apd, FourteenDeletionsAreAFailureThatIsSaved) {
    APD_BREAK_PARA para = Flat(40);
    for (int i = 0; i < 40; ++i)
        para.iVolt[i] = static_cast<uint16_t>(2000 + i * 977 % 1500);
    EXPECT_THAT(Fit(para), HasSubstr("TempNum = 40, DelNum = 14, GetApdCoefficient Failed!\r\n"));
    EXPECT_TRUE(Saved());
}

TEST_F(Apd, AnInterceptBelowZeroChangesNothing) {
    APD_BREAK_PARA para = {};
    para.iNum = 16;
    for (int i = 0; i < 16; ++i) {
        para.fTemp[i] = static_cast<float>(20 + i);
        para.iVolt[i] = static_cast<uint16_t>(100 * i);  // -2000 at zero degrees
    }
    const OPM_TUNING before = cOpmTunning;
    EXPECT_THAT(Fit(para), HasSubstr("BreakVoltage is too small"));
    EXPECT_EQ(0, memcmp(&before, &cOpmTunning, sizeof before));
    EXPECT_TRUE(Saved()) << "as it was";
}

// ---- Breakdown search ----

TEST_F(Apd, ARampThatNeverBreaksDownEndsAtTheSafeCode) {
    Samples(60000, 0);
    APD_BREAK_PARA para = {};
    test::Printed([&] { EXPECT_EQ(-1, GetBreakVoltage(&para)); });
    EXPECT_EQ(0, para.iNum);
    const std::vector<int> codes = Written(kApd);
    EXPECT_EQ(1661, codes.front()) << "25 degrees: 125 + 1536";
    EXPECT_EQ(2048, codes.back());
    EXPECT_EQ(1661 + 16 * 138, codes.at(codes.size() - 2)) << "the last code up to 3872";
}

TEST_F(Apd, ABreakdownIsRecordedAtItsCode) {
    Samples(60000, 10);
    APD_BREAK_PARA para = {};
    int steps = 0;
    operator_.onLine = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") == 0 && ++steps == 3)
            Samples(60000, 100);
    };
    const std::string printed = test::Printed([&] { EXPECT_EQ(0, GetBreakVoltage(&para)); });
    ASSERT_EQ(1, para.iNum);
    // Three steps up, then the noise is seen at 1709 and the code stays.
    EXPECT_EQ(1661 + 3 * 16, para.iVolt[0]);
    EXPECT_EQ(25.0f, para.fTemp[0]);
    EXPECT_EQ(2048, Written(kApd).back());
    EXPECT_THAT(printed, EndsWith("GetBreakVoltage Success!"));
    EXPECT_THAT(printed, HasSubstr("01: ApdBreakVoltage = 0x6ad ,fTempValue = 25.000000\r\n  "));
    EXPECT_THAT(operator_.Lines(), Contains("apd 2: 01: ApdBreakVoltage = 0x6ad ,fTempValue = 25.000000"));
}

TEST_F(Apd, ABreakdownSeenBelowThirtyIsRecordedOneStepHigher) {
    Samples(60000, 2);
    APD_BREAK_PARA para = {};
    int steps = 0;
    operator_.onLine = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") == 0 && ++steps == 3)
            Samples(60000, 20);
    };
    test::Printed([&] { EXPECT_EQ(0, GetBreakVoltage(&para)); });
    EXPECT_EQ(1661 + 4 * 16, para.iVolt[0]) << "measured at 1709";
}

TEST_F(Apd, TooMuchNoiseStepsBackByFour) {
    Samples(60000, 10);
    APD_BREAK_PARA para = {};
    int steps = 0;
    operator_.onLine = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") != 0)
            return;
        ++steps;
        if (steps == 1)
            Samples(60000, 2000);
        if (steps == 2)
            Samples(60000, 100);
    };
    test::Printed([&] { EXPECT_EQ(0, GetBreakVoltage(&para)); });
    EXPECT_EQ(1661 + 16 - 4, para.iVolt[0]);
}

TEST_F(Apd, SamplesStaySortedByTemperature) {
    APD_BREAK_PARA para = {};
    for (const int degrees : {30, 20, 25}) {
        system_.milliDegrees = degrees * 1000;
        Samples(60000, 10);
        operator_.onLine = [&](const std::string& line) {
            if (line.find("apd 1: Apd:") == 0)
                Samples(60000, 100);
        };
        test::Printed([&] { EXPECT_EQ(0, GetBreakVoltage(&para)); });
    }
    ASSERT_EQ(3, para.iNum);
    EXPECT_EQ(20.0f, para.fTemp[0]);
    EXPECT_EQ(25.0f, para.fTemp[1]);
    EXPECT_EQ(30.0f, para.fTemp[2]);
    EXPECT_LT(para.iVolt[0], para.iVolt[1]);
    EXPECT_LT(para.iVolt[1], para.iVolt[2]);
}

TEST_F(Apd, TheAttenuatorSearchEndsAtItsLimits) {
    APD_BREAK_PARA para = {};
    iATT0 = 4070;
    Samples(64000, 0);
    test::Printed([&] { GetBreakVoltage(&para); });
    EXPECT_EQ(4080u, iATT0);
    iATT0 = 20;
    Samples(50000, 0);
    test::Printed([&] { GetBreakVoltage(&para); });
    EXPECT_EQ(16u, iATT0);
    iATT0 = 5;
    test::Printed([&] { GetBreakVoltage(&para); });
    EXPECT_EQ(4080u, iATT0) << "below zero";
    iATT0 = 5000;
    Samples(60000, 0);
    test::Printed([&] { GetBreakVoltage(&para); });
    EXPECT_EQ(4080u, iATT0) << "also with a good level";
}

TEST_F(Apd, AStoppedSearchLeavesTheSafeCode) {
    Samples(60000, 0);
    APD_BREAK_PARA para = {};
    SetAPDAdjStopFlag(0);
    test::Printed([&] { EXPECT_EQ(-1, GetBreakVoltage(&para)); });
    EXPECT_EQ(2048, Written(kApd).back());
    SetAPDAdjStopFlag(1);
    operator_.onLine = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") == 0)
            SetAPDAdjStopFlag(0);
    };
    test::Printed([&] { EXPECT_EQ(-1, GetBreakVoltage(&para)); });
    EXPECT_EQ(2048, Written(kApd).back());
    EXPECT_EQ(0, para.iNum);
}

TEST_F(Apd, AFullRecordTakesNoSample) {
    Samples(60000, 10);
    APD_BREAK_PARA para = {};
    para.iNum = APD_BREAK_MAX;
    EXPECT_EQ(-1, GetBreakVoltage(&para));
    EXPECT_EQ(-1, GetBreakVoltage(nullptr));
    EXPECT_EQ("", system_.Trace("reg"));
}

// ---- Tuning ----

TEST_F(Apd, AFailedTrialIsToldAndEndsTheTuning) {
    Samples(60000, 0);
    APD_BREAK_PARA para = {};
    para.iNum = 7;
    EXPECT_THAT(test::Printed([&] { APDTuning(&para, 60); }), StartsWith("start apd tuning"));
    EXPECT_EQ(0, para.iNum);
    EXPECT_EQ("apd 1: APD Tuning Start Failed! ret = -1", operator_.Lines().back());
}

TEST_F(Apd, TuningTakesASampleADegreeAndEndsAtFiftyFive) {
    APD_BREAK_PARA para = {};
    int degrees = 50;
    system_.milliDegrees = degrees * 1000;
    Samples(60000, 10);
    operator_.onLine = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") == 0)
            Samples(60000, 100);
        if (line.find("apd 2: 0") == 0)  // a sample taken
            Samples(60000, 10);
        if (line.find("apd 2: TunNum") == 0)  // waited: it has become warmer
            system_.milliDegrees = ++degrees * 1000;
    };
    const std::string printed = test::Printed([&] { APDTuning(&para, 2); });
    EXPECT_EQ(6, para.iNum) << "50 to 55 degrees";
    EXPECT_THAT(printed, EndsWith("TunNum = 6, DelayNum = 0, APDTuning over!\r\n"));
    EXPECT_EQ("apd 1: APDTuning over!", operator_.Lines().back());
    EXPECT_THAT(operator_.Lines(), Contains("apd 2: DelayTime = 2 min, CurTime = 1 min"));
    EXPECT_THAT(operator_.Lines(), Contains("apd 1: APD Tuning Start Success! "));
    EXPECT_THAT(operator_.Lines(), Contains("apd trace: curve"));
    EXPECT_THAT(operator_.Lines(), Contains("apd 2: TunNum = 1, DelayNum = 1"));
}

TEST_F(Apd, TuningGivesUpWhenTheTemperatureCannotBeRead) {
    APD_BREAK_PARA para = {};
    Samples(60000, 10);
    operator_.onLine = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") == 0)
            Samples(60000, 100);
        if (line.find("apd 1: APD Tuning Start Success") == 0)
            system_.Fail("temperature", 5);
    };
    test::Printed([&] { APDTuning(&para, 0); });
    EXPECT_EQ("apd 1: tmpCount = 21", operator_.Lines().back());
}

TEST_F(Apd, AStopDuringTheWarmUpEndsTheTuning) {
    APD_BREAK_PARA para = {};
    Samples(60000, 10);
    operator_.onLine = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") == 0)
            Samples(60000, 100);
        if (line.find("apd 2: DelayTime = 60 min, CurTime = 3 min") == 0)
            SetAPDAdjStopFlag(0);
    };
    test::Printed([&] { APDTuning(&para, 60); });
    EXPECT_EQ("apd 2: DelayTime = 60 min, CurTime = 3 min", operator_.Lines().back());
}

// ---- Light path ----

TEST_F(Apd, ALightPathWithoutABreakdownSaysSo) {
    Samples(60000, 0);
    std::string printed = test::Printed([] { EXPECT_EQ(-2, LightRoadJust(WAVE_LEN_1310)); });
    EXPECT_THAT(printed, HasSubstr("\xb9\xe2!!!!!!!!!!!!!\n"));
    EXPECT_THAT(printed, Not(HasSubstr("!!!!!!!!!!!!!!")));
    const std::vector<int> codes = Written(kApd);
    EXPECT_THAT(std::vector<int>(codes.begin(), codes.begin() + 3), ElementsAre(0, 432, 0xA43 + 16));
    EXPECT_EQ(2048, codes.back());
    EXPECT_THAT(Written("0x3000000c").front(), 0x111);
}

TEST_F(Apd, ALightPathOutOfTheAttenuatorsRangeIsBad) {
    Samples(40000, 0);
    const std::string printed = test::Printed([] { EXPECT_EQ(-1, LightRoadJust(WAVE_LEN_1550)); });
    EXPECT_THAT(printed, HasSubstr("GetSignalParameter ERROR! ATT0 = 10, blacklevel = 40000\n"));
    EXPECT_THAT(Written("0x3000000c").front(), 0x151);
}

TEST_F(Apd, AStoppedLightPathTouchesNothing) {
    SetStopThreadFlag(0);
    EXPECT_EQ(0, LightRoadJust(WAVE_LEN_1310));
    EXPECT_EQ("", system_.Trace());
}
