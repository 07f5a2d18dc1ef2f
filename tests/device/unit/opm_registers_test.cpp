#include "device/opm_registers.h"

#include <errno.h>

#include "tests/device/unit/instrument_fixture.h"

using OpmRegisters = test::InstrumentTest;

// The phase table for a shift of 210, steps of 9.84375: +68, +59, +49, +39, ... -68, -78 as pairs of bytes.
#define RAMP(a, b, c, d, e, f, g, h)                                                                \
    "reg write 0x300000" a " 0x3b44\nreg write 0x300000" b " 0x2731\nreg write 0x300000" c          \
    " 0x131d\nreg write 0x300000" d " 0x0009\nreg write 0x300000" e " 0xedf7\nreg write 0x300000" f \
    " 0xd9e3\nreg write 0x300000" g " 0xc5cf\nreg write 0x300000" h " 0xb2bc\n"
const char* const kPhaseWrites =
    "reg write 0x30000036 0x2731\nreg write 0x30000038 0x131d\nreg write 0x3000003a 0x0009\n"
    "reg write 0x3000003c 0xedf7\nreg write 0x3000003e 0xd9e3\nreg write 0x30000040 0xc5cf\n"
    "reg write 0x30000042 0xb2bc\n"  //
    RAMP("44", "46", "48", "4a", "4c", "4e", "50", "52") RAMP("54", "56", "58", "5a", "5c", "5e", "60", "62")
        RAMP("64", "66", "68", "6a", "6c", "6e", "70", "72") "reg write 0x30000034 0x3b44\n";
#undef RAMP

TEST_F(OpmRegisters, DacSettersWriteTwelveBits) {
    const struct {
        int32_t (*set)(uint16_t);
        const char* trace;
    } dacs[] = {
        {OPMSetApd, "reg write 0x30000014 0x0abc\n"},     {OPMSetVdd, "reg write 0x30000012 0x0abc\n"},
        {OPMSetApdBias, "reg write 0x30000016 0x0abc\n"}, {OPMSetAtt0, "reg write 0x3000000e 0x0abc\n"},
        {OPMSetAtt1, "reg write 0x30000010 0x0abc\n"},
    };
    for (const auto& dac : dacs) {
        system_.Clear();
        EXPECT_EQ(0, dac.set(0x1abc));
        EXPECT_EQ(dac.trace, system_.Trace());
    }
}

TEST_F(OpmRegisters, FrontAmpChangesItsThreeBits) {
    CurrCtrl0 = 0x635e;
    EXPECT_EQ(0, OPMSetFrontAmp(9));
    EXPECT_EQ("reg write 0x3000000a 0x6359\n", system_.Trace());
    EXPECT_EQ(0x6359, CurrCtrl0);
}

TEST_F(OpmRegisters, ResistorChangesItsTwoBits) {
    CurrCtrl0 = 0xffff;
    EXPECT_EQ(0, OPMSetResistorAmp(6));
    EXPECT_EQ("reg write 0x3000000a 0xfeff\n", system_.Trace());
    EXPECT_EQ(0xfeff, CurrCtrl0);
    CurrCtrl0 = 0;
    EXPECT_EQ(0, OPMSetResistorAmp(0xffff));
    EXPECT_EQ(0x0300, CurrCtrl0);
}

TEST_F(OpmRegisters, WaveLenKeepsTheTwoLowBitsOfItsCode) {
    const struct {
        uint16_t shadow, code, written;
    } cases[] = {
        {0x0050, 0, 0x0010}, {0x0010, 1, 0x0050}, {0x0010, 5, 0x0050},      {0x0010, 2, 0x0090},
        {0xffff, 0, 0xff3f}, {0x0000, 3, 0x00c0}, {0x0100, 0xfffc, 0x0100},
    };
    for (const auto& one : cases) {
        CurrCtrl1 = one.shadow;
        EXPECT_EQ(0, OPMSetWaveLen(one.code));
        EXPECT_EQ(one.written, CurrCtrl1);
        EXPECT_EQ(one.written, system_.registers[6]);
    }
}

TEST_F(OpmRegisters, TheEchoDoesNotReachTheShadow) {
    system_.echo[5] = 0x1111;
    OPMSetFrontAmp(3);
    EXPECT_EQ(3, CurrCtrl0);
}

TEST_F(OpmRegisters, AFailedWriteHasItsCodeAndStillChangesTheShadow) {
    system_.Fail("reg write", EIO, 0, 8);
    for (auto set : {OPMSetApd, OPMSetVdd, OPMSetApdBias, OPMSetAtt0, OPMSetAtt1})
        EXPECT_EQ(-5, set(1));
    EXPECT_EQ(-5, OPMSetFrontAmp(7));
    EXPECT_EQ(-5, OPMSetResistorAmp(3));
    EXPECT_EQ(-5, OPMSetWaveLen(1));
    EXPECT_EQ(0x0307, CurrCtrl0);
    EXPECT_EQ(0x0040, CurrCtrl1);
    system_.Clear();
    EXPECT_EQ(0, OPMSetFrontAmp(0));
    EXPECT_EQ("reg write 0x3000000a 0x0300\n", system_.Trace());
}

TEST_F(OpmRegisters, AnyResultButZeroIsAFailure) {
    system_.Return("reg write", 1);
    EXPECT_EQ(-5, OPMSetVdd(1));
}

TEST_F(OpmRegisters, CodeTables) {
    const uint16_t frontAmp[] = {0, 1, 3, 7};
    const uint16_t resistor[] = {0, 1, 2, 3};
    EXPECT_EQ(0, memcmp(frontAmp, FrontAmpCode, sizeof(frontAmp)));
    EXPECT_EQ(0, memcmp(resistor, ResistorCode, sizeof(resistor)));
    EXPECT_EQ(0, WAVE_LEN_1310);
    EXPECT_EQ(1, WAVE_LEN_1550);
    EXPECT_EQ(2, WAVE_LEN_1625);
    EXPECT_EQ(3, WAVE_LEN_MAX);
    EXPECT_EQ(2048, APD_REST_CODE);
}

TEST_F(OpmRegisters, PhaseTableIsWrittenWithItsFirstEntryLast) {
    EXPECT_EQ(0, OPMSetPhase());
    EXPECT_EQ(kPhaseWrites, system_.Trace());
}

TEST_F(OpmRegisters, PhaseResultCountsAllWritesButTheLast) {
    system_.Fail("reg write 0x30000034", EIO);
    EXPECT_EQ(0, OPMSetPhase());
    system_.Fail("reg write 0x30000072", EIO);
    system_.Fail("reg write 0x30000036", EIO);
    EXPECT_EQ(-2, OPMSetPhase());
    EXPECT_EQ(-31, [] {
        test::SystemRecorder deaf;
        deaf.Fail("reg write", EIO);
        const int wasOpen = opticFD;
        opticFD = deaf.OpenNode("/dev/optic0");
        const int32_t sum = OPMSetPhase();
        opticFD = wasOpen;
        return sum;
    }());
}
