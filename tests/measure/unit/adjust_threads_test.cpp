// The thread bodies around the adjustment loops, and the voltages shown once.
#include <errno.h>

#include "tests/measure/unit/measure_fixture.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AdjustThreads : public test::MeasureTest {
  protected:
    AdjustThreads() {
        Samples(50000, 0);  // a good dark level
    }

    void ReplyApd() {
        for (const float target : {45.0f, 40.0f, 35.0f, 30.0f, 25.0f})
            Reply(ADC_CHANEL_T70, target);
    }
    void ReplyVdd() {
        for (const float target : {3.0f, 2.5f, 2.0f, 1.5f})
            Reply(ADC_CHANEL_TP15, target);
    }
    void ReplyOffset(AdcChanel channel) {
        Reply(ADC_CHANEL_TP1, 0.5f);
        Reply(channel, 0.0f);
    }
    // Readings that are at their target at once, for all four loops.
    void ReplyAll() {
        ReplyApd();
        ReplyVdd();
        ReplyOffset(ADC_CHANEL_TP3);
        ReplyOffset(ADC_CHANEL_TP4);
    }
    // What the operator saw, without the progress of the loops.
    std::vector<std::string> Results() const {
        std::vector<std::string> results;
        for (const std::string& line : operator_.Lines())
            if (line.find("AD Value") == std::string::npos && line.find("finish") == std::string::npos)
                results.push_back(line);
        return results;
    }
    int Saves() const { return Count(system_.Trace(), "seek optic0 0\nwrite optic0 96\n"); }
    bool RecordIs(const OPM_TUNING& record) const {
        return memcmp(&record, &cOpmTunning, sizeof record) == 0;
    }
    // The status that a thread body ends with.
    int32_t Status(THREADFUNC body, intptr_t argument = 0) {
        void* pStatus = nullptr;
        test::Printed([&] {
            GUITHREAD thread = GUITHREAD_NONE;
            ASSERT_EQ(0, ThreadCreate(&thread, body, reinterpret_cast<void*>(argument)));
            ASSERT_EQ(0, ThreadJoin(thread, &pStatus));
        });
        return pStatus == nullptr ? 99 : *static_cast<int32_t*>(pStatus);
    }

    const std::string apd_ =
        "adjust data 1: Ad: 45.0V reg:0x09c3  Ad: 40.0V reg:0x07bb  Ad: 35.0V reg:0x05b9  "
        "Ad: 30.0V reg:0x03b0  Ad: 25.0V reg:0x01b0";
    const std::string vdd_ =
        "adjust data 2: Ad:  3.0V reg:0x0810  Ad:  2.5V reg:0x06b0  Ad:  2.0V reg:0x0560  "
        "Ad:  1.5V reg:0x0420";
    const std::string att0_ = "adjust data 3: Ad:  0.0V reg:0x500";
    const std::string late_ = "adjust data 4: Ad:  0.0V reg:0x500";  // ATT1 shows the text before its own
    const std::string att1_ = "adjust data 4: Ad:  0.0V reg:0x400    BlackLevel = 50000";
};

// ---- One loop ----

TEST_F(AdjustThreads, EachShowsItsResultAndSavesItsCodes) {
    OPM_TUNING before = {};
    memset(&before, 0x55, sizeof before);
    const struct {
        THREADFUNC body;
        const std::string& line;
        void (*fnKeep)(OPM_TUNING& record);
    } cases[] = {
        {OPMAdjustAPDThd, apd_,
         [](OPM_TUNING& record) {
             const uint32_t codes[] = {2499, 1979, 1465, 944, 432};
             std::copy(codes, codes + 5, record.iApdVoltageSet);
         }},
        {OPMAdjustVddThd, vdd_,
         [](OPM_TUNING& record) {
             const uint32_t codes[] = {2064, 1712, 1376, 1056};
             std::copy(codes, codes + 4, record.iVddValue);
         }},
        {OPMAdjustAtt0Thd, att0_, [](OPM_TUNING& record) { record.iAtt0 = 1280; }},
        {OPMAdjustAtt1Thd, att1_, [](OPM_TUNING& record) { record.iAtt1 = 1024; }},
    };
    ReplyAll();
    for (const auto& one : cases) {
        cOpmTunning = before;
        OPM_TUNING kept = before;
        one.fnKeep(kept);
        system_.Clear();
        operator_.Clear();
        EXPECT_EQ(0, Status(one.body, WAVE_LEN_1550));
        EXPECT_EQ(one.line, Results().back());
        EXPECT_TRUE(RecordIs(kept)) << one.line;
        EXPECT_EQ(1, Saves());
    }
    EXPECT_EQ(2499, OpmRegValue[WAVE_LEN_1550].iApdValue[0]);
    EXPECT_EQ(1056, OpmRegValue[WAVE_LEN_1550].iVddValue[3]);
    EXPECT_EQ(1280, OpmRegValue[WAVE_LEN_1550].iAtt0Value[0]);
    EXPECT_EQ(1024, OpmRegValue[WAVE_LEN_1550].iAtt1Value[0]);
}

TEST_F(AdjustThreads, AStoppedOneSaysStopAndSavesNothing) {
    const OPM_TUNING before = cOpmTunning;
    const THREADFUNC bodies[] = {OPMAdjustAPDThd, OPMAdjustVddThd, OPMAdjustAtt0Thd, OPMAdjustAtt1Thd};
    for (int line = 1; line <= 4; ++line) {
        for (const bool later : {false, true}) {
            SetStopThreadFlag(later ? 1 : 0);
            system_.replies.clear();
            Reply(line == 1 ? ADC_CHANEL_T70 : ADC_CHANEL_TP15, 99.0f, later ? 800 : 0);
            operator_.Clear();
            operator_.onLine = [](const std::string& text) {
                if (text.find("times7") != std::string::npos || text.find("times19") != std::string::npos ||
                    text.find("finish FPGA") != std::string::npos)
                    SetStopThreadFlag(0);
            };
            EXPECT_EQ(0, Status(bodies[line - 1]));
            EXPECT_THAT(Results(), ElementsAre("adjust data " + std::to_string(line) + ": Stop"));
        }
    }
    EXPECT_TRUE(RecordIs(before));
    EXPECT_EQ(0, Saves());
}

TEST_F(AdjustThreads, AFailureGoesToTheErrorHandler) {
    const OPM_TUNING before = cOpmTunning;
    Reply(ADC_CHANEL_T70, 0.0f, 201);
    EXPECT_EQ(-8, Status(OPMAdjustAPDThd));
    EXPECT_THAT(Results(), ElementsAre("adjust: Ajust try times out."));
    EXPECT_EQ(-1, Status(OPMAdjustVddThd, 4));
    EXPECT_EQ("adjust: Invalid Wave Length.", Results().back());
    EXPECT_TRUE(RecordIs(before));
    EXPECT_EQ(0, Saves());
}

TEST_F(AdjustThreads, ADarkLevelThatIsNeverThereHasNoFigureInTheResultEither) {
    ReplyOffset(ADC_CHANEL_TP4);
    system_.fixed[0x2e / 2] = 0;
    EXPECT_EQ(0, Status(OPMAdjustAtt1Thd));
    EXPECT_EQ("adjust data 4: Ad:  0.0V reg:0x400    BlackLevel not measured", Results().back());
    EXPECT_EQ(1024u, cOpmTunning.iAtt1);
    EXPECT_EQ(1, Saves());
}

TEST_F(AdjustThreads, AnApdSearchWithItsTriesSpentLeavesTheHighVoltageAtRest) {
    const char* const apd = "0x30000014";
    for (const THREADFUNC body : {OPMAdjustAPDThd, OPMAdjustAllThd}) {
        system_.Clear();
        Reply(ADC_CHANEL_T70, 0.0f, 201);
        EXPECT_EQ(-8, Status(body));
        const std::vector<int> codes = Written(apd);
        ASSERT_EQ(203u, codes.size());
        EXPECT_EQ(3504, codes[201]);
        EXPECT_EQ(2048, codes.back());
    }
    system_.Clear();
    ReplyApd();
    EXPECT_EQ(0, Status(OPMAdjustAPDThd));
    EXPECT_EQ(432, Written(apd).back()) << "the last target's code after a success";
    system_.Clear();
    EXPECT_EQ(-1, Status(OPMAdjustAPDThd, 4));
    EXPECT_EQ("", system_.Trace());
}

// ---- All loops ----

TEST_F(AdjustThreads, AutoGoesOnFromAnApdAtRest) {
    Reply(ADC_CHANEL_T70, 0.0f, 201);
    ReplyVdd();
    ReplyOffset(ADC_CHANEL_TP3);
    ReplyOffset(ADC_CHANEL_TP4);
    test::Printed([] { EXPECT_EQ(0, OPMAdjustAuto()); });
    EXPECT_THAT(system_.Trace("reg write"),
                HasSubstr("0x30000014 0x0db0\nreg write 0x30000014 0x0800\nreg write 0x30000012 0x0810\n"));
}

TEST_F(AdjustThreads, AutoRunsTheFourOneAfterAnother) {
    ReplyAll();
    test::Printed([] { EXPECT_EQ(0, OPMAdjustAuto()); });
    EXPECT_THAT(Results(), ElementsAre(apd_, vdd_, att0_, late_, att1_));
    EXPECT_EQ(4, Saves());
    EXPECT_EQ(2499, OpmRegValue[0].iApdValue[0]) << "for the first wavelength";
}

TEST_F(AdjustThreads, AutoHasTheResultOfTheLastThreadMade) {
    for (const int failing : {2, 4}) {
        operator_.Clear();
        system_.replies.clear();
        int made = 0;
        calls_.onThread = [&] { return ++made == failing ? EAGAIN : 0; };
        ReplyApd();
        if (failing != 2)
            ReplyVdd();
        ReplyOffset(ADC_CHANEL_TP3);
        ReplyOffset(ADC_CHANEL_TP4);
        test::Printed([&] { EXPECT_EQ(failing == 4 ? EAGAIN : 0, OPMAdjustAuto()); });
        EXPECT_EQ(4, made);
        const std::vector<std::string> withoutVdd = {apd_, att0_, late_, att1_};
        const std::vector<std::string> withoutAtt1 = {apd_, vdd_, att0_};
        EXPECT_EQ(failing == 2 ? withoutVdd : withoutAtt1, Results());
    }
}

TEST_F(AdjustThreads, TheAutoThreadSavesTheSecondAttenuatorOnceMore) {
    ReplyAll();
    EXPECT_EQ(0, Status(OPMAdjustAutoThd));
    EXPECT_THAT(Results(), ElementsAre(apd_, vdd_, att0_, late_, att1_, att1_));
    EXPECT_EQ(5, Saves());
    EXPECT_EQ(1024u, cOpmTunning.iAtt1);
}

TEST_F(AdjustThreads, AStoppedAutoThreadHandsItsResultToTheErrorHandler) {
    ReplyAll();
    operator_.onLine = [this](const std::string& line) {
        if (line == vdd_)
            SetStopThreadFlag(0);
    };
    EXPECT_EQ(0, Status(OPMAdjustAutoThd));
    EXPECT_THAT(Results(), ElementsAre(apd_, vdd_, "adjust data 3: Stop", "adjust data 4: Stop",
                                       "adjust: Unkown Error."));
    EXPECT_EQ(2, Saves());

    SetStopThreadFlag(1);
    operator_.Clear();
    int made = 0;
    calls_.onThread = [&] { return ++made == 1 ? 0 : EAGAIN; };
    EXPECT_EQ(EAGAIN, Status(OPMAdjustAutoThd));
    EXPECT_THAT(Results(), ElementsAre("adjust: Unkown Error."));
}

TEST_F(AdjustThreads, TheAllThreadAdjustsThreeWavelengthsAndSavesNothing) {
    const OPM_TUNING before = cOpmTunning;
    for (int wave = 0; wave < 3; ++wave)
        ReplyAll();
    EXPECT_EQ(0, Status(OPMAdjustAllThd));
    EXPECT_THAT(Results(), IsEmpty());
    // The wavelength, then the set-up of the two offset searches.
    EXPECT_THAT(Written("0x3000000c"),
                ElementsAre(0x00, 0x40, 0x40, 0x41, 0x40, 0x40, 0x40, 0x41, 0x80, 0x40, 0x40, 0x41));
    for (const OPM_REG_VALUE& value : OpmRegValue) {
        EXPECT_EQ(432, value.iApdValue[4]);
        EXPECT_EQ(2064, value.iVddValue[0]);
        EXPECT_EQ(1280, value.iAtt0Value[0]);
        EXPECT_EQ(1024, value.iAtt1Value[0]);
    }
    EXPECT_TRUE(RecordIs(before));
    EXPECT_EQ(0, Saves());
}

TEST_F(AdjustThreads, TheAllThreadEndsWithTheFirstFailure) {
    ReplyAll();
    ReplyApd();
    Reply(ADC_CHANEL_TP15, 9.0f, 4 * 801);
    EXPECT_EQ(-8, Status(OPMAdjustAllThd));
    EXPECT_THAT(Results(), ElementsAre("adjust: Ajust try times out."));
    EXPECT_TRUE(system_.replies.empty());
    EXPECT_EQ(0x40, Written("0x3000000c").back()) << "the second wavelength, and no set-up after it";
    EXPECT_EQ(5u, Written("0x3000000c").size());
    EXPECT_EQ(432, OpmRegValue[1].iApdValue[4]);
    EXPECT_EQ(0, OpmRegValue[2].iApdValue[4]);
}

// ---- Tuning and show ----

TEST_F(AdjustThreads, TuningStartsFromTheRecordsAttenuator) {
    APD_BREAK_PARA para = {};
    pApd_Break_Para = &para;
    cOpmTunning.iAtt0 = 1234;
    SetAPDAdjStopFlag(0);
    EXPECT_EQ(0, OPMAutoTuning());
    EXPECT_EQ(1234u, iATT0);
    EXPECT_EQ("", system_.Trace());

    SetAPDAdjStopFlag(1);
    Acquisitions({{60000, 10}, {60000, 10}, {60000, 100}});
    operator_.onLine = [](const std::string& line) {
        if (line.find("apd 2: DelayTime") == 0)
            SetAPDAdjStopFlag(0);
    };
    test::Printed([] { EXPECT_EQ(0, OPMAutoTuning()); });
    EXPECT_EQ("apd 2: DelayTime = 60 min, CurTime = 0 min", operator_.Lines().back());
    EXPECT_EQ(1234, Written("0x3000000e").front());

    pApd_Break_Para = nullptr;
    SetAPDAdjStopFlag(1);
    EXPECT_EQ(0, OPMAutoTuning());
}

TEST_F(AdjustThreads, ShowReadsTheFourVoltagesOntoOneLine) {
    const AdcChanel channels[] = {ADC_CHANEL_TP3, ADC_CHANEL_TP4, ADC_CHANEL_TP15, ADC_CHANEL_T70};
    for (const int failing : {-1, 0, 3}) {
        operator_.Clear();
        system_.replies.clear();
        for (int i = 0; i < 4; ++i)
            Reply(i == failing ? ADC_CHANEL_TP1 : channels[i], static_cast<float>(i + 1));
        int32_t status = 99;
        test::Printed([&] { status = OPMAdjustShow(); });
        EXPECT_EQ(failing == 3 ? OPM_ERR_ADC_CHANNEL : 0, status) << "that of the APD";
        ASSERT_EQ(1u, operator_.Lines().size());
        if (failing < 0) {
            EXPECT_EQ("adjust:  ATT0: 1.00000V   ATT1: 2.00000V   VDD: 3.00000V   APD: 4.00000V  ",
                      operator_.Lines()[0]);
        }
        EXPECT_THAT(operator_.Lines()[0], HasSubstr("   ATT1: 2.00000V   VDD: 3.00000V   APD: "));
    }
    ShowADValue(1.5f, 12, 0xAB);
    EXPECT_EQ("adjust: AD Value :1.50000V, times12 reg:ab", operator_.Lines().back());
}
