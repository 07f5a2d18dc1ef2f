#include <stdlib.h>
#include <unistd.h>

#include "tests/device/instrument/device_fixture.h"
#include "tests/support/golden_text.h"

using StartUpOnInstrument = test::DeviceTest;

TEST_F(StartUpOnInstrument, DoesToTheHardwareWhatItShould) {
    EXPECT_EQ(0, StartUp());
    EXPECT_TRUE(test::MatchesGoldenText(Trace(), "traces/opm_test_init"));
}

TEST_F(StartUpOnInstrument, LoadsTheBitstreamOfTheBoard) {
    const struct {
        int pb8, pb9, pb27;
        const char* file;
    } boards[] = {
        {0, 0, 1, "/app/fct/k905fpga_LAT_LFE5U-45F.bit"},
        {1, 0, 0, "/app/fct/k905fpga_XIN_LX16.bin"},
        {1, 1, 1, "/app/fct/k905fpga_XIN_LX25.bin"},
    };
    for (const auto& board : boards) {
        Set("straps.pb8", board.pb8);
        Set("straps.pb9", board.pb9);
        Set("straps.pb27", board.pb27);
        linked_->ClearTrace();
        test::Printed(GetFpgaVersion);
        EXPECT_STREQ(board.file, cFpgaFileName);
    }
}

TEST_F(StartUpOnInstrument, BoardWithUnknownStrapsStaysWithoutFpga) {
    Fault("straps.unknown");
    testing::internal::CaptureStderr();
    StartUp();
    EXPECT_EQ("stat: No such file or directory\n", testing::internal::GetCapturedStderr());
    EXPECT_NE(std::string::npos, output_.find("fpga file name is \n"));
    EXPECT_EQ("", Trace({"fpga"}));
}

TEST_F(StartUpOnInstrument, LoaderThatRefusesIsToldAndLeftOpen) {
    ASSERT_EQ(0, system("insmod /lib/modules/2.6.30/drv_fpga.ko"));
    Fault("fpga.load_failing");
    testing::internal::CaptureStderr();
    const int lowest = dup(0);  // the descriptor that the loader will get
    close(lowest);
    EXPECT_EQ(-3, fpga_init("/app/fct/k905fpga_XIN_LX16.bin"));
    EXPECT_EQ("iotcl(): Input/output error\n", testing::internal::GetCapturedStderr());
    EXPECT_THAT(linked_->OpenPaths(), testing::ElementsAre("/dev/fpga0"));
    close(lowest);
}

TEST_F(StartUpOnInstrument, FailingDriverShowsInTheResult) {
    Fault("optic.ioctl_failing");
    EXPECT_EQ(-1, StartUp());
    EXPECT_THAT(operator_.Lines(), testing::ElementsAre("apd 1: get opm temperature failed!"));
    EXPECT_EQ(-5, OPMSetVdd(1));
    EXPECT_EQ(-31, OPMSetPhase());
}

TEST_F(StartUpOnInstrument, TakesTheTemperatureOfTheModule) {
    Set("module.temperature", -12.345);
    StartUp();
    EXPECT_NE(std::string::npos, output_.find("Temperature =-12.345000"));
}

TEST_F(StartUpOnInstrument, TuningRecordSurvivesInTheModule) {
    StartUp();
    pOpmTunning->iAtt0 = 0x0666;
    pOpmTunning->OffsetPoint = -3;
    SaveOpmTunning();
    pOpmTunning->iAtt0 = 0;
    pOpmTunning->OffsetPoint = 0;
    test::Printed(GetOpmTunning);
    EXPECT_EQ(0x0666u, pOpmTunning->iAtt0);
    EXPECT_EQ(-3, pOpmTunning->OffsetPoint);
    Fault("optic.tuning_failing");
    pOpmTunning->iAtt0 = 0x0777;
    SaveOpmTunning();
    test::Printed(GetOpmTunning);
    EXPECT_EQ(0x0777u, pOpmTunning->iAtt0);
    Fault("optic.tuning_failing", false);
    test::Printed(GetOpmTunning);
    EXPECT_EQ(0x0666u, pOpmTunning->iAtt0);
}

TEST_F(StartUpOnInstrument, SavingShowsTheRecordForASecondAValue) {
    StartUp();
    linked_->ClearTrace();
    operator_.Clear();
    const k905::Micros before = linked_->Now();
    test::Printed(OPMSaveData2E2PROM);
    EXPECT_EQ("tuning write 96\ntuning read 96\nsleep 1000 ms x23\nreg write 0x30000002 0x07f8\n", Trace());
    EXPECT_EQ(23, (linked_->Now() - before) / 1000000);
    ASSERT_EQ(23u, operator_.Lines().size());
    EXPECT_EQ("adjust: pOpmTunning->iAtt0=0500", operator_.Lines().front());
    EXPECT_EQ("adjust: pOpmTunning->fTempCoefficient5 = 0.00", operator_.Lines().back());
}
