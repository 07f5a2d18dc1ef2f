// How long the operator waits, in the instrument's own time: nothing but the polls and waits that the program
// is made of.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

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

// What the waiting of a trace's lines comes to, in milliseconds: pauses, and the time that bytes need on the
// serial line (9600 baud, 10 bits a byte) and that the EEPROM is open.
struct Waits {
    double pauses = 0, serial = 0, eeprom = 0;
    double Sum() const { return pauses + serial + eeprom; }
};

Waits Added(const std::vector<std::string>& lines) {
    static const std::regex kLine(R"( *([0-9.]+) +\S+ +(.*))"), kSleep(R"(sleep ([0-9]+) ms(?: x([0-9]+))?)"),
        kSerial(R"(serial [rt]x((?: [0-9a-f]{2})+))");
    Waits waits;
    double opened = 0;
    for (const std::string& line : lines) {
        std::smatch parts, what;
        if (!std::regex_match(line, parts, kLine))
            continue;
        const double at = std::stod(parts[1]) * 1000;
        const std::string event = parts[2];
        if (std::regex_match(event, what, kSleep))
            waits.pauses += std::stod(what[1]) * (what[2].matched ? std::stod(what[2]) : 1);
        else if (std::regex_match(event, what, kSerial))
            waits.serial += static_cast<double>(what[1].length()) / 3 * 10 * 1000 / 9600;
        else if (event == "file open /dev/i2c-1")
            opened = at;
        else if (event == "file close /dev/i2c-1")
            waits.eeprom += at - opened;
    }
    return waits;
}

TEST(Latency, OfAnAutoRunIsItsWaits) {
    Operator person;
    ASSERT_TRUE(person.OpenMainBoard() && person.Connect());
    person.At().Request({{"do", "trace"}, {"action", "start"}});
    person.Press("Auto");
    ASSERT_TRUE(person.Sees("SDcard Check OK!", 20000));
    const nlohmann::json reply =
        person.At().Request({{"do", "trace"}, {"action", "read"}, {"thread", "window"}});
    std::vector<std::string> lines = reply.at("lines");
    // From the first button's pressed look to the summary: the bitmaps of Auto itself come before and after.
    const auto opens = [](const char* bitmap) {
        return [bitmap](const std::string& line) {
            return line.find(std::string("file open /app/fct/bitmap/") + bitmap) != std::string::npos;
        };
    };
    const auto pressed = std::find_if(lines.begin(), lines.end(), opens("btn_active.bmp"));
    ASSERT_NE(lines.end(), pressed);
    const auto begin = std::find_if(pressed + 1, lines.end(), opens("btn_active.bmp"));
    const auto end = std::find_if(lines.rbegin(), lines.rend(), opens("btn_enable.bmp")).base();
    ASSERT_LT(begin, end);
    const double took = (std::stod(*(end - 1)) - std::stod(*begin)) * 1000;
    const Waits waits = Added({begin, end});
    std::cout << "Auto run: " << took << " ms; pauses " << waits.pauses << ", serial line " << waits.serial
              << ", EEPROM " << waits.eeprom << ", all else " << took - waits.Sum() << "\n";
    EXPECT_LE(took, waits.Sum() * 1.01);
    EXPECT_GT(waits.pauses, 4000) << "the run is not in the trace";
}

}  // namespace
}  // namespace k905
