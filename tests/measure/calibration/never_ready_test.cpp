// Acquisitions that never end: every calibration comes to its end all the same, and leaves the module safe.
#include <atomic>
#include <string>

#include "device/Opm.h"
#include "device/common_opt.h"
#include "gui/guischeduler.h"
#include "measure/adjust.h"
#include "measure/apd.h"
#include "measure/common_opm.h"
#include "measure/fiber_offset.h"
#include "tests/measure/calibration/calibration_fixture.h"

using testing::Contains;
using testing::ElementsAre;

namespace {

class NeverReady : public test::Calibration {
  protected:
    NeverReady() {
        Plug(3);
        Set("optics.fibre", "1.5 km");
    }
    ~NeverReady() override { SetExitFlag(0); }

    // Runs `action` and returns how many seconds it took. After two minutes the program is ended, so that a
    // wait without end fails the test.
    template <typename Action>
    double Seconds(Action action) {
        static std::atomic<bool> running;
        SetExitFlag(0);
        running = true;
        GUITHREAD watch = GUITHREAD_NONE;
        const THREADFUNC watching = [](void*) -> void* {
            for (int i = 0; i < 240 && running; ++i)
                MsecSleep(500);
            if (running)
                SetExitFlag(1);
            ThreadExit(nullptr);
        };
        EXPECT_EQ(0, ThreadCreate(&watch, watching, nullptr));
        const k905::Micros begin = linked_->Now();
        test::Quietly([&] { return action(), 0; });
        const double seconds = static_cast<double>(linked_->Now() - begin) / 1e6;
        running = false;
        ThreadJoin(watch, nullptr);
        return seconds;
    }
    void Run(THREADFUNC body) {
        GUITHREAD thread = GUITHREAD_NONE;
        EXPECT_EQ(0, ThreadCreate(&thread, body, nullptr));
        EXPECT_EQ(0, ThreadJoin(thread, nullptr));
    }
    std::string Apd() const {
        return linked_->Hardware().State().at("fpga").at("registers").at("apd").get<std::string>();
    }
    std::string Acquisition() const {
        return linked_->Hardware().State().at("fpga").at("acquisition").get<std::string>();
    }
    // Neither bit comes, or the ready bit does not.
    void Break(bool done) {
        if (done)
            Fault("optic.register_stuck", {{"register", "0x3000002e"}, {"value", 0x80}});
        else
            Fault("optic.never_ready", true);
    }
    void Repair() {
        Fault("optic.register_stuck", false);
        Fault("optic.never_ready", false);
    }

    const std::string timeOut_ = "optcheck: Acquisition time out.";
};

}  // namespace

TEST_F(NeverReady, TheLightPathIsBadAndTheHighVoltageAtRest) {
    for (const bool done : {false, true}) {
        Break(done);
        operator_.Clear();
        int32_t result = 99;
        EXPECT_NEAR(6, Seconds([&] { result = LightRoadJust(WAVE_LEN_1310); }), 1) << done;
        EXPECT_EQ(-1, result);
        EXPECT_EQ("0x0800", Apd());
        EXPECT_EQ("idle", Acquisition());
        EXPECT_THAT(operator_.Lines(), ElementsAre(timeOut_));
        Repair();
    }
    EXPECT_EQ(1, test::Quietly([] { return LightRoadJust(WAVE_LEN_1310); }));
}

TEST_F(NeverReady, WithoutTheDriverTheLightPathAndTheOffsetEnd) {
    Fault("optic.ioctl_failing", true);
    int32_t result = 99;
    char text[128] = "";
    EXPECT_NEAR(6, Seconds([&] { result = LightRoadJust(WAVE_LEN_1550); }), 1);
    EXPECT_EQ(-1, result);
    EXPECT_NEAR(6, Seconds([&] { result = CalExFiberLen(text); }), 1);
    EXPECT_EQ(0, result);
    EXPECT_STREQ("Adjust Error", text);
    EXPECT_THAT(operator_.Lines(), ElementsAre(timeOut_, timeOut_));
}

TEST_F(NeverReady, TheOffsetIsAnErrorAndTheStoredOneStays) {
    cOpmTunning.OffsetPoint = 4711;
    SaveOpmTunning();
    for (const bool done : {false, true}) {
        Break(done);
        operator_.Clear();
        int offset = -1;
        char text[128] = "";
        EXPECT_NEAR(6, Seconds([&] { offset = CalExFiberLen(text); }), 1) << done;
        EXPECT_EQ(0, offset);
        EXPECT_STREQ("Adjust Error", text);
        EXPECT_EQ(4711, cOpmTunning.OffsetPoint);
        EXPECT_EQ("idle", Acquisition());
        EXPECT_THAT(operator_.Lines(), ElementsAre(timeOut_));
        Repair();
    }
    cOpmTunning.OffsetPoint = 0;
    test::Quietly([] { return GetOpmTunning(), 0; });
    EXPECT_EQ(4711, cOpmTunning.OffsetPoint);
}

TEST_F(NeverReady, TheSecondAttenuatorIsFoundAndItsDarkLevelIsNot) {
    EXPECT_EQ(0, test::Quietly([] { return OPMAdjustAtt0(WAVE_LEN_1310); }));
    BlackLevelVoltage = 48913;
    Fault("optic.never_ready", true);
    EXPECT_LT(Seconds([this] { Run(OPMAdjustAtt1Thd); }), 60);
    EXPECT_THAT(operator_.Lines(), Contains(testing::EndsWith("not measured, acquisition time out!")));
    const std::string last = operator_.Lines().back();
    EXPECT_THAT(last, testing::StartsWith("adjust data 4: Ad:"));
    EXPECT_THAT(last, testing::EndsWith("BlackLevel not measured"));
    EXPECT_EQ(OpmTuningResult.Att1_Result[0].reg, cOpmTunning.iAtt1);
    EXPECT_NEAR(Truth("att1_zero_code"), cOpmTunning.iAtt1, 20);
}

TEST_F(NeverReady, AStopEndsTheApdTuningWithinASecond) {
    static APD_BREAK_PARA para;
    pApd_Break_Para = &para;
    for (const bool done : {false, true}) {
        SetAPDAdjStopFlag(1);
        Break(done);
        const double seconds = Seconds([] {
            GUITHREAD tuning = GUITHREAD_NONE;
            const THREADFUNC body = [](void*) -> void* {
                OPMAutoTuning();
                ThreadExit(nullptr);
            };
            EXPECT_EQ(0, ThreadCreate(&tuning, body, nullptr));
            MsecSleep(60000);
            SetAPDAdjStopFlag(0);
            EXPECT_EQ(0, ThreadJoin(tuning, nullptr));
        });
        EXPECT_GE(seconds, 60) << "no limit ends it before";
        EXPECT_LT(seconds, 61);
        EXPECT_EQ("0x0800", Apd());
        EXPECT_EQ("idle", Acquisition());
        EXPECT_EQ(0, para.iNum);
        EXPECT_EQ("apd 1: APD Tuning Start Failed! ret = -1", operator_.Lines().back());
        Repair();
    }
    pApd_Break_Para = nullptr;
}
