// How long the operator waits, in the instrument's own time: nothing but the polls and waits that the program
// is made of.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/scenarios/operator.h"

namespace k905 {
namespace {

// One after the other at the worst: the touch thread's poll, the event thread's, the window thread's.
constexpr int kPollsMs = 50 + 50 + 20;

// Milliseconds from the finger to a changed look of the button under it.
int UntilPressed(Bench& bench, int x, int y) {
    const Picture released = bench.Screen();
    bench.Request({{"do", "touch"}, {"action", "down"}, {"x", x}, {"y", y}});
    int ms = 0;
    while (bench.Screen().SamePixel(released, x, y) && ms < 1000) {
        bench.Advance(1);
        ++ms;
    }
    bench.Request({{"do", "touch"}, {"action", "up"}});
    bench.UntilIdle(300, 2000);
    return ms;
}

TEST(Latency, FromTheFingerToThePressedLookIsThePolls) {
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard());
    int most = 0, sum = 0;
    constexpr int kTouches = 25;
    for (int i = 0; i < kTouches; ++i) {
        person.At().Advance(7 * i % 50);                     // in all phases of the polls
        const int ms = UntilPressed(person.At(), 480, 425);  // the face of a button without a check
        most = std::max(most, ms);
        sum += ms;
    }
    std::cout << "pressed look after " << sum / kTouches << " ms, at most " << most << " ms\n";
    EXPECT_LE(most, kPollsMs * 105 / 100);
    EXPECT_GE(most, 50) << "faster than one poll: the look does not come from the finger";
}

// What an Auto run of good hardware waits for.
struct {
    const char* what;
    double ms;
} constexpr kAutoWaits[] = {
    {"13 readings: 12 ms of conversion, 6 bytes at 115200 baud", 13 * (12 + 6 * 10 / 115.2)},
    {"13 replies that are given 25 ms to arrive whole", 13 * 25},
    {"ADC: before and after the acquisition", 2 * 1000},
    {"ADC: the FPGA's registers and the acquisition", 523},
    {"EEPROM: 398 bytes of 9 bits at 100 kHz, a write cycle of 5 ms", 398 * 0.09 + 5},
    {"USB: the device gets time to appear", 1000},
    {"10 pauses, one after each check", 10 * 30},
};

TEST(Latency, OfAnAutoRunIsItsWaits) {
    if (K905_SANITIZED)
        GTEST_SKIP() << "the address sanitizer's fopen hides the bitmaps from the trace";
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard() && person.Connect());
    person.At().Request({{"do", "trace"}, {"action", "start"}});
    person.Press("Auto");
    ASSERT_TRUE(person.Sees("SDcard Check OK!", 20000));
    const nlohmann::json reply =
        person.At().Request({{"do", "trace"}, {"action", "read"}, {"thread", "window"}});
    const std::vector<std::string> lines = reply.at("lines");
    // From the pressed look of the first check's button to the released look of Auto, after the summary.
    std::vector<double> pressed, released;
    for (const std::string& line : lines) {
        if (line.find("file open /app/fct/bitmap/btn_active.bmp") != std::string::npos)
            pressed.push_back(std::stod(line));
        if (line.find("file open /app/fct/bitmap/btn_enable.bmp") != std::string::npos)
            released.push_back(std::stod(line));
    }
    ASSERT_EQ(11u, pressed.size()) << "Auto and ten checks";
    ASSERT_EQ(11u, released.size());
    const double took = (released.back() - pressed[1]) * 1000;
    double waits = 0;
    for (const auto& wait : kAutoWaits)
        waits += wait.ms;
    std::cout << "Auto run: " << took << " ms, its waits " << waits << " ms\n";
    EXPECT_LE(took, waits * 1.01);
    EXPECT_GE(took, waits) << "something does not wait";
}

}  // namespace
}  // namespace k905
