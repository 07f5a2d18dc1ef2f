// What every test of the measuring code starts from: the recorder in place with acquisitions that end at
// once, the measurement board connected, and a script of its readings.
#pragma once

#include <gmock/gmock.h>
#include <string.h>

#include "measure/acquisition.h"
#include "measure/adjust.h"
#include "measure/apd.h"
#include "measure/common_opm.h"
#include "tests/device/unit/instrument_fixture.h"

namespace test {

class MeasureTest : public InstrumentTest {
  protected:
    MeasureTest() {
        serialFD = system_.OpenNode("/dev/ttyS0");
        system_.fixed[0x2e / 2] = 0xA0;  // done and ready
        OpmTuningResult = {};
        memset(OpmRegValue, 0, sizeof(OpmRegValue));
        iATT0 = 800;
        SetStopThreadFlag(1);
        SetAPDAdjStopFlag(1);
        LogTableCreat();
    }

    // The board's next answer: a channel at so many volts.
    void Reply(AdcChanel channel, float volts, int times = 1) {
        uint32_t bits = 0;
        memcpy(&bits, &volts, sizeof bits);
        std::string frame = {6, static_cast<char>(channel)};
        for (int shift = 24; shift >= 0; shift -= 8)
            frame += static_cast<char>(bits >> shift & 0xff);
        frame += '#';
        for (int i = 0; i < times; ++i)
            system_.replies.push_back(frame);
    }

    // Samples of every following acquisition: mean, alternately above and below it.
    void Samples(int mean, int swing, int count = 8192) {
        system_.samples.clear();
        for (int i = 0; i < count; ++i)
            system_.samples.push_back(static_cast<uint16_t>(mean + (i % 2 == 0 ? swing : -swing)));
    }

    // Values written to a register, in order.
    std::vector<int> Written(const std::string& address) const {
        std::vector<int> values;
        const std::string prefix = "reg write " + address + " ";
        const std::string trace = system_.Trace(prefix);
        for (size_t at = 0; (at = trace.find(prefix, at)) != std::string::npos; at += prefix.size())
            values.push_back(static_cast<int>(std::stoul(trace.substr(at + prefix.size()), nullptr, 16)));
        return values;
    }
    static int Count(const std::string& text, const std::string& part) {
        int count = 0;
        for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
            ++count;
        return count;
    }
    // Runs a thread body to its end, its output dropped.
    void RunThread(THREADFUNC body, intptr_t argument = 0) {
        test::Printed([&] {
            GUITHREAD thread = GUITHREAD_NONE;
            ASSERT_EQ(0, ThreadCreate(&thread, body, reinterpret_cast<void*>(argument)));
            ASSERT_EQ(0, ThreadJoin(thread, nullptr));
        });
    }
};

}  // namespace test
