// Sessions: kept as they happen, read back, and run forward to any moment.
#include "simulator/panel/session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "simulator/panel/player.h"

namespace fs = std::filesystem;

namespace k905 {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

std::string Content(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void ExpectSame(Bench& live, Bench& again) {
    EXPECT_EQ(live.Request({{"do", "state"}}), again.Request({{"do", "state"}}));
    EXPECT_EQ(live.Screen().bytes, again.Screen().bytes);
    EXPECT_EQ(Content(live.StateDir() + "/module.at24c512"), Content(again.StateDir() + "/module.at24c512"));
}

class Sessions : public ::testing::Test {
  protected:
    Sessions() {
        std::string name = (fs::temp_directory_path() / "k905-session-XXXXXX").string();
        folder_ = mkdtemp(name.data());
    }
    ~Sessions() override { fs::remove_all(folder_); }

    void Write(const std::string& path, const std::string& content) const {
        fs::create_directories(fs::path(folder_ + "/" + path).parent_path());
        std::ofstream(folder_ + "/" + path, std::ios::binary) << content;
    }
    std::string File() const { return folder_ + "/" + kSessionFile; }
    std::string Refusal() const {
        try {
            ReadSession(File());
        } catch (const BenchError& error) {
            return error.what();
        }
        return "";
    }
    BenchOptions Live(double factor) const {
        BenchOptions options;
        options.stateDir = folder_;
        options.speed = factor;
        return options;
    }

    std::string folder_;
};

constexpr const char* kOn = R"({"power_on":{"seed":1,"bits":16,"start":null,"files":{},"gone":[]}})";

TEST_F(Sessions, KeepWhatOutlivesAPowerOffAndWhatHasChangedSince) {
    std::string image(65536, '\xFF');
    image[4000] = '\0';
    image[65535] = 'x';
    Write("module.at24c512", image);
    Write("root/mnt/sdcard/log/test log.txt", "one\n\ttwo\n");
    Write("root/mnt/usb/odd.bin", std::string("\xFF\x00\x80\xFF\n", 5));
    Write("console.log", "not of it");
    KeepPowerOn(folder_, 7, 24, {{"set", {{"usb.sticks", 2}}}}, false);
    const auto first = fs::file_size(File());
    image[0] = 'y';
    Write("module.at24c512", image);
    fs::remove(folder_ + "/root/mnt/usb/odd.bin");
    KeepPowerOn(folder_, 8, 16, nullptr, true);
    EXPECT_LT(fs::file_size(File()) - first, 600u);

    const Session session = ReadSession(File());
    ASSERT_EQ(2u, session.runs.size());
    EXPECT_EQ(7u, session.runs[0].seed);
    EXPECT_EQ(24u, session.runs[0].bits);
    EXPECT_EQ(2, session.runs[0].start["set"]["usb.sticks"]);
    EXPECT_EQ(3u, session.runs[0].files.size());
    EXPECT_EQ("one\n\ttwo\n", session.runs[0].files.at("root/mnt/sdcard/log/test log.txt"));
    EXPECT_EQ(std::string("\xFF\x00\x80\xFF\n", 5), session.runs[0].files.at("root/mnt/usb/odd.bin"));
    EXPECT_EQ(2u, session.runs[1].files.size());
    EXPECT_EQ(image, session.runs[1].files.at("module.at24c512"));
    image[0] = '\xFF';
    EXPECT_EQ(image, session.runs[0].files.at("module.at24c512"));

    LayOut(session.runs[0].files, folder_);
    EXPECT_EQ(image, Content(folder_ + "/module.at24c512"));
    EXPECT_TRUE(fs::exists(folder_ + "/root/mnt/usb/odd.bin"));
    LayOut(session.runs[1].files, folder_);
    EXPECT_FALSE(fs::exists(folder_ + "/root/mnt/usb/odd.bin"));
}

TEST_F(Sessions, ALineThatWasCutOffCountsAsNotWritten) {
    Write(kSessionFile,
          std::string(kOn) + "\n" + R"({"at_us":5,"request":{"do":"knob"}})" + "\n{\"at_us\":9,\"requ");
    const Session session = ReadSession(File());
    ASSERT_EQ(1u, session.runs[0].inputs.size());
    EXPECT_EQ(5, session.runs[0].inputs[0].atUs);
}

TEST_F(Sessions, WhatIsNotExactStaysSoInACopy) {
    const std::string key = R"({"at_us":5,"request":{"do":"key","key":"menu"})";
    for (const auto& [last, exact] :
         {std::pair(R"()", true), {R"(,"unsettled":true)", false}, {R"(,"lost":true)", false}}) {
        Write(kSessionFile,
              std::string(kOn) + "\n" + key + "}\n" + key + last + "}\n" + kOn + "\n" + key + "}\n");
        WriteSession(folder_ + "/copy", ReadSession(File()), 2);
        const Session copy = ReadSession(folder_ + "/copy");
        ASSERT_EQ(2u, copy.runs.size());
        EXPECT_EQ(2u, copy.runs[0].inputs.size());
        EXPECT_EQ(exact, copy.runs[0].exact) << last;
        EXPECT_TRUE(copy.runs[1].exact);
    }
}

TEST_F(Sessions, AreReadOnWhereTheyWereRead) {
    const auto add = [&](const std::string& text) { std::ofstream(File(), std::ios::app) << text; };
    SessionFile file(File());
    EXPECT_THROW(file.Read(), BenchError);
    add(kOn);
    EXPECT_THROW(file.Read(), BenchError) << "no whole line";
    add("\n"
        R"({"at_us":5,"request":{"do":"knob"}})"
        "\n"
        R"({"at_us":6,)");
    EXPECT_EQ(1u, file.Read().runs.at(0).inputs.size());
    add(R"("request":{"do":"key","key":"f1"}})"
        "\n");
    EXPECT_EQ(2u, file.Read().runs.at(0).inputs.size());
    EXPECT_EQ(2u, file.Read().runs.at(0).inputs.size()) << "nothing new";
    add("damage\n");
    EXPECT_THROW(file.Read(), BenchError);
    // Another one in its place, as long as the first.
    Write(kSessionFile, std::string(kOn) + "\n" + R"({"at_us":7,"request":{"do":"knob"}})" + "\n");
    EXPECT_EQ(7, file.Read().runs.at(0).inputs.at(0).atUs);
    Write(kSessionFile, std::string(kOn) + "\n" + R"({"at_us":8,"request":{"do":"knob"}})" + "\n");
    EXPECT_EQ(8, file.Read().runs.at(0).inputs.at(0).atUs);
    Write(kSessionFile, std::string(kOn) + "\n");
    EXPECT_TRUE(file.Read().runs.at(0).inputs.empty());
}

TEST_F(Sessions, DamageIsNamedWithItsLine) {
    EXPECT_THAT(Refusal(), HasSubstr("cannot be read"));
    Write(kSessionFile, "");
    EXPECT_THAT(Refusal(), HasSubstr("holds no session"));
    for (const char* damaged :
         {"nonsense", "{}", "[]", R"({"at_us":"x","request":{}})", R"({"power_on":{}})"}) {
        Write(kSessionFile, std::string(kOn) + "\n" + damaged + "\n");
        EXPECT_THAT(Refusal(), HasSubstr("session.jsonl:2: ")) << damaged;
    }
    Write(kSessionFile, "{\"at_us\":1,\"request\":{\"do\":\"knob\"}}\n");
    EXPECT_THAT(Refusal(), HasSubstr("session.jsonl:1: ")) << "an input before any power-on";
}

TEST_F(Sessions, ADamagedOneDoesNotKeepTheInstrumentFromStarting) {
    Write(kSessionFile, "nonsense\n");
    KeepPowerOn(folder_, 1, 16, nullptr, true);
    EXPECT_EQ(1u, ReadSession(File()).runs.size());
}

// Hands and a bench at moments that the host's clock chooses, then the same moment of another instrument.
TEST_F(Sessions, ALiveInstrumentIsReachedAgainToTheByte) {
    Bench live(Live(20));
    ASSERT_TRUE(live.UntilText("MainBoard_FCT", 10'000));
    live.Touch("MainBoard_FCT");
    ASSERT_TRUE(live.UntilText("Connect", 10'000));
    live.Touch("Connect");
    live.Fault("board.reply_late", 40);
    live.Advance(700);
    live.Touch("ADC");
    for (int i = 0; i < 20; ++i)
        live.Request({{"do", "knob"}, {"steps", i % 3 - 1}});
    live.Set("module.temperature", 31);
    live.Advance(300);
    const std::int64_t now = live.Request({{"do", "speed"}, {"factor", 0}})["now_us"];

    const Session session = ReadSession(File());
    ASSERT_EQ(1u, session.runs.size());
    EXPECT_EQ(25u, session.runs[0].inputs.size());
    EXPECT_TRUE(session.runs[0].exact);
    Player player(session.runs[0]);
    Session::Run fewer = session.runs[0];
    fewer.inputs.pop_back();
    EXPECT_THROW(player.Learn(fewer), BenchError) << "of a session that goes on from an earlier moment";
    ASSERT_TRUE(player.GoTo(now / 2));
    EXPECT_EQ(now / 2, player.NowUs());
    ASSERT_TRUE(player.GoTo(now));
    ExpectSame(live, player.Instrument());
    EXPECT_EQ(live.Console(), player.Instrument().Console());
    EXPECT_EQ(Content(File()), Content(player.Instrument().StateDir() + "/" + kSessionFile));
    EXPECT_THROW(player.GoTo(now - 1), BenchError);
}

TEST_F(Sessions, GoOnAfterAPowerCutWithTheMemoriesAsItLeftThem) {
    {
        Bench live(Live(50));
        ASSERT_TRUE(live.UntilText("Opticl_FCT", 10'000));
        live.Touch("Opticl_FCT");
        ASSERT_TRUE(live.UntilText("OPM_FCT", 10'000));
        live.Touch("OPM_FCT");
        ASSERT_TRUE(live.UntilText("Eeprom Check", 10'000));
        live.Fault("module.eeprom_cut", 5);
        live.Touch("Eeprom Check");
        EXPECT_THROW(live.Advance(20'000), BenchError);
        ASSERT_FALSE(live.Status().running);
    }
    const std::string torn = Content(folder_ + "/module.at24c512");
    BenchOptions again = Live(50);
    again.sameSession = true;
    Bench live(again);
    live.Advance(3000);
    const std::int64_t now = live.Request({{"do", "speed"}, {"factor", 0}})["now_us"];

    const Session session = ReadSession(File());
    ASSERT_EQ(2u, session.runs.size());
    EXPECT_EQ(torn, session.runs[1].files.at("module.at24c512"));
    Player before(session.runs[0]);
    EXPECT_FALSE(before.GoTo(3'600'000'000)) << "the power was cut before";
    EXPECT_EQ(torn, Content(before.Instrument().StateDir() + "/module.at24c512"));
    Player after(session.runs[1]);
    ASSERT_TRUE(after.GoTo(now));
    ExpectSame(live, after.Instrument());
}

TEST_F(Sessions, NameAMomentAndFindItAgain) {
    Write(kSessionFile,
          std::string(kOn) + "\n" + R"({"at_us":5000001,"request":{"do":"knob"}})" + "\n" + kOn + "\n");
    EXPECT_EQ(File() + "@2:0.000123", DescribeMoment(File(), {1, 123}));
    const auto at = [&](const std::string& text) { return FindMoment(File() + text).moment; };
    EXPECT_EQ((Moment{1, 123}), at("@2:0.000123"));
    EXPECT_EQ((Moment{0, 12'500'000}), at("@1:12.5"));
    EXPECT_EQ((Moment{1, 7'000'000}), at("@7"));
    EXPECT_EQ((Moment{0, 5'000'001}), FindMoment(File() + "@1:5.000001").moment);
    EXPECT_EQ((Moment{1, 0}), at("")) << "the end of what is known";
    for (const char* wrong : {"@", "@x", "@3:1", "@0:1", "@:1", "@1:", "@1:-1", "@1:1e10", "@1:1s", "@nan"})
        EXPECT_THROW(at(wrong), BenchError) << wrong;
    EXPECT_THROW(FindMoment(folder_ + "/none@1"), BenchError);
}

}  // namespace
}  // namespace k905
