// Where the calls of a program go: to the instrument's files and nodes, to the host, never to the host's
// devices.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/simulator/interpose/probe_run.h"

using test::ProbeRun;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

std::vector<std::string> StartingWith(const std::vector<std::string>& lines, const std::string& start) {
    std::vector<std::string> chosen;
    for (const std::string& line : lines)
        if (line.compare(0, start.size(), start) == 0)
            chosen.push_back(line.substr(start.size()));
    return chosen;
}

TEST(Routes, FilesOfTheInstrumentLiveInItsStateFolder) {
    ProbeRun run("files", "stepped");
    EXPECT_EQ(0, run.Finish());
    EXPECT_THAT(StartingWith(run.Lines(), "card "),
                ElementsAre("open ok", "write ok", "size 5", "append ok", "stat ok 10", "rename ok",
                            "folder ok", "entry old.txt", "unlink ok", "access No such file or directory",
                            "mkdir ok", "rmdir ok"));
}

TEST(Routes, FilesOfTheHostAreUntouched) {
    const test::TemporaryFolder folder;
    ProbeRun::Options options;
    options.arguments = {folder.Path() + "/host.txt"};
    ProbeRun run("files", "stepped", options);
    EXPECT_EQ(0, run.Finish());
    EXPECT_THAT(run.Lines(), Contains("host write ok"));
    std::string text;
    std::getline(std::ifstream(folder.Path() + "/host.txt"), text);
    EXPECT_EQ("host", text);
}

TEST(Routes, NodesAreTheInstrumentsAndNeverTheHosts) {
    ProbeRun run("files", "stepped");
    EXPECT_EQ(0, run.Finish());
    const auto lines = run.Lines();
    EXPECT_THAT(lines, Contains("fb0 stat ok 1"));
    EXPECT_THAT(lines, Contains("unknown node No such file or directory"));
    EXPECT_THAT(lines, Contains("host port No such file or directory"));
    EXPECT_THAT(lines, Contains("null ok"));
    EXPECT_THAT(lines, Contains("rtc ok"));
    EXPECT_THAT(lines, Contains("rtc write Bad file descriptor"));
    EXPECT_THAT(lines, Contains("rtc mmap Bad file descriptor"));
}

TEST(Routes, AFullCardRefusesWhatIsWritten) {
    ProbeRun run("files", "stepped");
    EXPECT_TRUE(run.Ask({{"do", "fault"}, {"name", "sd.full"}, {"value", true}})["ok"]);
    EXPECT_EQ(0, run.Finish());
    EXPECT_THAT(run.Lines(), Contains("card open No space left on device"));
    EXPECT_THAT(run.Lines(), Contains("card append No space left on device"));
}

TEST(Routes, TheShellActsOnTheInstrumentOnly) {
    const test::TemporaryFolder folder;
    ProbeRun::Options options;
    options.arguments = {folder.Path() + "/made"};
    ProbeRun run("shell", "stepped", options);
    EXPECT_EQ(0, run.Finish());
    EXPECT_FALSE(std::filesystem::exists(folder.Path() + "/made"));
    const auto lines = run.Lines();
    EXPECT_THAT(lines, Contains("touch 127"));
    EXPECT_THAT(lines, Contains("echo 1"));
    EXPECT_THAT(lines, Contains("shell 1"));
    EXPECT_THAT(lines, Contains("sync 0"));
    EXPECT_THAT(lines, Contains("cat nothing 1 1"));
    EXPECT_THAT(lines, Contains(testing::MatchesRegex("gpio [01] 0")));
}

TEST(Routes, TheSerialPortIsATerminalWhoseBytesFollowVirtualTime) {
    ProbeRun run("serial", "stepped");
    EXPECT_EQ(0, run.Finish());
    EXPECT_THAT(run.Lines(),
                ElementsAre("termios 1 10 7", "isatty 1", "select 1 1 left 1", "reply 7 06 07",
                            "nonblocking -1 EAGAIN", StartsWith("silence 0 after 5000 ms left 0.000000")));
}

TEST(Routes, TheTraceNamesThreadsAndCountsRepeatedLines) {
    ProbeRun run("busy", "stepped");
    run.Ask({{"do", "trace"}, {"action", "start"}});
    run.Ask({{"do", "advance"}, {"ms", 200}});
    run.Ask({{"do", "trace"}, {"action", "stop"}});
    const auto plain = [&run](const test::Json& more) {
        test::Json request = {{"do", "trace"}, {"action", "read"}, {"plain", true}};
        request.update(more);
        return run.Ask(request)["lines"].get<std::vector<std::string>>();
    };
    EXPECT_THAT(plain({{"thread", "main"}, {"kinds", {"file"}}}), ElementsAre("file open /dev/optic0"));
    EXPECT_THAT(plain({{"thread", "main"}, {"kinds", {"sleep"}}}), ElementsAre(StartsWith("sleep 20 ms x")));
    EXPECT_THAT(plain({{"thread", "WriteForEver"}}), Contains("reg write 0x3000000a 0x0007"));
    EXPECT_EQ(plain({{"thread", 1}}), plain({{"thread", "WriteForEver"}}));
    EXPECT_TRUE(plain({{"thread", "window"}}).empty());
    const auto lines = run.Ask({{"do", "trace"}, {"action", "read"}, {"thread", 0}})["lines"];
    EXPECT_THAT(lines[0].get<std::string>(), testing::MatchesRegex(" +[0-9]+\\.[0-9]+ main .*"));
}

}  // namespace
