// Scripts replayed on the real fct.
#include "simulator/panel/replay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "simulator/panel/commands.h"

namespace k905 {
namespace {

using ::testing::HasSubstr;

class Replay : public ::testing::Test {
  protected:
    Replay() {
        std::string name = (std::filesystem::temp_directory_path() / "k905-replay-XXXXXX").string();
        folder_ = mkdtemp(name.data());
    }
    ~Replay() override { std::filesystem::remove_all(folder_); }

    std::string Script(const std::string& text) const {
        std::ofstream(folder_ + "/script") << text;
        return folder_ + "/script";
    }
    std::vector<CheckResult> Run(const std::string& text) const {
        return RunReplay({BenchOptions(), Script(text), folder_ + "/out"}, [](const CheckResult&) {});
    }

    std::string folder_;
};

TEST_F(Replay, ReadsRequestsAndPassesOverCommentsAndEmptyLines) {
    const auto lines = ReadScript(
        Script("# a comment\n\n  {\"do\": \"wait\", \"ms\": 5}\r\n\t# another\n{\"do\":\"knob\"}"));
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ(3, lines[0].number);
    EXPECT_EQ(5, lines[0].request["ms"]);
    EXPECT_EQ("knob", lines[1].request["do"]);
}

TEST_F(Replay, TellsFileAndLineOfWhatIsNoRequest) {
    for (const char* bad : {"nonsense", "[]", "{}", "{\"do\": 7}", "{\"do\": \"wait\""})
        try {
            ReadScript(Script(std::string("{\"do\":\"knob\"}\n") + bad));
            FAIL() << bad;
        } catch (const BenchError& error) {
            EXPECT_THAT(error.what(), HasSubstr("script:2: not a request")) << bad;
        }
    EXPECT_THROW(ReadScript(folder_ + "/none"), BenchError);
}

TEST_F(Replay, IsAskedForByAFileName) {
    CommandOptions options;
    EXPECT_EQ("", ParseOptions("check", {"--seed", "4", "job.jsonl", "--keep"}, options));
    EXPECT_EQ("job.jsonl", options.script);
    EXPECT_NE("", ParseOptions("check", {"one.jsonl", "two.jsonl"}, options = CommandOptions()));
    EXPECT_NE("", ParseOptions("panel", {"job.jsonl"}, options = CommandOptions()));
}

TEST_F(Replay, TouchesAndChecksTextsAndTakesScreenshots) {
    const auto results = Run(R"({"do":"bench","faults":{"sd.missing":true}}
{"do":"touch","action":"down","x":240,"y":210}
{"do":"wait","ms":120}
{"do":"touch","action":"up"}
{"do":"expect","text":"SDcard Check"}
{"do":"touch","x":607,"y":421}
{"do":"expect","text":"NO SDcard!"}
{"do":"screenshot","path":"sd.png"})");
    ASSERT_EQ(3u, results.size());
    for (const CheckResult& result : results)
        EXPECT_TRUE(result.Passed()) << result.step << result.wrong;
    EXPECT_TRUE(std::filesystem::exists(folder_ + "/out/sd.png"));
}

TEST_F(Replay, SaysThatAScriptChecksNothing) {
    try {
        Run(R"({"do":"touch","x":240,"y":210})");
        FAIL();
    } catch (const BenchError& error) {
        EXPECT_THAT(error.what(), HasSubstr("checks nothing"));
    }
}

TEST_F(Replay, EndsAtATextThatDoesNotCome) {
    const auto results =
        Run("{\"do\":\"expect\",\"text\":\"no such text\",\"limit_ms\":500}\n"
            "{\"do\":\"screenshot\",\"path\":\"late.png\"}\n");
    ASSERT_EQ(1u, results.size());
    EXPECT_THAT(results[0].wrong, HasSubstr("MainBoard_FCT")) << "it tells what is there instead";
    EXPECT_FALSE(std::filesystem::exists(folder_ + "/out/late.png"));
}

TEST_F(Replay, TellsWhatWasRefusedOrWentWrong) {
    const struct {
        const char* line;
        const char* wrong;
    } cases[] = {
        {R"({"do":"fly"})", "unknown command"},
        {R"({"do":"set","name":"no.such","value":1})", "no such quantity"},
        {R"({"do":"wait","ms":-1})", "no time"},
        {R"({"do":"expect"})", "text"},
        {R"({"do":"screenshot","path":"../outside.png"})", "plain file name"},
    };
    for (const auto& one : cases) {
        const auto results = Run(one.line);
        ASSERT_EQ(1u, results.size()) << one.line;
        EXPECT_THAT(results[0].wrong, HasSubstr(one.wrong)) << one.line;
    }
}

}  // namespace
}  // namespace k905
