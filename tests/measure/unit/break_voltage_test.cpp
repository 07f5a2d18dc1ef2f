// The search for the breakdown voltage at one temperature.
#include "tests/measure/unit/measure_fixture.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

class BreakVoltage : public test::MeasureTest {
  protected:
    // The search with these noise measurements, the last one again and again. Clears record and trace first.
    int Search(const std::vector<NOISE>& noises) {
        Acquisitions(noises);
        return Search();
    }
    int Search() {
        para_ = {};
        system_.Clear();
        int result = 99;
        printed_ = test::Printed([&] { result = GetBreakVoltage(&para_); });
        return result;
    }
    std::vector<int> Codes() const { return Written("0x30000014"); }
    int Measured() const { return Count(Outline(), "noise\n"); }

    APD_BREAK_PARA para_ = {};
    std::string printed_;
};

TEST_F(BreakVoltage, WritesMeasuresAndWaitsInItsOrder) {
    EXPECT_EQ(0, Search({{60000, 8}, {62000, 10}, {62000, 40}, {61000, 200}}));
    EXPECT_EQ(
        "temperature\nreg write 0x30000014 0x067d\nsleep 1\nnoise\nsleep 1000\nnoise\nsleep 500\n"
        "noise\nreg write 0x30000014 0x068d\nsleep 1000\nnoise\nsleep 1000\n"
        "temperature\nreg write 0x30000014 0x0800\nsleep 100\n",
        Outline());
    EXPECT_EQ(
        "GetOpmTemperature:temperature=25.000000\n"
        "Mean = 60000, Std = 8.000000\ntemp = 25.000000, mean = 60000 , std =  8.00 \n"
        "Mean = 62000, Std = 10.000000\niATT0 = 800, std1: 10.00 std2: 10.00 mean1: 62000 mean2: 60000\n"
        "Mean = 62000, Std = 40.000000\nApd: 67d , mean: 62000 , std: 40.00 "
        "Mean = 61000, Std = 200.000000\nApd: 68d , mean: 61000 , std: 200.00 "
        "GetOpmTemperature:temperature=25.000000\n"
        "01: ApdBreakVoltage = 0x68d ,fTempValue = 25.000000\r\n  GetBreakVoltage Success!",
        printed_);
    EXPECT_THAT(operator_.Lines(),
                ElementsAre("apd 1: temperature=25.000000", "apd 1: Apd: 67d , mean: 62000 , std: 40.00 ",
                            "apd 1: Apd: 68d , mean: 61000 , std: 200.00 ", "apd 1: temperature=25.000000",
                            "apd 2: 01: ApdBreakVoltage = 0x68d ,fTempValue = 25.000000"));
    EXPECT_EQ("-------------\n01: ApdBreakVoltage = 0x68d ,fTempValue = 25.000000\n",
              calls_.Content("/mnt/sdcard/fct_log.txt"));
}

TEST_F(BreakVoltage, TheRampFollowsNoiseAndMean) {
    constexpr int start = 1661;
    const struct {
        const char* what;
        std::vector<NOISE> noises;  // from the ATT0 search on
        std::vector<int> codes;     // of the ramp
        int found;
    } cases[] = {
        {"five times the noise is too little", {{60000, 10}, {60000, 50}, {60000, 51}}, {1677}, 1677},
        {"a hundred times is too much", {{60000, 10}, {60000, 1000}, {60000, 999}}, {1657}, 1657},
        {"noise below 30 steps up", {{60000, 2}, {60000, 29}}, {1677}, 1677},
        {"noise of 30 stays", {{60000, 2}, {60000, 30}}, {}, start},
        {"a mean 6000 lower stays", {{60000, 10}, {54000, 100}}, {}, start},
        {"a mean 6001 lower steps back", {{60000, 10}, {53999, 100}}, {1657}, 1657},
        {"a higher mean stays", {{58000, 10}, {65000, 100}}, {}, start},
    };
    for (const auto& one : cases) {
        std::vector<NOISE> noises = one.noises;
        noises.insert(noises.begin(), {60000, 77});
        EXPECT_EQ(0, Search(noises)) << one.what;
        std::vector<int> codes = one.codes;
        codes.insert(codes.begin(), start);
        codes.push_back(2048);
        EXPECT_EQ(codes, Codes()) << one.what;
        EXPECT_EQ(one.found, para_.iVolt[0]) << one.what;
        EXPECT_EQ(static_cast<int>(noises.size()), Measured()) << one.what;
    }
}

TEST_F(BreakVoltage, TwoHundredStepsEndTheRampWithThePresentCode) {
    EXPECT_EQ(0, Search({{60000, 0}, {60000, 0}, {60000, 40}}));
    EXPECT_EQ(202, Measured());
    EXPECT_EQ(1661 - 200 * 4, para_.iVolt[0]);
    EXPECT_EQ(1, para_.iNum);
    EXPECT_THAT(printed_, EndsWith("GetBreakVoltage Success!"));
}

TEST_F(BreakVoltage, ANoiseThatIsRaisedToOneMayBeABreakdownAtOnce) {
    // One or more samples off by one: the noise is the root of their share.
    const struct {
        int off;
        bool found;  // 1.0 above five times the noise and below a hundred times it
    } cases[] = {{1, true}, {21, true}, {22, false}, {0, false}};
    for (const auto& one : cases) {
        calls_.onSamples = [&](int) {
            Samples(60000, 0);
            for (int i = 0; i < one.off; ++i)
                system_.samples[static_cast<size_t>(100 + i)] += 1;
        };
        EXPECT_EQ(one.found ? 0 : -1, Search()) << one.off;
        EXPECT_EQ(one.found, Measured() == 2) << one.off;
        EXPECT_THAT(printed_, HasSubstr(" std2:  1.00 ")) << one.off;
        if (one.found) {
            EXPECT_EQ(1661, para_.iVolt[0]);
        }
    }
}

TEST_F(BreakVoltage, TheAttenuatorBringsTheMeanIntoItsWindow) {
    const struct {
        int mean;
        uint32_t found;
        int measured;
    } cases[] = {{58000, 800, 3}, {63000, 800, 3}, {57999, 790, 4}, {63001, 810, 4}};
    for (const auto& one : cases) {
        iATT0 = 800;
        std::vector<NOISE> noises = {{60000, 10}, {one.mean, 10}, {60000, 100}};
        if (one.measured == 4)
            noises.insert(noises.begin() + 2, {60000, 10});
        EXPECT_EQ(0, Search(noises)) << one.mean;
        EXPECT_EQ(one.found, iATT0) << one.mean;
        EXPECT_EQ(one.measured, Measured()) << one.mean;
    }
}

TEST_F(BreakVoltage, StartsFiveCodesADegreeFromZero) {
    const struct {
        int milliDegrees, code;
    } cases[] = {{-10000, 1486}, {-100, 1536}, {0, 1536}, {25199, 1661}, {25200, 1662}, {55500, 1813}};
    for (const auto& one : cases) {
        system_.milliDegrees = one.milliDegrees;
        EXPECT_EQ(0, Search({{60000, 10}, {60000, 10}, {60000, 100}}));
        EXPECT_EQ(one.code, Codes().front()) << one.milliDegrees;
        EXPECT_FLOAT_EQ(static_cast<float>(one.milliDegrees) / 1000, para_.fTemp[0]);
    }
}

TEST_F(BreakVoltage, TheSampleHasTheTemperatureAfterTheRamp) {
    operator_.onLine = [this](const std::string&) { system_.milliDegrees = 26500; };
    EXPECT_EQ(0, Search({{60000, 10}, {60000, 10}, {60000, 100}}));
    EXPECT_EQ(26.5f, para_.fTemp[0]);
    // A second reading that fails leaves the first.
    system_.milliDegrees = 25000;
    system_.Fail("temperature", 5, 1);
    EXPECT_EQ(0, Search({{60000, 10}, {60000, 10}, {60000, 100}}));
    EXPECT_EQ(25.0f, para_.fTemp[0]);
}

TEST_F(BreakVoltage, OneTemperatureReadingOfTheTwoIsEnoughAndNoneIsNot) {
    const std::vector<NOISE> found = {{60000, 10}, {60000, 10}, {60000, 100}};
    system_.Fail("temperature", 5, 0, 1);
    EXPECT_EQ(0, Search(found));
    EXPECT_EQ(25.0f, para_.fTemp[0]);
    EXPECT_EQ(1536, Codes().front()) << "searched from the code of 0 degrees";
    system_.Fail("temperature", 5);
    EXPECT_EQ(-1, Search(found));
    EXPECT_EQ(0, para_.iNum);
    EXPECT_EQ(2048, Codes().back());
    EXPECT_EQ(3, Measured()) << "the second reading comes after the search";
}

TEST_F(BreakVoltage, TheEndOfTheProgramLeavesABrokenOffReadingUnused) {
    const struct {
        int at, mean;
        uint32_t att0;
        std::vector<int> codes;
    } cases[] = {
        {1, 50000, 800, {1661, 2048}}, {2, 50000, 800, {1661, 2048}},       {3, 50000, 790, {1661, 2048}},
        {3, 60000, 800, {1661, 2048}}, {4, 60000, 800, {1661, 1677, 2048}},
    };
    for (const auto& one : cases) {
        SetExitFlag(0);
        system_.fixed[0x2e / 2] = 0xA0;
        iATT0 = 800;
        EndProgramAt(one.at);
        EXPECT_EQ(-1, Search({{one.mean, 10}}));
        EXPECT_EQ(one.codes, Codes()) << one.at;
        EXPECT_EQ(one.att0, iATT0) << one.at;
        EXPECT_EQ(one.at - 1, Count(printed_, "Mean = ")) << one.at;
        EXPECT_EQ(0, para_.iNum);
    }
}

TEST_F(BreakVoltage, ARampThatNeverBreaksDownEndsAtTheSafeCode) {
    Samples(60000, 0);
    APD_BREAK_PARA para = {};
    test::Printed([&] { EXPECT_EQ(-1, GetBreakVoltage(&para)); });
    EXPECT_EQ(0, para.iNum);
    const std::vector<int> codes = Codes();
    EXPECT_EQ(1661, codes.front()) << "25 degrees: 125 + 1536";
    EXPECT_EQ(2048, codes.back());
    EXPECT_EQ(1661 + 16 * 138, codes.at(codes.size() - 2)) << "the last code up to 3872";
}

TEST_F(BreakVoltage, SamplesStaySortedByTemperature) {
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

TEST_F(BreakVoltage, TheAttenuatorSearchEndsAtItsLimits) {
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

TEST_F(BreakVoltage, AStoppedSearchLeavesTheSafeCode) {
    Samples(60000, 0);
    APD_BREAK_PARA para = {};
    SetAPDAdjStopFlag(0);
    test::Printed([&] { EXPECT_EQ(-1, GetBreakVoltage(&para)); });
    EXPECT_EQ(2048, Codes().back());
    SetAPDAdjStopFlag(1);
    operator_.onLine = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") == 0)
            SetAPDAdjStopFlag(0);
    };
    test::Printed([&] { EXPECT_EQ(-1, GetBreakVoltage(&para)); });
    EXPECT_EQ(2048, Codes().back());
    EXPECT_EQ(0, para.iNum);
}

TEST_F(BreakVoltage, AStopEndsTheWaitForAnAcquisitionThatNeverEnds) {
    // The first measurement, that of the ATT0 search, and two of the ramp.
    for (int at = 1; at <= 4; ++at) {
        SetAPDAdjStopFlag(1);
        int looks = 0;
        int64_t stopped = 0;
        calls_.onStatus = [&] {
            ++looks;
            system_.fixed[0x2e / 2] = looks < 2 * at - 1 ? 0xA0 : 0;
            // A minute and a half later: there is no limit.
            if (looks == 900) {
                SetAPDAdjStopFlag(0);
                stopped = calls_.Now();
            }
        };
        EXPECT_EQ(-1, Search({{60000, 10}})) << at;
        EXPECT_EQ(900, looks) << at;
        EXPECT_LT(calls_.Now() - stopped, 200000) << at;
        EXPECT_EQ(2048, Codes().back()) << at;
        EXPECT_EQ(0, system_.registers[0x2e / 2]) << at;
        EXPECT_EQ(0, para_.iNum);
    }
}

TEST_F(BreakVoltage, TheStopOfTheAdjustLoopsIsNotThatOfTheCalibration) {
    SetStopThreadFlag(0);
    int looks = 0;
    calls_.onStatus = [&] { system_.fixed[0x2e / 2] = ++looks % 3 == 1 ? 0 : 0xA0; };
    EXPECT_EQ(0, Search({{60000, 10}, {60000, 10}, {60000, 100}}));
}

TEST_F(BreakVoltage, AFullRecordTakesNoSample) {
    Samples(60000, 10);
    APD_BREAK_PARA para = {};
    para.iNum = APD_BREAK_MAX;
    EXPECT_EQ(-1, GetBreakVoltage(&para));
    EXPECT_EQ(-1, GetBreakVoltage(nullptr));
    EXPECT_EQ("", system_.Trace("reg"));
}
