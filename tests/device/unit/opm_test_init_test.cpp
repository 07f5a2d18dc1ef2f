#include <errno.h>
#include <math.h>

#include "measure/numeric/numeric.h"
#include "tests/device/unit/instrument_fixture.h"

namespace {

class TestStartUp : public test::InstrumentTest {
  protected:
    TestStartUp() {
        opticFD = -1;
        system_.outputs["cat /sys/class/gpio/gpio72/value"] = "1\n";
        system_.outputs["cat /sys/class/gpio/gpio73/value"] = "0\n";
        system_.outputs["cat /sys/class/gpio/gpio91/value"] = "0\n";
        system_.files["/app/fct/k905fpga_XIN_LX16.bin"] = "bits";
        OPM_TUNING stored = cOpmTunning;
        stored.iAtt0 = 0x501;
        system_.optic.assign(reinterpret_cast<const char*>(&stored), sizeof(stored));
    }

    int32_t Run() {
        int32_t result = 0;
        output_ = test::Printed([&] { result = OPMTestInit(); });
        return result;
    }

    bool PrintedText(const std::string& text) const { return output_.find(text) != std::string::npos; }

    std::string output_;
};

const char* const kModulesAndFpga =
    "shell insmod /lib/modules/2.6.30/drv_fpga.ko\n"
    "sleep 100\n"
    "shell echo 72 > /sys/class/gpio/export\n"
    "shell echo in > /sys/class/gpio/gpio72/direction\n"
    "pipe cat /sys/class/gpio/gpio72/value\n"
    "pclose\n"
    "shell echo 73 > /sys/class/gpio/export\n"
    "shell echo in > /sys/class/gpio/gpio73/direction\n"
    "pipe cat /sys/class/gpio/gpio73/value\n"
    "pclose\n"
    "shell echo 91 > /sys/class/gpio/export\n"
    "shell echo in > /sys/class/gpio/gpio91/direction\n"
    "pipe cat /sys/class/gpio/gpio91/value\n"
    "pclose\n"
    "stat /app/fct/k905fpga_XIN_LX16.bin\n"
    "open /dev/fpga0 w\n"
    "ioctl fpga0 size 4\n"
    "open /app/fct/k905fpga_XIN_LX16.bin r\n"
    "read k905fpga_XIN_LX16.bin 1024\n"
    "write fpga0 4\n"
    "read k905fpga_XIN_LX16.bin 1024\n"
    "close k905fpga_XIN_LX16.bin\n"
    "ioctl fpga0 end\n"
    "close fpga0\n"
    "shell insmod /lib/modules/2.6.30/drv_keypad.ko\n"
    "shell insmod /lib/modules/2.6.30/drv_optic.ko\n"
    "open /dev/optic0 rw\n";

const char* const kFirstRegisters =
    "seek optic0 0\n"
    "read optic0 96\n"
    "temperature\n"
    "reg write 0x30000014 0x01b0\n"
    "reg write 0x30000012 0x0810\n"
    "reg write 0x30000016 0x0600\n"
    "reg write 0x3000000a 0x6000\n"
    "reg write 0x3000000c 0x0050\n"
    "sleep 500\n"
    "reg write 0x3000000c 0x0040\n"
    "reg write 0x3000000a 0x6000\n"
    "reg write 0x3000000a 0x6000\n"
    "reg write 0x3000000e 0x0500\n"
    "reg write 0x30000010 0x0400\n"
    "reg read 0x30000002\n"
    "reg write 0x30000002 0x07f8\n";

const char* const kBeforePhases =
    "sleep 1000\n"
    "reg write 0x30000032 0x0000\n"
    "sleep 10\n"
    "reg write 0x30000036 0x2731\n";

const char* const kEnd =
    "reg write 0x30000072 0xb2bc\n"
    "reg write 0x30000034 0x3b44\n"
    "sleep 10\n";

}  // namespace

TEST_F(TestStartUp, RunsItsStepsInOrder) {
    memset(LogSigTable, 0, sizeof(LogSigTable));
    EXPECT_EQ(0, Run());
    const std::string trace = system_.Trace();
    const std::string start = std::string(kModulesAndFpga) + kFirstRegisters + kBeforePhases;
    EXPECT_EQ(start, trace.substr(0, start.size()));
    ASSERT_GT(trace.size(), start.size() + strlen(kEnd));
    EXPECT_EQ(kEnd, trace.substr(trace.size() - strlen(kEnd)));
    EXPECT_EQ(10u + 2u + 32u, [&] {
        size_t lines = 0;
        for (char c : Writes())
            lines += c == '\n';
        return lines;
    }());
    EXPECT_FLOAT_EQ(5.0f, LogSigTable[10]);
}

TEST_F(TestStartUp, LeavesTheShadowsAtTheirFirstValues) {
    Run();
    EXPECT_EQ(0x6000, CurrCtrl0);
    EXPECT_EQ(0x50, CurrCtrl1);
    EXPECT_EQ(0x40, system_.registers[6]);
    OPMSetWaveLen(WAVE_LEN_1310);
    EXPECT_EQ(0x10, system_.registers[6]);
}

TEST_F(TestStartUp, ReadsTheTuningRecordAndPrintsTheTemperature) {
    system_.milliDegrees = -12345;
    Run();
    EXPECT_EQ(0x501u, pOpmTunning->iAtt0);
    EXPECT_TRUE(PrintedText("pOpmTunning->iAtt0=0501\n"));
    EXPECT_TRUE(PrintedText("GetOpmTemperature:temperature=-12.345000\nTemperature =-12.345000"));
    EXPECT_STREQ("Temperature =-12.345000", reinterpret_cast<const char*>(adBuffer));
}

TEST_F(TestStartUp, StopsWhereTheOpticDriverDoesNotOpen) {
    system_.Fail("open /dev/optic0", ENODEV);
    EXPECT_EQ(-7, Run());
    EXPECT_EQ(kModulesAndFpga, system_.Trace());
    EXPECT_EQ(-1, opticFD);
    const std::string text = "open optic failed";
    EXPECT_EQ(text, output_.substr(output_.size() - text.size()));
}

TEST_F(TestStartUp, ReturnsTheResultOfTheWriteThatClearsTheAcquisition) {
    system_.Fail("reg write 0x30000032", EIO);
    EXPECT_EQ(-1, Run());
    EXPECT_NE("", system_.Trace("reg write 0x30000034"));
}

TEST_F(TestStartUp, NoOtherFailureChangesTheResult) {
    system_.Fail("shell", ENOENT);
    system_.Fail("stat", ENOENT);
    system_.Fail("read optic0", EIO);
    system_.Fail("temperature", EIO);
    for (const char* reg : {"02", "0a", "0c", "0e", "10", "12", "14", "16", "34", "36"})
        system_.Fail(std::string("reg write 0x300000") + reg, EIO);
    int32_t result = -1;
    const std::string errors = test::PrintedErrors([&] { result = Run(); });
    EXPECT_EQ(0, result);
    EXPECT_EQ("stat: No such file or directory\n", errors);
    EXPECT_EQ(1280u, pOpmTunning->iAtt0);
    EXPECT_TRUE(PrintedText("Temperature =0.000000"));
}

TEST_F(TestStartUp, AsksTheMeasurementBoardTwiceWhereTheLinkIsOpen) {
    ASSERT_EQ(0, SerialInit());
    system_.replies = {std::string("\x06\x06\x3f\x80\x00\x00\x00", 7),
                       std::string("\x06\x06\x40\x00\x00\x00\x00", 7)};
    EXPECT_EQ(0, Run());
    const std::string request =
        "write ttyS0 04 02 06 07 23\ntcdrain ttyS0\nwait ttyS0 5.000000\nsleep 25\nread ttyS0 20\n";
    EXPECT_NE(std::string::npos,
              system_.Trace().find("reg write 0x30000002 0x07f8\n" + request + "sleep 1000\n" + request +
                                   "reg write 0x30000032 0x0000\n"));
    EXPECT_EQ(2.0f, adcValue1);
}

// ---- The end ----

namespace {

const char* const kAtRest =
    "reg write 0x30000014 0x0800\n"
    "reg write 0x30000012 0x0810\n"
    "reg write 0x3000000c 0x0040\n"
    "reg write 0x30000002 0x07f8\n"
    "close optic0\n";

}  // namespace

class TestEnd : public test::InstrumentTest {};

TEST_F(TestEnd, PutsTheModuleToRestAndClosesItsDriver) {
    OPMTestEnd();
    EXPECT_EQ(kAtRest, system_.Trace());
    EXPECT_EQ(-1, opticFD);
    system_.Clear();
    OPMTestEnd();
    EXPECT_EQ("", system_.Trace()) << "there is nothing left to close";
}

// The echo of a write that fails is no value to write.
TEST_F(TestEnd, AWriteThatASignalCutsIsDoneAgain) {
    system_.echo[0x14 / 2] = 0x0123;
    system_.Fail("reg write 0x30000014", EINTR, 0, 3);
    system_.Fail("reg write 0x30000002", EIO, 0, 1);
    OPMTestEnd();
    const std::string apd = "reg write 0x30000014 0x0800\n", outputs = "reg write 0x30000002 0x07f8\n";
    std::string expected = apd + apd + apd + kAtRest;
    expected.insert(expected.find(outputs), outputs);
    EXPECT_EQ(expected, system_.Trace());
}

TEST_F(TestEnd, ADriverThatTakesNothingDoesNotHoldTheEndUp) {
    system_.Fail("reg write", EINTR);
    OPMTestEnd();
    EXPECT_EQ(-1, opticFD);
    EXPECT_NE(std::string::npos, system_.Trace().find("reg write 0x30000002 0x07f8\nclose optic0\n"));
}
