#include "device/e2prom.h"

#include <errno.h>

#include "device/crc32.h"
#include "tests/device/unit/instrument_fixture.h"

namespace {

class MainBoardEeprom : public test::InstrumentTest {
  protected:
    ~MainBoardEeprom() override { E2prom_close(); }

    void Open() {
        ASSERT_LE(0, E2prom_open());
        system_.Clear();
    }

    template <typename Action>
    int32_t Result(Action action) {
        int32_t result = 0;
        output_ = test::Printed([&] { result = action(); });
        return result;
    }

    uint8_t page_[128] = {};
    std::string output_;
};

const char* const kPoll = "i2c slave 0x50\ni2c transfer [0x50 r 1]\n";
const char* const kWritePage1 =
    "i2c slave 0x50\ni2c protect 0x0\ni2c transfer [0x50 w 00 80 + 128]\ni2c protect 0x1\n";
const char* const kReadPage1 = "i2c transfer [0x50 w 00 80] [0x50 r 128]\n";

std::string Times(int count, const std::string& text) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

}  // namespace

TEST_F(MainBoardEeprom, OpensAndCloses) {
    const int32_t fd = E2prom_open();
    EXPECT_LE(0, fd);
    EXPECT_EQ(iE2prom, fd);
    EXPECT_EQ(0, E2prom_close());
    EXPECT_EQ(-1, iE2prom);
    EXPECT_EQ(0, E2prom_close());
    EXPECT_EQ("open /dev/i2c-1 rw\nclose i2c-1\n", system_.Trace());
}

TEST_F(MainBoardEeprom, RefusesASecondUser) {
    Open();
    EXPECT_EQ(-1, Result(E2prom_open));
    EXPECT_EQ("Eeprom busy..", output_);
    EXPECT_EQ("", system_.Trace());
    EXPECT_NE(-1, iE2prom);
}

TEST_F(MainBoardEeprom, AdapterThatDoesNotOpen) {
    system_.Fail("open", ENODEV);
    EXPECT_EQ(-1, Result(E2prom_open));
    EXPECT_EQ("FUN:open--can't open eeprom dev", output_);
    EXPECT_EQ(-1, iE2prom);
}

TEST_F(MainBoardEeprom, ShortMemoryClosesTheAdapterAgain) {
    system_.Fail("calloc", ENOMEM, 0, 1);
    EXPECT_EQ(-1, Result(E2prom_open));
    EXPECT_EQ("GuiMemAlloc err", output_);
    EXPECT_EQ(-1, iE2prom);
    EXPECT_EQ("open /dev/i2c-1 rw\nclose i2c-1\n", system_.Trace());
    EXPECT_LE(0, E2prom_open());
}

// What it returns without a failure is the adapter's own affair.
TEST_F(MainBoardEeprom, ATransferOfNoMessagesIsNoFailure) {
    Open();
    system_.Return("i2c transfer", 0);
    EXPECT_EQ(0, Result([&] { return E2prom_read_page(1, page_); }));
    EXPECT_EQ("uspagenum = 1\n", output_);
    EXPECT_EQ(0, Result([&] { return E2prom_write_page(1, page_); }));
    EXPECT_EQ("uspagenum = 1\n", output_);
    EXPECT_EQ(0, Result(Poll_E2prom));
    EXPECT_EQ("", output_);
    uint8_t other[128] = {1};
    EXPECT_EQ(-2, Result([&] { return E2prom_write_check(1, other); })) << "nothing was read back";
}

TEST_F(MainBoardEeprom, ReadsAPageInOneTransfer) {
    Open();
    for (int i = 0; i < 128; ++i)
        system_.eeprom[static_cast<std::size_t>(3 * 128 + i)] = static_cast<char>(i);
    EXPECT_EQ(2, Result([&] { return E2prom_read_page(3, page_); }));
    EXPECT_EQ("uspagenum = 3\n", output_);
    EXPECT_EQ("i2c transfer [0x50 w 01 80] [0x50 r 128]\n", system_.Trace());
    EXPECT_EQ(0, page_[0]);
    EXPECT_EQ(127, page_[127]);
}

TEST_F(MainBoardEeprom, WritesAPageBetweenUnprotectAndProtect) {
    Open();
    memset(page_, 0x5a, sizeof(page_));
    EXPECT_EQ(1, Result([&] { return E2prom_write_page(1, page_); }));
    EXPECT_EQ("uspagenum = 1\n", output_);
    EXPECT_EQ(kWritePage1, system_.Trace());
    EXPECT_EQ(std::string(128, '\xff') + std::string(128, 'Z') + std::string(128, '\xff'),
              system_.eeprom.substr(0, 3 * 128));
}

TEST_F(MainBoardEeprom, LastPageIs84) {
    Open();
    EXPECT_LE(0, Result([&] { return E2prom_read_page(84, page_); }));
    EXPECT_LE(0, Result([&] { return E2prom_write_page(84, page_); }));
    EXPECT_EQ("i2c transfer [0x50 w 2a 00] [0x50 r 128]\ni2c transfer [0x50 w 2a 00 + 128]\n",
              system_.Trace("i2c transfer"));
    system_.Clear();
    EXPECT_EQ(-1, Result([&] { return E2prom_read_page(85, page_); }));
    EXPECT_EQ("FUN:write page--para err", output_);
    EXPECT_EQ(-1, Result([&] { return E2prom_write_page(85, page_); }));
    EXPECT_EQ("FUN:write page--para err", output_);
    EXPECT_EQ("", system_.Trace());
}

TEST_F(MainBoardEeprom, RefusesNull) {
    Open();
    EXPECT_EQ(-1, Result([] { return E2prom_read_page(0, nullptr); }));
    EXPECT_EQ("FUN:write page--para err", output_);
    EXPECT_EQ(-1, Result([] { return E2prom_write_page(0, nullptr); }));
    EXPECT_EQ("FUN:write page--para err", output_);
    EXPECT_EQ("", system_.Trace());
    EXPECT_EQ(-1, Result([] { return E2prom_write_check(0, nullptr); }));
    EXPECT_EQ(kPoll, system_.Trace());
}

TEST_F(MainBoardEeprom, ClosedAdapterIsRefused) {
    EXPECT_EQ(-1, Result([&] { return E2prom_read_page(0, page_); }));
    EXPECT_EQ("EEPROM DEV not opened", output_);
    EXPECT_EQ(-1, Result([&] { return E2prom_write_page(0, page_); }));
    EXPECT_EQ("EEPROM DEV not opened", output_);
    EXPECT_GT(0, Result(E2prom_polling));
    EXPECT_EQ("EEPROM DEV not opened", output_);
    EXPECT_EQ("", system_.Trace());
}

TEST_F(MainBoardEeprom, FailedTransfersReturnTheAdaptersResult) {
    Open();
    system_.Fail("i2c transfer", EREMOTEIO);
    EXPECT_EQ(-1, Result([&] { return E2prom_read_page(1, page_); }));
    EXPECT_EQ("uspagenum = 1\nE2prom page read failed", output_);
    system_.Clear();
    EXPECT_EQ(-1, Result([&] { return E2prom_write_page(1, page_); }));
    EXPECT_EQ("uspagenum = 1\nE2prom page write failed", output_);
    EXPECT_EQ(kWritePage1, system_.Trace());
}

TEST_F(MainBoardEeprom, ShortMemoryForAPageIsAFailure) {
    Open();
    EXPECT_EQ(-1, Result([&] {
        system_.Fail("malloc", ENOMEM, 0, 1);
        return E2prom_write_page(1, page_);
    }));
    EXPECT_EQ("uspagenum = 1\nmalloc err", output_);
    EXPECT_EQ("", system_.Trace());
}

TEST_F(MainBoardEeprom, PollsUntilItAnswers) {
    Open();
    system_.Fail("i2c transfer [0x50 r 1]", EREMOTEIO, 0, 20);
    EXPECT_EQ(0, Result(Poll_E2prom));
    EXPECT_EQ("", output_);
    EXPECT_EQ(Times(21, kPoll), system_.Trace());
}

TEST_F(MainBoardEeprom, GivesUpAfter21Polls) {
    Open();
    system_.Fail("i2c transfer", EREMOTEIO);
    EXPECT_EQ(-1, Result(Poll_E2prom));
    EXPECT_EQ("Eeprom poll no response, failed", output_);
    EXPECT_EQ(Times(21, kPoll), system_.Trace());
}

TEST_F(MainBoardEeprom, PollingAClosedAdapterGivesUpLikeASilentPart) {
    const std::string polls = Times(21, "EEPROM DEV not opened") + "Eeprom poll no response, failed";
    EXPECT_EQ(-1, Result(Poll_E2prom));
    EXPECT_EQ(polls, output_);
    EXPECT_EQ(-1, Result([&] { return E2prom_write_check(0, page_); }));
    EXPECT_EQ(polls, output_);
    EXPECT_EQ("", system_.Trace());
}

TEST_F(MainBoardEeprom, CheckedWriteOfAPageThatIsNotThereTriesTenTimes) {
    Open();
    EXPECT_EQ(-1, Result([&] { return E2prom_write_check(85, page_); }));
    EXPECT_EQ(Times(10, "FUN:write page--para err") + "1.write check failed, Write PageNum:85\n", output_);
    EXPECT_EQ(kPoll, system_.Trace());
}

TEST_F(MainBoardEeprom, CheckedWriteReadsBack) {
    Open();
    memset(page_, 0x31, sizeof(page_));
    EXPECT_EQ(0, Result([&] { return E2prom_write_check(1, page_); }));
    EXPECT_EQ("uspagenum = 1\nuspagenum = 1\n", output_);
    EXPECT_EQ(std::string(kPoll) + kWritePage1 + kPoll + kReadPage1, system_.Trace());
}

TEST_F(MainBoardEeprom, CheckedWriteRetriesTenTimesEach) {
    Open();
    system_.Fail("i2c transfer [0x50 w 00 80 +", EREMOTEIO, 0, 9);
    system_.Fail("i2c transfer [0x50 w 00 80] [0x50 r", EREMOTEIO, 0, 9);
    EXPECT_EQ(0, Result([&] { return E2prom_write_check(1, page_); }));
    EXPECT_EQ(kPoll + Times(10, kWritePage1) + kPoll + Times(10, kReadPage1), system_.Trace());
}

TEST_F(MainBoardEeprom, CheckedWriteTellsWhichStepFailed) {
    Open();
    {
        test::SystemRecorder deaf;
        const int wasOpen = iE2prom;
        iE2prom = deaf.OpenNode("/dev/i2c-1");
        deaf.Fail("i2c transfer [0x50 w 00 80 +", EREMOTEIO);
        EXPECT_EQ(-1, Result([&] { return E2prom_write_check(1, page_); }));
        EXPECT_EQ(
            Times(10, "uspagenum = 1\nE2prom page write failed") + "1.write check failed, Write PageNum:1\n",
            output_);
        EXPECT_EQ(kPoll + Times(10, kWritePage1), deaf.Trace());
        iE2prom = wasOpen;
    }
    system_.Fail("i2c transfer [0x50 w 00 80] [0x50 r", EREMOTEIO);
    EXPECT_EQ(-1, Result([&] { return E2prom_write_check(1, page_); }));
    EXPECT_EQ("uspagenum = 1\n" + Times(10, "uspagenum = 1\nE2prom page read failed") +
                  "3. write check failed, read back PageNum:1\n",
              output_);
}

TEST_F(MainBoardEeprom, CheckedWriteEndsWhereThePartDoesNotAnswer) {
    Open();
    system_.Fail("i2c transfer [0x50 r 1]", EREMOTEIO, 1);
    EXPECT_EQ(-1, Result([&] { return E2prom_write_check(1, page_); }));
    EXPECT_EQ(std::string(kPoll) + kWritePage1 + Times(21, kPoll), system_.Trace());
    system_.Clear();
    EXPECT_EQ(-1, Result([&] { return E2prom_write_check(1, page_); }));
    EXPECT_EQ(Times(21, kPoll), system_.Trace());
}

TEST_F(MainBoardEeprom, APageThatReadsBackDifferentIsTold) {
    Open();
    memset(page_, 0x31, sizeof(page_));
    system_.Return("i2c transfer [0x50 w 00 80 +", 1);  // acknowledged but not stored
    EXPECT_EQ(-2, Result([&] { return E2prom_write_check(1, page_); }));
    system_.eeprom.replace(128, 127, std::string(127, '\x31'));
    EXPECT_EQ(-2, Result([&] { return E2prom_write_check(1, page_); }));
    system_.eeprom[255] = '\x31';
    EXPECT_EQ(0, Result([&] { return E2prom_write_check(1, page_); }));
}

TEST(Crc32c, HasNoPresetAndNoFinalInversion) {
    const uint8_t one = 0x01;
    const uint8_t zeros[32] = {};
    EXPECT_EQ(0u, crc32c(nullptr, 0));
    EXPECT_EQ(0u, crc32c(nullptr, 5));
    EXPECT_EQ(0u, crc32c(&one, 0));
    EXPECT_EQ(0xF26B8303u, crc32c(&one, 1));
    EXPECT_EQ(0u, crc32c(zeros, sizeof(zeros)));
}

TEST(Crc32c, IsCastagnolisPolynomialBitByBit) {
    uint8_t bytes[300];
    uint32_t expected = 0;
    for (unsigned i = 0; i < sizeof(bytes); ++i) {
        bytes[i] = static_cast<uint8_t>(i * 37 + 11);
        expected ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            expected = (expected & 1) != 0 ? expected >> 1 ^ 0x82F63B78u : expected >> 1;
        EXPECT_EQ(expected, crc32c(bytes, i + 1));
    }
}

TEST(Crc32c, AgreesWithThePublishedCheckValueOnceTheInversionsAreTakenOut) {
    // CRC-32C of "123456789" is 0xE3069283 with preset and final value of all ones. Being linear, a preset of
    // all ones is the same as inverting the first four bytes.
    const uint8_t text[] = {'1' ^ 0xff, '2' ^ 0xff, '3' ^ 0xff, '4' ^ 0xff, '5', '6', '7', '8', '9'};
    EXPECT_EQ(0xE3069283u, ~crc32c(text, sizeof(text)));
}
