// The instrument's shell, its straps and its files.
#include "simulator/models/virtual_shell.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/models/host_file.h"
#include "tests/simulator/models/bench_world.h"

namespace k905 {

class Shell : public testing::Test {
  protected:
    BenchWorld world_;
    TemporaryFolder folder_, outside_;
    Storage storage_{folder_.Path(), ""};
    Straps straps_;
    std::vector<std::string> inserted_;
    VirtualShell shell_{world_, storage_, straps_, [this](const std::string& name) {
                            inserted_.push_back(name);
                            return name.rfind("drv_", 0) == 0;
                        }};
    std::string output_;

    int Run(const std::string& command) { return shell_.Run(command, output_); }
};

TEST_F(Shell, InsertsAModuleOnce) {
    EXPECT_EQ(Run("insmod /lib/modules/2.6.30/drv_fpga.ko"), 0);
    EXPECT_EQ(Run("insmod /lib/modules/2.6.30/drv_fpga.ko"), 1);
    EXPECT_EQ(Run("insmod /lib/modules/2.6.30/drv_other.ko"), 1);
    EXPECT_EQ(Run("insmod /lib/modules/2.6.30/../2.6.30/drv_optic.ko"), 1);
    EXPECT_EQ(Run("insmod"), 127);
    EXPECT_THAT(inserted_, testing::ElementsAre("drv_fpga"));
    EXPECT_EQ(world_.lines.front(), "shell insmod /lib/modules/2.6.30/drv_fpga.ko");
}

TEST_F(Shell, MissingModuleCannotBeInserted) {
    ASSERT_TRUE(host::Remove(storage_.Root() + "/lib/modules/2.6.30/drv_optic.ko"));
    EXPECT_EQ(Run("insmod /lib/modules/2.6.30/drv_optic.ko"), 1);
    ASSERT_TRUE(host::WriteFile(storage_.Root() + "/lib/modules/2.6.30/strange.ko", ""));
    EXPECT_EQ(Run("insmod /lib/modules/2.6.30/strange.ko"), 1);
}

TEST_F(Shell, ReadsTheStrapsOfTheLatticeBoardAfterTheirExport) {
    const struct { const char *gpio, *level; } straps[] = {{"72", "0\n"}, {"73", "0\n"}, {"91", "1\n"}};
    for (const auto& strap : straps) {
        const std::string gpio = strap.gpio;
        EXPECT_EQ(Run("cat /sys/class/gpio/gpio" + gpio + "/value"), 1);
        EXPECT_EQ(output_, "");
        EXPECT_EQ(Run("echo in > /sys/class/gpio/gpio" + gpio + "/direction"), 1);
        EXPECT_EQ(Run("echo " + gpio + " > /sys/class/gpio/export"), 0);
        EXPECT_EQ(Run("echo " + gpio + " > /sys/class/gpio/export"), 1);
        EXPECT_EQ(Run("echo in > /sys/class/gpio/gpio" + gpio + "/direction"), 0);
        EXPECT_EQ(Run("echo up > /sys/class/gpio/gpio" + gpio + "/direction"), 1);
        EXPECT_EQ(Run("cat /sys/class/gpio/gpio" + gpio + "/value"), 0);
        EXPECT_EQ(output_, strap.level);
        EXPECT_EQ(Run("cat /sys/class/gpio/gpio" + gpio + "/direction"), 0);
        EXPECT_EQ(output_, "in\n");
        EXPECT_EQ(Run("echo 1 > /sys/class/gpio/gpio" + gpio + "/value"), 1);  // an input
    }
    EXPECT_EQ(Run("echo 72 > /sys/class/gpio/unexport"), 0);
    EXPECT_EQ(Run("cat /sys/class/gpio/gpio72/value"), 1);
    EXPECT_EQ(Run("echo 74 > /sys/class/gpio/export"), 1);
}

TEST_F(Shell, StrapsFollowTheBenchAndTheFault) {
    Run("echo 72 > /sys/class/gpio/export");
    EXPECT_TRUE(straps_.Set("pb8", true));
    Run("cat /sys/class/gpio/gpio72/value");
    EXPECT_EQ(output_, "1\n");
    EXPECT_FALSE(straps_.Set("pb7", true));
    straps_.Set("pb8", false);
    straps_.SetUnknown(true);
    Run("cat /sys/class/gpio/gpio72/value");
    EXPECT_EQ(output_, "1\n");
}

TEST_F(Shell, EchoAndCatWorkOnTheInstrumentsFiles) {
    EXPECT_EQ(Run("echo hello > /mnt/sdcard/note.txt"), 0);
    EXPECT_EQ(Run("cat /mnt/sdcard/note.txt"), 0);
    EXPECT_EQ(output_, "hello\n");
    EXPECT_EQ(Run("cat /mnt/sdcard/none.txt"), 1);
    EXPECT_EQ(Run("cat /mnt/sdcard"), 1);
    EXPECT_EQ(Run("echo hello > /nowhere/note.txt"), 1);
    EXPECT_EQ(Run("sync"), 0);
    storage_.SetSdFull(true);
    EXPECT_EQ(Run("echo more > /mnt/sdcard/other.txt"), 1);
}

TEST_F(Shell, NothingLeavesTheTree) {
    const std::string victim = outside_.Path() + "/victim";
    ASSERT_TRUE(host::WriteFile(victim, "safe"));
    const std::string up = "/mnt/sdcard/../../../../../../../.." + victim;
    EXPECT_EQ(Run("echo x > " + up), 1);
    EXPECT_EQ(Run("cat " + up), 1);
    EXPECT_EQ(Run("echo x > " + victim), 1);  // that folder is not on the instrument
    ASSERT_TRUE(host::Symlink(victim, storage_.Root() + "/mnt/sdcard/link"));
    ASSERT_TRUE(host::Symlink(outside_.Path(), storage_.Root() + "/mnt/sdcard/dir"));
    EXPECT_EQ(Run("echo x > /mnt/sdcard/link"), 1);
    EXPECT_EQ(Run("echo x > /mnt/sdcard/dir/victim"), 1);
    EXPECT_EQ(Run("cat /mnt/sdcard/dir/victim"), 1);
    EXPECT_EQ(Run("cat relative"), 1);
    std::string content;
    ASSERT_TRUE(host::ReadFile(victim, content));
    EXPECT_EQ(content, "safe");
}

TEST_F(Shell, DoesNotKnowAnyOtherCommand) {
    for (const char* command : {"", "ls", "rm -rf /", "sync; reboot", "echo $(id) > /mnt/sdcard/x",
                                "cat /etc/passwd | sh", "echo a b > /mnt/x", "echo x >> /mnt/sdcard/x",
                                "cat `id`", "sync now", "insmod a b", "echo x > /mnt/sdcard/x && ls"})
        EXPECT_EQ(Run(command), 127) << command;
    EXPECT_FALSE(host::Exists(storage_.Root() + "/mnt/sdcard/x"));
}

}  // namespace k905
