// The bench as a whole, the last acquisition and the live trace over the control interface of the real fct;
// benches kept under a name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "simulator/panel/client.h"
#include "simulator/panel/saved_benches.h"

namespace k905 {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The models' state without what passes by itself.
json Settled(Bench& bench) {
    json state = bench.Request({{"do", "state"}})["state"];
    for (const char* passing : {"rtc", "touch", "screen"})
        state.erase(passing);
    return state;
}

TEST(BenchRequest, TellsWhatWasSetAndPutsItBack) {
    Bench bench;
    EXPECT_EQ(json::object(), bench.Request({{"do", "bench"}})["set"]);
    bench.Set("module.temperature", 41);
    bench.Set("board.rail.TP97", 0.5);
    bench.Fault("sd.missing", true);
    const json now = bench.Request({{"do", "bench"}});
    EXPECT_EQ(json({{"module.temperature", 41}, {"board.rail.TP97", 0.5}}), now["set"]);
    EXPECT_EQ(json({{"sd.missing", true}}), now["faults"]);

    bench.Request({{"do", "bench"}, {"set", {{"optics.fibre", "5 m"}}}});
    EXPECT_EQ("5 m", bench.Request({{"do", "state"}})["state"]["optics"]["fibre"]);
    EXPECT_EQ(25, bench.Request({{"do", "state"}})["state"]["optic"]["temperature"]);
    bench.Request({{"do", "bench"}, {"set", now["set"]}, {"faults", now["faults"]}});
    EXPECT_EQ(now, bench.Request({{"do", "bench"}}));
    EXPECT_EQ(json({{"sd.missing", true}}), Settled(bench)["faults"]);
}

TEST(BenchRequest, AnUntouchedBenchIsAsItWasBeforeAnythingWasSet) {
    BenchOptions options;
    options.seed = 7;
    Bench bench(options);
    bench.Advance(3000);
    const json fresh = Settled(bench);
    const json values = {{"board.plugged", false},    {"board.rail.TP5", 2},
                         {"straps.pb8", 1},           {"straps.pb9", 1},
                         {"straps.pb27", 0},          {"power.dc", false},
                         {"power.bat", false},        {"power.full", true},
                         {"power.type", 2},           {"power.level", 3},
                         {"sd.present", false},       {"usb.sticks", 3},
                         {"module.temperature", 60},  {"module.temperature_rate", 2},
                         {"module.seed", 99},         {"noise.seed", 7},
                         {"optics.fibre", "1 km"},    {"optics.light_on_link", -15.0},
                         {"screen.size", {1024, 600}}};
    for (const auto& [name, value] : values.items())
        bench.Set(name, value);
    EXPECT_NE(fresh, Settled(bench));
    bench.Request({{"do", "bench"}, {"set", json::object()}});
    EXPECT_EQ(json::object(), bench.Request({{"do", "bench"}})["set"]);
    const json diff = json::diff(fresh, Settled(bench));
    EXPECT_THAT(diff, IsEmpty()) << diff.dump(1);
}

TEST(BenchRequest, IsTakenWholeOrNotAtAll) {
    Bench bench;
    bench.Set("module.temperature", 41);
    bench.Set("board.rail.TP97", 0.5);
    bench.Fault("module.eeprom_cut", 200);
    const json before = bench.Request({{"do", "bench"}});
    const json state = Settled(bench);
    const json reply = bench.Ask({{"do", "bench"},
                                  {"set", {{"no.such", 1}, {"module.temperature", 30}, {"rtc.time", 0}}},
                                  {"faults", {{"sd.missing", "perhaps"}, {"usb.two", true}}}});
    EXPECT_FALSE(reply["ok"].get<bool>());
    EXPECT_THAT(reply["error"].get<std::string>(), ::testing::HasSubstr("no such quantity: no.such"));
    EXPECT_THAT(reply["error"].get<std::string>(), ::testing::HasSubstr("true or false"));
    EXPECT_FALSE(bench.Ask({{"do", "bench"}, {"set", 7}})["ok"].get<bool>());
    EXPECT_EQ(before, bench.Request({{"do", "bench"}}));
    EXPECT_EQ(state, Settled(bench));
    EXPECT_FALSE(std::filesystem::exists(bench.StateDir() + "/trial")) << "nothing stays behind";
}

TEST(BenchRequest, KnowsWhatWasSetBeforeTheStart) {
    BenchOptions options;
    options.start = {{"set", {{"module.temperature", 12}}}, {"faults", {{"usb.two", true}}}};
    Bench bench(options);
    const json now = bench.Request({{"do", "bench"}});
    EXPECT_EQ(options.start["set"], now["set"]);
    EXPECT_EQ(options.start["faults"], now["faults"]);
}

TEST(SamplesRequest, GivesTheLastAcquisitions) {
    Bench bench;
    EXPECT_THAT(bench.Request({{"do", "samples"}})["samples"], IsEmpty());
    bench.Set("optics.fibre", "1.5 km");
    ASSERT_TRUE(bench.UntilText("Opticl_FCT", 20000));
    bench.Tap(540, 210);
    ASSERT_TRUE(bench.UntilText("OPT_Adjust", 5000));
    bench.Tap(590, 160);
    ASSERT_TRUE(bench.UntilText("Opt check", 5000));
    bench.Tap(552, 90);
    ASSERT_TRUE(bench.UntilText("check over!!!", 600000)) << bench.Describe();
    for (const char* wavelength : {"1310", "1550"}) {
        const json one = bench.Request({{"do", "samples"}, {"wavelength", wavelength}});
        EXPECT_EQ(wavelength, one["wavelength"]);
        EXPECT_EQ(one["acquisition"],
                  bench.Request({{"do", "state"}})["state"]["fpga"]["last_acquisitions"][wavelength]);
        EXPECT_GT(one["samples"].size(), 5000u);
    }
    EXPECT_THAT(bench.Request({{"do", "samples"}, {"wavelength", 1625}})["samples"], IsEmpty());
    EXPECT_FALSE(bench.Ask({{"do", "samples"}, {"wavelength", 1490}})["ok"].get<bool>());
    const json trace = bench.Request({{"do", "samples"}});
    EXPECT_EQ("1550", trace["wavelength"]) << "the last one";
    const auto samples = trace["samples"].get<std::vector<int>>();
    ASSERT_GT(samples.size(), 5000u);
    // The farthest strong echo is the fibre's end.
    double end = 0;
    for (std::size_t i = 1; i < samples.size(); ++i)
        if (samples[i] < samples[100] - 5000)
            end = trace["first_metres"].get<double>() +
                  static_cast<double>(i) * trace["metres_per_sample"].get<double>();
    EXPECT_NEAR(1500, end, 30);
}

TEST(TraceRequest, IsReadInPieces) {
    Bench bench;
    bench.Request({{"do", "trace"}, {"action", "start"}});
    bench.Advance(2000);
    const json all = bench.Request({{"do", "trace"}, {"action", "read"}});
    const std::size_t count = all["lines"].size();
    ASSERT_GT(count, 20u);
    EXPECT_EQ(count, all["next"]);
    const json last = bench.Request({{"do", "trace"}, {"action", "read"}, {"limit", 3}});
    EXPECT_EQ(json(std::vector<json>(all["lines"].end() - 3, all["lines"].end())), last["lines"]);
    const json rest = bench.Request({{"do", "trace"}, {"action", "read"}, {"from", count - 5}});
    EXPECT_EQ(json(std::vector<json>(all["lines"].end() - 5, all["lines"].end())), rest["lines"]);
    EXPECT_THAT(bench.Request({{"do", "trace"}, {"action", "read"}, {"from", count}})["lines"], IsEmpty());
    bench.Advance(2000);
    const json later = bench.Request({{"do", "trace"}, {"action", "read"}});
    const json grown = bench.Request({{"do", "trace"}, {"action", "read"}, {"from", count}})["grown"];
    ASSERT_FALSE(grown.empty());
    for (const json& line : grown) {
        EXPECT_NE(all["lines"][line["number"].get<int>()], line["line"]);
        EXPECT_EQ(later["lines"][line["number"].get<int>()], line["line"]);
    }
}

class Saved : public ::testing::Test {
  protected:
    Saved() {
        std::string name = (std::filesystem::temp_directory_path() / "k905-saved-XXXXXX").string();
        folder_ = mkdtemp(name.data());
        std::filesystem::create_directories(State());
    }
    ~Saved() override { std::filesystem::remove_all(folder_); }
    std::string State() const { return folder_ + "/state"; }
    void Write(const char* file, const std::string& text) const {
        std::ofstream(State() + "/" + file) << text;
    }
    std::string Read(const char* file) const {
        std::ifstream in(State() + "/" + file);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::string folder_;
};

TEST_F(Saved, RestoresSettingsAndMemories) {
    const SavedBenches saved(folder_ + "/benches");
    EXPECT_THAT(saved.Names(), IsEmpty());
    const json bench = {{"set", {{"module.temperature", 41}}}, {"faults", json::object()}};
    Write("module.at24c512", "calibrated");
    saved.Save("hot", bench, State());
    Write("module.at24c512", "overwritten");
    Write("tuning.bin", "later");
    EXPECT_EQ(bench, saved.Restore("hot", State()));
    EXPECT_EQ("calibrated", Read("module.at24c512"));
    EXPECT_FALSE(std::filesystem::exists(State() + "/tuning.bin")) << "there was none";
    saved.Save("cold", bench, State());
    EXPECT_THAT(saved.Names(), ElementsAre("cold", "hot"));
    saved.Remove("hot");
    EXPECT_THAT(saved.Names(), ElementsAre("cold"));
    EXPECT_THROW(saved.Restore("hot", State()), BenchError);
    EXPECT_THROW(saved.Remove("hot"), BenchError);
    SavedBenches::Blank(State());
    EXPECT_FALSE(std::filesystem::exists(State() + "/module.at24c512"));
}

TEST_F(Saved, RefusesNamesThatLeadElsewhere) {
    const SavedBenches saved(folder_ + "/benches");
    for (const std::string& name : {std::string(""), std::string(".."), std::string(".x"), std::string("a/b"),
                                    std::string("a\nb"), std::string(41, 'a'), std::string("   ")}) {
        EXPECT_THROW(saved.Save(name, {}, State()), BenchError) << name;
        EXPECT_THROW(saved.Remove(name), BenchError) << name;
    }
}

}  // namespace
}  // namespace k905
