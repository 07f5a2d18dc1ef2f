#include "device/fpga.h"

#include <errno.h>

#include "tests/device/unit/instrument_fixture.h"

namespace {

const char* const kImage = "/images/a.bin";

class Fpga : public test::InstrumentTest {
  protected:
    Fpga() { system_.files[kImage] = std::string(2500, 'x') + "end"; }

    int Load() {
        int result = 0;
        output_ = test::Printed([&] { errors_ = test::PrintedErrors([&] { result = fpga_init(kImage); }); });
        return result;
    }

    // What is open besides the optic driver.
    std::vector<std::string> Left() const {
        std::vector<std::string> names = system_.OpenNames();
        names.erase(names.begin());
        return names;
    }

    // Levels of GPIO 72, 73 and 91 as sysfs prints them.
    void SetStraps(const char* pb8, const char* pb9, const char* pb27) {
        system_.outputs["cat /sys/class/gpio/gpio72/value"] = pb8;
        system_.outputs["cat /sys/class/gpio/gpio73/value"] = pb9;
        system_.outputs["cat /sys/class/gpio/gpio91/value"] = pb27;
    }

    std::string output_;
    std::string errors_;
};

const char* const kLattice = "/app/fct/k905fpga_LAT_LFE5U-45F.bit";
const char* const kXilinx16 = "/app/fct/k905fpga_XIN_LX16.bin";
const char* const kXilinx25 = "/app/fct/k905fpga_XIN_LX25.bin";

}  // namespace

TEST_F(Fpga, LoadsTheBitstreamInBlocks) {
    EXPECT_EQ(0, Load());
    EXPECT_EQ(
        "stat /images/a.bin\n"
        "open /dev/fpga0 w\n"
        "ioctl fpga0 size 2503\n"
        "open /images/a.bin r\n"
        "read a.bin 1024\n"
        "write fpga0 1024\n"
        "read a.bin 1024\n"
        "write fpga0 1024\n"
        "read a.bin 1024\n"
        "write fpga0 455\n"
        "read a.bin 1024\n"
        "close a.bin\n"
        "ioctl fpga0 end\n"
        "close fpga0\n",
        system_.Trace());
    EXPECT_EQ(system_.files[kImage], system_.fpga);
    EXPECT_EQ("write done\n", output_);
    EXPECT_EQ("", errors_);
    EXPECT_TRUE(Left().empty());
}

TEST_F(Fpga, EndsAWholeNumberOfBlocksWithAnEmptyRead) {
    system_.files[kImage] = std::string(2048, 'y');
    EXPECT_EQ(0, Load());
    EXPECT_EQ("write fpga0 1024\nwrite fpga0 1024\n", system_.Trace("write"));
    EXPECT_EQ("read a.bin 1024\nread a.bin 1024\nread a.bin 1024\n", system_.Trace("read"));
}

TEST_F(Fpga, LoadsAnEmptyFile) {
    system_.files[kImage] = "";
    EXPECT_EQ(0, Load());
    EXPECT_EQ("ioctl fpga0 size 0\nioctl fpga0 end\n", system_.Trace("ioctl"));
    EXPECT_EQ("", system_.Trace("write"));
    EXPECT_EQ("write done\n", output_);
}

TEST_F(Fpga, EachFailingStepHasItsCodeItsTextAndWhatItLeavesOpen) {
    using Names = std::vector<std::string>;
    const struct {
        const char* call;
        int code;
        const char* text;
        const char* done;
        Names left;
    } steps[] = {
        {"stat", -1, "stat: Input/output error\n", "", {}},
        {"open /dev/fpga0", -2, "fpga open(): Input/output error\n", "", {}},
        {"ioctl fpga0 size", -3, "iotcl(): Input/output error\n", "", {"fpga0"}},
        {"open /images", -4, "bin open(): Input/output error\n", "", {"fpga0"}},
        {"write fpga0 455", -5, "", "", {"fpga0"}},
        {"read a.bin", -5, "", "", {"fpga0"}},
        {"ioctl fpga0 end", -6, "ioctl: Input/output error\n", "write done\n", {"fpga0"}},
    };
    for (const auto& step : steps) {
        test::SystemRecorder recorder;
        recorder.files[kImage] = system_.files[kImage];
        recorder.Fail(step.call, EIO);
        EXPECT_EQ(step.code, Load()) << step.call;
        EXPECT_EQ(step.text, errors_);
        EXPECT_EQ(step.done, output_);
        EXPECT_EQ(step.left, recorder.OpenNames()) << step.call;
    }
}

TEST_F(Fpga, OnlyANegativeResultOfAWriteEndsTheLoading) {
    system_.Return("write fpga0 1024", 0, 1);
    system_.Return("write fpga0 1024", 100, 1);
    EXPECT_EQ(0, Load());
    EXPECT_EQ("write fpga0 1024\nwrite fpga0 1024\nwrite fpga0 455\n", system_.Trace("write"));
}

TEST_F(Fpga, AnyAnswerButZeroRefusesTheConfiguration) {
    system_.Return("ioctl fpga0 size", 1);
    EXPECT_EQ(-3, Load());
    test::SystemRecorder atTheEnd;
    atTheEnd.files[kImage] = "x";
    atTheEnd.Return("ioctl fpga0 end", 1);
    EXPECT_EQ(-6, Load());
}

TEST_F(Fpga, RefusesNullAndAnEmptyPath) {
    EXPECT_EQ(-1, fpga_init(nullptr));
    int result = 0;
    EXPECT_EQ("stat: No such file or directory\n", test::PrintedErrors([&] { result = fpga_init(""); }));
    EXPECT_EQ(-1, result);
    EXPECT_EQ("", system_.Trace("open"));
}

TEST_F(Fpga, ReadsTheStrapsOneAfterTheOther) {
    SetStraps("0\n", "0\n", "1\n");
    EXPECT_EQ("PB8 = 0\nPB9 = 0\nPB27 = 1\n\nfpga file name is /app/fct/k905fpga_LAT_LFE5U-45F.bit\n\n",
              test::Printed(GetFpgaVersion));
    EXPECT_EQ(
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
        "pclose\n",
        system_.Trace());
}

TEST_F(Fpga, StrapsChooseTheBitstream) {
    const struct {
        const char *pb8, *pb9, *pb27, *file;
    } boards[] = {
        {"0", "0", "0", ""},        {"0", "0", "1", kLattice},    {"0", "1", "0", kXilinx25},
        {"0", "1", "1", kXilinx25}, {"1", "0", "0", kXilinx16},   {"1", "0", "1", ""},
        {"1", "1", "0", kXilinx25}, {"1", "1", "1", kXilinx25},   {"", "1", "", kXilinx25},
        {"0", "", "1", ""},         {"10", "0", "0x", kXilinx16},
    };
    for (const auto& board : boards) {
        memset(cFpgaFileName, 0, sizeof(cFpgaFileName));
        SetStraps(board.pb8, board.pb9, board.pb27);
        test::Printed(GetFpgaVersion);
        EXPECT_STREQ(board.file, cFpgaFileName) << board.pb8 << board.pb9 << board.pb27;
    }
}

TEST_F(Fpga, UnknownStrapsKeepTheEarlierChoice) {
    SetStraps("0\n", "0\n", "1\n");
    test::Printed(GetFpgaVersion);
    SetStraps("1\n", "0\n", "1\n");
    EXPECT_EQ("PB8 = 1\nPB9 = 0\nPB27 = 1\n\nfpga file name is /app/fct/k905fpga_LAT_LFE5U-45F.bit\n\n",
              test::Printed(GetFpgaVersion));
}

TEST_F(Fpga, APipeThatDoesNotOpenEndsTheProbe) {
    const char* const values[] = {"pipe cat /sys/class/gpio/gpio72", "pipe cat /sys/class/gpio/gpio73",
                                  "pipe cat /sys/class/gpio/gpio91"};
    const char* const printed[] = {"", "PB8 = 0\n", "PB8 = 0\nPB9 = 1\n"};
    for (int i = 0; i < 3; ++i) {
        test::SystemRecorder recorder;
        recorder.outputs["cat /sys/class/gpio/gpio72/value"] = "0\n";
        recorder.outputs["cat /sys/class/gpio/gpio73/value"] = "1\n";
        recorder.Fail(values[i], EMFILE);
        EXPECT_EQ(printed[i], test::Printed(GetFpgaVersion));
        EXPECT_STREQ("", cFpgaFileName);
    }
}
