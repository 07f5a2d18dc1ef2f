// How the job's steps are judged and shown; the job itself runs in tests/scenarios.
#include "simulator/panel/check.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <thread>

#include "simulator/panel/check_record.h"
#include "simulator/panel/control_client.h"

namespace k905 {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

std::vector<TextRun> Screen(const std::vector<std::string>& lines) {
    std::vector<TextRun> runs;
    for (const std::string& line : lines) {
        TextRun run;
        run.text = line;
        runs.push_back(run);
    }
    return runs;
}

const CheckStep kStep = {"Step", "RTC", {"^RTC  [0-9]+$", "^Auto$"}, "wait", {"^write 1$", "^write 2$"}};

TEST(Judge, PassesWhenAllIsThere) {
    const CheckResult result =
        Judge(kStep, Screen({"Auto", "RTC  12"}), {"read", "write 1", "read", "write 2"});
    EXPECT_TRUE(result.Passed()) << result.wrong;
    EXPECT_THAT(result.seen, HasSubstr("RTC  12; Auto"));
    EXPECT_THAT(result.seen, HasSubstr("write 1; write 2"));
}

TEST(Judge, NamesWhatIsMissing) {
    const std::vector<std::string> trace = {"write 1", "write 2"};
    EXPECT_THAT(Judge(kStep, Screen({"Auto", "RTC  -"}), trace).wrong,
                HasSubstr("not on the screen: ^RTC  [0-9]+$"));
    EXPECT_THAT(Judge(kStep, Screen({"RTC  1"}), trace).wrong, HasSubstr("^Auto$"));
    EXPECT_THAT(Judge(kStep, Screen({"Auto", "RTC  1", "please wait"}), trace).wrong,
                HasSubstr("still on the screen: wait"));
}

TEST(Judge, WantsTheHardwareTouchedInOrder) {
    const std::vector<TextRun> good = Screen({"Auto", "RTC  1"});
    EXPECT_THAT(Judge(kStep, good, {}).wrong, HasSubstr("^write 1$"));
    EXPECT_THAT(Judge(kStep, good, {"write 1"}).wrong, HasSubstr("^write 2$"));
    EXPECT_THAT(Judge(kStep, good, {"write 2", "write 1"}).wrong, HasSubstr("^write 2$"));
    EXPECT_THAT(Judge(kStep, good, {"write 1 failed", "write 2 failed"}).wrong, HasSubstr("^write 1$"));
}

TEST(CheckSteps, HaveNamesOfTheirOwnAndLookForSomething) {
    std::set<std::string> names;
    std::vector<CheckStep> steps;
    for (const CheckJob job : {CheckJob::kMainBoard, CheckJob::kModule})
        steps.insert(steps.end(), CheckSteps(job).begin(), CheckSteps(job).end());
    for (const CheckStep& step : steps) {
        EXPECT_TRUE(names.insert(step.name).second) << step.name << " is there twice";
        EXPECT_FALSE(step.shows.empty() && step.hardware.empty() && step.gone == nullptr) << step.name;
        // On a screen that shows nothing nothing passes.
        EXPECT_FALSE(Judge(step, {}, {}).Passed()) << step.name;
    }
}

TEST(RecordLines, NameAMissingFileWithoutTheFolderThatEachJobHasAnotherOf) {
    std::string said;
    try {
        RecordLines("/nonexistent/k905-x/tuning.bin");
    } catch (const BenchError& error) {
        said = error.what();
    }
    EXPECT_EQ(said, "tuning.bin: no tuning record is stored");
}

TEST(Table, WrapsLongReadingsIntoItsColumns) {
    const CheckResult result = {"Voltages", std::string(50, 'a') + "; " + std::string(30, 'b'), ""};
    const std::string rows = TableRows(result);
    EXPECT_THAT(rows, HasSubstr("Voltages"));
    EXPECT_THAT(rows, HasSubstr("| passed\n"));
    EXPECT_EQ(2, std::count(rows.begin(), rows.end(), '\n'));
    const std::size_t width = rows.find('\n') - std::string("| passed").size();
    EXPECT_EQ('|', rows[rows.find('\n') + 1 + width]) << "the columns are not in line:\n" << rows;
    EXPECT_THAT(TableRows({"Step", "", "no such screen"}), HasSubstr("| FAILED\n"));
}

// `k905 check`, the job or a script, in a folder for temporary files of its own, ended by that signal as soon
// as fct runs there.
TEST(CheckCommand, EndedByASignalLeavesNoFolderBehind) {
    for (const int signal : {SIGINT, SIGTERM}) {
        std::string folder = (fs::temp_directory_path() / "k905-ended-XXXXXX").string();
        ASSERT_NE(nullptr, mkdtemp(folder.data()));
        fs::create_directory(folder + "/tmp");
        const std::string program = std::string(K905_BINARY_DIR) + "/bin/k905", out = folder + "/out";
        const pid_t pid = fork();
        if (pid == 0) {
            setenv("TMPDIR", (folder + "/tmp").c_str(), 1);
            const int silent = open("/dev/null", O_WRONLY);
            dup2(silent, STDOUT_FILENO);
            const std::string script = std::string(K905_SOURCE_DIR) + "/examples/apd_tuning.jsonl";
            execl(program.c_str(), "k905", "check", "--out", out.c_str(),
                  signal == SIGINT ? nullptr : script.c_str(), nullptr);
            _exit(127);
        }
        const auto left = [&] {
            return std::distance(fs::directory_iterator(folder + "/tmp"), fs::directory_iterator());
        };
        const auto runs = [&] {
            for (const auto& entry : fs::directory_iterator(folder + "/tmp"))
                if (fs::exists(entry.path() / "control.sock"))
                    return true;
            return false;
        };
        int status = 0;
        while (!runs() && waitpid(pid, &status, WNOHANG) == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        kill(pid, signal);
        EXPECT_EQ(pid, waitpid(pid, &status, 0));
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        EXPECT_EQ(0, left());
        fs::remove_all(folder);
    }
}

}  // namespace
}  // namespace k905
