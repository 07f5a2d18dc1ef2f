// What every test of the measuring code starts from: the recorder in place with acquisitions that end at
// once, the measurement board connected, a script of its readings, and a folder in place of card and stick.
#pragma once

#include <gmock/gmock.h>
#include <string.h>

#include "gui/guischeduler.h"
#include "measure/acquisition.h"
#include "measure/adjust.h"
#include "measure/apd.h"
#include "measure/common_opm.h"
#include "tests/device/unit/instrument_fixture.h"
#include "tests/measure/unit/measure_calls.h"

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
    ~MeasureTest() override { SetExitFlag(0); }

    // The program ends while the n-th acquisition from now waits for its end.
    void EndProgramAt(int n) {
        calls_.onStatus = [this, n, looks = 0]() mutable {
            // Two looks at the control register an acquisition.
            if (++looks == 2 * n - 1) {
                SetExitFlag(1);
                system_.fixed[0x2e / 2] = 0;
            }
        };
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

    // Samples of every following acquisition: by turns two above the mean and two below it, so that the
    // deviation is the swing. Even values keep the float sums exact.
    void Samples(int mean, int swing, int count = 8192) {
        system_.samples.clear();
        for (int i = 0; i < count; ++i)
            system_.samples.push_back(static_cast<uint16_t>(mean + (i % 4 < 2 ? swing : -swing)));
    }

    // One noise measurement.
    struct NOISE {
        int mean, swing;
    };
    // The following acquisitions, one after the other; the last one stays.
    void Acquisitions(const std::vector<NOISE>& noises) {
        const std::vector<NOISE> script = noises;
        calls_.onSamples = [this, script, next = size_t{0}](int) mutable {
            Samples(script[next].mean, script[next].swing);
            next += next + 1 < script.size() ? 1 : 0;
        };
    }

    // The trace with every noise measurement as one line "noise".
    std::string Outline() const {
        const std::string first = "reg write 0x30000002 0x03f8\n";
        const std::string last = "reg write 0x3000002e 0x0000\nsleep 1\n";
        std::string outline = system_.Trace();
        for (size_t at = 0; (at = outline.find(first, at)) != std::string::npos; ++at)
            outline.replace(at, outline.find(last, at) + last.size() - at, "noise\n");
        return outline;
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

    MeasureCalls calls_;
};

}  // namespace test
