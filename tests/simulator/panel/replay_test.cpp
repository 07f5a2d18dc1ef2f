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

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

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
    for (const char* bad :
         {"nonsense", "[]", "{}", "{\"do\": 7}", "{\"do\": \"wait\"", "\x7f\x45\x4c\x46\xff\xfe\x01"})
        try {
            ReadScript(Script(std::string("{\"do\":\"knob\"}\n") + bad));
            FAIL() << bad;
        } catch (const BenchError& error) {
            EXPECT_THAT(error.what(), HasSubstr("script:2: not a request")) << bad;
        }
    EXPECT_THROW(ReadScript(folder_ + "/none"), BenchError);
    EXPECT_THROW(ReadScript(folder_), BenchError);
    EXPECT_THROW(ReadScript(Script(std::string(5 << 20, ' '))), BenchError) << "5 MiB";
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

// Each of them is met, and with a slip not met; it says what it found instead.
TEST_F(Replay, ExpectsWhatStandsOnTheScreenInRegistersMemoriesAndModels) {
    const struct {
        const char* met;
        const char* slip;  // in place of the last member
        const char* found;
    } cases[] = {
        {R"("text":"MainBoard_FCT")", R"("text":"MainBoard-FCT")", "\"MainBoard_FCT\", \"Opticl_FCT\""},
        {R"("text":"MainBoard_FCT","x":150,"y":240,"w":100,"h":30)",
         R"("text":"MainBoard_FCT","x":150,"y":240,"w":100,"h":15)", "no text there"},
        {R"("gone":"Connect")", R"("gone":"Opticl")", "\"Opticl_FCT\" at"},
        {R"("gone":"Opticl","x":0,"y":0,"w":100,"h":100)", R"("gone":"Opticl","x":0)", "\"Opticl_FCT\" at"},
        {R"("register":"0x30000084","value":"0x0000")", R"("register":"0x30000084","value":1)", "0x0000"},
        {R"("register":805306500,"value":"0xff00","mask":"0x00ff")",
         R"("register":805306500,"value":"0xff00","mask":"0x0fff")", "0x0000"},
        {R"("memory":"module","at":"0xfffe","bytes":"ff ff")",
         R"("memory":"mainboard","at":16,"bytes":"FFfe")", "ff ff"},
        {R"("state":"board.plugged","value":true)", R"("state":"board.plugged","value":false)", "true"},
        {R"("state":"faults.sd.full","value":true)", R"("state":"faults.sd.ful","value":true)",
         "nothing; faults has sd.full"},
        {R"("state":"board.held.TP97","value":true)", R"("state":"board.held.TP5","value":true)", "false"},
        {R"("state":"optics.fibre_events.1.at","value":900)",
         R"("state":"optics.fibre_events.2.at","value":900)", "nothing"},
        {R"("state":"board.rails.TP97","value":0.6,"within":0.1)",
         R"("state":"board.rails.TP97","value":0.6,"within":0.09)", "0.5"},
    };
    std::string good = R"({"do":"bench","faults":{"sd.full":true},"set":{"board.rail.TP97":0.5,)"
                       R"("optics.fibre":[{"at":700,"loss":0.5},{"at":900,"reflection":-40}]}})";
    BenchOptions options;
    options.start = nlohmann::json::parse(good);
    options.start.erase("do");
    Bench bench(options);
    bench.UntilText("MainBoard_FCT", 10000);
    const auto ask = [&](const std::string& what) {
        return bench.Request(nlohmann::json::parse(R"({"do":"expect","limit_ms":60,)" + what + "}"));
    };
    for (const auto& one : cases) {
        EXPECT_TRUE(ask(one.met)["met"].get<bool>()) << one.met;
        const std::int64_t now = bench.NowUs();
        const nlohmann::json reply = ask(one.slip);
        EXPECT_FALSE(reply["met"].get<bool>()) << one.slip;
        EXPECT_THAT(reply["found"].get<std::string>(), HasSubstr(one.found)) << one.slip;
        EXPECT_EQ(now + 60'000, reply["now_us"]) << "while it is held the request moves time";
        good += std::string("\n{\"do\":\"expect\",") + one.met + "}";
    }
    for (const CheckResult& result : Run(good))
        EXPECT_TRUE(result.Passed()) << result.wrong;
    bench.Request({{"do", "speed"}, {"factor", 100}});
    EXPECT_TRUE(ask(cases[0].met)["met"].get<bool>());
    EXPECT_FALSE(ask(cases[0].slip)["met"].get<bool>());
}

TEST_F(Replay, RefusesAnExpectationThatCannotBeMeant) {
    Bench bench;
    for (const char* what : {R"("limit_ms":5)",
                             R"("txt":"a")",
                             R"("text":"")",
                             R"("text":7)",
                             R"("text":"a","gone":"b")",
                             R"("text":"a","limit":5)",
                             R"("text":"a","limit_ms":-5)",
                             R"("text":"a","x":"left")",
                             R"("gone":"a","value":5)",
                             R"("register":"0x30000200","value":0)",
                             R"("register":"0x30000003","value":0)",
                             R"("register":"no_such","value":0)",
                             R"("register":"0x30000002")",
                             R"("register":"0x30000002","value":65536)",
                             R"("register":"0x30000002","value":"red")",
                             R"("register":"0x30000002","value":0,"mask":-1)",
                             R"("memory":"ours","at":0,"bytes":"00")",
                             R"("memory":"module","bytes":"00")",
                             R"("memory":"module","at":65535,"bytes":"0000")",
                             R"("memory":"module","at":18446744073709551615,"bytes":"ff")",
                             R"("memory":"module","at":"0xffffffffffffffff","bytes":"ff")",
                             R"("memory":"module","at":"99999999999999999999","bytes":"ff")",
                             R"("memory":"module","at":" -1","bytes":"ff")",
                             R"("memory":"module","at":0,"bytes":"0")",
                             R"("memory":"module","at":0,"bytes":"no")",
                             R"("state":"","value":1)",
                             R"("state":"board.plugged")",
                             R"("state":"board.plugged","value":true,"within":1)",
                             R"("state":"module.temperature","value":25,"within":-1)"}) {
        const nlohmann::json reply =
            bench.Ask(nlohmann::json::parse(std::string(R"({"do":"expect",)") + what + "}"));
        EXPECT_FALSE(reply["ok"].get<bool>()) << what;
        EXPECT_THAT(reply["error"].get<std::string>(), Not(HasSubstr("exception"))) << what;
    }
}

TEST_F(Replay, GoesOnAcrossPowerCutsRestartsAndSetUpsWithTheirMemories) {
    setenv("K905_BENCHES", (folder_ + "/benches").c_str(), 1);
    const auto results = Run(R"({"do":"set","name":"board.rail.TP97","value":0.5}
{"do":"touch","control":"MainBoard_FCT"}
{"do":"expect","text":"Connect"}
{"do":"power_cut"}
{"do":"expect","power":"off"}
{"do":"expect","memory":"module","at":0,"bytes":"ff"}
{"do":"bench_save","name":"cut"}
{"do":"restart","fresh":true}
{"do":"expect","state":"board.held.TP97","value":false,"limit_ms":0}
{"do":"stop"}
{"do":"expect","power":"off"}
{"do":"bench_restore","name":"cut"}
{"do":"expect","text":"MainBoard_FCT","limit_ms":0}
{"do":"expect","state":"board.held.TP97","value":true,"limit_ms":0}
{"do":"expect","power":"off","limit_ms":100})");
    unsetenv("K905_BENCHES");
    ASSERT_EQ(8u, results.size());
    for (std::size_t i = 0; i < 7; ++i)
        EXPECT_TRUE(results[i].Passed()) << results[i].step << results[i].wrong;
    EXPECT_THAT(results[7].wrong,
                HasSubstr("script:15: expected the power is off, found the instrument runs"));
    EXPECT_THAT(results[7].at, HasSubstr("/out/session.jsonl@3:2.")) << "in the third start";
    EXPECT_TRUE(std::filesystem::exists(folder_ + "/out/failed.png"));
    EXPECT_EQ(3u, ReadSession(folder_ + "/out/session.jsonl").runs.size());
}

TEST_F(Replay, TellsWhatAnInstrumentWithoutPowerCannotDo) {
    const auto results = Run("{\"do\":\"power_cut\"}\n{\"do\":\"expect\",\"text\":\"MainBoard_FCT\"}");
    ASSERT_EQ(1u, results.size());
    EXPECT_THAT(results[0].wrong, HasSubstr("script:2: the instrument does not run: fct was killed"));
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
    EXPECT_EQ("1 expect", results[0].step);
    EXPECT_FALSE(std::filesystem::exists(folder_ + "/out/late.png"));
}

TEST_F(Replay, TellsWhatWasRefusedOrWentWrong) {
    const struct {
        const char* line;
        const char* wrong;
    } cases[] = {
        {R"({"do":"fly"})", "unknown command"},
        {R"({"do":"set","name":"no.such","value":1})", "no such quantity"},
        {R"({"do":"wait","ms":-1})", "out of range"},
        {R"({"do":"expect"})", "expect what?"},
        {R"({"do":"bench_restore","name":"never kept"})", "no bench is kept"},
        {R"({"do":"screenshot","path":"../outside.png"})", "plain file name"},
        {R"({"do":"screenshot","path":"folder"})", "cannot write"},
    };
    for (const auto& one : cases) {
        std::filesystem::create_directories(folder_ + "/out/folder");
        const auto results = Run(one.line + std::string("\n{\"do\":\"expect\",\"text\":\"FCT\"}"));
        ASSERT_EQ(1u, results.size()) << one.line;
        EXPECT_THAT(results[0].wrong, AllOf(HasSubstr("script:1: "), HasSubstr(one.wrong))) << one.line;
    }
    try {
        Run("\n{\"do\":\"bench\",\"faults\":{\"no.such\":true}}\n{\"do\":\"expect\",\"text\":\"FCT\"}");
        FAIL();
    } catch (const BenchError& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("script:2: "), HasSubstr("no such fault: no.such")));
    }
}

}  // namespace
}  // namespace k905
