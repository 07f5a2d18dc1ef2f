// The line through the samples, and the settings it gives.
#include "tests/measure/unit/measure_fixture.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

class ApdFit : public test::MeasureTest {
  protected:
    // Samples of code 3000 a degree apart, around zero degrees.
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

TEST_F(ApdFit, SettingsLieBelowTheBreakdown) {
    test::Printed([] { ChangeOpmTunning(1700, 25.5f, 4.25f); });
    EXPECT_THAT(cOpmTunning.iApdVoltageSet, ElementsAre(1685, 1655, 1555, 1245, 100, 0));
    EXPECT_THAT(cOpmTunning.fTempCoefficient, testing::Each(4.25f));
    EXPECT_EQ(25.5f, cOpmTunning.iTemperatureSet);
}

TEST_F(ApdFit, ABreakdownBelow1600IsRefused) {
    const OPM_TUNING before = cOpmTunning;
    EXPECT_EQ("BreakVoltage is too small\xa3\xacSet Apd Failed! \r\n ",
              test::Printed([] { ChangeOpmTunning(1599, 1, 1); }));
    EXPECT_EQ(0, memcmp(&before, &cOpmTunning, sizeof before));
    test::Printed([] { ChangeOpmTunning(1600, 0, 1); });
    EXPECT_EQ(0u, cOpmTunning.iApdVoltageSet[4]);
}

// ---- Fit ----

TEST_F(ApdFit, NineSamplesAreNotFitted) {
    APD_BREAK_PARA para = Flat(9);
    EXPECT_EQ("Num = 9, GetApdCoefficient Failed!\r\n", Fit(para));
    EXPECT_THAT(operator_.Lines(), ElementsAre("apd 1: Num = 9, GetApdCoefficient Failed!"));
    EXPECT_FALSE(Saved());
    EXPECT_EQ(-1, k_);
}

TEST_F(ApdFit, WithoutMemoryNothingIsFitted) {
    APD_BREAK_PARA para = Flat(16);
    system_.Fail("malloc", ENOMEM);
    EXPECT_EQ("", Fit(para));
    EXPECT_THAT(operator_.Lines(), testing::IsEmpty());
    EXPECT_FALSE(Saved());
    EXPECT_EQ(-1, k_);
}

TEST_F(ApdFit, TenSamplesFailButAreSaved) {
    APD_BREAK_PARA para = Flat(10);
    EXPECT_THAT(Fit(para), HasSubstr("TempNum = 10, DelNum = 0, GetApdCoefficient Failed!\r\n"));
    EXPECT_TRUE(Saved());
    EXPECT_EQ(2985u, cOpmTunning.iApdVoltageSet[0]);
    EXPECT_THAT(operator_.Lines().back(),
                EndsWith("b = 3000.000000,  SaveOpmTunning Over!  GetApdCoefficient Failed!"));
}

TEST_F(ApdFit, SixteenSamplesSucceed) {
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

TEST_F(ApdFit, ASampleEightCodesOffIsDeleted) {
    // Two samples 9 codes above eighteen: the line runs through 3001, they lie 8.0 above it.
    APD_BREAK_PARA para = Flat(18);
    para.iVolt[4] = para.iVolt[13] = 3009;
    EXPECT_THAT(Fit(para), HasSubstr("max_delta = -8.000000 \r\n"));
    EXPECT_EQ(3000.0f, b_);
    EXPECT_THAT(operator_.Lines().back(), HasSubstr("TempNum = 18, DelNum = 2 "));
    EXPECT_EQ(18, para.iNum) << "the caller keeps its samples";
}

TEST_F(ApdFit, ASampleSlightlyLessThanEightCodesOffIsKept) {
    APD_BREAK_PARA para = Flat(40);  // line through 3000.2125
    para.iVolt[19] = 3008;
    EXPECT_THAT(Fit(para), HasSubstr("max_delta = -7.7995"));
    EXPECT_THAT(operator_.Lines().back(), HasSubstr("DelNum = 0 "));
}

TEST_F(ApdFit, FourteenDeletionsAreAFailureThatIsSaved) {
    APD_BREAK_PARA para = Flat(40);
    for (int i = 0; i < 40; ++i)
        para.iVolt[i] = static_cast<uint16_t>(2000 + i * 977 % 1500);
    EXPECT_THAT(Fit(para), HasSubstr("TempNum = 40, DelNum = 14, GetApdCoefficient Failed!\r\n"));
    EXPECT_TRUE(Saved());
}

TEST_F(ApdFit, AnInterceptThatIsNoCodeChangesNothing) {
    // At 20 degrees and a degree: -2000 and 70000 at zero degrees.
    const struct { int at20, slope; } lines[] = {{0, 100}, {30000, -2000}};
    for (const auto& line : lines) {
        APD_BREAK_PARA para = {};
        para.iNum = 16;
        for (int i = 0; i < 16; ++i) {
            para.fTemp[i] = static_cast<float>(20 + i);
            para.iVolt[i] = static_cast<uint16_t>(line.at20 + line.slope * i);
        }
        const OPM_TUNING before = cOpmTunning;
        EXPECT_THAT(Fit(para), HasSubstr("BreakVoltage is too small")) << line.slope;
        EXPECT_EQ(0, memcmp(&before, &cOpmTunning, sizeof before)) << line.slope;
        EXPECT_TRUE(Saved()) << "as it was";
    }
}
