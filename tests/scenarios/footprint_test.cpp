// What the program takes of the instrument's memory. docs/instrument.md has the figures.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <iostream>

#include "tests/scenarios/operator.h"

namespace k905 {
namespace {

constexpr std::uint64_t kMost = 4 << 20;          // bytes of data
constexpr std::uint64_t kBesideHeap = 512 << 10;  // static data and the stacks at their deepest: 365 KB

struct Footprint {
    std::uint64_t bytes, blocks, descriptors, threads;
    bool operator==(const Footprint& other) const {
        return bytes == other.bytes && blocks == other.blocks && descriptors == other.descriptors &&
               threads == other.threads;
    }
};

std::ostream& operator<<(std::ostream& out, const Footprint& is) {
    return out << is.bytes << " bytes in " << is.blocks << " blocks, " << is.descriptors << " descriptors, "
               << is.threads << " threads";
}

// fct with its allocations counted.
class Metered {
  public:
    Metered() { person_.At().Request({{"do", "calls"}, {"action", "start"}}); }

    Operator& Person() { return person_; }
    Footprint Now() {
        const std::string process = "/proc/" + std::to_string(person_.At().Pid());
        const nlohmann::json holds = Holds();
        return {holds.at("bytes"), holds.at("blocks"), Entries(process + "/fd"), Entries(process + "/task")};
    }
    std::uint64_t MostBytes() { return Holds().at("most_bytes"); }

  private:
    static std::uint64_t Entries(const std::string& folder) {
        std::error_code gone;
        return std::distance(std::filesystem::directory_iterator(folder, gone), {});
    }
    nlohmann::json Holds() { return person_.At().Request({{"do", "calls"}}).at("holds"); }

    Operator person_;
};

// Touches a control and gives the screen the time it needs. Cheaper than waiting for a text.
void Touch(Operator& person, const char* control) {
    person.Press(control);
    person.At().Advance(1000);
}

// Through every screen that an operator reaches and back to the start: 16 changes.
constexpr int kChanges = 16;
void AllScreens(Operator& person) {
    Touch(person, "MainBoard_FCT");
    Touch(person, "Key Check");
    Touch(person, "Back");
    Touch(person, "Back");
    Touch(person, "Opticl_FCT");
    for (const char* icon : {"OPM_FCT", "OPM_Adjust", "OPT_Adjust", "APD_Adjust", "E2PROM"}) {
        Touch(person, icon);
        Touch(person, "Back");
    }
    Touch(person, "Back");
    EXPECT_TRUE(person.SeesNow("Welcome to K905_FCT !")) << person.At().Describe();
}

TEST(Footprints, StayBelow4MegabytesOnEveryScreen) {
    Metered fct;
    Operator& person = fct.Person();
    ASSERT_TRUE(person.WaitForStart());
    person.Settle();
    const Footprint start = fct.Now();
    AllScreens(person);
    ASSERT_TRUE(person.Go("MainBoard_FCT", "K905 Mainboard FCT !") && person.Connect());
    person.Press("Auto");
    ASSERT_TRUE(person.Sees("SDcard Check OK!", 300000));
    person.Settle();
    ASSERT_TRUE(person.Go("Back", "MainBoard_FCT"));
    ASSERT_TRUE(person.Go("Opticl_FCT", "OPT_Adjust") && person.Go("OPT_Adjust", "Dev adjust"));
    person.At().Set("optics.fibre", "1.5 km");
    person.Press("Opt check");
    ASSERT_TRUE(person.Sees("check over!!!", 300000));
    person.Settle();
    const std::uint64_t most = fct.MostBytes();
    std::cout << "start screen: " << start << "; most: " << most << " bytes\n";
    EXPECT_LT(most, kMost - kBesideHeap);
    EXPECT_GT(start.bytes, 100000u) << "the program is seen";
}

TEST(Footprints, DoNotGrowOver1000ScreenChanges) {
    Metered fct;
    Operator& person = fct.Person();
    ASSERT_TRUE(person.WaitForStart());
    AllScreens(person);
    const Footprint first = fct.Now();
    ASSERT_GT(first.descriptors, 0u) << "can be counted";
    ASSERT_GT(first.threads, 1u) << "can be counted";
    const int all = K905_SANITIZED ? 100 : 1000;
    for (int changes = 0; changes < all && !HasFailure(); changes += kChanges) {
        AllScreens(person);
        ASSERT_EQ(first, fct.Now()) << "after " << changes + kChanges << " changes";
    }
}

}  // namespace
}  // namespace k905
