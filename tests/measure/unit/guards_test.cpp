// What each function of the measuring code refuses, each argument alone, without a word to the hardware.
#include "tests/support/guards.h"

#include <math.h>

#include "measure/fiber_offset.h"
#include "measure/numeric/numeric.h"
#include "tests/measure/unit/measure_fixture.h"

using test::ExpectGuards;
using Guards = test::MeasureTest;

TEST_F(Guards, Numbers) {
    uint16_t codes[] = {5, 6};
    uint32_t words[] = {5, 6};
    float floats[] = {5.0f, 6.0f};
    float k = 3.0f, b = 4.0f;
    APD_BREAK_PARA samples = {{100, 200}, {1.0f, 2.0f}, 2};
    uint8_t phases[64] = {};
    const std::string printed = test::Printed([&] {
        ExpectGuards({
            GUARD(0, GetMeanUint16(nullptr, 2)),
            GUARD(0, GetMeanUint16(codes, 0)),
            GUARD(0, GetMeanUint16(codes, -1)),
            GUARD(5, GetMeanUint16(codes, 1)),
            GUARD(0, static_cast<long>(GetMeanUint32(nullptr, 2))),
            GUARD(5, static_cast<long>(GetMeanUint32(words, 1))),
            GUARD(0, static_cast<long>(GetMeanFloat(nullptr, 2))),
            GUARD(0, static_cast<long>(GetMeanFloat(floats, -1))),
            GUARD(1, isnan(GetMeanFloat(floats, 0))),
            GUARD(5, static_cast<long>(GetMeanFloat(floats, 1))),
            GUARD(-1000, static_cast<long>(GetMaxFloat(nullptr, 2))),
            GUARD(-1000, static_cast<long>(GetMaxFloat(floats, 0))),
            GUARD(5, static_cast<long>(GetMaxFloat(floats, 1))),
            GUARD(0, GetMaxIndexFloat(nullptr, 2)),
            GUARD(0, GetMaxIndexFloat(floats, 0)),
            GUARD(1, GetMaxIndexFloat(floats, 2)),
            GUARD(0, bubble_sort(nullptr, 2), 0),
            GUARD(0, Polyfit(nullptr, &b, &samples), 0),
            GUARD(0, Polyfit(&k, nullptr, &samples), 0),
            GUARD(0, Polyfit(&k, &b, nullptr), 0),
            GUARD(0, CalShiftPhase4_90(1, nullptr), 0),
        });
    });
    EXPECT_EQ("", printed);
    EXPECT_EQ(3.0f, k);
    EXPECT_EQ(4.0f, b);
    EXPECT_EQ(0, phases[0]);
}

TEST_F(Guards, Measurements) {
    float k = 3.0f, b = 4.0f;
    int length = 7;
    APD_BREAK_PARA full = {{}, {}, 50}, negative = {{}, {}, -1}, some = {{}, {}, 20};
    showLen = 9;
    strcpy(LineText(), "before");
    const std::string printed = test::Printed([&] {
        ExpectGuards({
            GUARD(-1, GetBreakVoltage(nullptr)),
            GUARD(-1, GetBreakVoltage(&full)),
            GUARD(-1, GetBreakVoltage(&negative)),
            GUARD(0, GetApdCoefficient(nullptr, &b, &some), 0),
            GUARD(0, GetApdCoefficient(&k, nullptr, &some), 0),
            GUARD(0, GetApdCoefficient(&k, &b, nullptr), 0),
            GUARD(0, APDTuning(nullptr, 60), 0),
            GUARD(0, CalExFiberLen(nullptr)),
            GUARD(0, ShowADTest(nullptr, 1.0f, &length), 0),
            GUARD(0, ShowADTest("APD", 1.0f, nullptr), 0),
            GUARD(0, ShowADTest_len(nullptr, 1.0f, 1, &length), 0),
            GUARD(0, ShowADTest_len("APD", 1.0f, 1, nullptr), 0),
            GUARD(0, FCT_LOG(nullptr), 0),
            GUARD(0, printToFile(nullptr, "text"), 0),
            GUARD(0, printToFile("/mnt/sdcard/file", nullptr), 0),
            GUARD(0, OPMSaveData2File(-1, 500)),
            GUARD(0, Pause(0), 0),
        });
    });
    EXPECT_EQ("", printed);
    EXPECT_EQ("", system_.Trace());
    EXPECT_TRUE(calls_.opened.empty());
    EXPECT_TRUE(operator_.Lines().empty());
    EXPECT_EQ(3.0f, k);
    EXPECT_EQ(7, length);
    EXPECT_EQ(9, showLen);
    EXPECT_STREQ("before", LineText());
}
