// How every measurement starts its acquisition, waits for it and fetches it.
#include <deque>

#include "measure/fiber_offset.h"
#include "tests/measure/unit/measure_fixture.h"

using testing::EndsWith;

class Handshake : public test::MeasureTest {
  protected:
    Handshake() { Samples(60000, 0); }

    struct MEASUREMENT {
        const char* name;
        void (*fnMeasure)();
        int start, transfer;  // sleeps in milliseconds
        int samples;
        int echoes;
    };
    static std::vector<MEASUREMENT> Measurements() {
        return {
            {"GetBlackLevel", [] { GetBlackLevel(); }, 1, 0, 1024, 1},
            {"GetSignalParameter", [] { GetSignalParameter(800); }, 100, 100, 512, 1},
            {"GetSignal", [] { GetSignal(WAVE_LEN_1310); }, 1, 0, 8192, 2},
            {"ExFiberLenSetParament",
             [] {
                 static uint16_t trace[TRACE_SAMPLES];
                 ExFiberLenSetParament(trace);
             },
             100, 100, 8192, 1},
        };
    }
    static std::string Sleep(int msec) { return msec == 0 ? "" : "sleep " + std::to_string(msec) + "\n"; }
    // The trace of a handshake with that many looks at each bit.
    static std::string Trace(const MEASUREMENT& one, int doneLooks, int readyLooks) {
        const std::string look = "reg read 0x3000002e\n";
        std::string trace = "reg write 0x3000002e 0x0001\n" + Sleep(one.start);
        for (int i = 0; i < doneLooks; ++i)
            trace += look + Sleep(100);
        trace += "reg write 0x3000002e 0x0002\n" + Sleep(one.transfer);
        for (int i = 0; i < readyLooks; ++i)
            trace += look;
        return trace + "data " + std::to_string(one.samples) + "\nreg write 0x3000002e 0x0000\nsleep 1\n";
    }
};

TEST_F(Handshake, WaitsForTheDoneBitThenForTheReadyBit) {
    for (const MEASUREMENT& one : Measurements()) {
        // Neither wait ends with any bit but its own.
        std::deque<uint16_t> status = {0x0000, 0xFF7F, 0x0020, 0x0080, 0x0000, 0xFFDF, 0x0020};
        calls_.onStatus = [&] {
            system_.fixed[0x2e / 2] = status.front();
            status.pop_front();
        };
        system_.Clear();
        test::Printed(one.fnMeasure);
        EXPECT_THAT(system_.Trace(), EndsWith(Trace(one, 4, 3))) << one.name;
    }
}

TEST_F(Handshake, AFailedLookIsRepeated) {
    for (const MEASUREMENT& one : Measurements()) {
        system_.Clear();
        system_.Fail("reg read 0x3000002e", 5, 0, 3);
        test::Printed(one.fnMeasure);
        EXPECT_THAT(system_.Trace(), EndsWith(Trace(one, 4, 1))) << one.name;
    }
}

TEST_F(Handshake, AnAcquisitionThatNeverEndsIsGivenUpAfterTheLimit) {
    for (const MEASUREMENT& one : Measurements()) {
        for (const uint16_t status : {0x00, 0x80}) {
            system_.fixed[0x2e / 2] = status;
            signalMean = 4711;
            system_.Clear();
            const int64_t begin = calls_.Now();
            EXPECT_EQ("", test::Printed(one.fnMeasure)) << one.name;
            EXPECT_GE(calls_.Now() - begin, ACQ_LIMIT_MS * 1000L) << one.name;
            EXPECT_LT(calls_.Now() - begin, ACQ_LIMIT_MS * 1000L + 1000000) << one.name;
            EXPECT_EQ("", system_.Trace("data")) << one.name;
            EXPECT_THAT(system_.Trace(), EndsWith("reg write 0x3000002e 0x0000\nsleep 1\n")) << one.name;
            EXPECT_EQ(4711, signalMean);
        }
    }
}

TEST_F(Handshake, AStopEndsAWaitWithinASecond) {
    for (const MEASUREMENT& one : Measurements()) {
        system_.fixed[0x2e / 2] = 0;
        SetStopThreadFlag(1);
        int64_t stopped = 0;
        int looks = 0;
        calls_.onStatus = [&] {
            if (++looks == 10) {
                SetStopThreadFlag(0);
                stopped = calls_.Now();
            }
        };
        EXPECT_EQ("", test::Printed(one.fnMeasure)) << one.name;
        EXPECT_LT(calls_.Now() - stopped, 200000) << one.name;
    }
}

TEST_F(Handshake, WritesTheEchoOfTheRegisterBefore) {
    system_.echo[0x24 / 2] = 0x1234;
    for (const MEASUREMENT& one : Measurements()) {
        system_.Clear();
        test::Printed(one.fnMeasure);
        EXPECT_EQ(std::vector<int>(static_cast<size_t>(one.echoes), 0x1234), Written("0x30000022"))
            << one.name;
        EXPECT_EQ(one.echoes, Count(Writes(), "reg write 0x30000024 0x0000\nreg write 0x30000022 0x1234\n"))
            << one.name;
    }
}

TEST_F(Handshake, TheTraceIsSetUpInItsOrder) {
    test::Printed([] { GetSignal(WAVE_LEN_1310); });
    EXPECT_EQ(
        "reg write 0x30000002 0x07fc\nsleep 10\nreg write 0x3000000a 0x6300\nsleep 10\n"
        "reg write 0x3000000c 0x0111\nsleep 10\nreg write 0x30000030 0x000a\nsleep 1\n"
        "reg write 0x30000032 0x0020\nsleep 10\nreg write 0x30000024 0x0000\nsleep 1\n"
        "reg write 0x30000022 0x0000\nsleep 1\nreg write 0x3000001a 0x2000\nsleep 1\n"
        "reg write 0x3000001c 0x0000\nsleep 1\nreg write 0x3000001e 0x0001\nsleep 1\n"
        "reg write 0x30000020 0x0400\nsleep 1\nreg write 0x30000018 0x0004\nsleep 1\n"
        "reg write 0x30000024 0x0000\nsleep 1\nreg write 0x30000022 0x0000\nsleep 1\n" +
            Trace(Measurements()[2], 1, 1),
        system_.Trace());
}
