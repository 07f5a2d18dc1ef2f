// What the measurements leave on the card and on the stick.
#include "measure/fiber_offset.h"
#include "tests/measure/unit/measure_fixture.h"

using testing::ElementsAre;

class MeasureFiles : public test::MeasureTest {
  protected:
    MeasureFiles() {
        for (int i = 0; i < 8192; ++i)
            system_.samples.push_back(static_cast<uint16_t>(65535 - i));
    }

    // The trace of these samples as a file: the lead-in last, its first sample replaced.
    static std::string TraceText() {
        std::string text;
        for (int i = 512; i < 8192; ++i)
            text += std::to_string(65535 - i) + "\r\n";
        text += std::to_string((65534 + 65533) / 2) + "\r\n";
        for (int i = 1; i < 512; ++i)
            text += std::to_string(65535 - i) + "\r\n";
        return text;
    }

    // The two measurements that write their trace onto the stick, under a number that grows from 0.
    struct DUMP {
        void (*fnMeasure)();
        const char *before, *after, *mode;
        std::string Name(int number) const { return before + std::to_string(number) + after; }
    };
    static const DUMP dumps_[2];
};

const MeasureFiles::DUMP MeasureFiles::dumps_[2] = {
    {[] { GetSignal(WAVE_LEN_1310); }, "/mnt/usb/data_", ".txt", "w "},
    {[] {
         char result[128] = "";
         CalExFiberLen(result);
     },
     "/mnt/usb/LogSignal[", "].txt", "w+ "},
};

TEST_F(MeasureFiles, TracesAreNumberedOnTheStick) {
    for (const DUMP& dump : dumps_) {
        const int first = test::MeasureCalls::Attempts(dump.before);  // 0 in a program of its own
        for (const int number : {first, first + 1}) {
            test::Printed(dump.fnMeasure);
            EXPECT_EQ(dump.mode + dump.Name(number), calls_.opened.back());
            EXPECT_EQ(TraceText(), calls_.Content(dump.Name(number)));
        }
    }
}

TEST_F(MeasureFiles, ATraceWithoutAStickUsesANumber) {
    for (const DUMP& dump : dumps_) {
        const int first = test::MeasureCalls::Attempts(dump.before);
        calls_.Block(dump.Name(first));
        test::Printed(dump.fnMeasure);
        test::Printed(dump.fnMeasure);
        EXPECT_EQ(TraceText(), calls_.Content(dump.Name(first + 1)));
    }
}

TEST_F(MeasureFiles, ABrokenOffTraceUsesNoNumber) {
    for (const DUMP& dump : dumps_) {
        SetExitFlag(1);
        const std::string before = system_.Trace("shell");
        test::Printed(dump.fnMeasure);
        EXPECT_THAT(calls_.opened, testing::IsEmpty());
        EXPECT_EQ(before, system_.Trace("shell"));
        SetExitFlag(0);
    }
    const int next = test::MeasureCalls::Attempts(dumps_[0].before);
    test::Printed(dumps_[0].fnMeasure);
    EXPECT_THAT(calls_.opened, ElementsAre("w " + dumps_[0].Name(next)));
}

TEST_F(MeasureFiles, TheOffsetsTraceIsFlushedAlsoWithoutAStick) {
    for (int run = 1; run <= 2; ++run) {
        test::Printed(dumps_[1].fnMeasure);
        EXPECT_EQ(run, Count(system_.Trace("shell"), "shell sync\n"));
        calls_.TakeOut("/mnt/usb");
    }
}

TEST_F(MeasureFiles, ResultsAreAppendedToTheListsOfTheirWavelength) {
    save_date_sdcard(WAVE_LEN_1310, 65535, -7);
    save_date_sdcard(WAVE_LEN_1550, 3, 4);
    save_date_sdcard(WAVE_LEN_1625, 5, 6);
    save_date_sdcard(WAVE_LEN_1310, 1, 2);
    EXPECT_EQ("65535\n1\n", calls_.Content("/mnt/sdcard/data_var_1310.txt"));
    EXPECT_EQ("-7\n2\n", calls_.Content("/mnt/sdcard/data_blacklevel_1310.txt"));
    EXPECT_EQ("3\n5\n", calls_.Content("/mnt/sdcard/data_var_1550.txt"));
    EXPECT_EQ("4\n6\n", calls_.Content("/mnt/sdcard/data_blacklevel_1550.txt"));
    EXPECT_THAT(std::vector<std::string>(calls_.opened.begin(), calls_.opened.begin() + 2),
                ElementsAre("a+ /mnt/sdcard/data_var_1310.txt", "a+ /mnt/sdcard/data_blacklevel_1310.txt"));
}

TEST_F(MeasureFiles, AListThatDoesNotOpenIsNamed) {
    const struct {
        OTDRWaveLen wave;
        const char *blocked, *error;
        size_t opened;
    } cases[] = {
        {WAVE_LEN_1310, "/mnt/sdcard/data_blacklevel_1310.txt", "save 1310 blacklevel: ", 2},
        {WAVE_LEN_1550, "/mnt/sdcard/data_blacklevel_1550.txt", "save 1550 blacklevel: ", 2},
        {WAVE_LEN_1310, "/mnt/sdcard/data_var_1310.txt", "save 1310 var: ", 1},
        {WAVE_LEN_1625, "/mnt/sdcard/data_var_1550.txt", "save 1550 var: ", 1},
    };
    for (const auto& one : cases) {
        calls_.TakeOut("/mnt/sdcard");
        calls_.Block(one.blocked);
        calls_.opened.clear();
        EXPECT_EQ(std::string(one.error) + "Is a directory\n",
                  test::PrintedErrors([&] { save_date_sdcard(one.wave, 1, 2); }));
        EXPECT_EQ(one.opened, calls_.opened.size());
        if (one.opened == 2) {
            EXPECT_EQ("", calls_.Content(calls_.opened[0].substr(3))) << "nothing is written to the first";
        }
    }
}

// ---- The end of the program ----

TEST_F(MeasureFiles, ABrokenOffReadingKeepsTheOneBefore) {
    signalMean = 4711;
    signalStd = 8.5f;
    EndProgramAt(1);
    EXPECT_EQ("", test::Printed([] { EXPECT_EQ(-1, GetSignalParameter(800)); }));
    EXPECT_EQ(4711, signalMean);
    EXPECT_EQ(8.5f, signalStd);
    EXPECT_EQ("", system_.Trace("data"));
    EXPECT_THAT(system_.Trace(), testing::EndsWith("reg write 0x3000002e 0x0000\nsleep 1\n"));
}
