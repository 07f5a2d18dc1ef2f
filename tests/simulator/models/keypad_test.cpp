#include "simulator/models/keypad.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>

namespace k905 {

class KeypadModel : public testing::Test {
  protected:
    Keypad keypad_;
    std::unique_ptr<DeviceFile> file_;

    void SetUp() override {
        keypad_.SetDriverLoaded(true);
        int error = 0;
        file_ = keypad_.Open(0, error);
        ASSERT_NE(file_, nullptr);
    }
    // The next word; 0 when there is none.
    std::uint32_t Next() {
        std::uint32_t word = 0;
        return file_->Read(&word, sizeof word) == 4 ? word : 0;
    }
};

TEST_F(KeypadModel, IsThereOnlyWithItsDriver) {
    Keypad bare;
    int error = 0;
    EXPECT_EQ(bare.Open(0, error), nullptr);
    EXPECT_EQ(error, ENOENT);
    EXPECT_FALSE(bare.Present());
}

TEST_F(KeypadModel, SendsKeyWordsWithTheBitsOfTheirLayout) {
    EXPECT_EQ(file_->ReadableAt(), kNever);
    ASSERT_EQ(keypad_.Key("menu", true), "");
    ASSERT_EQ(keypad_.Key("menu", false), "");
    ASSERT_EQ(keypad_.Key("18", true), "");
    EXPECT_EQ(file_->ReadableAt(), 0);
    const std::uint32_t down = Next(), up = Next(), average = Next();
    EXPECT_NE(down >> 16 & 0xF, 0u);
    EXPECT_EQ(down >> 8 & 0xF, 0u);
    EXPECT_EQ(down & 0xFF, 1u);
    EXPECT_NE(up >> 16 & 0xF, 0u);
    EXPECT_NE(up >> 8 & 0xF, 0u);
    EXPECT_EQ(up & 0xFF, 1u);
    EXPECT_EQ(average & 0xFF, 18u);
}

TEST_F(KeypadModel, SendsKnobStepsWithTheirDirection) {
    keypad_.Knob(true);
    keypad_.Knob(false);
    const std::uint32_t clockwise = Next(), anticlockwise = Next();
    EXPECT_EQ(clockwise >> 16 & 0xF, 0u);
    EXPECT_EQ(clockwise >> 24 & 0xF, 0u);
    EXPECT_EQ(anticlockwise >> 16 & 0xF, 0u);
    EXPECT_NE(anticlockwise >> 24 & 0xF, 0u);
}

TEST_F(KeypadModel, NamesEveryKeyOfThePanel) {
    const char* names[] = {"menu",  "f1", "f2",   "f3",    "f4",    "f5",   "esc",   "file", "scale",
                           "setup", "up", "left", "enter", "right", "down", "realt", "knob", "avg"};
    for (unsigned code = 1; code <= 18; ++code) {
        EXPECT_EQ(Keypad::CodeOf(names[code - 1]), code);
        EXPECT_STREQ(Keypad::NameOf(code), names[code - 1]);
    }
    EXPECT_EQ(Keypad::CodeOf("19"), 0u);
    EXPECT_EQ(Keypad::CodeOf(""), 0u);
    EXPECT_EQ(Keypad::NameOf(0), nullptr);
}

TEST_F(KeypadModel, RefusesShortReadsAndSaysWhenNothingIsThere) {
    std::uint32_t word = 0;
    EXPECT_EQ(file_->Read(&word, 4), -EAGAIN);
    EXPECT_EQ(file_->Read(&word, 3), -EINVAL);
    EXPECT_EQ(file_->Read(nullptr, 4), -EINVAL);
}

TEST_F(KeypadModel, RefusesImpossiblePresses) {
    EXPECT_NE(keypad_.Key("nokey", true), "");
    EXPECT_NE(keypad_.Key("f1", false), "");
    EXPECT_EQ(keypad_.Key("f1", true), "");
    EXPECT_NE(keypad_.Key("f1", true), "");
}

TEST_F(KeypadModel, LosesTheNewestWhenItsRingIsFull) {
    for (int i = 0; i < 100; ++i)
        keypad_.Knob(i % 2 == 0);
    int words = 0;
    while (Next() != 0)
        ++words;
    EXPECT_EQ(words, 64);
    EXPECT_EQ(keypad_.State()["lost"], 36);
}

TEST_F(KeypadModel, ForgetsWhatHappenedWhileNobodyListened) {
    file_.reset();
    keypad_.Knob(true);
    int error = 0;
    file_ = keypad_.Open(0, error);
    EXPECT_EQ(Next(), 0u);
}

namespace {

constexpr std::uint32_t kReleasedBits = 0xF00, kCodeBits = 0xFF;

Keypad::Keys Only(const char* key) {
    return Keypad::Keys().set(Keypad::CodeOf(key));
}

}  // namespace

TEST_F(KeypadModel, DeadKeySendsNothingUntilItsContactCloses) {
    keypad_.SetDead(Only("f2"));
    EXPECT_EQ(keypad_.Key("f2", true), "");
    EXPECT_EQ(Next(), 0u);
    EXPECT_EQ(keypad_.Key("f1", true), "");
    EXPECT_EQ(Next() & kCodeBits, Keypad::CodeOf("f1"));
    keypad_.SetDead({});  // the finger is still on it
    EXPECT_EQ(Next() & kCodeBits, Keypad::CodeOf("f2"));
    EXPECT_EQ(keypad_.Key("f2", false), "");
    EXPECT_NE(Next() & kReleasedBits, 0u);
}

TEST_F(KeypadModel, StuckKeyIsReportedOnceAndThenNoMore) {
    keypad_.SetStuck(Only("esc"));
    const std::uint32_t down = Next();
    EXPECT_EQ(down & kCodeBits, Keypad::CodeOf("esc"));
    EXPECT_EQ(down & kReleasedBits, 0u);
    EXPECT_EQ(keypad_.Key("esc", true), "");
    EXPECT_EQ(keypad_.Key("esc", false), "");
    EXPECT_EQ(Next(), 0u);
    file_.reset();
    int error = 0;
    file_ = keypad_.Open(0, error);  // the driver's first look at the keys finds it
    EXPECT_EQ(Next() & kCodeBits, Keypad::CodeOf("esc"));
    keypad_.SetStuck({});
    EXPECT_NE(Next() & kReleasedBits, 0u);
    EXPECT_EQ(keypad_.Key("esc", true), "");
    EXPECT_EQ(Next() & kCodeBits, Keypad::CodeOf("esc"));
}

TEST_F(KeypadModel, SwappedKeysSendEachOthersCodes) {
    keypad_.SetSwapped(Keypad::CodeOf("left"), Keypad::CodeOf("right"));
    EXPECT_EQ(Next(), 0u);
    for (const auto& [pressed, sent] : {std::pair{"left", "right"}, {"right", "left"}, {"up", "up"}}) {
        EXPECT_EQ(keypad_.Key(pressed, true), "");
        EXPECT_EQ(Next() & kCodeBits, Keypad::CodeOf(sent));
        EXPECT_EQ(keypad_.Key(pressed, false), "");
        const std::uint32_t up = Next();
        EXPECT_EQ(up & kCodeBits, Keypad::CodeOf(sent));
        EXPECT_NE(up & kReleasedBits, 0u);
    }
    keypad_.SetSwapped(0, 0);
    EXPECT_EQ(keypad_.Key("left", true), "");
    EXPECT_EQ(Next() & kCodeBits, Keypad::CodeOf("left"));
}

TEST_F(KeypadModel, SwappedKeyThatIsStuckIsFoundUnderTheOtherOnesCodeOnOpening) {
    keypad_.SetSwapped(Keypad::CodeOf("f1"), Keypad::CodeOf("f2"));
    keypad_.SetStuck(Only("f1"));
    file_.reset();
    int error = 0;
    file_ = keypad_.Open(0, error);
    EXPECT_EQ(Next() & kCodeBits, Keypad::CodeOf("f2"));
    EXPECT_EQ(Next(), 0u);
}

TEST_F(KeypadModel, KnobLosesAWayOrTurnsRound) {
    const auto turned = [&](bool clockwise) {
        keypad_.Knob(clockwise);
        const std::uint32_t word = Next();
        return word == 0 ? "nothing" : (word >> 24 & 0xF) == 0 ? "clockwise" : "anticlockwise";
    };
    keypad_.SetKnobDead(true, false);
    EXPECT_STREQ(turned(true), "nothing");
    EXPECT_STREQ(turned(false), "anticlockwise");
    keypad_.SetKnobDead(false, true);
    EXPECT_STREQ(turned(true), "clockwise");
    EXPECT_STREQ(turned(false), "nothing");
    keypad_.SetKnobDead(false, false);
    keypad_.SetKnobReversed(true);
    EXPECT_STREQ(turned(true), "anticlockwise");
    EXPECT_STREQ(turned(false), "clockwise");
    keypad_.SetKnobReversed(false);
    EXPECT_STREQ(turned(true), "clockwise");
    EXPECT_STREQ(turned(false), "anticlockwise");
}

}  // namespace k905
