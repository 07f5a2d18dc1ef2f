// The timed collection of breakdown samples.
#include "tests/measure/unit/measure_fixture.h"

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ApdTuning : public test::MeasureTest {
  protected:
    // Every search breaks down after its second step; the module is one degree warmer after every wait.
    ApdTuning() {
        Samples(60000, 10);
        operator_.onLine = [this](const std::string& line) { Follow(line); };
    }

    void Follow(const std::string& line) {
        system_.Note(line);
        if (line.find("apd 1: Apd:") == 0)
            Samples(60000, 100);
        if (line.find(": ApdBreakVoltage") != std::string::npos)
            Samples(60000, 10);
        if (line.find("apd 2: TunNum") == 0)
            system_.milliDegrees += warming_;
        if (onLine_)
            onLine_(line);
    }

    std::string Tune(int milliDegrees, uint32_t minutes = 0) {
        system_.milliDegrees = milliDegrees;
        return test::Printed([&] { APDTuning(&para_, minutes); });
    }
    static std::string Sleeps(int seconds) {
        std::string text;
        for (int i = 0; i < seconds; ++i)
            text += "sleep 1000\n";
        return text;
    }
    static constexpr const char* started = "apd 1: APD Tuning Start Success! ";
    // From the end of the trial on.
    std::string Trace() const {
        const std::string outline = Outline();
        return outline.substr(outline.find(started));
    }
    // What one sample leaves in the trace at so many degrees.
    static std::string Sample(int degrees, int number) {
        char text[600] = "";
        const int code = 1536 + 5 * degrees;
        snprintf(text, sizeof text,
                 "temperature\napd 1: temperature=%d.000000\nreg write 0x30000014 0x%04x\nsleep 1\nnoise\n"
                 "sleep 1000\nnoise\nsleep 500\nnoise\napd 1: Apd: %x , mean: 60000 , std: 10.00 \n"
                 "reg write 0x30000014 0x%04x\nsleep 1000\nnoise\n"
                 "apd 1: Apd: %x , mean: 60000 , std: 100.00 \nsleep 1000\n"
                 "temperature\napd 1: temperature=%d.000000\n"
                 "apd 2: %02d: ApdBreakVoltage = 0x%x ,fTempValue = %d.000000\n"
                 "reg write 0x30000014 0x0800\nsleep 100\napd trace: empty\napd trace: curve\n"
                 "apd 1: TunNum = %d\n",
                 degrees, code, code, code + 16, code + 16, degrees, number, code + 16, degrees, number);
        return text;
    }

    APD_BREAK_PARA para_ = {};
    int warming_ = 1000;
    std::function<void(const std::string&)> onLine_;
};

TEST_F(ApdTuning, WarmsUpThenSamplesAndWaitsByTurns) {
    const std::string printed = Tune(54000, 2);
    const std::string read = "temperature\napd 1: temperature=54.000000\n";
    EXPECT_EQ(started + std::string("\n") + Sleeps(20) + read +
                  "apd 2: DelayTime = 2 min, CurTime = 0 min\n" + Sleeps(60) + read +
                  "apd 2: DelayTime = 2 min, CurTime = 1 min\n" + Sleeps(60) + read + Sample(54, 1) + read +
                  Sleeps(10) +
                  "apd 2: TunNum = 1, DelayNum = 1\ntemperature\napd 1: temperature=55.000000\n" +
                  Sample(55, 2) + "apd 1: APDTuning over!\n",
              Trace());
    EXPECT_EQ(
        "-------------\n01: ApdBreakVoltage = 0x71e ,fTempValue = 54.000000\n"
        "***************start apd tuning**************\n\nAPD Tuning Start Success! \n"
        "DelayTime = 2 min, CurTime = 0 min\nDelayTime = 2 min, CurTime = 1 min\n"
        "-------------\n01: ApdBreakVoltage = 0x71e ,fTempValue = 54.000000\nTunNum = 1\n"
        "-------------\n02: ApdBreakVoltage = 0x723 ,fTempValue = 55.000000\nTunNum = 2\n",
        calls_.Content("/mnt/sdcard/fct_log.txt"));
    EXPECT_THAT(printed, StartsWith("start apd tuning"));
    EXPECT_THAT(printed, HasSubstr("DelayTime = 2\n"));
    EXPECT_THAT(printed, HasSubstr("tmpCount = 0\n"));
    EXPECT_THAT(printed, HasSubstr("TunNum = 1, DelayNum = 1\r\n"));
    EXPECT_THAT(printed, EndsWith("TunNum = 2\r\nTunNum = 2, DelayNum = 0, APDTuning over!\r\n"));
}

TEST_F(ApdTuning, AFailedTrialIsToldAndEndsTheTuning) {
    operator_.onLine = nullptr;
    para_.iNum = 7;
    EXPECT_THAT(Tune(25000, 60), StartsWith("start apd tuning"));
    EXPECT_EQ(0, para_.iNum);
    EXPECT_EQ("apd 1: APD Tuning Start Failed! ret = -1", operator_.Lines().back());
    EXPECT_EQ("***************start apd tuning**************\n\nAPD Tuning Start Failed! ret = -1\n",
              calls_.Content("/mnt/sdcard/fct_log.txt"));
}

TEST_F(ApdTuning, ASampleIsTakenAWholeDegreeFromEveryOther) {
    // After each sample or wait the next of these.
    std::vector<int> next = {52999, 51001, 53000, 52001, 51000, 55000};
    onLine_ = [&](const std::string& line) {
        const bool turn = line.find("apd 1: TunNum") == 0 || line.find("apd 2: TunNum") == 0;
        if (!turn || next.empty())
            return;
        system_.milliDegrees = next.front();
        next.erase(next.begin());
    };
    Tune(52000);
    ASSERT_EQ(4, para_.iNum);
    EXPECT_THAT(std::vector<float>(para_.fTemp, para_.fTemp + 4), testing::ElementsAre(51, 52, 53, 55));
    EXPECT_EQ(3, Count(Trace(), "apd 2: TunNum = "));
}

TEST_F(ApdTuning, FromTenSamplesOnTheLineIsFittedAndTheVoltageLowered) {
    Tune(46000);
    EXPECT_EQ(10, para_.iNum);
    const std::string trace = Trace();
    EXPECT_EQ(1, Count(trace, "write optic0 96\n"));
    EXPECT_THAT(trace, HasSubstr("apd trace: curve\napd 1: TunNum = 9\n"));
    EXPECT_THAT(trace, HasSubstr("apd trace: curve\nseek optic0 0\nwrite optic0 96\n"
                                 "apd 1: TempNum = 10, DelNum = 0,  k = 5.0"));
    EXPECT_THAT(trace, HasSubstr("GetApdCoefficient Failed!\nreg write 0x30000014 0x0800\n"
                                 "apd 1: TunNum = 10\napd 1: APDTuning over!\n"));
}

TEST_F(ApdTuning, EndsAfterFortyFiveSamplesAndRemembersThem) {
    const std::string printed = Tune(5000);
    EXPECT_EQ(45, para_.iNum);
    EXPECT_THAT(printed, EndsWith("TunNum = 45, DelayNum = 0, APDTuning over!\r\n"));

    // The count is kept: a failed reading ends the next run.
    system_.Clear();
    onLine_ = [this](const std::string& line) {
        if (line == started)
            system_.Fail("temperature", 5, 0, 1);
    };
    EXPECT_THAT(Tune(5000), EndsWith("TunNum = 45, DelayNum = 0, APDTuning over!\r\n"));
    EXPECT_EQ(started + std::string("\n") + Sleeps(20) +
                  "temperature\napd 1: get opm temperature failed!\napd 1: APDTuning over!\n",
              Trace());

    // So does a wait, were a sample of this temperature in the record.
    system_.Clear();
    onLine_ = [this](const std::string& line) {
        if (line != started)
            return;
        para_.iNum = 1;
        para_.fTemp[0] = 5.0f;
    };
    EXPECT_THAT(Tune(5000), EndsWith("TunNum = 45, DelayNum = 1, APDTuning over!\r\n"));
    EXPECT_THAT(Trace(), EndsWith(Sleeps(10) + "apd 2: TunNum = 45, DelayNum = 1\napd 1: APDTuning over!\n"));

    // The first sample of a run counts anew.
    system_.Clear();
    onLine_ = nullptr;
    EXPECT_THAT(Tune(55000), EndsWith("TunNum = 1, DelayNum = 0, APDTuning over!\r\n"));
}

TEST_F(ApdTuning, TwentyFailedReadingsAreBorneAndTwentyOneAreNot) {
    onLine_ = [this](const std::string& line) {
        if (line == started || line.find("apd 2: TunNum") == 0)
            system_.Fail("temperature", 5, 0, 20);
    };
    const std::string printed = Tune(54000);
    EXPECT_EQ(2, Count(printed, "tmpCount = 20\n")) << "counted from zero after each good reading";
    EXPECT_EQ(2, para_.iNum);
    EXPECT_EQ("apd 1: APDTuning over!", operator_.Lines().back());

    onLine_ = [this](const std::string& line) {
        if (line == started)
            system_.Fail("temperature", 5);
    };
    EXPECT_THAT(Tune(25000), Not(HasSubstr("over!")));
    EXPECT_EQ("apd 1: tmpCount = 21", operator_.Lines().back());
    EXPECT_EQ(0, para_.iNum);
}

TEST_F(ApdTuning, AStopEndsEveryWait) {
    const struct {
        const char *from, *last;  // lines
        int sleeps;               // between them
    } cases[] = {
        {"apd 1: APD Tuning Start Success! ", "apd 1: APD Tuning Start Success! ", 19},
        {"apd 2: DelayTime = 3 min, CurTime = 1 min", "apd 2: DelayTime = 3 min, CurTime = 1 min", 59},
        {"apd 1: TunNum = 1", "apd 1: iAPDAdjStopFlag = 0", 1},
        {"apd 1: TunNum = 1", "apd 1: iAPDAdjStopFlag = 0", 9},
        {"apd 1: TunNum = 1", "apd 1: iAPDAdjStopFlag = 0", 10},
    };
    for (const auto& one : cases) {
        SetAPDAdjStopFlag(1);
        system_.Clear();
        int left = 0;
        onLine_ = [&](const std::string& line) {
            if (line == one.from)
                left = one.sleeps;
        };
        calls_.onSleep = [&](long msec) {
            if (msec == 1000 && left > 0 && --left == 0)
                SetAPDAdjStopFlag(0);
        };
        EXPECT_THAT(Tune(25000, 3), Not(HasSubstr("over!")));
        EXPECT_EQ(one.last, operator_.Lines().back());
        const std::string trace = Trace();
        EXPECT_EQ(one.sleeps, Count(trace.substr(trace.find(one.from)), "sleep 1000\n")) << one.from;
        EXPECT_THAT(operator_.Lines(), Not(Contains("apd 2: TunNum = 1, DelayNum = 1")));
    }
}

TEST_F(ApdTuning, AStopDuringASampleEndsTheTuning) {
    int samples = 0;
    onLine_ = [&](const std::string& line) {
        if (line.find("apd 1: Apd:") == 0 && ++samples == 3)
            SetAPDAdjStopFlag(0);
    };
    Tune(25000);
    EXPECT_EQ("apd 1: iAPDAdjStopFlag = 0", operator_.Lines().back());
    EXPECT_EQ(0, para_.iNum);
}

TEST_F(ApdTuning, ASampleThatTheEndOfTheProgramBrokeOffChangesNothing) {
    // The eleventh sample; the one at 55 degrees would be the last.
    const struct {
        int from;  // degrees
        const char* step;
    } cases[] = {{44, "apd 1: Apd: 70e , mean: 60000 , std: 10.00 "},
                 {45, "apd 1: Apd: 713 , mean: 60000 , std: 10.00 "}};
    for (const auto& one : cases) {
        SetExitFlag(0);
        Samples(60000, 10);
        OPM_TUNING before = {};
        bool ended = false;
        onLine_ = [&](const std::string& line) {
            if (line != one.step)
                return;
            SetExitFlag(1);
            ended = true;
            before = cOpmTunning;
            system_.Clear();
            operator_.Clear();
        };
        EXPECT_THAT(Tune(one.from * 1000), Not(HasSubstr("over!")));
        EXPECT_TRUE(ended);
        EXPECT_EQ(10, para_.iNum);
        EXPECT_EQ(0, memcmp(&before, &cOpmTunning, sizeof before));
        EXPECT_EQ("", system_.Trace("write optic0"));
        EXPECT_EQ(1, Count(Writes(), "0x30000014 0x0800")) << "by the search itself";
        EXPECT_THAT(operator_.Lines(), testing::IsEmpty());
    }
}
