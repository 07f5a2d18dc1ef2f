// The product's threads carried by one system thread, or each on one of its own: the same to the last byte.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "simulator/panel/check.h"
#include "tests/scenarios/operator.h"

namespace k905 {
namespace {

namespace fs = std::filesystem;

// What a run leaves behind: every file by its name, and whatever else was looked at.
using Left = std::map<std::string, std::string>;

std::string Contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void AddFiles(Left& left, const fs::path& folder) {
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            left[fs::relative(entry.path(), folder).string()] = Contents(entry.path());
}

class Folder {
  public:
    Folder() {
        std::string name = (fs::temp_directory_path() / "k905-ways-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("cannot make a temporary folder");
        path_ = name;
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    fs::path operator/(const char* name) const { return path_ / name; }

  private:
    fs::path path_;
};

BenchOptions Threads(const char* way, const Folder& folder) {
    BenchOptions options;
    options.stateDir = folder / "state";
    options.environment["K905_THREADS"] = way;
    return options;
}

Left WholeJob(const char* way, CheckJob job) {
    const Folder folder;
    CheckOptions options;
    options.bench = Threads(way, folder);
    options.jobs = {job};
    options.outDir = folder / "pictures";
    Left left;
    std::string& table = left["table"];
    for (const CheckResult& result : RunCheck(options, [](const CheckResult&) {}))
        table += TableRows(result);
    AddFiles(left, options.outDir);
    AddFiles(left, options.bench.stateDir);
    return left;
}

// Some work, with everything that the hardware sees of it and when.
Left Watched(const char* way, const std::function<void(Operator&)>& work) {
    const Folder folder;
    Left left;
    Operator person(Threads(way, folder));
    Bench& bench = person.At();
    bench.Request({{"do", "trace"}, {"action", "start"}});
    work(person);
    person.Settle();
    const auto screen = bench.Screen().bytes;
    left["screen"].assign(screen.begin(), screen.end());
    left["trace"] = bench.Request({{"do", "trace"}, {"action", "read"}}).at("lines").dump(0);
    std::int64_t endUs = 0;
    bench.Stop(20, &endUs);
    left["end"] = std::to_string(endUs);
    AddFiles(left, bench.StateDir());
    return left;
}

// The automatic checks, then keys and knob in a window whose loop never rests.
void CheckMainBoard(Operator& person) {
    ASSERT_TRUE(person.OpenMainBoard() && person.Connect());
    person.Press("Auto");
    EXPECT_TRUE(person.Sees("SDcard Check OK!", 120000));
    ASSERT_TRUE(person.OpenKeyCheck());
    person.At().Key("f3", "press");
    person.At().Request({{"do", "knob"}, {"steps", 3}});
    person.At().Advance(137);
}

// From 25 degrees to 55.
void TuneApd(Operator& person) {
    ASSERT_TRUE(person.OpenModule("APD_Adjust"));
    person.Press("Start");
    person.At().Set("module.temperature_rate", 0.15);
    EXPECT_TRUE(person.Sees("APDTuning over!", 24 * 3600 * 1000));
}

void ExpectSame(const Left& one, const Left& other) {
    EXPECT_GT(one.size(), 5u);
    EXPECT_EQ(one.size(), other.size());
    for (const auto& [name, text] : one) {
        ASSERT_EQ(1u, other.count(name)) << name;
        EXPECT_TRUE(text == other.at(name)) << name << " differs";
    }
}

TEST(BothWays, DoTheMainBoardJobAlike) {
    ExpectSame(WholeJob("carried", CheckJob::kMainBoard), WholeJob("system", CheckJob::kMainBoard));
}

TEST(BothWays, CheckTheMainBoardAlikeToTheMicrosecond) {
    ExpectSame(Watched("carried", CheckMainBoard), Watched("system", CheckMainBoard));
}

TEST(BothWays, DoTheModuleJobAlike) {
    ExpectSame(WholeJob("carried", CheckJob::kModule), WholeJob("system", CheckJob::kModule));
}

TEST(BothWays, DoAWholeApdTuningAlikeToTheMicrosecond) {
    ExpectSame(Watched("carried", TuneApd), Watched("system", TuneApd));
}

}  // namespace
}  // namespace k905
