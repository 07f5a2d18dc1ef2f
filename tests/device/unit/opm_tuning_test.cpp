#include <errno.h>
#include <math.h>

#include <algorithm>

#include "device/Opm.h"
#include "tests/device/unit/instrument_fixture.h"

namespace {

class Tuning : public test::InstrumentTest {
  protected:
    // The record of a tuned module.
    static OPM_TUNING Tuned() {
        OPM_TUNING tuning = {};
        tuning.iAtt0 = 0x0512;
        tuning.iAtt1 = 0xffff0401;
        for (unsigned i = 0; i < 4; ++i) {
            tuning.iApdBias[i] = 0x600 + i;
            tuning.iVddValue[i] = 0x12340810 + i;
        }
        tuning.iTemperatureSet = 25.75f;
        for (unsigned i = 0; i < 6; ++i) {
            tuning.iApdVoltageSet[i] = 0x9c3 - i;
            tuning.fTempCoefficient[i] = 1.5f * static_cast<float>(i) - 3.0f;
        }
        tuning.OffsetPoint = -7;
        return tuning;
    }

    static std::string Bytes(const OPM_TUNING& tuning) {
        return std::string(reinterpret_cast<const char*>(&tuning), sizeof(tuning));
    }
};

}  // namespace

TEST_F(Tuning, StartsWithItsInitialValues) {
    ASSERT_EQ(&cOpmTunning, pOpmTunning);
    EXPECT_EQ(1280u, pOpmTunning->iAtt0);
    EXPECT_EQ(1024u, pOpmTunning->iAtt1);
    const uint32_t bias[] = {1536, 1360, 1360, 1360};
    const uint32_t vdd[] = {2064, 0, 0, 0};
    EXPECT_EQ(0, memcmp(bias, pOpmTunning->iApdBias, sizeof(bias)));
    EXPECT_EQ(0, memcmp(vdd, pOpmTunning->iVddValue, sizeof(vdd)));
    EXPECT_EQ(std::string(96 - 40, '\0'), Bytes(*pOpmTunning).substr(40));
}

TEST_F(Tuning, ReadsAndPrintsTheRecord) {
    system_.optic = Bytes(Tuned());
    const std::string printed = test::Printed(GetOpmTunning);
    EXPECT_EQ("seek optic0 0\nread optic0 96\n", system_.Trace());
    EXPECT_EQ(Bytes(Tuned()), Bytes(*pOpmTunning));
    EXPECT_EQ(
        "***********\xb3\xf5\xca\xbc\xb5\xf7\xd0\xb3\xb2\xce\xca\xfd***********\n"
        "pOpmTunning->iAtt0=0512\n"
        "pOpmTunning->iAtt1=0401\n"
        "pOpmTunning->iVddValue[0]=0810\n"
        "pOpmTunning->iVddValue[1]=0811\n"
        "pOpmTunning->iVddValue[2]=0812\n"
        "pOpmTunning->iVddValue[3]=0813\n"
        "pOpmTunning->iApdVoltage[0]=09c3\n"
        "pOpmTunning->iApdVoltage[1]=09c2\n"
        "pOpmTunning->iApdVoltage[2]=09c1\n"
        "pOpmTunning->iApdVoltage[3]=09c0\n"
        "pOpmTunning->iApdVoltage[4]=09bf\n"
        "pOpmTunning->iApdVoltage[5]=09be\n"
        "pOpmTunning->iApdBias[0]=0600\n"
        "pOpmTunning->iApdBias[1]=0601\n"
        "pOpmTunning->iApdBias[2]=0602\n"
        "pOpmTunning->iApdBias[3]=0603\n"
        "pOpmTunning->fTempCoefficient[0]=-3.000000\n"
        "pOpmTunning->fTempCoefficient[1]=-1.500000\n"
        "pOpmTunning->fTempCoefficient[2]=0.000000\n"
        "pOpmTunning->fTempCoefficient[3]=1.500000\n"
        "pOpmTunning->fTempCoefficient[4]=3.000000\n"
        "pOpmTunning->fTempCoefficient[5]=4.500000\n"
        "pOpmTunning->iTemperatureSet=25.750000\n" +
            std::string(34, '*') + "\n",
        printed);
}

TEST_F(Tuning, AShortReadKeepsTheRest) {
    system_.optic = Bytes(Tuned()).substr(0, 24);
    test::Printed(GetOpmTunning);
    EXPECT_EQ(0x0512u, pOpmTunning->iAtt0);
    EXPECT_EQ(0x603u, pOpmTunning->iApdBias[3]);
    EXPECT_EQ(2064u, pOpmTunning->iVddValue[0]);
}

TEST_F(Tuning, AFailedReadKeepsTheRecordAndStillPrintsIt) {
    system_.optic = Bytes(Tuned());
    system_.Fail("read optic0", EIO);
    EXPECT_NE(std::string::npos, test::Printed(GetOpmTunning).find("pOpmTunning->iAtt0=0500\n"));
    EXPECT_EQ(1280u, pOpmTunning->iAtt0);
}

TEST_F(Tuning, SavesTheWholeRecord) {
    *pOpmTunning = Tuned();
    SaveOpmTunning();
    EXPECT_EQ("seek optic0 0\nwrite optic0 96\n", system_.Trace());
    EXPECT_EQ(Bytes(Tuned()), system_.optic);
    system_.Fail("write optic0", EIO);
    SaveOpmTunning();
    EXPECT_EQ(Bytes(Tuned()), Bytes(*pOpmTunning));
}

TEST_F(Tuning, ASaveThatSignalsBreakOffIsDoneAnew) {
    const std::string once = "seek optic0 0\nwrite optic0 96\n";
    *pOpmTunning = Tuned();
    system_.Fail("write optic0", EINTR, 0, 2);
    system_.Return("write optic0", 40, 1);
    SaveOpmTunning();
    EXPECT_EQ(once + once + once + once, system_.Trace());
    EXPECT_EQ(Bytes(Tuned()), system_.optic);
    system_.optic.clear();
    system_.Clear();
    system_.Fail("seek optic0", EINTR, 0, 1);
    SaveOpmTunning();
    EXPECT_EQ("seek optic0 0\n" + once, system_.Trace());
    EXPECT_EQ(Bytes(Tuned()), system_.optic);
}

TEST_F(Tuning, AReadThatSignalsBreakOffIsRepeated) {
    const std::string once = "seek optic0 0\nread optic0 96\n";
    system_.optic = Bytes(Tuned());
    system_.Fail("read optic0", EINTR, 0, 2);
    system_.Return("read optic0", 40, 1);
    test::Printed(GetOpmTunning);
    EXPECT_EQ(once + once + once + once, system_.Trace());
    EXPECT_EQ(Bytes(Tuned()), Bytes(*pOpmTunning));
    system_.Clear();
    system_.Fail("seek optic0", EINTR, 0, 1);
    test::Printed(GetOpmTunning);
    EXPECT_EQ("seek optic0 0\n" + once, system_.Trace());
}

TEST_F(Tuning, APositionThatCannotBeSetForGoodIsNoReasonToLeaveTheSave) {
    *pOpmTunning = Tuned();
    system_.Fail("seek optic0", EIO, 0, 1);
    SaveOpmTunning();
    EXPECT_EQ("seek optic0 0\nwrite optic0 96\n", system_.Trace());
    EXPECT_EQ(Bytes(Tuned()), system_.optic);
}

TEST_F(Tuning, SignalsWithoutEndAndAFailureEndTheTransfer) {
    const struct { int error, tries; } cases[] = {{EINTR, 100}, {EIO, 1}};
    const OPM_TUNING before = *pOpmTunning;
    for (const auto& one : cases) {
        for (const auto& fnTransfer : {GetOpmTunning, SaveOpmTunning}) {
            system_.Clear();
            system_.Fail(fnTransfer == GetOpmTunning ? "read optic0" : "write optic0", one.error, 0, 100);
            test::Printed(fnTransfer);
            const std::string seeks = system_.Trace("seek optic0");
            EXPECT_EQ(one.tries, std::count(seeks.begin(), seeks.end(), '\n')) << one.error;
            EXPECT_EQ(Bytes(before), Bytes(*pOpmTunning));
        }
    }
}

TEST_F(Tuning, TemperatureComesInThousandths) {
    system_.milliDegrees = -12345;
    float temperature = 0;
    EXPECT_EQ("GetOpmTemperature:temperature=-12.345000\n",
              test::Printed([&] { EXPECT_EQ(0, GetOpmTemperature(opticFD, &temperature)); }));
    EXPECT_EQ(-12.345f, temperature);
    EXPECT_EQ("temperature\n", system_.Trace());
    EXPECT_EQ(std::vector<std::string>{"apd 1: temperature=-12.345000"}, operator_.Lines());
    // Divided, not multiplied by a rounded thousandth.
    system_.milliDegrees = 9;
    test::Printed([&] { GetOpmTemperature(opticFD, &temperature); });
    EXPECT_EQ(0.009f, temperature);
}

TEST_F(Tuning, TemperatureReturnsThePositiveResultOfTheDriver) {
    system_.Return("temperature", 4);
    float temperature = 9;
    test::Printed([&] { EXPECT_EQ(4, GetOpmTemperature(opticFD, &temperature)); });
    EXPECT_EQ(0.0f, temperature);
}

TEST_F(Tuning, FailedTemperatureLeavesTheValue) {
    system_.Fail("temperature", EIO);
    float temperature = 21.5f;
    EXPECT_EQ("GetOpmTemperature: get opm temperature failed! iErr = -1\n",
              test::Printed([&] { EXPECT_EQ(-1, GetOpmTemperature(opticFD, &temperature)); }));
    EXPECT_EQ(21.5f, temperature);
    EXPECT_EQ(std::vector<std::string>{"apd 1: get opm temperature failed!"}, operator_.Lines());
    EXPECT_EQ(-1, GetOpmTemperature(opticFD, nullptr));
}

TEST_F(Tuning, SavingShowsEachValueForASecond) {
    *pOpmTunning = Tuned();
    operator_.onLine = [this](const std::string& line) { system_.Note("> " + line); };
    test::Printed([] { EXPECT_EQ(0, OPMSaveData2E2PROM()); });
    std::string expected = "seek optic0 0\nwrite optic0 96\nseek optic0 0\nread optic0 96\n";
    for (const char* text : {
             "iAtt0=0512",
             "iAtt1=0401",
             "iVdd0 =0810",
             "iVdd1 =0811",
             "iVdd2 =0812",
             "iVdd3 =0813",
             "iApdBias0 =0600",
             "iApdBias1 =0601",
             "iApdBias2 =0602",
             "iApdBias3 =0603",
             "iTemperatureSet=0019",
             "iApdVoltageSet0 =09c3",
             "iApdVoltageSet1 =09c2",
             "iApdVoltageSet2 =09c1",
             "iApdVoltageSet3 =09c0",
             "iApdVoltageSet4 =09bf",
             "iApdVoltageSet5 =09be",
             "fTempCoefficient0 =-3.00",
             "fTempCoefficient1 =-1.50",
             "fTempCoefficient2 = 0.00",
             "fTempCoefficient3 = 1.50",
             "fTempCoefficient4 = 3.00",
             "fTempCoefficient5 = 4.50",
         })
        expected += std::string("> adjust: pOpmTunning->") + text + "\nsleep 1000\n";
    EXPECT_EQ(expected + "reg write 0x30000002 0x07f8\n", system_.Trace());
}

TEST_F(Tuning, TemperatureIsShownAsSixteenBitsOfAnInteger) {
    const struct {
        float degrees;
        const char* shown;
    } cases[] = {
        {-3.9f, "fffd"},          {0.99f, "0000"},         {70000.0f, "1170"}, {-40000.0f, "63c0"},
        {-2147483648.0f, "0000"}, {2147483648.0f, "0000"}, {1e20f, "0000"},    {NAN, "0000"},
    };
    for (const auto& one : cases) {
        operator_.Clear();
        pOpmTunning->iTemperatureSet = one.degrees;
        system_.optic.clear();
        test::Printed([] { OPMSaveData2E2PROM(); });
        EXPECT_EQ(std::string("adjust: pOpmTunning->iTemperatureSet=") + one.shown, operator_.Lines()[10]);
    }
}
